// Making an order of characters.
//
// Letters stand in a linked list, in the default order at first: by kind of character, then by code. A rule puts a new
// letter anywhere in constant time; weights are numbers counted off at the end, so that no gaps have to be left and none
// can run out between two neighbours. The forms of a letter (accents and cases that rules give it) are a short list of
// their own, with the step from each to the next; walking it gives the lower weights. Most letters have two forms, lower
// and upper case, and keep no list.
//
// A unit whose canonical decomposition is a letter and marks of U+0300 to U+036F is composed: its elements are those of
// its parts, looked up when the table is built, so that a rule for the letter reaches its composed forms. A rule for a
// composed letter also places its decomposed spelling, as a sequence; both spellings stay equal.
//
// Cost: one pass over the basic plane with a decomposition for each unit that may have one; some milliseconds.
//
// INVARIANTS Letter 0 is the head of the list and no letter. A part names a letter and one of its forms by numbers that
// stay when others are put between; only Build turns places into weights. m_items holds what rules have placed and wins
// over everything that was derived.
#include "text/CollationOrder.h"

#include <XelbrinCore/XCUnicode.h>

#include <algorithm>

namespace xc::text {

namespace {

using Category = XCUnicodeCategory;

/// Longer items are slips, and the reader of texts compares each sequence of a head at each place.
constexpr std::size_t kMostParts = 8;
constexpr std::uint32_t kMostVariants = 30; // they share one byte with the marks
constexpr std::uint32_t kMostRanks = 0xFFFF;

bool IsMark(wchar_t unit) noexcept
{
    return unit >= 0x0300 && unit <= 0x036F;
}

bool IsAmong(Category category, Category first, Category last) noexcept
{
    return category >= first && category <= last;
}

/// The order of these names is the order of the kinds.
enum Kind { kIgnored, kSpace, kPunctuation, kSymbol, kDigit, kLetter, kOther, kKinds };

Kind KindOf(wchar_t unit) noexcept
{
    Category const category = XCUnicode::GetCategory(ToUint(unit));
    // Before the controls, among which tab and line feed are: white space separates words and must count.
    if (XCUnicode::IsSpace(ToUint(unit))) return kSpace;
    if (category == Category::Control || category == Category::Format || IsMark(unit)) return kIgnored;
    if (IsAmong(category, Category::ConnectorPunctuation, Category::OtherPunctuation)) return kPunctuation;
    if (IsAmong(category, Category::MathSymbol, Category::OtherSymbol)) return kSymbol;
    if (category == Category::DecimalDigit) return kDigit;
    return category == Category::Unassigned || category == Category::Surrogate || category == Category::PrivateUse
               ? kOther
               : kLetter;
}

/// The marks of Latin letters in the order in which dictionaries tell them apart; all others follow by code.
constexpr std::wstring_view kMarks = L"\u0301\u0300\u0307\u0302\u0308\u030C\u0306\u0304\u0303\u030A\u0328\u0327\u030B";

std::uint32_t MarkWeight(wchar_t mark) noexcept
{
    std::size_t const place = kMarks.find(mark);
    if (place != std::wstring_view::npos) return kFirstMarkWeight + static_cast<std::uint32_t>(place);
    return kFirstMarkWeight + static_cast<std::uint32_t>(kMarks.size()) + ToUint(mark) - 0x0300;
}

/// Han, Hangul and what lies above them have no letters with marks; asking for each would take most of the time.
bool MayDecompose(wchar_t unit) noexcept
{
    std::uint32_t const code = ToUint(unit);
    return code >= 0xC0 && (code < 0x3200 || code >= 0xF900) && (code < 0xD800 || code >= 0xF900);
}

wchar_t LowerOf(wchar_t unit) noexcept
{
    char32_t const lower = XCUnicode::ToLower(ToUint(unit));
    // A lower case outside the basic plane has no place in a table of units.
    return lower <= 0xFFFF ? static_cast<wchar_t>(lower) : unit;
}

} // namespace

CollationOrder::CollationOrder() : m_letters(1), m_units(0x10000)
{
    // Letters are referred to by number, so that growth would be safe; it would only copy.
    m_letters.reserve(0x10000);
    // Nothing below U+00C0 has a canonical decomposition. Composed units must be known before letters are made: they
    // get none of their own.
    for (std::uint32_t code = 0xC0; code < 0x10000; ++code) {
        auto const unit = static_cast<wchar_t>(code);
        if (MayDecompose(unit)) AddComposed(unit);
    }
    AddLetters();
}

void CollationOrder::AddComposed(wchar_t unit)
{
    XCString const parts = XCUnicode::Decompose(ToUint(unit));
    std::wstring_view const view = parts.View();
    if (view.size() == 1 && view[0] == unit) return;
    // Others, whose parts are more than a letter and marks of this range, keep a letter of their own.
    bool const isLetterAndMarks = !IsMark(unit) && std::all_of(view.begin() + 1, view.end(), IsMark);
    if (isLetterAndMarks) m_composed.emplace(unit, view);
}

void CollationOrder::AddLetters()
{
    std::vector<wchar_t> kinds[kKinds];
    std::vector<wchar_t> capitals;
    for (std::uint32_t code = 1; code < 0x10000; ++code) {
        auto const unit = static_cast<wchar_t>(code);
        if (m_composed.contains(unit)) continue;
        wchar_t const lower = LowerOf(unit);
        // A capital shares the letter of its lower case, which must be one of its own: not composed, and not itself a
        // capital.
        bool const isCapital = lower != unit && !m_composed.contains(lower) && LowerOf(lower) == lower;
        (isCapital ? capitals : kinds[KindOf(unit)]).push_back(unit);
    }
    for (int kind = kSpace; kind < kKinds; ++kind) {
        // The lead of numbers stands between symbols and digits: a number sorts where its digits would, and meets no
        // letter.
        if (kind == kDigit) m_numberLead = InsertLetter(m_last);
        for (wchar_t const unit : kinds[kind]) AddLetter(unit);
    }
    // After all letters exist: a capital may precede its lower case by code.
    for (wchar_t const unit : capitals) m_units[ToUint(unit)] = {{m_units[ToUint(LowerOf(unit))].part.letter, 1}, true};
    for (wchar_t const unit : kinds[kIgnored])
        if (IsMark(unit)) m_units[ToUint(unit)] = {{kMark, MarkWeight(unit)}, true};
}

void CollationOrder::AddLetter(wchar_t unit)
{
    m_units[ToUint(unit)] = {{InsertLetter(m_last), 0}, true};
}

std::uint32_t CollationOrder::InsertLetter(std::uint32_t after)
{
    auto const made = static_cast<std::uint32_t>(m_letters.size());
    m_letters.emplace_back().next = m_letters[after].next;
    m_letters[after].next = made;
    if (after == m_last) m_last = made;
    return made;
}

CollationOrder::Parts CollationOrder::PartsOfUnit(wchar_t unit) const
{
    // Rules first; then the parts of a composed unit, which rules may have moved; the default last.
    if (auto const placed = m_items.find(std::wstring_view(&unit, 1)); placed != m_items.end()) return placed->second;
    if (auto const composed = m_composed.find(unit); composed != m_composed.end()) return PartsOf(composed->second);
    Unit const& known = m_units[ToUint(unit)];
    return known.isKnown ? Parts{known.part} : Parts{};
}

CollationOrder::Parts CollationOrder::PartsOf(std::wstring_view text) const
{
    if (auto const placed = m_items.find(text); placed != m_items.end()) return placed->second;
    Parts parts;
    for (wchar_t const unit : text) {
        Parts const more = PartsOfUnit(unit);
        parts.insert(parts.end(), more.begin(), more.end());
    }
    return parts;
}

CollationOrder::Part CollationOrder::NextVariant(Part after, CollationStep step)
{
    std::vector<Variant>& variants = m_letters[after.letter].variants;
    // Most letters never get here, and 60,000 empty lists cost no allocation.
    if (variants.empty()) variants = {{0, CollationStep::Letter}, {1, CollationStep::Case}};
    auto at = std::find_if(variants.begin(), variants.end(), [&](Variant const& v) { return v.id == after.variant; });
    ++at;
    // A new accent stands after all cases of the form that it follows.
    while (step == CollationStep::Accent && at != variants.end() && at->step == CollationStep::Case) ++at;
    auto const id = static_cast<std::uint32_t>(variants.size());
    variants.insert(at, {id, step});
    return {after.letter, id};
}

wchar_t const* CollationOrder::Place(std::wstring_view anchor, CollationStep step, std::wstring_view item)
{
    Parts parts = PartsOf(anchor);
    // An ignored item has no place after which another could stand, and marks have an order of their own.
    if (parts.empty() || parts.back().letter == kMark) return L"nothing can be put after this item";
    if (parts.size() > kMostParts || item.size() > kMostParts) return L"the item is too long";
    if (item.find(L'\0') != std::wstring_view::npos) return L"an item holds no U+0000";
    Part& last = parts.back();
    if (step == CollationStep::Letter)
        last = {InsertLetter(last.letter), 0};
    else if (step != CollationStep::Same) {
        if (m_letters[last.letter].variants.size() >= kMostVariants) return L"the letter has too many forms";
        last = NextVariant(last, step);
    }
    m_items.insert_or_assign(std::wstring(item), parts);
    if (item.size() == 1)
        if (auto const composed = m_composed.find(item[0]); composed != m_composed.end())
            // The decomposed spelling, as a sequence: both spellings must stay equal.
            m_items.insert_or_assign(composed->second, parts);
    return nullptr;
}

// Building ------------------------------------------------------------------------------------------------------------

Element CollationOrder::ElementOf(Part part, std::vector<std::uint32_t> const& ranks) const
{
    if (part.letter == kMark) return part.variant << 8 | kCommonWeight;
    std::uint32_t secondary = kCommonWeight;
    std::uint32_t tertiary = kCommonWeight + part.variant; // of a letter without a list
    std::vector<Variant> const& variants = m_letters[part.letter].variants;
    if (!variants.empty()) tertiary = kCommonWeight;
    // Weights are counted off along the list: a step of case raises the third level, one of accent the second and
    // begins the cases anew.
    for (auto at = variants.begin(); at != variants.end() && at->id != part.variant;) {
        ++at;
        if (at->step == CollationStep::Case)
            ++tertiary;
        else
            ++secondary, tertiary = kCommonWeight;
    }
    return ranks[part.letter] << 16 | secondary << 8 | tertiary;
}

ElementRun CollationOrder::AddElements(CollationData& data, Parts const& parts,
                                       std::vector<std::uint32_t> const& ranks) const
{
    auto const first = static_cast<std::uint32_t>(data.elements.size());
    for (Part const part : parts) data.elements.push_back(ElementOf(part, ranks));
    return {first, static_cast<std::uint32_t>(parts.size())};
}

void CollationOrder::SetUnit(CollationData& data, wchar_t unit, std::vector<std::uint32_t> const& ranks) const
{
    Parts const parts = PartsOfUnit(unit);
    Element& element = data.units[ToUint(unit)];
    // One element fits the table of units. More stand in a list of their own, with its number in the place of the
    // weight.
    if (parts.size() < 2) {
        element = parts.empty() ? 0 : ElementOf(parts[0], ranks);
        return;
    }
    element = static_cast<Element>(data.expansions.size()) << 16 | kExpansion;
    data.expansions.push_back(AddElements(data, parts, ranks));
}

bool CollationOrder::SetHeads(CollationData& data, std::vector<std::uint32_t> const& ranks) const
{
    for (auto const& [text, parts] : m_items) {
        if (text.size() < 2) continue;
        Element& element = data.units[ToUint(text[0])];
        if (!IsSpecial(element) || (element & 0xFF) != kSequences) {
            // The first unit alone keeps its elements as the answer where no sequence fits. Two bytes number the heads,
            // which the end of this function checks.
            data.heads.push_back({{}, AddElements(data, PartsOfUnit(text[0]), ranks)});
            element = static_cast<Element>(data.heads.size() - 1) << 16 | kSequences;
        }
        data.heads[element >> 16].sequences.push_back({text.substr(1), AddElements(data, parts, ranks)});
        // Units that may stand inside a sequence: a comparison that skips equal beginnings must not stop before one of
        // them. Most orders have none, and then the list stays empty.
        data.follows.resize(0x10000);
        for (wchar_t const unit : std::wstring_view(text).substr(1)) data.follows[ToUint(unit)] = true;
    }
    for (SequenceHead& head : data.heads)
        // The longest one first, so that the first that fits is the right one.
        std::stable_sort(head.sequences.begin(), head.sequences.end(),
                         [](Sequence const& a, Sequence const& b) { return a.rest.size() > b.rest.size(); });
    return data.heads.size() <= kMostRanks && data.expansions.size() <= kMostRanks;
}

std::unique_ptr<CollationData const> CollationOrder::Build() const
{
    // Rank 0 belongs to no letter: it means "ignored" in an element.
    std::vector<std::uint32_t> ranks(m_letters.size());
    std::uint32_t rank = 0;
    for (std::uint32_t at = m_letters[0].next; at != kNone; at = m_letters[at].next) ranks[at] = ++rank;
    if (rank > kMostRanks) return nullptr;
    auto data = std::make_unique<CollationData>();
    data->numberLead = ranks[m_numberLead];
    data->firstShort = std::min(ranks[m_units[L'a'].part.letter], kLastFirstShort);
    for (std::uint32_t code = 1; code < 0x10000; ++code)
        if (Unit const& known = m_units[code]; known.isKnown) data->units[code] = ElementOf(known.part, ranks);
    for (auto const& [unit, parts] : m_composed) SetUnit(*data, unit, ranks);
    for (auto const& [text, parts] : m_items)
        if (text.size() == 1) SetUnit(*data, text[0], ranks);
    if (!SetHeads(*data, ranks)) return nullptr;
    return data;
}

} // namespace xc::text
