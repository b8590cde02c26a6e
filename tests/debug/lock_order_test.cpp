// Locks in opposite orders are found though the threads never meet, and nothing else is.
#include "prelude.h"
#include "scratch_files.h"

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCLockOrder.h>

namespace {

using namespace xc_test;

/// Three locks of each kind; batons hand out one turn after the other.
struct Locks {
    std::array<XCCriticalSection, 3> section;
    std::array<XCMutex, 3> mutex;
    std::array<XCBaton, 3> baton;
    std::array<unsigned int, 3> turn{};

    /// "a" takes the first section, "A" leaves it; b and c the others; d to f mutexes, g to i batons. "t" takes the
    /// first section without waiting, "u" the first mutex. A blank is a thread of its own for what follows.
    void Do(char step)
    {
        auto const letter = static_cast<std::size_t>((step | 0x20) - 'a');
        bool const takes = step >= 'a';
        std::size_t const i = letter % 3;
        if (step == 't')
            EXPECT_TRUE(section[0].TryLock());
        else if (step == 'u')
            EXPECT_TRUE(mutex[0].try_lock());
        else if (letter < 3)
            takes ? section[i].Lock() : section[i].Unlock();
        else if (letter < 6)
            takes ? mutex[i].lock() : mutex[i].unlock();
        else if (takes)
            EXPECT_TRUE(baton[i].Lock(++turn[i]));
        else
            baton[i].Unlock();
    }
};

__attribute__((noinline)) void PlaysThread(Locks& locks, std::string_view steps)
{
    for (char const step : steps) locks.Do(step);
}

/// The reports on threads that follow one another.
std::vector<std::string> Play(std::string const& threads)
{
    std::vector<std::string> reports;
    Locks locks;
    EXPECT_TRUE(XCLockOrder::Start([&](XCString const& report) { reports.emplace_back(report.AsUTF8()); }).Good());
    std::istringstream words(threads);
    for (std::string steps; words >> steps;) std::thread([&] { PlaysThread(locks, steps); }).join();
    XCLockOrder::Stop();
    EXPECT_EQ(XCLockOrder::GetInversionCount(), reports.size());
    return reports;
}

TEST(LockOrder, FindsWhatCouldHang)
{
    for (auto const& [fault, threads, inversions] :
         Rows<std::string, std::size_t>{{"one order is no inversion", "abBA abBA abcCBA", 0},
                                        {"two sections", "abBA baAB", 1},
                                        {"told each time", "abBA baAB baAB abBA", 1},
                                        {"mutexes", "deED edDE", 1},
                                        {"batons", "ghHG hgGH", 1},
                                        {"kinds do not know each other", "adDA dgGD gaAG", 1},
                                        {"a cycle of three", "abBA bcCB caAC", 1},
                                        {"one's own lock again", "aabBAA", 0},
                                        {"left after its first leave", "aaAbBA baAB", 1},
                                        {"a lock that was left counts as held", "aAbB bBaA", 0},
                                        {"left in another order", "abAcCB acCA", 0},
                                        {"left in another order, held on", "abAcCB cbBC", 1},
                                        {"no wait, no inversion", "abBA btAB", 0},
                                        {"a mutex without a wait", "deED euDE", 0},
                                        {"held without a wait", "tbBA baAB", 1}})
        EXPECT_EQ(Play(threads).size(), inversions) << fault;
}

TEST(LockOrder, NamesBothOrders)
{
    std::vector<std::string> const reports = Play("adDA daAD");
    ASSERT_EQ(reports.size(), 1u);
    std::string const& report = reports[0];
    EXPECT_NE(report.find(" holds the critical section "), std::string::npos) << report;
    EXPECT_NE(report.find(" holds the mutex "), std::string::npos) << report;
    std::size_t places = 0; // each lock of each order
    for (std::size_t at = 0; (at = report.find("PlaysThread", at)) != std::string::npos; ++at) ++places;
    EXPECT_EQ(places, 4u) << report;
}

TEST(LockOrder, WithoutAHandlerErrorLogAndLogAreTold)
{
    ScratchFile const log("xc_lock_order.log");
    XCString const before = XCException::GetErrorLogPath();
    XCException::SetErrorLogPath(XCString(std::filesystem::absolute(log.Path()).wstring()));
    Locks locks;
    EXPECT_TRUE(XCLockOrder::Start({}).Good());
    for (char const* const steps : {"abBA", "baAB"}) std::thread([&] { PlaysThread(locks, steps); }).join();
    XCLockOrder::Stop();
    XCException::SetErrorLogPath(before);
    std::size_t const title = log.Bytes().find("] locks are taken in opposite orders: ");
    EXPECT_NE(log.Bytes().find(" holds the critical section ", title), std::string::npos) << log.Bytes();
}

TEST(LockOrder, ALockThatEndedIsNoOther)
{
    EXPECT_TRUE(XCLockOrder::Start([](XCString const&) {}).Good());
    XCCriticalSection first;
    std::optional<XCCriticalSection> second;
    for (bool const isTurned : {false, true}) {
        second.emplace(); // at the same address
        XCLockGuard const outer(isTurned ? *second : first);
        XCLockGuard const inner(isTurned ? first : *second);
    }
    second.reset();
    XCLockOrder::Stop();
    EXPECT_EQ(XCLockOrder::GetInversionCount(), 0u);
    EXPECT_FALSE(XCLockOrder::IsOn());
}

} // namespace
