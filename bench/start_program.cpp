// What the rows of a program's start run, twice: with texts of the library, and with those of the standard library alone.
#if defined(XC_BENCH_LINKED)
#include <XelbrinCore/XCString.h>
using Text = XCString;
#else
#include <string>
using Text = std::wstring;
#endif

int main(int count, char**)
{
    Text text;
    for (int i = 0; i < count; ++i) text += L'x';
    return Text(text) == text ? 0 : 1;
}
