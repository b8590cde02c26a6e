// Exceptions: a shared state with a message or an error, the addresses of the stack, and texts made on demand.
//
// Throwing must be cheap and copying must not fail, since the runtime copies exceptions. So all copies share one
// counted state, and capturing a stack only stores addresses. The message of an error, its narrow form and the named
// stack are made when somebody reads them, and are kept, because what() hands out a pointer that has to stay good. Lazy
// makes them without a lock: two threads may make the same text at the same time, and the first one that is done wins.
// A lock could not be held there, because making a text may throw and read exceptions itself. Invariants: message,
// error and addresses never change after the construction; a text that was handed out stays where it is until the last
// copy goes.
#include <XelbrinCore/XCException.h>

#include "errors/ErrorLog.h"
#include "errors/ExceptionText.h"
#include "text/Utf8.h"
#include "win32/LastError.h"
#include "win32/Process.h"

#include <atomic>
#include <charconv>
#include <iterator>
#include <memory>
#include <optional>
#include <type_traits>

static_assert(std::is_nothrow_copy_constructible_v<XCException> && std::is_nothrow_copy_assignable_v<XCException>);

namespace xc::errors {

/// A value that is made when first asked for. Two threads may make it at once; the first one to finish wins. Nothing is
/// locked, so making it may itself throw and read exceptions.
template <class T>
class Lazy {
public:
    Lazy() noexcept = default;
    ~Lazy() { delete m_value.load(std::memory_order_relaxed); }
    Lazy(Lazy const&) = delete;
    Lazy& operator=(Lazy const&) = delete;

    template <class Maker>
    T const& Get(Maker const& make) const
    {
        if (T const* const known = m_value.load(std::memory_order_acquire)) return *known;
        auto made = std::make_unique<T const>(make());
        T const* expected = nullptr;
        if (m_value.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel)) return *made.release();
        return *expected;
    }

private:
    mutable std::atomic<T const*> m_value = nullptr;
};

} // namespace xc::errors

using xc::errors::Lazy;

namespace {

/// Looked at once: exceptions are too frequent for an environment that hardly changes.
bool StackIsDisabled()
{
    static bool const disabled = xc::win32::ReadEnvironment(L"XC_DISABLE_STACK").has_value();
    return disabled;
}

XCString SignalMessage(unsigned long seHNumber)
{
    char digits[8];
    char const* const end = std::to_chars(std::begin(digits), std::end(digits), seHNumber, 16).ptr;
    std::wstring text = L"Structured exception 0x";
    for (char const* digit = digits; digit != end; ++digit)
        text += static_cast<wchar_t>(*digit >= 'a' ? *digit - 'a' + 'A' : *digit);
    return text;
}

} // namespace

// The state that all copies of an exception share. Only the texts change: they are made when asked for.
class XCException::State final : public XCRefCount {
public:
    explicit State(XCString const& message) : m_message(message) {}
    // Success has a fixed text and is kept as a message; the text of a failure waits until somebody reads it.
    explicit State(XCErrorID const& error) : m_message(error.Good() ? error.AsString() : XCString()), m_error(error) {}

    void Keep(XCStackDump const& stack, bool disabled) noexcept
    {
        m_stack = stack;
        m_stackDisabled = disabled;
    }
    XCString const& Message() const
    {
        if (m_error.Good()) return m_message;
        return m_errorText.Get([this] { return xc::errors::MessageOf(m_error); });
    }
    std::string const& Narrow() const
    {
        return m_narrow.Get([this] {
            std::string bytes;
            xc::text::AppendUtf8(bytes, Message());
            return bytes;
        });
    }
    XCString const& StackText() const
    {
        return m_stackText.Get([this] {
            return m_stackDisabled ? XCString(L"(Stack disabled - XC_DISABLE_STACK is defined)") : m_stack.AsString();
        });
    }
    XCErrorID ErrorID() const
    {
        // A message alone becomes an error as well, so that a handler can treat all exceptions alike.
        return m_error.Bad() ? m_error : XCErrorID(XCSmartPtr<XCErrorString>(new XCErrorString(m_message)));
    }

private:
    XCString m_message;
    XCErrorID m_error;
    XCStackDump m_stack{XCStackDump::Nothing{}};
    bool m_stackDisabled = false;
    Lazy<XCString> m_errorText;
    Lazy<std::string> m_narrow;
    Lazy<XCString> m_stackText;
};

// XCException --------------------------------------------------------------------------------------------------------

XCException::XCException(XCString const& message, bool noStack) : m_state(new State(message))
{
    if (!noStack) CaptureStack();
}
XCException::XCException(XCErrorID const& error, bool noStack) : m_state(new State(error))
{
    if (!noStack) CaptureStack();
}
XCException::XCException(XCStackDump& dump) : m_state(new State(SignalMessage(dump.GetSeHNumber())))
{
    m_state->Keep(dump, false);
}
XCException::XCException(XCException const&) noexcept = default;
XCException& XCException::operator=(XCException const&) noexcept = default;
XCException::~XCException() = default;

void XCException::CaptureStack()
{
    bool const disabled = StackIsDisabled();
    if (disabled)
        m_state->Keep(XCStackDump(XCStackDump::Nothing{}), true);
    else
        m_state->Keep(XCStackDump(), false);
}

XCString const& XCException::What() const
{
    return m_state->Message();
}
char const* XCException::what() const noexcept
{
    try {
        return m_state->Narrow().c_str();
    } catch (...) {
        // A literal: what() must answer, and there may be no memory for the text that was asked for.
        return "XCException";
    }
}
XCString const& XCException::Stack() const
{
    return m_state->StackText();
}
XCErrorID XCException::GetErrorID() const
{
    return m_state->ErrorID();
}

bool XCException::LogInErrorFile(LogOpt option) const noexcept
{
    try {
        return xc::errors::AppendToErrorLog(What(), option == LogWithStack ? Stack() : XCString());
    } catch (...) {
        return false;
    }
}
void XCException::SetErrorLogPath(XCString const& path)
{
    xc::errors::SetErrorLogPath(path);
}
XCString XCException::GetErrorLogPath()
{
    return xc::errors::ErrorLogPath();
}

// The family ---------------------------------------------------------------------------------------------------------

XCSignalException::XCSignalException(XCStackDump& dump) : XCException(dump), m_seHNumber(dump.GetSeHNumber()) {}
XCSignalException::~XCSignalException() = default;

XCWindowsLastErrorException::XCWindowsLastErrorException() : XCWindowsLastErrorException(xc::win32::LastError()) {}
XCWindowsLastErrorException::XCWindowsLastErrorException(unsigned long code)
    : XCException(XCErrorID(XCSmartPtr<XCError>(
          new XCError(XCSmartPtr<XCMessageSource>(new RCMessageTableSource), static_cast<long>(code))))),
      m_code(code)
{
}
XCWindowsLastErrorException::~XCWindowsLastErrorException() = default;

XCMsgException::XCMsgException(long code, XCSmartPtr<XCMessageSource> const& source)
    : XCException(XCErrorID(XCSmartPtr<XCError>(new XCError(source, code)))), m_code(code)
{
}
XCMsgException::~XCMsgException() = default;
