// A thread needs the code of a module when it began there, or when a function of the module is on its stack. The system
// tells the first address of a thread. A thread that was started through the runtime begins in the runtime, so its stack
// is read as well: the thread is suspended for the moment, and each word from its stack pointer up that lies in the image
// of a module counts. Words that merely look like an address make the answer too careful, never too bold; unwinding the
// stack would be exact, but asks for locks that the suspended thread may hold. While a thread is suspended nothing is
// allocated and nothing is locked here. The images are read before, so that one pass serves them all.
// A thread that ends passes through every module, since the system tells each of them of it; that takes no module's
// code for long. Who was found is therefore looked for again after a pause, and counts when every look finds somebody.
// Not found: a thread that is made but has not begun, and callbacks that the system has not called yet.
#include "win32/ModuleThreads.h"

#include "win32/EachThread.h"
#include "win32/LastError.h"

#include <algorithm>
#include <cstdint>

namespace xc::win32 {

namespace {

constexpr std::size_t kMostModules = 64;
constexpr DWORD kPausesMs[] = {1, 4, 16, 64};
constexpr DWORD kRightsToSearch = THREAD_QUERY_INFORMATION | THREAD_GET_CONTEXT | THREAD_SUSPEND_RESUME | SYNCHRONIZE;
constexpr int kWin32StartAddress = 9; // ThreadQuerySetWin32StartAddress

struct Image {
    std::uintptr_t begin = 0;
    std::uintptr_t size = 0;

    // Unsigned: addresses below the image wrap to large numbers.
    [[nodiscard]] bool Holds(std::uintptr_t address) const noexcept { return address - begin < size; }
};

Image ImageOf(void const* module) noexcept
{
    auto const* const base = static_cast<unsigned char const*>(module);
    auto const* const dos = reinterpret_cast<IMAGE_DOS_HEADER const*>(base);
    auto const* const headers = reinterpret_cast<IMAGE_NT_HEADERS64 const*>(base + dos->e_lfanew);
    return {reinterpret_cast<std::uintptr_t>(base), headers->OptionalHeader.SizeOfImage};
}

/// The images looked for, in one array; most addresses are outside all of them.
class Search {
public:
    Search(ModuleThread* modules, std::size_t count) noexcept : m_modules(modules), m_count(count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            m_images[i] = ImageOf(modules[i].module);
            m_lowest = std::min(m_lowest, m_images[i].begin);
            m_end = std::max(m_end, m_images[i].begin + m_images[i].size);
        }
    }

    // Called for each word of each stack: two comparisons with the hull of all images leave out nearly all of them.
    void Note(std::uintptr_t address, unsigned long thread) const noexcept
    {
        if (address < m_lowest || address >= m_end) return;
        for (std::size_t i = 0; i < m_count; ++i)
            if (m_images[i].Holds(address)) m_modules[i].thread = thread;
    }

private:
    ModuleThread* m_modules;
    std::size_t m_count;
    Image m_images[kMostModules];
    std::uintptr_t m_lowest = UINTPTR_MAX;
    std::uintptr_t m_end = 0;
};

/// The end of the stack that an address lies in: of the committed memory that follows it without a gap.
std::uintptr_t EndOfStack(std::uintptr_t address) noexcept
{
    constexpr DWORD kReadable = PAGE_READWRITE | PAGE_READONLY | PAGE_EXECUTE_READWRITE | PAGE_WRITECOPY;
    MEMORY_BASIC_INFORMATION part;
    void const* stack = nullptr;
    std::uintptr_t end = address;
    while (::VirtualQuery(reinterpret_cast<void const*>(end), &part, sizeof part) != 0) {
        bool const readable = part.State == MEM_COMMIT && (part.Protect & kReadable) && !(part.Protect & PAGE_GUARD);
        if (!readable || (stack && part.AllocationBase != stack)) break;
        stack = part.AllocationBase;
        end = reinterpret_cast<std::uintptr_t>(part.BaseAddress) + part.RegionSize;
    }
    return end;
}

void NoteStack(HANDLE thread, unsigned long id, Search const& search) noexcept
{
    // A thread that has ended meanwhile cannot be suspended, and needs no module any more.
    if (::SuspendThread(thread) == static_cast<DWORD>(-1)) return;
    CONTEXT registers{};
    registers.ContextFlags = CONTEXT_CONTROL;
    if (::GetThreadContext(thread, &registers)) { // waits until the thread has stopped
        search.Note(registers.Rip, id);
        // Return addresses lie at multiples of eight.
        std::uintptr_t const first = (registers.Rsp + 7) & ~std::uintptr_t{7};
        for (std::uintptr_t at = first, end = EndOfStack(first); at + 8 <= end; at += 8)
            search.Note(*reinterpret_cast<std::uintptr_t const*>(at), id);
    }
    ::ResumeThread(thread);
}

void NoteThread(HANDLE thread, QueryThread query, Search const& search) noexcept
{
    unsigned long const id = ::GetThreadId(thread);
    // The own thread cannot be suspended and read at once; its caller knows what it is doing there.
    if (id == 0 || id == ::GetCurrentThreadId() || ::WaitForSingleObject(thread, 0) == WAIT_OBJECT_0) return;
    void* start = nullptr;
    if (query && query(thread, kWin32StartAddress, static_cast<void*>(&start), sizeof start, nullptr) >= 0)
        search.Note(reinterpret_cast<std::uintptr_t>(start), id);
    NoteStack(thread, id, search);
}

/// One look.
void Look(ModuleThread* modules, std::size_t count) noexcept
{
    QueryThread const query = QueryThreadFunction();
    Search const search(modules, count);
    ForEachThread(kRightsToSearch, [&](UniqueKernelObject& thread) { NoteThread(thread.Get(), query, search); });
}

/// Looks again for those that were found.
void LookAgain(ModuleThread* modules, std::size_t count) noexcept
{
    ModuleThread found[kMostModules];
    std::size_t n = 0;
    for (std::size_t i = 0; i < count; ++i)
        if (modules[i].thread != 0) found[n++] = {modules[i].module};
    Look(found, n);
    for (std::size_t i = count; i-- > 0;)
        if (modules[i].thread != 0) modules[i].thread = found[--n].thread;
}

} // namespace

void FindThreadsIn(ModuleThread* modules, std::size_t count) noexcept
{
    KeepLastError const keep;
    if (count == 0) return;
    std::size_t const most = std::min(count, kMostModules);
    Look(modules, most);
    for (DWORD const pause : kPausesMs) {
        bool const isFound = std::any_of(modules, modules + most, [](auto const& one) { return one.thread != 0; });
        if (!isFound) return;
        ::Sleep(pause);
        LookAgain(modules, most);
    }
}

} // namespace xc::win32
