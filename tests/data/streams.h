// streams.h - sources and sinks that behave as badly as the interfaces allow, and a walk over a reader.
#pragma once

#include "library.h"

namespace xc_test {

/// Delivers a few bytes a call, and does not know how many remain.
struct TrickleSource : XCByteSourceI {
    TrickleSource(XCBytes bytes, std::size_t step) : m_rest(bytes), m_step(step) {}
    XCErrorID Read(void* to, std::size_t size, std::size_t& got) override
    {
        return m_rest.Read(to, std::min(size, m_step), got);
    }

private:
    XCBytesSource m_rest;
    std::size_t m_step;
};

/// Fails in both directions.
struct FailingStream : XCByteSourceI, XCByteSinkI {
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

template <class... T>
void ReadOneOf(std::size_t which, XCBinaryReader& reader, XCBinaryWriter& seen)
{
    auto const one = [&](auto value) {
        if (reader.Read(value)) seen.Write(value);
    };
    (void)((which-- == 0 ? (one(T{}), true) : false) || ...);
}

inline void WalkStep(XCBinaryReader& reader, std::uint8_t step, XCBinaryWriter& seen)
{
    XCString text;
    XCBuffer bytes;
    XCBytes view;
    std::uint16_t number = 0;
    std::size_t count = 0;
    auto const length = static_cast<XCLengthForm>(step >> 6);
    switch (step & 31) {
    case 0: reader.ReadText(text, XCTextForm::Utf8, length); break;
    case 1: reader.ReadText(text, XCTextForm::Utf16, length); break;
    case 2: reader.ReadBytes(bytes, length); break;
    case 3: reader.ReadBytesView(view, length); break;
    case 4: view = reader.Peek(step); break;
    case 5: reader.ReadVar(number); break;
    case 6: reader.ReadCount(count, length == XCLengthForm::Var ? 1 : 3); break;
    case 7: reader.Skip(std::uint64_t{step} * step); break;
    case 8: reader.Begin(); break;
    case 9: reader.Commit(); break;
    case 10: reader.RollBack(); break;
    case 11: reader.SetOrder(XCByteOrder::Big); break;
    case 12: seen.Write(reader.AtEnd()); break;
    case 13: reader.Fail(); break;
    default:
        ReadOneOf<std::uint8_t, double, bool, XCDateEx, XCTimeEx, XCDateTimeEx, XCDurationEx, XCDouble, XCGuid,
                  XCErrorID>((step & 31) - 14u, reader, seen);
    }
    seen.WriteRaw({text.AsWChar(), 2 * text.Length()});
    seen.WriteRaw(bytes);
    seen.WriteRaw(view);
    for (std::uint64_t const part : {std::uint64_t{number}, std::uint64_t{count}, reader.GetPosition()})
        seen.Write(part);
    seen.Write(static_cast<int>(reader.Status()));
    seen.Write(static_cast<int>(reader.GetError()));
}

/// Reads as the script says and tells all that can be seen. Readers of the same bytes must tell the same.
inline void Walk(XCBinaryReader& reader, XCBytes script, XCByteSinkI& seen)
{
    XCBinaryWriter writer(seen);
    for (std::uint8_t const step : script) WalkStep(reader, step, writer);
}

} // namespace xc_test
