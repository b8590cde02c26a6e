// Allocations that fail in the portable part of the library: a call either comes to its end or throws std::bad_alloc,
// leaves what it worked on whole, keeps nothing, and goes well the next time.
#include "faults/config_scenarios.h"

inline void PrintTo(XCString const& text, std::ostream* out)
{
    *out << text.AsUTF8();
}

namespace {

using faults::Attempt;
using faults::Scenario;

// Changes of one object: all or nothing -------------------------------------------------------------------------------

/// A scenario over an object: `make` builds it, `change` is tried and must either have its whole effect or none, as
/// `show` tells.
template <class Make, class Change, class Show>
Scenario AllOrNothing(char const* name, Make make, Change change, Show show)
{
    return {name, [=] {
                auto object = make();
                XCString const before = show(object);
                auto whole = make();
                change(whole);
                if (!Attempt([&] { change(object); })) {
                    EXPECT_EQ(show(object), before);
                    change(object);
                }
                EXPECT_EQ(show(object), show(whole));
            }};
}

constexpr wchar_t kText[] = L"one two one, and a thirty-first one of them, \x00E9t\x00E9 \xD83D\xDE00";

Table<char const*, void (*)(XCString&)> const kStringEdits = {
    {"string = text", [](XCString& t) { t = L"a text that is longer than the one before it was, by a good measure"; }},
    {"string Append", [](XCString& t) { t.Append(L" and more"); }},
    {"string Append itself", [](XCString& t) { t.Append(t); }},
    {"string += unit", [](XCString& t) { t += L'!'; }},
    {"string Insert", [](XCString& t) { t.Insert(4, t); }},
    {"string Replace longer", [](XCString& t) { t.Replace(L"one", L"a hundred and one"); }},
    {"string Replace shorter", [](XCString& t) { t.Replace(L"one", L"1"); }},
    {"string Remove", [](XCString& t) { t.Remove(3, 5); }},
    {"string Upper", [](XCString& t) { t.Upper(); }},
    {"string LTrim", [](XCString& t) { t.LTrim(L"one "); }},
    {"string Reserve", [](XCString& t) { t.Reserve(500); }},
    {"string Format", [](XCString& t) { t.Format(L"%s: %d, %8.3f, %S, %I64d", t.AsWChar(), 5, 1.5, "narrow", 7LL); }},
    {"string SetFromUTF8", [](XCString& t) { (void)t.SetFromUTF8("\xC3\xA9t\xC3\xA9 and a long enough text beside"); }},
};

Scenario StringScenario(char const* name, void (*change)(XCString&))
{
    static XCString twin; // of the string that is changed
    auto const make = [] { return twin = XCString(kText); };
    return AllOrNothing(name, make, change, [](XCString const& text) { return text; });
}

// Values that are built ---------------------------------------------------------------------------------------------

XCString Tokens()
{
    XCString all;
    XCString token;
    XCTokenizer tokenizer(L"first token of a line;;second token of it;a last one that is longer", L";",
                          XCTokenizer::EmptyTokens::Keep);
    while (tokenizer.GetNext(token)) all += token + L"|";
    return all;
}

XCString Converted()
{
    XCSmartPtr<XCStringConverter> const converter(new XCUTF8Converter);
    XCString text(kText);
    std::string const bytes = text.AsMbString(converter);
    XCErrorID const error = text.ConvertToUnicode(bytes.c_str(), converter);
    return text + L" " + error.AsString();
}

XCString ErrorTexts()
{
    XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource);
    source->Add(7, L"the file %s has %d lines of %f");
    source->Add(8, L"another text");
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 7));
    error->AddParam(XCString(L"a file with a long name.txt"));
    error->AddParam(12);
    error->AddParam(1.25);
    error->AddParam(XCDateTime(5));
    XCErrorWithArgs copy(*error);
    copy = *error;
    XCString text;
    XCErrorID const known = copy.AsString(text, XCFormatContext::defaultContext);
    XCString unknown;
    XCErrorID const missing = source->GetText(unknown, 9, XCFormatContext::defaultContext);
    return text + L"|" + unknown + L"|" + known.AsString() + (missing.Bad() ? L"missing" : L"?");
}

XCString ThrownText()
{
    try {
        bool const slow = Times(1000) == 1; // a checked heap takes minutes for the symbols
        throw XCException(XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(L"a failure with a long text", 5))),
                          slow);
    } catch (XCException const& failure) {
        XCException const copy(failure);
        XCString const text = copy.What() + L"|" + XCErrorReportText(copy.GetErrorID());
        return copy.Stack().IsNull() ? text : text + L"|stack";
    }
}

XCString Shown(XCDateTimeEx const& when, wchar_t const* format)
{
    XCString text;
    XCErrorID const error = when.AsString(text, format);
    return text + error.AsString();
}

XCString Dates()
{
    XCDateTimeEx const when(2024, 2, 29);
    XCDurationEx const span(L"36 hours");
    XCString text = when.AsString() + L"|" + Shown(when, L"%A, %d. %B %Y %H:%M:%S") + L"|" + span.AsString();
    text += L"|" + XCPrintf(L"%0:s takes %1:u", {L"the long job of the night", L"3725"});
    return text + L"|" + Shown(XCDateTimeEx(XCString(L"2024/02/29 12:00:00")), L"%c");
}

XCString CommandLine()
{
    XCCommandLine const line(L"program.exe /config:\"a file with blanks.ini\" -trace:2 plain.txt /wide:value /unknown");
    XCCommandLine copy(L"other.exe");
    copy = line;
    XCString all;
    for (auto const& argument : copy.GetParsedArgumentVector())
        all += argument.GetArgument() + L"=" + argument.GetValueAsString() + L"|";
    std::vector<XCString> invalid;
    copy.GetInvalidArguments({L"config", L"trace", L"wide"}, invalid);
    for (XCString const& name : invalid) all += name;
    XCCommaSeparatedValues values;
    values.Put(L"a value, with a comma").Put(L"another \"quoted\" one").Put(12);
    return all + copy.GetFileName(0) + values.AsString() + values.Get();
}

XCString Pattern(wchar_t const* pattern, XCRegEx::Limits const& limits)
{
    XCStringRegExParser parser{XCString(pattern)};
    XCRegEx const first(parser.Parse(), false, limits);
    XCRegEx copy(first);
    copy = first;
    XCString const subject(L"xx-abcabcabd-2024 and the rest of the line abababababababab");
    return copy.GetConstantStart() + (copy.Match(subject) ? L" matches" : L" does not match") +
           (copy.UsesStateSets() ? L" by sets" : L" by table");
}

XCString TablePattern()
{
    return Pattern(L"x+-([a-c]{3}|abd)*-[0-9]{1,4} .*", {});
}

XCString SetPattern()
{
    return Pattern(L".*(a|b)..........(a|b).*", {8, 4096});
}

XCString Condition()
{
    XCCondition condition;
    condition.FromString(L"name = 'a name that is longer' AND (size > 12 OR when >= TO_DATE('2024/02/29 00:00:00') "
                         L"OR ratio < 1.5)");
    XCConditionParams params;
    params.Set(L"name", L"a name that is longer")
        .Set(L"size", XCConditionValue(3))
        .Set(L"ratio", XCConditionValue(1.0));
    XCCondition copy;
    copy = condition;
    return copy.ToString() + copy.ToString(true) + (copy.Evaluate(params) ? L" true" : L" false") +
           condition.GetReadError().AsString();
}

Table<char const*, XCString (*)()> const kBuilds = {
    {"tokens", Tokens},
    {"converters", Converted},
    {"error texts", ErrorTexts},
    {"exceptions", ThrownText},
    {"dates", Dates},
    {"command line", CommandLine},
    {"pattern, table", TablePattern},
    {"pattern, state sets", SetPattern},
    {"condition", Condition},
};

Scenario BuildScenario(char const* name, XCString (*make)())
{
    return {name, [make, expected = make()] {
                XCString result;
                if (!Attempt([&] { result = make(); })) result = make();
                EXPECT_EQ(result, expected);
            }};
}

// Objects with more than one part -----------------------------------------------------------------------------------

/// After a reload that failed the file is not saved over, and the next one has all.
void ReloadConfig()
{
    static ScratchFile const disk(faults::kConfig, "xc_faults_reload.ini");
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
    XCString const whole = Dump(*file);
    if (!Attempt([&] { (void)file->Reload(); })) {
        EXPECT_TRUE((Dump(*file) == whole || file->Save().Bad()) && file->Reload().Good());
    }
    EXPECT_EQ(Dump(*file), whole);
}

Table<char const*, void (*)(XCConfigFile&)> const kConfigEdits = {
    {"config SetString new", [](XCConfigFile& f) { f.SetString(L"first", L"a new key", L"and a value for it"); }},
    {"config SetString old", [](XCConfigFile& f) { f.SetString(L"second", L"number", L"a value for it"); }},
    {"config AddSection", [](XCConfigFile& f) { f.AddSection(f.GetSectionsBegin()->GetName() + L" copied"); }},
    {"config copy a section", [](XCConfigFile& f) { f.AddSection(*f.GetSectionsBegin()); }},
    {"config assign a section", [](XCConfigFile& f) { *f.FindSection(L"second") = *f.FindSection(L"first"); }},
    {"config SetKey", [](XCConfigFile& f) { f.FindSection(L"first")->FindLine(L"key")->SetKey(L"a longer key"); }},
    {"config AddComment",
     [](XCConfigFile& f) { f.FindSection(L"second")->GetComments().AddComment(L"more about it"); }},
};

/// A new section that SetString had to make may stay without its line; everything else is all or nothing. Many sections
/// and lines, so that the indices of both come in.
Scenario ConfigScenario(char const* name, void (*change)(XCConfigFile&))
{
    auto const make = [] {
        static ScratchFile const disk(faults::kConfig, "xc_faults_edit.ini");
        XCSmartPtr<XCConfigFile> file = XCConfigFile::Load(disk.Path());
        for (long i = 0; i < 12; ++i) {
            XCString number;
            number.Format(L"%ld", i);
            file->SetString(L"section " + number, L"key", L"value");
            file->SetString(L"first", L"key " + number, L"value");
        }
        return file;
    };
    return AllOrNothing(
        name, make, [change](XCSmartPtr<XCConfigFile> const& file) { change(*file); },
        [](XCSmartPtr<XCConfigFile> const& file) {
            XCString text = Dump(*file);
            for (wchar_t const* const section : {L"first", L"second", L"section 11"}) // by the index
                text += file->FindSection(section) ? L"+" : L"-";
            return text + file->GetString(L"first", L"key 11", L"-");
        });
}

Scenario ConditionScenario()
{
    return AllOrNothing(
        "condition edits", [] { return XCCondition(L"a = 1 AND (b > 2 OR c = 'text that is longer')"); },
        [](XCCondition& condition) { condition& XCCondition(L"d = 5 AND e = 'another text of some length'"); },
        [](XCCondition const& condition) { return condition.ToString(); });
}

Scenario ParamsScenario()
{
    return AllOrNothing(
        "condition parameters", [] { return XCConditionParams().Set(L"a", XCConditionValue(1)); },
        [](XCConditionParams& params) { params.Set(L"b", XCString(L"a text that is kept")); },
        [](XCConditionParams params) {
            static int later = 0; // each time another name, which must not come to the position of "b"
            params.Set(XCString().Format(L"%d", ++later), XCConditionValue(2));
            return XCString(params.GetValue(L"b").IsNull() ? L"-" : L"b=") + XCString(params.GetValue(L"b").AsText()) +
                   XCString(params.GetValue(L"a").IsNull() ? L"-" : L"a");
        });
}

// Logging: never throws, counts what it had to drop -----------------------------------------------------------------------

struct Ear final : XCLogSubscriberI {
    void OnFlush(int, XCString const& text) override { heard += text; }
    XCString heard;
};

/// Records through a channel and its stream. A record that is lost is counted, and the next one arrives.
void LogThroughChannel()
{
    auto* const ear = new Ear;
    XCSmartPtr<XCLogSubscriberI> const subscriber(ear);
    XCLogManager manager;
    std::uint64_t failures = 0;
    bool const done = Attempt([&] {
        manager.AddSubscriber(subscriber);
        XCLogChannel& channel = manager.GetOrAddChannel(L"a channel with a long name");
        channel.Write(1, L"a record that is written at once\n");
        channel.GetStream() << L"a record by the stream, " << L"in two parts" << std::endl;
        XCLogRecord(channel, 1) << L"a record of parts, " << 1.5 << L'\n';
    });
    failures = manager.GetFailureCount();
    XCString const all(
        L"a record that is written at once\na record by the stream, in two parts\na record of parts, 1.5\n");
    EXPECT_TRUE(!done || failures != 0 || ear->heard == all) << ear->heard.AsUTF8();
    if (manager.GetSubscriberCount() == 0) manager.AddSubscriber(subscriber);
    ear->heard = L"";
    manager.GetOrAddChannel(L"a channel with a long name").GetStream() << L"next" << std::endl;
    EXPECT_EQ(ear->heard, XCString(L"next\n"));
    EXPECT_TRUE(manager.RemoveSubscriber(subscriber));
}

/// Leaving never fails: it is what destructors do.
void LeaveLog()
{
    XCSmartPtr<XCLogSubscriberI> const subscriber(new Ear);
    XCLogManager manager;
    XCLogChannel& channel = manager.GetOrAddChannel(L"channel");
    manager.AddSubscriber(subscriber);
    channel.AddSubscriber(subscriber);
    channel.GetStream() << L"not yet flushed";
    EXPECT_TRUE(Attempt([&] {
        EXPECT_TRUE(manager.RemoveSubscriber(subscriber));
        manager.Flush();
    }));
    EXPECT_EQ(manager.GetSubscriberCount(), 0u);
}

/// A log file whose memory fails has whole records only, and says how many are missing.
void LogFile()
{
    ScratchFolder const folder;
    XCString const path = folder.Path("a.log");
    XCSmartPtr<XCLogFile> const log(new XCLogFile);
    Attempt([&] { (void)log->Open(path); });
    EXPECT_TRUE(log->IsOpen() || log->Open(path).Good());
    std::uint64_t const before = log->GetFailureCount();
    XCString const first(L"first record, one that is longer than a short text\n");
    EXPECT_TRUE(Attempt([&] {
        log->PutString(first);
        log->SetAutoFlush(false);
        log->LogArgs(L"a number %d and a text %s", 5, L"that is longer");
        log->Flush();
    }));
    log->PutString(L"last\n");
    log->Close();
    std::string const bytes = folder.Bytes("a.log");
    EXPECT_TRUE(bytes.ends_with("last\r\n")) << bytes;
    std::uint64_t records = log->GetFailureCount() - before;
    for (char const* const record :
         {"first record, one that is longer than a short text\r", "> a number 5 and a text that is longer\r"})
        if (bytes.find(record) != std::string::npos) ++records;
    EXPECT_EQ(records, 2u) << bytes;
}

/// The same for a file that is put aside when it is full.
void RotatingLog()
{
    ScratchFolder const folder;
    auto* const log = new XCRotatingFileLogSubscriber(folder.Path("a.log"), {.maxBytes = 60, .keepFiles = 3});
    XCSmartPtr<XCLogSubscriberI> const keep(log);
    XCString const record = XCString(L'x', 40) + L"\n";
    log->OnFlush(1, record);
    EXPECT_TRUE(Attempt([&] { log->OnFlush(1, record); }));
    log->OnFlush(1, record);
    log->Close();
    std::string bytes;
    for (char const* const name : {"a.log.2", "a.log.1", "a.log"}) bytes += folder.Bytes(name);
    EXPECT_EQ(bytes.size() % 41, 0u) << bytes;
    EXPECT_TRUE(bytes.size() == 3 * 41 || (bytes.size() == 2 * 41 && log->GetFailureCount() > 0)) << bytes;
}

/// The trace goes on after whatever its set-up or a record has missed.
void Trace()
{
    ScratchFolder const folder;
    auto const record = [path = folder.Path("trace")](wchar_t const* text) {
        XCTrace::SetTraceFolderName(path.AsWChar());
        XCTrace::SetTraceSubjects(L"ALL");
        XCTrace::Msg(XCTrace::TraceErrors, XCTrace::TraceLog, L"here", L"a record of some length: %s", text);
    };
    Attempt([&] { record(L"first"); });
    record(L"second");
    XCTrace::SetTraceSubjects(L"");
    std::string bytes;
    for (auto const& entry : std::filesystem::directory_iterator(folder.path / "trace"))
        bytes += ReadFile(entry.path());
    EXPECT_TRUE(bytes.ends_with("a record of some length: second\n")) << bytes;
}

/// A call that would build the automaton by the way answers without it, and a later one builds it.
void GrowingPattern()
{
    XCRegEx const expression(XCStringRegExParser(L"(a|b)*a(a|b){9}").Parse(), false);
    std::wstring subject(70000, L'b');
    subject[subject.size() - 10] = L'a';
    bool matches = true;
    EXPECT_TRUE(Attempt([&] {
        for (int call = 0; call < 5; ++call) matches = matches && expression.Match(subject.c_str());
    }));
    EXPECT_TRUE(matches && expression.Match(subject.c_str()) && !expression.UsesStateSets());
    subject.back() = L'c';
    EXPECT_FALSE(expression.Match(subject.c_str()));
}

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> all;
    for (auto const& [name, change] : kStringEdits) all.push_back(StringScenario(name, change));
    for (auto const& [name, make] : kBuilds) all.push_back(BuildScenario(name, make));
    for (auto const& [name, change] : kConfigEdits) all.push_back(ConfigScenario(name, change));
    all.insert(all.end(), {ConditionScenario(),
                           ParamsScenario(),
                           {"pattern that grows", GrowingPattern},
                           {"config load", faults::LoadConfig},
                           {"config reload", ReloadConfig},
                           {"config save", faults::SaveConfig},
                           {"log channel", LogThroughChannel},
                           {"log, leaving it", LeaveLog},
                           {"log file", LogFile},
                           {"log file, rotating", RotatingLog},
                           {"trace", Trace}});
    return all;
}

TEST(FailingMemory, LeavesEverythingWhole)
{
    faults::FailEverywhere(Scenarios());
}

} // namespace
