// NetErrors.h - the results of calls on sockets: an end, a reset, a time-out and a cancellation are different things.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCIPAddress.h>

#include "work/Executor.h"

#include <initializer_list>

namespace xc::net {

// Numbers of the system's errors that decide between results.
inline constexpr unsigned long kErrorNetworkNameDeleted = 64, kErrorWaitTimedOut = 121, kErrorNoData = 232,
                               kErrorOperationAborted = 995, kErrorConnectionAborted = 1236, kErrorTooManyHandles = 4,
                               kErrorNotEnoughMemory = 8, kErrorNoResources = 1450, kErrorTooManyOpenFiles = 10024,
                               kErrorNoBuffers = 10055, kErrorSocketAborted = 10053, kErrorSocketReset = 10054,
                               kErrorSocketTimedOut = 10060;

/// Whether the peer or the network has broken the connection. A time-out of the protocol itself (no answer to data or to
/// keep-alive) is a break as well: the connection is gone, unlike after the time-out of a call.
constexpr bool IsReset(unsigned long error) noexcept
{
    for (unsigned long const known :
         {kErrorNetworkNameDeleted, kErrorWaitTimedOut, kErrorNoData, kErrorConnectionAborted, kErrorSocketAborted,
          kErrorSocketReset, kErrorSocketTimedOut})
        if (error == known) return true;
    return false;
}
/// Whether the system has no handle or memory for one more socket, which may change.
constexpr bool IsShortage(unsigned long error) noexcept
{
    for (unsigned long const known :
         {kErrorTooManyHandles, kErrorNotEnoughMemory, kErrorNoResources, kErrorTooManyOpenFiles, kErrorNoBuffers})
        if (error == known) return true;
    return false;
}

/// The failure of a call: XCErrSocketReset and XCErrSocketCancelled by the number, else `otherwise`. 0 is success.
/// @param address the name of the peer or place, as errors show it.
XCErrorID SocketFailure(XCCoreError otherwise, XCString const& address, unsigned long error);
/// An error, or the one that says that there is no memory for it.
template <class Make>
XCErrorID ErrorFrom(Make make) noexcept
try {
    return make();
} catch (...) {
    return work::FailureOfTask();
}

XCErrorID TimedOut();
XCErrorID Cancelled(XCSocketAddress const& peer);
/// @param queued bytes that wait to be sent.
XCErrorID QueueFull(XCSocketAddress const& peer, std::size_t queued);

} // namespace xc::net
