#include "module_tools.h"

#include <XelbrinCore/XCMessageSource.h>

#include <windows.h>

namespace {

/// The module that this code was linked into.
HMODULE OwnModule()
{
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&OwnModule), &module);
    return module;
}

} // namespace

XCString Setting(XCApplication const& application, wchar_t const* section, wchar_t const* name,
                 XCString const& otherwise)
{
    if (application.GetCmdLine().ArgPresent(name)) return application.GetCmdLine().GetArg(name);
    XCSmartPtr<XCConfigFile> const file = application.GetConfigFile();
    return file.IsNull() ? otherwise : file->GetString(section, name, otherwise);
}

XCErrorID NumberSetting(XCApplication const& application, wchar_t const* section, wchar_t const* name, int least,
                        int greatest, int& value)
{
    XCString const text = Setting(application, section, name, XCString().Format(L"%d", value));
    bool isNumber = false;
    int const number = text.AsInt(&isNumber);
    if (isNumber && number >= least && number <= greatest) {
        value = number;
        return XCErrorID::Success;
    }
    return MakeError(application, Message::BadNumber,
                     {name, text, XCString().Format(L"%d", least), XCString().Format(L"%d", greatest)});
}

XCFormatContext TextContext(XCApplication const& application)
{
    return XCFormatContext(Setting(application, L"Host", L"Language").AsWChar());
}

XCErrorID MakeError(XCApplication const& application, Message message, std::vector<XCString> const& parameters)
{
    XCString const text = Text(TextContext(application), message, parameters);
    return XCSmartPtr<XCErrorString>(new XCErrorString(text, static_cast<long>(message)));
}

XCString Text(XCFormatContext const& context, Message message, std::vector<XCString> const& parameters)
{
    XCSmartPtr<XCMessageSource> const texts(new RCMessageTableSource(OwnModule()));
    XCSmartPtr<XCErrorWithArgs> const words(new XCErrorWithArgs(texts, static_cast<long>(message)));
    for (XCString const& parameter : parameters) words->AddParam(parameter);
    XCString text;
    (void)words->AsString(text, context);
    return text;
}

XCString Text(std::uint64_t count)
{
    return XCString().Format(L"%I64u", count);
}

void AddOption(XCUsageInfo& usage, XCFormatContext const& context, wchar_t const* name, Message description)
{
    usage.AddCmdLineArgDesc(name, Text(context, description), false);
}

XCFormatContext HostContext()
{
    XCApplication const* const host = XCApplication::GetApp();
    return host ? TextContext(*host) : XCFormatContext();
}

XCLogChannel& Channel(wchar_t const* name)
{
    return XCApplication::GetLogManager().GetOrAddChannel(name);
}
