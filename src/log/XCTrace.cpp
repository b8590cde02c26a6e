// The trace of the process: settings, filter, file and the text of its records.
//
// The calls test two masks, packed into one atomic word, before anything else: without a chosen subject the trace costs
// one relaxed load. The word starts as all ones, so that the first call of the process comes here and reads the
// environment. Everything else runs under one section, from the look at the settings to the write: a trace explains the
// order of events, and each record stands in the file before its call returns. A setting made by a call is marked
// before the environment is read, so that it wins whichever comes first. Invariants: bit 0 of the level is always set;
// Masks is 0 exactly when no subject is chosen. A file that cannot be opened is tried again with later records.
#include <XelbrinCore/XCSync.h>
#include <XelbrinCore/XCTrace.h>

#include "log/ApplicationTraceLevel.h"
#include "log/AtExit.h"
#include "log/Digits.h"
#include "log/RecordFile.h"
#include "log/Tell.h"
#include "log/TraceSettings.h"
#include "text/HexText.h"
#include "text/LineText.h"
#include "text/PrintFormat.h"
#include "text/Utf8.h"
#include "win32/Clock.h"
#include "win32/FileSystem.h"
#include "win32/Process.h"

#include <cstdarg>
#include <exception>
#include <mutex>
#include <optional>

std::atomic<std::uint64_t> XCTrace::Masks{~std::uint64_t{0}};

namespace xc::log {

namespace {

// Messages about the trace itself; on until a program that owns its console turns them off.
std::atomic<unsigned int> g_applicationTraceLevel{1};

constexpr int kDefaultDelim = 9;
constexpr std::size_t kHexRow = 16;

bool IsSeparator(wchar_t unit) noexcept
{
    return unit == L'\\' || unit == L'/';
}

/// A message on the console of the process; not a record of any log.
void TellConsole(std::wstring_view text) noexcept
{
    if (ApplicationTraceLevel() != 0) TellOutput(text);
}

} // namespace

unsigned int ApplicationTraceLevel() noexcept
{
    return g_applicationTraceLevel.load(std::memory_order_relaxed);
}

void SetApplicationTraceLevel(unsigned int level) noexcept
{
    g_applicationTraceLevel.store(level, std::memory_order_relaxed);
}

/// The settings and the file of the trace. Every member is used under the section.
class TraceState {
public:
    /// Never destroyed: the trace may be called by the last destructor of the process.
    static TraceState& Get()
    {
        static TraceState* const state = new TraceState;
        return *state;
    }

    XCCriticalSection section;

    /// Reads the environment, once, or again when forced. What is marked as set is left alone.
    void InitTracing(bool force = false);
    /// A setting made by a call: marked before the environment is read, so that the call wins.
    template <class Set>
    bool Configure(bool TraceState::*done, Set const& set)
    {
        std::lock_guard const hold(section);
        // In this order: the mark keeps the environment from overwriting what the call sets next.
        this->*done = true;
        InitTracing();
        bool const accepted = set();
        Publish();
        return accepted;
    }
    bool SetLevel(int level);
    bool SetDelim(int delim);
    bool SetFolder(XCString const& folder);
    /// The folder chosen by a call, known before the environment opens the file in another one.
    bool ChooseFolder(XCString const& folder)
    {
        // Configure enters the section again; its owner may.
        std::lock_guard const hold(section);
        CurrTraceFolderName = FolderOf(folder.View());
        return Configure(&TraceState::InitTraceFolderDone, [&] { return SetFolder(folder); });
    }
    bool SetSubjects(std::wstring_view list);

    bool InitTraceLevelDone = false;
    bool InitTraceDelimDone = false;
    bool InitTraceFolderDone = false;
    bool InitTraceSubjectsDone = false;

    // Opened by the first record that is wanted; after a failure OpenWhenDue keeps a pace between two attempts.
    bool IsEnabled() noexcept { return CurrTraceSubject != 0 && m_file.OpenWhenDue(); }
    bool IsWanted(int level, int subject) noexcept
    {
        return (CurrTraceLevel & level) != 0 && (CurrTraceSubject & subject) != 0 && IsEnabled();
    }
    /// The header, what `body(bytes)` appends, the end of the line; written at once.
    template <class Body>
    void Write(int level, int subject, wchar_t const* origin, Body const& body);
    Failures const& GetFailures() const noexcept { return m_file.GetFailures(); }

private:
    TraceState() = default;
    void Publish() const noexcept;
    bool OpenTraceFile();
    void CloseTraceFile() noexcept { m_file.Close(); }
    void CloseForExit() noexcept
    {
        std::lock_guard const hold(section);
        m_file.CloseForExit();
    }
    static win32::SystemPath FolderOf(std::wstring_view name);
    bool BuildFolderName(win32::SystemPath& folder) const;
    void AppendHeader(std::string& bytes, int level, int subject, wchar_t const* origin) const;
    void AppendDelim(std::string& bytes) const
    {
        auto const delim = static_cast<wchar_t>(CurrTraceDelim);
        text::AppendUtf8(bytes, {&delim, 1});
    }

    bool InitTracingDone = false;
    int CurrTraceLevel = 1;
    int CurrTraceSubject = 0;
    int CurrTraceDelim = kDefaultDelim;
    win32::SystemPath CurrTraceFolderName; ///< empty: the folder for temporary files
    RecordFile m_file;
    // Last, so that the end of the process finds a state that is whole.
    AtExit m_atExit{[](void* owner) { static_cast<TraceState*>(owner)->CloseForExit(); }, this};
};

namespace {

std::optional<XCString> Setting(wchar_t const* variable)
{
    std::optional<std::wstring> const value = win32::ReadEnvironment(variable);
    return value ? std::optional(XCString(*value)) : std::nullopt;
}

} // namespace

void TraceState::InitTracing(bool force)
{
    if (InitTracingDone && !force) return;
    InitTracingDone = true;
    // Subjects come last: they open the file, and by then its folder, its level and its delimiter are known.
    if (auto const level = Setting(L"XC_TRACE_LEVEL"); level && !InitTraceLevelDone) SetLevel(level->AsInt());
    if (auto const delim = Setting(L"XC_TRACE_DELIM"); delim && !InitTraceDelimDone) SetDelim(delim->AsInt());
    if (auto const folder = Setting(L"XC_TRACE_FOLDER"); folder && !InitTraceFolderDone) SetFolder(*folder);
    if (auto const subjects = Setting(L"XC_TRACE"); !InitTraceSubjectsDone)
        SetSubjects(subjects ? subjects->View() : std::wstring_view());
    Publish();
}

bool TraceState::SetLevel(int level)
{
    // Errors are always wanted: whoever chose a subject chose to hear what went wrong in it.
    CurrTraceLevel = level | 1;
    return true;
}

bool TraceState::SetDelim(int delim)
{
    bool const legal = delim >= 1 && delim < 256;
    if (!legal) TellConsole(L"Illegal trace delimiter specified; trace delimiter has been reset to default");
    // One unit that UTF-8 writes as one or two bytes; 0 would end the line for most readers of the file.
    CurrTraceDelim = legal ? delim : kDefaultDelim;
    return legal;
}

bool TraceState::SetFolder(XCString const& folder)
{
    CloseTraceFile();
    CurrTraceFolderName = FolderOf(folder.View());
    win32::SystemPath built;
    // Without a subject nothing is written, but the caller still learns now whether the folder can be had.
    return CurrTraceSubject == 0 ? BuildFolderName(built) : OpenTraceFile();
}

bool TraceState::SetSubjects(std::wstring_view list)
{
    TraceSubjects const subjects = ParseTraceSubjects(list);
    CurrTraceSubject = subjects.mask;
    if (subjects.mask == 0) {
        CloseTraceFile();
        return subjects.allKnown;
    }
    // The known subjects of a list count even when others are misspelled; the verdict tells of the misspelled ones.
    return (m_file.IsOpen() || OpenTraceFile()) && subjects.allKnown;
}

/// A folder as a setting names it: without separators at its end, "C:" as the root of the drive.
win32::SystemPath TraceState::FolderOf(std::wstring_view name)
{
    // A single separator stays: it is the root, and without it the name would mean the current folder.
    while (name.size() > 1 && IsSeparator(name.back())) name.remove_suffix(1);
    std::wstring folder(name);
    if (!folder.empty() && folder.back() == L':') folder.push_back(L'\\');
    return win32::SystemPath(folder);
}

/// The folder of the trace file, created when it is missing. False, and told on the console, when it cannot be had.
bool TraceState::BuildFolderName(win32::SystemPath& folder) const
{
    folder = CurrTraceFolderName.IsEmpty() ? win32::TempFolder() : CurrTraceFolderName;
    if (folder.IsEmpty()) {
        TellConsole(L"Cannot determine folder");
        return false;
    }
    if (win32::MakeFolder(folder) == 0) return true;
    TellConsole(L"Cannot create folder");
    return false;
}

bool TraceState::OpenTraceFile()
{
    win32::SystemPath folder;
    bool const haveFolder = BuildFolderName(folder);
    // Long names: a program that was started by its short name traces into the same file.
    win32::SystemPath const program = win32::WithLongNames(win32::SystemPath(win32::ModulePath()));
    XCString const name = BuildFileName(program.Text(), win32::ProcessId());
    m_file.SetTarget(folder.Child(name.View()),
                     RecordFile::Start::Append); // kept: it is tried again with later records
    if (m_file.Open()) return true;
    if (haveFolder) TellConsole(L"Cannot open trace file");
    return false;
}

/// What the calls test before they come here: nothing when no subject is chosen.
void TraceState::Publish() const noexcept
{
    // Relaxed is enough: a thread that sees old masks writes or omits a record a moment late, and everything a record
    // needs is read under the section.
    std::uint64_t const masks = (std::uint64_t{static_cast<std::uint32_t>(CurrTraceLevel)} << 32) |
                                static_cast<std::uint32_t>(CurrTraceSubject);
    XCTrace::Masks.store(CurrTraceSubject == 0 ? 0 : masks, std::memory_order_relaxed);
}

void TraceState::AppendHeader(std::string& bytes, int level, int subject, wchar_t const* origin) const
{
    win32::WallTime const t = win32::LocalNow();
    char stamp[] = "0000-00-00;00:00:00.000";
    PutStampDigits(stamp, t);
    bytes += stamp;
    AppendDelim(bytes);
    AppendNumber(bytes, win32::ThreadId());
    AppendDelim(bytes);
    text::AppendOneLine(bytes, origin ? origin : L"", static_cast<wchar_t>(CurrTraceDelim));
    AppendDelim(bytes);
    // The magnitude is taken as unsigned: that of the smallest level fits in no signed number.
    if (level < 0) bytes.push_back('-');
    AppendNumber(bytes, level < 0 ? 0 - static_cast<std::uint64_t>(level) : static_cast<std::uint64_t>(level));
    AppendDelim(bytes);
    text::AppendUtf8(bytes, DescribeTraceSubjects(subject).View());
    AppendDelim(bytes);
}

template <class Body>
void TraceState::Write(int level, int subject, wchar_t const* origin, Body const& body)
{
    std::lock_guard const hold(section);
    InitTracing();
    if (!IsWanted(level, subject)) return;
    // The buffer is kept between records, so a record costs no memory once one of its length has been written.
    std::string& bytes = m_file.BeginRecord();
    try {
        AppendHeader(bytes, level, subject, origin);
        body(bytes);
        // Never empty here: the header stands before whatever the body appended.
        if (bytes.back() != '\n') bytes.push_back('\n');
    } catch (std::exception const&) {
        return m_file.DropRecord(L"No memory for a record for");
    }
    m_file.EndRecord(true);
}

namespace {

/// "(nrbytes=3): text", then rows of "  0000:" and the bytes in hexadecimal digits.
void AppendHexDump(std::string& to, wchar_t const* text, unsigned char const* bytes, std::size_t count)
{
    to += "(nrbytes=";
    AppendNumber(to, count);
    to += "): ";
    text::AppendOneLine(to, text ? text : L"", 0);
    to.push_back('\n');
    for (std::size_t i = 0; i < count; ++i) {
        if (i % kHexRow == 0) {
            if (i != 0) to.push_back('\n');
            Digits const offset(i);
            std::size_t const digits = offset.View().size();
            to += "  ";
            // Four digits at least keep the rows below each other; a dump of more than 9,999 bytes moves right, whole.
            to.append(digits < 4 ? 4 - digits : 0, '0');
            AppendNumber(to, i);
            to.push_back(':');
        }
        text::AppendHex(to, bytes[i], 2);
    }
}

} // namespace

} // namespace xc::log

using xc::log::TraceState;

bool XCTrace::SetTraceLevel(int level)
{
    TraceState& state = TraceState::Get();
    return state.Configure(&TraceState::InitTraceLevelDone, [&] { return state.SetLevel(level); });
}

bool XCTrace::SetTraceDelim(int delimiter)
{
    TraceState& state = TraceState::Get();
    return state.Configure(&TraceState::InitTraceDelimDone, [&] { return state.SetDelim(delimiter); });
}

bool XCTrace::SetTraceFolderName(wchar_t const* folder)
{
    return TraceState::Get().ChooseFolder(XCString(folder));
}

bool XCTrace::SetTraceSubjects(wchar_t const* subjects)
{
    TraceState& state = TraceState::Get();
    return state.Configure(&TraceState::InitTraceSubjectsDone,
                           [&] { return state.SetSubjects(subjects ? subjects : L""); });
}

void XCTrace::InitTracing(bool force)
{
    TraceState& state = TraceState::Get();
    std::lock_guard const hold(state.section);
    state.InitTracing(force);
}

bool XCTrace::IsTracingEnabled()
{
    TraceState& state = TraceState::Get();
    std::lock_guard const hold(state.section);
    state.InitTracing();
    return state.IsEnabled();
}

bool XCTrace::IsWanted(int level, int subject)
{
    TraceState& state = TraceState::Get();
    std::lock_guard const hold(state.section);
    state.InitTracing();
    return state.IsWanted(level, subject);
}

void XCTrace::WriteMsg(int level, int subject, wchar_t const* origin, wchar_t const* format,
                       XCFormatArgs const& arguments)
{
    TraceState::Get().Write(level, subject, origin, [&](std::string& bytes) {
        XCString message;
        xc::text::TypedSource source(arguments);
        xc::text::FormatInto(message, format ? format : L"", source);
        xc::text::AppendIndented(bytes, message.View(), "\n");
    });
}

void XCTrace::WriteText(int level, int subject, wchar_t const* origin, XCString const& text)
{
    TraceState::Get().Write(level, subject, origin,
                            [&](std::string& bytes) { xc::text::AppendIndented(bytes, text.View(), "\n"); });
}

void XCTrace::WriteHex(int level, int subject, wchar_t const* origin, wchar_t const* title, wchar_t const* text,
                       void const* bytes, std::size_t count)
{
    TraceState::Get().Write(level, subject, origin, [&](std::string& to) {
        xc::text::AppendOneLine(to, title ? title : L"", 0);
        // A null address shows as no bytes, whatever count came with it.
        xc::log::AppendHexDump(to, text, static_cast<unsigned char const*>(bytes), bytes ? count : 0);
    });
}

XCString XCTrace::GetTraceSubjectDescr(int subject)
{
    return xc::log::DescribeTraceSubjects(subject);
}

std::uint64_t XCTrace::GetFailureCount() noexcept
{
    return TraceState::Get().GetFailures().Count();
}

XCString XCTrace::GetLastFailure()
{
    return TraceState::Get().GetFailures().Last();
}
