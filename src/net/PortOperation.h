// PortOperation.h - what the completion port of a server hands out. For .cpp files.
#pragma once

#include "win32/Socket.h"

namespace xc::net {

/// Something under way whose end the port tells. Its memory, and that of its owner, stay until then: whoever begins one
/// takes a reference to the owner, which Complete gives back.
struct PortOperation : OVERLAPPED {
    PortOperation() noexcept : OVERLAPPED{} {}
    PortOperation(PortOperation const&) = delete;
    PortOperation& operator=(PortOperation const&) = delete;

    /// @param error the system's, 0 for success.
    virtual void Complete(unsigned long error, unsigned long bytes) noexcept = 0;
    /// Before it begins once more.
    void Renew() noexcept { static_cast<OVERLAPPED&>(*this) = OVERLAPPED{}; }

protected:
    ~PortOperation() = default;
};

} // namespace xc::net
