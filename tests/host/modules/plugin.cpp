// One module that tests copy under many names: its file name chooses what it is and where it fails.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCThread.h>
#include <XelbrinCore/XCUnitTest.h>

#include "own_file.h"

#include <stdexcept>
#include <string_view>
#include <thread>

namespace {

enum Kind { Plain, Runs, Threaded, Container };

struct Role {
    wchar_t const* file;
    wchar_t const* name;
    unsigned int id;
    unsigned int dependsOn; ///< 0: on nothing
    Kind kind;
    std::string_view fault = {}; ///< where it throws, or what else it does wrong
};
constexpr Role kRoles[] = {
    {L"reader", L"Reader", 1, 0, Plain},
    {L"filter", L"Filter", 2, 1, Runs},
    {L"a_report", L"Report", 3, 2, Threaded}, // sorts before what it depends on
    {L"twin", L"Twin", 1, 0, Plain},
    {L"orphan", L"Orphan", 5, 99, Plain},
    {L"cycle_a", L"CycleA", 6, 7, Plain},
    {L"cycle_b", L"CycleB", 7, 6, Plain},
    {L"null_entry", L"Null", 8, 0, Plain, "null entry"},
    {L"throws_name", L"ThrowsName", 10, 0, Plain, "name"},
    {L"throws_init", L"ThrowsInit", 11, 0, Plain, "init"},
    {L"throws_run", L"ThrowsRun", 12, 0, Runs, "run"},
    {L"throws_unload", L"ThrowsUnload", 13, 0, Plain, "unload"},
    {L"throws_exit", L"ThrowsExit", 14, 0, Threaded, "request exit"},
    {L"refuses", L"Refuses", 15, 0, Plain, "refuses"},
    {L"throws_thread", L"ThrowsThread", 16, 0, Threaded, "run"},
    {L"throws_what", L"ThrowsWhat", 17, 0, Plain, "what"},
    {L"left_subscriber", L"LeftSubscriber", 18, 0, Plain, "subscriber"},
    {L"left_thread", L"LeftThread", 19, 0, Plain, "thread"},
    {L"left_raw_thread", L"LeftRawThread", 25, 0, Plain, "raw thread"},
    {L"ends_thread", L"EndsThread", 26, 0, Threaded, "ends thread"},
    {L"forger", L"Forger>...\n>>>> Faked\x1B[2J\x9B\u202E", 27, 0, Plain, "refuses"},
    {L"logs_error", L"LogsError", 28, 0, Plain, "logs error"},
    {L"stubborn", L"Stubborn", 20, 2, Threaded, "ignores exit"},
    {L"quick", L"Quick", 21, 1, Threaded, "at once"},
    {L"container", L"Container", 22, 0, Container},
    {L"container_refuses", L"ContainerRefuses", 23, 0, Container, "refuses"},
    {L"container_throws", L"ContainerThrows", 24, 0, Container, "list"},
};

Role const& Me()
{
    static Role const& role = []() -> Role const& {
        for (Role const& one : kRoles)
            if (OwnFile() == one.file) return one;
        return kRoles[0];
    }();
    return role;
}

constexpr XCGuid IdOf(unsigned int number)
{
    return XCGuid(number, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8});
}

void ThrowIf(std::string_view fault)
{
    if (fault == Me().fault) throw std::runtime_error("planned fault");
}

void Say(XCString const& text)
{
    XCApplication::GetLogManager().GetOrAddChannel(L"XCApplicationChannel").Write(1, text);
}

/// An error that makes its text by code of the module, and cannot.
class Unspeakable final : public XCErrorI {
public:
    Unspeakable() : XCErrorI(78, SeverityError) {}
    int GetIUID() const override { return kIUID; }
    XCErrorID AsString(XCString&, XCFormatContext const&) const override { throw std::runtime_error("no words"); }
};

class Subscriber final : public XCLogSubscriberI {
public:
    void OnFlush(int, XCString const& text) override { heard = text; }
    XCString heard;
};

/// Sleeps in code of the module until the test lets it go; the runtime has started it, so it begins elsewhere. Before it
/// has come here nothing of it shows the module.
void LeaveRawThread()
{
    std::atomic<bool> begun{false};
    std::thread([&begun] {
        begun = true;
        XCMutex door(L"xc_host_test_raw_door");
        (void)door.lock(XCInfinite);
        door.unlock();
    }).detach();
    while (!begun) std::this_thread::yield();
}

void LeaveSomethingBehind()
{
    if (Me().fault == "raw thread") LeaveRawThread();
    if (Me().fault == "subscriber") XCApplication::GetLogManager().AddSubscriber(new Subscriber);
    if (Me().fault != "thread") return;
    XCSmartPtr<XCThread> const thread(new XCThread(XCMakeCallback([] { Say(Me().name + XCString(L"'s thread\n")); })));
    (void)thread->Start(); // nobody joins it
}

template <class Base>
class TestPlugIn : public Base {
public:
    XCString GetPlugInName() const override
    {
        ThrowIf("name");
        return XCString(Me().name);
    }
    PlugInIdEx GetPlugInIdEx() const override { return {IdOf(Me().id), XCString(Me().name)}; }
    XCUsageInfo GetUsageInfo() const override
    {
        XCUsageInfo usage;
        usage.AddCmdLineArgDesc(Me().name + XCString(L":{n}"), XCString(L"What it does."), false);
        return usage;
    }
    std::vector<PlugInIdEx> GetDependentV() const override
    {
        if (Me().dependsOn == 0) return {};
        return {PlugInIdEx(IdOf(Me().dependsOn))};
    }
    XCErrorID Init(XCApplicationWithPlugIns const&) override
    {
        XCApplicationWithPlugIns::GetApp()->GetMainMenu().AddTestCase(
            Me().name, [this](XCTestScope& scope) { scope.Check(this->GetStatus() != 0, L"in use"); });
        LeaveSomethingBehind();
        ThrowIf("init");
        if (Me().fault == "logs error") (void)XCException(L"noted").LogInErrorFile();
        if (Me().fault == "what") throw XCException(XCErrorID(XCSmartPtr<Unspeakable>(new Unspeakable)));
        if (Me().fault != "refuses") return XCErrorID::Success;
        return XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(L"no licence to run", 77)));
    }
    void Unload() override { ThrowIf("unload"); }
    void RequestExit(bool immediately) override
    {
        Base::RequestExit(immediately);
        ThrowIf("request exit");
    }
};

class RunningPlugIn : public TestPlugIn<XCRunPlugIn> {
public:
    void Run() override
    {
        ThrowIf("run");
        Say(Me().name + XCString(L" at work\n"));
    }
};

class ThreadedPlugIn : public TestPlugIn<XCThreadedRunPlugIn> {
public:
    void Run() override
    {
        ThrowIf("run");
        if (Me().fault == "at once") return;
        if (Me().fault == "ends thread") ::ExitThread(0);
        if (Me().fault == "ignores exit") {
            XCMutex door(L"xc_host_test_door"); // held by the test until it has seen enough
            (void)door.lock(XCInfinite);
            door.unlock();
            Say(Me().name + XCString(L" ends at last\n"));
            throw std::runtime_error("and fails, when its host has gone");
        }
        while (!WaitForExitRequest(10000)) {
        }
    }
};

/// Comes with the container; the third of them misses something.
class Child final : public XCRunPlugIn {
public:
    explicit Child(unsigned int number) : m_number(number) {}
    XCString GetPlugInName() const override { return XCString(L"Child") + static_cast<wchar_t>(L'0' + m_number); }
    PlugInIdEx GetPlugInIdEx() const override { return {IdOf(Me().id * 10 + m_number), GetPlugInName()}; }
    std::vector<PlugInIdEx> GetDependentV() const override
    {
        if (m_number != 3) return {};
        return {PlugInIdEx(IdOf(99), L"Nobody")};
    }
    void Run() override { Say(GetPlugInName() + L" at work\n"); }

private:
    unsigned int m_number;
};

class ContainerPlugIn : public TestPlugIn<XCPlugInContainer> {
public:
    XCSmartPtrVector<XCPlugIn> GetPlugInList() const override
    {
        ThrowIf("list");
        XCSmartPtrVector<XCPlugIn> list(m_children);
        list.push_back(XCSmartPtr<XCPlugIn>(const_cast<ContainerPlugIn*>(this))); // refused, like anything twice
        return list;
    }

private:
    /// Held all the time, as containers do.
    XCSmartPtrVector<XCPlugIn> m_children;

public:
    ContainerPlugIn()
    {
        for (unsigned int number = 1; number <= 3; ++number) m_children.push_back(new Child(number));
    }
};

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    if (Me().fault == "null entry") return nullptr;
    if (Me().fault == "init") // before the host counts what the plug-in brings
        XCApplicationWithPlugIns::GetApp()->GetMainMenu().AddTestCase(L"of the module", [](XCTestScope&) {});
    switch (Me().kind) {
    case Runs: return new RunningPlugIn;
    case Threaded: return new ThreadedPlugIn;
    case Container: return new ContainerPlugIn;
    default: return new TestPlugIn<XCPlugIn>;
    }
}
