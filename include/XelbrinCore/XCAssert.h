// XCAssert.h - what must be true, or the program is wrong.
//
// WHAT     XC_ASSERT(condition)   checked unless NDEBUG is defined; the condition is not evaluated then
//          XC_VERIFY(condition)   evaluated and checked in every build
//          XC_UNREACHABLE(text)   a place that is never reached, in every build
//
//          A failure is told with its condition, place, thread and call stack: on the standard error, in the error log
//          of the process and on the log channel "XCAssert". What follows is decided by the handler of the program
//          (XCAssert::SetHandler), else by the environment variable XC_ASSERT:
//
//              abort      the process ends by abort (XCSignals adds its record); also without the variable
//              throw      an XCAssertException
//              continue   the program goes on
//              break      a debugger stops there; without one as abort
//              dialog     somebody is asked, by XCAssert-x64.dll beside the program, where that is present and
//                         somebody can see it: a visible desktop, and a console or a debugger; never in a service.
//                         Otherwise as abort
//
//          After XC_UNREACHABLE nothing can go on: "continue" is abort there.
// DIALOG   The library exports `int XCShowAssertDialog(wchar_t const* text, wchar_t const* stack)`, which returns 0 to
//          abort, 1 to break, 2 to continue.
// COST     A test and a branch. A failure: milliseconds, for the names of the stack.
// ERRORS   Telling a failure never fails. An assertion that fails while another one of the same thread is told is not
//          told: the process aborts.
// THREADS  Any. The exception leaves the place of the assertion: in a destructor or another function that may not throw
//          it ends the program.
#pragma once

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

/// A failed assertion.
struct XCAssertFailure {
    char const* condition; ///< as it stands in the source, or the text of XC_UNREACHABLE
    char const* file;      ///< as the compiler knows it
    unsigned int line;     ///< in the file
    char const* function;  ///< its name
    XCString text;         ///< the sentence that was told
    XCString stack;        ///< the calls, one a line
};

/// What follows a failure.
enum class XCAssertAction { Abort, Throw, Continue, Break, Dialog };

/// Thrown by a failed assertion, when that is asked for.
class XC_API XCAssertException : public XCException {
public:
    /// @param text the sentence that was told.
    explicit XCAssertException(XCString const& text);
    ~XCAssertException() override;
};

/// Decides what follows a failure. May throw; the exception leaves the place of the assertion.
class XC_API XCAssertHandlerI : public XCRefCount {
public:
    ~XCAssertHandlerI() override;
    /// On the thread of the failure, after it was told.
    virtual XCAssertAction OnFailure(XCAssertFailure const& failure) = 0;
};

/// What all assertions of the process share.
class XC_API XCAssert {
public:
    XCAssert() = delete;

    /// Takes the place of the environment variable; null gives it back. @return the handler before.
    static XCSmartPtr<XCAssertHandlerI> SetHandler(XCSmartPtr<XCAssertHandlerI> const& handler);
    /// What the environment asks for: Abort where it says nothing, or something else.
    [[nodiscard]] static XCAssertAction GetEnvironmentAction();
    /// By the macros. Returns when the program goes on.
    static void Fail(char const* condition, char const* file, unsigned int line, char const* function);
    /// By XC_UNREACHABLE.
    [[noreturn]] static void FailForGood(char const* text, char const* file, unsigned int line, char const* function);
};

/// A condition that holds in every build.
#define XC_VERIFY(condition)                                                                                           \
    ((condition) ? static_cast<void>(0) : XCAssert::Fail(#condition, __FILE__, __LINE__, __func__))
/// A place that nobody reaches. @param text a narrow literal.
#define XC_UNREACHABLE(text) XCAssert::FailForGood("unreachable: " text, __FILE__, __LINE__, __func__)

#if defined(NDEBUG)
/// A condition that holds; not evaluated in this build.
#define XC_ASSERT(condition) static_cast<void>(sizeof((condition) ? 1 : 0))
#else
/// A condition that holds; checked in this build.
#define XC_ASSERT(condition) XC_VERIFY(condition)
#endif
