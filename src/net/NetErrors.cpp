// The system reports a broken connection by many numbers: by those of sockets where the call ended at once, by those of
// files where it ended later. Callers see one code for them all; number and words stay in the error.
#include "net/NetErrors.h"

#include "data/DataErrors.h"
#include "errors/CoreError.h"
#include "errors/SystemWords.h"

namespace xc::net {

XCErrorID SocketFailure(XCCoreError otherwise, XCString const& address, unsigned long error)
{
    if (error == 0) return XCErrorID::Success;
    if (error == kErrorOperationAborted) return errors::MakeCoreError(XCErrSocketCancelled, address);
    // While connecting, no answer is a failure to connect, not a break of something that was there.
    bool const isConnecting = otherwise == XCErrSocketCannotConnect;
    XCCoreError const code = !isConnecting && IsReset(error) ? XCErrSocketReset : otherwise;
    return errors::MakeCoreError(code, address, static_cast<long>(error), errors::SystemWords(error, address));
}

XCErrorID TimedOut()
{
    return errors::MakeCoreError(XCErrTimedOut);
}

XCErrorID Cancelled(XCSocketAddress const& peer)
{
    return errors::MakeCoreError(XCErrSocketCancelled, peer.AsString());
}

XCErrorID QueueFull(XCSocketAddress const& peer, std::size_t queued)
{
    return errors::MakeCoreError(XCErrSocketQueueFull, peer.AsString(), data::NumberParameter(queued));
}

} // namespace xc::net
