// A host: finds the plug-in modules of the folders that "osxpath" names, runs them, and ends when they have.
#include <XelbrinCore/XCApplication.h>

int wmain(int count, wchar_t** arguments)
{
    XCApplicationWithPlugIns host(count, arguments);
    return host.DisplayUsageIfNecessary() ? 0 : host.LoadAndRun();
}
