// Processes, threads, consoles and call stacks.
#include "answers.h"
#include "programs.h"

#include <XelbrinCore/XCException.h>
#include <iterator>
#include <windows.h>

#include <dbghelp.h>
#include <softpub.h>
#include <wintrust.h>

namespace xc::evidence {

namespace {

constexpr int kControlSeen = 77;  // what the process that waits for Ctrl-Break ends with
constexpr int kOverflowSeen = 78; // what a process ends with that has seen its stack overflow

// Roles -------------------------------------------------------------------------------------------------------------

BOOL WINAPI EndByControl(DWORD kind)
{
    ::ExitProcess(kind == CTRL_BREAK_EVENT ? kControlSeen : 1);
}

int WaitForControl()
{
    if (!::SetConsoleCtrlHandler(&EndByControl, TRUE)) return 2;
    HANDLE const ready = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, L"XelbrinCoreEvidenceReady");
    if (!ready || !::SetEvent(ready)) return 3;
    ::Sleep(10000);
    return 4;
}

LONG WINAPI EndByFilter(EXCEPTION_POINTERS* exception)
{
    bool const overflow = exception->ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW;
    ::TerminateProcess(::GetCurrentProcess(), overflow ? kOverflowSeen : 5);
    return EXCEPTION_EXECUTE_HANDLER;
}

int Deeper(int volatile* above)
{
    int volatile here[256];
    here[0] = *above + 1;
    int const below = here[0] > 0 ? Deeper(here) : 0;
    return below + here[0];
}

int OverflowStack()
{
    ULONG reserve = 32768;
    ::SetThreadStackGuarantee(&reserve);
    ::SetUnhandledExceptionFilter(&EndByFilter);
    int volatile start = 0;
    return Deeper(&start);
}

int DamageHeap()
{
    ::SetUnhandledExceptionFilter(&EndByFilter);
    auto* const block = static_cast<unsigned char volatile*>(::HeapAlloc(::GetProcessHeap(), 0, 2000));
    for (int i = 1; i <= 16; ++i) block[-i] = 0x5A; // the system's own words before the block
    ::HeapFree(::GetProcessHeap(), 0, const_cast<unsigned char*>(block));
    return 6; // not noticed
}

// Questions ---------------------------------------------------------------------------------------------------------

Answer ControlBreak(Asker const& asker)
{
    HANDLE const ready = ::CreateEventW(nullptr, TRUE, FALSE, L"XelbrinCoreEvidenceReady");
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    PROCESS_INFORMATION process = {};
    std::wstring line = L"\"" + std::wstring(asker.program) + L"\" /role:control";
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NEW_PROCESS_GROUP, nullptr, nullptr,
                          &start, &process))
        return NotAsked(L"no process");
    DWORD code = 0;
    DWORD error = 0;
    if (::WaitForSingleObject(ready, 5000) == WAIT_OBJECT_0) {
        if (!::GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, process.dwProcessId)) error = ::GetLastError();
        if (error == 0) ::WaitForSingleObject(process.hProcess, 5000);
    }
    ::GetExitCodeProcess(process.hProcess, &code);
    ::TerminateProcess(process.hProcess, 9);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    ::CloseHandle(ready);
    if (error != 0) return NotAsked(Text(L"no event can be sent: error %lu", error));
    return Says(code == kControlSeen,
                code == kControlSeen ? L"its handler is called" : Text(L"it ends with %lu", code));
}

Answer StackOverflow(Asker const& asker)
{
    Outcome const outcome =
        RunProgram(L"\"" + asker.program + L"\" /role:overflow", asker.folder, asker.folder + L"\\overflow.txt", 20000);
    bool const seen = outcome.ended && outcome.exitCode == kOverflowSeen;
    return Says(seen, seen ? L"the filter is called" : L"it " + Ending(outcome));
}

Answer RuntimeHandlers(Asker const& /*asker*/)
{
    // That of the compiler's environment: the system's own libraries bring the other one into most processes.
#if defined(_UCRT)
    HMODULE const runtime = ::GetModuleHandleW(L"ucrtbase");
#else
    HMODULE const runtime = ::GetModuleHandleW(L"msvcrt");
#endif
    bool const both = ::GetProcAddress(runtime, "_set_invalid_parameter_handler") &&
                      ::GetProcAddress(runtime, "_set_purecall_handler");
    return Says(both, both ? L"there" : L"missing");
}

Answer HeapDamage(Asker const& asker)
{
    constexpr unsigned long kDamagedHeap = 0xC0000374;
    Outcome const outcome =
        RunProgram(L"\"" + asker.program + L"\" /role:damage", asker.folder, asker.folder + L"\\damage.txt", 20000);
    return Says(outcome.ended && outcome.exitCode == kDamagedHeap, L"it " + Ending(outcome));
}

// Each question has a process of its own, so that its limits stay with it.
Answer JobRefusesMemory(Asker const& /*asker*/)
{
    constexpr SIZE_T kLimit = 512u << 20;
    HANDLE const job = ::CreateJobObjectW(nullptr, nullptr);
    HANDLE const port = ::CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_PROCESS_MEMORY;
    limits.ProcessMemoryLimit = kLimit;
    JOBOBJECT_ASSOCIATE_COMPLETION_PORT told{nullptr, port};
    if (!::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits) ||
        !::SetInformationJobObject(job, JobObjectAssociateCompletionPortInformation, &told, sizeof told) ||
        !::AssignProcessToJobObject(job, ::GetCurrentProcess()))
        return NotAsked(Text(L"no job: error %lu", ::GetLastError()));
    bool const refused = !::VirtualAlloc(nullptr, 2 * kLimit, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    DWORD message = 0;
    ULONG_PTR key = 0;
    OVERLAPPED* data = nullptr;
    bool isTold = false;
    while (::GetQueuedCompletionStatus(port, &message, &key, &data, 100))
        isTold = isTold || message == JOB_OBJECT_MSG_PROCESS_MEMORY_LIMIT;
    return Says(refused && isTold, Text(L"%ls, %ls", refused ? L"refused" : L"given", isTold ? L"told" : L"not told"));
}

Answer UnsignedProgram(Asker const& asker)
{
    HMODULE const library = ::LoadLibraryExW(L"wintrust.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    auto const verify = library ? reinterpret_cast<LONG(WINAPI*)(HWND, GUID*, void*)>(
                                      reinterpret_cast<void*>(::GetProcAddress(library, "WinVerifyTrust")))
                                : nullptr;
    if (!verify) return NotAsked(L"no wintrust.dll");
    WINTRUST_FILE_INFO file{};
    file.cbStruct = sizeof file;
    file.pcwszFilePath = asker.program.AsWChar();
    WINTRUST_DATA asked{};
    asked.cbStruct = sizeof asked;
    asked.dwUIChoice = WTD_UI_NONE;
    asked.dwUnionChoice = WTD_CHOICE_FILE;
    asked.pFile = &file;
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    auto const error = static_cast<unsigned long>(verify(nullptr, &action, &asked));
    return Says(error == 0x800B0100, Text(L"error 0x%08lX", error)); // TRUST_E_NOSIGNATURE
}

Answer ConsoleOutput(Asker const& /*asker*/)
{
    HANDLE const console = ::CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                         nullptr, OPEN_EXISTING, 0, nullptr);
    if (console == INVALID_HANDLE_VALUE) return NotAsked(Text(L"no console: error %lu", ::GetLastError()));
    DWORD mode = 0;
    DWORD written = 0;
    BOOL const isConsole = ::GetConsoleMode(console, &mode);
    if (isConsole) ::WriteConsoleW(console, L"\U0001F600\r", 3, &written, nullptr);
    DWORD const type = ::GetFileType(console);
    ::CloseHandle(console);
    return Says(isConsole && written == 3 && type == FILE_TYPE_CHAR, Text(L"%lu units, file type %lu", written, type));
}

Answer NulIsNoConsole(Asker const& /*asker*/)
{
    HANDLE const nul = ::CreateFileW(L"NUL", GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD mode = 0;
    bool const isConsole = ::GetConsoleMode(nul, &mode) != 0;
    DWORD const type = ::GetFileType(nul);
    ::CloseHandle(nul);
    return Says(!isConsole && type == FILE_TYPE_CHAR,
                Text(L"file type %lu, %ls", type, isConsole ? L"a console" : L"no console"));
}

DWORD WINAPI WaitForEvent(void* event)
{
    return ::WaitForSingleObject(event, 10000);
}

Answer StartAddress(Asker const& /*asker*/)
{
    using Query = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    auto const query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll"), "NtQueryInformationThread")));
    if (!query) return NotAsked(L"no such call");
    HANDLE const end = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE const thread = ::CreateThread(nullptr, 0, &WaitForEvent, end, 0, nullptr);
    void* address = nullptr;
    LONG const status = query(thread, 9, &address, sizeof address, nullptr); // 9: the start address for Win32
    ::SetEvent(end);
    ::WaitForSingleObject(thread, 10000);
    ::CloseHandle(thread);
    ::CloseHandle(end);
    bool const own = address == reinterpret_cast<void*>(&WaitForEvent);
    return Says(own,
                own ? L"its function" : Text(L"another address, status 0x%08lX", static_cast<unsigned long>(status)));
}

Answer ThreadCycles(Asker const& /*asker*/)
{
    ULONG64 cycles = 0;
    BOOL const known = ::QueryThreadCycleTime(::GetCurrentThread(), &cycles);
    return Says(known && cycles > 0, known && cycles > 0 ? L"more than 0" : L"unknown");
}

Answer OpenHandles(Asker const& /*asker*/)
{
    DWORD count = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &count);
    return Says(count > 0, Text(L"%lu", count));
}

Answer GlobalMutex(Asker const& /*asker*/)
{
    HANDLE const mutex = ::CreateMutexW(nullptr, FALSE, L"Global\\XelbrinCoreEvidence");
    DWORD const error = mutex ? 0 : ::GetLastError();
    if (mutex) ::CloseHandle(mutex);
    return Code(error, {0});
}

Answer FramesOfStack(Asker const& /*asker*/)
{
    void* frames[62];
    USHORT const count = ::CaptureStackBackTrace(0, 62, frames, nullptr);
    DWORD outside = 0;
    for (USHORT i = 0; i < count; ++i) {
        HMODULE module = nullptr;
        constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
        if (!::GetModuleHandleExW(kFlags, static_cast<wchar_t const*>(frames[i]), &module)) ++outside;
    }
    return Says(count > 1 && outside == 0, Text(L"%lu of %u frames", outside, static_cast<unsigned int>(count)));
}

/// The name that the system's debugging help gives an address, or nothing.
XCString SystemNameOf(void const* address)
{
    if (!::SymInitializeW(::GetCurrentProcess(), nullptr, TRUE)) return {};
    alignas(SYMBOL_INFOW) unsigned char room[sizeof(SYMBOL_INFOW) + 256 * sizeof(wchar_t)] = {};
    auto* const symbol = reinterpret_cast<SYMBOL_INFOW*>(room);
    symbol->SizeOfStruct = sizeof(SYMBOL_INFOW);
    symbol->MaxNameLen = 255;
    DWORD64 distance = 0;
    bool const found = ::SymFromAddrW(::GetCurrentProcess(), reinterpret_cast<DWORD64>(address), &distance, symbol);
    XCString const name = found && distance < 4096 ? XCString(symbol->Name) : XCString();
    ::SymCleanup(::GetCurrentProcess());
    return name;
}

Answer NameByDwarf(Asker const& /*asker*/)
{
    XCString const name = SystemNameOf(reinterpret_cast<void const*>(&WaitForEvent));
    bool const found = name.Find(L"WaitForEvent") != XCString::npos;
    return Says(!found, found ? L"named" : L"not named");
}

Answer NameByExport(Asker const& /*asker*/)
{
    HMODULE const kernel = ::GetModuleHandleW(L"kernel32");
    XCString const name = SystemNameOf(reinterpret_cast<void const*>(::GetProcAddress(kernel, "FormatMessageW")));
    return Says(name.Find(L"FormatMessage") != XCString::npos, name.IsNull() ? XCString(L"not named") : name);
}

Answer StackOfLibrary(Asker const& /*asker*/)
{
    try {
        throw XCException(L"asked");
    } catch (XCException const& e) {
        XCString stack = e.Stack();
        return Says(!stack.IsNull(),
                    stack.IsNull() ? XCString(L"no stack") : stack.Replace(L"\n", L"; ").SubStr(0, 300));
    }
}

} // namespace

int PlayRole(XCString const& role)
{
    if (role == XCString(L"control")) return WaitForControl();
    if (role == XCString(L"overflow")) return OverflowStack();
    if (role == XCString(L"damage")) return DamageHeap();
    return -1;
}

std::vector<Question> ProcessQuestions()
{
    return {
        {L"processes", L"Ctrl-Break is sent to another process", L"its handler is called", &ControlBreak},
        {L"processes", L"A stack overflows", L"the filter is called", &StackOverflow},
        {L"processes", L"A block of the heap is damaged", L"it crashed (0xC0000374), no filter called", &HeapDamage},
        {L"processes", L"Handlers of the C runtime for refused parameters and pure calls", L"there", &RuntimeHandlers},
        {L"processes", L"A process takes more memory than its job allows", L"refused, told", &JobRefusesMemory},
        {L"processes", L"The signature of a program without one", L"error 0x800B0100", &UnsignedProgram},
        {L"processes", L"A mutex named Global\\ is made", L"succeeds", &GlobalMutex},
        {L"processes", L"Handles that this process has", L"more than 0", &OpenHandles},
        {L"console", L"A surrogate pair and a return are written to CONOUT$", L"3 units, file type 2", &ConsoleOutput},
        {L"console", L"NUL", L"file type 2, no console", &NulIsNoConsole},
        {L"threads", L"The start address of a thread", L"its function", &StartAddress},
        {L"threads", L"Processor cycles of a thread", L"more than 0", &ThreadCycles},
        {L"stacks", L"Frames of a captured stack that are in no module", L"0", &FramesOfStack},
        {L"stacks", L"dbghelp names a function by this compiler's debug data", L"not named", &NameByDwarf},
        {L"stacks", L"dbghelp names an exported function", L"its name", &NameByExport},
        {L"stacks", L"The stack of an exception of the library", L"not empty", &StackOfLibrary},
    };
}

} // namespace xc::evidence
