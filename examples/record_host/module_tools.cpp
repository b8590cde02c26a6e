#include "module_tools.h"

#include <XelbrinCore/XCMessageSource.h>

#include <optional>
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

std::optional<XCString> FindSetting(XCApplication const& application, XCString const& section, XCString const& name)
{
    if (application.GetCmdLine().ArgPresent(name)) return application.GetCmdLine().GetArg(name);
    XCSmartPtr<XCConfigFile> const file = application.GetConfigFile();
    if (file.IsNull()) return std::nullopt;
    XCConfigLock const lock(*file);
    XCConfigSection const* const lines = file->FindSection(section);
    XCConfigLine const* const line = lines ? lines->FindLine(name) : nullptr;
    return line ? std::optional(line->GetValue()) : std::nullopt;
}

} // namespace

XCString Setting(XCApplication const& application, wchar_t const* section, wchar_t const* name,
                 XCString const& otherwise)
{
    return FindSetting(application, section, name).value_or(otherwise);
}

XCErrorID ReadSettings(XCApplication const& application, wchar_t const* section, XCOptions& options)
{
    XCErrorID const wrong =
        options.ReadValues([&](XCString const& name) { return FindSetting(application, section, name); });
    if (wrong.Good()) return wrong;
    XCString text;
    (void)wrong->AsString(text, TextContext(application));
    return XCSmartPtr<XCErrorString>(new XCErrorString(text, wrong));
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

XCFormatContext HostContext()
{
    XCApplication const* const host = XCApplication::GetApp();
    return host ? TextContext(*host) : XCFormatContext();
}

XCLogChannel& Channel(wchar_t const* name)
{
    return XCApplication::GetLogManager().GetOrAddChannel(name);
}
