// failing_heap.cpp - the heap that fails when the injector says so, and its number of blocks.
//
// Natively the operators are replaced. On Windows the library takes its memory through the operators of the compiler's
// runtime, which a program cannot replace from outside: the runtime's own import of malloc is.
#include "faults/injector.h"

#include <cstdlib>

#if defined(_WIN32)

#include "sync/import_patch.h"

#include <malloc.h>

namespace {

std::atomic<std::size_t> g_blocks{0};

void* Counted(void* block) noexcept
{
    if (block) ++g_blocks;
    return block;
}

void* Malloc(std::size_t size)
{
    return faults::g_heapFails && faults::Fails() ? nullptr : Counted(std::malloc(size));
}

void* AlignedMalloc(std::size_t size, std::size_t alignment)
{
    return faults::g_heapFails && faults::Fails() ? nullptr : Counted(::_aligned_malloc(size, alignment));
}

void Free(void* block)
{
    if (block) --g_blocks;
    std::free(block);
}

void AlignedFree(void* block)
{
    if (block) --g_blocks;
    ::_aligned_free(block);
}

struct FailingHeap final : testing::Environment {
    void SetUp() override
    {
#if defined(_LIBCPP_VERSION)
        constexpr wchar_t kRuntime[] = L"libc++.dll";
#else
        constexpr wchar_t kRuntime[] = L"libstdc++-6.dll";
#endif
        static sync_test::ImportPatch const patches[] = {
            {"malloc", reinterpret_cast<void*>(&Malloc), kRuntime},
            {"_aligned_malloc", reinterpret_cast<void*>(&AlignedMalloc), kRuntime},
            {"free", reinterpret_cast<void*>(&Free), kRuntime},
            {"_aligned_free", reinterpret_cast<void*>(&AlignedFree), kRuntime},
            {"free", reinterpret_cast<void*>(&Free)}, // of texts that the runtime has made
        };
    }
};
[[maybe_unused]] testing::Environment* const g_heap = testing::AddGlobalTestEnvironment(new FailingHeap);

/// The sum of the lowest free handle values.
std::size_t FreeHandles()
{
    HANDLE probes[8];
    std::size_t sum = 0;
    for (HANDLE& probe : probes)
        sum += reinterpret_cast<std::size_t>(probe = ::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    for (HANDLE const probe : probes) ::CloseHandle(probe);
    return sum;
}

} // namespace

std::size_t faults::Held()
{
    return g_blocks + (g_countsHandles ? FreeHandles() : 0);
}

#else

namespace {

std::atomic<std::size_t> g_blocks{0};

void* Take(std::size_t size, std::size_t alignment = 0)
{
    void* const block = faults::Fails() ? nullptr
                        : alignment == 0
                            ? std::malloc(size)
                            : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (!block) throw std::bad_alloc();
    ++g_blocks;
    return block;
}

void Give(void* block) noexcept
{
    if (block) --g_blocks;
    std::free(block);
}

} // namespace

std::size_t faults::Held()
{
    return g_blocks;
}

void* operator new(std::size_t size)
{
    return Take(size);
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return Take(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept // of the buffers of stable sorts
try {
    return Take(size);
} catch (std::bad_alloc const&) {
    return nullptr;
}
void operator delete(void* block) noexcept
{
    Give(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    Give(block);
}
void operator delete(void* block, std::align_val_t) noexcept
{
    Give(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept
{
    Give(block);
}

#endif
