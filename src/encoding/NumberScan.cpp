// Numbers in a text, by the conventions of a locale.
//
// One pass from left to right copies sign, digits, decimal mark and exponent as ASCII, and leaves the value to
// std::from_chars, which is exact. A thousands separator is taken where a digit stands on both sides; the places of the
// separators are kept and compared with the group sizes at the end of the integer part, because groups are counted from
// there. A separator at a wrong place is an error at that place and not the end of the number: "1,23" read as 1 would be
// silently wrong. Time is linear; an exponent belongs to the number only when a digit follows it.
#include "encoding/NumberScan.h"

#include <algorithm>
#include <vector>

namespace xc::encoding {

namespace {

/// Units that people type for one another.
wchar_t Folded(wchar_t unit) noexcept
{
    // The narrow no-break space of newer systems for the one that people can type, and the typographic apostrophe for
    // the plain one.
    if (unit == 0x202F) return 0xA0;
    return unit == 0x2019 ? L'\'' : unit;
}

class Scanner {
public:
    Scanner(std::wstring_view text, std::size_t start, int base, XCLocale const& locale)
        : m_text(text), m_locale(locale), m_base(base == 0 ? 10 : base), m_at(start)
    {
    }

    ScannedNumber Run(bool isReal)
    {
        if (Unit() == L'-' || Unit() == L'+') {
            if (Unit() == L'-') m_spelled += '-';
            ++m_at;
        }
        if (isReal && TakeWord()) return {m_spelled, m_at, 0};
        std::size_t const before = m_spelled.size();
        if (!TakeWhole()) return {{}, 0, m_at};
        if (isReal) TakeDecimals();
        bool const any = m_spelled.size() > before;
        if (!any || m_spelled.back() == '.') return {{}, 0, m_at};
        if (isReal) TakeExponent();
        return {m_spelled, m_at, 0};
    }

private:
    [[nodiscard]] wchar_t Unit(std::size_t ahead = 0) const noexcept
    {
        return m_at + ahead < m_text.size() ? m_text[m_at + ahead] : L'\0';
    }
    [[nodiscard]] bool IsDigitAt(std::size_t ahead) const noexcept
    {
        wchar_t const unit = Unit(ahead);
        if (unit >= L'0' && unit <= L'9') return unit - L'0' < m_base;
        wchar_t const small = static_cast<wchar_t>(unit | 0x20);
        return unit < 0x80 && small >= L'a' && small - L'a' + 10 < m_base && small <= L'z';
    }
    void TakeDigit() { m_spelled += static_cast<char>(m_text[m_at++]); }

    /// The units of a mark of the locale that stand here; 0 when it does not.
    [[nodiscard]] std::size_t MarkAt(XCString const& mark) const noexcept
    {
        for (std::size_t i = 0; i < mark.Length(); ++i)
            if (Folded(Unit(i)) != Folded(mark[i])) return 0;
        return mark.Length();
    }

    /// "inf" and "nan", as numbers without digits are written.
    bool TakeWord()
    {
        std::wstring_view const word = m_text.substr(std::min(m_at, m_text.size()), 3);
        if (word != L"inf" && word != L"nan") return false;
        for (int i = 0; i < 3; ++i) TakeDigit();
        return true;
    }

    /// The digits before the decimal mark. @return false when a group has a wrong size; m_at is then its separator.
    bool TakeWhole()
    {
        std::size_t digits = 0;
        for (;;) {
            for (; IsDigitAt(0); ++digits) TakeDigit();
            std::size_t const mark = digits != 0 && m_base == 10 ? MarkAt(m_locale.GetThousands()) : 0;
            if (mark == 0 || !IsDigitAt(mark)) break;
            m_separators.push_back({m_at, digits});
            m_at += mark;
        }
        return GroupsFit(digits);
    }

    bool GroupsFit(std::size_t digits)
    {
        std::size_t expected = digits;
        for (std::size_t i = 0; i < m_separators.size(); ++i) {
            Separator const& separator = m_separators[m_separators.size() - 1 - i];
            std::size_t const size = m_locale.GetGroupSize(i);
            // Counted from the decimal mark: the last group is the first to be judged.
            bool const fits = size != 0 && expected > size && separator.digitsBefore == expected - size;
            if (!fits) {
                m_at = separator.position;
                return false;
            }
            expected -= size;
        }
        // The first group may be short, never longer than its size.
        std::size_t const size = m_locale.GetGroupSize(m_separators.size());
        if (m_separators.empty() || size == 0 || expected <= size) return true;
        m_at = m_separators.front().position;
        return false;
    }

    void TakeDecimals()
    {
        std::size_t const mark = MarkAt(m_locale.GetDecimal());
        if (mark == 0) return;
        bool const follows = IsDigitAt(mark);
        // A mark alone is no number.
        if (!follows && (m_spelled.empty() || m_spelled == "-")) return;
        m_at += mark;
        if (!follows) return;
        m_spelled += '.';
        while (IsDigitAt(0)) TakeDigit();
    }

    void TakeExponent()
    {
        if (Unit() != L'e' && Unit() != L'E') return;
        bool const isSigned = Unit(1) == L'-' || Unit(1) == L'+';
        // Otherwise the e belongs to what follows, such as the unit of a measure.
        if (!IsDigitAt(isSigned ? 2 : 1)) return;
        TakeDigit();
        if (isSigned) TakeDigit();
        while (IsDigitAt(0)) TakeDigit();
    }

    struct Separator {
        std::size_t position;
        std::size_t digitsBefore;
    };
    std::wstring_view m_text;
    XCLocale const& m_locale;
    int m_base;
    std::size_t m_at;
    std::string m_spelled;
    std::vector<Separator> m_separators;
};

} // namespace

ScannedNumber ScanNumber(std::wstring_view text, std::size_t start, int base, XCLocale const& locale)
{
    return Scanner(text, start, base, locale).Run(base == 0);
}

} // namespace xc::encoding
