// report.osx - counts the records that arrive and, when no more do, prints what they add up to.
#include "module_tools.h"
#include "records.h"
#include "report_text.h"

namespace {

constexpr wchar_t kName[] = L"Report";

class Report final : public RecordSink {
public:
    Report();
    XCString GetPlugInName() const override { return kName; }
    PlugInIdEx GetPlugInIdEx() const override { return {kReportId, kName}; }
    XCUsageInfo GetUsageInfo() const override { return m_options.GetUsageInfo(); }
    XCErrorID Init(XCApplicationWithPlugIns const& application) override;

protected:
    void Work() override;

private:
    ReportStyle m_style;
    XCOptions m_options{kName, Text(HostContext(), Message::ReportOptions)};
};

Report::Report()
{
    XCFormatContext const context = HostContext();
    m_options.Value(L"--title", Text(context, Message::OptionTitle), m_style.title).Word(L"text");
    m_options.Value(L"--width", Text(context, Message::OptionWidth), m_style.width)
        .Between(10, 200)
        .Word(L"characters");
    m_options.Value(L"--days", Text(context, Message::OptionDays), m_style.days).Between(1, 1000).Word(L"number");
    m_options.Value(L"--kinds", Text(context, Message::OptionKinds), m_style.kinds).Between(1, 1000).Word(L"number");
}

XCErrorID Report::Init(XCApplicationWithPlugIns const& application)
{
    m_style.context = TextContext(application);
    m_style.title = Text(m_style.context, Message::ReportTitle);
    return ReadSettings(application, kName, m_options);
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
