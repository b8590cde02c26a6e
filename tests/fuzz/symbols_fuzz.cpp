// The file of a module as a call stack reads it: functions by its symbols, lines by its debug data.
#include "input.h"
#include "win32/CoffImage.h"
#include "win32/DebugLink.h"
#include "win32/FunctionName.h"
#include "win32/LineTable.h"

namespace {

using namespace xc::win32;

/// Whether a part lies in the whole: nothing is made up, and nothing outside was read.
void RequireInside(std::string_view part, std::string_view whole)
{
    Require(part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size()));
}

} // namespace

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    std::string_view const all(reinterpret_cast<char const*>(bytes), size);
    CoffImage const image(all);
    for (std::uint32_t const address : {0u, 0x1004u, 0xFFFFFFFFu}) {
        CoffImage::Function const function = image.NearestFunction(address);
        Require(function.start <= address);
        RequireInside(function.name, all);
        (void)ShortFunctionName(function.name);
    }
    (void)image.NamesOtherSymbols();
    RequireInside(image.Section(".debug_line"), all);
    RequireInside(ReadDebugLink(all).file, all);
    // The same bytes as sections: the first one says where the texts begin.
    std::size_t const cut = size > 0 ? std::min<std::size_t>(size, 1 + bytes[0]) : 0;
    LineSections const sections{all.substr(std::min<std::size_t>(size, 1)), all.substr(cut), all.substr(cut)};
    std::vector<LineRange> const ranges = FindLineRanges(sections.lines);
    for (LineRange const& range : ranges) {
        Require(range.begin < range.end && range.unit < sections.lines.size());
        for (std::uint64_t const address : {range.begin, range.end - 1})
            RequireInside(FindSourceLine(sections, ranges, address).file, all);
    }
}
