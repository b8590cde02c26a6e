// AssertPlan.h - what follows a failed assertion, decided without the system.
#pragma once

#include <XelbrinCore/XCAssert.h>

#include <string_view>

namespace xc::debug {

/// What a program may do in front of whom.
struct AssertScene {
    bool isService = false;
    bool hasVisibleDesktop = false;
    bool hasConsole = false;
    bool hasDebugger = false;
    bool canGoOn = true; ///< false after XC_UNREACHABLE
};

/// The word of the environment, without regard to case; Abort for any other.
XCAssertAction ReadAssertAction(std::wstring_view word) noexcept;
/// What is done of what was wished; a dialog is left where somebody can see it.
XCAssertAction PlanAssert(XCAssertAction wish, AssertScene const& scene) noexcept;
/// The answer of the dialog; anything that it does not know is Abort.
XCAssertAction OfDialogAnswer(int answer) noexcept;

} // namespace xc::debug
