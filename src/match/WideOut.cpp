#include "match/Dump.h"

#include <iostream>

namespace xc::match {

void WriteWideOut(std::wstring_view text)
{
    std::wcout << text << std::flush;
}

} // namespace xc::match
