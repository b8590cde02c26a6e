// Three kinds of ends, of which one counts.
//
// A run keeps a journal (QuarantineJournal.h). One that ends well removes it. One that ends by a fault leaves it with a
// mark, which the handler of the fault has written: the next start blames modules by it. One that was killed, lost its
// power or was stopped by a debugger leaves a journal without a mark: its open calls are told, and count nothing, since
// they prove nothing. Whoever can open a journal for himself alone knows that its process is gone, whatever numbers of
// processes mean by then.
//
// Several programs may share one file of verdicts: it is read, changed and replaced under a lock file, which the system
// releases with its process. A journal is removed after the verdicts have been written; in between the machine may stop,
// so a run counts by its name, once. Where nothing may be written the verdicts still hold; what cannot be kept is told.
#include "app/host/Quarantine.h"

#include "app/host/HostLines.h"
#include "app/host/QuarantineJournal.h"
#include "errors/Sealed.h"
#include "errors/SystemWords.h"
#include "win32/Clock.h"
#include "win32/FaultHooks.h"
#include "win32/FileDetails.h"
#include "win32/FileIo.h"
#include "win32/FileSystem.h"
#include "win32/Process.h"
#include "win32/StackTrace.h"

#include <algorithm>
#include <charconv>
#include <windows.h>

namespace xc::host {

namespace {

using win32::SystemPath;

constexpr wchar_t kJournalEnding[] = L".run";
constexpr unsigned int kLockMs = 2000;
constexpr std::size_t kFrames = 48;

/// The name of a fault: "unhandled fault 0xC0000005", "abort".
std::string_view NameOf(win32::Fault const& fault, char (&room)[40]) noexcept
{
    using Kind = win32::Fault::Kind;
    if (fault.kind == Kind::Terminate) return "std::terminate";
    if (fault.kind == Kind::Abort) return "abort";
    if (fault.kind == Kind::PureCall) return "call of a pure virtual function";
    // By hand: the runtime's formatting takes a lock, which the thread at fault may hold.
    char* const digits = std::copy_n("unhandled fault 0x", 18, room);
    char* const end = std::to_chars(digits, room + sizeof room, fault.code, 16).ptr;
    std::transform(digits, end, digits, [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
    return {room, static_cast<std::size_t>(end - room)};
}

void OnFault(win32::Fault const& fault) noexcept
{
    // A refused parameter ends nothing; and who stops a program in a debugger looks for a fault himself.
    if (fault.kind == win32::Fault::Kind::InvalidParameter || ::IsDebuggerPresent()) return;
    // On this stack and not in static memory: two threads may be at fault at once, and both come here.
    void const* frames[kFrames];
    std::size_t const count =
        fault.context ? win32::CaptureStackOf(fault.context, frames, kFrames) : win32::CaptureStack(frames, kFrames, 1);
    char room[40];
    RunJournal::Get().Mark(NameOf(fault, room), frames, count);
}

/// The verdict of a path; null: none.
Verdict* Find(std::vector<Verdict>& verdicts, std::wstring_view path)
{
    // Without regard to case, as the system compares: a path may be given in another case than it was found in.
    XCString const wanted{EndOfPath(path)};
    auto const found = std::ranges::find_if(verdicts, [&](Verdict const& v) { return wanted.IsEqual(v.path, 1); });
    return found == verdicts.end() ? nullptr : &*found;
}

std::wstring_view FileNameOf(std::wstring_view path) noexcept
{
    return path.substr(path.find_last_of(L"\\/") + 1);
}

win32::FileDetails FactsOf(std::wstring const& path) noexcept
{
    win32::FileDetails facts; // all zero for a file that is gone
    (void)win32::GetDetails(SystemPath(path), true, facts);
    return facts;
}

bool HasChanged(Verdict const& verdict)
{
    win32::FileDetails const facts = FactsOf(verdict.path);
    // A file that is not there now has not changed: a drive that is away must not release what stands on it.
    return facts.written != 0 && (facts.size != verdict.size || facts.written != verdict.written);
}

XCString FaultOf(Verdict const& verdict)
{
    std::size_t const tab = verdict.what.find(L'\t');
    return XCString(verdict.what.substr(tab == std::wstring::npos ? 0 : tab + 1));
}

XCString MomentOf(Verdict const& verdict)
{
    return XCString(verdict.what.substr(0, verdict.what.find(L'\t')));
}

void SayVerdict(Verdict const& verdict)
{
    XCString said;
    if (verdict.confirmed)
        said = L"has ended the run of ";
    else
        said.Format(L"is suspected (%u of %u) of having ended the run of ",
                    static_cast<unsigned int>(verdict.runs.size()),
                    static_cast<unsigned int>(Verdict::kMostSuspicions));
    PrintError(XCString(verdict.path) + L" " + said + MomentOf(verdict) + L": " + FaultOf(verdict));
}

/// The lock of a file of verdicts, taken for the time of a change.
unsigned long Lock(SystemPath const& file, win32::File& lock)
{
    using Mode = win32::FileMode;
    for (unsigned int waited = 0;; waited += 10) {
        // A lock file, not the file itself: that one is replaced, and a lock on the old one would guard nothing.
        unsigned long const error =
            lock.Open(file.WithSuffix(L".lock"), {Mode::Access::ReadWrite, Mode::Start::OpenOrCreate, Mode::ShareNone});
        if (error != ERROR_SHARING_VIOLATION || waited >= kLockMs) return error;
        ::Sleep(10);
    }
}

/// @return 0, or the number of the system's error.
unsigned long Read(SystemPath const& file, std::vector<Verdict>& verdicts)
{
    std::string bytes;
    std::size_t malformed = 0;
    unsigned long const error = win32::ReadWholeFile(file, bytes);
    // Not there: the first run, or nothing was ever held against a module. A file that others hold is no empty one: what
    // it says would be lost with the next change.
    if (error == ERROR_FILE_NOT_FOUND) return 0;
    if (error != 0) return error;
    verdicts = ReadVerdicts(bytes, malformed);
    if (malformed == 0) return 0;
    XCString said;
    said.Format(L"%ls: %u damaged lines are left out", file.Text().c_str(), static_cast<unsigned int>(malformed));
    PrintError(said);
    return 0;
}

/// The bytes of a journal whose process is gone. False for one that is in use.
bool ReadEnded(SystemPath const& path, std::string& bytes)
{
    using Mode = win32::FileMode;
    win32::File file;
    if (file.Open(path, {Mode::Access::ReadWrite, Mode::Start::Existing, Mode::ShareNone}) != 0) return false;
    unsigned long error = 0;
    // No journal of ours is that large; a file that somebody has put there must not cost all memory.
    bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(file.Size(error), 64u << 20)));
    bytes.resize(file.Read(bytes.data(), bytes.size(), 0, error));
    return true;
}

} // namespace

Quarantine::~Quarantine()
{
    if (m_started) win32::RemoveFaultHooks(win32::FaultUse::Mark);
}

XCErrorID Quarantine::Change(std::function<bool(std::vector<Verdict>&)> const& change)
{
    win32::File lock;
    unsigned long error = Lock(m_file, lock);
    // Read even without the lock: what others have found out holds here, too.
    std::vector<Verdict> known;
    unsigned long const unread = Read(m_file, known);
    if (unread == 0) m_verdicts = std::move(known);
    if (error == 0) error = unread;
    std::vector<Verdict> changed = m_verdicts;
    if (error == 0 && !change(changed)) return XCErrorID::Success;
    if (error == 0) {
        std::unique_ptr<win32::ReplaceSteps> const steps = win32::SystemReplaceSteps();
        error = win32::ReplaceFileContents(m_file, FormatVerdicts(changed), *steps);
    }
    if (error != 0) return errors::PlugInFailure(L"quarantine: " + errors::SystemFailure(m_file.Text(), error));
    m_verdicts = std::move(changed);
    return XCErrorID::Success;
}

XCErrorID Quarantine::Start()
{
    std::vector<SystemPath> done;
    XCErrorID const taken = Change([&](std::vector<Verdict>& verdicts) { return TakeUp(verdicts, done); });
    if (taken.Bad()) return taken;
    // One that stays, since somebody has it open, is judged again and counts once by its name.
    for (SystemPath const& journal : done) (void)win32::RemoveFile(journal);
    return Begin();
}

/// The journals of ended runs. @param done those that may go when the verdicts are written.
bool Quarantine::TakeUp(std::vector<Verdict>& verdicts, std::vector<SystemPath>& done)
{
    bool changed = false;
    std::wstring const name(m_file.FileName());
    std::vector<win32::FolderEntry> entries;
    (void)win32::ListFolder(m_file.Folder(), name + L".*" + kJournalEnding, entries);
    for (win32::FolderEntry const& entry : entries) {
        SystemPath const path = m_file.Folder().Child(entry.name);
        std::string bytes;
        if (!ReadEnded(path, bytes)) continue;
        std::wstring const run = entry.name.substr(name.size() + 1);
        changed = Judge(ReadJournal(bytes), run, verdicts) || changed;
        done.push_back(path);
    }
    return changed;
}

bool Quarantine::Judge(RunEnd const& run, std::wstring const& name, std::vector<Verdict>& verdicts)
{
    // The calls are told because somebody may have ended the program since it hung in one of them.
    if (!run.fault) {
        for (RunEnd::Module const& module : run.modules)
            if (!module.calls.empty())
                Print(XCString(L">>>> An earlier run was stopped in ") + XCString(module.calls) + L" of " +
                      XCString(module.path) + L"; nothing is held against it\n");
        return false;
    }
    for (std::size_t const place : run.fault->modules) {
        std::wstring const& path = run.modules[place].path;
        Verdict* verdict = Find(verdicts, path);
        if (!verdict) verdict = &verdicts.emplace_back();
        win32::FileDetails const facts = FactsOf(path);
        verdict->path = path;
        verdict->confirmed = verdict->confirmed || run.fault->confirmed;
        // In a row: a run that ends well removes the verdict, and so the runs before it.
        if (std::ranges::find(verdict->runs, name) == verdict->runs.end()) verdict->runs.push_back(name);
        verdict->size = facts.size;
        verdict->written = facts.written;
        verdict->what = run.fault->what;
        SayVerdict(*verdict);
    }
    return !run.fault->modules.empty();
}

XCErrorID Quarantine::Begin()
{
    XCString ending;
    ending.Format(L".%lu-%llx%ls", win32::ProcessId(), static_cast<unsigned long long>(win32::UtcTicks()),
                  kJournalEnding);
    unsigned long const error = RunJournal::Get().Start(m_file.WithSuffix(ending.View()));
    if (error != 0) return errors::PlugInFailure(L"quarantine: " + errors::SystemFailure(m_file.Text(), error));
    m_started = true;
    // After the journal is there: a mark without one would be lost.
    win32::InstallFaultHooks(win32::FaultUse::Mark, OnFault);
    return XCErrorID::Success;
}

XCString Quarantine::WhySkipped(XCString const& path)
{
    Verdict const* const verdict = Find(m_verdicts, path.View());
    if (!verdict || !verdict->IsSkipped()) return {};
    if (HasChanged(*verdict)) {
        Print(L">>>> " + path + L" has changed since it was put into quarantine, and is tried again\n");
        (void)Clear(path);
        return {};
    }
    wchar_t const* const why =
        verdict->confirmed ? L"has ended the run of " : L"was suspected three times in a row, last ";
    return L"is in quarantine: " + XCString(why) + MomentOf(*verdict) + L": " + FaultOf(*verdict);
}

void Quarantine::EndWell() noexcept
{
    if (!m_started) return;
    errors::SayIfPossible([this] {
        std::vector<std::wstring> const ran = RunJournal::Get().Modules();
        auto const isFree = [&](Verdict const& v) {
            return !v.IsSkipped() && std::ranges::find(ran, v.path) != ran.end();
        };
        // After a mark no suspicion is taken back: the fault was on another thread while the host ended.
        // Only a look for most runs: nothing is suspected.
        if (!RunJournal::Get().IsMarked() && std::ranges::any_of(m_verdicts, isFree))
            (void)Change([&](std::vector<Verdict>& verdicts) { return std::erase_if(verdicts, isFree) != 0; });
    });
    RunJournal::Get().Stop();
}

std::vector<XCModuleVerdict> Quarantine::List() const
{
    std::vector<XCModuleVerdict> list;
    for (Verdict const& verdict : m_verdicts)
        list.push_back({XCString(verdict.path), MomentOf(verdict), FaultOf(verdict), verdict.confirmed,
                        static_cast<unsigned int>(verdict.runs.size()), verdict.IsSkipped()});
    return list;
}

XCErrorID Quarantine::Clear(XCString const& module)
{
    bool found = module.IsNull();
    XCErrorID const cleared = Change([&](std::vector<Verdict>& verdicts) {
        bool const any = std::erase_if(verdicts, [&](Verdict const& verdict) {
                             return module.IsNull() || module.IsEqual(verdict.path, 1) ||
                                    module.IsEqual(std::wstring(FileNameOf(verdict.path)), 1);
                         }) != 0;
        found = found || any;
        return any;
    });
    if (cleared.Bad() || found) return cleared;
    return errors::PlugInFailure(L"quarantine: nothing is held against " + module);
}

} // namespace xc::host
