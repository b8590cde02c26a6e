// web_folder.cpp - the files of one folder over HTTP/1.1: GET and HEAD, ranges, kept connections, lists of folders.
//
//     web_folder <folder> [/port:8080]
//
// It listens on this machine alone and ends with the end of its standard input. Without arguments it serves a folder of
// its own to itself and shows the answers. Nothing outside of the folder can be reached: names of a path are checked one
// by one, and links are refused. (Wine shows a link of its host's file system as the folder that it leads to.)
#include "request_head.h"

#include <XelbrinCore/XCBufferedSocket.h>
#include <XelbrinCore/XCDirectory.h>
#include <XelbrinCore/XCFile.h>
#include <XelbrinCore/XCSaveFile.h>
#include <XelbrinCore/XCSocketServer.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

constexpr std::size_t kHighWater = 256 * 1024, kPiece = 64 * 1024;

char const* ReasonOf(web::Status status)
{
    switch (status) {
    case 200: return "OK";
    case 206: return "Partial Content";
    case 301: return "Moved Permanently";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 416: return "Range Not Satisfiable";
    case 431: return "Request Header Fields Too Large";
    case 505: return "HTTP Version Not Supported";
    default: return "Bad Request";
    }
}

/// A name as part of a page, and as part of a link.
std::string ForPage(std::string const& name)
{
    std::string out;
    for (char const unit : name) {
        if (unit == '<' || unit == '>' || unit == '&' || unit == '"')
            out += "&#" + std::to_string(static_cast<int>(unit)) + ";";
        else
            out += unit;
    }
    return out;
}

std::string ForLink(std::string const& name)
{
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (char const unit : name) {
        auto const byte = static_cast<unsigned char>(unit);
        bool const plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= 'a' && byte <= 'z') || unit == '-' || unit == '.' || unit == '_' || unit == '~';
        if (plain)
            out += unit;
        else
            out += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return out;
}

/// Finds the entry that names of a path lead to. @return false where one of them is no plain name or a link.
bool Find(XCPath const& root, std::vector<std::string> const& names, XCPath& path, XCFileInfo& info)
{
    path = root;
    if (XCFileInfo::Get(path, info).Bad()) return false;
    for (std::string const& name : names) {
        XCString text;
        if (text.SetFromUTF8(name).Bad() || XCPath::CheckName(text.View()) != XCPathFault::None) return false;
        path = path.Join(text);
        bool const found = XCFileInfo::Get(path, info, false).Good();
        if (!found || (info.attributes & XCFileInfo::ReparsePoint) != 0) return false;
    }
    return true;
}

/// A connection: requests one after the other, also those that were sent ahead.
class Visitor final : public XCConnectionI {
public:
    explicit Visitor(XCPath const& root) : m_root(root) {}

    void OnData(XCConnection& peer, XCBytes bytes) override
    {
        m_in.append(reinterpret_cast<char const*>(bytes.Data()), bytes.Size());
        // Whoever sends far ahead waits until the answers are on their way.
        if (m_in.size() > 8 * web::kMaxHead) peer.SetReading(false);
        Serve(peer);
    }
    void OnDrained(XCConnection& peer) override { Serve(peer); }
    void OnEnd(XCConnection& peer) override
    {
        m_ended = true;
        Serve(peer);
    }

private:
    void Serve(XCConnection& peer)
    {
        while (!m_closing && SendFile(peer)) {
            web::RequestHead head;
            std::size_t used = 0;
            web::Status const status = web::ParseHead(m_in, head, used);
            if (status == 0) {
                peer.SetReading(true);
                if (m_ended) peer.Close();
                return;
            }
            m_in.erase(0, status == 431 ? m_in.size() : used);
            m_keep = head.keepAlive;
            m_old = head.isOld;
            Answer(peer, status, head);
        }
    }

    void Answer(XCConnection& peer, web::Status status, web::RequestHead const& head)
    {
        m_withBody = head.method != "HEAD";
        if (status != 200) return Refuse(peer, status);
        if (head.method != "GET" && head.method != "HEAD") return Refuse(peer, 405, "Allow: GET, HEAD\r\n");
        XCPath path;
        XCFileInfo info;
        if (!Find(m_root, head.path, path, info)) return Refuse(peer, 404);
        if (info.IsFolder()) return head.isFolder ? List(peer, path) : Redirect(peer, head);
        if (head.isFolder) return Refuse(peer, 404);
        Open(peer, path, head.range);
    }

    void SendHead(XCConnection& peer, web::Status status, std::uint64_t size, std::string const& fields)
    {
        std::string const head =
            "HTTP/1.1 " + std::to_string(status) + " " + ReasonOf(status) +
            "\r\nContent-Length: " + std::to_string(size) +
            (m_keep ? (m_old ? "\r\nConnection: keep-alive\r\n" : "\r\n") : "\r\nConnection: close\r\n") + fields +
            "\r\n";
        (void)peer.Send(head);
    }
    void SendText(XCConnection& peer, web::Status status, std::string const& fields, std::string const& text)
    {
        SendHead(peer, status, text.size(), fields);
        if (m_withBody) (void)peer.Send(text);
        m_answered = true;
    }
    void Refuse(XCConnection& peer, web::Status status, std::string const& fields = {})
    {
        SendText(peer, status, "Content-Type: text/plain\r\n" + fields, std::string(ReasonOf(status)) + "\n");
    }
    void Redirect(XCConnection& peer, web::RequestHead const& head)
    {
        std::string target = "/";
        for (std::string const& name : head.path) target += ForLink(name) + "/";
        Refuse(peer, 301, "Location: " + target + "\r\n");
    }
    void List(XCConnection& peer, XCPath const& folder)
    {
        std::vector<XCDirectoryEntry> entries;
        if (XCDirectory::Entries(folder, entries, {.depth = 1, .order = XCWalkOrder::ByName}).Bad())
            return Refuse(peer, 404);
        std::string page = "<!DOCTYPE html><meta charset=utf-8><ul>\n";
        for (XCDirectoryEntry const& entry : entries) {
            std::string const name = entry.GetName().AsUTF8(), slash = entry.IsFolder() ? "/" : "";
            if (!name.empty() && !entry.IsLink())
                page += "<li><a href=\"" + ForLink(name) + slash + "\">" + ForPage(name) + slash + "</a>\n";
        }
        SendText(peer, 200, "Content-Type: text/html; charset=utf-8\r\n", page + "</ul>\n");
    }
    void Open(XCConnection& peer, XCPath const& path, std::optional<web::Range> const& range)
    {
        std::uint64_t size = 0;
        if (XCFile::Open(path, XCFileMode::ToRead(), m_file).Bad() || m_file->GetSize(size).Bad()) {
            m_file.Clear();
            return Refuse(peer, 404);
        }
        m_at = 0;
        m_left = size;
        std::string const all = std::to_string(size);
        std::string fields = "Accept-Ranges: bytes\r\nContent-Type: application/octet-stream\r\n";
        if (range && !web::Resolve(*range, size, m_at, m_left)) {
            m_file.Clear();
            m_left = 0;
            return Refuse(peer, 416, "Content-Range: bytes */" + all + "\r\n");
        }
        if (range)
            fields += "Content-Range: bytes " + std::to_string(m_at) + "-" + std::to_string(m_at + m_left - 1) + "/" +
                      all + "\r\n";
        SendHead(peer, range ? 206 : 200, m_left, fields);
        if (!m_withBody) m_left = 0;
        m_answered = true;
    }

    /// Sends what the queue takes of the file. @return whether the answer is complete and the next request may come.
    bool SendFile(XCConnection& peer)
    {
        while (m_left > 0) {
            if (peer.GetQueued() >= kHighWater) return false;
            char piece[kPiece];
            std::size_t got = 0;
            std::size_t const wanted = static_cast<std::size_t>(std::min<std::uint64_t>(m_left, sizeof piece));
            if (m_file->ReadAt(m_at, piece, wanted, got).Bad() || got == 0) { // shorter than it was: the size was told
                m_closing = true;
                peer.Abort();
                return false;
            }
            if (peer.Send({piece, got}).Bad()) return false;
            m_at += got;
            m_left -= got;
        }
        m_file.Clear();
        if (std::exchange(m_answered, false) && !m_keep) {
            m_closing = true;
            peer.Close();
            return false;
        }
        return true;
    }

    XCPath const m_root;
    std::string m_in;
    XCSmartPtr<XCFile> m_file;
    std::uint64_t m_at = 0, m_left = 0;
    bool m_keep = true, m_old = false, m_withBody = true, m_answered = false, m_ended = false, m_closing = false;
};

/// Asks the server for things and shows the first lines of its answers.
int ShowItself(XCSocketAddress const& address)
{
    XCSmartPtr<XCStreamSocket> const socket(new XCStreamSocket);
    if (XCErrorID const fault = socket->Connect(address, 5000); fault.Bad()) return 1;
    XCBufferedSocket peer(socket);
    peer.SetDeadline(10000);
    int wrong = 0;
    auto const ask = [&](char const* request, wchar_t const* expected, char const* fields = "") {
        std::string const head = std::string(request) + " HTTP/1.1\r\nHost: here\r\n" + fields + "\r\n";
        XCString line;
        bool got = false;
        if (peer.Write(head.data(), head.size()).Bad() || peer.Flush().Bad() || peer.ReadLine(line, got).Bad()) ++wrong;
        std::wcout << request << L": " << line << L"\n";
        if (line != expected) ++wrong;
        std::size_t size = 0, done = 0;
        for (bool more = true; more && peer.ReadLine(line, more).Good() && !line.IsNull();)
            if (line.View().starts_with(L"Content-Length: ")) size = std::wcstoul(line.AsWChar() + 16, nullptr, 10);
        char byte = 0;
        for (std::size_t i = std::string(request).starts_with("HEAD") ? size : 0; i < size; ++i)
            if (peer.Read(&byte, 1, done).Bad() || done == 0) return;
    };
    ask("GET /", L"HTTP/1.1 200 OK");
    ask("HEAD /hello.txt", L"HTTP/1.1 200 OK");
    ask("GET /hello.txt", L"HTTP/1.1 200 OK");
    ask("GET /hello.txt", L"HTTP/1.1 416 Range Not Satisfiable", "Range: bytes=9-\r\n");
    ask("GET /absent", L"HTTP/1.1 404 Not Found");
    ask("GET /%2e%2e/secret", L"HTTP/1.1 400 Bad Request");
    return wrong;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    XCPath folder = count > 1 ? XCPath(arguments[1]) : XCPath();
    std::uint16_t port = 0;
    for (int i = 2; i < count; ++i)
        if (std::wstring_view(arguments[i]).starts_with(L"/port:"))
            port = static_cast<std::uint16_t>(std::wcstoul(arguments[i] + 6, nullptr, 10));
    bool const itself = folder.IsEmpty();
    if (itself) {
        if (XCDirectory::CreateTemporary(XCDirectory::GetTemp(), L"web", folder).Bad()) return 1;
        XCSmartPtr<XCFile> file;
        if (XCFile::Open(folder.Join(L"hello.txt"), XCFileMode::ToCreate(), file).Bad()) return 1;
        if (file->Write("hello\n", 6).Bad()) return 1;
    }
    XCSocketServerOptions options;
    options.highWaterBytes = kHighWater;
    options.idleMs = 30000;
    XCSmartPtr<XCSocketServer> const server(new XCSocketServer(
        [folder](XCConnection&) { return XCSmartPtr<XCConnectionI>(new Visitor(folder)); }, options));
    XCSocketAddress address;
    XCErrorID const fault = server->Listen(XCSocketAddress(XCIPAddress::Loopback(), port), &address);
    if (fault.Bad()) {
        std::wcerr << fault.AsString() << L"\n";
        return 1;
    }
    int result = 0;
    if (itself) {
        result = ShowItself(address);
    } else {
        std::wcout << L"http://" << address.AsString() << L"/" << std::endl;
        while (std::wcin.get() != std::wint_t(WEOF)) {
        }
    }
    if (server->Stop(5000).Bad()) result = 1;
    if (itself) (void)XCDirectory::RemoveTree(folder);
    return result;
}
