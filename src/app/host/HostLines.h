// HostLines.h - what the host says: lines of the application channel, and notes of the calls into modules.
#pragma once

#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCString.h>

#include "app/host/QuarantineJournal.h"
#include "errors/RunningCalls.h"
#include "errors/Sealed.h"

#include <string_view>

namespace xc::host {

/// "XCApplicationChannel", made when it is missing.
XCLogChannel& ApplicationChannel();

/// A line, or part of one, of the fixed messages, at level 1. Names in it were made visible before.
void Print(std::wstring_view text);
/// An error on one line: "ERR> ***", the text made visible, a line end.
void PrintError(std::wstring_view text);
/// The failure of a plug-in by its name. Without memory the message is dropped.
void PrintFailure(XCString const& name, XCErrorID const& failure) noexcept;

/// A call into a module: told at level 2 before it begins, and noted while it lasts, so that the one that never comes
/// back has a name: `CALL> Init of <Reader> (PATH)`. Kept in the journal of the run where there is one. The texts live
/// until the call has ended.
class ModuleCall {
public:
    /// @param operation a literal.   @param name of the plug-in, visible; empty when it is not known yet.
    ModuleCall(wchar_t const* operation, XCString const& name, XCString const& path) noexcept;

private:
    JournaledCall m_journal; // outermost: the entry of a call that was given up stays open
    errors::RunningCall m_note;
};

/// The call, sealed.
template <class F>
XCErrorID CallModule(wchar_t const* operation, XCString const& name, XCString const& path, F&& call) noexcept
{
    ModuleCall const noted(operation, name, path);
    return errors::Sealed(call);
}

} // namespace xc::host
