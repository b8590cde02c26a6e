// A failed assertion: told first, in all places, then decided upon.
//
// The order of telling is that of trust: the standard error needs nothing, the error log a file, the log its locks and
// subscribers, which may be what is broken. A failure on the way (no memory, a full disk) leaves the rest. What follows
// is asked of the handler, outside every lock, since a handler may fail an assertion itself: that one would come back
// here for ever, so it aborts at once. Abort is the runtime's, so that the records of faults see it.
//
// The macros test and branch where they stand; all else is here, out of the way of the code that is right. Cost of a
// failure: the stack, whose names are read from symbols, and a write to three places. Nothing is kept between failures
// but the handler. Invariant: a thread is in one failure at a time, and is out of it before an exception leaves.
#include <XelbrinCore/XCAssert.h>

#include <XelbrinCore/XCLog.h>

#include "debug/AssertPlan.h"
#include "errors/ErrorLog.h"
#include "errors/Sealed.h"
#include "win32/Audience.h"
#include "win32/Console.h"
#include "win32/Process.h"
#include "win32/ServiceManager.h"

#include <cstdlib>
#include <mutex>

namespace xc::debug {

namespace {

constexpr wchar_t kDialogLibrary[] = L"XCAssert-x64.dll";
using ShowDialog = int (*)(wchar_t const* text, wchar_t const* stack);

std::mutex g_lock;                                           ///< guards the handler
constinit XCSmartPtr<XCAssertHandlerI>* g_handler = nullptr; // never destroyed: assertions may fail at the exit

// Of the thread and not of the process: two threads may fail at once, and both are told.
thread_local bool t_isTelling = false;

/// One failure of a thread at a time.
class Telling {
public:
    Telling() noexcept
    {
        if (t_isTelling) std::abort();
        t_isTelling = true;
    }
    ~Telling() { t_isTelling = false; }
    Telling(Telling const&) = delete;
    Telling& operator=(Telling const&) = delete;
};

/// A reference of its own: the program may take the handler away while it is asked.
XCSmartPtr<XCAssertHandlerI> Handler()
{
    std::lock_guard const hold(g_lock);
    return g_handler ? *g_handler : XCSmartPtr<XCAssertHandlerI>();
}

XCString SentenceOn(XCAssertFailure const& failure)
{
    XCString text;
    text.Format(L"assertion failed: %hs (%hs:%u, %hs, thread %lu)", failure.condition, failure.file, failure.line,
                failure.function, win32::ThreadId());
    return text;
}

void Tell(XCAssertFailure const& failure) noexcept
{
    errors::SayIfPossible([&] {
        XCString const all = failure.text + L"\n" + failure.stack + L"\n";
        (void)win32::WriteToConsole(win32::StandardStream::Error, all.AsWChar(), all.Length());
    });
    errors::SayIfPossible([&] { errors::AppendToErrorLog(failure.text, failure.stack); });
    errors::SayIfPossible([&] {
        XCLogManager::Get().GetOrAddChannel(L"XCAssert").Write(1, failure.text + L"\n" + failure.stack + L"\n");
    });
}

AssertScene SceneNow(XCAssertAction wish, bool canGoOn) noexcept
{
    AssertScene scene;
    scene.isService = win32::IsService();
    scene.hasDebugger = win32::HasDebugger();
    scene.hasConsole = win32::HasConsole();
    scene.canGoOn = canGoOn;
    // Asked for only where it counts: the question loads the library of windows.
    bool const isAsked = wish == XCAssertAction::Dialog && !scene.isService;
    scene.hasVisibleDesktop = isAsked && win32::HasVisibleDesktop();
    return scene;
}

/// What somebody chooses; Abort where the dialog is not there.
XCAssertAction AskSomebody(XCAssertFailure const& failure)
{
    auto const show = reinterpret_cast<ShowDialog>(win32::FunctionBesideProgram(kDialogLibrary, "XCShowAssertDialog"));
    return show ? OfDialogAnswer(show(failure.text.AsWChar(), failure.stack.AsWChar())) : XCAssertAction::Abort;
}

XCAssertAction Decide(XCAssertFailure const& failure, bool canGoOn)
{
    // The handler is not trusted more than the environment: what it wishes is planned for in the same way.
    XCSmartPtr<XCAssertHandlerI> const handler = Handler();
    XCAssertAction const wish = handler.IsNull() ? XCAssert::GetEnvironmentAction() : handler->OnFailure(failure);
    AssertScene const scene = SceneNow(wish, canGoOn);
    XCAssertAction const plan = PlanAssert(wish, scene);
    return plan == XCAssertAction::Dialog ? PlanAssert(AskSomebody(failure), scene) : plan;
}

/// Returns when the program goes on.
void Fail(XCAssertFailure failure, bool canGoOn)
{
    XCAssertAction action = XCAssertAction::Abort;
    // The block ends before the exception leaves: whoever catches it may assert, too.
    {
        Telling const telling;
        errors::SayIfPossible([&] { failure.stack = XCStackDump().AsString(); });
        errors::SayIfPossible([&] { failure.text = SentenceOn(failure); });
        Tell(failure);
        action = Decide(failure, canGoOn);
    }
    switch (action) {
    case XCAssertAction::Throw: throw XCAssertException(failure.text);
    case XCAssertAction::Continue: return;
    case XCAssertAction::Break: return win32::BreakIntoDebugger();
    default: std::abort();
    }
}

} // namespace

} // namespace xc::debug

XCAssertException::XCAssertException(XCString const& text) : XCException(text) {}
XCAssertException::~XCAssertException() = default;

XCAssertHandlerI::~XCAssertHandlerI() = default;

XCSmartPtr<XCAssertHandlerI> XCAssert::SetHandler(XCSmartPtr<XCAssertHandlerI> const& handler)
{
    std::lock_guard const hold(xc::debug::g_lock);
    if (!xc::debug::g_handler) xc::debug::g_handler = new XCSmartPtr<XCAssertHandlerI>;
    return std::exchange(*xc::debug::g_handler, handler);
}

XCAssertAction XCAssert::GetEnvironmentAction()
{
    return xc::debug::ReadAssertAction(xc::win32::ReadEnvironment(L"XC_ASSERT").value_or(std::wstring()));
}

void XCAssert::Fail(char const* condition, char const* file, unsigned int line, char const* function)
{
    xc::debug::Fail({condition, file, line, function, {}, {}}, true);
}

void XCAssert::FailForGood(char const* text, char const* file, unsigned int line, char const* function)
{
    xc::debug::Fail({text, file, line, function, {}, {}}, false);
    std::abort(); // the debugger has gone on
}
