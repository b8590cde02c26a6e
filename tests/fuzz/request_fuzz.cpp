// Heads of requests: names of a path stay names, ranges stay in their file, and a head does not depend on what follows.
#include "../../examples/web_folder/request_head.cpp"

#include "input.h"

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    std::string const text(reinterpret_cast<char const*>(bytes), size);
    web::RequestHead head, again;
    std::size_t used = 0, usedAgain = 0;
    web::Status const status = web::ParseHead(text, head, used);
    if (status == 0 || status == 431) return;
    Require(used <= size && used <= web::kMaxHead);
    Require(web::ParseHead(text.substr(0, used), again, usedAgain) == status && usedAgain == used);
    if (status != 200) return;
    for (std::string const& name : head.path) {
        Require(!name.empty() && name != "." && name != "..");
        Require(name.find_first_of(std::string("/\\:\0", 4)) == std::string::npos);
    }
    std::uint64_t first = 0, count = 0;
    for (std::uint64_t const length : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{1000}, UINT64_MAX})
        if (head.range && web::Resolve(*head.range, length, first, count))
            Require(count > 0 && first < length && count <= length - first);
}
