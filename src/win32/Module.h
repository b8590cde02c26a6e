// Module.h - loading modules and asking for their functions.
#pragma once

#include "win32/SystemPath.h"

#include <utility>
#include <vector>

namespace xc::win32 {

/// The loaded module whose image an address lies in; null when there is none. Takes no reference: the answer names the
/// module, nobody may call into it by that.
[[nodiscard]] void* ModuleAt(void const* address) noexcept;

/// From here on the process looks for libraries by name in these folders and the system's own alone. Cannot be taken
/// back; a later call names other folders instead.
/// @return 0, or the number of the system's error and the folder that it does not take: nothing is restricted then.
unsigned long RestrictSearch(std::vector<SystemPath> const& folders, SystemPath& failed);

/// Owns one reference of the system to a loaded module.
class Module {
public:
    Module() noexcept = default;
    Module(Module&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    Module& operator=(Module&& other) noexcept
    {
        if (this != &other) {
            Free();
            m_handle = std::exchange(other.m_handle, nullptr);
        }
        return *this;
    }
    ~Module() { Free(); }

    /// Loads the module of this path, or takes one more reference when it is loaded already. What it links to
    /// is looked for in its own directory first. Empty on failure, with the thread's last error.
    /// @param restricted there, in the folders of RestrictSearch and in the system's alone.
    static Module Load(SystemPath const& path, bool restricted = false);
    /// One more reference to the loaded module that an address lies in; empty when it lies in none.
    static Module OfAddress(void const* address) noexcept;
    /// Whether an address lies in the image of this module.
    [[nodiscard]] bool Holds(void const* address) const noexcept { return m_handle && ModuleAt(address) == m_handle; }
    explicit operator bool() const noexcept { return m_handle != nullptr; }
    [[nodiscard]] void* Get() const noexcept { return m_handle; }
    /// The address of an exported function; null when there is none.
    [[nodiscard]] void* Find(char const* name) const noexcept;
    void Free() noexcept;
    /// Gives up the reference: the module stays loaded until the process ends.
    void KeepLoaded() noexcept { m_handle = nullptr; }

private:
    explicit Module(void* handle) noexcept : m_handle(handle) {}
    void* m_handle = nullptr;
};

} // namespace xc::win32
