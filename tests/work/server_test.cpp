// The thread server: calls with limits, its apartment and its messages.

#include "prelude.h"
#include "work/gate.h"

#include <objbase.h>
#include <windows.h>

namespace {

using Server = XCSmartPtr<XCThreadServer>;

TEST(Server, CallsAndStops)
{
    Server const server(new XCThreadServer(L"keeper"));
    unsigned long first = 0, second = 0;
    EXPECT_TRUE(server->Call([&] { first = ::GetCurrentThreadId(); }).Good());
    EXPECT_TRUE(server
                    ->Call([&] {
                        EXPECT_TRUE(server->IsOwnThread());
                        EXPECT_TRUE(server->Call([&] { second = ::GetCurrentThreadId(); }).Good()); // at once
                    })
                    .Good());
    EXPECT_TRUE(first == second && first != ::GetCurrentThreadId() && !server->IsOwnThread());
    EXPECT_EQ(int(server->Call([] { throw 1; })), XCErrTaskFailed);
    Gate gate, begun;
    auto const blocks = server->Submit([&] { begun.Open(), gate.Pass(); });
    begun.Pass();
    std::atomic<bool> ran{false};
    EXPECT_EQ(int(server->Call([&ran] { ran = true; }, 10)), XCErrTimedOut); // taken back
    EXPECT_EQ(int(server->Stop(10)), XCErrStillRunning);
    EXPECT_EQ(int(server->Call([] {})), XCErrExecutorStopped);
    gate.Open();
    EXPECT_TRUE(server->Stop().Good());
    EXPECT_FALSE(ran);
}

// A message to a window of the thread is served while it waits for work and while a task of it waits.
TEST(Server, ServesMessagesWhileItWaits)
{
    Server const server(new XCThreadServer(L"windows", XCComApartmentThreaded)), other(new XCThreadServer(L"other"));
    HWND window = nullptr;
    bool apartment = false;
    EXPECT_TRUE(server
                    ->Call([&] {
                        apartment = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED) == RPC_E_CHANGED_MODE;
                        window = ::CreateWindowExW(0, L"STATIC", L"idle", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                                                   nullptr);
                    })
                    .Good());
    EXPECT_TRUE(apartment);
    ASSERT_NE(window, nullptr);
    wchar_t text[16] = L"";
    auto const ask = [&] {
        return ::SendMessageTimeoutW(window, WM_GETTEXT, 16, reinterpret_cast<LPARAM>(text), SMTO_NORMAL, 5000,
                                     nullptr);
    };
    EXPECT_NE(ask(), 0) << "idle";
    EXPECT_STREQ(text, L"idle");
    EXPECT_TRUE(
        server->Call([&] { EXPECT_TRUE(other->Call([&] { EXPECT_NE(ask(), 0) << "in a wait"; }).Good()); }).Good());
    EXPECT_TRUE(server->Call([&] { ::DestroyWindow(window); }).Good());
    EXPECT_TRUE(server->Stop().Good() && other->Stop().Good());
}

} // namespace
