// One short write at each border of a module, and one line at a fault.
//
// What is written to a file stays when its process ends, however that happens; so no flush is needed, and a write costs
// one call of the system. Each module has a fixed place, which holds the operations that are under way in it. The file is
// opened so that nobody else can write it: whoever can open it for himself alone knows that its run has ended.
//
// A mark is written by the thread at fault, which may hold any lock, have no stack left and stand in a damaged heap. So
// it finds the modules by a list that only grows, the calls by their notes (RunningCalls.h), and the code by images that
// were noted at loading; the loader is not asked. Cost of a call: two look-ups and two writes of some ten bytes.
// Invariant: a module's place holds the names of its open calls whenever code of the module runs.
#include "app/host/QuarantineJournal.h"

#include "errors/RunningCalls.h"
#include "errors/Sealed.h"
#include "text/NumberText.h"
#include "text/Utf8.h"
#include "win32/Clock.h"
#include "win32/FileSystem.h"
#include "win32/Process.h"

#include <algorithm>
#include <charconv>
#include <mutex>
#include <windows.h>

namespace xc::host {

namespace {

bool IsSamePath(std::wstring_view a, std::wstring_view b) noexcept
{
    return ::CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), TRUE) ==
           CSTR_EQUAL;
}

/// Whether a note, which has the end of a long path, is of this module.
bool IsOfPath(errors::CallNote const& note, std::wstring_view path) noexcept
{
    std::wstring_view const noted = note.path;
    // Both are cut at the front, each to its own length.
    if (noted.size() == errors::CallNote::kPathUnits - 1 && path.size() > noted.size())
        path.remove_prefix(path.size() - noted.size());
    return IsSamePath(noted, path);
}

char* PutNumber(char* at, unsigned int value, int width, char after) noexcept
{
    at = text::PutDigits(at, value, width);
    *at = after;
    return at + 1;
}

/// "2026-11-22 04:12:09": 19 bytes.
char* PutMoment(char* at) noexcept
{
    win32::WallTime const now = win32::LocalNow();
    at = PutNumber(PutNumber(PutNumber(at, now.year, 4, '-'), now.month, 2, '-'), now.day, 2, ' ');
    return PutNumber(PutNumber(PutNumber(at, now.hour, 2, ':'), now.minute, 2, ':'), now.second, 2, '\t');
}

/// Operations are literals of ASCII.
char* PutOperation(char* at, wchar_t const* operation, std::size_t room) noexcept
{
    for (; *operation != L'\0' && room > 0; ++operation, --room) *at++ = static_cast<char>(*operation);
    return at;
}

std::uintptr_t EndOfImage(void const* module) noexcept
{
    auto const* const bytes = static_cast<unsigned char const*>(module);
    auto const* const dos = reinterpret_cast<IMAGE_DOS_HEADER const*>(bytes);
    auto const* const headers = reinterpret_cast<IMAGE_NT_HEADERS const*>(bytes + dos->e_lfanew);
    return reinterpret_cast<std::uintptr_t>(bytes) + headers->OptionalHeader.SizeOfImage;
}

/// A module that ends the process does it in the last code of ours that runs: the detaching of the library. The journal
/// is there since the loading: its first use takes the runtime's lock of static objects, and at the detaching that lock
/// may belong for ever to a thread that the system has ended.
struct AtDetach {
    AtDetach() noexcept { (void)RunJournal::Get(); }
    ~AtDetach() { RunJournal::Get().MarkExit(); }
} const g_atDetach;

} // namespace

RunJournal::RunJournal() = default;

RunJournal& RunJournal::Get() noexcept
{
    // In static storage, without memory and without an end: a fault may come before main and after it.
    alignas(RunJournal) static unsigned char storage[sizeof(RunJournal)];
    static RunJournal& journal = *new (storage) RunJournal;
    return journal;
}

bool RunJournal::Less::operator()(std::wstring_view a, std::wstring_view b) const noexcept
{
    return ::CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), TRUE) ==
           CSTR_LESS_THAN;
}

unsigned long RunJournal::Start(win32::SystemPath const& file)
{
    std::lock_guard const guard(m_lock);
    if (m_started) return ERROR_BUSY;
    using Mode = win32::FileMode;
    // Others may read it, as people do; who may write it would be taken for one that judges an ended run.
    unsigned long error = m_file.Open(file, {Mode::Access::ReadWrite, Mode::Start::CreateNew, Mode::ShareRead});
    if (error != 0) return error;
    std::string head(kModulesAt, '\0');
    std::ranges::copy(kJournalHead, head.begin());
    m_file.Write(head, 0, error);
    m_path = file;
    m_places = 0;
    // Modules are not forgotten: threads of an earlier host may still be in them.
    for (auto const& [path, module] : m_modules) module->place = -1;
    m_marked = false;
    // Last: whoever sees it finds a file that is whole.
    m_started = true;
    return 0;
}

void RunJournal::Stop() noexcept
{
    std::lock_guard const guard(m_lock);
    if (!m_started.exchange(false)) return;
    m_file.Close();
    if (!m_marked) (void)win32::RemoveFile(m_path);
}

std::vector<std::wstring> RunJournal::Modules() const
{
    std::lock_guard const guard(m_lock);
    std::vector<std::wstring> paths;
    for (auto const& [path, module] : m_modules)
        if (module->place >= 0) paths.push_back(module->path);
    return paths;
}

RunJournal::Module* RunJournal::Find(std::wstring_view path) const noexcept
{
    auto const found = m_modules.find(EndOfPath(path));
    return found == m_modules.end() ? nullptr : found->second.get();
}

void RunJournal::Enter(std::wstring_view path) noexcept
{
    if (!m_started) return;
    std::lock_guard const guard(m_lock);
    // Without memory the module runs without a place: nothing of it can be proven, and nothing is lost.
    errors::SayIfPossible([&] {
        Module* module = Find(path);
        if (!module) {
            auto fresh = std::make_unique<Module>();
            fresh->path = EndOfPath(path);
            module = fresh.get();
            m_modules.emplace(module->path, std::move(fresh));
            module->next = m_first.load();
            m_first = module; // whole before it is seen
        }
        if (module->place >= 0) return;
        std::string text(kCallsBytes, '\0');
        // No calls yet: an empty line.
        text[0] = '\n';
        text::AppendUtf8(text, module->path);
        unsigned long error = 0;
        // The place is used when its path stands in the file, not before: a mark names places.
        m_file.Write(text + "\n", kModulesAt + static_cast<std::size_t>(m_places) * kModuleBytes, error);
        module->place = m_places++;
    });
}

void RunJournal::SetImage(std::wstring_view path, void const* image) noexcept
{
    if (!m_first.load()) return;
    std::lock_guard const guard(m_lock);
    Module* const module = Find(path);
    if (!module) return;
    // Empty first: a reader between the two sees no image, not half of each.
    module->image = 0;
    module->imageEnd = image ? EndOfImage(image) : 0;
    module->image = reinterpret_cast<std::uintptr_t>(image);
}

void RunJournal::Begin(wchar_t const* operation, std::wstring_view path) noexcept
{
    if (!m_started) return;
    std::lock_guard const guard(m_lock);
    Module* const module = Find(path);
    if (!module)
        return; // of the program itself
                // Counted beyond what is kept, so that the ends of calls find their beginnings.
    auto const count = static_cast<std::size_t>(module->open++);
    if (count < kMostCalls) module->calls[count] = operation;
    WriteCalls(*module);
}

void RunJournal::End(wchar_t const* operation, std::wstring_view path) noexcept
{
    if (!m_first.load()) return;
    std::lock_guard const guard(m_lock);
    Module* const module = Find(path);
    if (!module || module->open == 0) return;
    auto const kept = std::min(static_cast<std::size_t>(module->open--), kMostCalls);
    // Calls of several threads end in any order: the last one of this name goes.
    wchar_t const** const end = module->calls + kept;
    auto const found = std::find(std::reverse_iterator(end), std::reverse_iterator(module->calls), operation);
    if (found.base() != module->calls) std::move(found.base(), end, found.base() - 1);
    WriteCalls(*module);
}

void RunJournal::WriteCalls(Module& module) noexcept
{
    // A call that comes back after the end of its run has nowhere to be written.
    if (!m_started || module.place < 0) return;
    char text[kCallsBytes];
    char* at = text;
    auto const kept = std::min(static_cast<std::size_t>(module.open), kMostCalls);
    for (std::size_t i = 0; i < kept && at + 32 < text + kCallsBytes; ++i) {
        if (i > 0) *at++ = ',';
        at = PutOperation(at, module.calls[i], 30);
    }
    *at++ = '\n';
    unsigned long error = 0; // a disk that fails costs evidence, not the work
    m_file.Write({text, static_cast<std::size_t>(at - text)},
                 kModulesAt + static_cast<std::size_t>(module.place) * kModuleBytes, error);
}

/// The innermost call of a thread into a module that has a place; -1: none.
int RunJournal::PlaceOfCall(unsigned long thread, wchar_t const*& operation) const noexcept
{
    errors::CallNote note;
    note.order = UINT64_MAX;
    // Outwards: a call into the program's own plug-in may stand within one into a module.
    while (errors::ReadInnermostCall(thread, note.order, note))
        for (Module const* module = m_first; module; module = module->next)
            if (module->place >= 0 && IsOfPath(note, module->path)) {
                operation = note.operation;
                return module->place;
            }
    return -1;
}

/// The module of the innermost code on a stack; -1: none.
int RunJournal::PlaceOfCode(void const* const* frames, std::size_t count) const noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        // From the inside out: system code that a module has called is passed over, the module itself is met first.
        auto const address = reinterpret_cast<std::uintptr_t>(frames[i]);
        for (Module const* module = m_first; module; module = module->next)
            if (module->place >= 0 && module->image != 0 && address >= module->image && address < module->imageEnd)
                return module->place;
    }
    return -1;
}

void RunJournal::Mark(std::string_view fault, void const* const* frames, std::size_t count) noexcept
{
    // The first fault only: those after it, on other threads, mostly follow from it.
    if (!m_started || m_marked.exchange(true)) return;
    wchar_t const* operation = nullptr;
    int const call = PlaceOfCall(win32::ThreadId(), operation);
    int open[Culprits::kMost];
    std::size_t openCount = 0;
    for (Module const* module = m_first; module && openCount < Culprits::kMost; module = module->next)
        if (module->place >= 0 && module->open > 0) open[openCount++] = module->place;
    WriteMark(fault, operation, FindCulprits(call, PlaceOfCode(frames, count), open, openCount));
}

void RunJournal::MarkExit() noexcept
{
    // A program may end anywhere, but not in the middle of a call into a module. Which code has ended it is not known:
    // the module's own, or some of the program that it has called.
    wchar_t const* operation = nullptr;
    int const call = m_started ? PlaceOfCall(win32::ThreadId(), operation) : -1;
    if (call < 0 || m_marked.exchange(true)) return;
    Culprits culprits;
    culprits.Add(call);
    WriteMark("end of the process", operation, culprits);
}

void RunJournal::WriteMark(std::string_view fault, wchar_t const* operation, Culprits const& culprits) noexcept
{
    if (culprits.count == 0) return;
    // Static: the stack that is left may be small. One thread comes here, since the first mark stays.
    static char what[128], line[kMarkBytes];
    char* at = PutMoment(what);
    at = std::copy_n(fault.data(), std::min<std::size_t>(fault.size(), 60), at);
    if (operation) {
        at = std::copy_n(" in ", 4, at);
        at = PutOperation(at, operation, 30);
    }
    std::size_t const length = FormatMark(line, {what, static_cast<std::size_t>(at - what)}, culprits);
    unsigned long error = 0;
    m_file.Write({line, length}, kMarkAt, error);
}

} // namespace xc::host
