// streams.h - sources and sinks that behave as badly as the interfaces allow.
#pragma once

#include <XelbrinCore/XCBinaryReader.h>

namespace xc_test {

/// Delivers a few bytes a call, and does not know how many remain.
class TrickleSource : public XCByteSourceI {
public:
    TrickleSource(XCBytes bytes, std::size_t step) : m_rest(bytes), m_step(step) {}
    XCErrorID Read(void* to, std::size_t size, std::size_t& got) override
    {
        return m_rest.Read(to, size < m_step ? size : m_step, got);
    }

private:
    XCBytesSource m_rest;
    std::size_t m_step;
};

/// Fails in both directions.
class FailingStream : public XCByteSourceI, public XCByteSinkI {
public:
    static constexpr int kCode = 4711;
    XCErrorID Read(void*, std::size_t, std::size_t& got) override
    {
        got = 0;
        return Error();
    }
    XCErrorID Write(void const*, std::size_t) override { return Error(); }

private:
    static XCErrorID Error() { return XCSmartPtr<XCErrorString>(new XCErrorString(L"no", kCode)); }
};

} // namespace xc_test
