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
    XCFormatContext const context = HostContext();
    usage.SetGeneralInfo(Text(context, Message::ReportOptions));
    AddOption(usage, context, L"title:{text}", Message::OptionTitle);
    AddOption(usage, context, L"width:{characters}", Message::OptionWidth);
    AddOption(usage, context, L"days:{number}", Message::OptionDays);
    AddOption(usage, context, L"kinds:{number}", Message::OptionKinds);
    return usage;
}

XCErrorID Report::Init(XCApplicationWithPlugIns const& application)
{
    m_style.context = TextContext(application);
    m_style.title = Setting(application, kName, L"Title", Text(m_style.context, Message::ReportTitle));
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
    if (XCApplication::IsExitRequested()) console << Text(m_style.context, Message::ReportStopped) << L"\n";
    console << L"\n";
}

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    return new Report;
}
