// filter.osx - drops the records that do not meet a condition and hands the others on.
#include "module_tools.h"
#include "records.h"

#include <XelbrinCore/XCCondition.h>

namespace {

constexpr wchar_t kName[] = L"Filter";

/// Shows one record of a batch to a condition; a field is made only when the condition asks for it.
class RecordFields final : public XCConditionParams {
public:
    RecordFields() : XCConditionParams(new XCConditionSchema({L"Kind", L"Text", L"Time"})) {}

    void Show(RecordBatch const& batch, Record const& record)
    {
        m_batch = &batch;
        m_record = &record;
    }
    XCConditionValue GetValueAt(std::size_t position) const override
    {
        switch (position) {
        case 0: return TextAt(m_record->kind);
        case 1: return TextAt(m_record->text);
        case 2: return XCDateTimeEx(m_record->day, m_record->time).AsXCDateTime(); // as the local clocks showed it
        default: return {};
        }
    }

private:
    XCConditionValue TextAt(TextPlace place) const
    {
        std::wstring_view const text = m_batch->At(place);
        return {text.data(), text.size()};
    }

    RecordBatch const* m_batch = nullptr;
    Record const* m_record = nullptr;
};

class Filter final : public RecordSink {
public:
    Filter();
    XCString GetPlugInName() const override { return kName; }
    PlugInIdEx GetPlugInIdEx() const override { return {kFilterId, kName}; }
    std::vector<PlugInIdEx> GetDependentV() const override { return {{kReportId, L"Report"}}; }
    XCUsageInfo GetUsageInfo() const override { return m_options.GetUsageInfo(); }
    XCErrorID Init(XCApplicationWithPlugIns const& application) override;
    void Unload() override { m_next.Clear(); }

protected:
    void Work() override;

private:
    XCErrorID ReadSince(XCApplication const& application);

    XCString m_wanted, m_since;
    XCOptions m_options{kName, Text(HostContext(), Message::FilterOptions)};
    XCCondition m_condition;
    RecordFields m_fields;
    XCSmartPtr<RecordSink> m_next;
};

Filter::Filter()
{
    XCFormatContext const context = HostContext();
    m_options.Value(L"--condition", Text(context, Message::OptionCondition), m_wanted).Word(L"text");
    m_options.Value(L"--since", Text(context, Message::OptionSince), m_since).Word(L"date");
}

XCErrorID Filter::Init(XCApplicationWithPlugIns const& application)
{
    m_next = FindSink(application, kReportId);
    if (XCErrorID const bad = ReadSettings(application, kName, m_options); bad.Bad()) return bad;
    XCErrorID fault;
    if (!m_condition.FromString(m_wanted))
        fault = m_condition.GetReadError();
    else
        fault = m_condition.Bind(m_fields.GetSchema()); // names become positions, and unknown names errors
    if (fault.Good()) return ReadSince(application);
    XCString why;
    (void)fault->AsString(why, TextContext(application));
    return MakeError(application, Message::BadCondition, {m_wanted, why});
}

/// Adds the date to the condition.
XCErrorID Filter::ReadSince(XCApplication const& application)
{
    XCDateTime since;
    if (!since.FromString(m_since, L"%Y/%m/%d")) return MakeError(application, Message::BadDate, {L"Since", m_since});
    if (since.IsNull()) return XCErrorID::Success; // no date is no limit
    m_condition = XCCondition() & m_condition & (XCCondition::Field(L"Time") >= since);
    return m_condition.Bind(m_fields.GetSchema());
}

void Filter::Work()
{
    FinishAtEnd const end(*m_next);
    XCLogRecord(Channel(kName), 1) << L"condition: " << m_condition.ToString();
    while (std::optional<RecordBatch> batch = Take()) {
        std::size_t const dropped = std::erase_if(batch->records, [&](Record const& record) {
            m_fields.Show(*batch, record);
            return !m_condition.Evaluate(m_fields);
        });
        XCLogRecord(Channel(kName), 2) << batch->records.size() << L" kept, " << dropped << L" dropped";
        if (!m_next->Put(std::move(*batch))) return;
    }
}

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    return new Filter;
}
