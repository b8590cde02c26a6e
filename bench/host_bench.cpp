// Rows of the application and its host, from construction to end; the module's rows stand beside the bare calls of the
// system that load and free it. A program that links the library is started beside the same one on the standard library.
#include <XelbrinCore/XCApplication.h>

#include <benchmark/benchmark.h>
#include <filesystem>
#include <windows.h>

namespace {

/// Hears nothing: the messages cost what they cost with a subscriber that does not want them.
class Deaf final : public XCLogSubscriberI {
public:
    Deaf() { SetDesiredLevel(0); }
    void OnFlush(int, XCString const&) override {}
};
XCSmartPtr<XCLogSubscriberI> const kDeaf(new Deaf);

class Idle final : public XCPlugIn {
public:
    XCString GetPlugInName() const override { return L"Idle"; }
    PlugInIdEx GetPlugInIdEx() const override { return XCGuid(1, 0, 0, {}); }
};

class IdleThread final : public XCThreadedRunPlugIn {
public:
    XCString GetPlugInName() const override { return L"IdleThread"; }
    PlugInIdEx GetPlugInIdEx() const override { return XCGuid(2, 0, 0, {}); }
    void Run() override {}
};

std::filesystem::path ProgramFolder()
{
    wchar_t program[MAX_PATH];
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    return std::filesystem::path(program).parent_path();
}

std::wstring ModulePath()
{
    return (ProgramFolder() / "modules" / "bench_module.osx").wstring();
}

void Host_application(benchmark::State& state)
{
    for (auto _ : state) XCApplication const application(XCString(L"bench"), kDeaf, false);
}
BENCHMARK(Host_application);

void Host_startToEnd_noPlugIn(benchmark::State& state)
{
    for (auto _ : state) {
        XCApplicationWithPlugIns host(XCString(L"bench"), kDeaf, false);
        benchmark::DoNotOptimize(host.Run());
    }
}
BENCHMARK(Host_startToEnd_noPlugIn);

template <class PlugIn>
void Host_startToEnd(benchmark::State& state)
{
    for (auto _ : state) {
        XCApplicationWithPlugIns host(XCString(L"bench"), kDeaf, false);
        (void)host.LoadPlugIn(new PlugIn);
        benchmark::DoNotOptimize(host.Run());
    }
}
BENCHMARK(Host_startToEnd<Idle>)->UseRealTime();
BENCHMARK(Host_startToEnd<IdleThread>)->UseRealTime();

void Host_startToEnd_module(benchmark::State& state)
{
    XCString const path(ModulePath());
    for (auto _ : state) {
        XCApplicationWithPlugIns host(XCString(L"bench"), kDeaf, false);
        if (host.LoadPlugIn(path, XCApplicationWithPlugIns::kEntryName).Bad()) state.SkipWithError("no module");
    }
}
BENCHMARK(Host_startToEnd_module)->UseRealTime();

void Host_rawLoadFree(benchmark::State& state)
{
    std::wstring const path = ModulePath();
    for (auto _ : state) {
        HMODULE const module = ::LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        benchmark::DoNotOptimize(::GetProcAddress(module, "GetPlugInObject"));
        ::FreeLibrary(module);
    }
}
BENCHMARK(Host_rawLoadFree)->UseRealTime();

/// From the call that starts a program until its end has been seen.
void ProgramStart(benchmark::State& state, wchar_t const* program)
{
    std::wstring const path = (ProgramFolder() / "start" / program).wstring();
    for (auto _ : state) {
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        DWORD code = 1;
        if (::CreateProcessW(path.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
            ::WaitForSingleObject(process.hProcess, INFINITE);
            ::GetExitCodeProcess(process.hProcess, &code);
            ::CloseHandle(process.hThread);
            ::CloseHandle(process.hProcess);
        }
        if (code != 0) state.SkipWithError("the program did not run");
    }
}
BENCHMARK_CAPTURE(ProgramStart, XelbrinCore, L"bench_start_linked.exe")->UseRealTime();
BENCHMARK_CAPTURE(ProgramStart, plain, L"bench_start_plain.exe")->UseRealTime();

} // namespace
