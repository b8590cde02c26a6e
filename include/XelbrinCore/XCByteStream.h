// XCByteStream.h - where bytes come from and go to: the interfaces that files, sockets and memory share.
//
// WHAT     XCByteSourceI hands bytes out, XCByteSinkI takes them. The typed reader and writer (XCBinaryReader.h,
//          XCBinaryWriter.h) and everything that loads and saves stand on these two. In memory: XCBytesSource,
//          XCBufferSink, XCByteQueue.
// LIFETIME The interfaces are not counted: an object is often both, and its owner has a count of its own. Whoever uses a
//          source or sink by reference must end before it.
// ERRORS   Expected failures are returned. An implementation may throw std::bad_alloc.
// THREADS  One thread at a time, unless an implementation promises more.
#pragma once

#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>

#include <cstddef>
#include <cstdint>

/// The order of the bytes of a number.
enum class XCByteOrder {
    Little, ///< the lowest byte first, as the processor has it
    Big     ///< the highest byte first, as most network protocols have it
};
/// How a text is written as bytes.
enum class XCTextForm {
    Utf8, ///< an unpaired surrogate cannot be written
    Utf16 ///< units in the byte order of the stream; any unit
};
/// How the length of a text or of bytes is written before them; it always counts bytes.
enum class XCLengthForm {
    Var,    ///< a variable-length number (XCBinaryWriter::WriteVar)
    Bits8,  ///< one byte
    Bits16, ///< two bytes
    Bits32  ///< four bytes
};

/// Hands out bytes, each once.
class XC_API XCByteSourceI {
public:
    virtual ~XCByteSourceI();
    /// Copies at most `size` bytes and returns as soon as it has at least one.
    /// @param got receives the count of bytes copied. 0 and Good: there is nothing now, be it that the end is reached
    ///            or that a source that does not wait has nothing yet. After a failure 0.
    virtual XCErrorID Read(void* to, std::size_t size, std::size_t& got) = 0;
    /// Whether the source knows how many bytes it can still deliver; the count is exact or too high, never too low.
    virtual bool GetRemaining(std::uint64_t& remaining) const;

protected:
    XCByteSourceI() noexcept = default;
    XCByteSourceI(XCByteSourceI const&) noexcept = default;
    XCByteSourceI& operator=(XCByteSourceI const&) noexcept = default;
};

/// Takes bytes.
class XC_API XCByteSinkI {
public:
    virtual ~XCByteSinkI();
    /// Takes all the bytes, or fails; how many were taken before a failure is not told.
    virtual XCErrorID Write(void const* from, std::size_t size) = 0;
    /// Passes on what the sink itself has held back; Good when it holds nothing back.
    virtual XCErrorID Flush();

protected:
    XCByteSinkI() noexcept = default;
    XCByteSinkI(XCByteSinkI const&) noexcept = default;
    XCByteSinkI& operator=(XCByteSinkI const&) noexcept = default;
};

/// A source over bytes that somebody else owns and leaves alone.
class XC_API XCBytesSource : public XCByteSourceI {
public:
    /// Keeps a view: the bytes must outlive the source.
    explicit XCBytesSource(XCBytes bytes) noexcept : m_rest(bytes) {}
    ~XCBytesSource() override;
    XCErrorID Read(void* to, std::size_t size, std::size_t& got) override;
    bool GetRemaining(std::uint64_t& remaining) const override;

private:
    XCBytes m_rest;
};

/// A sink that appends to a buffer of the caller's.
class XC_API XCBufferSink : public XCByteSinkI {
public:
    /// Keeps a reference: the buffer must outlive the sink.
    explicit XCBufferSink(XCBuffer& buffer) noexcept : m_buffer(buffer) {}
    ~XCBufferSink() override;
    XCErrorID Write(void const* from, std::size_t size) override;

private:
    XCBuffer& m_buffer;
};

/// First in, first out: what was written is what is read. Between code that is handed bytes as they arrive and a reader
/// that asks for them. It never tells how much remains, since more may come.
class XC_API XCByteQueue : public XCByteSourceI, public XCByteSinkI {
public:
    XCByteQueue() noexcept = default;
    ~XCByteQueue() override;
    XCErrorID Write(void const* from, std::size_t size) override;
    XCErrorID Read(void* to, std::size_t size, std::size_t& got) override;
    /// What has been written and not been read; until the next change.
    [[nodiscard]] XCBytes GetBytes() const noexcept { return m_buffer.View().Slice(m_start); }

private:
    XCBuffer m_buffer;
    std::size_t m_start = 0;
};
