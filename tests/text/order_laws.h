// order_laws.h - what holds for every order: tried on generated texts.
#pragma once

#include "prelude.h"
#include "repetitions.h"

namespace xc_test {

inline int SignOf(int value)
{
    return (value > 0) - (value < 0);
}

/// Three texts that differ little, so that equal beginnings, equal letters and near misses are frequent.
struct Triples {
    std::wstring texts[3];

    void Next()
    {
        for (std::wstring& text : texts) {
            std::size_t const at = random() % (text.size() + 1);
            if (&text == texts && random() % 4 == 0) text.clear();
            if (&text != texts) text = *(&text - 1);
            if (at < text.size() && random() % 3 == 0) text.erase(at, 1 + random() % 2);
            if (text.size() < 7) text.insert(std::min(at, text.size()), 1, kUnits[random() % (std::size(kUnits) - 1)]);
        }
    }

private:
    static constexpr wchar_t kUnits[] =
        L"aAbcChHeEoOszZ\u00E1\u00C1\u00E0\u00E5\u00C5\u00F6\u00D6\u00F1\u00DF\u00E6\u00C6\u01FD\u00F8 -'.0012799"
        L"\u0301\u0300\u030A\u0327\u00AD\u200D\u03C9\u03A9\u0436\u4E2D\uAC00\xD83D\xDE00\u0661\u01C5\u1EA5";
    std::mt19937 random{7};
};

/// XC_COLLATION_TRIPLES, or a count for every day.
inline long TripleCount()
{
    char const* const wanted = std::getenv("XC_COLLATION_TRIPLES");
    return wanted ? std::atol(wanted) : Times(20000);
}

/// Antisymmetry, transitivity, and keys that order as Compare does.
inline void ExpectOrderLaws(XCCollator const& collator, std::string const& name, long count)
{
    Triples triples;
    for (long n = 0; n < count; ++n) {
        triples.Next();
        auto const& texts = triples.texts;
        int order[3][3];
        bool holds = true;
        for (int i = 0; i < 9; ++i) {
            wchar_t const *const a = texts[i / 3].c_str(), *const b = texts[i % 3].c_str();
            order[i / 3][i % 3] = collator.Compare(a, b);
            holds = holds && order[i / 3][i % 3] == SignOf(collator.MakeKey(a).compare(collator.MakeKey(b)));
        }
        for (int i = 0; i < 27; ++i) {
            int const ab = order[i / 9][i / 3 % 3], bc = order[i / 3 % 3][i % 3], ac = order[i / 9][i % 3];
            holds = holds && ab == -order[i / 3 % 3][i / 9] && (ab > 0 || bc > 0 || ac == SignOf(ab + bc));
        }
        ASSERT_TRUE(holds) << name << ", triple " << n << ": " << XCString(texts[0]).AsUTF8() << " | "
                           << XCString(texts[1]).AsUTF8() << " | " << XCString(texts[2]).AsUTF8();
    }
}

} // namespace xc_test
