// Calls of the system that fail, or write less than asked: a clear error, nothing lost, no handle left open, and the
// next try goes well. Every function in the table fails at every place where a scenario calls it.
#include "faults/config_scenarios.h"
#include "host/host_tools.h"
#include "sync/import_patch.h"

#include <bcrypt.h>
#include <process.h>

namespace {

using faults::Attempt;
using faults::Scenario;

// The functions -------------------------------------------------------------------------------------------------------

struct Row {
    char const* name;
    void* stub;
    long faults = 0;
};

Row const* g_row = nullptr; ///< the one whose calls are counted

bool FailsIn(Row const* row) noexcept
{
    return g_row == row && row && faults::Fails();
}

/// What stands in the place of the n-th row's function.
template <int N, class Function>
struct Stub;
template <int N, class Result, class... Arguments>
struct Stub<N, Result (*)(Arguments...)> {
    static inline Row* row = nullptr;
    static inline Result (*original)(Arguments...) = nullptr;
    static inline Result failure{};
    static inline DWORD error = 0;

    static Result Call(Arguments... arguments)
    {
        if (!FailsIn(row)) return original(arguments...);
        ::SetLastError(error);
        return failure;
    }
};

std::deque<Row> g_rows;

template <int N, class Function, class Failure>
void Add(char const* name, Function original, Failure failure, DWORD error)
{
    using S = Stub<N, Function>;
    S::original = original;
    if constexpr (std::is_pointer_v<decltype(S::failure)>)
        S::failure = reinterpret_cast<decltype(S::failure)>(static_cast<INT_PTR>(failure));
    else
        S::failure = static_cast<decltype(S::failure)>(failure);
    S::error = error;
    S::row = &g_rows.emplace_back(name, reinterpret_cast<void*>(&S::Call));
}

/// Writes `N` bytes of what it is given and says so.
template <int N>
BOOL WriteLess(HANDLE file, void const* bytes, DWORD count, DWORD* written, OVERLAPPED* overlapped)
{
    static Row const* const row = &*std::find_if(
        g_rows.begin(), g_rows.end(), [](Row const& r) { return r.stub == reinterpret_cast<void*>(&WriteLess<N>); });
    return ::WriteFile(file, bytes, FailsIn(row) ? std::min<DWORD>(count, N) : count, written, overlapped);
}

#define XC_FAULT(function, failure, error) Add<__COUNTER__>(#function, &::function, failure, error)

void FillTable()
{
    XC_FAULT(CreateFileW, -1, ERROR_ACCESS_DENIED);
    XC_FAULT(ReadFile, FALSE, ERROR_CRC);
    XC_FAULT(WriteFile, FALSE, ERROR_DISK_FULL);
    XC_FAULT(FlushFileBuffers, FALSE, ERROR_IO_DEVICE);
    XC_FAULT(MoveFileExW, FALSE, ERROR_SHARING_VIOLATION);
    XC_FAULT(GetFileSizeEx, FALSE, ERROR_IO_DEVICE);
    XC_FAULT(GetFullPathNameW, 0, ERROR_NOT_ENOUGH_MEMORY);
    XC_FAULT(GetFileAttributesW, INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND);
    XC_FAULT(GetFileSecurityW, FALSE, ERROR_ACCESS_DENIED);
    XC_FAULT(GetFileInformationByHandle, FALSE, ERROR_INVALID_FUNCTION);
    XC_FAULT(CreateFileMappingW, 0, ERROR_NOT_ENOUGH_MEMORY);
    XC_FAULT(MapViewOfFile, 0, ERROR_NOT_ENOUGH_MEMORY);
    XC_FAULT(CreateEventW, 0, ERROR_NOT_ENOUGH_MEMORY);
    XC_FAULT(CreateMutexW, 0, ERROR_ACCESS_DENIED);
    XC_FAULT(_beginthreadex, 0, ERROR_NOT_ENOUGH_MEMORY);
    XC_FAULT(LoadLibraryExW, 0, ERROR_NOT_ENOUGH_MEMORY);
    XC_FAULT(GetProcAddress, 0, ERROR_PROC_NOT_FOUND);
    XC_FAULT(FindFirstFileW, -1, ERROR_ACCESS_DENIED);
    XC_FAULT(RegOpenKeyExW, ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED);
    XC_FAULT(GetModuleFileNameW, 0, ERROR_NOT_ENOUGH_MEMORY);
    XC_FAULT(GetEnvironmentVariableW, 0, ERROR_ENVVAR_NOT_FOUND);
    XC_FAULT(FormatMessageW, 0, ERROR_MR_MID_NOT_FOUND);
    XC_FAULT(BCryptOpenAlgorithmProvider, STATUS_NO_MEMORY, 0);
    XC_FAULT(BCryptGenRandom, STATUS_NO_MEMORY, 0);
    XC_FAULT(BCryptDeriveKeyPBKDF2, STATUS_NO_MEMORY, 0);
    XC_FAULT(BCryptGenerateSymmetricKey, STATUS_NO_MEMORY, 0);
    XC_FAULT(BCryptEncrypt, STATUS_NO_MEMORY, 0);
    XC_FAULT(BCryptDecrypt, STATUS_NO_MEMORY, 0);
    g_rows.emplace_back("WriteFile", reinterpret_cast<void*>(&WriteLess<0>));
    g_rows.emplace_back("WriteFile", reinterpret_cast<void*>(&WriteLess<3>));
}

// The scenarios ---------------------------------------------------------------------------------------------------------

/// A text comes out in any case.
void SystemText()
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    XCErrorID const error(XCSmartPtr<XCWinLastError>(new XCWinLastError));
    XCString text;
    EXPECT_TRUE(Attempt([&] { text = error.AsString(); }));
    EXPECT_FALSE(text.IsNull());
}

/// Whatever failed in between: when the file is closed, every record is there once.
void LogFile()
{
    ScratchFolder const folder;
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    XCErrorID opened;
    Attempt([&] {
        opened = log->Open(folder.Path("a.log"));
        log->PutString(L"first\n");
        log->PutString(L"second\n");
        log->Flush();
    });
    std::string expected = "first\r\nsecond\r\nthird\r\n";
    if (opened.Bad()) {
        EXPECT_FALSE(opened.AsString().IsNull());
        EXPECT_TRUE(log->Open(folder.Path("a.log")).Good());
        expected = "third\r\n";
    }
    log->PutString(L"third\n");
    log->Close();
    EXPECT_EQ(folder.Bytes("a.log"), expected);
}

/// The same over two files. A rename that is refused lets the first file grow.
void RotatingLog()
{
    ScratchFolder const folder;
    auto* const log = new XCRotatingFileLogSubscriber(folder.Path("a.log"), {.maxBytes = 8, .keepFiles = 1});
    XCSmartPtr<XCLogSubscriberI> const keep(log);
    EXPECT_TRUE(Attempt([&] {
        log->OnFlush(1, L"first\n");
        log->OnFlush(1, L"second\n");
    }));
    log->Close();
    EXPECT_EQ(folder.Bytes("a.log.1") + folder.Bytes("a.log"), "first\nsecond\n");
}

void ErrorLog()
{
    ScratchFolder const folder;
    XCString const before = XCException::GetErrorLogPath();
    XCException::SetErrorLogPath(folder.Path("errors.log"));
    XCException const failure(L"a failure");
    bool written = false;
    EXPECT_TRUE(Attempt([&] { written = failure.LogInErrorFile(XCException::LogWithoutStack); }));
    if (!written) written = failure.LogInErrorFile(XCException::LogWithoutStack);
    EXPECT_TRUE(written);
    EXPECT_NE(folder.Bytes("errors.log").find("a failure"), std::string::npos);
    XCException::SetErrorLogPath(before);
}

void Locks()
{
    auto const useAll = [] {
        XCMutex const mutex(L"Local\\xc_faults_mutex");
        XCEventSemaphore event(L"Local\\xc_faults_event", true);
        XCCountingSemaphore const semaphore(1, 2);
        XCSynchronizedCriticalSection const section;
        XCBaton const baton;
        XCThreadInfo const info(::GetCurrentThread(), ::GetCurrentThreadId());
        (void)event.posted();
    };
    if (!Attempt(useAll)) useAll();
}

void Threads()
{
    std::atomic<int> runs{0};
    XCSmartPtr<XCThread> const thread(new XCThread(XCMakeCallback([&] { ++runs; })));
    XCErrorID started;
    bool const done = Attempt([&] {
        started = thread->Start();
        thread->Join();
    });
    if (!done || started.Bad()) {
        EXPECT_FALSE(thread->IsStarted() || thread->Exists());
        EXPECT_TRUE(thread->Start().Good());
        thread->Join();
    }
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(thread->Exists());
}

void Cipher()
{
    XCString text(L"a text to hide");
    bool hidden = false;
    Attempt([&] { hidden = text.Encrypt(L"seed"); });
    EXPECT_EQ(hidden, text.IsEncrypted());
    g_row = nullptr;
    EXPECT_TRUE(hidden ? text.Decrypt(L"seed") : !text.Decrypt(L"seed"));
    EXPECT_EQ(text, XCString(L"a text to hide"));
}

void Decipher()
{
    static XCString const secret = [] {
        XCString text(L"a text to hide");
        (void)text.Encrypt(L"seed");
        return text;
    }();
    XCString text = secret;
    bool shown = false;
    Attempt([&] { shown = text.Decrypt(L"seed"); });
    EXPECT_EQ(text, shown ? XCString(L"a text to hide") : secret);
}

using Ear = Listener;

/// An application with a configuration file and a console that goes to a file.
void Application()
{
    ScratchFolder const folder;
    folder.Write("a.ini", "[s]\r\nkey=value\r\n");
    std::size_t const subscribers = XCLogManager::Get().GetSubscriberCount();
    auto const session = [&] {
        XCSmartPtr<Ear> const ear(new Ear);
        XCApplication const application(L"app.exe /noconsole \"/config:" + folder.Path("a.ini") +
                                            L"\" \"/consoletofile:" + folder.Path("out.log") + L"\"",
                                        ear, false);
        XCSmartPtr<XCConfigFile> const config = application.GetConfigFile();
        // What went wrong has been said.
        EXPECT_TRUE(!config.IsNull() || !ear->heard.IsNull());
        return config.IsNull() ? XCString() : config->GetString(L"s", L"key", L"");
    };
    XCString value;
    Attempt([&] { value = session(); });
    EXPECT_EQ(XCApplication::GetApp(), nullptr);
    EXPECT_EQ(XCLogManager::Get().GetSubscriberCount(), subscribers);
    g_row = nullptr;
    EXPECT_EQ(session(), XCString(L"value"));
}

/// All or nothing: the two subscribers and the file, or the console as it was.
void ConsoleToFile()
{
    ScratchFolder const folder;
    XCSmartPtr<Ear> const ear(new Ear);
    XCApplication application(L"app.exe /noconsole", ear, true);
    auto const start = [&] { return application.StartLoggingToFile(folder.Path("out.log"), true).Good(); };
    bool started = false;
    Attempt([&] { started = start(); });
    EXPECT_EQ(XCLogManager::Get().GetSubscriberCount(), started ? 3u : 1u);
    EXPECT_TRUE(start());
    EXPECT_EQ(XCLogManager::Get().GetSubscriberCount(), 3u);
}

/// A host with modules: what cannot be loaded is named, the others run, and all is unloaded at the end.
void HostWith(std::initializer_list<char const*> roles, XCString const& says)
{
    ModuleFolder const folder(roles);
    struct Result {
        int code = -1;
        XCString said;
    };
    auto const session = [&](Result& result) {
        XCSmartPtr<Ear> const ear(new Ear);
        XCApplicationWithPlugIns host(L"host.exe /noconsole \"/osxpath:" + folder.Path() + L"\"", ear, false);
        result.code = host.LoadAndRun();
        result.said = ear->heard;
    };
    auto const expectNoneLoaded = [&] {
        for (char const* const role : roles)
            EXPECT_EQ(::GetModuleHandleW((folder.path / (std::string(role) + ".osx")).c_str()), nullptr) << role;
        EXPECT_TRUE(XCThread::GetAllThreadsInfo().empty());
    };
    Result faulty;
    bool const ended = Attempt([&] { session(faulty); });
    EXPECT_TRUE(!ended || !faulty.said.IsNull());
    g_row = nullptr;
    expectNoneLoaded();
    Result whole;
    session(whole);
    EXPECT_EQ(whole.code, 0);
    EXPECT_NE(whole.said.Find(says), XCString::npos) << whole.said.AsUTF8();
    expectNoneLoaded();
}

void Host()
{
    HostWith({"reader", "filter"}, L"Filter at work");
}

/// One is a container that is refused after its children were added.
void HostThatRefuses()
{
    HostWith({"reader", "filter", "container_refuses"}, L"no licence to run");
}

/// A thread at work while its host has no memory: it is asked to exit and waited for, or was never started.
void ThreadedHost()
{
    std::atomic<int> started{0};
    std::atomic<int> ended{0};
    auto const session = [&] {
        XCSmartPtr<Ear> const ear(new Ear);
        XCApplicationWithPlugIns host(L"host /noconsole", ear, false);
        bool const loaded =
            host.LoadPlugIn(new OwnRunner<XCThreadedRunPlugIn>(80,
                                                               [&](auto& self) {
                                                                   ++started;
                                                                   if (self.WaitForExit(20000)) ++ended;
                                                               }))
                .Good() &&
            host.LoadPlugIn(new OwnRunner<XCRunPlugIn>(81, [&](auto&) { host.RequestExit(false); })).Good();
        return loaded ? host.Run() : -1;
    };
    int code = -1;
    bool const came = Attempt([&] { code = session(); });
    XCApplication::ClearExitRequest();
    EXPECT_EQ(All(started, ended), All(came && code == 0 ? 1 : 0, started));
    EXPECT_TRUE(XCThread::GetAllThreadsInfo().empty());
    EXPECT_EQ(XCApplication::GetApp(), nullptr);
}

constexpr struct {
    char const* name;
    void (*run)();
} kScenarios[] = {
    {"config load", faults::LoadConfig},
    {"config save", faults::SaveConfig},
    {"log file", LogFile},
    {"rotating log", RotatingLog},
    {"error log", ErrorLog},
    {"locks", Locks},
    {"threads", Threads},
    {"encrypt", Cipher},
    {"decrypt", Decipher},
    {"system text", SystemText},
    {"application", Application},
    {"host", Host},
};

TEST(FailingSystem, SaysSoAndLosesNothing)
{
    FillTable();
    faults::g_heapFails = false;
    faults::g_countsHandles = true;
    for (auto const& entry : kScenarios) {
        long count = 0;
        for (Row& row : g_rows) {
            SCOPED_TRACE(row.name);
            sync_test::ImportPatch const patch(row.name, row.stub);
            Scenario const scenario{entry.name, [&] {
                                        g_row = &row;
                                        entry.run();
                                        g_row = nullptr;
                                    }};
            long reached = faults::FailEach(scenario, faults::Mode::Once);
            if (reached != 0) reached += faults::FailEach(scenario, faults::Mode::Lasting);
            row.faults += reached;
            count += reached;
        }
        std::printf("%-28s %4ld faults\n", entry.name, count);
    }
    for (Row const& row : g_rows) EXPECT_GT(row.faults, 0) << row.name << " is called by no scenario";
    faults::g_countsHandles = false;
    faults::g_heapFails = true;
}

TEST(FailingMemory, Application)
{
    faults::g_countsHandles = true;
    faults::FailEverywhere(std::initializer_list<Scenario>{{"application", Application},
                                                           {"console to file", ConsoleToFile},
                                                           {"host, one refused", HostThatRefuses},
                                                           {"threaded host", ThreadedHost}});
    faults::g_countsHandles = false;
}

/// The system has threads for the first `n` that ask.
int g_threadsLeft = 0;
std::uintptr_t NoMoreThreads(void* security, unsigned int stack, unsigned int(__stdcall* body)(void*), void* argument,
                             unsigned int flags, unsigned int* id)
{
    return g_threadsLeft-- > 0 ? ::_beginthreadex(security, stack, body, argument, flags, id) : 0;
}

TEST(FailingSystem, APlugInWhoseThreadCannotBeStartedHasFailed)
{
    XCSmartPtr<Ear> const ear(new Ear);
    XCApplicationWithPlugIns host(L"host /noconsole", ear, false);
    int ran = 0;
    ASSERT_TRUE(host.LoadPlugIn(new OwnRunner<XCThreadedRunPlugIn>(80, [&](auto&) { ran += 1; })).Good());
    ASSERT_TRUE(host.LoadPlugIn(new OwnRunner<XCRunPlugIn>(81, [&](auto&) { ran += 10; })).Good());
    {
        sync_test::ImportPatch const patch("_beginthreadex", &NoMoreThreads);
        g_threadsLeft = 1; // of the host itself
        EXPECT_EQ(host.Run(), 2);
    }
    EXPECT_EQ(ran, 10);
    EXPECT_NE(ear->heard.Find(L"ERR> ***<Own>: "), XCString::npos) << ear->heard.AsUTF8();
    EXPECT_EQ(host.Run(), 2); // it is still ready
    EXPECT_EQ(ran, 11);
}

} // namespace
