// Five places, one function for each use.
//
// The system calls one filter for a fault that nobody handles, on whatever thread; the runtimes have a handler each for
// the other endings. Every handler calls the function of the installation and then who stood there before, so that a
// debugger's or a reporter's handler still has its turn. A removed installation that another handler still calls passes
// on alone. terminate ends in abort, which would tell the same ending twice: the thread is remembered.
// Refused parameters do not end the process by themselves in this runtime; they are told, and the call fails as it would.
#include "win32/FaultHooks.h"

#include "win32/File.h"
#include "win32/Process.h"
#include "win32/SystemFunction.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>

#include <dbghelp.h>

namespace xc::win32 {

namespace {

using PureCallHandler = void(__cdecl*)();
using ParameterHandler = void(__cdecl*)(wchar_t const*, wchar_t const*, wchar_t const*, unsigned int, std::uintptr_t);

// Of the compiler's environment. Another runtime in the process has handlers of its own, and so have its modules.
#if defined(_UCRT)
constexpr wchar_t kRuntime[] = L"ucrtbase.dll";
#else
constexpr wchar_t kRuntime[] = L"msvcrt.dll";
#endif

/// Who stood there before.
struct Before {
    LPTOP_LEVEL_EXCEPTION_FILTER filter = nullptr;
    std::terminate_handler terminate = nullptr;
    void (*abort)(int) = SIG_DFL;
    ParameterHandler parameter = nullptr;
    PureCallHandler pureCall = nullptr;
};

Before g_before;
using OnFault = void (*)(Fault const&) noexcept;
std::atomic<OnFault> g_onFault[2]{};         // by use
std::atomic<unsigned long> g_terminating{0}; // the thread that was told in OnTerminate

void Tell(Fault const& fault) noexcept
{
    for (std::atomic<OnFault> const& use : g_onFault)
        if (OnFault const onFault = use.load()) onFault(fault);
}

LONG WINAPI OnUnhandled(EXCEPTION_POINTERS* pointers) noexcept
{
    EXCEPTION_RECORD const& record = *pointers->ExceptionRecord;
    // The parameters of an access violation: what was tried, and where.
    Fault fault{Fault::Kind::Unhandled, pointers, pointers->ContextRecord, record.ExceptionCode};
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2) {
        fault.isAccess = true;
        fault.isWrite = record.ExceptionInformation[0] == 1;
        fault.target = record.ExceptionInformation[1];
    }
    Tell(fault);
    return g_before.filter ? g_before.filter(pointers) : EXCEPTION_CONTINUE_SEARCH;
}

[[noreturn]] void OnTerminate() noexcept
{
    g_terminating = ThreadId();
    Tell({Fault::Kind::Terminate});
    if (g_before.terminate) g_before.terminate();
    std::abort();
}

void OnAbort(int signal) noexcept
{
    // A handler of std::terminate mostly ends here: that ending was told.
    if (g_terminating != ThreadId()) Tell({Fault::Kind::Abort});
    if (g_before.abort != SIG_DFL && g_before.abort != SIG_IGN && g_before.abort != SIG_ERR) g_before.abort(signal);
}

void __cdecl OnParameter(wchar_t const* expression, wchar_t const* function, wchar_t const* file, unsigned int line,
                         std::uintptr_t reserved) noexcept
{
    Tell({Fault::Kind::InvalidParameter});
    if (g_before.parameter) g_before.parameter(expression, function, file, line, reserved);
}

void __cdecl OnPureCall() noexcept
{
    g_terminating = ThreadId();
    Tell({Fault::Kind::PureCall});
    if (g_before.pureCall) g_before.pureCall();
    std::abort();
}

/// Puts a handler of the runtime in its place, where the runtime has one. @return who stood there.
template <class Handler>
Handler Replace(char const* function, Handler handler) noexcept
{
    auto const set = SystemFunction<Handler(__cdecl*)(Handler)>(kRuntime, function);
    return set ? set(handler) : nullptr;
}

decltype(&::MiniDumpWriteDump) MinidumpFunction() noexcept
{
    static auto const function =
        SystemFunction<decltype(&::MiniDumpWriteDump)>(LoadSystemLibrary(L"dbghelp.dll"), "MiniDumpWriteDump");
    return function;
}

} // namespace

namespace {

bool IsAnyoneTold() noexcept
{
    return g_onFault[0].load() || g_onFault[1].load();
}

void TakePlaces() noexcept
{
    PinLibrary(); // a handler may be called by others for ever
    auto const filter = ::SetUnhandledExceptionFilter(OnUnhandled);
    // One that still stands there from an installation before keeps whom it passes on to.
    if (filter != OnUnhandled) g_before.filter = filter;
    if (auto const terminate = std::set_terminate(OnTerminate); terminate != OnTerminate)
        g_before.terminate = terminate;
    if (auto const abort = std::signal(SIGABRT, OnAbort); abort != OnAbort) g_before.abort = abort;
    if (auto const parameter = Replace<ParameterHandler>("_set_invalid_parameter_handler", OnParameter);
        parameter != OnParameter)
        g_before.parameter = parameter;
    if (auto const pureCall = Replace<PureCallHandler>("_set_purecall_handler", OnPureCall); pureCall != OnPureCall)
        g_before.pureCall = pureCall;
}

void GivePlacesBack() noexcept
{
    // Where somebody else stands by now, he stays, and calls a handler that only passes on.
    if (auto const filter = ::SetUnhandledExceptionFilter(g_before.filter); filter != OnUnhandled)
        ::SetUnhandledExceptionFilter(filter);
    if (std::get_terminate() == OnTerminate) std::set_terminate(g_before.terminate);
    if (auto const abort = std::signal(SIGABRT, g_before.abort); abort != OnAbort) std::signal(SIGABRT, abort);
    if (auto const parameter = Replace<ParameterHandler>("_set_invalid_parameter_handler", g_before.parameter);
        parameter != OnParameter)
        Replace<ParameterHandler>("_set_invalid_parameter_handler", parameter);
    if (auto const pureCall = Replace<PureCallHandler>("_set_purecall_handler", g_before.pureCall);
        pureCall != OnPureCall)
        Replace<PureCallHandler>("_set_purecall_handler", pureCall);
}

} // namespace

void InstallFaultHooks(FaultUse use, void (*function)(Fault const&) noexcept) noexcept
{
    std::atomic<OnFault>& mine = g_onFault[static_cast<int>(use)];
    if (mine.load()) return;
    // The function last: a handler that is called before its installation is whole would pass on to nobody.
    if (!IsAnyoneTold()) TakePlaces();
    mine = function;
}

void RemoveFaultHooks(FaultUse use) noexcept
{
    if (g_onFault[static_cast<int>(use)].exchange(nullptr) && !IsAnyoneTold()) GivePlacesBack();
}

void PrepareMinidump() noexcept
{
    (void)MinidumpFunction();
}

unsigned long WriteMinidump(SystemPath const& path, unsigned long thread, void* pointers) noexcept
{
    if (!MinidumpFunction()) return ERROR_PROC_NOT_FOUND;
    File file;
    if (unsigned long const error = file.Open(path, {FileMode::Access::Write, FileMode::Start::Truncate})) return error;
    MINIDUMP_EXCEPTION_INFORMATION fault{thread, static_cast<EXCEPTION_POINTERS*>(pointers), FALSE};
    bool const written = MinidumpFunction()(::GetCurrentProcess(), ::GetCurrentProcessId(), file.Handle(),
                                            MiniDumpNormal, pointers ? &fault : nullptr, nullptr, nullptr);
    return written ? 0 : ::GetLastError();
}

} // namespace xc::win32
