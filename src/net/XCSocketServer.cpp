// The public face of a server: a counted core that outlives it as long as its threads work (ServerCore.cpp), and what
// handlers do unless a program says otherwise.
#include <XelbrinCore/XCSocketServer.h>

#include "net/ServerCore.h"
#include "work/OwnThread.h"

using xc::net::ServerCore;

XCConnection::~XCConnection() = default;
XCConnectionI::~XCConnectionI() = default;

void XCConnectionI::OnOpen(XCConnection&) {}
void XCConnectionI::OnDrained(XCConnection&) {}
void XCConnectionI::OnClose(XCConnection&, XCErrorID const&) {}

void XCConnectionI::OnEnd(XCConnection& connection)
{
    connection.Close();
}

XCSocketServer::XCSocketServer(Factory factory, XCSocketServerOptions const& options)
    : m_core(new ServerCore(std::move(factory), options))
{
    m_core->AddRef();
}

XCSocketServer::~XCSocketServer()
{
    xc::work::Abandon(*m_core);
}

XCErrorID XCSocketServer::Listen(XCSocketAddress const& address, XCSocketAddress* local)
{
    return m_core->Listen(address, local);
}

XCErrorID XCSocketServer::Stop(unsigned int timeoutMs)
{
    return m_core->Stop(timeoutMs);
}

XCSocketServerStatistics XCSocketServer::GetStatistics() const
{
    return m_core->Statistics();
}
