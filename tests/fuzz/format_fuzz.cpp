// The printf engine: random formats over random typed values never read or write out of bounds, never exceed their
// bound, and give the same text in a string and, as far as it reaches, in a buffer.
#include "input.h"

#include "text/PrintFormat.h"

using xc::text::FormatValue;

FormatValue TakeValue(Input& input, std::vector<std::vector<wchar_t>>& wide, std::vector<std::vector<char>>& narrow)
{
    switch (input.Take<std::uint8_t>() % 7) {
    case 0: return FormatValue::Signed(input.Take<std::int64_t>());
    case 1: return FormatValue::Unsigned(input.Take<std::uint64_t>());
    case 2: return FormatValue::Double(input.Take<double>());
    case 3: return FormatValue::Signed(input.Take<std::int16_t>());
    case 4:
        wide.push_back(input.TakeMany<wchar_t>(input.Take<std::uint8_t>() % 32));
        return FormatValue::Wide({wide.back().data(), wide.back().size()});
    case 5:
        narrow.push_back(input.TakeMany<char>(input.Take<std::uint8_t>() % 32));
        return FormatValue::Narrow({narrow.back().data(), narrow.back().size()});
    default: return FormatValue::Pointer(nullptr);
    }
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    Input input(bytes, size);
    std::vector<FormatValue> values(input.Take<std::uint8_t>() % 12);
    std::vector<std::vector<wchar_t>> wide;
    std::vector<std::vector<char>> narrow;
    std::size_t const capacity = 1 + input.Take<std::uint16_t>() % 600;
    for (FormatValue& value : values) value = TakeValue(input, wide, narrow);
    std::vector<std::uint8_t> const rest = input.TakeMany<std::uint8_t>(size);
    std::vector<wchar_t> format(rest.begin(), rest.end());
    format.push_back(L'\0');

    xc::text::ValueListSource first(values);
    XCString text;
    xc::text::FormatInto(text, format.data(), first, 300);
    if (text.Length() > text.Capacity() || text.AsWChar()[text.Length()] != L'\0') std::abort();

    xc::text::ValueListSource second(values);
    std::vector<wchar_t> buffer(capacity);
    std::size_t const length = xc::text::FormatInto(buffer.data(), buffer.size(), format.data(), second, 300);
    if (length >= capacity || buffer[length] != L'\0') std::abort();
    if (length > text.Length()) std::abort();
    if (text.Length() < capacity - 1 &&
        (length != text.Length() || std::memcmp(buffer.data(), text.AsWChar(), length * 2) != 0))
        std::abort();
}
