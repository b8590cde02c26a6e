// Any text as a pattern: parsing, compiling and printing end, in bounded memory.
#include "input.h"

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    // Bytes as units keep the search among the characters that mean something; every 16th input has wide units.
    std::wstring const pattern = size % 16 == 15 ? Units(bytes, size) : std::wstring(bytes, bytes + size);
    XCParsedRegEx const parsed = XCStringRegExParser(XCString(pattern)).Parse();
    XCRegEx const expression(parsed, false, {256, 1u << 18});
    (void)expression.Match(pattern.c_str());
    (void)expression.GetConstantStart();
    if (size < 64) {
        (void)expression.DumpStates();
        (void)XCRegEx::DumpNodes(parsed);
    }
}
