// Reads a format into a plan.
//
// printf engines commonly run twice, once for the length and once for the text, or retry with larger buffers. Here the
// format is read once: every conversion pulls its value at once (the values of a C call cannot be read twice) and adds an
// upper bound to the length. The result is then written once, into a block of that size. The first ten pieces stand in
// the plan itself, so that usual formats allocate nothing but their result.
//
// Bounds are sums of what the writer can produce: text lengths, 22 digits for an integer in octal, 309 digits before the
// point and the precision after it for a double, and the width. A sum above the longest string is refused before anything
// is written.
//
// Invariant: a piece points into the format, into memory of its value, or nowhere; the plan owns none of them.
#include "text/PrintFormat.h"

#include "text/Kernels.h"
#include "text/PrintFormatTerms.h"
#include "text/StringAccess.h"
#include "text/Units.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace xc::text {

namespace {

// A text with a precision need not end with a zero: nothing past the precision may be read.
std::size_t LengthUpTo(wchar_t const* text, std::size_t limit) noexcept
{
    if (limit == XCString::npos) return TextLength(text);
    std::size_t n = 0;
    while (n < limit && text[n] != L'\0') ++n;
    return n;
}

std::size_t LengthUpTo(char const* text, std::size_t limit) noexcept
{
    if (limit == XCString::npos) return std::strlen(text);
    void const* const end = std::memchr(text, 0, limit);
    return end ? static_cast<std::size_t>(static_cast<char const*>(end) - text) : limit;
}

} // namespace

// Values --------------------------------------------------------------------------------------------------------

FormatValue FormatValue::Signed(std::int64_t value) noexcept
{
    return {Kind::Signed, {.asSigned = value}, 0};
}
FormatValue FormatValue::Unsigned(std::uint64_t value) noexcept
{
    return {Kind::Unsigned, {.asUnsigned = value}, 0};
}
FormatValue FormatValue::Double(double value) noexcept
{
    return {Kind::Double, {.asDouble = value}, 0};
}
FormatValue FormatValue::Wide(std::wstring_view text) noexcept
{
    return {Kind::Wide, {.pointer = text.data()}, text.size()};
}
FormatValue FormatValue::Narrow(std::string_view text) noexcept
{
    return {Kind::Narrow, {.pointer = text.data()}, text.size()};
}
FormatValue FormatValue::Pointer(void const* value) noexcept
{
    return {Kind::Pointer, {.pointer = value}, 0};
}

namespace {

bool IsSignedLetter(wchar_t letter) noexcept
{
    return letter == L'd' || letter == L'i';
}

/// The low byte or the low two bytes of an integer, with or without sign, as the conversion names them.
FormatValue CutTo(Conversion const& wanted, std::int64_t value) noexcept
{
    bool const isSigned = IsSignedLetter(wanted.letter);
    if (wanted.size == FormatSize::Byte) {
        return isSigned ? FormatValue::Signed(static_cast<std::int8_t>(value))
                        : FormatValue::Unsigned(static_cast<std::uint8_t>(value));
    }
    return isSigned ? FormatValue::Signed(static_cast<std::int16_t>(value))
                    : FormatValue::Unsigned(static_cast<std::uint16_t>(value));
}

FormatValue WideUpTo(wchar_t const* text, std::size_t limit) noexcept
{
    return FormatValue::Wide(text ? std::wstring_view(text, LengthUpTo(text, limit)) : std::wstring_view());
}

FormatValue NarrowUpTo(char const* text, std::size_t limit) noexcept
{
    return FormatValue::Narrow(text ? std::string_view(text, LengthUpTo(text, limit)) : std::string_view());
}

} // namespace

ArgumentListSource::ArgumentListSource(va_list arguments)
{
    // A copy, since reading moves the list on, and whether the caller's moves with it differs from platform to
    // platform.
    va_copy(m_arguments, arguments);
}

ArgumentListSource::~ArgumentListSource()
{
    va_end(m_arguments);
}

FormatValue ArgumentListSource::NextText(bool wide, std::size_t limit)
{
    return wide ? WideUpTo(va_arg(m_arguments, wchar_t const*), limit)
                : NarrowUpTo(va_arg(m_arguments, char const*), limit);
}

FormatValue ArgumentListSource::Next(Conversion const& wanted)
{
    switch (wanted.letter) {
    case L's':
    case L'S': return NextText(IsWideConversion(wanted.letter, wanted.size), wanted.limit);
    case L'c':
    case L'C':
    case L'*': return FormatValue::Signed(va_arg(m_arguments, int));
    case L'p':
    case L'n': return FormatValue::Pointer(va_arg(m_arguments, void const*));
    case L'd':
    case L'i':
        if (wanted.size == FormatSize::Bits64) return FormatValue::Signed(va_arg(m_arguments, std::int64_t));
        break;
    case L'u':
    case L'o':
    case L'x':
    case L'X':
        if (wanted.size == FormatSize::Bits64) return FormatValue::Unsigned(va_arg(m_arguments, std::uint64_t));
        break;
    default: return FormatValue::Double(va_arg(m_arguments, double));
    }
    // Smaller integers come as int through an ellipsis; the size of the conversion says how much of it counts.
    auto const value = static_cast<std::int32_t>(va_arg(m_arguments, int));
    if (wanted.size == FormatSize::Byte || wanted.size == FormatSize::Short) return CutTo(wanted, value);
    return IsSignedLetter(wanted.letter) ? FormatValue::Signed(value)
                                         : FormatValue::Unsigned(static_cast<std::uint32_t>(value));
}

FormatValue ValueListSource::Next(Conversion const&)
{
    return m_next < m_values.size() ? m_values[m_next++] : FormatValue{};
}

namespace {

/// Whether a conversion writes a number or a character from an integer.
bool TakesInteger(wchar_t letter) noexcept
{
    // Sets of letters are words of 64 bits: a test is a shift, and no letter is listed twice in a switch.
    constexpr std::uint64_t kLetters = BitsOfLetters("diuoxXcCp");
    return letter == L'*' || (kLetters >> (letter - L'@') & 1) != 0;
}

FormatValue IntegerValue(XCFormatArg const& argument, Conversion const& wanted) noexcept
{
    constexpr std::uint64_t kLetters = BitsOfLetters("diuoxX");
    // Only the small sizes cut. A wider one than the argument has is a slip in the format, and the value is known
    // here.
    bool const cut = wanted.size == FormatSize::Byte || wanted.size == FormatSize::Short;
    if (cut && wanted.letter != L'*' && (kLetters >> (wanted.letter - L'@') & 1) != 0)
        return CutTo(wanted, argument.asSigned);
    return argument.kind == XCFormatArg::Kind::Signed ? FormatValue::Signed(argument.asSigned)
                                                      : FormatValue::Unsigned(argument.asUnsigned);
}

FormatValue UnitValue(XCFormatArg const& argument, wchar_t letter) noexcept
{
    if (TakesInteger(letter)) return FormatValue::Signed(argument.asSigned);
    // The low half of the number is the unit, as this platform keeps numbers.
    return FormatValue::Wide({reinterpret_cast<wchar_t const*>(&argument.asUnsigned), 1});
}

FormatValue BoolValue(bool value, wchar_t letter) noexcept
{
    if (TakesInteger(letter)) return FormatValue::Signed(value ? 1 : 0);
    return FormatValue::Wide(value ? L"true" : L"false");
}

} // namespace

/// The kind of the argument decides, not the letter: a format from outside cannot make a number into an address.
FormatValue TypedSource::Next(Conversion const& wanted)
{
    // A conversion without an argument: what it says is printed as it stands, and nothing is read from anywhere.
    if (m_next == m_arguments.count) return {};
    XCFormatArg const& argument = m_arguments.begin[m_next++];
    auto const* const wide = static_cast<wchar_t const*>(argument.pointer);
    auto const* const narrow = static_cast<char const*>(argument.pointer);
    switch (argument.kind) {
    case XCFormatArg::Kind::Signed:
    case XCFormatArg::Kind::Unsigned: return IntegerValue(argument, wanted);
    case XCFormatArg::Kind::Double: return FormatValue::Double(argument.asDouble);
    case XCFormatArg::Kind::Unit: return UnitValue(argument, wanted.letter);
    case XCFormatArg::Kind::Bool: return BoolValue(argument.asUnsigned != 0, wanted.letter);
    case XCFormatArg::Kind::WideEnd: return WideUpTo(wide, wanted.limit);
    case XCFormatArg::Kind::NarrowEnd: return NarrowUpTo(narrow, wanted.limit);
    // A view of nothing is an empty text; only a null pointer of a text prints as "(null)".
    case XCFormatArg::Kind::WideCount: return FormatValue::Wide({wide ? wide : L"", argument.length});
    case XCFormatArg::Kind::NarrowCount: return FormatValue::Narrow({narrow ? narrow : "", argument.length});
    case XCFormatArg::Kind::Pointer: break;
    }
    return FormatValue::Pointer(argument.pointer);
}

// Reading -------------------------------------------------------------------------------------------------------

/// Turns a format into the pieces of a plan.
class FormatReader {
public:
    FormatReader(FormatPlan& plan, FormatSource& source, std::uint32_t fieldLimit) noexcept
        : m_plan(plan), m_source(source), m_fieldLimit(std::min(fieldLimit, kFormatNoLimit))
    {
    }

    void Read(wchar_t const* format)
    {
        wchar_t const* literal = format;
        // A literal piece is not copied: it points into the format, and neighbours of a "%%" are two pieces.
        while (*format != L'\0') {
            if (*format != L'%') {
                ++format;
                continue;
            }
            AddLiteral(literal, format);
            if (format[1] == L'%') {
                literal = format + 1; // the second of the two belongs to the text
                format += 2;
                continue;
            }
            format = ReadConversion(format);
            literal = format;
        }
        AddLiteral(literal, format);
    }

private:
    using Piece = FormatPlan::Piece;

    void AddLiteral(wchar_t const* begin, wchar_t const* end)
    {
        if (begin == end) return;
        Piece piece{};
        piece.source = begin;
        piece.sourceLength = static_cast<std::size_t>(end - begin);
        m_plan.Add(piece);
    }

    /// From a "%" to the unit after its conversion, or after what can be none.
    wchar_t const* ReadConversion(wchar_t const* begin)
    {
        Piece piece{};
        wchar_t const* at = ReadPrecision(ReadFlagsAndWidth(begin + 1, piece), piece);
        at = ReadSize(at, piece);
        // An unknown conversion stands in the result as it was written and takes no value, so that the ones after it
        // still meet theirs.
        if (!IsLetter(*at)) {
            AddLiteral(begin, at);
            return at;
        }
        piece.letter = *at++;
        // The conversion as it was written: it is printed so when no value is left for it.
        piece.source = begin;
        piece.sourceLength = static_cast<std::size_t>(at - begin);
        TakeValues(piece);
        // %n takes its pointer and writes nothing through it: a format from outside must not be able to write memory.
        if (piece.letter != L'n') m_plan.Add(piece);
        return at;
    }

    static bool IsLetter(wchar_t unit) noexcept
    {
        // One bit a letter, from '@' on: 64 units hold both cases.
        constexpr std::uint64_t kLetters = BitsOfLetters("diuoxXcCsSpeEfgGaAn");
        return unit >= L'@' && unit < L'@' + 64 && (kLetters >> (unit - L'@') & 1) != 0;
    }

    static std::uint8_t FlagOf(wchar_t unit) noexcept
    {
        switch (unit) {
        case L'#': return kAlternate;
        case L'-': return kLeft;
        case L'+': return kPlus;
        case L'0': return kZero;
        case L' ': return kBlank;
        case L'*': return kStarWidth;
        default: return 0;
        }
    }

    /// Digits as a number, held at the largest value when there are too many.
    static wchar_t const* ReadDigits(wchar_t const* at, std::uint32_t& value) noexcept
    {
        std::uint64_t sum = 0;
        // Held at the limit in each step, so that no run of digits can wrap.
        for (; IsDigit(*at); ++at) sum = std::min<std::uint64_t>(sum * 10 + (ToUint(*at) - L'0'), kFormatNoLimit);
        value = static_cast<std::uint32_t>(sum);
        return at;
    }

    wchar_t const* ReadFlagsAndWidth(wchar_t const* at, Piece& piece) const noexcept
    {
        for (std::uint8_t flag = FlagOf(*at); flag != 0; flag = FlagOf(*++at)) piece.flags |= flag;
        at = ReadDigits(at, piece.width);
        // Cut and not refused: a width from data must not decide whether a line of a log is written.
        piece.width = std::min(piece.width, m_fieldLimit);
        return at;
    }

    wchar_t const* ReadPrecision(wchar_t const* at, Piece& piece) const noexcept
    {
        piece.precision = -1;
        if (*at != L'.') return at;
        if (*++at == L'*') {
            piece.flags |= kStarPrecision;
            return at + 1;
        }
        std::uint32_t digits = 0;
        at = ReadDigits(at, digits);
        piece.precision = static_cast<std::int32_t>(std::min(digits, m_fieldLimit));
        return at;
    }

    static wchar_t const* ReadSize(wchar_t const* at, Piece& piece) noexcept
    {
        for (;; ++at) {
            switch (*at) {
            // Repeated letters step through the sizes; of different ones the last counts.
            case L'h': piece.size = piece.size == FormatSize::Short ? FormatSize::Byte : FormatSize::Short; break;
            case L'l': piece.size = piece.size == FormatSize::Long ? FormatSize::Bits64 : FormatSize::Long; break;
            case L'w': piece.size = FormatSize::Long; break;
            case L'j':
            case L'z':
            case L't': piece.size = FormatSize::Bits64; break;
            case L'I':
                piece.size = FormatSize::Bits64;
                if (at[1] == L'3' && at[2] == L'2') piece.size = FormatSize::Default;
                // "I64", "I32", or "I" alone, which is the size of a pointer: 64 bits.
                if (piece.size == FormatSize::Default || (at[1] == L'6' && at[2] == L'4')) at += 2;
                break;
            case L'F':
            case L'L':
            case L'N': break;
            default: return at;
            }
        }
    }

    /// The number that a '*' takes from the arguments; anything but a number counts as 0.
    std::int64_t TakeNumber()
    {
        FormatValue const value = m_source.Next({L'*', FormatSize::Default, XCString::npos});
        std::int64_t const limit = m_fieldLimit;
        if (value.kind == FormatValue::Kind::Signed) return std::clamp(value.asSigned, -limit, limit);
        if (value.kind == FormatValue::Kind::Unsigned)
            return static_cast<std::int64_t>(std::min<std::uint64_t>(value.asUnsigned, m_fieldLimit));
        return 0;
    }

    void TakeValues(Piece& piece)
    {
        // Width, precision and value come in the order in which a call passes them; the source cannot go back.
        if ((piece.flags & kStarWidth) != 0) {
            std::int64_t const width = TakeNumber();
            // As in C: a negative width from the arguments means the left side.
            if (width < 0) piece.flags |= kLeft;
            piece.width = std::max(piece.width, static_cast<std::uint32_t>(width < 0 ? -width : width));
        }
        if ((piece.flags & kStarPrecision) != 0)
            // As in C: a negative precision from the arguments counts as none.
            piece.precision = static_cast<std::int32_t>(std::max<std::int64_t>(TakeNumber(), -1));
        std::size_t const limit = piece.precision < 0 ? XCString::npos : static_cast<std::size_t>(piece.precision);
        piece.value = m_source.Next({piece.letter, piece.size, limit});
    }

    FormatPlan& m_plan;
    FormatSource& m_source;
    std::uint32_t m_fieldLimit;
};

FormatPlan::FormatPlan(wchar_t const* format, FormatSource& source, std::uint32_t fieldLimit)
{
    if (format) FormatReader(*this, source, fieldLimit).Read(format);
}

void FormatPlan::Add(Piece const& piece)
{
    // Checked at each piece: the sum cannot wrap before it is seen to be too large.
    m_bound += BoundOf(piece); // each is far below 2^64 / 2^32 pieces
    if (m_bound > XCString::kMaxLength) throw std::length_error("format: the result would be too long");
    if (m_count < kInlinePieces)
        m_inline[m_count] = piece;
    else
        m_more.push_back(piece);
    ++m_count;
}

// A string may be formatted into itself. Its memory is written over only when no piece reads from it.
bool FormatPlan::RefersTo(void const* begin, void const* end) const noexcept
{
    // Pointers into different blocks: `<` is not defined for them, std::less is.
    std::less<> const before;
    auto const overlaps = [&](void const* from, std::size_t bytes) {
        return before(from, end) && before(begin, static_cast<char const*>(from) + bytes);
    };
    for (std::size_t i = 0; i < m_count; ++i) {
        Piece const& piece = At(i);
        std::size_t const unit = piece.value.kind == FormatValue::Kind::Wide ? sizeof(wchar_t) : 1;
        if (overlaps(piece.source, piece.sourceLength * sizeof(wchar_t))) return true;
        if (piece.letter != 0 && piece.value.IsText() && overlaps(piece.value.pointer, piece.value.length * unit))
            return true;
    }
    return false;
}

// The bound -----------------------------------------------------------------------------------------------------

namespace {

/// 22 digits, sign, prefix and the zero of "#"; for doubles the exponent forms and the shortest form as well.
constexpr std::size_t kIntegerAllowance = 32;
constexpr std::size_t kDoubleAllowance = 128;

/// Digits before the point of a double in fixed form, at most.
/// From the exponent alone: no logarithm is taken, and the answer is never too small.
std::size_t WholeDigits(double value) noexcept
{
    if (!std::isfinite(value)) return 0;
    auto const exponent = static_cast<int>((std::bit_cast<std::uint64_t>(value) >> 52) & 0x7FF) - 1023;
    return exponent > 0 ? static_cast<std::size_t>(exponent) / 3 + 2 : 1; // log10(2) is below a third
}

/// In units or bytes: a byte of UTF-8 becomes one unit at most, so that the count of bytes is a bound as well.
std::size_t LengthOfText(FormatValue const& value) noexcept
{
    return value.pointer ? value.length : kNullText.size();
}

} // namespace

std::size_t FormatPlan::BoundOf(Piece const& piece) noexcept
{
    if (piece.letter == 0) return piece.sourceLength;
    std::size_t const precision = piece.precision < 0 ? 0 : static_cast<std::size_t>(piece.precision);
    std::size_t bound = 0;
    switch (piece.value.kind) {
    case FormatValue::Kind::None: bound = piece.sourceLength; break;
    case FormatValue::Kind::Wide:
    case FormatValue::Kind::Narrow: bound = LengthOfText(piece.value); break;
    case FormatValue::Kind::Signed:
    case FormatValue::Kind::Unsigned:
    case FormatValue::Kind::Pointer: bound = kIntegerAllowance + precision; break;
    case FormatValue::Kind::Double: bound = kDoubleAllowance + WholeDigits(piece.value.asDouble) + precision; break;
    }
    return std::max<std::size_t>(bound, piece.width);
}

// Results -------------------------------------------------------------------------------------------------------

void FormatInto(XCString& result, wchar_t const* format, FormatSource& source, std::uint32_t fieldLimit)
{
    FormatPlan const plan(format, source, fieldLimit);
    std::size_t const bound = plan.GetUpperBound();
    // The bound may be too large: the length is set to what was written, and the block keeps the rest as capacity.
    auto const write = [&](XCString& target) {
        StringAccess::SetLength(target, plan.Write(StringAccess::Units(target), bound));
    };
    if (bound == 0) {
        result.Clear();
    } else if (StringAccess::CanWrite(result, bound) && !plan.RefersTo(result.begin(), result.end())) {
        write(result);
    } else {
        // Swapped in at the end, so that out of memory leaves the result as it was.
        XCString fresh;
        fresh.Reserve(bound);
        write(fresh);
        result.Swap(fresh);
    }
}

std::size_t FormatInto(wchar_t* buffer, std::size_t capacity, wchar_t const* format, FormatSource& source,
                       std::uint32_t fieldLimit)
{
    std::size_t length = FormatPlan(format, source, fieldLimit).Write(buffer, capacity - 1);
    bool const full = length == capacity - 1;
    // A text that was cut may end with half a pair.
    if (full && length != 0 && IsHighSurrogate(buffer[length - 1])) --length;
    buffer[length] = L'\0';
    return length;
}

} // namespace xc::text
