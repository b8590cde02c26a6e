// The formats that nearly all calls have, without a plan.
//
// "%d %s" needs none of what the engine of PrintFormat prepares for: no width, no precision, nothing cut or padded. Such
// a format is read and written in one walk, into a buffer on the stack, and copied once into the string. The first thing
// that is not that simple ends the walk, and the engine starts over: nothing was changed by then, and typed arguments,
// unlike those of a C call, can be read twice.
//
// Cost: one copy of a few hundred units at most; a walk in vain costs less than a tenth of the engine's.
// Invariant: the result is that of the engine to the unit, and so is the room that the string asks for (its bound: 32
// units for an integer), since callers see it as capacity.
#include "text/Kernels.h"
#include "text/NumberText.h"
#include "text/PrintFormat.h"
#include "text/StringAccess.h"

namespace xc::text {

namespace {

class SimpleWalk {
public:
    explicit SimpleWalk(XCFormatArgs const& arguments) noexcept
        : m_next(arguments.begin), m_end(arguments.begin + arguments.count)
    {
    }

    /// False: the format is not simple, or its result is too long for this.
    bool Read(wchar_t const* format) noexcept
    {
        while (*format != L'\0') {
            if (*format != L'%' || *++format == L'%') {
                if (!PutUnit(*format++)) return false;
                continue;
            }
            while (*format == L'l') ++format; // says nothing where arguments know their type
            if (m_next == m_end || !PutConversion(*format++, *m_next++)) return false;
        }
        return true;
    }

    /// Replaces the text, which the format and its arguments may have been parts of.
    void MoveTo(XCString& result) const
    {
        if (m_bound == 0) return result.Clear();
        if (StringAccess::CanWrite(result, m_bound)) return Copy(result);
        XCString fresh;
        fresh.Reserve(m_bound);
        Copy(fresh);
        result.Swap(fresh);
    }

private:
    static constexpr std::size_t kMost = 256;
    static constexpr std::size_t kMostDigits = 20;
    static constexpr std::size_t kIntegerBound = 32; // as the engine counts it

    [[nodiscard]] std::size_t Room() const noexcept { return kMost - m_length; }

    bool PutUnit(wchar_t unit) noexcept
    {
        if (Room() == 0) return false;
        m_buffer[m_length++] = unit;
        ++m_bound;
        return true;
    }

    bool PutText(std::wstring_view text) noexcept
    {
        if (text.size() > Room()) return false;
        CopyUnits(m_buffer + m_length, text.data(), text.size());
        m_length += text.size();
        m_bound += text.size();
        return true;
    }

    bool PutInteger(bool negative, std::uint64_t magnitude) noexcept
    {
        if (Room() < kMostDigits + 1) return false;
        if (negative) m_buffer[m_length++] = L'-';
        m_length += CountDigits(magnitude);
        PutDecimal(m_buffer + m_length, magnitude);
        m_bound += kIntegerBound;
        return true;
    }

    /// Only what needs no thought: a number for a number, a wide text for a text. A null text is not simple.
    bool PutConversion(wchar_t letter, XCFormatArg const& argument) noexcept
    {
        using Of = XCFormatArg::Kind;
        if (letter == L's' && argument.pointer != nullptr) {
            auto const* const text = static_cast<wchar_t const*>(argument.pointer);
            if (argument.kind == Of::WideEnd) return PutText({text, TextLength(text)});
            return argument.kind == Of::WideCount && PutText({text, argument.length});
        }
        bool const isSigned = argument.kind == Of::Signed;
        if ((letter != L'd' && letter != L'i' && letter != L'u') || (!isSigned && argument.kind != Of::Unsigned))
            return false;
        bool const negative = isSigned && argument.asSigned < 0;
        // Of a negative number %u shows bits.
        if (negative && letter == L'u') return false;
        return PutInteger(negative, negative ? 0 - argument.asUnsigned : argument.asUnsigned);
    }

    void Copy(XCString& target) const noexcept
    {
        CopyUnits(StringAccess::Units(target), m_buffer, m_length);
        StringAccess::SetLength(target, m_length);
    }

    XCFormatArg const* m_next;
    XCFormatArg const* m_end;
    std::size_t m_length = 0;
    std::size_t m_bound = 0;
    wchar_t m_buffer[kMost];
};

} // namespace

bool FormatSimply(XCString& result, wchar_t const* format, XCFormatArgs const& arguments)
{
    SimpleWalk walk(arguments);
    if (!format || !walk.Read(format)) return false;
    walk.MoveTo(result);
    return true;
}

} // namespace xc::text
