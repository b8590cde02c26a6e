// record_host [options]: a program made of plug-in modules that reports what a log holds.
//
//     record_host /osxpath:<folder of the modules> /input:<log file>
//
// The host knows nothing of logs: it owns the command line, the configuration file (record_host.ini beside the program),
// the log and the trace, and loads the modules that osx.lst in their folder names. /help shows the options of all.
#include "diagnostics.h"
#include "module_tools.h"
#include "records.h"

#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCSignals.h>

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace {

constexpr int kExitRefused = 1;
constexpr int kExitFault = 2;

class RecordHost final : public XCApplicationWithPlugIns {
public:
    RecordHost(int count, wchar_t const* const* arguments);
    /// @return the exit code of the program: 0 good, 1 something was asked for that nobody knows, or no module was
    /// found, 2 anything else went wrong.
    int Main();
    int Run() override;

private:
    int ShowHelp();
    bool RefuseUnknown();
    std::vector<XCErrorID> FindUnknown() const;
    void FindUnknownSettings(std::vector<XCErrorID>& faults) const;
    std::vector<XCString> KnownKeys(XCString const& section) const;

    bool const m_showsHelp;
    Diagnostics m_diagnostics;
};

XCUsageInfo HostUsage(XCFormatContext const& context)
{
    XCString log, language;
    XCOptions options(L"record_host", Text(context, Message::HostOptions));
    options.Value(L"--log", Text(context, Message::OptionLog), log).Word(L"file");
    options.Value(L"--language", Text(context, Message::OptionLanguage), language).Word(L"code");
    return options.GetUsageInfo();
}

bool Holds(std::vector<XCString> const& names, XCString const& name)
{
    return std::any_of(names.begin(), names.end(), [&](XCString const& known) { return known.IsEqual(name, 1); });
}

RecordHost::RecordHost(int count, wchar_t const* const* arguments)
    : XCApplicationWithPlugIns(count, arguments),
      m_showsHelp(GetCmdLine().ArgPresent(L"help") || GetCmdLine().ArgPresent(L"?"))
{
    AddCustomUsageInfo(HostUsage(TextContext(*this)));
}

int RecordHost::Main()
{
    if (m_showsHelp) return ShowHelp();
    (void)XCSignals::Install(); // without it a fault is not recorded, and nothing else is different
    if (!GetConfigFailure().IsNull()) return kExitFault; // the library has told what is wrong with the file
    if (XCErrorID const started = m_diagnostics.Start(*this); started.Bad())
        Print(L"ERR> ***" + started.AsString() + L"\n"); // a program without its log still works
    return LoadAndRun();
}

/// Modules tell their options when they are loaded; that nothing more than that happens is seen to in Run.
int RecordHost::ShowHelp()
{
    SetTraceLevel(0);
    LoadAndRun();
    SetTraceLevel(1);
    DisplayUsage();
    SetTraceLevel(0);
    return 0;
}

int RecordHost::Run()
{
    if (m_showsHelp) return 0;
    // The reader depends on all others: where it is missing nothing would ever reach them.
    if (FindPlugIn(kReaderId).IsNull()) {
        Print(L"ERR> ***" + MakeError(*this, Message::Incomplete, {}).AsString() + L"\n");
        return kExitFault;
    }
    if (RefuseUnknown()) return kExitRefused;
    return XCApplicationWithPlugIns::Run();
}

/// A mistyped option or setting would count for nothing, without a word. Asked when the modules are loaded: their usage
/// texts tell what they know.
bool RecordHost::RefuseUnknown()
{
    std::vector<XCErrorID> const faults = FindUnknown();
    for (XCErrorID const& fault : faults) Print(L"ERR> ***" + fault.AsString() + L"\n");
    return !faults.empty();
}

std::vector<XCErrorID> RecordHost::FindUnknown() const
{
    std::vector<XCErrorID> faults;
    for (XCString const& name : GetUnknownOptions()) faults.push_back(MakeError(*this, Message::UnknownOption, {name}));
    for (XCString const& text : GetCmdLine().GetNonStandardArguments())
        faults.push_back(MakeError(*this, Message::UnknownArgument, {text}));
    FindUnknownSettings(faults);
    return faults;
}

void RecordHost::FindUnknownSettings(std::vector<XCErrorID>& faults) const
{
    XCSmartPtr<XCConfigFile> const file = GetConfigFile();
    if (file.IsNull()) return;
    XCConfigLock const lock(*file);
    for (XCConfigSection const& section : std::as_const(*file)) {
        std::vector<XCString> const known = KnownKeys(section.GetName());
        if (known.empty() && section.begin() != section.end())
            faults.push_back(MakeError(*this, Message::UnknownSection, {section.GetName()}));
        else
            for (XCConfigLine const& line : section)
                if (!Holds(known, line.GetKey()))
                    faults.push_back(MakeError(*this, Message::UnknownKey, {line.GetKey(), section.GetName()}));
    }
}

/// The settings of a module have the names of its options and stand in the section of its name.
std::vector<XCString> RecordHost::KnownKeys(XCString const& section) const
{
    if (section.IsEqual(L"Host", 1)) return {L"Log", L"Language"};
    if (section.IsEqual(L"Trace", 1)) return {L"TraceSubjects", L"TraceLevel", L"TraceFolder"};
    bool const wantsLevels = section.IsEqual(L"Levels", 1);
    std::vector<XCString> names;
    for (XCSmartPtr<XCPlugIn> const& plugIn : GetLoadedPlugIns()) {
        if (wantsLevels) names.push_back(plugIn->GetPlugInName());
        if (section.IsEqual(plugIn->GetPlugInName(), 1)) return plugIn->GetUsageInfo().GetOptionNames();
    }
    return names;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    try {
        return RecordHost(count, arguments).Main();
    } catch (std::exception const& fault) { // XCException is one: its text is UTF-8
        std::fprintf(stderr, "record_host: %s\n", fault.what());
        return kExitFault;
    }
}
