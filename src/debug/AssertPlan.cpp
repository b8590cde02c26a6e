// A wish that cannot be done here becomes abort: a dialog that nobody sees would hold the process for ever, and a
// breakpoint without a debugger would end it with a code that looks like a crash of something else. Abort is the answer
// to all that is doubtful, a misspelt word as well as an unknown answer of the dialog: a program that goes on with a
// broken condition does more harm than one that has ended with a record.
//
// The facts come as plain values, so that a service or an invisible desktop needs neither to be there to be decided upon.
#include "debug/AssertPlan.h"

#include <algorithm>
#include <utility>

namespace xc::debug {

XCAssertAction ReadAssertAction(std::wstring_view word) noexcept
{
    constexpr std::pair<std::wstring_view, XCAssertAction> kWords[] = {
        {L"throw", XCAssertAction::Throw},
        {L"continue", XCAssertAction::Continue},
        {L"break", XCAssertAction::Break},
        {L"dialog", XCAssertAction::Dialog},
    };
    auto const isSame = [](wchar_t given, wchar_t small) { return (given | 0x20) == small; };
    for (auto const& [name, action] : kWords)
        if (std::ranges::equal(word, name, isSame)) return action;
    return XCAssertAction::Abort;
}

XCAssertAction PlanAssert(XCAssertAction wish, AssertScene const& scene) noexcept
{
    // The desktop alone is no proof: a job of the night has one as well, and nobody looks at it.
    bool const isSeen = !scene.isService && scene.hasVisibleDesktop && (scene.hasConsole || scene.hasDebugger);
    if (wish == XCAssertAction::Dialog && !isSeen) return XCAssertAction::Abort;
    if (wish == XCAssertAction::Break && !scene.hasDebugger) return XCAssertAction::Abort;
    if (wish == XCAssertAction::Continue && !scene.canGoOn) return XCAssertAction::Abort;
    return wish;
}

XCAssertAction OfDialogAnswer(int answer) noexcept
{
    if (answer == 1) return XCAssertAction::Break;
    return answer == 2 ? XCAssertAction::Continue : XCAssertAction::Abort;
}

} // namespace xc::debug
