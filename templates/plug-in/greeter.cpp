// A plug-in that greets once and ends. Its option is "/greet:name".
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCPlugIn.h>

namespace {

class Greeter : public XCRunPlugIn {
public:
    XCString GetPlugInName() const override { return L"Greeter"; }

    // Every plug-in has an identity of its own: make a new one for yours.
    PlugInIdEx GetPlugInIdEx() const override
    {
        return {XCGuid(L"{6F1D2C84-93B5-4E0A-A7C1-2B8E5D90F346}"), GetPlugInName()};
    }

    // What "/?" tells about this plug-in; the host asks before Init.
    XCUsageInfo GetUsageInfo() const override
    {
        XCUsageInfo usage;
        usage.AddCmdLineArgDesc(L"greet:{name}", L"Whom to greet.", false);
        return usage;
    }

    // What is wrong is found here, before anything runs: a Bad result keeps the plug-in out and is printed.
    XCErrorID Init(XCApplicationWithPlugIns const& host) override
    {
        m_name = host.GetCmdLine().GetArg(L"greet", XCString(L"world"));
        if (m_name.IsNull()) return XCSmartPtr<XCErrorString>(new XCErrorString(L"greet needs a name"));
        return XCErrorID::Success;
    }

    void Run() override { XCApplication::GetAppCout(1) << L"Hello, " << m_name << L"!\n" << std::flush; }

private:
    XCString m_name;
};

} // namespace

// The host looks for this function in every module.
extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject()
{
    return new Greeter;
}
