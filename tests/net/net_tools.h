// net_tools.h - two ends of a connection over the loopback address, and threads that tests start.
#pragma once

#include "prelude.h"

#include <XelbrinCore/XCBufferedSocket.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCSocket.h>

namespace xc_test {

inline XCSocketAddress const kAnyPort(XCIPAddress::Loopback(), 0);
constexpr unsigned int kLongMs = 20000; // no test waits so long unless it fails

/// Two ends.
struct Pair {
    XCSmartPtr<XCServerSocket> listener{new XCServerSocket};
    XCSmartPtr<XCStreamSocket> client{new XCStreamSocket}, server;

    Pair()
    {
        EXPECT_TRUE(listener->Listen(kAnyPort).Good());
        EXPECT_TRUE(client->Connect(listener->GetLocal(), kLongMs).Good());
        EXPECT_TRUE(listener->Accept(server, kLongMs).Good());
    }
};

/// The code of a result as a name.
inline std::string CodeOf(XCErrorID const& error)
{
    switch (error) {
    case 0: return "good";
    case XCErrSocketReset: return "reset";
    case XCErrTimedOut: return "time";
    case XCErrSocketCancelled: return "cancelled";
    case XCErrSocketClosed: return "closed";
    case XCErrSocketEnded: return "ended";
    default: return std::string(error.AsString().AsUTF8());
    }
}

} // namespace xc_test
