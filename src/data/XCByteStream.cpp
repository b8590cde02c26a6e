// The simplest sources and sinks: a block of bytes, a buffer, and a queue between one that writes and one that reads.
//
// The destructors stand here so that the tables of virtual operations have one home, in the library, and casts of
// types agree between modules.
//
// The queue is a buffer with a start. Moving the rest to the front on each read would cost O(n) a read; it moves only
// when the part that was read is at least half, so every byte moves at most once for each one read: amortised O(1).
#include <XelbrinCore/XCByteStream.h>

#include <algorithm>
#include <cstring>

XCByteSourceI::~XCByteSourceI() = default;

bool XCByteSourceI::GetRemaining(std::uint64_t& /*remaining*/) const
{
    return false;
}

XCByteSinkI::~XCByteSinkI() = default;

XCErrorID XCByteSinkI::Flush()
{
    return {};
}

namespace {

/// Copies what fits of the bytes; returns how many.
std::size_t CopyFront(void* to, std::size_t size, XCBytes from) noexcept
{
    std::size_t const count = std::min(size, from.Size());
    if (count > 0) std::memcpy(to, from.Data(), count);
    return count;
}

} // namespace

XCBytesSource::~XCBytesSource() = default;

XCErrorID XCBytesSource::Read(void* to, std::size_t size, std::size_t& got)
{
    got = CopyFront(to, size, m_rest);
    // What is left is the position: a source that is copied reads on independently.
    m_rest = m_rest.Slice(got);
    return {};
}

bool XCBytesSource::GetRemaining(std::uint64_t& remaining) const
{
    remaining = m_rest.Size();
    return true;
}

XCBufferSink::~XCBufferSink() = default;

XCErrorID XCBufferSink::Write(void const* from, std::size_t size)
{
    m_buffer.Append(XCBytes(from, size));
    return {};
}

XCByteQueue::~XCByteQueue() = default;

XCErrorID XCByteQueue::Write(void const* from, std::size_t size)
{
    // Room at the front is used again once it is half of all: each byte moves at most once for one that was read.
    if (m_start >= m_buffer.Size() - m_start) {
        m_buffer.Erase(0, m_start);
        m_start = 0;
    }
    m_buffer.Append(XCBytes(from, size));
    return {};
}

XCErrorID XCByteQueue::Read(void* to, std::size_t size, std::size_t& got)
{
    got = CopyFront(to, size, GetBytes());
    m_start += got;
    return {};
}
