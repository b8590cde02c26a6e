// The reserve of freed blocks in the threads of the system: gone with each of them, unseen by those who ask for errors.
#include "prelude.h"

#include <XelbrinCore/XCString.h>
#include <algorithm>
#include <optional>
#include <thread>
#include <vector>
#include <windows.h>

namespace {

/// In all heaps of the process: that of the runtime library is one of its own.
std::size_t BytesInUse()
{
    HANDLE heaps[64];
    std::size_t bytes = 0;
    for (DWORD i = 0, count = std::min<DWORD>(::GetProcessHeaps(64, heaps), 64); i < count; ++i) {
        PROCESS_HEAP_ENTRY entry{};
        ::HeapLock(heaps[i]);
        while (::HeapWalk(heaps[i], &entry))
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
        ::HeapUnlock(heaps[i]);
    }
    return bytes;
}

/// Ends with blocks of every size in the thread's reserve. A thread-local text goes after it.
void RunThreads(int count)
{
    for (int i = 0; i < count; ++i)
        std::thread([] {
            thread_local std::optional<XCString> const late(XCString(L"dropped at the very end"));
            std::vector<XCString> texts;
            for (std::size_t length = 1; length < 600; ++length) texts.push_back(XCString(L'x', length % 60));
            EXPECT_TRUE(late.has_value());
        }).join();
}

} // namespace

TEST(BlockReserve, EndsWithItsThread)
{
    RunThreads(20); // what the system and the runtime keep for later threads is there now
    std::size_t const before = BytesInUse();
    RunThreads(200);
    EXPECT_LT(BytesInUse(), before + 20000); // 200 reserves would be two million
}

TEST(BlockReserve, KeepsTheLastError)
{
    ::SetLastError(4711);
    {
        XCString const text(L"of a thread that has had texts before");
        EXPECT_EQ(text.Length(), 37u);
    }
    EXPECT_EQ(::GetLastError(), 4711u);
    DWORD seen = 0;
    std::thread([&seen] {
        ::SetLastError(4711);
        XCString(L"the first of a thread");
        seen = ::GetLastError();
    }).join();
    EXPECT_EQ(seen, 4711u);
}
