// exit_child.cpp - a program that ends in the way its first argument names, with exit code 7. The second argument is its
// log file, the third a folder with the module.
#include "exit/endings.h"
#include "exit/exit_work.h"
#include "library.h"

#include <windows.h>

namespace {

constexpr int kCode = 7;

XCLogChannel& Channel()
{
    return XCLogManager::Get().GetOrAddChannel(L"exit");
}

/// Uses much of the library when nearly everything else has gone.
struct LastWords {
    bool wanted = false;
    ~LastWords()
    {
        if (!wanted) return;
        try {
            throw XCException(XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(L"last words"))));
        } catch (XCException const& failure) {
            Channel().Write(1, failure.What().View());
            Channel().Write(1, L"\n");
        }
        XCTrace::Msg(XCTrace::TraceErrors, XCTrace::TraceLog, L"exit", L"%d", 1);
    }
};
LastWords g_lastWords; // built before, and so destroyed after, what main uses first

/// Threads that log until the process ends.
void StartLoggers()
{
    static std::atomic<int> running{0};
    for (int i = 0; i < 3; ++i) {
        auto* const thread = new XCThread(XCMakeCallback([] {
            ++running;
            for (;;) Channel().Write(1, L"from a thread\n");
        }));
        thread->AddRef(); // its thread outlives main
        (void)thread->Start();
    }
    while (running < 3) ::Sleep(1);
}

XCApplicationWithPlugIns* StartHost(wchar_t const* folder, wchar_t const* kind)
{
    ::SetEnvironmentVariableW(L"XC_EXIT_KIND", kind);
    return new XCApplicationWithPlugIns(XCString(L"host.exe /noconsole \"/osxpath:") + folder + L"\"", {}, false);
}

template <class Function>
Function ModuleFunction(HMODULE module, char const* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

/// Loads a module, lets it start and end a thread of its own, and frees it: nothing is flushed on that occasion.
int UseModule(XCString const& folder)
{
    HMODULE const module = ::LoadLibraryW((folder + L"\\exit_module.osx").AsWChar());
    if (!module) return 1;
    Channel().GetStream() << L"pending";
    ModuleFunction<void (*)()>(module, "UseLibrary")();
    if (!::FreeLibrary(module)) return 3;
    Channel().Write(1, L"after the module\n");
    return kCode;
}

/// The module stops what it has started before it is freed; where that fails it must stay.
int UnloadWithWork(XCString const& folder, std::wstring const& what, std::wstring const& state)
{
    HMODULE const module = ::LoadLibraryW((folder + L"\\exit_module.osx").AsWChar());
    if (!module) return 1;
    auto* const use = ModuleFunction<bool (*)(wchar_t const*, wchar_t const*)>(module, "UseWork");
    bool const stopped = use(what.c_str(), state.c_str());
    if (stopped != (state != L"blocked")) return 3;
    if (stopped && !::FreeLibrary(module)) return 4;
    return kCode;
}

/// @param how "what,state,end"
int EndWithWork(std::wstring const& how, wchar_t const* folder)
{
    std::size_t const first = how.find(L','), second = how.find(L',', first + 1);
    std::wstring const what = how.substr(0, first), end = how.substr(second + 1);
    std::wstring const state = how.substr(first + 1, second - first - 1);
    if (end == L"unload") return UnloadWithWork(folder, what, state);
    static ExitWork const work(what, state);
    if (end == L"exit") std::exit(kCode);
    return kCode;
}

void EndBy(std::wstring_view call)
{
    if (call == L"exit") std::exit(kCode);
    if (call == L"ExitProcess") ::ExitProcess(kCode);
    if (call == L"_Exit") std::_Exit(kCode);
}

int End(std::wstring_view how, wchar_t const* folder)
{
    constexpr std::wstring_view kThreads = L"threads-log,";
    if (how.starts_with(kWork)) return EndWithWork(std::wstring(how.substr(kWork.size())), folder);
    if (how.starts_with(kThreads)) {
        StartLoggers();
        how.remove_prefix(kThreads.size());
    }
    EndBy(how);
    if (how == L"stream-not-flushed") Channel().GetStream() << L"pending";
    if (how.starts_with(L"static-object")) g_lastWords.wanted = true;
    if (how.starts_with(L"module")) return UseModule(folder);
    if (how == L"application-alive") new XCApplication(L"app.exe /noconsole", {}, true);
    if (how == L"application-static") {
        static XCApplication const application(L"app.exe /noconsole", {}, true);
    }
    if (how == L"plug-in-thread-at-work") {
        XCApplicationWithPlugIns& host = *StartHost(folder, L"stubborn");
        XCThread* const runner = new XCThread(XCMakeCallback([&host] { host.LoadAndRun(); }));
        runner->AddRef();
        (void)runner->Start();
        while (::GetEnvironmentVariableW(L"XC_EXIT_RUNS", nullptr, 0) == 0) ::Sleep(1);
    }
    if (how.ends_with(L"-in-Run")) {
        StartHost(folder, how == L"exit-in-Run" ? L"exits" : L"exits process")->LoadAndRun();
        return 4; // Run came back
    }
    return kCode;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count != 4) return 5;
    bool const autoFlush = std::wstring_view(arguments[1]) != L"record-held-back";
    XCLogManager::Get().AddSubscriber(
        XCSmartPtr<XCLogSubscriberI>(new XCFileLogSubscriber(XCString(arguments[2]), XCLogOpen::Truncate, autoFlush)));
    Channel().Write(1, L"before the end\n");
    return End(arguments[1], arguments[3]);
}
