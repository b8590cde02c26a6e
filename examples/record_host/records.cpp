// The queue and the frame of the sinks; part of every module that is one.
#include "records.h"

bool BatchQueue::Put(RecordBatch&& batch)
{
    for (;;) {
        {
            XCLockGuard const guard(m_section);
            if (m_closed) return false;
            if (m_batches.size() < kRoom) {
                m_batches.push_back(std::move(batch));
                m_mayTake.post();
                return true;
            }
            m_mayPut.reset();
        }
        m_mayPut.wait();
    }
}

std::optional<RecordBatch> BatchQueue::Take()
{
    for (;;) {
        {
            XCLockGuard const guard(m_section);
            if (!m_batches.empty()) {
                std::optional<RecordBatch> batch(std::move(m_batches.front()));
                m_batches.pop_front();
                m_mayPut.post();
                return batch;
            }
            if (m_closed) return std::nullopt;
            m_mayTake.reset();
        }
        m_mayTake.wait();
    }
}

void BatchQueue::Close()
{
    XCLockGuard const guard(m_section);
    m_closed = true;
    m_mayPut.post();
    m_mayTake.post();
}

int RecordSink::GetIUID() const
{
    return kIUID;
}

bool RecordSink::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCThreadedRunPlugIn::IsKindOf(iuid);
}

bool RecordSink::Put(RecordBatch&& batch)
{
    return m_queue.Put(std::move(batch));
}

void RecordSink::Finish()
{
    m_queue.Close();
}

void RecordSink::Run()
{
    FinishAtEnd const closed(*this); // whoever still puts is not to wait for a sink that has failed
    Work();
}

void RecordSink::RequestExit(bool immediately)
{
    m_queue.Close();
    XCThreadedRunPlugIn::RequestExit(immediately);
}
