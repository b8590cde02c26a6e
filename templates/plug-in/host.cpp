// A host: finds the plug-in modules of the folders that "osxpath" names, runs them, and ends when they have.
#include <XelbrinCore/XCApplication.h>

namespace {

class Host : public XCApplicationWithPlugIns {
public:
    using XCApplicationWithPlugIns::XCApplicationWithPlugIns;

    // All modules are loaded by now: "/?" lists their options after those of the host.
    int Run() override { return DisplayUsageIfNecessary() ? 0 : XCApplicationWithPlugIns::Run(); }
};

} // namespace

int wmain(int count, wchar_t** arguments)
{
    return Host(count, arguments).LoadAndRun();
}
