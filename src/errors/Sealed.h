// Sealed.h - calls into plug-in modules, from which no exception and no object of the module comes back.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCException.h>

namespace xc::errors {

/// An error as plain text with its code: what a module made may live in the module, a copy of its text does not.
XCErrorID TextOf(XCErrorID const& error);

/// An error of the host with a text of its own.
XCErrorID PlugInFailure(XCString const& text);

/// The exception that is being handled, as an error with its text (TextOfException). If memory runs out, the answer is
/// an error that was made before.
XCErrorID FailureOfException() noexcept;

/// Prints an informational message. If memory runs out, the message is dropped.
template <class F>
void SayIfPossible(F&& say) noexcept
{
    try {
        say();
    } catch (...) { // nobody to tell
    }
}

/// Calls a function that returns nothing or an XCErrorID; what it throws becomes an error with the exception's message.
template <class F>
XCErrorID Sealed(F&& call) noexcept
{
    try {
        if constexpr (std::is_void_v<decltype(call())>) {
            call();
            return XCErrorID::Success;
        } else
            return TextOf(call());
    } catch (...) {
        return FailureOfException();
    }
}

/// The value that a call into a module returns, or the default when it throws.
template <class F>
auto SealedValue(F&& call, decltype(call()) otherwise) -> decltype(call())
{
    decltype(call()) result = std::move(otherwise);
    (void)Sealed([&] { result = call(); });
    return result;
}

} // namespace xc::errors
