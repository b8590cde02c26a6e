// Rows of the matcher: name/subject units. Each pattern runs through XCRegEx, a plain dense-table loop without any
// shortcut (the scalar limit) and std::wregex; boost::wregex beside them. Peers that recurse or explode on long subjects
// are measured on the shorter ones only.
#include "match_shapes.h"

#include <XelbrinCore/XCRegEx.h>

#include <benchmark/benchmark.h>
#include <regex>
#include <string>
#include <vector>

#if __has_include(<boost/regex.hpp>)
#include <boost/regex.hpp>
#define XC_HAS_BOOST
#endif

using namespace match_bench;

namespace {

/// One state array, one look-up a unit: what a straightforward automaton does.
class PlainTable {
public:
    explicit PlainTable(XCRegEx const& expression)
    {
        auto const states = expression.GetStates();
        std::uint32_t const dead = static_cast<std::uint32_t>(states.size());
        std::vector<std::vector<std::uint32_t>> columns;
        m_classes.resize(0x10000);
        for (std::uint32_t unit = 0; unit < 0x10000; ++unit) {
            std::vector<std::uint32_t> column;
            for (auto const& state : states) {
                std::uint32_t target = dead;
                for (auto const& t : state.transitions)
                    if (unit >= t.first && unit < t.end) target = t.target;
                column.push_back(target);
            }
            std::size_t at = 0;
            while (at < columns.size() && columns[at] != column) ++at;
            if (at == columns.size()) columns.push_back(column);
            m_classes[unit] = static_cast<std::uint16_t>(at);
        }
        m_width = static_cast<std::uint32_t>(columns.size());
        for (auto const& state : states) {
            for (auto const& column : columns) m_cells.push_back(column[state.number] * m_width);
            m_accepting.push_back(state.accepting);
        }
        m_cells.resize(m_cells.size() + m_width, dead * m_width);
        m_accepting.push_back(false);
    }
    bool Match(wchar_t const* text) const
    {
        std::uint32_t state = 0;
        for (; *text; ++text) state = m_cells[state + m_classes[static_cast<std::uint16_t>(*text)]];
        return m_accepting[state / m_width];
    }

private:
    std::vector<std::uint16_t> m_classes;
    std::vector<std::uint32_t> m_cells;
    std::vector<bool> m_accepting;
    std::uint32_t m_width = 0;
};

template <class MatchFunction>
void Measure(benchmark::State& state, std::wstring const& text, MatchFunction match)
{
    bool matched = false;
    for (auto _ : state) benchmark::DoNotOptimize(matched = match(text.c_str()));
    state.counters["ns/unit"] =
        benchmark::Counter(static_cast<double>(text.size()) * 1e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetLabel(matched ? "match" : "no match");
}

XCRegEx Compile(wchar_t const* pattern)
{
    return XCRegEx(XCStringRegExParser(pattern).Parse(), false);
}

void RegisterShape(Shape const& shape, std::size_t n)
{
    std::string const tail = std::string("/") + shape.name + "/" + std::to_string(n);
    benchmark::RegisterBenchmark(("Match" + tail).c_str(), [&shape, n](benchmark::State& state) {
        XCRegEx const expression = Compile(shape.pattern);
        Measure(state, shape.subject(n), [&](wchar_t const* text) { return expression.Match(text); });
    });
    benchmark::RegisterBenchmark(("Match_table" + tail).c_str(), [&shape, n](benchmark::State& state) {
        PlainTable const table(Compile(shape.pattern));
        Measure(state, shape.subject(n), [&](wchar_t const* text) { return table.Match(text); });
    });
    if (n <= 1024)
        benchmark::RegisterBenchmark(("Match_stdwregex" + tail).c_str(), [&shape, n](benchmark::State& state) {
            std::wregex const expression(shape.pattern);
            Measure(state, shape.subject(n), [&](wchar_t const* text) { return std::regex_match(text, expression); });
        });
#if defined(XC_HAS_BOOST)
    if (n <= 65536)
        benchmark::RegisterBenchmark(("Match_boost" + tail).c_str(), [&shape, n](benchmark::State& state) {
            boost::wregex const expression(shape.pattern);
            try {
                Measure(state, shape.subject(n),
                        [&](wchar_t const* text) { return boost::regex_match(text, expression); });
            } catch (std::runtime_error const&) {
                state.SkipWithError("gave up: too complex");
            }
        });
#endif
}

constexpr wchar_t const* kListAndDigit = L".*(alpha|bravo|charlie|delta|echo|foxtrot|golf|hotel|india|juliett|kilo|"
                                         L"lima|mike|november|oscar|papa|quebec|romeo|"
                                         L"sierra|tango)[0-9].*";

/// Patterns and subjects made to be slow: nested and ambiguous repetition, needles that nearly match everywhere, loops
/// left as soon as they are entered, guesses that are wrong, sets of states that never come again.
Shape const kAttacks[] = {
    {"nested_plus", L"(a+)+b", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"nested_star", L"((a*)*(a*)*)*b", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"same_twice", L"(a|a)*(a|a)*b", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"optional_nine", L"((a?){9}a{9})*b", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"near_needle", L".*aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab.*",
     [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"near_needle_front", L".*baaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa.*",
     [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"many_gaps", L".*a.*a.*a.*a.*b", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"short_loops", L"(a+b[^c]*c)+", [](std::size_t n) { return Repeat(L"aaaaaaaaaaaaaaaaab----------------c", n); }},
    {"wrong_guesses", L"((a|b){9}(a|b){9}c?)*", [](std::size_t n) { return Repeat(L"abb", n); }},
    {"states_1024", L"(a|b)*a(a|b){9}", [](std::size_t n) { return Scattered(n); }},
    {"states_2_to_19", L"(a|b)*a(a|b){9}(a|b){9}", [](std::size_t n) { return Scattered(n); }},
    // Literals that nearly stand everywhere, overlap, or share what the search looks at.
    {"near_literals", L".*(ERROR|FATAL|PANIC)[0-9].*", [](std::size_t n) { return Repeat(L"ERRORFATALPANIC", n); }},
    {"near_literals_one_short", L".*(ERROR|FATAL|PANIC)[0-9].*",
     [](std::size_t n) { return Repeat(L"ERROFATAPANI", n); }},
    {"literals_crossed", L".*(ab|ba)[0-9].*", [](std::size_t n) { return Repeat(L"ab", n); }},
    {"literal_of_one_unit", L".*(aa|aaa|aaaa)b.*", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"long_common_beginning", L".*(aaaaaaaaab|aaaaaaaaac)[0-9].*", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"low_bytes_alike", L".*(ERROR|FATAL)[0-9].*",
     [](std::size_t n) { return Repeat(L"\x0445\x0452\x0452\x044F\x0452", n); }},
    {"literal_then_class", L".*dur=[0-9]{4,9}ms.*", [](std::size_t n) { return Repeat(L"dur=17ms ", n); }},
    {"literal_then_long_class", L".*dur=[0-9]*ms.*",
     [](std::size_t n) { return Repeat(L"dur=17777777777777777m", n); }},
    {"needed_at_the_end", L"[a-z]+@[a-z]+", [](std::size_t n) { return std::wstring(n - 1, L'a') + L"@"; }},
    {"needed_everywhere", L"([a-z]+@)+[a-z]+[0-9]", [](std::size_t n) { return Repeat(L"a@", n); }},
    {"refused_at_last_unit", L"[a-z0-9_]+", [](std::size_t n) { return std::wstring(n - 1, L'a') + L"!"; }},
    {"words_one_short", L".*(needle|noodle|nettle|needed).*",
     [](std::size_t n) { return Repeat(L"needlnoodlnettl", n); }},
    {"words_of_one_letter", L".*(aaaaaaab|aaaaab|aaab|ab).*", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"words_of_every_length", L".*(a|ba|cba|dcba|edcba).*", [](std::size_t n) { return Repeat(L"edcb", n); }},
    {"words_overlapping", L".*(abcabd|bcabca|cabcac).*", [](std::size_t n) { return Repeat(L"abc", n); }},
    {"needle_overlapping", L".*abababababababac.*", [](std::size_t n) { return Repeat(L"ab", n); }},
    {"needles_overlapping", L".*abababac.*babababc.*", [](std::size_t n) { return Repeat(L"ab", n); }},
    {"beginning_almost", L"(a{9}){9}b.*", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"ends_almost", L".*(a|b){9}c", [](std::size_t n) { return Scattered(n); }},
    {"gap_in_a_gap", L".*a[^c]*b[^a]*c.*d", [](std::size_t n) { return Repeat(L"abc", n); }},
    // Lists that are searched for by packed comparison, in texts full of places that look like their words.
    {"list_one_short", kListAndDigit,
     [](std::size_t n) { return Repeat(L"alphbravcharlideltechfoxtrogolhoteindi", n); }},
    {"list_in_a_row", kListAndDigit, [](std::size_t n) { return Repeat(L"alphabravocharliedeltaechofoxtrotgolf", n); }},
    {"list_common_beginnings", kListAndDigit, [](std::size_t n) { return Repeat(L"alphxbravxcharxnovexsierx", n); }},
    {"list_low_halves_alike", kListAndDigit, [](std::size_t n) { return Repeat(L"q|`xqrbqfssxqb|y", n); }},
    {"list_now_and_then", kListAndDigit,
     [](std::size_t n) { return Repeat(L"tango" + std::wstring(75, L'.') + L"papa", n); }},
    {"list_of_one_beginning",
     L".*(needaz|needbz|needcz|needdz|needez|needfz|needgz|needhz|needi|needjz|needkz|needlz|needmz|neednz|needoz|"
     L"needpz|"
     L"needqz|needrz)[0-9].*",
     [](std::size_t n) { return Repeat(L"needaneedb", n); }},
    {"list_of_two_letters", L".*(ab|bc|cd|de|ef|fg|gh|hi|ij|jk|kl|lm|mn|no|op|pq|qr|rs|st|tu)[0-9].*",
     [](std::size_t n) { return Repeat(L"abcdefghijklmnopqrstu", n); }},
    {"list_low_bytes_alike",
     L".*(\x0461lpha|bravo|charlie|delta|echo|foxtrot|golf|hotel|india|juliett|kilo|lima|mike|november|oscar|papa|"
     L"quebec)"
     L"[0-9].*",
     [](std::size_t n) { return Repeat(L"\x0561\x056C\x0570\x0568\x0561\x0562\x0572\x0561\x0576\x056F", n); }},
};

/// Texts in which attempts to find fail late and from everywhere, and groups that may be divided in many ways.
Shape const kFindAttacks[] = {
    {"fails_late_everywhere", L"a*b", [](std::size_t n) { return std::wstring(n, L'a'); }},
    {"near_literal", L"needle[0-9]", [](std::size_t n) { return Repeat(L"needleneedl", n); }},
};
Shape const kGroupAttacks[] = {
    {"divided_at_will", L"((a+)(a*))*", [](std::size_t n) { return std::wstring(n, L'a'); }},
};

std::size_t MatchCount(XCRegEx const& expression, std::wstring const& text)
{
    return expression.Match(text.c_str());
}
std::size_t PlaceCount(XCRegEx const& expression, std::wstring const& text)
{
    return expression.FindAll(text).size();
}
std::size_t GroupCount(XCRegEx const& expression, std::wstring const& text)
{
    return expression.FindGroups(text, {0, text.size()}).size();
}

/// A row for each of three lengths, and what the time grows with.
void RegisterAttack(Shape const& shape, char const* form, std::size_t (*work)(XCRegEx const&, std::wstring const&),
                    XCRegEx::Limits const& limits = {})
{
    auto const run = [&shape, work, limits](benchmark::State& state) {
        XCRegEx const expression(XCStringRegExParser(shape.pattern).Parse(), false, limits);
        std::wstring const text = shape.subject(static_cast<std::size_t>(state.range(0)));
        Measure(state, text, [&](wchar_t const*) { return work(expression, text) != 0; });
        state.SetComplexityN(state.range(0));
    };
    benchmark::RegisterBenchmark((std::string("Attack") + form + "/" + shape.name).c_str(), run)
        ->RangeMultiplier(2)
        ->Range(65536, 262144)
        ->Complexity(benchmark::oN);
}

void SearchWords(benchmark::State& state, std::wstring const& pattern, std::wstring const& text)
{
    XCRegEx const expression = Compile(pattern.c_str());
    Measure(state, text, [&](wchar_t const* subject) { return expression.Match(subject); });
}

void Construct(benchmark::State& state, wchar_t const* pattern)
{
    for (auto _ : state) {
        XCRegEx const expression = Compile(pattern);
        benchmark::DoNotOptimize(&expression);
    }
}

bool const g_registered = [] {
    for (Shape const& shape : kShapes)
        for (std::size_t const n : {16u, 1024u, 65536u, 4194304u}) RegisterShape(shape, n);
    for (Shape const& shape : kCalls) RegisterShape(shape, 40);
    for (Shape const& shape : kSearches) RegisterShape(shape, 65536);
    std::wstring const words = MadeWords(10000);
    benchmark::RegisterBenchmark("Match/one_of_10000_words", SearchWords, words, words.substr(0, words.find(L'|')));
    benchmark::RegisterBenchmark("Match/10000_words_in/65536", SearchWords, L".*(" + words + L").*", LogText(65536));
    benchmark::RegisterBenchmark("Construct/10000_words",
                                 [words](benchmark::State& state) { Construct(state, words.c_str()); });
    for (Shape const& shape : kAttacks) {
        RegisterAttack(shape, "", MatchCount);
        RegisterAttack(shape, "_sets", MatchCount, {0, 0});
    }
    for (Shape const& shape : kFindAttacks) RegisterAttack(shape, "_find", PlaceCount);
    for (Shape const& shape : kGroupAttacks) RegisterAttack(shape, "_groups", GroupCount);
    for (Shape const& shape : kShapes)
        benchmark::RegisterBenchmark((std::string("Construct/") + shape.name).c_str(), Construct, shape.pattern);
    for (Shape const& shape : kCalls)
        benchmark::RegisterBenchmark((std::string("Construct/") + shape.name).c_str(), Construct, shape.pattern);
    benchmark::RegisterBenchmark("Construct/beyond_the_budget", Construct, L"(a|b)*a(a|b){9}(a|b){9}");
    return true;
}();

} // namespace
