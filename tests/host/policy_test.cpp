// From where code may come: planted libraries, rights, links, and import tables of every sort.
#include "host/hostile_host.h"

#include "app/host/LoadPolicy.h"
#include "win32/FileRights.h"

#include <sddl.h>

namespace {

using namespace xc_test;
using xc::host::TrustFacts;
using xc::win32::SystemPath;

/// Loads what XC_PLANT_LOAD names, under a policy of one folder unless that is empty. Exit code 7: a planted library ran.
TEST(DISABLED_PlantChild, Loads)
{
    XCString const folder(EnvironmentValue(L"XC_PLANT_FOLDER"));
    {
        XCApplicationWithPlugIns host(L"host.exe /noconsole",
                                      new XCFileLogSubscriber(XCString(EnvironmentValue(L"XC_PLANT_LOG"))), false);
        if (!folder.IsNull()) {
            EXPECT_TRUE(host.SetLoadPolicy({.folders = {folder}}).Good());
        }
        if (std::wstring const helper = EnvironmentValue(L"XC_PLANT_HELPER"); !helper.empty()) {
            EXPECT_TRUE(::LoadLibraryW(helper.c_str())); // not judged, since it is there
            host.SetProbe({});
        }
        (void)host.LoadPlugIn(XCString(EnvironmentValue(L"XC_PLANT_LOAD")), XCApplicationWithPlugIns::kEntryName);
    }
    std::_Exit(EnvironmentValue(L"XC_PLANTED_RAN").empty() ? 0 : 7);
}

struct Planting {
    ModuleFolder trusted{{"reader", "needs_helper"}};
    ScratchFolder other{trusted.path.parent_path() / "xc_planted"};
    std::filesystem::path const before = std::filesystem::current_path(), log = other.path / "log";
    std::wstring const search = EnvironmentValue(L"PATH");
    std::string said;

    ~Planting()
    {
        std::filesystem::current_path(before);
        ::SetEnvironmentVariableW(L"PATH", search.c_str());
    }
    DWORD Load(std::filesystem::path const& what, bool restricted)
    {
        std::filesystem::remove(log);
        ::SetEnvironmentVariableW(L"XC_PLANT_LOG", log.wstring().c_str());
        ::SetEnvironmentVariableW(L"XC_PLANT_LOAD", what.wstring().c_str());
        ::SetEnvironmentVariableW(L"XC_PLANT_FOLDER", restricted ? trusted.Path().AsWChar() : L"");
        DWORD const code = ChildProcess(ChildProcess::OfTest(L"DISABLED_PlantChild.Loads")).Wait();
        said = ReadFile(log);
        return code;
    }
    /// Puts the library there, where everybody may change it.
    static void Plant(std::filesystem::path const& file)
    {
        copy_file(ModuleFolder::Source() / "planted.osx", file, std::filesystem::copy_options::overwrite_existing);
        void* all = nullptr;
        ASSERT_TRUE(
            ::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1, &all, nullptr));
        EXPECT_TRUE(::SetFileSecurityW(file.wstring().c_str(), DACL_SECURITY_INFORMATION, all));
        ::LocalFree(all);
    }
};

TEST(LoadPolicy, NoPlantedLibraryRunsWhereverItLies)
{
    // Where a library lies that the system would not take anyway, the policy must not make it do so.
    enum Place { Current, Path, Module, Program };
    enum Without { Runs, DoesNot, Depends };
    for (auto const& [fault, where, module, dependency, why] : Rows<Place, Without, Without, std::string>{
             {"the current folder", Current, Runs, Runs, "stands in none of the folders"},
             {"PATH", Path, DoesNot, Runs, "stands in none of the folders"},
             {"the folder of modules", Module, Runs, Runs, "may change"},
             {"the program's folder", Program, Runs, Depends, "stands in none of the folders"},
         })
        for (bool const isModule : {true, false}) {
            SCOPED_TRACE(fault + std::string(isModule ? ", a module" : ", a dependency"));
            Planting test;
            std::filesystem::path const folder = where == Module    ? test.trusted.path
                                                 : where == Program ? ModuleFolder::Source().parent_path()
                                                                    : test.other.path;
            std::filesystem::path const plant = folder / (isModule ? "xc_plant.osx" : "host_helper.dll");
            test.Plant(plant);
            if (where == Current) std::filesystem::current_path(folder);
            if (where == Path) ::SetEnvironmentVariableW(L"PATH", (folder.wstring() + L";" + test.search).c_str());
            std::filesystem::path const load = !isModule       ? test.trusted.path / "needs_helper.osx"
                                               : where <= Path ? plant.filename()
                                                               : plant;
            Without const without = isModule ? module : dependency;
            EXPECT_TRUE((test.Load(load, false) == 7) == (without == Runs) || without == Depends) << test.said;
            EXPECT_EQ(test.Load(load, true), 0u);
            std::size_t const at = test.said.find(std::string("is refused by the policy of the host: it ") +
                                                  (isModule ? "" : "links to "));
            EXPECT_NE(test.said.find(why, at), std::string::npos) << test.said;
            std::filesystem::remove(plant);
        }
    Planting test;
    EXPECT_EQ(test.Load(test.trusted.path / "reader.osx", true), 0u);
    EXPECT_NE(test.said.find(">>>> Initializing <Reader>... Done."), std::string::npos) << test.said;
    // The probe's process has not loaded it, and must not find another one of its name.
    test.Plant(test.other.path / "host_helper.dll");
    ::SetEnvironmentVariableW(L"PATH", (test.other.path.wstring() + L";" + test.search).c_str());
    ::SetEnvironmentVariableW(L"XC_PLANT_HELPER", (ModuleFolder::Source() / "host_helper.dll").c_str());
    EXPECT_EQ(test.Load(test.trusted.path / "needs_helper.osx", true), 0u);
    ::SetEnvironmentVariableW(L"XC_PLANT_HELPER", nullptr);
    EXPECT_NE(test.said.find("is refused by its probe: "), std::string::npos) << test.said;
}

/// Files and folders that are whatever a row says; all others are there and safe.
struct FakeTrust final : xc::host::TrustSteps {
    std::map<std::wstring, TrustFacts> facts;
    std::map<std::wstring, std::vector<std::wstring>> imports;
    unsigned long signature = 0;

    TrustFacts FactsOf(SystemPath const& path) override
    {
        auto const found = facts.find(path.Text());
        return found == facts.end() ? TrustFacts{!path.Text().ends_with(L".dll"), false, {}, {}} : found->second;
    }
    unsigned long CheckSignature(SystemPath const&) override { return signature; }
    bool ImportsOf(SystemPath const& path, std::vector<std::wstring>& names) override
    {
        return names = imports[path.Text()], true;
    }
    bool IsAtHand(std::wstring const& name) override { return name == L"KERNEL32.dll"; }
};

TEST(LoadPolicy, WhatCouldBeExchangedOnTheWayToAFileRefusesIt)
{
    XCLoadPolicy policy{.folders = {L"c:\\a\\mods"}, .signatures = true};
    auto const why = [&](FakeTrust& trust) {
        return std::string(
            xc::host::LoadPolicy(policy, trust).WhyRefused(SystemPath(L"c:\\a\\mods\\sub\\m.osx")).AsUTF8());
    };
    TrustFacts const link{true, true, {}, {}}, written{true, false, L"Users", {}}, broken{true, false, {}, L"Users"};
    for (auto const& [fault, place, facts, told] : Rows<std::wstring, TrustFacts, std::string>{
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
    trust.imports[L"c:\\a\\mods\\sub\\m.osx"] = {L"KERNEL32.dll", L"api-ms-win-core-file-l1-1-0.dll", L"one.dll"};
    trust.imports[L"c:\\a\\mods\\one.dll"] = {L"one.dll", L"two.dll"};
    EXPECT_EQ(why(trust), "links to c:\\a\\mods\\one.dll, which links to two.dll, which stands in none of the folders "
                          "of the policy");
    trust.signature = 0x800B0100;
    EXPECT_TRUE(why(trust).starts_with("has no signature that the system trusts: ")) << why(trust);
    policy.folders = {L"c:\\a\\mods\\su"};
    EXPECT_EQ(why(trust), "stands in none of the folders of the policy");
}

TEST(LoadPolicy, AFolderThatIsMissingIsToldAndChangesNothing)
{
    ModuleFolder const folder({"reader"});
    Session const session(folder, {}, [&](auto& host) {
        XCErrorID const error = host.SetLoadPolicy({.folders = {folder.Path() + L"\\absent"}});
        EXPECT_NE(error.AsString().Find(L"\\absent"), XCString::npos);
    });
    ExpectSaid(session, L">>>> Initializing <Reader>... Done.\n");
}

TEST(LoadPolicy, WhoeverMayWriteIsFoundInTheRights)
{
    constexpr wchar_t kOne[] = L"S-1-1-0", kSystem[] = L"S-1-5-18";
    for (auto const& [fault, owner, granted, hasNoList, writes, exchanges] :
         Rows<std::wstring, std::uint32_t, bool, bool, bool>{
             {"reading counts", kSystem, FILE_GENERIC_READ, false, false, false},
             {"writing does not", kSystem, FILE_WRITE_DATA, false, true, false},
             {"deleting what is in it does not", kSystem, FILE_DELETE_CHILD, false, true, true},
             {"changing the rights does not", kSystem, WRITE_DAC, false, true, true},
             {"an owner does not", kOne, 0, false, true, true},
             {"no list does not", kSystem, 0, true, true, true}})
    {
        xc::win32::FileRights const rights{owner, {{kOne, granted}}, hasNoList};
        EXPECT_EQ(xc::win32::WriterAmong(rights, {kSystem}), writes ? kOne : L"") << fault;
        EXPECT_EQ(xc::win32::BreakerAmong(rights, {kSystem}), exchanges ? kOne : L"") << fault;
    }
}

TEST(LoadPolicy, ImportTablesAreReadAndNeverBelieved)
{
    std::string const whole = ReadFile(ModuleFolder::Source() / "needs_helper.osx");
    std::vector<std::wstring> names;
    ASSERT_TRUE(xc::host::ReadImports(whole, names));
    for (wchar_t const* const name : {L"host_helper.dll", L"KERNEL32.dll"})
        EXPECT_EQ(std::ranges::count(names, name), 1);
    std::size_t refused = 0;
    for (std::size_t at = 0; at < 3 * 1024; ++at) {
        std::string damaged = whole;
        damaged[at / 3] = static_cast<char>(damaged[at / 3] ^ "\x01\x40\xFF"[at % 3]);
        names.clear();
        refused += !xc::host::ReadImports(damaged, names);
        EXPECT_LE(names.size(), 5000u);
    }
    EXPECT_GT(refused, 30u);
    for (std::size_t length = 0; length < 1500; ++length)
        EXPECT_FALSE(xc::host::ReadImports(std::string_view(whole).substr(0, length), names)) << length;
}

} // namespace
