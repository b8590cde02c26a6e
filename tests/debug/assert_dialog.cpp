// Stands in for the dialog: notes that it was asked, and goes on.
#include <cstdio>
#include <windows.h>

extern "C" __declspec(dllexport) int XCShowAssertDialog(wchar_t const* text, wchar_t const*)
{
    wchar_t log[1024] = L"";
    ::GetEnvironmentVariableW(L"XC_ASSERT_LOG", log, 1024);
    if (std::FILE* const file = ::_wfopen(log, L"ab")) {
        std::fprintf(file, "dialog: %ls\n", text);
        std::fclose(file);
    }
    return 2;
}
