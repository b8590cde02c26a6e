// One module that tests copy under names of the form hostile_FAULT_PLACE: what it does wrong, and in which call.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCPlugIn.h>

#include "own_file.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <stdexcept>

namespace {

__attribute__((noinline)) void HangsHere()
{
    for (;;) ::Sleep(1000);
}

__attribute__((noinline)) int Overflows(int depth)
{
    char volatile room[4096] = {};
    room[depth % 4096] = 1;
    int volatile below = depth < 0 ? 0 : Overflows(depth + 1); // no loop in place of the calls
    return room[0] + below;
}

/// Writes over blocks that were given back, where a heap keeps its own lists, and then uses the heap.
__attribute__((noinline)) void DamagesTheHeap()
{
    void* blocks[64];
    for (void*& block : blocks) block = ::HeapAlloc(::GetProcessHeap(), 0, 2000);
    for (std::size_t i = 0; i < std::size(blocks); i += 2) ::HeapFree(::GetProcessHeap(), 0, blocks[i]);
    for (void* const block : blocks) std::memset(static_cast<char*>(block) - 16, 0x5A, 2000);
    for (std::size_t size = 16;; size += 16) (void)::HeapAlloc(::GetProcessHeap(), 0, size); // until it is noticed
}

void OnOwnThread(LPTHREAD_START_ROUTINE body)
{
    ::CloseHandle(::CreateThread(nullptr, 0, body, nullptr, 0, nullptr));
}

void Misbehave(std::wstring const& fault)
{
    if (fault == L"hang") HangsHere();
    if (fault == L"crash") *static_cast<int volatile*>(nullptr) = 1; // NOLINT(clang-analyzer-core.NullDereference)
    if (fault == L"exit") ::ExitProcess(7);
    if (fault == L"kill") ::TerminateProcess(::GetCurrentProcess(), 66); // nothing is written out after this
    if (fault == L"throw") throw std::runtime_error("planned fault");
    if (fault == L"abort") std::abort();
    if (fault == L"overflow") Overflows(0);
    if (fault == L"damage") DamagesTheHeap();
    if (fault == L"held") { // the record must not need the heap
        ::HeapLock(::GetProcessHeap());
        Misbehave(L"crash");
    }
    if (fault == L"memory")
        (void)::VirtualAlloc(nullptr, std::size_t{2} << 30, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (fault == L"grow")
        for (std::size_t mib = 0; mib < 2048; mib += 4, ::Sleep(1)) // as a leak does: a piece at a time, and used
            if (void* const piece = ::VirtualAlloc(nullptr, 4u << 20, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))
                std::memset(piece, 1, 4u << 20);
    if (fault == L"stray") OnOwnThread([](void*) -> DWORD { return Misbehave(L"crash"), 0; });
    if (fault == L"left") OnOwnThread([](void*) -> DWORD { return HangsHere(), 0; });
}

void At(wchar_t const* place)
{
    std::wstring const name = OwnFile().substr(sizeof "hostile");
    std::size_t const line = name.find(L'_');
    if (name.substr(line + 1) == place) Misbehave(name.substr(0, line));
}

template <class Base>
class Hostile final : public Base {
public:
    XCString GetPlugInName() const override { return L"Hostile"; }
    PlugInIdEx GetPlugInIdEx() const override { return XCGuid(666, 0, 0, {}); }
    /// One that never comes back from Init is the last: the others are there by then.
    std::vector<PlugInIdEx> GetDependentV() const override
    {
        if (!OwnFile().ends_with(L"_init")) return {};
        return {PlugInIdEx(XCGuid(3, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}))}; // the report
    }
    XCErrorID Init(XCApplicationWithPlugIns const&) override
    {
        At(L"init");
        return XCErrorID::Success;
    }
    void Run() override
    {
        At(L"run");
        At(L"thread");
        if (OwnFile() == L"hostile_stray_init") HangsHere(); // until its own thread has ended the process
    }
    void RequestExit(bool immediately) override
    {
        At(L"exit");
        Base::RequestExit(immediately);
    }
    void Unload() override { At(L"unload"); }
};

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    At(L"entry");
    if (OwnFile().ends_with(L"_thread")) return new Hostile<XCThreadedRunPlugIn>;
    return new Hostile<XCRunPlugIn>;
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) At(L"main");
    return TRUE;
}
