#include "prelude.h"
#include "sync/ProgressLine.h"

namespace {

std::uint64_t g_nowMs = 0;

std::uint64_t FakeMs() noexcept
{
    return g_nowMs;
}

XCSmartPtr<XCProgress> Make(XCProgress::Listener listener = {})
{
    g_nowMs = 7000;
    return XCSmartPtr<XCProgress>(new XCProgress(std::move(listener), FakeMs));
}

TEST(XCProgress, NoticesKeepTheirPace)
{
    std::vector<int> heard; // the percent of each notice; the last one is negative
    auto progress = Make([&heard](XCProgressState const& state) {
        heard.push_back(static_cast<int>(state.fraction * 100 + .5) * (state.isEnd ? -1 : 1));
        throw std::runtime_error("a display that fails");
    });
    progress->SetRange(100); // at once, then at 100 ms, and the rest at the end
    for (int const afterMs : {50, 49, 1, 99, 5000, 1}) {
        g_nowMs += static_cast<std::uint64_t>(afterMs);
        progress->Step();
    }
    progress->Finish();
    progress->Step(50);
    progress.Clear();
    EXPECT_EQ(heard, (std::vector<int>{0, 3, 5, -6}));
}

TEST(XCProgress, PartsCountByTheirWeight)
{
    // fault, work, fraction
    Rows<void (*)(XCProgress & progress), double> const rows = {
        {"no range", [](XCProgress& all) { all.Step(5); }, 0},
        {"more steps than the range",
         [](XCProgress& all) {
             all.SetRange(2);
             all.Step(5);
         },
         1},
        {"part that is released, part that is open",
         [](XCProgress& all) {
             all.SetRange(4);
             (void)all.AddPart(1);
             auto const part = all.AddPart(3);
             part->SetRange(4);
             part->Step();
             EXPECT_DOUBLE_EQ(all.GetState().fraction, (1 + 3 * .25) / 4);
         },
         1},
        {"part in a part, not stepped",
         [](XCProgress& all) {
             all.SetRange(10);
             (void)all.AddPart(4)->AddPart(1);
             all.Step(2);
         },
         .6},
        {"range that grows sets back",
         [](XCProgress& all) {
             all.SetRange(10);
             all.Step(5);
             EXPECT_EQ(all.GetState().fraction, .5);
             all.SetRange(1000);
         },
         .5},
    };
    for (auto const& [fault, work, fraction] : rows) {
        auto const progress = Make();
        work(*progress);
        EXPECT_DOUBLE_EQ(progress->GetState().fraction, fraction) << fault;
    }
}

TEST(XCProgress, RemainingTimeAndBar)
{
    // fault, spentMs, steps, text, bar
    Rows<std::uint64_t, std::uint64_t, wchar_t const*, wchar_t const*> const rows = {
        {"time from too little", 999, 250, L"", L"[##........]  25%"},
        {"rest of a second is lost", 1001, 250, L"", L"[##........]  25%  0:04"},
        {"hours", 3600000, 500, L"half", L"[#####.....]  50%  1:00:00  half"},
        {"nothing done", 60000, 0, L"", L"[..........]   0%"},
        {"more than a year", 400000000, 1, L"", L"[..........]   0%"},
        {"clock set back", static_cast<std::uint64_t>(-6000), 999, L"", L"[#########.]  99%"},
        {"done", 5000, 1000, L"x", L"[##########] 100%  0:00  x"},
    };
    for (auto const& [fault, spentMs, steps, text, bar] : rows) {
        auto const progress = Make();
        g_nowMs += spentMs;
        progress->SetRange(1000);
        progress->Step(steps);
        progress->SetText(text);
        EXPECT_EQ(XCProgressBar(progress->GetState(), 10), XCString(bar)) << fault;
    }
}

TEST(XCProgress, LineOfTheConsole)
{
    // fault, text, columns, drawn
    Rows<wchar_t const*, std::size_t, wchar_t const*> const rows = {
        {"first", L"copying", 80, L"\r[.]   0%  copying"},
        {"rest of a longer one", L"c", 80, L"\r[.]   0%  c      "},
        {"last column, controls", L"a\nbcd", 14, L"\r[.]   0%  a b"},
        {"wide, pair taken apart", L"\u65E5\U0001F600", 15, L"\r[.]   0%  \u65E5\U0001F600"},
        {"wide past the end", L"\u65E5\u65E5", 14, L"\r[.]   0%  \u65E5  "},
        {"narrower than the bar", L"", 4, L"\r[.]         "},
        {"no room", L"", 1, L"\r   "},
    };
    xc::sync::ProgressLine line(1);
    for (auto const& [fault, text, columns, drawn] : rows)
        EXPECT_EQ(line.Redraw({0, text, {}, false}, columns), XCString(drawn)) << fault;
    line.Redraw({}, 80);
    EXPECT_EQ(line.Redraw({0, {}, {}, true}, 80), XCString(L"\r        \r"));
}

TEST(XCProgress, ManyThreadsOneListener)
{
    std::atomic<int> inside = 0, notices = 0;
    double last = 0;
    bool isEnded = false;
    auto progress = Make();
    progress = new XCProgress(
        [&, &whole = progress](XCProgressState const& state) {
            EXPECT_EQ(++inside, 1) << "two at once";
            EXPECT_TRUE(!isEnded && state.fraction >= last);
            last = state.fraction;
            isEnded = state.isEnd;
            if (++notices == 5) whole->Finish(); // must not wait for itself
            --inside;
        },
        []() noexcept {
            static std::atomic<std::uint64_t> now = 0;
            return now += XCProgress::kPaceMs / 3;
        });
    progress->SetRange(4);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([part = progress->AddPart(1)] {
            part->SetRange(300);
            for (int step = 0; step < 300 && !part->IsCancelled(); ++step) part->Step();
        });
    while (notices < 5) std::this_thread::yield();
    progress->Finish();
    int const heard = notices;
    progress->Cancel();
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(isEnded && notices == heard) << "a notice after the last one";
}

} // namespace
