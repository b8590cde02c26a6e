// Comparison, hash and natural order of XCString.
#include <XelbrinCore/XCCollator.h>
#include <XelbrinCore/XCString.h>

#include "text/Kernels.h"
#include "text/Units.h"

#include <algorithm>

using xc::text::IsDigit;
using xc::text::ToUint;

namespace {

/// Ordinal, up to the first terminator of either text; both hold one at the end of their view.
int CompareOrdinal(std::wstring_view a, std::wstring_view b) noexcept
{
    std::size_t const common = std::min(a.size(), b.size()) + 1; // the terminators take part
    std::size_t const at = xc::text::Mismatch(a.data(), b.data(), common);
    if (xc::text::FindUnit(a.data(), std::min(at, common - 1), L'\0') < std::min(at, common - 1)) return 0;
    if (at == common) return 0;
    return ToUint(a.data()[at]) < ToUint(b.data()[at]) ? -1 : 1;
}

/// The collator that a comparison mode selects; null for mode 0. Each is made once and lives as long as the process.
XCCollator const* CollatorOfMode(long mode)
{
    switch (mode & 3) {
    case 1: {
        static XCSmartPtrToConst<XCCollator> const ignoreCase(new XCTableIgnoreCaseCollator);
        return ignoreCase;
    }
    case 2: {
        static XCSmartPtrToConst<XCCollator> const ignoreAccent(new XCTableIgnoreAccentCollator);
        return ignoreAccent;
    }
    case 3: {
        static XCSmartPtrToConst<XCCollator> const ignoreBoth(new XCTableIgnoreCaseAndAccentCollator);
        return ignoreBoth;
    }
    default: return nullptr;
    }
}

} // namespace

int XCString::Compare(wchar_t const* other, long mode) const
{
    if (!other) return IsNull() ? 0 : -1;
    XCCollator const* const collator = CollatorOfMode(mode);
    return collator ? collator->Compare(AsWChar(), other) : CompareOrdinal(View(), other);
}

int XCString::Compare(XCString const& other, long mode) const
{
    XCCollator const* const collator = CollatorOfMode(mode);
    return collator ? collator->Compare(AsWChar(), other.AsWChar()) : CompareOrdinal(View(), other.View());
}

int XCString::Compare(wchar_t const* other, XCSmartPtrToConst<XCCollator> const& collator) const
{
    if (!other) return IsNull() ? 0 : -1;
    return collator.IsNull() ? CompareOrdinal(View(), other) : collator->Compare(AsWChar(), other);
}

int XCString::Compare(XCString const& other, XCSmartPtrToConst<XCCollator> const& collator) const
{
    return Compare(other.AsWChar(), collator);
}

std::size_t XCStringHash::operator()(XCString const& text) const noexcept
{
    std::uint32_t const h = xc::text::Hash613(static_cast<std::uint32_t>(text.Length()), text.AsWChar(), text.Length());
    // Negated in unsigned arithmetic, so that the smallest value stays what it is.
    auto const positive = static_cast<std::int32_t>(h > 0x7FFFFFFFu ? 0u - h : h);
    return static_cast<std::size_t>(static_cast<std::int64_t>(positive % 1073741827));
}

std::uint32_t XCStringNatCompare::StrToLong(wchar_t const** text) noexcept
{
    std::uint32_t value = 0;
    for (; IsDigit(**text); ++*text) value = value * 10 + (ToUint(**text) - L'0');
    return value;
}

int XCStringNatCompare::operator()(XCString const& a, XCString const& b) const noexcept
{
    wchar_t const* left = a.AsWChar();
    wchar_t const* right = b.AsWChar();
    while (xc::text::IsSpace(*left)) ++left;
    while (xc::text::IsSpace(*right)) ++right;
    for (;;) {
        if (*left == L'\0' || *right == L'\0')
            return static_cast<int>(ToUint(*left)) - static_cast<int>(ToUint(*right));
        bool const leftDigit = IsDigit(*left);
        if (leftDigit != IsDigit(*right)) return leftDigit ? -1 : 1;
        if (leftDigit) {
            std::uint32_t const leftNumber = StrToLong(&left);
            std::uint32_t const difference = leftNumber - StrToLong(&right);
            if (difference != 0) return static_cast<int>(difference);
            continue;
        }
        if (*left != *right) {
            int const difference =
                static_cast<int>(ToUint(XCtowupper(*left))) - static_cast<int>(ToUint(XCtowupper(*right)));
            if (difference != 0) return difference;
        }
        ++left;
        ++right;
    }
}
