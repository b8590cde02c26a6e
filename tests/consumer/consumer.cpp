#include <XelbrinCore/XCString.h>

#include <cstdio>

int main()
{
    XCString line(L"outside: text ");
    line += static_cast<wchar_t>(L'0' + XC_VERSION_MAJOR);
    line += L".0";
    for (wchar_t const unit : line) std::putchar(static_cast<char>(unit));
    return line.AsInt() == 0 ? 0 : 1;
}
