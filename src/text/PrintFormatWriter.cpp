// Writes a plan: literal pieces as they stand, conversions with sign, prefix, padding and precision.
//
// Digits come from std::to_chars, which is exact, knows no locale and needs no memory: %f of the largest double prints all
// of its 309 digits, and an exact tie rounds to the even digit. Only what to_chars lacks is added here: the alternate
// form, the trailing zeros of a large precision (not computed, only filled in), widths and signs.
//
// Numbers are cut into prefix, zeros, digits, zeros and exponent, so that padding with zeros can go between the prefix and
// the digits. Texts know no zero flag: they are padded with blanks.
//
// Invariant: no call writes outside the buffer; what does not fit is cut where the buffer ends.
#include "text/HexText.h"
#include "text/Kernels.h"
#include "text/PrintFormatTerms.h"
#include "text/Utf8.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace xc::text {

namespace {

/// The parts of a number, in the order in which they are written.
struct NumberField {
    char prefix[4]; ///< sign, "0x"
    std::size_t prefixLength = 0;
    std::size_t leadingZeros = 0;
    std::string_view digits;
    std::size_t trailingZeros = 0;
    std::string_view exponent;
    bool padWithZeros = false;

    void AddPrefix(char unit) noexcept { prefix[prefixLength++] = unit; }
    [[nodiscard]] std::size_t Length() const noexcept
    {
        return prefixLength + leadingZeros + digits.size() + trailingZeros + exponent.size();
    }
};

/// All decimals that a double can have in fixed form, and its digits before the point.
/// The smallest double is 2 to the power -1074, whose last digit is the 1074th. With 309 digits before the point the
/// longest text is below 1,400 units.
constexpr std::int32_t kMostDecimals = 1074;
constexpr std::size_t kDoubleBuffer = 1536;

void AddSign(NumberField& field, bool negative, std::uint8_t flags) noexcept
{
    if (negative)
        field.AddPrefix('-');
    else if ((flags & kPlus) != 0)
        field.AddPrefix('+');
    else if ((flags & kBlank) != 0)
        field.AddPrefix(' ');
}

/// By hand: the functions of the runtime ask for the locale of the thread.
void MakeUpper(char* begin, char const* end) noexcept
{
    for (; begin != end; ++begin)
        if (*begin >= 'a' && *begin <= 'z') *begin = static_cast<char>(*begin - ('a' - 'A'));
}

/// A finite, non-negative double in one of the forms of printf.
class DoubleText {
public:
    DoubleText(double value, char form, std::int32_t precision, bool alternate) noexcept
        : m_value(value), m_precision(precision), m_alternate(alternate)
    {
        switch (form) {
        // Six decimals unless asked for, as in C; %a alone takes as many as the value needs.
        case 'f': MakeFixed(precision < 0 ? 6 : precision); break;
        case 'e': MakeScientific(precision < 0 ? 6 : precision); break;
        case 'a': MakeHex(); break;
        default: MakeGeneral(precision < 0 ? 6 : std::max(precision, 1)); break;
        }
    }

    char* Begin() noexcept { return m_buffer; }
    char const* End() const noexcept { return m_end; }
    void MoveTo(NumberField& field) const noexcept
    {
        field.digits = {m_buffer, static_cast<std::size_t>(m_exponent - m_buffer)};
        field.trailingZeros = static_cast<std::size_t>(m_zeros);
        field.exponent = {m_exponent, static_cast<std::size_t>(m_end - m_exponent)};
    }

private:
    void Set(std::to_chars_result written, char exponentMark) noexcept
    {
        m_end = written.ptr;
        // Zeros of a large precision go between digits and exponent.
        m_exponent = exponentMark == 0 ? m_end : std::find(m_buffer, m_end, exponentMark);
    }
    /// With "#" a number has a point also when no decimal follows.
    void AddPoint() noexcept
    {
        if (!m_alternate || std::find(m_buffer, m_exponent, '.') != m_exponent) return;
        // The buffer keeps one unit free for this.
        std::memmove(m_exponent + 1, m_exponent, static_cast<std::size_t>(m_end - m_exponent));
        *m_exponent++ = '.';
        ++m_end;
    }
    void MakeFixed(std::int32_t precision) noexcept
    {
        // Past its last decimal a double has zeros only: these need neither buffer nor computation.
        std::int32_t const written = std::min(precision, kMostDecimals);
        // The conversion of the standard library rounds exactly, in every length, and looks at no locale.
        Set(std::to_chars(m_buffer, m_buffer + kDoubleBuffer - 1, m_value, std::chars_format::fixed, written), 0);
        m_zeros = precision - written;
        AddPoint();
    }
    void MakeScientific(std::int32_t precision) noexcept
    {
        std::int32_t const written = std::min(precision, kMostDecimals);
        Set(std::to_chars(m_buffer, m_buffer + kDoubleBuffer - 1, m_value, std::chars_format::scientific, written),
            'e');
        m_zeros = precision - written;
        AddPoint();
    }
    void MakeGeneral(std::int32_t precision) noexcept
    {
        if (!m_alternate) {
            // This form leaves out the zeros at the end, as %g does: none need be filled in.
            std::int32_t const written = std::min(precision, kMostDecimals);
            Set(std::to_chars(m_buffer, m_buffer + kDoubleBuffer - 1, m_value, std::chars_format::general, written),
                'e');
            return;
        }
        // "#" keeps the zeros at the end: the form is chosen by the rounded exponent, as the C language says.
        MakeScientific(precision - 1);
        int exponent = 0;
        char const* digits = m_exponent + (m_exponent[1] == '+' ? 2 : 1);
        std::from_chars(digits, m_end, exponent);
        if (exponent < -4 || exponent >= precision) return;
        MakeFixed(precision - 1 - exponent);
    }
    void MakeHex() noexcept
    {
        // 52 bits of the fraction are 13 digits; further ones are zeros.
        constexpr std::int32_t kHexDigits = 13;
        char* const limit = m_buffer + kDoubleBuffer - 1;
        std::int32_t const written = std::min(m_precision, kHexDigits);
        Set(written < 0 ? std::to_chars(m_buffer, limit, m_value, std::chars_format::hex)
                        : std::to_chars(m_buffer, limit, m_value, std::chars_format::hex, written),
            'p');
        m_zeros = std::max(m_precision - written, 0);
        AddPoint();
    }

    double m_value;
    std::int32_t m_precision;
    bool m_alternate;
    std::int32_t m_zeros = 0;
    char* m_end = m_buffer;
    char* m_exponent = m_buffer;
    char m_buffer[kDoubleBuffer];
};

} // namespace

/// Writes the pieces of a plan into a buffer and never past its end.
class FormatPlan::Writer {
public:
    Writer(wchar_t* buffer, std::size_t capacity) noexcept : m_at(buffer), m_end(buffer + capacity) {}
    [[nodiscard]] wchar_t* At() const noexcept { return m_at; }

    void Put(std::wstring_view text) noexcept
    {
        std::size_t const n = std::min(text.size(), Room());
        CopyUnits(m_at, text.data(), n);
        m_at += n;
    }

    void PutConversion(Piece const& piece) noexcept
    {
        switch (piece.value.kind) {
        case FormatValue::Kind::None: Put({piece.source, piece.sourceLength}); break;
        case FormatValue::Kind::Wide: PutWide(piece); break;
        case FormatValue::Kind::Narrow: PutNarrow(piece); break;
        case FormatValue::Kind::Signed:
        case FormatValue::Kind::Unsigned: PutIntegerOrUnit(piece); break;
        case FormatValue::Kind::Pointer: PutPointer(piece); break;
        case FormatValue::Kind::Double: PutDouble(piece); break;
        }
    }

private:
    [[nodiscard]] std::size_t Room() const noexcept { return static_cast<std::size_t>(m_end - m_at); }

    void Fill(wchar_t unit, std::size_t count) noexcept { m_at = std::fill_n(m_at, std::min(count, Room()), unit); }

    // Digits and signs are ASCII, so that widening needs no decoder.
    void PutAscii(std::string_view text) noexcept
    {
        std::size_t const n = std::min(text.size(), Room());
        for (std::size_t i = 0; i < n; ++i) m_at[i] = static_cast<wchar_t>(text[i]);
        m_at += n;
    }

    void PutPadded(std::wstring_view text, Piece const& piece) noexcept
    {
        // Padding counts units, as the width of the C library does for wide output.
        std::size_t const blanks = piece.width > text.size() ? piece.width - text.size() : 0;
        bool const left = (piece.flags & kLeft) != 0;
        if (!left) Fill(L' ', blanks);
        Put(text);
        if (left) Fill(L' ', blanks);
    }

    // A precision is a length for texts alone; with %c it says nothing.
    static std::size_t CutLength(Piece const& piece, std::size_t length) noexcept
    {
        bool const cut = piece.precision >= 0 && (piece.letter == L's' || piece.letter == L'S');
        return cut ? std::min(length, static_cast<std::size_t>(piece.precision)) : length;
    }

    void PutWide(Piece const& piece) noexcept
    {
        std::wstring_view const text = piece.value.pointer ? piece.value.WideText() : kNullText;
        PutPadded(text.substr(0, CutLength(piece, text.size())), piece);
    }

    void PutNarrow(Piece const& piece) noexcept
    {
        if (!piece.value.pointer) {
            PutPadded(kNullText.substr(0, CutLength(piece, kNullText.size())), piece);
            return;
        }
        std::string_view bytes = piece.value.NarrowText();
        // A text as long as its precision may have been cut already by who read it.
        // One more than there is tells a text without precision from one that ends exactly at it.
        std::size_t const most = CutLength(piece, bytes.size() + 1);
        if (most <= bytes.size()) bytes = WithoutBegunCharacter(bytes.substr(0, most));
        if (bytes.size() > Room())
            PutNarrowCut(bytes, piece);
        else
            PutNarrowWhole(bytes, piece);
    }

    /// Decodes in place, once, and makes room for the blanks then.
    void PutNarrowWhole(std::string_view bytes, Piece const& piece) noexcept
    {
        // Decoding writes at most one unit for a byte, and there is room for as many: it need not count first.
        wchar_t* const begin = m_at;
        std::size_t units = DecodeUtf8Leniently(begin, bytes);
        std::size_t const blanks = piece.width > units ? piece.width - units : 0;
        if ((piece.flags & kLeft) != 0) {
            m_at += units;
            Fill(L' ', blanks);
            return;
        }
        // Decoded at the left first and moved then: blanks can be counted only when the length is known.
        std::size_t const shift = std::min(blanks, Room());
        units = std::min(units, Room() - shift);
        std::memmove(begin + shift, begin, units * sizeof(wchar_t));
        Fill(L' ', shift);
        m_at += units;
    }

    /// There are more bytes than room for units: some of the text may not fit, and how much is not known yet.
    void PutNarrowCut(std::string_view bytes, Piece const& piece) noexcept
    {
        bool const left = (piece.flags & kLeft) != 0;
        std::size_t const units = DecodeUtf8Leniently(nullptr, 0, bytes);
        std::size_t const blanks = piece.width > units ? piece.width - units : 0;
        if (!left) Fill(L' ', blanks);
        m_at += std::min(DecodeUtf8Leniently(m_at, Room(), bytes), Room());
        if (left) Fill(L' ', blanks);
    }

    void PutNumber(NumberField& field, Piece const& piece) noexcept
    {
        std::size_t const length = field.Length();
        std::size_t const blanks = piece.width > length ? piece.width - length : 0;
        bool const left = (piece.flags & kLeft) != 0;
        // Zeros go between sign and digits, blanks before the sign; on the left side zeros would change the number.
        bool const zeros = field.padWithZeros && !left;
        if (zeros) field.leadingZeros += blanks;
        if (!left && !zeros) Fill(L' ', blanks);
        PutAscii({field.prefix, field.prefixLength});
        Fill(L'0', field.leadingZeros);
        PutAscii(field.digits);
        Fill(L'0', field.trailingZeros);
        PutAscii(field.exponent);
        if (left) Fill(L' ', blanks);
    }

    // The letter and the value may disagree where the format comes from outside: every pair has a defined answer.
    void PutIntegerOrUnit(Piece const& piece) noexcept
    {
        constexpr std::uint64_t kIntegerLetters = BitsOfLetters("diuoxX");
        bool const integer = (kIntegerLetters >> (piece.letter - L'@') & 1) != 0;
        if (piece.letter == L'c' || piece.letter == L'C') {
            bool const wide = IsWideConversion(piece.letter, piece.size);
            auto const unit =
                static_cast<wchar_t>(wide ? piece.value.asUnsigned & 0xFFFF : piece.value.asUnsigned & 0xFF);
            PutPadded({&unit, 1}, piece);
        } else if (piece.letter == L'p') {
            PutPointer(piece);
        } else if (integer) {
            PutInteger(piece);
        } else {
            // A letter for doubles or texts that met an integer. The value is shown rather than misread as something
            // else.
            Piece plain = piece; // no conversion of integers: the digits alone
            plain.precision = -1;
            plain.flags &= kLeft;
            PutInteger(plain);
        }
    }

    /// A negative number under %u, %x or %o: its bits in the width that the conversion names, when they fit.
    static std::uint64_t BitsOf(std::int64_t value, FormatSize size) noexcept
    {
        // A value that does not fit the named width shows all of its 64 bits, rather than a part that looks right.
        auto const bits = static_cast<std::uint64_t>(value);
        if (size == FormatSize::Byte && value >= INT8_MIN) return bits & 0xFF;
        if (size == FormatSize::Short && value >= INT16_MIN) return bits & 0xFFFF;
        return size != FormatSize::Bits64 && value >= INT32_MIN ? bits & 0xFFFFFFFF : bits;
    }

    // Signs belong to %d and %i; the other letters show bits, in which a minus has no place.
    void PutInteger(Piece const& piece) noexcept
    {
        bool const hex = piece.letter == L'x' || piece.letter == L'X';
        bool const octal = piece.letter == L'o';
        bool const plain = hex || octal || piece.letter == L'u';
        bool const isSigned = piece.value.kind == FormatValue::Kind::Signed;
        bool const negative = isSigned && piece.value.asSigned < 0;
        std::uint64_t magnitude = piece.value.asUnsigned;
        // Negated as an unsigned number: the smallest value has no positive one.
        if (negative) magnitude = plain ? BitsOf(piece.value.asSigned, piece.size) : 0 - magnitude;
        NumberField field;
        if (!plain) AddSign(field, negative, piece.flags);
        char buffer[32];
        PutDigits(field, magnitude, hex ? 16 : octal ? 8 : 10, piece, buffer);
    }

    void PutDigits(NumberField& field, std::uint64_t magnitude, int base, Piece const& piece,
                   char (&buffer)[32]) noexcept
    {
        char* end = std::to_chars(buffer, buffer + sizeof buffer, magnitude, base).ptr;
        // As in C: zero with precision zero has no digits.
        if (piece.precision == 0 && magnitude == 0) end = buffer;
        if (piece.letter == L'X') MakeUpper(buffer, end);
        field.digits = {buffer, static_cast<std::size_t>(end - buffer)};
        if (piece.precision >= 0 && static_cast<std::size_t>(piece.precision) > field.digits.size())
            field.leadingZeros = static_cast<std::size_t>(piece.precision) - field.digits.size();
        if ((piece.flags & kAlternate) != 0) {
            // As in C, "#" makes the first octal digit a zero by raising the precision, if it is none already.
            if (base == 8 && field.leadingZeros == 0 && (magnitude != 0 || piece.precision == 0))
                field.leadingZeros = 1;
            if (base == 16 && magnitude != 0) {
                field.AddPrefix('0');
                field.AddPrefix(piece.letter == L'X' ? 'X' : 'x');
            }
        }
        // As in C: a precision says how many digits there are, and the zero flag is then ignored.
        field.padWithZeros = (piece.flags & kZero) != 0 && piece.precision < 0;
        PutNumber(field, piece);
    }

    /// Sixteen digits, as the runtime library of the platform writes addresses.
    void PutPointer(Piece const& piece) noexcept
    {
        constexpr int kDigits = 16;
        char buffer[kDigits];
        PutHex(buffer, piece.value.asUnsigned, kDigits);
        NumberField field;
        field.digits = {buffer, kDigits};
        PutNumber(field, piece);
    }

    void PutDouble(Piece const& piece) noexcept
    {
        double const value = piece.value.asDouble;
        NumberField field;
        bool const isNumber = !std::isnan(value);
        // The sign bit of what is no number carries no meaning and differs between processors.
        AddSign(field, isNumber && std::signbit(value), piece.flags);
        bool const upper = piece.letter == L'E' || piece.letter == L'G' || piece.letter == L'A';
        auto const form = static_cast<char>(piece.letter | 0x20);
        if (!std::isfinite(value)) {
            // Zero padding would make a number of these words: the flag is left out.
            field.digits = isNumber ? (upper ? "INF" : "inf") : (upper ? "NAN" : "nan");
            PutNumber(field, piece);
        } else if (form == 'e' || form == 'f' || form == 'g' || form == 'a') {
            DoubleText text(std::fabs(value), form, piece.precision, (piece.flags & kAlternate) != 0);
            if (upper) MakeUpper(text.Begin(), text.End());
            text.MoveTo(field);
            if (form == 'a') {
                field.AddPrefix('0');
                field.AddPrefix(upper ? 'X' : 'x');
            }
            field.padWithZeros = (piece.flags & kZero) != 0;
            PutNumber(field, piece);
        } else {
            char buffer[32]; // no conversion of doubles: the shortest text that reads back the same
            char* const end = std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value)).ptr;
            field.digits = {buffer, static_cast<std::size_t>(end - buffer)};
            PutNumber(field, piece);
        }
    }

    wchar_t* m_at;
    wchar_t* m_end;
};

std::size_t FormatPlan::Write(wchar_t* buffer, std::size_t capacity) const noexcept
{
    Writer writer(buffer, capacity);
    for (std::size_t i = 0; i < m_count; ++i) {
        // The first pieces stand in the plan itself and the rest in a list: the order is that of the format.
        Piece const& piece = At(i);
        if (piece.letter == 0)
            writer.Put({piece.source, piece.sourceLength});
        else
            writer.PutConversion(piece);
    }
    return static_cast<std::size_t>(writer.At() - buffer);
}

} // namespace xc::text
