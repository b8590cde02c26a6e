// order_laws.h - what holds for every order: tried on generated texts.
#pragma once

#include <XelbrinCore/XCCollator.h>
#include <XelbrinCore/XCString.h>

#include "repetitions.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace xc_test {

inline int SignOf(int value)
{
    return (value > 0) - (value < 0);
}

/// Three texts that differ little, so that equal beginnings, equal letters and near misses are frequent.
class Triples {
public:
    explicit Triples(unsigned int seed) : m_random(seed) {}

    void Next()
    {
        texts[0] = Text(m_random() % 7);
        texts[1] = Changed(texts[0]);
        texts[2] = Changed(texts[1]);
    }
    std::wstring texts[3];

private:
    wchar_t Unit()
    {
        static constexpr wchar_t kUnits[] =
            L"aAbcChHeEoOszZ\u00E1\u00C1\u00E0\u00E5\u00C5\u00F6\u00D6\u00F1\u00DF\u00E6\u00C6\u01FD\u00F8 -'.0012799"
            L"\u0301\u0300\u030A\u0327\u00AD\u200D\u03C9\u03A9\u0436\u4E2D\uAC00\xD83D\xDE00\u0661\u01C5\u1EA5";
        return kUnits[m_random() % (std::size(kUnits) - 1)];
    }
    std::wstring Text(std::size_t length)
    {
        std::wstring text;
        while (text.size() < length) text += Unit();
        return text;
    }
    std::wstring Changed(std::wstring text)
    {
        std::size_t const at = m_random() % (text.size() + 1);
        switch (m_random() % 4) {
        case 0: return Text(m_random() % 7);
        case 1: return text.insert(at, 1, Unit());
        case 2: return text.erase(at, 1);
        default: return text.replace(at, 1, 1, Unit());
        }
    }
    std::mt19937 m_random;
};

/// XC_COLLATION_TRIPLES, or a count for every day.
inline long TripleCount()
{
    char const* const wanted = std::getenv("XC_COLLATION_TRIPLES");
    return wanted ? std::atol(wanted) : Times(20000);
}

/// Antisymmetry, transitivity, and keys that order as Compare does.
inline void ExpectOrderLaws(XCCollator const& collator, char const* name, long count, unsigned int seed = 7)
{
    Triples triples(seed);
    for (long n = 0; n < count; ++n) {
        triples.Next();
        wchar_t const* const texts[] = {triples.texts[0].c_str(), triples.texts[1].c_str(), triples.texts[2].c_str()};
        int order[3][3];
        std::string keys[3];
        for (int i = 0; i < 3; ++i) {
            keys[i] = collator.MakeKey(texts[i]);
            for (int j = 0; j < 3; ++j) order[i][j] = collator.Compare(texts[i], texts[j]);
        }
        bool holds = true;
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                holds = holds && order[i][j] == -order[j][i] && order[i][j] == SignOf(keys[i].compare(keys[j]));
                for (int k = 0; k < 3; ++k)
                    holds = holds &&
                            !(order[i][j] <= 0 && order[j][k] <= 0 && order[i][k] != SignOf(order[i][j] + order[j][k]));
            }
        }
        ASSERT_TRUE(holds) << name << ", triple " << n << " of seed " << seed << ": "
                           << XCString(triples.texts[0]).AsUTF8() << " | " << XCString(triples.texts[1]).AsUTF8()
                           << " | " << XCString(triples.texts[2]).AsUTF8();
    }
}

} // namespace xc_test
