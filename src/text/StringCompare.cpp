// Comparison, hash and natural order of XCString.
//
// Ordinal comparison looks for the first place where the texts differ or the left one ends: the left text is followed by
// a terminator and the end of the right one counts as one, so the unit at that place decides in every case, also for a
// text that is the start of the other.
// The three folding collators of the modes are built when first used (each fills a table of 65,536 units) and live to the
// end of the process; a mode without memory for its table, or after the table has gone, compares ordinally.
//
// The hash is a polynomial over all units (Kernels.cpp). Its remainder by 1073741827 needs no division, because the value
// lies within twice the modulus. Natural order reads both texts side by side; its numbers wrap at 32 bits, so that no run
// of digits is too long for it.
#include <XelbrinCore/XCCollator.h>
#include <XelbrinCore/XCString.h>

#include "text/Kernels.h"
#include "text/Units.h"

#include <algorithm>
#include <atomic>
#include <new>

using xc::text::IsDigit;
using xc::text::ToUint;

namespace {

/// Ordinal, up to the first terminator of either text. One follows @p a; the end of @p b counts as one.
int CompareOrdinal(std::wstring_view a, std::wstring_view b) noexcept
{
    // Texts that are the same throughout are so up to a terminator, too. Long texts of one length mostly are.
    if (a.size() == b.size() && xc::text::IsKnownSame(a.data(), b.data(), a.size())) return 0;
    std::size_t const common = std::min(a.size(), b.size());
    std::size_t const at = xc::text::MismatchOrEnd(a.data(), b.data(), common);
    std::uint32_t const left = ToUint(a.data()[at]);
    std::uint32_t const right = at < b.size() ? ToUint(b[at]) : 0;
    return left == right ? 0 : left < right ? -1 : 1;
}

template <class Collator>
constinit std::atomic<XCCollator const*> processCollator{nullptr};

/// Publishes one collator with one reference, until the end of the process.
template <class Collator>
struct ProcessCollatorOwner {
    ProcessCollatorOwner()
    {
        XCSmartPtr<Collator> collator(new Collator);
        collator->AddRef();
        processCollator<Collator>.store(collator.GetPtr(), std::memory_order_release);
    }
    // Destructors of static objects may still compare; they find null and compare ordinally.
    ~ProcessCollatorOwner() { processCollator<Collator>.exchange(nullptr)->Release(); }
    ProcessCollatorOwner(ProcessCollatorOwner const&) = delete;
    ProcessCollatorOwner& operator=(ProcessCollatorOwner const&) = delete;
};

/// Created once, by whichever thread comes first; null when there is no memory for it, and while the process ends.
template <class Collator>
XCCollator const* GetProcessCollator()
{
    try {
        // An exception leaves the static unbuilt: the next call tries again.
        static ProcessCollatorOwner<Collator> const owner;
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
    return processCollator<Collator>.load(std::memory_order_acquire);
}

/// The collator that a comparison mode selects; null for mode 0.
XCCollator const* CollatorOfMode(long mode)
{
    switch (mode & 3) {
    case 1: return GetProcessCollator<XCTableIgnoreCaseCollator>();
    case 2: return GetProcessCollator<XCTableIgnoreAccentCollator>();
    case 3: return GetProcessCollator<XCTableIgnoreCaseAndAccentCollator>();
    default: return nullptr;
    }
}

} // namespace

int XCStringSearch::Compare(wchar_t const* other, long mode) const
{
    // A null pointer counts as a text after all others but the empty one, which it equals.
    if (!other) return IsNull() ? 0 : -1;
    XCCollator const* const collator = CollatorOfMode(mode);
    return collator ? collator->Compare(AsWChar(), other)
                    : CompareOrdinal(View(), {other, xc::text::TextLength(other)});
}

int XCStringSearch::Compare(XCStringStorage const& other, long mode) const
{
    XCCollator const* const collator = CollatorOfMode(mode);
    return collator ? collator->Compare(AsWChar(), other.AsWChar()) : CompareOrdinal(View(), other.View());
}

int XCStringSearch::CompareUnits(std::wstring_view other, long mode) const
{
    // A collator reads up to a terminator, which a view need not have.
    return (mode & 3) == 0 ? CompareOrdinal(View(), other) : Compare(XCString(other), mode);
}

int XCStringSearch::Compare(wchar_t const* other, XCSmartPtrToConst<XCCollator> const& collator) const
{
    if (!other) return IsNull() ? 0 : -1;
    return collator.IsNull() ? CompareOrdinal(View(), {other, xc::text::TextLength(other)})
                             : collator->Compare(AsWChar(), other);
}

std::size_t XCStringHash::operator()(XCString const& text) const noexcept
{
    std::uint32_t const h = xc::text::Hash613(static_cast<std::uint32_t>(text.Length()), text.AsWChar(), text.Length());
    // Negated in unsigned arithmetic, so that the smallest value stays what it is. What remains lies within twice the
    // modulus: one sum is the remainder.
    auto const positive = static_cast<std::int32_t>(h > 0x7FFFFFFFu ? 0u - h : h);
    constexpr std::int32_t kModulus = 1073741827;
    std::int32_t const remainder = positive < 0           ? positive + kModulus
                                   : positive >= kModulus ? positive - kModulus
                                                          : positive;
    return static_cast<std::size_t>(std::int64_t{remainder});
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
        // Numbers stand before words.
        if (leftDigit != IsDigit(*right)) return leftDigit ? -1 : 1;
        if (leftDigit) {
            std::uint32_t const leftNumber = StrToLong(&left);
            // Unsigned, so that the difference is defined when numbers wrapped; leading zeros are gone by then.
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
