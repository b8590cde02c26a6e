// The library's values as bytes. Each goes as the word that its own AsInt gives, whose meaning never changes; reading
// refuses words that no setter of the class stores, so that bytes from outside cannot make a value that the rest of the
// library has never seen.
//
// A word that no setter makes is Corrupt rather than a null value: a null would be read as "nothing was known", which
// is not what its writer said. A value that is invalid but can be stored, such as February 30, passes: the setters
// store it too, and a reader must give back what a writer had.
//
// The cost is one load or store a value; nothing allocates.
#include <XelbrinCore/XCBinaryReader.h>
#include <XelbrinCore/XCBinaryWriter.h>
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCGuid.h>

#include <array>

namespace {

// Months from 0 (of the null date) to 12. The day needs no check: its five bits hold no number that a setter refuses.
constexpr std::uint32_t kMonths = 13;
constexpr std::int32_t kDay = 86400000; // milliseconds

/// The times that are null have one form.
std::int32_t WordOf(XCTimeEx const& value) noexcept
{
    return value.IsNull() ? XCTimeEx::NULL_TIME : value.AsInt();
}
bool IsWord(XCDateEx const& value) noexcept
{
    return value.GetMonth() < kMonths;
}
bool IsTimeWord(std::int32_t word) noexcept
{
    return word >= XCTimeEx::NULL_TIME && word < kDay;
}

// The fields turn with the byte order, the last eight bytes do not: they are a row of bytes, as RFC 4122 has them.
/// The fields of an identity as they stand in memory.
struct GuidFields {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    std::array<std::uint8_t, 8> data4;
};
static_assert(sizeof(GuidFields) == sizeof(XCGuid));

} // namespace

void XCBinaryWriter::Write(XCDateEx const& value)
{
    Write(value.AsInt());
}
void XCBinaryWriter::Write(XCTimeEx const& value)
{
    Write(WordOf(value));
}
void XCBinaryWriter::Write(XCDateTimeEx const& value)
{
    Write(value.AsInt64());
}
void XCBinaryWriter::Write(XCDurationEx const& value)
{
    Write(value.AsInt64());
}
void XCBinaryWriter::Write(XCDate const& value)
{
    Write(value.AsInt());
}
void XCBinaryWriter::Write(XCDateTime const& value)
{
    Write(value.AsTime());
}
void XCBinaryWriter::Write(XCDouble const& value)
{
    Write(value.AsDouble());
    Write(static_cast<std::uint8_t>(value.GetDecimals()));
}
void XCBinaryWriter::Write(XCGuid const& value)
{
    auto const fields = std::bit_cast<GuidFields>(value);
    Write(fields.data1);
    Write(fields.data2);
    Write(fields.data3);
    WriteRaw(fields.data4);
}

bool XCBinaryReader::Read(bool& value)
{
    std::uint8_t byte = 0;
    if (!Read(byte)) return false;
    if (byte > 1) return Fail();
    value = byte != 0;
    return true;
}

bool XCBinaryReader::Read(XCDateEx& value)
{
    std::uint32_t word = 0;
    if (!Read(word)) return false;
    XCDateEx date;
    date.FromInt(word);
    if (!IsWord(date)) return Fail();
    value = date;
    return true;
}

bool XCBinaryReader::Read(XCTimeEx& value)
{
    std::int32_t word = 0;
    if (!Read(word)) return false;
    if (!IsTimeWord(word)) return Fail();
    value.FromInt(word);
    return true;
}

bool XCBinaryReader::Read(XCDateTimeEx& value)
{
    std::int64_t words = 0;
    if (!Read(words)) return false;
    XCDateEx date;
    // Both halves are checked before the target changes: it keeps its old value when the second one is refused.
    date.FromInt(static_cast<std::uint32_t>(words >> 32));
    if (!IsWord(date) || !IsTimeWord(static_cast<std::int32_t>(words))) return Fail();
    value.FromInt64(words);
    return true;
}

bool XCBinaryReader::Read(XCDurationEx& value)
{
    std::int64_t words = 0;
    if (!Read(words)) return false;
    // The lowest number of 32 bits has no opposite, so no duration holds it; FromInt64 would throw on it.
    auto const count = static_cast<std::int32_t>(words >> 32);
    if (static_cast<std::uint32_t>(words) > XCDurationEx::InvalidUnit || count < XCDurationEx::minimum_) return Fail();
    value.FromInt64(words);
    return true;
}

bool XCBinaryReader::Read(XCDate& value)
{
    std::uint32_t days = 0;
    if (!Read(days)) return false;
    value = XCDate(days);
    return true;
}

bool XCBinaryReader::Read(XCDateTime& value)
{
    std::int64_t seconds = 0;
    if (!Read(seconds)) return false;
    value = XCDateTime(seconds);
    return true;
}

bool XCBinaryReader::Read(XCDouble& value)
{
    double number = 0;
    std::uint8_t decimals = 0;
    if (!Read(number) || !Read(decimals)) return false;
    // The constructor would cut the decimals to its limit, and so would make of two streams one value.
    if (decimals > XCDouble::kMaxDecimals) return Fail();
    value = XCDouble(number, decimals);
    return true;
}

bool XCBinaryReader::Read(XCGuid& value)
{
    GuidFields fields{};
    if (!Read(fields.data1) || !Read(fields.data2) || !Read(fields.data3)) return false;
    if (!ReadRaw(fields.data4.data(), fields.data4.size())) return false;
    value = XCGuid(fields.data1, fields.data2, fields.data3, fields.data4);
    return true;
}
