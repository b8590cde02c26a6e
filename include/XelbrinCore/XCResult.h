// XCResult.h - failures in one call, and values that may be missing for a reason.
//
// WHAT     XCFail makes an error in one expression: a code of a message source and its arguments, a code of the library,
//          or a text. XCResult holds a value or the failure that stands in its place.
//
//              XCResult<Order> Find(long number)
//              {
//                  auto const found = orders.find(number);
//                  if (found == orders.end()) return XCFail(messages, kNoSuchOrder, number);
//                  return found->second;
//              }
//
//              XCResult<Order> const order = Find(310);
//              if (order.Bad()) return order.GetError();
//              Ship(*order);
//
// TESTS    A result has no value of its own in a boolean test: Good() or Bad() is said, as for XCErrorID.
// COST     A failure is one allocation and one for each argument; a result is its value and one pointer.
// ERRORS   Value of a result without one throws XCException with the failure.
// THREADS  As the value.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCMessageSource.h>

#include <optional>
#include <type_traits>
#include <utility>

/// An error of a message source; the conversions of its text take the arguments in order (any type of AddParam).
template <class... Args>
XCErrorID XCFail(XCSmartPtrToConst<XCMessageSource> const& source, long code, Args const&... args)
{
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, code));
    (error->AddParam(args), ...);
    return error;
}

/// An error of the library's own: a program that stands in for one of its classes fails as the class does.
template <class... Args>
XCErrorID XCFail(XCCoreError code, Args const&... args)
{
    return XCFail(glbXCOREMsgSourceP, code, args...);
}

/// An error with a text of its own and the code 0. The format takes its arguments as XCString::Format does.
template <class... Args>
XCErrorID XCFail(wchar_t const* format, Args const&... args)
{
    XCString text;
    text.Format(format, args...);
    return XCSmartPtr<XCErrorString>(new XCErrorString(std::move(text)));
}

/// A value, or why there is none.
template <class T>
class [[nodiscard]] XCResult {
    static_assert(!std::is_convertible_v<T, XCErrorID>, "an error is no value: return XCErrorID itself");

public:
    /// Holds the value.
    XCResult(T value) : m_value(std::move(value)) {}
    /// Holds the failure. @throws XCException for success, which would be a value.
    XCResult(XCErrorID error) : m_error(std::move(error))
    {
        if (m_error.Good()) throw XCException(L"XCResult: success without a value");
    }
    /// From a pointer to a class of errors; as from an XCErrorID.
    template <class E>
    requires std::is_base_of_v<XCErrorI, E> XCResult(XCSmartPtr<E> const& error) : XCResult(XCErrorID(error)) {}

    /// Whether there is a value.
    [[nodiscard]] bool Good() const noexcept { return m_value.has_value(); }
    /// Whether there is none.
    [[nodiscard]] bool Bad() const noexcept { return !Good(); }
    /// Success, or why there is no value.
    [[nodiscard]] XCErrorID const& GetError() const noexcept { return m_error; }

    /// The value. @throws XCException with the failure when there is none.
    [[nodiscard]] T const& Value() const&
    {
        if (Bad()) throw XCException(m_error);
        return *m_value;
    }
    [[nodiscard]] T& Value() &
    {
        if (Bad()) throw XCException(m_error);
        return *m_value;
    }
    [[nodiscard]] T&& Value() && { return std::move(Value()); }
    /// The value, or another one in its place.
    template <class U>
    [[nodiscard]] T ValueOr(U&& otherwise) const&
    {
        return Good() ? *m_value : static_cast<T>(std::forward<U>(otherwise));
    }
    template <class U>
    [[nodiscard]] T ValueOr(U&& otherwise) &&
    {
        return Good() ? std::move(*m_value) : static_cast<T>(std::forward<U>(otherwise));
    }
    /// The same as Value.
    [[nodiscard]] T const& operator*() const& { return Value(); }
    [[nodiscard]] T& operator*() & { return Value(); }
    /// Into the value. @throws XCException with the failure when there is none.
    [[nodiscard]] T const* operator->() const { return &Value(); }
    /// As above, to change it.
    [[nodiscard]] T* operator->() { return &Value(); }

    /// What the function makes of the value, as a result: the failure is passed on, and the function not called.
    template <class F>
    [[nodiscard]] auto Then(F&& function) const& -> XCResult<std::remove_cvref_t<std::invoke_result_t<F, T const&>>>
    {
        if (Bad()) return m_error;
        return std::forward<F>(function)(*m_value);
    }

private:
    std::optional<T> m_value;
    XCErrorID m_error;
};
