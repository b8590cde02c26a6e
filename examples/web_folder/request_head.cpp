// Reading the head of a request.
//
// Whatever two readers of HTTP could understand differently is refused: lines that do not end in CR LF, blanks before the
// colon, folded lines, two Host lines, bodies where none belongs. The path becomes names here, once, after decoding: a
// name can neither be ".." nor hold a separator, a colon or a control character, so that joining the names to a folder
// cannot leave it. A head without its end is refused at kMaxHead bytes.
#include "request_head.h"

#include <algorithm>
#include <charconv>

namespace web {

namespace {

bool IsTokenUnit(char unit) noexcept
{
    bool const alphanumeric =
        (unit >= '0' && unit <= '9') || (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z');
    return alphanumeric || (unit != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(unit) != std::string_view::npos);
}

bool IsToken(std::string_view text) noexcept
{
    return !text.empty() && std::all_of(text.begin(), text.end(), IsTokenUnit);
}

char Lower(char unit) noexcept
{
    return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit + 32) : unit;
}

bool IsSame(std::string_view a, std::string_view lower) noexcept
{
    return std::equal(a.begin(), a.end(), lower.begin(), lower.end(), [](char x, char y) { return Lower(x) == y; });
}

std::string_view Trim(std::string_view text) noexcept
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

/// The text before a separator, which is taken off with it; all of it where there is none.
std::string_view Cut(std::string_view& rest, char separator) noexcept
{
    std::size_t const at = rest.find(separator);
    std::string_view const part = rest.substr(0, at);
    rest.remove_prefix(at == std::string_view::npos ? rest.size() : at + 1);
    return part;
}

bool ReadNumber(std::string_view text, std::optional<std::uint64_t>& number) noexcept
{
    std::uint64_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return false;
    number = value;
    return true;
}

int HexValue(char unit) noexcept
{
    char const lower = Lower(unit);
    if (lower >= '0' && lower <= '9') return lower - '0';
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool DecodeName(std::string_view text, std::string& name)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        char unit = text[i];
        if (unit == '%') {
            int const high = i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
            int const low = i + 2 < text.size() ? HexValue(text[i + 2]) : -1;
            if (high < 0 || low < 0) return false;
            unit = static_cast<char>(high << 4 | low);
            i += 2;
        }
        bool const isControl = static_cast<unsigned char>(unit) < 32 || unit == 127;
        if (isControl || unit == '/' || unit == '\\' || unit == ':') return false;
        name += unit;
    }
    return name != "." && name != "..";
}

Status ReadTarget(std::string_view target, RequestHead& head)
{
    target = target.substr(0, target.find('?'));
    if (!target.starts_with('/')) return 400;
    head.isFolder = target.ends_with('/');
    while (!target.empty()) {
        std::string name;
        if (!DecodeName(Cut(target, '/'), name)) return 400;
        if (!name.empty()) head.path.push_back(std::move(name));
    }
    return 200;
}

Status ReadRequestLine(std::string_view line, RequestHead& head)
{
    std::string_view const method = Cut(line, ' '), target = Cut(line, ' ');
    if (!IsToken(method) || target.empty()) return 400;
    if (line != "HTTP/1.1" && line != "HTTP/1.0") return line.starts_with("HTTP/") ? 505 : 400;
    head.method = method;
    head.isOld = line == "HTTP/1.0";
    head.keepAlive = !head.isOld;
    return ReadTarget(target, head);
}

/// "bytes=0-99", "bytes=100-", "bytes=-100"
std::optional<Range> ReadRange(std::string_view value) noexcept
{
    Range range;
    if (!IsSame(Cut(value, '='), "bytes")) return {};
    std::string_view const first = Trim(Cut(value, '-')), last = Trim(value);
    bool const firstRead = first.empty() || ReadNumber(first, range.first);
    bool const lastRead = last.empty() || ReadNumber(last, range.last);
    if (!firstRead || !lastRead || (first.empty() && last.empty())) return {};
    if (range.first && range.last && *range.last < *range.first) return {};
    return range;
}

/// What the lines of a head have said.
struct Seen {
    unsigned int hosts = 0;
    bool body = false;
};

Status ReadField(std::string_view line, RequestHead& head, Seen& seen)
{
    if (line.find(':') == std::string_view::npos) return 400;
    std::string_view const name = Cut(line, ':'), value = Trim(line);
    auto const isControl = [](char unit) { return static_cast<unsigned char>(unit) < 32 && unit != '\t'; };
    if (!IsToken(name) || std::any_of(value.begin(), value.end(), isControl)) return 400;
    if (IsSame(name, "host")) ++seen.hosts;
    if (IsSame(name, "transfer-encoding") || (IsSame(name, "content-length") && value != "0")) seen.body = true;
    if (IsSame(name, "connection"))
        head.keepAlive = head.keepAlive ? !IsSame(value, "close") : IsSame(value, "keep-alive");
    if (IsSame(name, "range")) head.range = ReadRange(value);
    return 200;
}

/// @param text the lines without the empty one at their end.
Status ReadLines(std::string_view text, RequestHead& head)
{
    Seen seen;
    Status status = 0;
    while (!text.empty() && (status == 0 || status == 200)) {
        std::size_t const end = text.find("\r\n");
        std::string_view const line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
        status = status == 0 ? ReadRequestLine(line, head) : ReadField(line, head, seen);
    }
    if (status != 200) return status == 0 ? 400 : status;
    if (seen.hosts > 1 || (seen.hosts == 0 && !head.isOld)) return 400;
    // The bytes of a body would be taken for the next request.
    return seen.body ? (head.method == "GET" || head.method == "HEAD" ? 400 : 405) : 200;
}

} // namespace

Status ParseHead(std::string_view bytes, RequestHead& head, std::size_t& used)
{
    std::size_t const end = bytes.substr(0, kMaxHead).find("\r\n\r\n");
    if (end == std::string_view::npos) return bytes.size() >= kMaxHead ? 431 : 0;
    head = RequestHead();
    used = end + 4;
    Status const status = ReadLines(bytes.substr(0, end), head);
    if (status != 200) head.keepAlive = false;
    return status;
}

bool Resolve(Range const& range, std::uint64_t size, std::uint64_t& first, std::uint64_t& count)
{
    if (!range.first) {
        count = std::min(range.last.value_or(0), size);
        first = size - count;
        return count > 0;
    }
    first = *range.first;
    if (first >= size) return false;
    count = std::min(range.last.value_or(size - 1), size - 1) - first + 1;
    return true;
}

} // namespace web
