// The parts of the host, each alone.
#include "host/host_tools.h"

#include "app/host/ModuleSet.h"
#include "app/host/PlugInList.h"
#include "errors/RunningCalls.h"

#include <XelbrinCore/XCException.h>

namespace {

using namespace xc_test;
using xc::host::ModuleSet;
using xc::host::PlugInList;

PlugInList::Place PlaceOf(std::uint32_t id, std::vector<std::uint32_t> const& dependsOn = {})
{
    PlugInList::Place place = PlugInList::Place::New();
    xc::host::PlugInRef ref(XCSmartPtr<XCPlugIn>(new OwnPlugIn<XCPlugIn>(id)), {});
    ref.guid = XCGuid(id, 0, 0, {});
    place.Fill(ref);
    for (std::uint32_t const other : dependsOn) place->dependencies.emplace_back(XCGuid(other, 0, 0, {}));
    return place;
}

std::uint32_t IdOf(XCPlugIn const& plugIn)
{
    std::uint32_t id = 1;
    while (plugIn.GetPlugInIdEx().GetGuid() != XCGuid(id, 0, 0, {})) ++id;
    return id;
}

// More calls than the register has room for at the beginning.
TEST(RunningCalls, AreAllThere)
{
    unsigned long const thread = ::GetCurrentThreadId();
    xc::errors::CallNote note;
    {
        std::deque<xc::errors::RunningCall> calls;
        for (int i = 0; i < 70; ++i) calls.emplace_back(L"Init", std::to_wstring(i), L"path");
        std::vector<xc::errors::CallNote> notes(100);
        EXPECT_EQ(xc::errors::CopyRunningCalls(notes.data(), notes.size()), 70u);
        std::uint64_t below = UINT64_MAX;
        for (int i = 70; i-- > 0; below = note.order) {
            ASSERT_TRUE(xc::errors::ReadInnermostCall(thread, below, note)) << i;
            EXPECT_TRUE(note.IsOf(std::to_wstring(i), L"path")) << i;
        }
    }
    EXPECT_FALSE(xc::errors::ReadInnermostCall(thread, UINT64_MAX, note));
}

TEST(PlugInList, KeepsTheOrderOfLoadingAndKnowsThatOfDependency)
{
    PlugInList list;
    list.Add(PlaceOf(1, {3}));
    list.Add(PlaceOf(2));
    list.Add(PlaceOf(3, {2, 9}));
    std::vector<std::uint32_t> ordered;
    for (xc::host::PlugInRef const& ref : list.InOrderOfDependency()) ordered.push_back(IdOf(*ref.plugIn));
    EXPECT_EQ(ordered, (std::vector<std::uint32_t>{2, 3, 1}));
    XCSmartPtr<XCPlugIn> const held = list.Find(XCGuid(2, 0, 0, {}));
    list.SetContainer(held, XCGuid(1, 0, 0, {}));
    EXPECT_EQ(IdOf(*list.TakeLastChildOf(XCGuid(1, 0, 0, {}))->plugIn), 2u);
    EXPECT_FALSE(list.TakeLastChildOf(XCGuid(1, 0, 0, {})));
    EXPECT_FALSE(list.Holds(held.GetPtr()));
    std::uint64_t below = UINT64_MAX;
    XCSmartPtr<XCPlugIn> const last = list.Find(XCGuid(3, 0, 0, {}));
    EXPECT_EQ(IdOf(*list.TakeFree(below)->plugIn), 1u); // the last one is held
    EXPECT_EQ(IdOf(*list.TakeLast()->plugIn), 3u);
    EXPECT_TRUE(list.IsEmpty());
}

struct OwnContainer final : OwnPlugIn<XCPlugInContainer> {
    using OwnPlugIn::OwnPlugIn;
    XCSmartPtrVector<XCPlugIn> GetPlugInList() const override { return {}; }
};

TEST(PlugIn, KnowsItsKinds)
{
    constexpr int kKinds[] = {XCPlugIn::kIUID, XCRunPlugIn::kIUID, XCThreadedRunPlugIn::kIUID,
                              XCPlugInContainer::kIUID};
    for (auto const& [fault, plugIn, own, kinds] : Rows<XCSmartPtr<XCPlugIn>, int, std::string>{
             {"a plain one runs", new OwnPlugIn<XCPlugIn>(1), 0, "+---"},
             {"one that runs is none", new OwnRunner<XCRunPlugIn>(2, {}), 1, "++--"},
             {"a thread of its own does not run", new OwnRunner<XCThreadedRunPlugIn>(3, {}), 2, "+++-"},
             {"a container runs", new OwnContainer(4), 3, "+--+"}})
    {
        std::string is;
        for (int const kind : kKinds) is += plugIn->IsKindOf(kind) ? '+' : '-';
        EXPECT_EQ(is, kinds) << fault;
        EXPECT_EQ(All(plugIn->GetIUID(), plugIn->IsRunningPlugIn(), plugIn->IsContainerPlugIn()),
                  All(kKinds[own], is[1] == '+', is[3] == '+'))
            << fault;
    }
}

TEST(ModuleSet, FreesAModuleWithItsLastReferenceUnlessSomethingIsLeft)
{
    ModuleFolder const folder({"only_here"});
    std::wstring const path = (folder.path / "only_here.osx").wstring();
    for (bool const left : {false, true}) {
        ModuleSet set(left ? [](void const*) -> wchar_t const* { return L"a test"; }
                           : [](void const*) -> wchar_t const* { return nullptr; });
        ModuleSet::List first(1);
        ModuleSet::List second(1);
        set.Open(path, first.front());
        set.Open(path, second.front());
        EXPECT_FALSE(set.IsLast(first.front()));
        set.Close(first.front());
        EXPECT_TRUE(set.IsLast(second.front()));
        set.Keep(second);
        set.CloseAll();
        EXPECT_EQ(::GetModuleHandleW(L"only_here.osx") != nullptr, left);
    }
    ::FreeLibrary(::GetModuleHandleW(L"only_here.osx"));
}

} // namespace
