// Comparison by levels, after the collation algorithm of Unicode (UTS 10), simplified to single units and sequences.
//
// Two texts become two rows of elements. The primary weights of the rows decide; if they are equal, the secondary ones,
// then the tertiary ones. Equal beginnings of the texts are skipped in vector steps. From the first difference on, as long
// as each text has one plain element a unit, both rows are walked once, and the first difference of the lower levels is
// noted on the way. Only where an element needs more (marks, sequences, numbers) the rest is walked once a level.
//
// A number becomes a lead weight that nothing else has, its length and its digits without leading zeros, so that numbers
// of any length compare as numbers and no weight of theirs meets one of another kind.
//
// A key is the row of primary weights, each in as many bytes as it needs, then the secondary and tertiary bytes, each level without its common weights at the
// end, separated by zeros. Common weights are the smallest, so leaving them out at the end keeps the order, and a text of
// plain lower-case letters has no lower levels at all.
//
// Invariant: the skipped beginning never ends inside a sequence or a number.
#include <XelbrinCore/XCLevelCollator.h>

#include "text/CollationData.h"
#include "text/Kernels.h"

using xc::text::CollationData;
using xc::text::Element;
using xc::text::ElementReader;
using xc::text::IsDigit;
using xc::text::ToUint;

namespace xc::text {

Element ElementReader::Expand(Element special) noexcept
{
    ElementRun run;
    if ((special & 0xFF) == kExpansion) {
        run = m_data.expansions[special >> 16];
    } else {
        SequenceHead const& head = m_data.heads[special >> 16];
        run = head.alone;
        // Sorted by length: the longest that fits wins, as the rules mean it.
        for (Sequence const& sequence : head.sequences) {
            std::size_t same = 0; // the terminator differs from every unit of a sequence
            while (same < sequence.rest.size() && m_at[same] == sequence.rest[same]) ++same;
            if (same < sequence.rest.size()) continue;
            run = sequence.elements;
            m_at += same;
            break;
        }
    }
    if (run.count == 0) return 0;
    m_pending = m_data.elements.data() + run.first;
    m_left = run.count - 1;
    return *m_pending++;
}

Element ElementReader::BeginNumber() noexcept
{
    constexpr std::uint32_t kMostDigits = 0xFFF0; // longer ones are several numbers
    // Leading zeros carry no weight on any level, so that 7 and 007 are equal; strict collators tell them apart by
    // code.
    while (*m_at == L'0') ++m_at;
    std::uint32_t digits = 0;
    while (digits < kMostDigits && IsDigit(m_at[digits])) ++digits;
    m_digits = digits + 1;
    m_lengthGiven = false;
    // The lead alone has lower weights: a number counts as one character on those levels.
    return m_data.numberLead << 16 | kCommonWeight << 8 | kCommonWeight;
}

Element ElementReader::NextDigit() noexcept
{
    std::uint32_t const left = m_digits--;
    if (!m_lengthGiven) {
        m_lengthGiven = true;
        return left << 16; // the digits and one, so that it is never 0
    }
    return (ToUint(*m_at++) - L'0' + 1) << 16;
}

namespace {

std::uint32_t PrimaryLevel(Element element) noexcept
{
    return PrimaryOf(element);
}

/// The first weight of a level that is not 0; 0 at the end.
template <class WeightOf>
std::uint32_t NextWeight(ElementReader& reader, WeightOf weightOf) noexcept
{
    for (Element element = reader.Next(); element != 0; element = reader.Next())
        if (std::uint32_t const weight = weightOf(element)) return weight;
    return 0;
}

int Sign(std::uint32_t left, std::uint32_t right) noexcept
{
    return left == right ? 0 : left < right ? -1 : 1;
}

/// Two texts from a place on where both are at the beginning of an element.
class Walk {
public:
    Walk(CollationData const& data, wchar_t const* a, wchar_t const* b, unsigned int flags) noexcept
        : m_data(data), m_a(a), m_b(b), m_flags(flags)
    {
    }

    int Compare() noexcept
    {
        // Differences of lower levels that the plain walk noted come before all others, and so decide first.
        if (int const primary = WalkPlain()) return primary;
        bool const both = *m_a == L'\0' && *m_b == L'\0';
        if (!both)
            if (int const primary = CompareLevel(PrimaryLevel)) return primary;
        if ((m_flags & XCCollateAccents) != 0 && !both && m_secondary == 0) m_secondary = CompareLevel(SecondaryOf);
        if ((m_flags & XCCollateAccents) != 0 && m_secondary != 0) return m_secondary;
        if ((m_flags & XCCollateCase) == 0) return 0;
        return both || m_tertiary != 0 ? m_tertiary : CompareLevel(TertiaryOf);
    }

private:
    [[nodiscard]] bool IsPlainUnit(wchar_t unit, Element element) const noexcept
    {
        return IsPlain(element) && !((m_flags & XCCollateNumbers) != 0 && IsDigit(unit));
    }

    /// As far as both texts have one plain element a unit. Returns the first difference of the letters.
    int WalkPlain() noexcept
    {
        for (;; ++m_a, ++m_b) {
            Element const left = ElementAt(m_data, m_a);
            Element const right = ElementAt(m_data, m_b);
            // The terminator is not plain: the walk ends there at the latest.
            if (!IsPlainUnit(*m_a, left) || !IsPlainUnit(*m_b, right)) return 0;
            if (left == right) continue;
            if (PrimaryOf(left) != PrimaryOf(right)) return Sign(left, right);
            if (m_secondary == 0) m_secondary = Sign(SecondaryOf(left), SecondaryOf(right));
            if (m_tertiary == 0) m_tertiary = Sign(TertiaryOf(left), TertiaryOf(right));
        }
    }

    template <class WeightOf>
    [[nodiscard]] int CompareLevel(WeightOf weightOf) const noexcept
    {
        // Each level reads the elements again. Keeping them would need memory for texts of any length, and few texts
        // come here.
        ElementReader left(m_data, m_a, (m_flags & XCCollateNumbers) != 0);
        ElementReader right(m_data, m_b, (m_flags & XCCollateNumbers) != 0);
        for (;;) {
            std::uint32_t const x = NextWeight(left, weightOf);
            std::uint32_t const y = NextWeight(right, weightOf);
            if (x != y || x == 0) return Sign(x, y);
        }
    }

    CollationData const& m_data;
    wchar_t const* m_a;
    wchar_t const* m_b;
    unsigned int m_flags;
    int m_secondary = 0; ///< the first difference so far
    int m_tertiary = 0;
};

/// Whether an element of a text may span the place before this unit.
bool MaySpan(CollationData const& data, unsigned int flags, wchar_t before, wchar_t unit) noexcept
{
    if (!data.follows.empty() && data.follows[ToUint(unit)]) return true;
    return (flags & XCCollateNumbers) != 0 && IsDigit(before);
}

/// Goes back from the first difference to where elements begin in both texts.
std::size_t StartOfElements(CollationData const& data, unsigned int flags, wchar_t const* a, wchar_t const* b,
                            std::size_t at) noexcept
{
    // Both texts agree before the place, but their units at it differ: either may continue something that began
    // earlier.
    while (at > 0 && (MaySpan(data, flags, a[at - 1], a[at]) || MaySpan(data, flags, b[at - 1], b[at]))) --at;
    return at;
}

/// A level of a key, without the common weights at its end.
template <class WeightOf>
void AppendLevel(std::string& key, ElementReader reader, WeightOf weightOf)
{
    std::size_t const begin = key.size();
    while (std::uint32_t const weight = NextWeight(reader, weightOf)) key += static_cast<char>(weight);
    // Nothing below the common weight exists but the separator, which is smaller: a shorter level sorts first, as it
    // should.
    while (key.size() > begin && key.back() == static_cast<char>(kCommonWeight)) key.pop_back();
}

void AppendUnit(std::string& key, std::uint32_t unit)
{
    char const bytes[] = {static_cast<char>(unit >> 8), static_cast<char>(unit)};
    key.append(bytes, sizeof bytes);
}

void AppendPrimary(std::string& key, CollationData const& data, std::uint32_t weight)
{
    std::uint32_t const place = weight - data.firstShort; // wraps for smaller weights
    if (place < kShortWeights) {
        key += static_cast<char>(kFirstShortByte + place);
    } else if (weight < data.firstShort) {
        AppendUnit(key, weight + 0x100);
    } else {
        // Above all short bytes, so that the order of first bytes is the order of weights.
        key += static_cast<char>(kLongByte);
        AppendUnit(key, weight);
    }
}

} // namespace

} // namespace xc::text

XCLevelCollator::XCLevelCollator(unsigned int flags, XCSmartPtrToConst<XCCollationTable> table)
    : m_table(table.IsNull() ? XCCollationTable::GetDefault() : std::move(table)), m_flags(flags)
{
}
XCLevelCollator::~XCLevelCollator() = default;

int XCLevelCollator::Compare(wchar_t const* a, wchar_t const* b) const
{
    CollationData const& data = m_table->GetData();
    // Equal units have equal elements: the tables are asked from the first difference on.
    std::size_t const differ = xc::text::MismatchOrEnd(a, b);
    if (a[differ] == b[differ]) return 0; // both have ended
    std::size_t const from = xc::text::StartOfElements(data, m_flags, a, b, differ);
    int const result = xc::text::Walk(data, a + from, b + from, m_flags).Compare();
    if (result != 0 || (m_flags & XCCollateStrict) == 0) return result;
    return ToUint(a[differ]) < ToUint(b[differ]) ? -1 : 1;
}

void XCLevelCollator::AppendKey(std::string& key, wchar_t const* text) const
{
    bool const numbers = (m_flags & XCCollateNumbers) != 0;
    ElementReader const start(m_table->GetData(), text, numbers);
    ElementReader reader = start;
    bool accents = false;
    bool cases = false;
    for (Element element = reader.Next(); element != 0; element = reader.Next()) {
        if (std::uint32_t const primary = xc::text::PrimaryOf(element))
            xc::text::AppendPrimary(key, m_table->GetData(), primary);
        accents = accents || xc::text::SecondaryOf(element) > xc::text::kCommonWeight;
        cases = cases || xc::text::TertiaryOf(element) > xc::text::kCommonWeight;
    }
    accents = accents && (m_flags & XCCollateAccents) != 0;
    cases = cases && (m_flags & XCCollateCase) != 0;
    bool const strict = (m_flags & XCCollateStrict) != 0;
    // A level that the flags leave out, or that holds common weights alone, is not even begun: keys of plain texts stay
    // short.
    if (!accents && !cases && !strict) return;
    key += '\0';
    if (accents) xc::text::AppendLevel(key, start, xc::text::SecondaryOf);
    if (!cases && !strict) return;
    key += '\0';
    if (cases) xc::text::AppendLevel(key, start, xc::text::TertiaryOf);
    if (!strict) return;
    key += '\0';
    // The last level of strict keys: the units themselves, high byte first, in the order in which memcmp compares.
    for (; *text != L'\0'; ++text) xc::text::AppendUnit(key, ToUint(*text));
}
