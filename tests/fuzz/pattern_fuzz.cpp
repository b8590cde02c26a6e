// A pattern and a subject, split at the first U+0000: every form of the expression must agree with the slow references.
#include "../match/reference.h"

#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    std::wstring units(size / 2, L'\0');
    std::memcpy(units.data(), bytes, units.size() * 2);
    std::size_t const split = std::min(units.find(L'\0'), units.size());
    if (split > 60) return 0;
    std::wstring subject = units.substr(std::min(split + 1, units.size()), 200);
    subject.resize(std::min(subject.find(L'\0'), subject.size()));
    reference::Engines const engines(units.substr(0, split), false);
    // The references unfold counts: leave out what would keep them busy for minutes.
    if (engines.states.size() > 500) return 0;
    if (engines.Disagreement(subject)) std::abort();
    return 0;
}
