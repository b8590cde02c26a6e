// request_head.h - the head of an HTTP/1.1 request, as far as a server of files needs it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace web {

/// The part of a file that was asked for: from `first` to `last`; without `first` the last bytes.
struct Range {
    std::optional<std::uint64_t> first, last;
};

struct RequestHead {
    std::string method;
    std::vector<std::string> path; ///< the names of the path, decoded and safe: none is empty, "." or ".."
    bool isFolder = false;         ///< the path ends in "/"
    bool keepAlive = false;
    bool isOld = false;         ///< of HTTP/1.0
    std::optional<Range> range; ///< one range of bytes; several, and other units, are ignored
};

/// What became of it: 0 more bytes are needed, 200 it is whole, else the status of the refusal.
using Status = int;

constexpr std::size_t kMaxHead = 8 * 1024;

/// Reads a head from the beginning of the bytes.
/// @param used the size of the head, when it is whole.
Status ParseHead(std::string_view bytes, RequestHead& head, std::size_t& used);

/// The part of a file of a size. @return false when no byte of it is asked for.
bool Resolve(Range const& range, std::uint64_t size, std::uint64_t& first, std::uint64_t& count);

} // namespace web
