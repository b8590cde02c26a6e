// The same program once more, with one order.
//
// The child is this very program with its own command line: what it is made of, its configuration and its search path
// are those that the module will meet. The order comes in a variable of its environment; the constructor of the host
// finds it, carries it out before anything else of the host, and ends the process. A host is there meanwhile, since a
// module may ask for it in its constructors. The policy of the parent's host is not set there yet, so the order names its
// folders: a library that the parent has loaded is not judged, and the child must not find another one of its name.
//
// What the child has come to stands in a page of memory that both share, so that it is known whatever ends the child:
// a pipe would lose what its writer had not written yet. The page has a name of the session, and nothing is inherited.
// The parent looks every few milliseconds: time and memory are limited here, too, where the system's limits do nothing.
#include "app/host/Probe.h"

#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCStringParts.h>

#include "app/host/PlugInList.h"
#include "errors/Sealed.h"
#include "errors/SystemWords.h"
#include "text/Utf8.h"
#include "text/Visible.h"
#include "win32/Clock.h"
#include "win32/LastError.h"
#include "win32/Module.h"
#include "win32/Process.h"
#include "win32/UniqueHandle.h"

#include <algorithm>
#include <atomic>
#include <cwchar>

namespace xc::host {

namespace {

constexpr wchar_t kOrder[] = L"XELBRINCORE_PROBE";
constexpr unsigned int kStepMs = 10;

using End = ProbeResult::End;
using Stage = ProbeResult::Stage;

/// What the child tells. Its memory begins as zeros.
struct Page {
    static constexpr std::size_t kTextUnits = 512;

    std::atomic<Stage> stage;
    wchar_t call[64];
    wchar_t text[kTextUnits];
};

template <std::size_t N>
void PutText(wchar_t (&to)[N], std::wstring_view text) noexcept
{
    // Cut, not refused: the beginning of a reason says most of it.
    std::size_t const count = std::min(text.size(), N - 1);
    std::copy_n(text.data(), count, to);
    to[count] = L'\0';
}

/// A text of the child, which may have written anything.
template <std::size_t N>
XCString TextFrom(wchar_t const (&from)[N])
{
    return text::Visible({from, std::find(from, from + N, L'\0')});
}

/// The page in this process.
class SharedPage {
public:
    /// @param create false: the one of the parent.
    SharedPage(std::wstring const& name, bool create)
        : m_mapping(create ? ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Page),
                                                  name.c_str())
                           : ::OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.c_str())),
          m_error(win32::LastError())
    {
        if (!m_mapping) return;
        m_page = static_cast<Page*>(::MapViewOfFile(m_mapping.Get(), FILE_MAP_WRITE, 0, 0, sizeof(Page)));
        m_error = win32::LastError();
    }
    ~SharedPage()
    {
        if (m_page) ::UnmapViewOfFile(m_page);
    }
    SharedPage(SharedPage const&) = delete;
    SharedPage& operator=(SharedPage const&) = delete;

    explicit operator bool() const noexcept { return m_page != nullptr; }
    Page* operator->() const noexcept { return m_page; }
    [[nodiscard]] unsigned long Error() const noexcept { return m_error; }

private:
    win32::UniqueKernelObject m_mapping;
    Page* m_page = nullptr;
    unsigned long m_error;
};

std::wstring NewPageName()
{
    static std::atomic<unsigned int> count{0};
    XCString name;
    name.Format(L"Local\\XelbrinCore-probe-%lu-%u", win32::ProcessId(), ++count);
    return std::wstring(name.View());
}

/// Waits for the end of a child, and makes one where it does not come.
End WaitFor(ProbeSteps& steps, Page const& page, XCProbeOptions const& options)
{
    std::uint64_t since = win32::TickMs();
    bool began = false;
    while (!steps.WaitForEnd(kStepMs)) {
        // In every step: a module that takes memory quickly has a few milliseconds for it.
        if (options.memoryBytes != 0 && steps.MemoryBytes() > options.memoryBytes) return End::TooMuchMemory;
        // The start of the program has a time of its own: the module is not charged with it.
        if (!began && page.stage != Stage::NotBegun) {
            began = true;
            since = win32::TickMs();
        }
        if (win32::TickMs() - since >= options.timeoutMs) return End::TimedOut;
    }
    return steps.HasHitLimit() ? End::TooMuchMemory : End::Exited;
}

// In the child -----------------------------------------------------------------------------------------------------

struct Order {
    std::wstring path, entryName;
    std::vector<win32::SystemPath> folders; ///< none: the search is wide
};

/// One call of the order. Ends the process when it fails.
template <class F>
void Step(SharedPage const& page, std::wstring_view call, F&& body)
{
    // Before the call: when it never comes back, this is what is known.
    PutText(page->call, call);
    XCErrorID const done = errors::Sealed(body);
    if (done.Good()) return;
    PutText(page->text, done.AsString().View());
    page->stage = Stage::Refused;
    win32::EndProcessNow(1);
}

XCErrorID NarrowSearch(std::vector<win32::SystemPath> const& folders, ModuleSet& modules)
{
    if (folders.empty()) return {};
    win32::SystemPath failed;
    if (unsigned long const error = win32::RestrictSearch(folders, failed); error != 0)
        return errors::PlugInFailure(errors::SystemFailure(failed.Text(), error));
    modules.RestrictSearch();
    return {};
}

void CarryOut(SharedPage const& page, Order const& order, ModuleSet::LeftBehind leftBehind)
{
    using EntryPoint = XCPlugIn*();
    // The host's own set: a module that has left a thread behind is not unloaded under it, here as there.
    ModuleSet modules(leftBehind);
    ModuleSet::Loaded one;
    one.path = text::Visible(order.path);
    XCSmartPtr<XCPlugIn> plugIn;
    EntryPoint* entry = nullptr;
    page->stage = Stage::Working;
    Step(page, L"SetLoadPolicy", [&] { return NarrowSearch(order.folders, modules); });
    Step(page, L"LoadLibrary", [&]() -> XCErrorID {
        modules.Open(order.path, one);
        if (!one.module) return errors::PlugInFailure(errors::SystemWords(win32::LastError(), one.path.View()));
        std::string narrow;
        text::AppendUtf8(narrow, order.entryName);
        entry = reinterpret_cast<EntryPoint*>(one.module.Find(narrow.c_str()));
        return entry ? XCErrorID() : errors::PlugInFailure(L"no entry point " + XCString(order.entryName));
    });
    Step(page, order.entryName, [&]() -> XCErrorID {
        plugIn = entry();
        return plugIn.IsNull() ? errors::PlugInFailure(L"no plug-in") : XCErrorID();
    });
    Step(page, L"GetPlugInName", [&] { (void)plugIn->GetPlugInName(); });
    Step(page, L"GetPlugInIdEx", [&] { (void)plugIn->GetPlugInIdEx(); });
    Step(page, L"GetDependentV", [&] { (void)plugIn->GetDependentV(); });
    Step(page, L"Release", [&] { plugIn.Clear(); });
    Step(page, L"FreeLibrary", [&] { modules.Close(one); });
    page->stage = Stage::Passed;
}

} // namespace

ProbeResult Probe(std::wstring const& path, XCString const& entryName, XCProbeOptions const& options, ProbeSteps& steps,
                  std::vector<win32::SystemPath> const& folders)
{
    std::wstring const name = NewPageName();
    SharedPage const page(name, true);
    ProbeResult result;
    // No page, no order: a child without one would run the whole program.
    if (!page) {
        result.end = End::NotStarted;
        result.exitCode = page.Error();
        return result;
    }
    // "|" is in no name of a file.
    std::wstring order = std::wstring(kOrder) + L"=" + name + L"|" + path + L"|" + std::wstring(entryName.View());
    for (win32::SystemPath const& folder : folders) order += L"|" + folder.Text();
    std::wstring const command = options.commandLine.IsNull() ? ::GetCommandLineW() : options.commandLine.AsWChar();
    result.exitCode = steps.Start(command, order, options.memoryBytes);
    result.end = result.exitCode != 0 ? End::NotStarted : WaitFor(steps, *page.operator->(), options);
    if (result.end == End::NotStarted) return result;
    result.exitCode = steps.ExitCode();
    steps.Kill(); // also what it has started
                  // Read after the child is gone: nobody writes it any more.
    Stage const stage = page->stage;
    result.stage = stage <= Stage::Refused ? stage : Stage::NotBegun;
    result.call = TextFrom(page->call);
    result.text = TextFrom(page->text);
    return result;
}

void RunProbeIfAsked(void* module, ModuleSet::LeftBehind leftBehind)
{
    std::optional<std::wstring> const given = win32::ReadEnvironment(kOrder);
    if (!given) return;
    // Taken away first: neither the host below nor programs that the module starts are asked.
    ::SetEnvironmentVariableW(kOrder, nullptr);
    std::vector<std::wstring_view> const parts = XCSplitViews(*given, L"|");
    if (parts.size() < 3) return;
    SharedPage const page{std::wstring(parts[0]), false};
    if (!page) return; // of a parent that is gone
    // A fault ends the process, and shows no box that nobody would close.
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    {
        XCApplicationWithPlugIns const host(XCString(L"probe /noconsole"), {}, false, module);
        Order order{std::wstring(parts[1]), std::wstring(parts[2]), {}};
        for (std::size_t i = 3; i < parts.size(); ++i) order.folders.emplace_back(parts[i]);
        CarryOut(page, order, leftBehind);
    }
    win32::EndProcessNow(0);
}

} // namespace xc::host
