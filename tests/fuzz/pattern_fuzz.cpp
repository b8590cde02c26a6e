// A pattern and a subject, split at the first U+0000: every form of the expression must agree with the slow references.
#include "input.h"

#include "../match/reference.h"

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    auto const [pattern, rest] = Halves(Units(bytes, size));
    if (pattern.size() > 60) return;
    std::wstring const subject = Halves(rest.substr(0, 200)).first;
    reference::Engines const engines(pattern, false);
    // The references unfold counts: leave out what would keep them busy for minutes.
    if (engines.states.size() > 500) return;
    if (engines.Disagreement(subject)) std::abort();
}
