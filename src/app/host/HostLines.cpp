#include "app/host/HostLines.h"

#include "text/Visible.h"

namespace xc::host {

namespace {

constexpr wchar_t kChannelName[] = L"XCApplicationChannel";
constexpr int kCallLevel = 2;

void TellCall(wchar_t const* operation, XCString const& name, XCString const& path)
{
    XCLogChannel& channel = ApplicationChannel();
    if (!channel.IsInterested(kCallLevel)) return;
    XCString const whose = name.IsNull() ? path : L"<" + name + L"> (" + path + L")";
    channel.Write(kCallLevel, XCString(L"CALL> ") + operation + L" of " + whose + L"\n");
}

} // namespace

XCLogChannel& ApplicationChannel()
{
    return XCLogManager::Get().GetOrAddChannel(kChannelName);
}

void Print(std::wstring_view text)
{
    ApplicationChannel().Write(1, text);
}

void PrintError(std::wstring_view text)
{
    Print(XCString(L"ERR> ***") + text::Visible(text) + L"\n");
}

void PrintFailure(XCString const& name, XCErrorID const& failure) noexcept
{
    errors::SayIfPossible([&] { PrintError(L"<" + name + L">: " + failure.AsString()); });
}

ModuleCall::ModuleCall(wchar_t const* operation, XCString const& name, XCString const& path) noexcept
    : m_note(operation, name, path)
{
    errors::SayIfPossible([&] { TellCall(operation, name, path); });
}

} // namespace xc::host
