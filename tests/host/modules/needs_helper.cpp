// A plug-in that links to another library of its folder.
#include <XelbrinCore/XCPlugIn.h>

extern "C" __declspec(dllimport) int HelperNumber();

namespace {

class NeedsHelper final : public XCPlugIn {
public:
    XCString GetPlugInName() const override { return L"NeedsHelper"; }
    PlugInIdEx GetPlugInIdEx() const override
    {
        return XCGuid(static_cast<unsigned int>(HelperNumber()), 1, 2, {1, 2, 3, 4, 5, 6, 7, 8});
    }
};

} // namespace

extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    return new NeedsHelper;
}
