// The one line of the matching room that needs the wide console stream. It stands apart because the room is otherwise
// made of plain C++ that builds on every system, and a program that never dumps an automaton should not carry the
// streams' start-up in its portable part. Flushed at once: a dump is asked for by somebody who is looking for a fault,
// and the line before a crash is the one that matters.
#include "match/Dump.h"

#include <iostream>

namespace xc::match {

void WriteWideOut(std::wstring_view text)
{
    std::wcout << text << std::flush;
}

} // namespace xc::match
