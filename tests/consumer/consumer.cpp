// A program outside the tree: uses inline code, exported code and exported constants of the installed library.
#include <XelbrinCore/XelbrinCore.h>

#include <algorithm>
#include <cstdio>
#include <vector>

int main()
{
    std::vector<XCString> const arguments{L"text", L"outside"};
    XCString line;
    line.Format(L"%ls %d.%d", XCPrintf(L"%1:s: %0:s", arguments).AsWChar(), XC_VERSION_MAJOR, XC_VERSION_MINOR);
    // std::max takes references: the constants need a place in the library.
    if (std::max(XCString::npos, XCString::kMaxLength) != line.Find(L'#')) return 1;
    try {
        throw XCException(line);
    } catch (std::exception const& e) {
        std::puts(e.what());
    }
    return 0;
}
