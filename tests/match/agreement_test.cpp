// Generated patterns and subjects: every form of an expression against the slow references.
// XC_MATCH_PAIRS sets the number of pairs, XC_MATCH_SEED the seed.
#include "match/reference.h"
#include "prelude.h"
#include "repetitions.h"

namespace {

std::uint32_t FromEnvironment(char const* name, std::uint32_t standard)
{
    char const* const text = std::getenv(name);
    return text ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)) : standard;
}

std::string Show(std::wstring const& text)
{
    std::string shown;
    for (wchar_t const unit : text) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "<%04X>", static_cast<unsigned>(unit));
        shown += unit >= 0x20 && unit < 0x7F ? std::string(1, static_cast<char>(unit)) : std::string(hex);
    }
    return shown;
}

TEST(Agreement, AllFormsGiveTheSameAnswers)
{
    std::uint32_t const pairs = FromEnvironment("XC_MATCH_PAIRS", xc_test::kThreadsAreWatched ? 2000 : 20000);
    std::uint32_t const seed = FromEnvironment("XC_MATCH_SEED", 20240607);
    std::printf("seed %u, %u pairs\n", seed, pairs);
    reference::Maker maker(seed);
    std::uint32_t matched = 0;
    constexpr std::uint32_t kSubjects = 10;
    for (std::uint32_t done = 0; done < pairs; done += kSubjects) {
        std::wstring const pattern = maker.Pattern(3);
        reference::Engines const engines(pattern);
        ASSERT_FALSE(engines.fast.IsTooLarge()) << Show(pattern);
        for (std::uint32_t i = 0; i < kSubjects; ++i) {
            std::wstring const text = maker.Subject(engines.parsed, i < 8 ? 3 : 400);
            char const* const wrong = engines.Disagreement(text);
            ASSERT_EQ(wrong, nullptr) << wrong << " on " << Show(pattern) << " with " << Show(text);
            matched += engines.fast.Match(text.c_str());
        }
    }
    EXPECT_GT(matched, pairs / 10);
    EXPECT_LT(matched, pairs - pairs / 10);
}

} // namespace
