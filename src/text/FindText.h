// FindText.h - one text sought again and again, as replacing does.
#pragma once

#include <cstddef>
#include <string_view>

namespace xc::text {

/// Prepared once for a needle. Searching a text piece by piece stays linear in all of it, because the finder remembers
/// what it compared in vain; the needle must stay where it is.
class TextFinder {
public:
    explicit TextFinder(std::wstring_view needle) noexcept;
    /// The index of the first needle in n units, or n. An empty needle is found at 0.
    std::size_t Find(wchar_t const* text, std::size_t n) noexcept;

    // For the filters: the two units looked for and the comparison at a place where both fit.
    [[nodiscard]] std::size_t First() const noexcept { return m_first; }
    [[nodiscard]] std::size_t Second() const noexcept { return m_needle.size() - 1; }
    wchar_t operator[](std::size_t i) const noexcept { return m_needle[i]; }
    bool IsAt(wchar_t const* text) noexcept;
    [[nodiscard]] bool WastedTooMuch(std::size_t scanned) const noexcept
    {
        return m_wasted > 4 * (m_scanned + scanned) + 4096;
    }

private:
    std::wstring_view m_needle;
    std::size_t m_first;
    std::size_t m_scanned = 0;
    std::size_t m_wasted = 0;
};

} // namespace xc::text
