// The names of addresses: module, function, offset and, where debug data tell it, the line.
//
// Three sources are asked. The table of exports of a module is read in memory: it is always there, but knows only what
// a module exports, so that a private function gets the name of the export before it. The file of the module tells its
// private functions and their lines where its linker has left them in, or the file that they were moved to
// (FileSymbols.h). Symbols that are kept elsewhere are read through the system's debugging-help library. The symbol
// wins; where both mean the same function the export's name is taken, because it is mangled and tells class and
// parameters. A return address points after its call, which may be another function when the call never returns: names
// are looked up one byte before it.
//
// The debugging-help library is loaded when a module with symbols elsewhere is first asked for, works in a session of
// our own, so that a program that uses it itself is not disturbed, and serves one thread at a time. It reads all of a
// module's symbols to name one address, which takes up to a second and 100 MB: that is why files are asked first. Its
// modules are loaded one by one as addresses need them; a module that was replaced by another at the same place is told
// by its path. Everything lives until the process ends.
//
// A module that hangs while it is loaded holds the lock of the loader, which every question about modules needs. For
// such a process there are names from the image alone: the memory tells where the image begins and which file it is.
#include "win32/FileSymbols.h"
#include "win32/FunctionName.h"
#include "win32/LastError.h"
#include "win32/Module.h"
#include "win32/Process.h"
#include "win32/StackTrace.h"
#include "win32/SystemFunction.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <utility>
#include <vector>
#include <windows.h>
#include <winternl.h>

#include <dbghelp.h>

namespace xc::win32 {

namespace {

std::wstring Hex(std::uintptr_t value)
{
    char digits[16];
    char const* const end = std::to_chars(std::begin(digits), std::end(digits), value, 16).ptr;
    return L"0x" + Widen({digits, static_cast<std::size_t>(end - digits)});
}

// Exports ------------------------------------------------------------------------------------------------------------

IMAGE_DATA_DIRECTORY const& ExportDirectory(std::uintptr_t base) noexcept
{
    auto const* const dos = reinterpret_cast<IMAGE_DOS_HEADER const*>(base);
    auto const* const headers =
        reinterpret_cast<IMAGE_NT_HEADERS64 const*>(base + static_cast<std::uintptr_t>(dos->e_lfanew));
    return headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
}

/// The export with the highest address at or below `address`.
NamedAddress NearestExport(std::uintptr_t base, std::uintptr_t address)
{
    IMAGE_DATA_DIRECTORY const& directory = ExportDirectory(base);
    if (directory.Size == 0) return {};
    auto const* const table = reinterpret_cast<IMAGE_EXPORT_DIRECTORY const*>(base + directory.VirtualAddress);
    auto const* const functions = reinterpret_cast<DWORD const*>(base + table->AddressOfFunctions);
    auto const* const names = reinterpret_cast<DWORD const*>(base + table->AddressOfNames);
    auto const* const ordinals = reinterpret_cast<WORD const*>(base + table->AddressOfNameOrdinals);
    DWORD best = 0;
    char const* bestName = nullptr;
    for (DWORD i = 0; i < table->NumberOfNames; ++i) {
        DWORD const start = functions[ordinals[i]];
        // A forwarded export has a text in the place of code, inside the directory itself.
        bool const forwarded = start - directory.VirtualAddress < directory.Size;
        if (forwarded || start > address - base || start < best) continue;
        best = start;
        bestName = reinterpret_cast<char const*>(base + names[i]);
    }
    if (!bestName) return {};
    return {Widen(Demangled(bestName)), base + best, {}};
}

// Debug symbols ------------------------------------------------------------------------------------------------------

class SymbolReader {
public:
    SymbolReader() noexcept
    {
        HMODULE const library = LoadSystemLibrary(L"dbghelp.dll");
        if (!library) return;
        Find(library, "SymGetOptions", m_getOptions);
        Find(library, "SymSetOptions", m_setOptions);
        Find(library, "SymInitializeW", m_initialize);
        Find(library, "SymLoadModuleExW", m_loadModule);
        Find(library, "SymUnloadModule64", m_unloadModule);
        Find(library, "SymFromAddrW", m_fromAddress);
        Find(library, "SymGetLineFromAddrW64", m_lineFromAddress);
        m_ready = m_getOptions && m_setOptions && m_initialize && m_loadModule && m_unloadModule && m_fromAddress &&
                  m_lineFromAddress && OpenSession();
    }

    NamedAddress Name(std::uintptr_t base, std::wstring const& path, std::uintptr_t address)
    {
        if (!m_ready) return {};
        // The options belong to the whole process: whoever set them finds them again.
        DWORD const options = m_getOptions();
        m_setOptions(options | SYMOPT_LOAD_LINES | SYMOPT_UNDNAME | SYMOPT_FAIL_CRITICAL_ERRORS);
        NamedAddress name = NameInSession(base, path, address);
        m_setOptions(options);
        return name;
    }

private:
    NamedAddress NameInSession(std::uintptr_t base, std::wstring const& path, std::uintptr_t address)
    {
        Load(base, path);
        constexpr std::size_t kLongest = 500;
        alignas(SYMBOL_INFOW) unsigned char storage[sizeof(SYMBOL_INFOW) + kLongest * sizeof(wchar_t)] = {};
        auto* const symbol = reinterpret_cast<SYMBOL_INFOW*>(storage);
        symbol->SizeOfStruct = sizeof(SYMBOL_INFOW);
        symbol->MaxNameLen = kLongest;
        DWORD64 offset = 0;
        if (!m_fromAddress(m_session, address, &offset, symbol)) return {};
        return {symbol->Name, static_cast<std::uintptr_t>(symbol->Address), Line(address)};
    }

    struct LoadedModule {
        std::uintptr_t base;
        std::wstring path;
    };

    template <class Function>
    static void Find(HMODULE library, char const* name, Function& function) noexcept
    {
        function = SystemFunction<Function>(library, name);
    }

    bool OpenSession() noexcept
    {
        // A session is known by its handle: a duplicate of the process handle is ours alone.
        HANDLE const self = ::GetCurrentProcess();
        return ::DuplicateHandle(self, self, self, &m_session, 0, FALSE, DUPLICATE_SAME_ACCESS) &&
               m_initialize(m_session, nullptr, FALSE);
    }

    void Load(std::uintptr_t base, std::wstring const& path)
    {
        auto const known = std::find_if(m_modules.begin(), m_modules.end(),
                                        [base](LoadedModule const& module) { return module.base == base; });
        if (known != m_modules.end()) {
            if (known->path == path) return;
            m_unloadModule(m_session, base); // another module came to the same place
            m_modules.erase(known);
        }
        m_modules.push_back({base, path});
        m_loadModule(m_session, nullptr, path.c_str(), nullptr, base, 0, nullptr, 0);
    }

    std::wstring Line(std::uintptr_t address) const
    {
        IMAGEHLP_LINEW64 line = {};
        line.SizeOfStruct = sizeof line;
        DWORD offset = 0;
        if (!m_lineFromAddress(m_session, address, &offset, &line)) return {};
        return BaseName(line.FileName) + L":" + std::to_wstring(line.LineNumber);
    }

    decltype(&::SymGetOptions) m_getOptions = nullptr;
    decltype(&::SymSetOptions) m_setOptions = nullptr;
    decltype(&::SymInitializeW) m_initialize = nullptr;
    decltype(&::SymLoadModuleExW) m_loadModule = nullptr;
    decltype(&::SymUnloadModule64) m_unloadModule = nullptr;
    decltype(&::SymFromAddrW) m_fromAddress = nullptr;
    decltype(&::SymGetLineFromAddrW64) m_lineFromAddress = nullptr;
    HANDLE m_session = nullptr;
    std::vector<LoadedModule> m_modules;
    bool m_ready = false;
};

/// The debugging-help library serves one thread at a time.
NamedAddress NearestSymbol(std::uintptr_t base, std::wstring const& path, std::uintptr_t address)
{
    static std::mutex& lock = *new std::mutex; // both for the whole life of the process
    std::lock_guard const guard(lock);
    static SymbolReader& reader = *new SymbolReader;
    return reader.Name(base, path, address);
}

NamedAddress BestName(std::uintptr_t base, std::wstring const& path, std::uintptr_t address)
{
    FileAnswer answer = NameByFile(base, path, address);
    NamedAddress symbol = answer.isElsewhere ? NearestSymbol(base, path, address) : std::move(answer.name);
    NamedAddress exported = NearestExport(base, address);
    if (symbol.function.empty()) return exported;
    // Code that was written in assembly may be known as an export alone: the symbol is that of the function before it.
    if (exported.start > symbol.start) return {std::move(exported.function), exported.start, std::move(symbol.line)};
    // Of two names of one function the exported one tells the class and the parameters.
    if (exported.start == symbol.start) symbol.function = std::move(exported.function);
    return symbol;
}

/// The base of the image that an address lies in, by the memory alone; 0 when it lies in none.
std::uintptr_t ImageAround(void const* address) noexcept
{
    MEMORY_BASIC_INFORMATION part;
    bool const known = ::VirtualQuery(address, &part, sizeof part) != 0;
    return known && part.State == MEM_COMMIT && part.Type == MEM_IMAGE
               ? reinterpret_cast<std::uintptr_t>(part.AllocationBase)
               : 0;
}

/// The name of the file that an image was made from, as the memory's mapping tells it.
std::wstring FileOfImage(std::uintptr_t base)
{
    constexpr int kMappedFileName = 2; // MemoryMappedFilenameInformation
    using QueryMemory = LONG(NTAPI*)(HANDLE, void const*, int, void*, SIZE_T, SIZE_T*);
    static auto const query = SystemFunction<QueryMemory>(L"ntdll.dll", "NtQueryVirtualMemory");
    struct {
        UNICODE_STRING name;
        wchar_t text[2048];
    } answer{};
    auto const* const image = reinterpret_cast<void const*>(base);
    if (!query || query(::GetCurrentProcess(), image, kMappedFileName, &answer, sizeof answer, nullptr) < 0) return {};
    return BaseName({answer.name.Buffer, answer.name.Length / sizeof(wchar_t)});
}

std::wstring TextOf(std::wstring const& module, NamedAddress const& name, std::uintptr_t base, std::uintptr_t at)
{
    if (name.function.empty()) return module + L"+" + Hex(at - base);
    std::wstring text = module + L"!" + name.function + L"+" + Hex(at - name.start);
    if (!name.line.empty()) text += L" [" + name.line + L"]";
    return text;
}

} // namespace

bool IsLoaderFree(unsigned int patienceMs) noexcept
{
    using LockLoader = LONG(NTAPI*)(ULONG flags, ULONG * result, ULONG_PTR * cookie);
    using UnlockLoader = LONG(NTAPI*)(ULONG flags, ULONG_PTR cookie);
    static auto const lock = SystemFunction<LockLoader>(L"ntdll.dll", "LdrLockLoaderLock");
    static auto const unlock = SystemFunction<UnlockLoader>(L"ntdll.dll", "LdrUnlockLoaderLock");
    constexpr ULONG kTryOnly = 2, kTaken = 1;
    if (!lock || !unlock) return true;
    for (unsigned int waited = 0;; waited += 10) {
        ULONG result = 0;
        ULONG_PTR cookie = 0;
        if (lock(kTryOnly, &result, &cookie) < 0) return true; // a system that does not offer the question
        if (result == kTaken) {
            unlock(0, cookie);
            return true;
        }
        if (waited >= patienceMs) return false;
        ::Sleep(10);
    }
}

std::wstring DescribeWithoutLoader(void const* address, bool isReturn)
{
    KeepLastError const keep;
    std::uintptr_t const base = ImageAround(address);
    if (base == 0) return {};
    auto const at = reinterpret_cast<std::uintptr_t>(address);
    return TextOf(FileOfImage(base), NearestExport(base, isReturn ? at - 1 : at), base, at);
}

std::wstring DescribeAddress(void const* address, bool isReturn)
{
    KeepLastError const keep;
    if (!address) return {};                          // the system would take it for the program
    Module const module = Module::OfAddress(address); // it stays loaded while its address is named
    if (!module) return {};
    auto const base = reinterpret_cast<std::uintptr_t>(module.Get());
    std::wstring const path = ModulePath(module.Get());
    std::uintptr_t const at = reinterpret_cast<std::uintptr_t>(address);
    NamedAddress const name = BestName(base, path, isReturn ? at - 1 : at);
    return TextOf(BaseName(path), name, base, at);
}

} // namespace xc::win32
