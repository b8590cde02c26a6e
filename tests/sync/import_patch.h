// import_patch.h - puts another function in the place of one that the library calls.
#pragma once

#include "prelude.h"

#include <windows.h>

namespace sync_test {

/// Replaces one imported function of the library, or of another module, until the end of the block.
struct ImportPatch {
    template <class Replacement>
    ImportPatch(char const* function, Replacement* replacement, wchar_t const* module = L"XelbrinCore-x64.dll")
        : m_slot(Find(function, module))
    {
        EXPECT_NE(m_slot, nullptr) << function;
        if (m_slot) m_original = Swap(reinterpret_cast<void*>(replacement));
    }
    ~ImportPatch()
    {
        if (m_slot) Swap(m_original);
    }
    ImportPatch(ImportPatch const&) = delete;
    ImportPatch& operator=(ImportPatch const&) = delete;

    /// The function that was replaced.
    [[nodiscard]] void* Original() const noexcept { return m_original; }

private:
    static void** Find(char const* function, wchar_t const* moduleName)
    {
        auto* const base = reinterpret_cast<unsigned char*>(::GetModuleHandleW(moduleName));
        auto const at = [base](auto offset, auto* type) { return reinterpret_cast<decltype(type)>(base + offset); };
        auto const* const dos = at(0, static_cast<IMAGE_DOS_HEADER*>(nullptr));
        auto const* const nt = at(dos->e_lfanew, static_cast<IMAGE_NT_HEADERS64*>(nullptr));
        auto const& directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        auto const* module = at(directory.VirtualAddress, static_cast<IMAGE_IMPORT_DESCRIPTOR*>(nullptr));
        for (; module->Name != 0; ++module) {
            auto const* name = at(module->OriginalFirstThunk, static_cast<IMAGE_THUNK_DATA64*>(nullptr));
            auto* slot = at(module->FirstThunk, static_cast<void**>(nullptr));
            for (; name->u1.AddressOfData != 0; ++name, ++slot) {
                if (IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) continue;
                auto const* const hint = at(name->u1.AddressOfData, static_cast<IMAGE_IMPORT_BY_NAME*>(nullptr));
                if (std::strcmp(reinterpret_cast<char const*>(hint->Name), function) == 0) return slot;
            }
        }
        return nullptr;
    }
    void* Swap(void* value)
    {
        DWORD protection = 0;
        ::VirtualProtect(m_slot, sizeof *m_slot, PAGE_READWRITE, &protection);
        void* const before = std::exchange(*m_slot, value);
        ::VirtualProtect(m_slot, sizeof *m_slot, protection, &protection);
        return before;
    }

    void** m_slot;
    void* m_original = nullptr;
};

} // namespace sync_test
