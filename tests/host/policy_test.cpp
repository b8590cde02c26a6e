// From where code may come: planted libraries, rights, links, and import tables of every sort.
#include "host/hostile_host.h"

#include "app/host/LoadPolicy.h"
#include "win32/FileRights.h"

#include <sddl.h>

namespace {

using namespace xc_test;
using xc::win32::SystemPath;

/// Everybody may change the file.
void GrantToEveryone(std::filesystem::path const& file)
{
    void* rights = nullptr;
    ASSERT_TRUE(
        ::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1, &rights, nullptr));
    EXPECT_TRUE(::SetFileSecurityW(file.wstring().c_str(), DACL_SECURITY_INFORMATION, rights));
    ::LocalFree(rights);
}

std::filesystem::path ProgramFolder()
{
    return ModuleFolder::Source().parent_path();
}

/// Loads what XC_PLANT_LOAD names, under a policy of one folder unless that is empty. Exit code 7: a planted library ran.
TEST(DISABLED_PlantChild, Loads)
{
    std::wstring const folder = EnvironmentValue(L"XC_PLANT_FOLDER");
    {
        XCApplicationWithPlugIns host(L"host.exe /noconsole",
                                      new XCFileLogSubscriber(XCString(EnvironmentValue(L"XC_PLANT_LOG"))), false);
        XCLoadPolicy policy;
        policy.folders.emplace_back(folder);
        if (!folder.empty()) {
            EXPECT_TRUE(host.SetLoadPolicy(policy).Good());
        }
        (void)host.LoadPlugIn(XCString(EnvironmentValue(L"XC_PLANT_LOAD")), XCApplicationWithPlugIns::kEntryName);
    }
    std::_Exit(EnvironmentValue(L"XC_PLANTED_RAN").empty() ? 0 : 7);
}

struct Planting {
    ModuleFolder trusted{{"reader"}};
    ScratchFolder other{trusted.path.parent_path() / "xc_planted"};

    DWORD Load(std::wstring const& what, bool restricted)
    {
        std::filesystem::remove(log);
        ::SetEnvironmentVariableW(L"XC_PLANT_LOG", log.wstring().c_str());
        ::SetEnvironmentVariableW(L"XC_PLANT_LOAD", what.c_str());
        ::SetEnvironmentVariableW(L"XC_PLANT_FOLDER", restricted ? trusted.Path().AsWChar() : L"");
        DWORD const code = ChildProcess(ChildProcess::OfTest(L"DISABLED_PlantChild.Loads")).Wait();
        said = ReadFile(log);
        return code;
    }
    std::filesystem::path const log = std::filesystem::temp_directory_path() / "xc_planted.log";
    std::string said;
};

TEST(LoadPolicy, NoPlantedLibraryRunsWhereverItLies)
{
    std::filesystem::path const planted = ModuleFolder::Source() / "planted.osx";
    std::filesystem::path const before = std::filesystem::current_path();
    std::wstring const path = EnvironmentValue(L"PATH");
    enum class Where { Current, Path, Module, Program };
    // Where a library lies that the system would not take anyway, the policy must not make it do so.
    enum class Without { Runs, DoesNot, Depends };
    for (auto const& [fault, where, isModule, without, why] : Rows<Where, bool, Without, std::string>{
             {"a module of the current folder", Where::Current, true, Without::Runs, "stands in none of the folders"},
             {"a module along PATH", Where::Path, true, Without::DoesNot, ""},
             {"a module of the folder of modules", Where::Module, true, Without::Runs, "may change"},
             {"a module of the program's folder", Where::Program, true, Without::Runs, "stands in none of the folders"},
             {"a dependency in the current folder", Where::Current, false, Without::Runs,
              "links to host_helper.dll, which stands in none"},
             {"a dependency along PATH", Where::Path, false, Without::Runs,
              "links to host_helper.dll, which stands in none"},
             {"a dependency in the folder of modules", Where::Module, false, Without::Runs, "may change"},
             {"a dependency in the program's folder", Where::Program, false, Without::Depends,
              "links to host_helper.dll, which stands in none"},
         })
    {
        SCOPED_TRACE(fault);
        Planting test;
        std::filesystem::path const folder = where == Where::Module    ? test.trusted.path
                                             : where == Where::Program ? ProgramFolder()
                                                                       : test.other.path;
        std::filesystem::path const plant = folder / (isModule ? "xc_plant.osx" : "host_helper.dll");
        copy_file(planted, plant, std::filesystem::copy_options::overwrite_existing);
        if (where == Where::Module) GrantToEveryone(plant);
        if (!isModule) test.trusted.Add("needs_helper");
        if (where == Where::Current) std::filesystem::current_path(folder);
        if (where == Where::Path) ::SetEnvironmentVariableW(L"PATH", (folder.wstring() + L";" + path).c_str());
        bool const isBare = where == Where::Current || where == Where::Path;
        std::wstring const load = !isModule ? (test.trusted.path / "needs_helper.osx").wstring()
                                  : isBare  ? L"xc_plant.osx"
                                            : plant.wstring();
        DWORD const unlimited = test.Load(load, false);
        EXPECT_TRUE(without == Without::Depends || unlimited == (without == Without::Runs ? 7u : 0u)) << test.said;
        EXPECT_EQ(test.Load(load, true), 0u) << test.said;
        EXPECT_NE(test.said.find(why, test.said.find("is refused by the policy of the host: ")), std::string::npos)
            << test.said;
        EXPECT_EQ(test.Load((test.trusted.path / "reader.osx").wstring(), true), 0u);
        EXPECT_NE(test.said.find(">>>> Initializing <Reader>... Done."), std::string::npos) << test.said;
        std::filesystem::current_path(before);
        ::SetEnvironmentVariableW(L"PATH", path.c_str());
        std::filesystem::remove(plant);
    }
}

/// Files and folders that are whatever a row says; all others are there and safe.
class FakeTrust final : public xc::host::TrustSteps {
public:
    std::map<std::wstring, xc::host::TrustFacts> facts;
    std::map<std::wstring, std::vector<std::wstring>> imports;
    unsigned long signature = 0;

    xc::host::TrustFacts FactsOf(SystemPath const& path) override
    {
        auto const found = facts.find(path.Text());
        return found == facts.end() ? xc::host::TrustFacts{!path.Text().ends_with(L".dll"), false, {}, {}}
                                    : found->second;
    }
    unsigned long CheckSignature(SystemPath const&) override { return signature; }
    bool ImportsOf(SystemPath const& path, std::vector<std::wstring>& names) override
    {
        names = imports[path.Text()];
        return true;
    }
    bool IsAtHand(std::wstring const& name) override { return name == L"KERNEL32.dll"; }
};

TEST(LoadPolicy, WhatCouldBeExchangedOnTheWayToAFileRefusesIt)
{
    SystemPath const module(L"c:\\a\\mods\\sub\\m.osx");
    XCLoadPolicy policy;
    policy.folders = {L"c:\\a\\mods"};
    policy.signatures = true;
    xc::host::TrustFacts const link{true, true, {}, {}}, written{true, false, L"Users", {}},
        broken{true, false, {}, L"Users"};
    auto const why = [&](FakeTrust& trust) {
        return std::string(xc::host::LoadPolicy(policy, trust).WhyRefused(module).AsUTF8());
    };
    for (auto const& [fault, place, facts, told] : Rows<std::wstring, xc::host::TrustFacts, std::string>{
             {"nothing", L"c:\\b", link, ""},
             {"a link as the file", L"c:\\a\\mods\\sub\\m.osx", link,
              "is reached through the link c:\\a\\mods\\sub\\m.osx"},
             {"a link above the folder", L"c:\\a", link, "is reached through the link c:\\a"},
             {"a folder that others write", L"c:\\a\\mods", written, "is not safe: Users may change c:\\a\\mods"},
             {"a root where others make folders", L"c:\\", written, ""},
             {"a folder above that others exchange", L"c:\\a", broken, "is not safe: Users may change c:\\a"},
             {"rights that nobody tells", L"c:\\a", {}, "cannot be judged: c:\\a does not tell its rights"},
         })
    {
        FakeTrust trust;
        trust.facts[place] = facts;
        EXPECT_EQ(why(trust), told) << fault;
    }
    FakeTrust trust;
    trust.facts[L"c:\\a\\mods\\one.dll"] = {true, false, {}, {}};
    trust.imports[module.Text()] = {L"KERNEL32.dll", L"api-ms-win-core-file-l1-1-0.dll", L"one.dll"};
    trust.imports[L"c:\\a\\mods\\one.dll"] = {L"one.dll", L"two.dll"};
    EXPECT_EQ(
        why(trust),
        "links to c:\\a\\mods\\one.dll, which links to two.dll, which stands in none of the folders of the policy");
    trust.signature = 0x800B0100;
    EXPECT_TRUE(why(trust).starts_with("has no signature that the system trusts: ")) << why(trust);
    policy.folders = {L"c:\\a\\mods\\su"};
    EXPECT_EQ(why(trust), "stands in none of the folders of the policy");
}

TEST(LoadPolicy, AFolderThatIsMissingIsToldAndChangesNothing)
{
    ModuleFolder const folder({"reader"});
    Session const session(folder, {}, [&](auto& host) {
        XCLoadPolicy policy;
        policy.folders = {folder.Path() + L"\\absent"};
        EXPECT_NE(host.SetLoadPolicy(policy).AsString().Find(L"\\absent"), XCString::npos);
    });
    ExpectSaid(session, L">>>> Initializing <Reader>... Done.\n");
}

TEST(LoadPolicy, WhoeverMayWriteIsFoundInTheRights)
{
    std::vector<std::wstring> const trusted = {L"S-1-5-18"};
    for (auto const& [fault, rights, writer, breaker] : Rows<xc::win32::FileRights, std::wstring, std::wstring>{
             {"reading counts", {L"S-1-5-18", {{L"S-1-1-0", FILE_GENERIC_READ}}, false}, L"", L""},
             {"writing does not", {L"S-1-5-18", {{L"S-1-1-0", FILE_WRITE_DATA}}, false}, L"S-1-1-0", L""},
             {"deleting what is in it does not",
              {L"S-1-5-18", {{L"S-1-1-0", FILE_DELETE_CHILD}}, false},
              L"S-1-1-0",
              L"S-1-1-0"},
             {"changing the rights does not", {L"S-1-5-18", {{L"S-1-1-0", WRITE_DAC}}, false}, L"S-1-1-0", L"S-1-1-0"},
             {"an owner does not", {L"S-1-5-21-9", {}, false}, L"S-1-5-21-9", L"S-1-5-21-9"},
             {"no list does not", {L"S-1-5-18", {}, true}, L"S-1-1-0", L"S-1-1-0"},
         })
    {
        SCOPED_TRACE(fault);
        EXPECT_EQ(xc::win32::WriterAmong(rights, trusted), writer);
        EXPECT_EQ(xc::win32::BreakerAmong(rights, trusted), breaker);
    }
}

TEST(LoadPolicy, ImportTablesAreReadAndNeverBelieved)
{
    std::string const whole = ReadFile(ModuleFolder::Source() / "needs_helper.osx");
    std::vector<std::wstring> names;
    ASSERT_TRUE(xc::host::ReadImports(whole, names));
    EXPECT_EQ(std::ranges::count(names, L"host_helper.dll"), 1);
    EXPECT_EQ(std::ranges::count(names, L"KERNEL32.dll"), 1);
    std::size_t refused = 0;
    for (std::size_t at = 0; at < 1024; ++at)
        for (char const damage : {'\x01', '\x40', '\xFF'}) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ damage);
            std::vector<std::wstring> found;
            refused += !xc::host::ReadImports(damaged, found);
            EXPECT_LE(found.size(), 5000u);
        }
    EXPECT_GT(refused, 30u);
    for (std::size_t length = 0; length < 1500; ++length)
        EXPECT_FALSE(xc::host::ReadImports(std::string_view(whole).substr(0, length), names)) << length;
}

} // namespace
