// syslog_receiver.cpp - receives syslog messages over TCP and shows them, one a line.
//
//     syslog_receiver [/port:514]
//
// Both framings of TCP are understood, message by message: a length and a blank before it ("27 <13>..."), or a line
// feed after it. A message above 8 KiB ends the connection. Without a port it sends three messages to itself.
#include <XelbrinCore/XCSocketServer.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <string>

namespace {

constexpr std::size_t kMaxMessage = 8 * 1024;

std::atomic<int> g_messages = 0;

void Show(std::string_view message)
{
    static std::mutex one;
    std::lock_guard const hold(one);
    XCString text;
    if (text.SetFromUTF8(std::string(message)).Bad()) text = L"(no text in UTF-8)";
    std::wcout << text << std::endl;
    ++g_messages;
}

/// Takes the first message off. @return 1: taken, 0: more bytes are needed, -1: no message can begin so.
int TakeMessage(std::string& bytes, std::string& message)
{
    if (bytes.empty()) return 0;
    if (bytes[0] < '1' || bytes[0] > '9') { // framed by its end
        std::size_t const end = bytes.find('\n');
        if (end == std::string::npos) return bytes.size() > kMaxMessage ? -1 : 0;
        message = bytes.substr(0, end);
        bytes.erase(0, end + 1);
        return 1;
    }
    std::size_t length = 0, at = 0;
    for (; at < bytes.size() && bytes[at] >= '0' && bytes[at] <= '9' && length <= kMaxMessage; ++at)
        length = length * 10 + static_cast<std::size_t>(bytes[at] - '0');
    if (length > kMaxMessage) return -1;
    if (at == bytes.size()) return 0;
    if (bytes[at] != ' ') return -1;
    if (bytes.size() - at - 1 < length) return 0;
    message = bytes.substr(at + 1, length);
    bytes.erase(0, at + 1 + length);
    return 1;
}

class Sender final : public XCConnectionI {
public:
    void OnData(XCConnection& peer, XCBytes bytes) override
    {
        m_bytes.append(reinterpret_cast<char const*>(bytes.Data()), bytes.Size());
        int taken = 1;
        for (std::string message; (taken = TakeMessage(m_bytes, message)) == 1;) Show(message);
        if (taken < 0) peer.Abort();
    }

private:
    std::string m_bytes;
};

int SendToItself(XCSocketAddress const& address)
{
    static constexpr char kMessages[] = "12 <13>1 - long<14>1 - line\n11 <15>1 - end";
    XCSmartPtr<XCStreamSocket> const socket(new XCStreamSocket);
    if (socket->Connect(address, 5000).Bad()) return 1;
    if (socket->Write(kMessages, sizeof kMessages - 1, 5000).Bad() || socket->ShutdownWrite().Bad()) return 1;
    char byte = 0;
    std::size_t got = 1;
    while (got > 0 && socket->Read(&byte, 1, got, 5000).Good()) {
    }
    return g_messages == 3 ? 0 : 1;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    std::uint16_t port = 0;
    if (count > 1 && std::wstring_view(arguments[1]).starts_with(L"/port:"))
        port = static_cast<std::uint16_t>(std::wcstoul(arguments[1] + 6, nullptr, 10));
    XCSmartPtr<XCSocketServer> const server(
        new XCSocketServer([](XCConnection&) { return XCSmartPtr<XCConnectionI>(new Sender); }));
    XCSocketAddress address;
    XCErrorID const fault = server->Listen(XCSocketAddress(XCIPAddress::Loopback(), port), &address);
    if (fault.Bad()) {
        std::wcerr << fault.AsString() << L"\n";
        return 1;
    }
    int result = 0;
    if (port == 0) {
        result = SendToItself(address);
    } else {
        std::wcout << L"listening on " << address.AsString() << std::endl;
        while (std::wcin.get() != std::wint_t(WEOF)) {
        }
    }
    return server->Stop(5000).Good() ? result : 1;
}
