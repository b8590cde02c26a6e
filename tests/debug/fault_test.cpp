// Every ending from within leaves a record, and then whoever stood there before has his turn.
#include "child_process.h"
#include "scratch_files.h"

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCSignals.h>

#include <csignal>

namespace {

using namespace xc_test;

constexpr unsigned int kBefore = 77;
bool g_holdsHeap = false;
/// The handlers that stood there before. They may use the heap; the record may not.
[[noreturn]] void EndsAsBefore()
{
    if (g_holdsHeap) ::HeapUnlock(::GetProcessHeap());
    ::TerminateProcess(::GetCurrentProcess(), kBefore);
    std::abort();
}

__attribute__((noinline)) void ReadsNothing()
{
    (void)*static_cast<int volatile*>(nullptr); // NOLINT(clang-analyzer-core.NullDereference)
}

__attribute__((noinline)) void Throws()
{
    throw XCException(L"planned fault");
}

/// What a child does wrong, by the name of the row.
void Fault(std::string const& fault)
{
    if (fault == "null") ReadsNothing();
    if (fault == "other thread") {
        ::CloseHandle(::CreateThread(
            nullptr, 0, [](void*) -> DWORD { return ReadsNothing(), 0; }, nullptr, 0, nullptr));
        ::Sleep(INFINITE);
    }
    if (fault == "abort") std::abort();
    if (fault == "noexcept") []() noexcept { Throws(); }();
    if (fault == "terminate") std::terminate();
    if (fault == "trap") __builtin_trap();
    if (fault == "divide") {
        int volatile zero = 0;
        int volatile seven = 7; // not 1: the compiler divides that without dividing
        zero = seven / zero;
    }
    if (fault == "heap held") {
        g_holdsHeap = ::HeapLock(::GetProcessHeap());
        ReadsNothing();
    }
    if (fault == "removed") {
        XCSignals::Uninstall();
        XCSignals::IsInstalled() ? ::ExitProcess(1) : ReadsNothing();
    }
}

TEST(DISABLED_FaultChild, Faults)
{
    ::SetErrorMode(SEM_NOGPFAULTERRORBOX | SEM_FAILCRITICALERRORS);
    ::SetUnhandledExceptionFilter([](EXCEPTION_POINTERS*) -> LONG { EndsAsBefore(); });
    std::set_terminate(EndsAsBefore);
    std::signal(SIGABRT, [](int) { EndsAsBefore(); });
    XCException::SetErrorLogPath(XCString(EnvironmentValue(L"XC_FAULT_LOG")));
    XCSignalOptions options;
    options.minidump = std::getenv("XC_FAULT") == std::string("null"); // it takes long on Wine
    ASSERT_TRUE(XCSignals::Install(options).Good());
    ASSERT_TRUE(XCSignals::Install().Good() && XCSignals::IsInstalled()); // changes nothing
    XCString text;
    for (int i = 0; i < 70; ++i) {
        text.Format(L"record %d.\n", i);
        XCLogManager::Get().GetOrAddChannel(L"faults").Write(1, text);
    }
    Fault(std::getenv("XC_FAULT"));
}

TEST(Signals, EachEndingLeavesARecordAndIsPassedOn)
{
    enum Record { Whole, Bare, None };
    for (auto const& [fault, title, kind] : Rows<std::string, Record>{
             {"null", "] unhandled fault 0xC0000005 (access violation, reading 0x0) on thread ", Whole},
             {"other thread", "] unhandled fault 0xC0000005 (access violation, reading 0x0) on thread ", Whole},
             {"abort", "] abort on thread ", Whole},
             {"noexcept", "] std::terminate: planned fault on thread ", Whole},
             {"terminate", "] std::terminate: no exception on thread ", Whole},
             {"divide", "] unhandled fault 0xC0000094 (division by zero) on thread ", Whole},
             {"trap", "] unhandled fault 0xC000001D (illegal instruction) on thread ", Whole},
             {"heap held", "fault 0xc0000005 on thread 0x", Bare},
             {"removed", "", None}})
    {
        SCOPED_TRACE(fault);
        ScratchFolder const folder("xc_faults");
        ::SetEnvironmentVariableW(L"XC_FAULT_LOG", folder.Path("error.log").AsWChar());
        ::SetEnvironmentVariableA("XC_FAULT", fault);
        ChildProcess child(ChildProcess::OfTest(L"DISABLED_FaultChild.Faults"));
        EXPECT_EQ(child.Wait(120000), kBefore);
        std::string const record = folder.Bytes("error.log");
        EXPECT_EQ(record.empty(), kind == None) << record;
        EXPECT_NE(record.find(title), std::string::npos) << record;
        EXPECT_NE(record.find(kind == Whole ? "test_debug.exe!" : kind == Bare ? "    0x" : ""), std::string::npos);
        if (kind != Whole) continue;
        EXPECT_NE(record.find("        record 6.\r\n"), std::string::npos) << record;
        EXPECT_NE(record.find("        record 69."), std::string::npos) << record;
        EXPECT_EQ(record.find("record 5."), std::string::npos) << "more than the last 64";
        EXPECT_EQ(record.find("[process", record.find("[process") + 1), std::string::npos) << "told twice\n" << record;
        if (fault != std::string("null")) continue;
        std::string const dump = "error.log." + std::to_string(child.Id()) + ".dmp";
        EXPECT_EQ(folder.Bytes(dump.c_str()).substr(0, 4), "MDMP");
    }
}

} // namespace
