// report.osx - counts the records that arrive and, when no more do, prints what they add up to.
#include "module_tools.h"
#include "records.h"
#include "report_text.h"

namespace {

constexpr wchar_t kName[] = L"Report";

class Report final : public RecordSink {
public:
    XCString GetPlugInName() const override { return kName; }
    PlugInIdEx GetPlugInIdEx() const override { return {kReportId, kName}; }
    XCUsageInfo GetUsageInfo() const override;
    XCErrorID Init(XCApplicationWithPlugIns const& application) override;

protected:
    void Work() override;

private:
    ReportStyle m_style;
};

XCUsageInfo Report::GetUsageInfo() const
{
    XCUsageInfo usage;
    usage.SetGeneralInfo(L"Options of the report:");
    usage.AddCmdLineArgDesc(L"width:{characters}", L"The length of the longest bar, 10 to 200.", false);
    usage.AddCmdLineArgDesc(L"days:{number}", L"How many days have a bar of their own, 1 to 1000.", false);
    usage.AddCmdLineArgDesc(L"kinds:{number}", L"How many kinds have a bar of their own, 1 to 1000.", false);
    return usage;
}

XCErrorID Report::Init(XCApplicationWithPlugIns const& application)
{
    m_style.title = Setting(application, kName, L"Title", L"Records of the log");
    if (XCErrorID const bad = NumberSetting(application, kName, L"Width", 10, 200, m_style.width); bad.Bad())
        return bad;
    if (XCErrorID const bad = NumberSetting(application, kName, L"Days", 1, 1000, m_style.days); bad.Bad()) return bad;
    return NumberSetting(application, kName, L"Kinds", 1, 1000, m_style.kinds);
}

void Report::Work()
{
    Totals totals;
    while (std::optional<RecordBatch> const batch = Take()) {
        totals.Add(*batch);
        XCLogRecord(Channel(kName), 2) << totals.records << L" records so far";
    }
    XCLogRecord(Channel(kName), 1) << totals.lines << L" lines, " << totals.malformedLines << L" malformed, "
                                   << totals.records << L" kept";
    // Level 0: the report is what the program is for and is shown at every trace level.
    XCLogRecord console(Channel(L"XCApplicationChannel"), 0);
    console << L"\n" << ReportText(totals, m_style);
    if (XCApplication::IsExitRequested()) console << L"(stopped on request)\n";
    console << L"\n";
}

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    return new Report;
}
