// Layers of settings, levels of channels from them; lines of files; what moves between sections and files.
#include "config/config_files.h"
#include "prelude.h"

namespace {

void SetVariable(char const* name, char const* value)
{
#ifdef _WIN32
    ::_putenv_s(name, value);
#else
    ::setenv(name, value, 1);
#endif
}

XCString OriginsOf(XCConfigLayers const& layers, wchar_t const* section, wchar_t const* key)
{
    XCString text;
    for (XCConfigOrigin const& origin : layers.GetOrigins(section, key))
        text += XCString().Format(L"%s|%s|%u|%s;", origin.layer, origin.place, origin.line, origin.value);
    return text;
}

TEST(XCConfigLayers, TheStrongestLayerAnswersAndTellsWhatItHides)
{
    ScratchFile const site("; c\n\n[server]\nport=81\n", "xc_site.ini");
    SetVariable("XCTEST_SERVER__NAME", "env");
    SetVariable("xctest_Trace", "2");
    XCConfigLayers layers;
    layers.AddCommandLine(
        XCCommandLine(L"p.exe /Server.Port:82 /server.port:83 /log.Verbose /Plain:1 x.txt", L"/-", L":", false),
        L"Host");
    layers.AddEnvironment(L"XCTEST_", L"Host");
    EXPECT_TRUE(layers.AddFile(L"xc_no_such_file.ini").Bad() && layers.AddFile(site.Path()).Good());
    auto const base = XCConfigFile::FromText(L"[Server]\nPort=80\nName=base\nempty=\n[Log]\nPassword=p\x1B\ntoken=\n"
                                             L"verbose=no\n[SERVER]\nLost=1",
                                             L"base.ini");
    layers.AddFile(base, L"defaults");
    EXPECT_EQ(layers.GetSize(), 4u) << "a file that cannot be read became a layer";
    base->SetString(L"Log", L"New", L"n");
    // fault, section, key, value, origins
    Rows<wchar_t const*, wchar_t const*, wchar_t const*, wchar_t const*> const rows = {
        {"order of the layers, or first option", L"SERVER", L"PORT", L"82",
         L"command line|option Server.Port|0|82;xc_site.ini|xc_site.ini, line 4|4|81;defaults|base.ini, line 2|2|80;"},
        {"variable of the environment", L"Server", L"Name", L"env",
         L"environment|variable XCTEST_SERVER__NAME|0|env;defaults|base.ini, line 3|3|base;"},
        {"prefix of another spelling, no section", L"host", L"trace", L"2", L"environment|variable xctest_Trace|0|2;"},
        {"an empty value counts as missing", L"Server", L"Empty", L"", L"defaults|base.ini, line 4|4|;"},
        {"a switch has no value", L"Log", L"Verbose", L"true",
         L"command line|option log.Verbose|0|true;defaults|base.ini, line 8|8|no;"},
        {"option without a section", L"Host", L"Plain", L"1", L"command line|option Plain|0|1;"},
        {"set after the layer was added", L"Log", L"new", L"n", L"defaults|base.ini|0|n;"},
        {"a second section of the name is found", L"Server", L"Lost", nullptr, L""},
        {"an argument is taken for an option", L"Host", L"x.txt", nullptr, L""},
    };
    for (auto const& [fault, section, key, value, origins] : rows) {
        SCOPED_TRACE(fault);
        EXPECT_EQ(layers.GetString(section, key, L"none"), XCString(value ? value : L"none"));
        EXPECT_EQ(layers.Has(section, key), value != nullptr);
        EXPECT_EQ(OriginsOf(layers, section, key), XCString(origins).Replace(L"xc_site.ini", site.Path()));
    }
    EXPECT_EQ(layers.GetLong(L"Server", L"Port", 7) + layers.GetInt64(L"Server", L"None", 7), 89);
}

TEST(XCConfigLayers, TheReportIsAConfigurationWithoutSecrets)
{
    XCConfigLayers layers;
    layers.AddFile(XCConfigFile::FromText(L"[a]\nk=2\nDbPassword=one\x1B[2J\nPin=1\n[b]\nx=y"), L"strong");
    layers.AddFile(XCConfigFile::FromText(L"[A]\nK=1\ndbpassword=two\ntoken=\n[Secrets]\nanna=3", L"weak.ini"));
    layers.AddSecret(L"p?N");
    EXPECT_EQ(layers.GetReport(), XCString(L"[A]\n; from strong: line 2\n; hides \"1\" from weak.ini, line 2\nK=2\n"
                                           L"; from strong: line 3\n; hides \"********\" from weak.ini, line 3\n"
                                           L"dbpassword=********\n; from weak.ini, line 4\ntoken=\n"
                                           L"; from strong: line 4\nPin=********\n"
                                           L"\n[Secrets]\n; from weak.ini, line 6\nanna=********\n"
                                           L"\n[b]\n; from strong: line 6\nx=y\n"));
    EXPECT_EQ(Dump(*XCConfigFile::FromText(layers.GetReport())),
              L"A.K=2;A.dbpassword=********;A.token=;A.Pin=********;Secrets.anna=********;b.x=y;");
}

TEST(XCLogSettings, LevelsOfChannels)
{
    XCLogManager manager;
    XCSmartPtr<XCFileLogSubscriber> const all(new XCFileLogSubscriber(L"xc_unused.log"));
    all->SetDesiredLevel(9);
    manager.AddSubscriber(all);
    XCLogChannel const& early = manager.GetOrAddChannel(L"net");
    auto const settings =
        XCConfigFile::FromText(L"[LogLevels]\n*=warning\nNET=Debug\nnet.*=0\nnet.dns*=off\nbad=loud\nx=7\n");
    XCErrorID const read = XCSetLogLevels(manager, *settings);
    ASSERT_EQ(static_cast<int>(read), XCErrLogLevel);
    EXPECT_EQ(read->GetParameterValueAsString(1, XCExecContext()), XCString(L"loud"));
    XCString highest; // exact name, longest beginning, a beginning, a line after a bad one, all others
    for (wchar_t const* const name : {L"net", L"net.dns.cache", L"net.http", L"X", L"bad"}) {
        int level = 9;
        while (level > -9 && !manager.GetOrAddChannel(name).IsInterested(level)) --level;
        highest += XCString().Format(L"%s %d,", name, level);
    }
    EXPECT_EQ(highest, XCString(L"net 2,net.dns.cache -9,net.http 0,X 7,bad 0,"));
    XCConfigLayers layers;
    layers.AddFile(XCConfigFile::FromText(L"[L]\nnet=trace"));
    layers.AddFile(XCConfigFile::FromText(L"[L]\nnet=off"));
    EXPECT_TRUE(XCSetLogLevels(manager, layers, L"L").Good());
    EXPECT_TRUE(early.IsInterested(3) && !early.IsInterested(4)) << "the weaker layer won";
    EXPECT_TRUE(XCSetLogLevels(manager, *settings, L"none").Good());
    EXPECT_TRUE(early.IsInterested(9) && !early.IsInterested(10)) << "levels that nobody names any more hold";
}

TEST(XCConfigMoves, TextsOutliveTheirFile)
{
    XCConfigLine line;
    XCConfigSection section;
    {
        auto const file =
            XCConfigFile::FromText(L"[a]\n1=x\n2=x\n3=x\n4=x\n5=x\n6=x\n7=x\n8=x\n; c\nk=v\n[b]\n; d\nl=w");
        XCConfigSection& from = *file->FindSection(L"a");
        ASSERT_TRUE(from.FindLine(L"k")) << "which makes an index";
        line = std::move(*from.FindLine(L"k"));
        EXPECT_EQ(from.FindLine(L"k"), nullptr) << "found by a key that it has no more";
        section = std::move(*file->FindSection(L"b"));
    }
    EXPECT_EQ(line.GetValue() + *line.GetComments().begin(), L"v c");
    XCConfigLine const* const kept = section.FindLine(L"l");
    XCConfigSection moved(std::move(section));
    EXPECT_EQ(moved.FindLine(L"l"), kept) << "copied where it could move";
    moved.AddLine(std::move(line));
    auto const file = XCConfigFile::FromText(L"[x]\n");
    XCConfigSection& added = file->AddSection(std::move(moved));
    EXPECT_EQ(Dump(*file), L"b.l=w;b.k=v;");
    added.FindLine(L"k")->SetKey(L"n");
    EXPECT_TRUE(added.FindLine(L"n")) << "a moved line does not tell its new section of changes";
}

TEST(XCConfigMoves, LinesTellWhereTheyWereRead)
{
    auto const file = XCConfigFile::FromBytes(BytesOf("\xFF\xFE[\0a\0]\0\n\0\n\0k\0=\0v\0\n\0l\0\n\0m\0=\0"));
    EXPECT_EQ(Dump(*file), L"a.k=v;a.l\nm=;");
    XCConfigSection& section = *file->FindSection(L"a");
    EXPECT_EQ(section.FindLine(L"l\nm")->GetFileLine(), 4u);
    EXPECT_EQ(section.AddLine(*section.FindLine(L"k")).GetFileLine(), 0u) << "a copy tells where the original was read";
    EXPECT_THROW((void)XCConfigFile::FromBytes("\xFF\xFE[", L"cut.ini"), XCConfigStreamException);
}

} // namespace
