// Probes: what the system answers where this one has nothing to say. What modules do to a child is seen in hostile_test.
#include "prelude.h"

#include <windows.h>

#include "app/host/Probe.h"

namespace {

using namespace xc_test;
using xc::host::ProbeResult;

/// A system that limits jobs, or does not start them.
struct FakeSteps final : xc::host::ProbeSteps {
    unsigned long startError = 0, exitCode = 0;
    bool hitLimit = false, ends = true, killed = false;
    ProbeResult::Stage stage = ProbeResult::Stage::Passed;

    unsigned long Start(std::wstring const&, std::wstring const& variable, std::uint64_t) override
    {
        std::wstring const name = variable.substr(variable.find(L'=') + 1);
        HANDLE const page = ::OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.substr(0, name.find(L'|')).c_str());
        void* const view = ::MapViewOfFile(page, FILE_MAP_WRITE, 0, 0, 0);
        *static_cast<ProbeResult::Stage*>(view) = stage;
        std::fill_n(static_cast<wchar_t*>(view) + 2, 64, L'x'); // a text without an end
        ::UnmapViewOfFile(view);
        ::CloseHandle(page);
        return startError;
    }
    bool WaitForEnd(unsigned int milliseconds) override { return ::Sleep(milliseconds), ends; }
    std::uint64_t MemoryBytes() override { return 0; }
    bool HasHitLimit() override { return hitLimit; }
    unsigned long ExitCode() override { return exitCode; }
    void Kill() override { killed = true; }
};

TEST(Probe, WhatTheSystemAnswersBecomesOneReason)
{
    using Stage = ProbeResult::Stage;
    XCProbeOptions options;
    options.timeoutMs = 50;
    for (auto const& [fault, change, why] : Rows<std::function<void(FakeSteps&)>, std::wstring>{
             {"no process", [](FakeSteps& s) { s.startError = 5; }, L"no process can be started for it: "},
             {"memory that the job has refused", [](FakeSteps& s) { s.hitLimit = true; },
              L"takes more than 512 MB, in x"},
             {"a child that never comes to its order", [](FakeSteps& s) { s.stage = Stage::NotBegun; },
              L"ends the process with exit code 0, before a host was there to load it"},
             {"one that waits before it", [](FakeSteps& s) { s.ends = false, s.stage = Stage::NotBegun; },
              L"does not return within 50 ms, before a host"},
             {"a stage that does not exist", [](FakeSteps& s) { s.stage = static_cast<Stage>(77); },
              L"ends the process"},
             {"a fault of the system's", [](FakeSteps& s) { s.exitCode = 0xC0000374, s.stage = Stage::Working; },
              L"ends the process by the fault 0xC0000374, in x"},
         })
    {
        SCOPED_TRACE(fault);
        FakeSteps steps;
        change(steps);
        ProbeResult const result = xc::host::Probe(L"c:\\m.osx", L"GetPlugInObject", options, steps);
        std::wstring const told(xc::host::WhyRefused(result, options).View());
        EXPECT_TRUE(told.starts_with(why)) << std::string(XCString(told).AsUTF8());
        EXPECT_LT(told.size(), 200u);
        EXPECT_EQ(steps.killed, steps.startError == 0);
    }
    FakeSteps good;
    EXPECT_TRUE(xc::host::WhyRefused(xc::host::Probe(L"c:\\m.osx", L"x", options, good), options).IsNull());
}

} // namespace
