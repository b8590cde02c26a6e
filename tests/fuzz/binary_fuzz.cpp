// The typed reader: any bytes, any order of calls. A block and a source that delivers a few bytes at a time must tell the
// same, and the memory in use never passes twice the input plus 64 KiB and what errors need.
#include "peak_memory.h"

#include <XelbrinCore/XCBinaryReader.h>
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCGuid.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

class TrickleSource : public XCByteSourceI {
public:
    TrickleSource(XCBytes bytes, std::size_t step) : m_rest(bytes), m_step(step) {}
    XCErrorID Read(void* to, std::size_t size, std::size_t& got) override
    {
        return m_rest.Read(to, std::min(size, m_step), got);
    }

private:
    XCBytesSource m_rest;
    std::size_t m_step;
};

template <class T>
void Check(XCBinaryReader& reader, XCBinaryWriter& seen)
{
    T value{};
    if (reader.Read(value)) seen.Write(value); // what was read can be written
    if (reader.Good() && !seen.Good()) std::abort();
}

void Step(XCBinaryReader& reader, std::uint8_t step, XCBinaryWriter& seen)
{
    XCString text;
    XCBuffer bytes;
    XCBytes view;
    std::size_t count = 0;
    std::int16_t number = 0;
    auto const length = static_cast<XCLengthForm>(step >> 6);
    switch (step & 31) {
    case 0: Check<std::uint8_t>(reader, seen); break;
    case 1: Check<double>(reader, seen); break;
    case 2: Check<bool>(reader, seen); break;
    case 3: Check<XCString>(reader, seen); break;
    case 4: Check<XCDateEx>(reader, seen); break;
    case 5: Check<XCTimeEx>(reader, seen); break;
    case 6: Check<XCDateTimeEx>(reader, seen); break;
    case 7: Check<XCDurationEx>(reader, seen); break;
    case 8: Check<XCDouble>(reader, seen); break;
    case 9: Check<XCGuid>(reader, seen); break;
    case 10: Check<XCErrorID>(reader, seen); break;
    case 11:
        reader.ReadVar(number);
        seen.Write(number);
        break;
    case 12:
        reader.ReadText(text, XCTextForm::Utf8, length);
        seen.Write(text);
        break;
    case 13:
        reader.ReadText(text, XCTextForm::Utf16, length);
        seen.WriteText(text, XCTextForm::Utf16);
        break;
    case 14:
        reader.ReadBytes(bytes, length);
        seen.WriteRaw(bytes);
        break;
    case 15:
        reader.ReadBytesView(view, length);
        seen.WriteRaw(view);
        break;
    case 16:
        reader.ReadCount(count, length == XCLengthForm::Var ? 1 : 3);
        seen.Write(count);
        break;
    case 17: seen.WriteRaw(reader.Peek(step)); break;
    case 18: reader.Skip(std::uint64_t{step} * step); break;
    case 19: reader.Begin(); break;
    case 20: reader.Commit(); break;
    case 21: reader.RollBack(); break;
    case 22: reader.SetOrder(XCByteOrder::Big); break;
    case 23: seen.Write(reader.AtEnd()); break;
    case 24: reader.Fail(); break;
    default: Check<int>(reader, seen); break;
    }
    seen.Write(reader.GetPosition());
    seen.Write(static_cast<int>(reader.Status()));
    seen.Write(static_cast<int>(reader.GetError()));
}

XCBuffer Walk(XCBinaryReader& reader, XCBytes script)
{
    XCBinaryWriter seen;
    for (std::uint8_t const step : script) Step(reader, step, seen);
    return seen.TakeBuffer();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    if (size < 2) return 0;
    XCBytes const input(bytes, size);
    XCBytes const script = input.Slice(2, bytes[0] % 32);
    XCBytes const data = input.Slice(2 + script.Size());
    XCReadLimits limits;
    if (bytes[1] >= 128) limits.maxBytes = limits.maxLength = bytes[1];
    limits.readAhead = bytes[1] % 16;
    xc_fuzz::PeakMemory const peak;
    XCBinaryReader block(data, XCByteOrder::Little, limits);
    XCBuffer const wanted = Walk(block, script);
    {
        TrickleSource source(data, 1 + bytes[1] % 7);
        XCBinaryReader reader(source, XCByteOrder::Little, limits);
        if (!(Walk(reader, script) == wanted)) std::abort();
    }
    if (peak.Bytes() > 2 * (size + 2 * wanted.Size()) + 65536) std::abort();
    return 0;
}
