// RunningCalls.h - which calls into plug-in modules are under way in the process, and since when.
//
// Noting a call and reading the notes need no lock and, but for the growth of the register, no memory: the error log, a
// crash record and a report on a process that hangs read them at any moment, also while other threads are suspended.
#pragma once

#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xc::errors {

/// One call that has not returned.
struct CallNote {
    static constexpr std::size_t kNameUnits = 64;
    static constexpr std::size_t kPathUnits = 260;

    std::uint64_t order = 0;            ///< grows from call to call
    std::uint64_t sinceMs = 0;          ///< the tick at its start
    unsigned long thread = 0;           ///< the system's identifier
    wchar_t const* operation = nullptr; ///< a literal of the library, such as "Init"
    wchar_t name[kNameUnits] = {};      ///< of the plug-in, as far as it fits; empty when it is not known yet
    wchar_t path[kPathUnits] = {};      ///< of the module; the end of it when it does not fit

    /// Whether it is of a plug-in of this name and path, as far as they fit.
    [[nodiscard]] bool IsOf(std::wstring_view plugIn, std::wstring_view module) const noexcept;
};

/// Keeps the note of one call, from the construction to the end of the call.
class RunningCall {
public:
    /// @param operation must live as long as the process.
    RunningCall(wchar_t const* operation, std::wstring_view name, std::wstring_view path) noexcept;
    ~RunningCall();
    RunningCall(RunningCall const&) = delete;
    RunningCall& operator=(RunningCall const&) = delete;

    /// Where a note is kept.
    struct Slot;

private:
    Slot* m_slot; ///< null when there was no memory for one more
};

/// Copies the notes of the moment, in no order. @return how many, at most `room`.
std::size_t CopyRunningCalls(CallNote* notes, std::size_t room) noexcept;

/// The newest call of a thread that is older than a number of CallNote::order, with neither lock nor memory. False when
/// there is none.
bool ReadInnermostCall(unsigned long thread, std::uint64_t below, CallNote& note) noexcept;

/// Removes the notes of a thread that has ended without returning from its calls.
void ForgetCallsOf(unsigned long thread) noexcept;

/// Has a thread stop for ever when it comes back from a call that is under way now: somebody else goes on in its place,
/// and it must touch nothing any more. @return false when it is in no call.
bool HoldCallsOf(unsigned long thread) noexcept;

/// The calls of one thread as lines, the innermost first: `in Init of <Reader> (PATH), for 12 ms`. Empty without calls.
XCString RunningCallsText(unsigned long thread);

} // namespace xc::errors
