// The record of a fault, written by a thread that is not at fault.
//
// The thread of the fault takes its own call stack, which needs no memory, hands it over, and waits. The writer names
// the addresses, reads the notes of running calls and the last log records, and appends one record; then the minidump.
// Two things can go wrong with that: the writer waits for a lock that the thread of the fault holds, mostly the heap's,
// or it meets the damage itself. In both cases the record of bare addresses is written, from the memory of this file
// alone; the writer's own fault is not recorded.
//
// Cost: nothing until the fault, but one copy for each log record. Invariants: one fault is recorded at a time; a
// thread's second fault while its first is recorded passes through, so that no fault waits for itself.
//
// A thread in the process, and not another program that looks in from outside: nothing has to be installed or started,
// and a service without rights over other processes can do it. The price is that a process whose writer cannot run at all
// gets the bare record alone.
#include <XelbrinCore/XCSignals.h>

#include "debug/LastRecords.h"
#include "errors/CoreError.h"
#include "errors/ErrorLog.h"
#include "errors/ExceptionText.h"
#include "errors/RunningCalls.h"
#include "errors/Sealed.h"
#include "text/Utf8.h"
#include "win32/BareFile.h"
#include "win32/FaultHooks.h"
#include "win32/HelperThread.h"
#include "win32/Module.h"
#include "win32/Process.h"
#include "win32/StackTrace.h"
#include "win32/UniqueHandle.h"

#include <XelbrinCore/XCLog.h>

#include <atomic>
#include <charconv>

namespace xc::debug {

namespace {

using win32::Fault;

constexpr DWORD kWriterMs = 10000;
constexpr DWORD kMinidumpMs = 60000;  // some systems read the symbols of every module for it
constexpr std::size_t kFrames = 48;   // deep recursion shows its beginning, and still fits into the static text
constexpr std::size_t kBareCalls = 4; // calls of modules within calls of modules are rarely deeper

wchar_t const* WordsOf(unsigned long code) noexcept
{
    switch (code) {
    case EXCEPTION_ACCESS_VIOLATION: return L"access violation";
    case EXCEPTION_STACK_OVERFLOW: return L"stack overflow";
    case EXCEPTION_INT_DIVIDE_BY_ZERO: return L"division by zero";
    case EXCEPTION_ILLEGAL_INSTRUCTION: return L"illegal instruction";
    case EXCEPTION_PRIV_INSTRUCTION: return L"privileged instruction";
    case EXCEPTION_IN_PAGE_ERROR: return L"a page that cannot be read in";
    case EXCEPTION_DATATYPE_MISALIGNMENT: return L"misaligned access";
    case EXCEPTION_BREAKPOINT: return L"breakpoint";
    case STATUS_HEAP_CORRUPTION: return L"damaged heap";
    default: return L"structured exception";
    }
}

/// One fault, and the one who writes about it. Never destroyed: a fault may come at any moment.
class Recorder {
public:
    static Recorder& Get()
    {
        static Recorder& recorder = *new Recorder;
        return recorder;
    }
    [[nodiscard]] bool Start(XCSignalOptions const& options);
    void Stop() noexcept { XCLogManager::Get().RemoveSubscriber(m_last.GetPtr()); }

    void Record(Fault const& fault) noexcept;

private:
    Recorder() : m_last(new LastRecords) {}
    static unsigned int __stdcall Body(void* self);

    bool Begin() noexcept;
    [[nodiscard]] XCString Title() const;
    [[nodiscard]] XCString Stack() const;
    void Write() noexcept;
    void Dump() noexcept;
    void WriteBare() noexcept;

    bool m_minidump = true;
    win32::BareFile m_bareLog; ///< where the error log was at the installation
    XCSmartPtr<LastRecords> m_last;
    win32::UniqueKernelObject m_wake{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    win32::UniqueKernelObject m_done{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    win32::UniqueKernelObject m_dumped{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    win32::UniqueKernelObject m_writer;
    std::atomic<unsigned long> m_writerId{0};
    std::atomic<unsigned long> m_owner{0}; ///< the thread whose fault is recorded; 0: none

    // Of the fault that is recorded:
    Fault m_fault{};
    XCString m_exception; ///< what std::terminate found
    void const* m_frames[kFrames]{};
    std::size_t m_count = 0;
};

bool Recorder::Start(XCSignalOptions const& options)
{
    m_minidump = options.minidump;
    // All that needs the loader or the heap happens now: at the fault either may be what is broken.
    m_bareLog.Prepare(win32::SystemPath(errors::ErrorLogPath().View()));
    if (m_minidump) win32::PrepareMinidump();
    if (!m_writer) { // one writer for all installations: it never ends
        unsigned int id = 0;
        m_writer = win32::StartHelperThread(Body, this, &id);
        m_writerId = id;
    }
    if (!m_writer || !m_wake || !m_done || !m_dumped) return false;
    // Only now: a subscriber that was added for an installation that failed would copy records for nobody.
    m_last->SetDesiredLevel(options.logLevel);
    XCLogManager::Get().AddSubscriber(XCSmartPtr<XCLogSubscriberI>(m_last.GetPtr()));
    return true;
}

unsigned int __stdcall Recorder::Body(void* self)
{
    auto& recorder = *static_cast<Recorder*>(self);
    for (;;) {
        ::WaitForSingleObject(recorder.m_wake.Get(), INFINITE);
        recorder.Write();
        ::SetEvent(recorder.m_done.Get()); // two events: a dump that hangs must not make the text count as missing
        recorder.Dump();
        ::SetEvent(recorder.m_dumped.Get());
    }
}

/// Waits for the turn. @return false when the calling thread must not wait: for itself, or any longer.
bool Recorder::Begin() noexcept
{
    unsigned long const self = win32::ThreadId();
    for (DWORD waited = 0; waited < kWriterMs + kMinidumpMs; waited += 10) {
        unsigned long nobody = 0;
        if (m_owner.compare_exchange_strong(nobody, self)) return true;
        if (nobody == self) return false;
        ::Sleep(10);
    }
    return false;
}

void Recorder::Record(Fault const& fault) noexcept
{
    if (win32::ThreadId() == m_writerId) { // the damage has reached it: the thread that waits writes what it can
        ::Sleep(INFINITE);
    }
    if (!Begin()) return;
    m_fault = fault;
    // Here and not by the writer: only the thread itself knows the bounds of its stack without a question to the system.
    m_count = fault.context ? win32::CaptureStackOf(fault.context, m_frames, kFrames)
                            : win32::CaptureStack(m_frames, kFrames, 2);
    // The exception is that of this thread, and so is asked here; without one a rethrow would end in std::terminate again.
    if (fault.kind == Fault::Kind::Terminate)
        errors::SayIfPossible(
            [this] { m_exception = std::current_exception() ? errors::TextOfException() : XCString(L"no exception"); });
    ::ResetEvent(m_done.Get());
    ::ResetEvent(m_dumped.Get());
    ::SetEvent(m_wake.Get());
    // The text first, since it is what people read; a minidump that takes too long costs nothing of it.
    if (::WaitForSingleObject(m_done.Get(), kWriterMs) == WAIT_OBJECT_0)
        ::WaitForSingleObject(m_dumped.Get(), kMinidumpMs);
    else
        WriteBare();
    m_owner = 0;
}

XCString Recorder::Title() const
{
    XCString title;
    switch (m_fault.kind) {
    case Fault::Kind::Unhandled:
        title.Format(L"unhandled fault 0x%08lX (%ls", m_fault.code, WordsOf(m_fault.code));
        if (m_fault.isAccess) {
            XCString target;
            target.Format(L", %ls 0x%llX", m_fault.isWrite ? L"writing" : L"reading",
                          static_cast<unsigned long long>(m_fault.target));
            title += target;
        }
        title += L")";
        break;
    case Fault::Kind::Terminate: title = L"std::terminate: " + m_exception; break;
    case Fault::Kind::Abort: title = L"abort"; break;
    case Fault::Kind::InvalidParameter: title = L"the runtime refuses a parameter"; break;
    case Fault::Kind::PureCall: title = L"call of a pure virtual function"; break;
    }
    XCString thread;
    thread.Format(L" on thread %lu", m_owner.load());
    return title + thread;
}

XCString Recorder::Stack() const
{
    std::wstring text;
    XCString const calls = errors::RunningCallsText(m_owner);
    if (!calls.IsNull()) text.append(calls.View()).append(L"\n");
    for (std::size_t i = 0; i < m_count; ++i) {
        std::wstring const name = win32::DescribeAddress(m_frames[i], i > 0 || !m_fault.context);
        if (!name.empty()) text.append(name).append(L"\n");
    }
    return XCString(text + L"last log records:");
}

void Recorder::Write() noexcept
{
    errors::SayIfPossible([this] {
        std::wstring last;
        if (!m_last->Read(last)) last = L"\n    unknown: the log is at work";
        (void)errors::AppendToErrorLog(Title(), Stack() + XCString(last));
    });
}

void Recorder::Dump() noexcept
{
    // A refused parameter fails a call, and the program goes on: it may happen a thousand times.
    bool const ends = m_fault.kind != Fault::Kind::InvalidParameter;
    if (!m_minidump || !ends) return;
    errors::SayIfPossible([this] {
        win32::SystemPath const path(errors::ErrorLogPath().View());
        if (path.IsEmpty()) return; // an error log that is turned off
        std::wstring const name = path.Text() + L"." + std::to_wstring(win32::ProcessId()) + L".dmp";
        (void)win32::WriteMinidump(win32::SystemPath(name), m_owner, m_fault.pointers);
    });
}

/// The calls into modules, and addresses as base of the module and offset: no memory, no lock, no names of functions.
void Recorder::WriteBare() noexcept
{
    // Static: the stack that is left may be small.
    static errors::CallNote note;
    static char text[kFrames * 48 + kBareCalls * text::MaxUtf8Bytes(sizeof note / sizeof(wchar_t)) + 200];
    char* at = text;
    auto const word = [&at](std::string_view part) { at = std::copy(part.begin(), part.end(), at); };
    auto const hex = [&at](std::uintptr_t value) { at = std::to_chars(at, at + 20, value, 16).ptr; };
    auto const wide = [&at](std::wstring_view part) { at += text::EncodeUtf8(at, part); };
    word("fault 0x"), hex(m_fault.code), word(" on thread 0x"), hex(m_owner), word(", without names:\r\n");
    std::uint64_t order = UINT64_MAX;
    for (std::size_t i = 0; i < kBareCalls && errors::ReadInnermostCall(m_owner, order, note); ++i) {
        order = note.order;
        word("    in "), wide(note.operation), word(" of <"), wide(note.name), word("> ("), wide(note.path);
        word(")\r\n");
    }
    for (std::size_t i = 0; i < m_count; ++i) {
        MEMORY_BASIC_INFORMATION part{};
        ::VirtualQuery(m_frames[i], &part, sizeof part);
        auto const base = reinterpret_cast<std::uintptr_t>(part.AllocationBase);
        word("    0x"), hex(base), word("+0x"), hex(reinterpret_cast<std::uintptr_t>(m_frames[i]) - base), word("\r\n");
    }
    m_bareLog.Append({text, static_cast<std::size_t>(at - text)});
}

std::atomic<bool> g_installed{false};

} // namespace

} // namespace xc::debug

XCErrorID XCSignals::Install(XCSignalOptions const& options)
{
    using xc::debug::Recorder;
    if (xc::debug::g_installed.exchange(true)) return XCErrorID::Success;
    if (!Recorder::Get().Start(options)) {
        xc::debug::g_installed = false;
        return XCSmartPtr<XCWinLastError>(new XCWinLastError);
    }
    xc::win32::InstallFaultHooks(xc::win32::FaultUse::Record,
                                 [](xc::win32::Fault const& fault) noexcept { Recorder::Get().Record(fault); });
    return XCErrorID::Success;
}

void XCSignals::Uninstall() noexcept
{
    if (!xc::debug::g_installed.exchange(false)) return;
    xc::win32::RemoveFaultHooks(xc::win32::FaultUse::Record);
    xc::debug::Recorder::Get().Stop();
}

bool XCSignals::IsInstalled() noexcept
{
    return xc::debug::g_installed;
}
