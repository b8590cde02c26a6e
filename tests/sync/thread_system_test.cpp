
#include "child_process.h"
#include "sync/import_patch.h"
#include "sync/sync_test_tools.h"

#include <objbase.h>

namespace {

using namespace sync_test;

TEST(XCThreadSystem, CreationOrResumeFails)
{
    for (bool const resumes : {false, true}) {
        XCSmartPtr<XCThread> const thread = new XCThread(XCMakeCallback([] {}));
        std::optional<ImportPatch> patch;
        if (resumes) {
            patch.emplace(
                "ResumeThread", +[] { return ::SetLastError(5), DWORD(-1); });
            EXPECT_EQ(static_cast<int>(thread->Start()), 5);
        } else {
            patch.emplace(
                "_beginthreadex", +[]() { return 0; });
            EXPECT_EQ(MessageOf([&] { (void)thread->Start(1); }), L"_beginthreadex failed in XCThread::Start()");
        }
        EXPECT_FALSE(thread->Exists());
        EXPECT_EQ(thread->NbRef(), 1u);
        EXPECT_FALSE(thread->IsStarted()) << "a Join would wait for ever";
        patch.reset();
        EXPECT_TRUE(thread->Start().Good()) << "hangs where the registry stayed locked";
        thread->Join();
    }
}

std::size_t StackBytesOfANewThread()
{
    std::size_t bytes = 0;
    XCThread thread(XCMakeCallback([&] {
        ULONG_PTR low = 0;
        ULONG_PTR high = 0;
        ::GetCurrentThreadStackLimits(&low, &high);
        bytes = high - low;
    }));
    EXPECT_TRUE(thread.Start().Good());
    thread.Join();
    return bytes;
}

constexpr std::size_t kBigStack = 24u << 20;

// Run in processes of their own: the variable is read once.
TEST(DISABLED_SyncChild, HasABigStack)
{
    EXPECT_GE(StackBytesOfANewThread(), kBigStack);
    ::SetEnvironmentVariableW(L"XC_THREAD_STACKSIZE", L"1");
    EXPECT_GE(StackBytesOfANewThread(), kBigStack);
}
TEST(DISABLED_SyncChild, HasADefaultStack)
{
    EXPECT_LT(StackBytesOfANewThread(), kBigStack);
}

TEST(XCThreadSystem, StackSizeComesFromTheEnvironment)
{
    for (auto const& [value, child] : Table<wchar_t const*, wchar_t const*>{{L"25165824", L"HasABigStack"},
                                                                            {nullptr, L"HasADefaultStack"},
                                                                            {L"-25165824", L"HasADefaultStack"},
                                                                            {L"many", L"HasADefaultStack"}})
    {
        ::SetEnvironmentVariableW(L"XC_THREAD_STACKSIZE", value);
        EXPECT_EQ(ChildProcess(ChildProcess::OfTest(std::wstring(L"DISABLED_SyncChild.") + child)).Wait(), 0u);
    }
    ::SetEnvironmentVariableW(L"XC_THREAD_STACKSIZE", nullptr);
}

HRESULT ApartmentOfANewThread(APTTYPE& type)
{
    HRESULT result = E_FAIL;
    XCThread thread(XCMakeCallback([&] {
        APTTYPEQUALIFIER qualifier{};
        result = ::CoGetApartmentType(&type, &qualifier);
    }));
    EXPECT_TRUE(thread.Start().Good());
    thread.Join();
    return result;
}

TEST(XCThreadSystem, ComByTheLowFourBits)
{
    for (auto const& [model, result, rowType] :
         Table<unsigned long, HRESULT, APTTYPE>{{0, CO_E_NOTINITIALIZED, APTTYPE_CURRENT},
                                                {1, S_OK, APTTYPE_STA},
                                                {2, S_OK, APTTYPE_MTA},
                                                {3, CO_E_NOTINITIALIZED, APTTYPE_CURRENT},
                                                {0x11, S_OK, APTTYPE_STA}})
    {
        SCOPED_TRACE(model);
        glbComModel = model;
        APTTYPE type = APTTYPE_CURRENT;
        EXPECT_EQ(ApartmentOfANewThread(type), result);
        if (type == APTTYPE_MAINSTA) type = APTTYPE_STA; // the first one of the process
        EXPECT_EQ(type, rowType);
    }
    XCThread::InitializeCOM(true);
    EXPECT_TRUE(XCThread::IsSingleThreadedCOMApartment());
    XCThread::InitializeCOM(false);
    EXPECT_EQ(glbComModel, XCComMultiThreaded);
    XCThread::InitializeCOM(XCComNone);
}

} // namespace
