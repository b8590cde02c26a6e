// What an application says of its options: the usage screen, and which options it does not know.
//
// The options of the library, those of the derived class and those that plug-ins add are lists of the same kind, shown
// one after the other and searched one after the other; so an option that the screen shows is never called unknown.
// "help" and "?" stand in no list: they ask for the screen and would only repeat what its reader has just found out.
#include <XelbrinCore/XCApplication.h>

#include "app/commandline/UsageText.h"

#include <ostream>

XCUsageInfo XCApplication::GetUsageInfo() const
{
    XCUsageInfo usage;
    usage.AddCmdLineArgDesc(L"config:{filename}",
                            L"Force the application to use a specific config file. If this option is ommited, then a "
                            L"config file which has the same file name than the application (+.ini) will be loaded.",
                            false);
    usage.AddCmdLineArgDesc(L"trace:{tracelevel}",
                            L"Set the trace level of the application. 0-Silent, 1-Normal, 2-Maximum.", false);
    usage.AddCmdLineArgDesc(L"consoleToFile[:filename]",
                            L"Redirect the console to the specified file. If no filename is specified, then the "
                            L"application filename with the .log extension will be used.",
                            false);
    usage.AddCmdLineArgDesc(L"noConsole",
                            L"When used with /consoleToFile option, this option will prevent the display to the "
                            L"console. Display will only be redirected to the log file.",
                            false);
    return usage;
}

void XCApplication::DisplayUsage(std::wostream* out) const
{
    XCString const asterisks = XCString(L'*', 78) + L"\n";
    XCUsageInfo const usage = GetUsageInfo();
    XCString screen = asterisks + asterisks;
    screen += XCString(L"USAGE: ") + GetAppName() + L" [options list] \n";
    screen += asterisks;
    screen += L"Options list: \n";
    if (!usage.GetGeneralInfo().IsNull()) screen += usage.GetGeneralInfo() + L"\n";
    screen += xc::commandline::FormatUsage(usage);
    for (XCUsageInfo const& custom : m_customUsage) {
        if (!custom.GetGeneralInfo().IsNull()) screen += custom.GetGeneralInfo() + L"\n";
        screen += xc::commandline::FormatUsage(custom);
    }
    if (out)
        *out << screen << std::flush;
    else
        Print(screen);
}

bool XCApplication::DisplayUsageIfNecessary(std::wostream* out) const
{
    if (!m_cmdLine.ArgPresent(L"help") && !m_cmdLine.ArgPresent(L"?")) return false;
    DisplayUsage(out);
    return true;
}

void XCApplication::AddCustomUsageInfo(XCUsageInfo const& usage)
{
    m_customUsage.push_back(usage);
}

std::vector<XCString> XCApplication::GetUnknownOptions() const
{
    std::vector<XCString> known = {XCString(L"?"), XCString(L"help")};
    auto const add = [&known](XCUsageInfo const& usage) {
        for (XCString& name : usage.GetOptionNames()) known.push_back(std::move(name));
    };
    add(GetUsageInfo());
    for (XCUsageInfo const& custom : m_customUsage) add(custom);
    std::vector<XCString> unknown;
    m_cmdLine.GetInvalidArguments(known, unknown);
    return unknown;
}
