// From where code may come: planted libraries, rights, links, and import tables of every sort.
#include "host/hostile_host.h"

#include "app/host/LoadPolicy.h"
#include "win32/FileRights.h"

#include <XelbrinCore/XCStringParts.h>

#include <sddl.h>

namespace {

using namespace xc_test;
using xc::host::TrustFacts;
using xc::win32::SystemPath;
using Path = std::filesystem::path;

/// XC_PLANT: a folder, a module to load with it as the current one and in PATH, the folder of a policy (empty: none),
/// whether it wants signatures, a library that is there already. Exit code 7: a planted library ran.
TEST(DISABLED_PlantChild, Loads)
{
    std::wstring const order = EnvironmentValue(L"XC_PLANT");
    std::vector<std::wstring_view> const parts = XCSplitViews(order, L"|");
    std::filesystem::current_path(Path(parts[0]) / "current");
    ::SetEnvironmentVariableW(L"PATH", (std::wstring(parts[0]) + L"\\path;" + EnvironmentValue(L"PATH")).c_str());
    {
        XCApplicationWithPlugIns host(L"host.exe /noconsole", new XCFileLogSubscriber(L"..\\log"), false);
        XCLoadPolicy const policy{.folders = {XCString(parts[2])}, .signatures = !parts[3].empty()};
        EXPECT_TRUE(parts[2].empty() || host.SetLoadPolicy(policy).Good());
        if (!parts[4].empty() && ::LoadLibraryW(XCString(parts[4]).AsWChar())) host.SetProbe({}); // not judged any more
        (void)host.LoadPlugIn(XCString(parts[1]), XCApplicationWithPlugIns::kEntryName);
    }
    std::_Exit(EnvironmentValue(L"XC_PLANTED_RAN").empty() ? 0 : 7);
}

DWORD Load(Path const& folder, Path const& module, std::wstring const& policy)
{
    std::filesystem::remove(folder / "log");
    ::SetEnvironmentVariableW(L"XC_PLANT", (folder.wstring() + L"|" + module.wstring() + L"|" + policy + L"|").c_str());
    return ChildProcess(ChildProcess::OfTest(L"DISABLED_PlantChild.Loads")).Wait();
}

/// Puts the library there, where everybody may change it.
void Plant(Path const& file)
{
    create_directories(file.parent_path());
    copy_file(ModuleFolder::Source() / "planted.osx", file, std::filesystem::copy_options::overwrite_existing);
    void* all = nullptr;
    ::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;FA;;;WD)", SDDL_REVISION_1, &all, nullptr);
    EXPECT_TRUE(::SetFileSecurityW(file.wstring().c_str(), DACL_SECURITY_INFORMATION, all));
    ::LocalFree(all);
}

TEST(LoadPolicy, NoPlantedLibraryRunsWhereverItLies)
{
    ScratchFolder const folder(std::filesystem::temp_directory_path() / "xc_plants");
    ModuleFolder const trusted({"reader", "needs_helper"});
    Path const current = folder.path / "current", reader = trusted.path / "reader.osx";
    Path const needs = trusted.path / "needs_helper.osx", helper = "host_helper.dll";
    Path const program = ModuleFolder::Source().parent_path();
    std::string const refused = "is refused by the policy of the host: it ", nowhere = "stands in none of the folders";
    // What runs without the policy, or need not, whether by the system's order of folders or by its safer modes.
    for (auto const& [fault, plant, module, more, runs, told] : Rows<Path, Path, std::wstring, bool, std::string>{
             {"a module in the current folder", current / "plant.osx", "plant.osx", L"", true, refused + nowhere},
             {"a library there", current / helper, needs, L"", true, nowhere},
             {"a library along PATH", folder.path / "path" / helper, needs, L"", true, nowhere},
             {"a library beside the program", program / helper, needs, L"", false, nowhere},
             {"a module that others may change", trusted.path / "plant.osx", trusted.path / "plant.osx", L"", true,
              refused + "is not safe: "},
             {"a library that others may change", trusted.path / helper, needs, L"", true, "which is not safe: "},
             {"one of the name of a loaded library, in the probe's process", folder.path / "path" / helper, needs,
              L"|" + (ModuleFolder::Source() / helper).wstring(), false, "is refused by its probe: "},
             {"an unsigned module", current / "other", reader, L"signed", false,
              refused + "has no signature that the system trusts: "},
             {"a refusal of what is safe", current / "other", reader, L"", false, "<Reader>... Done."}})
    {
        Plant(plant);
        EXPECT_TRUE(!runs || Load(folder.path, module, L"|") == 7) << fault;
        EXPECT_EQ(Load(folder.path, module, trusted.path.wstring() + L"|" + more), 0u) << fault;
        EXPECT_NE(folder.Bytes("log").find(told), std::string::npos) << fault << folder.Bytes("log");
        std::filesystem::remove(plant);
    }
}

/// One place is as a row says; the others are there and safe. A module links to one library, and that to two.
struct FakeTrust final : xc::host::TrustSteps {
    FakeTrust(std::wstring const& place_, TrustFacts const& facts_) : place(place_), facts(facts_) {}
    TrustFacts FactsOf(SystemPath const& path) override
    {
        std::wstring const& text = path.Text();
        bool const isLibrary = text == L"c:\\a\\mods\\one.dll" || text == L"c:\\a\\mods\\two.dll";
        return text == place ? facts : TrustFacts{isLibrary || !text.ends_with(L".dll"), false, {}, {}};
    }
    unsigned long CheckSignature(SystemPath const&) override { return place.empty() ? 0x800B0100 : 0; }
    bool ImportsOf(SystemPath const& path, std::vector<std::wstring>& names) override
    {
        if (path.FileName() == L"m.osx") names = {L"KERNEL32.dll", L"api-ms-win-core-file-l1-1-0.dll", L"one.dll"};
        if (path.FileName() == L"one.dll") names = {L"one.dll", L"two.dll"};
        return true;
    }
    bool IsAtHand(std::wstring const& name) override { return name == L"KERNEL32.dll"; }

    std::wstring const place;
    TrustFacts const facts;
};

TEST(LoadPolicy, WhatCouldBeExchangedOnTheWayToAFileRefusesIt)
{
    TrustFacts const link{true, true, {}, {}}, written{true, false, L"Users", {}}, broken{true, false, {}, L"Users"};
    for (auto const& [fault, place, facts, told] : Rows<std::wstring, TrustFacts, std::string>{
             {"nothing", L"c:\\b", link, ""},
             {"a link as the file", L"c:\\a\\mods\\sub\\m.osx", link,
              "is reached through the link c:\\a\\mods\\sub\\m"},
             {"a link above the folder", L"c:\\a", link, "is reached through the link c:\\a"},
             {"a folder that others write", L"c:\\a\\mods", written, "is not safe: Users may change c:\\a\\mods"},
             {"a root where others make folders", L"c:\\", written, ""},
             {"a folder above that others exchange", L"c:\\a", broken, "is not safe: Users may change c:\\a"},
             {"rights that nobody tells", L"c:\\a", {}, "cannot be judged: c:\\a does not tell its rights"},
             {"a library of a library that is nowhere",
              L"c:\\a\\mods\\two.dll",
              {},
              "links to c:\\a\\mods\\one.dll, which links to two.dll, which stands in none of the folders"},
             {"no signature", L"", {}, "has no signature that the system trusts: "}})
        for (wchar_t const* const folder : {L"c:\\a\\mods", L"c:\\a\\mods\\su"}) {
            FakeTrust trust(place, facts);
            XCString const why = xc::host::LoadPolicy({.folders = {folder}, .signatures = true}, trust)
                                     .WhyRefused(SystemPath(L"c:\\a\\mods\\sub\\m.osx"));
            bool const isInside = why.Find(L"stands in none of the folders of the policy") != 0;
            EXPECT_EQ(isInside, folder == std::wstring_view(L"c:\\a\\mods"));
            EXPECT_TRUE(!isInside || (why.IsNull() ? told.empty() : why.AsUTF8().starts_with(told)))
                << fault << ": " << why.AsUTF8();
        }
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
    EXPECT_TRUE(std::ranges::count(names, L"host_helper.dll") == 1 && std::ranges::count(names, L"KERNEL32.dll") == 1);
    std::size_t refused = 0;
    for (std::size_t at = 0; at < 3 * 1024; ++at) {
        std::string damaged = whole;
        damaged[at / 3] = static_cast<char>(damaged[at / 3] ^ "\x01\x40\xFF"[at % 3]);
        refused += !xc::host::ReadImports(damaged, names);
        // Cut in the heads or in front of the tables: not the same as no imports.
        EXPECT_FALSE(xc::host::ReadImports(std::string_view(whole).substr(0, at / 2), names)) << at;
    }
    EXPECT_GT(refused, 30u);
}

} // namespace
