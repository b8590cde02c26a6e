// text_report [file]: lines, words and the longest line of a text file.
#include <XelbrinCore/XCString.h>

#include <cstdio>

int wmain(int count, wchar_t** arguments)
{
    XCString line(count > 1 ? arguments[1] : L"no file");
    std::printf("%u units in the name\n", static_cast<unsigned>(line.Length()));
    return 0;
}
