// The rule of blame, and the files of the quarantine under damage.
#include "prelude.h"

#include "app/host/QuarantineText.h"

namespace {

using namespace xc::host;

std::string JournalOf(Culprits const& culprits, std::size_t modules)
{
    std::string bytes(kModulesAt + modules * kModuleBytes, '\0');
    bytes.replace(0, kJournalHead.size(), kJournalHead);
    FormatMark(bytes.data() + kMarkAt, "2026-11-22 04:12:09\tabort in Run", culprits);
    for (std::size_t i = 0; i < modules; ++i) {
        bytes.replace(kModulesAt + i * kModuleBytes, 4, "Run\n");
        bytes.replace(kModulesAt + i * kModuleBytes + kCallsBytes, 6, "c:\\m" + std::string(1, char('0' + i)) + "\n");
    }
    return bytes;
}

TEST(QuarantineText, AFaultIsBlamedOnWhomItsPlaceProves)
{
    using Places = std::vector<std::size_t>;
    constexpr int kOpen[] = {4, 6};
    for (auto const& [fault, call, code, confirmed, places] : Rows<int, int, bool, Places>{
             {"in a call, in code of the system", 2, -1, true, {2}},
             {"in a call, in its own code", 2, 2, true, {2}},
             {"in a call, in the code of another module", 2, 5, false, {2, 5}},
             {"on a module's own thread", -1, 5, false, {5}},
             {"in no module at all", -1, -1, false, {4, 6}},
         })
    {
        SCOPED_TRACE(fault);
        RunEnd const run = ReadJournal(JournalOf(FindCulprits(call, code, kOpen, 2), 7));
        ASSERT_TRUE(run.fault);
        EXPECT_EQ(All(run.fault->confirmed, run.fault->modules), All(confirmed, places));
        EXPECT_EQ(run.fault->what, L"2026-11-22 04:12:09\tabort in Run");
        EXPECT_EQ(All(run.modules[5].path, run.modules[5].calls), All(std::wstring(L"c:\\m5"), std::wstring(L"Run")));
    }
}

TEST(QuarantineText, ATornJournalBlamesNobodyThatAWholeOneDoesNot)
{
    std::string const whole = JournalOf(FindCulprits(1, -1, nullptr, 0), 3);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        RunEnd const run = ReadJournal(std::string_view(whole).substr(0, length));
        for (std::size_t const place : run.fault ? run.fault->modules : std::vector<std::size_t>())
            EXPECT_EQ(place, 1u) << length;
    }
    for (std::size_t at = kMarkAt; whole[at] != '\n'; ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] + 1);
        EXPECT_FALSE(ReadJournal(damaged).fault) << at;
    }
}

TEST(QuarantineText, VerdictsComeBackAsTheyWereAndDamagedLinesAreDropped)
{
    std::vector<Verdict> verdicts(2);
    verdicts[0] = {L"c:\\é\\a.osx", true, {L"1-a.run"}, 7, 8, L"2026-11-22 04:12:09\tabort in Run"};
    verdicts[1] = {L"c:\\b.osx", false, {L"1-a.run", L"2-b.run", L"3-c.run"}, 0, -1, L"t\tf"};
    std::string const bytes = FormatVerdicts(verdicts);
    std::size_t malformed = 9;
    std::vector<Verdict> const read = ReadVerdicts(bytes, malformed);
    ASSERT_EQ(All(read.size(), malformed), All(std::size_t{2}, std::size_t{0}));
    EXPECT_EQ(FormatVerdicts(read), bytes);
    EXPECT_TRUE(read[0].IsSkipped() && read[1].IsSkipped());
    for (std::size_t cut = 1; cut < 40; ++cut) {
        std::vector<Verdict> const left = ReadVerdicts(bytes.substr(0, bytes.size() - cut), malformed);
        ASSERT_FALSE(left.empty()) << cut;
        EXPECT_EQ(left[0].path, verdicts[0].path) << cut;
    }
    EXPECT_LE(EndOfPath(std::wstring(5000, L'\u6587')).size() * 3 + 1, kModuleBytes - kCallsBytes);
}

} // namespace
