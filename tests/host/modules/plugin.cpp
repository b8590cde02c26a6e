// One plug-in, built several times: PLUG_NAME, PLUG_ID, PLUG_DEPENDS (an id or 0), PLUG_KIND and PLUG_FAULT choose what
// it is and where it fails.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCPlugIn.h>

#include <stdexcept>

namespace {

enum Kind { Plain, Runs, Threaded };
enum Fault { None, InEntry, InName, InInit, InRun, InUnload, InRequestExit, NullEntry, RefusesInit };

constexpr XCGuid IdOf(unsigned int number)
{
    return XCGuid(number, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8});
}

template <Fault fault>
void ThrowIf()
{
    if constexpr (fault == PLUG_FAULT) throw std::runtime_error("planned fault");
}

template <class Base>
class TestPlugIn : public Base {
public:
    XCString GetPlugInName() const override
    {
        ThrowIf<InName>();
        return XCString(PLUG_NAME);
    }
    PlugInIdEx GetPlugInIdEx() const override { return {IdOf(PLUG_ID), XCString(PLUG_NAME)}; }
    std::vector<PlugInIdEx> GetDependentV() const override
    {
        if (PLUG_DEPENDS == 0) return {};
        return {PlugInIdEx(IdOf(PLUG_DEPENDS))};
    }
    XCErrorID Init(XCApplicationWithPlugIns const&) override
    {
        ThrowIf<InInit>();
        if (PLUG_FAULT != RefusesInit) return XCErrorID::Success;
        return XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(L"no licence to run", 77)));
    }
    void Unload() override { ThrowIf<InUnload>(); }
    void RequestExit(bool immediately) override
    {
        Base::RequestExit(immediately);
        ThrowIf<InRequestExit>();
    }
};

class RunningPlugIn : public TestPlugIn<XCRunPlugIn> {
public:
    void Run() override
    {
        ThrowIf<InRun>();
        XCApplication::GetLogManager().GetChannel(L"XCApplicationChannel")->Write(1, PLUG_NAME L" at work\n");
    }
};

class ThreadedPlugIn : public TestPlugIn<XCThreadedRunPlugIn> {
public:
    void Run() override
    {
        ThrowIf<InRun>();
        while (!WaitForExitRequest(10000)) {
        }
    }
};

using PlugInOfKind = std::conditional_t<PLUG_KIND == Plain, TestPlugIn<XCPlugIn>,
                                        std::conditional_t<PLUG_KIND == Runs, RunningPlugIn, ThreadedPlugIn>>;

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    ThrowIf<InEntry>();
    if (PLUG_FAULT == NullEntry) return nullptr;
    return new PlugInOfKind;
}
