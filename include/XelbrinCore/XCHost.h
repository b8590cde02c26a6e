// XCHost.h - addresses of names, and a way to end waits of the network from another thread.
//
// WHAT     XCHost::Resolve turns a name into addresses within a time, XCHost::Reverse an address into a name.
//          XCCancellation ends such a wait.
// NAMES    An address in text form is its own result. "localhost" and names that end in ".localhost" are the machine
//          itself and never asked for. A name whose last part is a number ("127.1", "0x7f.1") is refused
//          (XCErrAddressText): other programs read such names as addresses, and not all as the same.
// COST     A question to the system's resolver: from microseconds for what it knows to seconds. A question that nobody
//          waits for any more ends by itself later; the library stays loaded for it.
// ERRORS   XCErrHostNotFound with the resolver's number and words, XCErrTimedOut, XCErrSocketCancelled.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCIPAddress.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <cstdint>
#include <vector>

/// Ends waits, now and later, until it is reset. Counted.
class XC_API XCCancellation : public XCRefCount {
public:
    /// @throws XCWindowsLastErrorException when the system has no event left.
    XCCancellation();
    ~XCCancellation() override;
    XCCancellation(XCCancellation const&) = delete;
    XCCancellation& operator=(XCCancellation const&) = delete;

    /// Ends all waits that look at this object. Any thread.
    void Cancel() noexcept;
    /// Lets new waits wait again.
    void Reset() noexcept;
    /// Whether Cancel was called after the last Reset.
    [[nodiscard]] bool IsCancelled() const noexcept;
    /// The system's event; for calls that wait for several things.
    [[nodiscard]] void* GetHandle() const noexcept { return m_event; }

private:
    void* m_event;
};

/// Names of machines.
struct XC_API XCHost {
    /// Finds the addresses of a name, in the order in which they should be tried.
    /// @param port      stands in each address.
    /// @param addresses receives them; empty after a failure.
    /// @param cancel    ends the wait; null: only the time does.
    static XCErrorID Resolve(XCString const& name, std::uint16_t port, std::vector<XCSocketAddress>& addresses,
                             unsigned int timeoutMs = XCInfinite, XCCancellation const* cancel = nullptr);
    /// Finds the name of an address; "localhost" for those of the machine itself, which are never asked for.
    /// @note The name is what the owner of the address says. One that decides anything must be resolved again, and the
    ///       address be among its addresses.
    /// @param name   receives it; empty after a failure.
    /// @param cancel ends the wait; null: only the time does.
    static XCErrorID Reverse(XCIPAddress const& address, XCString& name, unsigned int timeoutMs = XCInfinite,
                             XCCancellation const* cancel = nullptr);
    /// The name of this machine; empty when the system does not say.
    [[nodiscard]] static XCString GetName();
};
