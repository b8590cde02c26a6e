// reader.osx - reads a log file and hands its records on.
//
// It runs on the thread of the host: the sinks behind it have threads of their own.
#include "line_file.h"
#include "module_tools.h"
#include "record_parser.h"
#include "records.h"

#include <XelbrinCore/XCProgress.h>
#include <XelbrinCore/XCTrace.h>

namespace {

constexpr wchar_t kName[] = L"Reader";
constexpr std::uint64_t kLargeInput = 4 << 20; // bytes from which on the console shows how far the reading is

class Reader final : public XCRunPlugIn {
public:
    Reader();
    XCString GetPlugInName() const override { return kName; }
    PlugInIdEx GetPlugInIdEx() const override { return {kReaderId, kName}; }
    std::vector<PlugInIdEx> GetDependentV() const override { return {{kFilterId, L"Filter"}}; }
    XCUsageInfo GetUsageInfo() const override { return m_options.GetUsageInfo(); }
    XCErrorID Init(XCApplicationWithPlugIns const& application) override;
    void Run() override;
    void RequestExit(bool) override { m_exit.post(); }
    void Unload() override { m_next.Clear(); } // whoever holds a plug-in keeps it from being unloaded

private:
    bool Send(std::string const& lines);
    bool MayGoOn();
    [[nodiscard]] XCSmartPtr<XCProgress> StartProgress() const;

    XCString m_input;
    int m_pollMs = 0; // 0: the end of the file is the end of the job
    XCOptions m_options{kName, Text(HostContext(), Message::ReaderOptions)};
    LineFile m_file;
    RecordParser m_parser{[](std::size_t line) { XCLogRecord(Channel(kName), 2) << L"malformed line " << line; }};
    XCSmartPtr<RecordSink> m_next;
    XCEventSemaphore m_exit;
};

Reader::Reader()
{
    XCFormatContext const context = HostContext();
    m_options.Value(L"--input", Text(context, Message::OptionInput), m_input).Word(L"file");
    m_options.Value(L"--follow", Text(context, Message::OptionFollow), m_pollMs)
        .Between(0, 60000)
        .Word(L"milliseconds")
        .Alone(L"500");
}

XCErrorID Reader::Init(XCApplicationWithPlugIns const& application)
{
    m_next = FindSink(application, kFilterId);
    if (XCErrorID const bad = ReadSettings(application, kName, m_options); bad.Bad()) return bad;
    if (unsigned long const error = m_file.Open(m_input))
        return MakeError(application, Message::CannotOpen, {m_input, XCString().Format(L"%u", error)});
    return XCErrorID::Success;
}

void Reader::Run()
{
    FinishAtEnd const end(*m_next);
    XCSmartPtr<XCProgress> const progress = StartProgress(); // ends before the report begins
    bool wanted = Send({});                                  // an empty log is one, too
    while (wanted) {
        std::string const lines = m_file.ReadLines();
        progress->Step(lines.size());
        if (!lines.empty())
            wanted = Send(lines) && !m_exit.posted();
        else if (!MayGoOn())
            break;
    }
    if (m_pollMs == 0 && wanted) Send(m_file.TakeRest());
}

/// A bar for a large file that is read to its end; else nobody is told.
XCSmartPtr<XCProgress> Reader::StartProgress() const
{
    bool const isLong = m_pollMs == 0 && m_file.Size() >= kLargeInput;
    XCSmartPtr<XCProgress> progress(new XCProgress(isLong ? XCConsoleProgress() : XCProgress::Listener()));
    progress->SetRange(m_file.Size());
    return progress;
}

/// At the end of the file: waits for more to come, if that is wanted.
bool Reader::MayGoOn()
{
    if (m_pollMs == 0) return false;
    XCTrace::Msg(XCTrace::TraceDetail, XCTrace::TraceUser, kName, L"waiting for more");
    return m_exit.wait(static_cast<unsigned int>(m_pollMs)) != 0;
}

bool Reader::Send(std::string const& lines)
{
    RecordBatch batch = m_parser.Parse(lines);
    batch.source = m_input;
    XCTrace::Msg(XCTrace::TraceInfo, XCTrace::TraceUser, kName, L"%I64u lines, %I64u records", batch.lines,
                 batch.records.size());
    return m_next->Put(std::move(batch));
}

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    return new Reader;
}
