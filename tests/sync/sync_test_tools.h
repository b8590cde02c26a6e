// sync_test_tools.h - what the tests of locks and threads share.
#pragma once

#include "prelude.h"

#include <windows.h>

namespace sync_test {

/// The number of the system's error that `call` throws; 0 when it throws none.
template <class Call>
unsigned long SystemErrorOf(Call call)
{
    try {
        call();
    } catch (XCWindowsLastErrorException const& failure) {
        return failure.GetLastErrorCode();
    }
    return 0;
}

/// The message of the XCException that `call` throws; empty when it throws none.
template <class Call>
XCString MessageOf(Call call)
{
    try {
        call();
    } catch (XCException const& failure) {
        return failure.What();
    }
    return {};
}

/// Runs `work` on another thread and waits for it.
template <class Work>
auto Elsewhere(Work work)
{
    decltype(work()) result{};
    std::thread([&] { result = work(); }).join();
    return result;
}

/// A generator with a seed of its own that a failure shows.
inline std::mt19937 Randomness()
{
    unsigned int const seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    ::testing::Test::RecordProperty("seed", std::to_string(seed));
    return std::mt19937(seed);
}

/// Closes a handle behind its owner's back and gives the owner a harmless one of the same value at the end.
struct HandleSabotage {
    explicit HandleSabotage(HANDLE handle) : m_handle(handle) { EXPECT_TRUE(::CloseHandle(handle)); }
    ~HandleSabotage()
    {
        HANDLE taken = nullptr;
        for (int tries = 0; taken != m_handle && tries < 64; ++tries) taken = ::CreateMutexW(nullptr, FALSE, nullptr);
        EXPECT_EQ(taken, m_handle);
    }
    HandleSabotage(HandleSabotage const&) = delete;
    HandleSabotage& operator=(HandleSabotage const&) = delete;

private:
    HANDLE m_handle;
};

/// The handle that a lock keeps `offset` bytes from its start.
template <class Lock>
HANDLE HandleIn(Lock const& lock, std::size_t offset = 0)
{
    HANDLE handle = nullptr;
    std::memcpy(&handle, reinterpret_cast<unsigned char const*>(&lock) + offset, sizeof handle);
    return handle;
}

} // namespace sync_test
