// The plug-in that the rows of the host load: it does nothing.
#include <XelbrinCore/XCPlugIn.h>

namespace {

class Nothing final : public XCPlugIn {
public:
    XCString GetPlugInName() const override { return L"Nothing"; }
    PlugInIdEx GetPlugInIdEx() const override { return XCGuid(3, 0, 0, {}); }
};

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    return new Nothing;
}
