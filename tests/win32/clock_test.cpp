#include "prelude.h"
#include "win32/FineClock.h"

// Readings over steps of 16 ms: never back, never below the step, even between steps; the wall clock is set, the system
// sleeps, a step comes late.
TEST(FineClock, FollowsTheStepsEvenly)
{
    xc::win32::FineClock clock;
    for (auto const& [fault, stepMs, evenMs, fineMs] :
         Rows<std::int64_t, std::int64_t, std::int64_t>{{"first", 1000, 70000, 1000},
                                                        {"step kept", 1000, 70007, 1007},
                                                        {"jump at a step", 1016, 70017, 1017},
                                                        {"below the step", 1032, 70030, 1032},
                                                        {"late step", 1032, 70059, 1061},
                                                        {"beyond a step", 1032, 70062, 1061},
                                                        {"back", 1048, 70064, 1061},
                                                        {"held after the hold", 1064, 70080, 1064},
                                                        {"wall clock set back", 1064, 3, 1064},
                                                        {"not even after it", 1064, 8, 1069},
                                                        {"wall clock set forward", 1080, 999999, 1080},
                                                        {"not even after it", 1080, 1000004, 1085}})
        EXPECT_EQ(clock.Read(stepMs * 10000, evenMs * 10000), fineMs * 10000) << fault;
}
