// The lines that a host writes: messages, errors, and the call into a module that is about to be made.
//
// Texts of modules are shown with their control characters visible, so that no name can fake a line of the host. A call
// is told before it is made and noted as under way: when it never returns, or ends the process, the last line names it.
// A message that runs out of memory is dropped; the work goes on.
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
    : m_journal(operation, path.View()), m_note(operation, name, path)
{
    errors::SayIfPossible([&] { TellCall(operation, name, path); });
}

} // namespace xc::host
