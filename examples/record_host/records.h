// records.h - what the modules of record_host hand to one another.
//
//     reader  --batches-->  filter  --batches-->  report
//
// Each arrow is a call of RecordSink::Put on the plug-in that the earlier one depends on. The sinks work on threads of
// their own; a bounded queue before each keeps the reader from running ahead of them.
#pragma once

#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <cstddef>
#include <deque>
#include <optional>
#include <string_view>
#include <vector>

inline constexpr XCGuid kReaderId(0x52454144, 0x0001, 0x4C0D, {0x9A, 0x11, 0x3C, 0x5E, 0x70, 0x21, 0x84, 0x01});
inline constexpr XCGuid kFilterId(0x46494C54, 0x0001, 0x4C0D, {0x9A, 0x11, 0x3C, 0x5E, 0x70, 0x21, 0x84, 0x02});
inline constexpr XCGuid kReportId(0x5245504F, 0x0001, 0x4C0D, {0x9A, 0x11, 0x3C, 0x5E, 0x70, 0x21, 0x84, 0x03});

/// A part of a batch's text, by its place: places stay right when the batch is moved.
struct TextPlace {
    std::size_t begin = 0;
    std::size_t length = 0;
};

/// One line of the log: when, what kind of event, and the rest.
struct Record {
    XCDateEx day;
    XCTimeEx time;
    TextPlace kind;
    TextPlace text;
};

/// Some lines of the input. A batch goes through the modules as a whole, so that nothing in it is ever copied.
struct RecordBatch {
    RecordBatch() = default;
    RecordBatch(RecordBatch&&) = default;
    RecordBatch& operator=(RecordBatch&&) = default;

    /// A text of the batch; U+0000 follows it.
    [[nodiscard]] std::wstring_view At(TextPlace place) const { return text.View().substr(place.begin, place.length); }

    XCString source; ///< the name of the file
    XCString text;   ///< the lines; what separates the fields of a record is overwritten by U+0000
    std::vector<Record> records;
    std::size_t lines = 0;
    std::size_t malformedLines = 0;
};

/// A bounded queue between one thread that puts and one that takes.
class BatchQueue {
public:
    /// Waits while the queue is full. @return false when it is closed: the batch is dropped.
    bool Put(RecordBatch&& batch);
    /// Waits for a batch. @return nothing when the queue is closed and empty.
    std::optional<RecordBatch> Take();
    /// No batch is accepted from now on; those that wait can still be taken.
    void Close();

private:
    static constexpr std::size_t kRoom = 8;

    XCCriticalSection m_section; // guards what follows; the events are posted and reset inside it only
    XCEventSemaphore m_mayPut;
    XCEventSemaphore m_mayTake;
    std::deque<RecordBatch> m_batches;
    bool m_closed = false;
};

/// A plug-in that works on batches in a thread of its own.
class RecordSink : public XCThreadedRunPlugIn {
public:
    static constexpr int kIUID = 1001; // the library's own numbers are smaller

    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    /// @return false when nothing is wanted any more.
    virtual bool Put(RecordBatch&& batch);
    /// Nothing more comes.
    virtual void Finish();
    void Run() final;
    /// What waits in the queue is still worked on.
    void RequestExit(bool immediately) override;

protected:
    /// Called once, on the thread of the plug-in: takes batches until there are no more.
    virtual void Work() = 0;
    std::optional<RecordBatch> Take() { return m_queue.Take(); }

private:
    BatchQueue m_queue;
};

/// The sink of this identity; null when there is none.
inline XCSmartPtr<RecordSink> FindSink(XCApplicationWithPlugIns const& application, XCGuid const& id)
{
    XCSmartPtr<XCPlugIn> const found = application.FindPlugIn(id);
    if (found.IsNull() || !found->IsKindOf(RecordSink::kIUID)) return {};
    return XCSmartPtr<RecordSink>(static_cast<RecordSink*>(found.GetPtr()));
}

/// Finishes a sink at the end of a block, however the block is left: a sink that is forgotten would wait for ever.
class FinishAtEnd {
public:
    explicit FinishAtEnd(RecordSink& sink) : m_sink(sink) {}
    ~FinishAtEnd() { m_sink.Finish(); }
    FinishAtEnd(FinishAtEnd const&) = delete;
    FinishAtEnd& operator=(FinishAtEnd const&) = delete;

private:
    RecordSink& m_sink;
};
