// PrintFormat.h - the wide printf engine of XCString::Format and of message texts.
//
// SYNTAX   %[flags][width][.precision][size]letter with the flags # * - + 0 blank, width and precision in digits or *,
//          the sizes h hh l ll w I I32 I64 j z t (F L N are accepted and ignored) and the letters
//          d i u o x X c C s S p e E f g G a A n. "%%" is a percent sign.
// MEANING  That of wide formats on Windows: %s and %ls wide text, %S and %hs narrow text; %c and %C likewise; l is 32
//          bits, I64 and ll are 64. Numbers are written in the invariant way. Null text prints "(null)". Narrow text
//          is UTF-8; a byte that is no UTF-8 stands for the unit of its value. %n takes its argument and writes
//          nothing.
// FAULTS   Nothing in a format can crash or overrun. Text outside conversions is printed as it stands, and so is a
//          conversion whose value is missing. A value that does not fit its conversion prints its own text: an integer
//          for %s its digits, a text for %d itself, a double for %d its shortest form.
// HOW      The format is read once into a plan (pieces of literal text and conversions with their values) that knows
//          an upper bound of the result's length; the result is then written once.
#pragma once

#include <XelbrinCore/XCFormatArg.h>
#include <XelbrinCore/XCString.h>

#include <cstdarg>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace xc::text {

enum class FormatSize : std::uint8_t { Default, Byte, Short, Long, Bits64 };

/// The request of the engine to a source of values.
struct Conversion {
    wchar_t letter;    ///< the conversion's letter; '*' for a width or a precision
    FormatSize size;   ///< its size prefix
    std::size_t limit; ///< text: how many units or bytes may be read at most (the precision), else npos
};

/// One value of a format.
struct FormatValue {
    enum class Kind : std::uint8_t { None, Signed, Unsigned, Double, Wide, Narrow, Pointer };

    static FormatValue Signed(std::int64_t value) noexcept;
    static FormatValue Unsigned(std::uint64_t value) noexcept;
    static FormatValue Double(double value) noexcept;
    /// A null data pointer prints "(null)".
    static FormatValue Wide(std::wstring_view text) noexcept;
    static FormatValue Narrow(std::string_view text) noexcept;
    static FormatValue Pointer(void const* value) noexcept;

    [[nodiscard]] std::wstring_view WideText() const noexcept { return {static_cast<wchar_t const*>(pointer), length}; }
    [[nodiscard]] std::string_view NarrowText() const noexcept { return {static_cast<char const*>(pointer), length}; }
    [[nodiscard]] bool IsText() const noexcept { return kind == Kind::Wide || kind == Kind::Narrow; }

    Kind kind; // no initialisers: a plan holds many of these that are never used
    union {
        std::int64_t asSigned;
        std::uint64_t asUnsigned;
        double asDouble;
        void const* pointer;
    };
    std::size_t length; ///< of a text
};

/// Hands out the values of a format, one a call, in the order in which the format asks for them. Texts must stay where
/// they are until the result is written.
class FormatSource {
public:
    virtual ~FormatSource() = default;
    /// The next value; kind None when there is none left.
    virtual FormatValue Next(Conversion const& wanted) = 0;
};

/// The arguments of a C call, pulled in exactly the type that each conversion names.
class ArgumentListSource final : public FormatSource {
public:
    explicit ArgumentListSource(va_list arguments);
    ~ArgumentListSource() override;
    ArgumentListSource(ArgumentListSource const&) = delete;
    ArgumentListSource& operator=(ArgumentListSource const&) = delete;
    FormatValue Next(Conversion const& wanted) override;

private:
    FormatValue NextText(bool wide, std::size_t limit);

    va_list m_arguments;
};

/// Values that know their own type, in order.
class ValueListSource final : public FormatSource {
public:
    explicit ValueListSource(std::span<FormatValue const> values) noexcept : m_values(values) {}
    FormatValue Next(Conversion const& wanted) override;

private:
    std::span<FormatValue const> m_values;
    std::size_t m_next = 0;
};

/// The arguments of a typed call. Numbers, characters and truth are numbers for the conversions of numbers, and their own
/// text for all others.
class TypedSource final : public FormatSource {
public:
    explicit TypedSource(XCFormatArgs const& arguments) noexcept : m_arguments(arguments) {}
    FormatValue Next(Conversion const& wanted) override;

private:
    XCFormatArgs m_arguments;
    std::size_t m_next = 0;
};

/// The largest width and precision that are honoured. Formats that come from data take kFormatLimitOfData, so that a
/// line of text cannot ask for gigabytes.
inline constexpr std::uint32_t kFormatNoLimit = 0x7FFFFFFF;
inline constexpr std::uint32_t kFormatLimitOfData = 4096;

/// A format that has been read and has its values.
class FormatPlan {
public:
    /// @throws std::length_error when the result could not be a string.
    FormatPlan(wchar_t const* format, FormatSource& source, std::uint32_t fieldLimit);

    /// No result is longer.
    [[nodiscard]] std::size_t GetUpperBound() const noexcept { return m_bound; }
    /// Whether the format or a text lies in this range of memory.
    [[nodiscard]] bool RefersTo(void const* begin, void const* end) const noexcept;
    /// Writes at most `capacity` units, without terminator; returns how many.
    std::size_t Write(wchar_t* buffer, std::size_t capacity) const noexcept;

private:
    friend class FormatReader;

    struct Piece {
        wchar_t const* source; ///< literal text, or the conversion as it stands in the format
        std::size_t sourceLength;
        FormatValue value;
        std::uint32_t width;
        std::int32_t precision; ///< negative: none given
        std::uint8_t flags;
        FormatSize size;
        wchar_t letter; ///< 0: literal text
    };
    static constexpr std::size_t kInlinePieces = 10;
    class Writer;
    friend class Writer;

    void Add(Piece const& piece);
    [[nodiscard]] Piece const& At(std::size_t index) const noexcept
    {
        return index < kInlinePieces ? m_inline[index] : m_more[index - kInlinePieces];
    }
    static std::size_t BoundOf(Piece const& piece) noexcept;

    Piece m_inline[kInlinePieces];
    std::vector<Piece> m_more;
    std::size_t m_count = 0;
    std::size_t m_bound = 0;
};

/// Replaces the text of `result`; the format and its values may lie in it. One allocation at most.
void FormatInto(XCString& result, wchar_t const* format, FormatSource& source,
                std::uint32_t fieldLimit = kFormatNoLimit);

/// The same for the formats of most calls: texts and whole numbers without width, flags or precision. False, and nothing
/// changed, where the engine is needed, among others for a result of some hundred units.
bool FormatSimply(XCString& result, wchar_t const* format, XCFormatArgs const& arguments);

/// Writes into a buffer of `capacity` units (at least 1), cut where it ends (never inside a surrogate pair) and always
/// terminated; returns the length.
std::size_t FormatInto(wchar_t* buffer, std::size_t capacity, wchar_t const* format, FormatSource& source,
                       std::uint32_t fieldLimit = kFormatNoLimit);

} // namespace xc::text
