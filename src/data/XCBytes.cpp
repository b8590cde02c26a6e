// The search over bytes is linear whatever is looked for: up to kShortWanted bytes a plain search compares at most that many
// times a place; longer ones run through the automaton of Knuth, Morris and Pratt (SIAM J. Comput. 6, 1977), which never
// goes back in the text: fallback[k] is the length of the longest proper beginning of the first k bytes that is also
// their end, so after a mismatch that many bytes are known to match already.
#include <XelbrinCore/XCBuffer.h>

#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kShortWanted = 32;

std::string_view Chars(XCBytes bytes) noexcept
{
    return {reinterpret_cast<char const*>(bytes.Data()), bytes.Size()};
}

std::vector<std::size_t> Fallbacks(XCBytes wanted)
{
    std::vector<std::size_t> fallback(wanted.Size() + 1, 0);
    std::size_t matched = 0;
    for (std::size_t i = 1; i < wanted.Size(); ++i) {
        while (matched > 0 && wanted[matched] != wanted[i]) matched = fallback[matched];
        if (wanted[matched] == wanted[i]) ++matched;
        fallback[i + 1] = matched;
    }
    return fallback;
}

std::size_t FindLong(XCBytes in, XCBytes wanted)
{
    std::vector<std::size_t> const fallback = Fallbacks(wanted);
    std::size_t matched = 0;
    for (std::size_t i = 0; i < in.Size(); ++i) {
        while (matched > 0 && wanted[matched] != in[i]) matched = fallback[matched];
        if (wanted[matched] == in[i]) ++matched;
        if (matched == wanted.Size()) return i + 1 - matched;
    }
    return XCBytes::npos;
}

} // namespace

std::size_t XCBytes::Find(XCBytes bytes, std::size_t start) const
{
    if (bytes.m_size <= kShortWanted || start > m_size) return Chars(*this).find(Chars(bytes), start);
    std::size_t const found = FindLong(Slice(start), bytes);
    return found == npos ? npos : start + found;
}

std::size_t XCBytes::Find(std::uint8_t byte, std::size_t start) const noexcept
{
    return Chars(*this).find(static_cast<char>(byte), start);
}
