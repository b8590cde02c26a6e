// exit_module.cpp - a plug-in that never returns from Run or ends the process there, and a function that uses the library.
#include "exit/exit_work.h"
#include "library.h"

#include <windows.h>

namespace {

std::wstring Kind()
{
    wchar_t kind[40] = L"";
    ::GetEnvironmentVariableW(L"XC_EXIT_KIND", kind, 40);
    return kind;
}

struct ExitPlugIn final : XCThreadedRunPlugIn {
    XCString GetPlugInName() const override { return L"Exit"; }
    PlugInIdEx GetPlugInIdEx() const override { return {XCGuid(77, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8})}; }
    void Run() override
    {
        if (Kind() == L"exits") std::exit(7);
        if (Kind() == L"exits process") ::ExitProcess(7);
        ::SetEnvironmentVariableW(L"XC_EXIT_RUNS", L"1");
        for (;;) XCLogManager::Get().GetOrAddChannel(L"exit").Write(1, L"from the plug-in\n");
    }
};

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    return new ExitPlugIn;
}

extern "C" __declspec(dllexport) bool UseWork(wchar_t const* what, wchar_t const* state)
{
    static ExitWork work(what, state);
    return work.Stop(std::wstring_view(state) == L"blocked" ? 20 : XCInfinite);
}

extern "C" __declspec(dllexport) void UseLibrary()
{
    XCSmartPtr<XCThread> const thread(new XCThread(XCMakeCallback(
        [] { XCLogManager::Get().GetOrAddChannel(L"exit").GetStream() << L"from the module" << std::endl; })));
    (void)thread->Start();
    thread->Join();
    XCSmartPtr<XCThread> const second(new XCThread(XCMakeCallback([] {})));
    (void)second->Start();
    second->Join();
}
