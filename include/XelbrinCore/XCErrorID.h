// XCErrorID.h - the interface of error objects, and the handle that fallible operations return.
//
// WHAT     XCErrorI describes one failure, XCErrorID holds one such object or none: none is success. XCError.h has the
//          classes of errors and the library's own codes.
// COST     Success is one null pointer. Copying a failure is one atomic increment.
// LIFETIME Errors are counted: hand a new one to a smart pointer or an XCErrorID at once.
// THREADS  Errors do not change after they have been handed out; many threads may hold one. A handle belongs to one
//          thread.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFormatContext.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <type_traits>
#include <utility>

class XCErrorID;

/// A failure: its code is the message number within its source.
///
/// GetIUID of the library's own classes: XCError 101, XCErrorWithArgs 102, XCErrorString 103, XCWinLastError 104,
/// XCXMLError 105; each also is a kind of 100, XCErrorI.
class XC_API XCErrorI : public XCObjectI {
public:
    /// How bad it is.
    enum Severity { SeverityInformation = 0, SeverityError = 1, SeverityWarning = 2, SeverityFatal = 3 };
    /// The type of a parameter.
    enum ErrorParamType {
        ParamNone = 0,
        ParamDouble = 1,
        ParamInt = 2,
        ParamLong = 3,
        ParamString = 4,
        ParamDateTime = 5,
        ParamXCDouble = 6
    };
    static constexpr int kIUID = 100;

    ~XCErrorI() override;
    /// The message number within the source.
    [[nodiscard]] long GetCode() const noexcept { return m_code; }
    /// How bad it is.
    [[nodiscard]] Severity GetSeverity() const noexcept { return m_severity; }
    bool IsKindOf(int iuid) const override;

    /// 0 where the class has no parameters.
    virtual std::size_t GetParameterCount() const;
    /// ParamNone when the index is out of range.
    virtual ErrorParamType GetParameterType(std::size_t index) const;
    /// Points to the value, of the type that GetParameterType tells; null when the index is out of range. Lives as
    /// long as the error.
    virtual void const* GetParameterValue(std::size_t index) const;
    /// The value as text, dates in the context's zone; empty when the index is out of range.
    virtual XCString GetParameterValueAsString(std::size_t index, XCExecContext const& context) const;
    /// Writes the error's text. Bad when the source has no text for the code; `text` then holds what the source
    /// delivers instead.
    virtual XCErrorID AsString(XCString& text, XCFormatContext const& context) const = 0;

protected:
    /// For derived classes.
    XCErrorI(long code, Severity severity) noexcept : m_code(code), m_severity(severity) {}
    XCErrorI(XCErrorI const&) noexcept = default;
    XCErrorI& operator=(XCErrorI const&) noexcept = default;

private:
    long m_code;
    Severity m_severity;
};

/// The result of a fallible operation: empty means success. A result that is not looked at is a warning: who means to
/// ignore it says `(void)`.
class [[nodiscard]] XCErrorID {
public:
    /// The result of a successful operation.
    enum DefaultConstant { Success };

    /// Success.
    XCErrorID(DefaultConstant = Success) noexcept {}
    /// Holds a share of the error; null is success.
    XCErrorID(XCSmartPtrToConst<XCErrorI> error) noexcept : m_error(std::move(error)) {}
    /// From a pointer to one of its classes.
    template <class E>
    requires std::is_base_of_v<XCErrorI, E> XCErrorID(XCSmartPtr<E> const& error) : m_error(error) {}
    /// From a pointer to one of its classes.
    template <class E>
    requires std::is_base_of_v<XCErrorI, E> XCErrorID(XCSmartPtrToConst<E> const& error) : m_error(error) {}

    /// Whether it went well.
    [[nodiscard]] bool Good() const noexcept { return m_error.IsNull(); }
    /// The same as Good.
    [[nodiscard]] bool IsSuccess() const noexcept { return Good(); }
    /// Whether it failed.
    [[nodiscard]] bool Bad() const noexcept { return !Good(); }
    /// The code; 0 for success.
    operator int() const noexcept { return m_error.IsNull() ? 0 : static_cast<int>(m_error->GetCode()); }
    /// In a test a failure is true, as its code is, also when the code is 0. Warned of, since other results of the library
    /// are true when all went well: say Good() or Bad().
    [[deprecated("say Good() or Bad()")]] explicit operator bool() const noexcept { return Bad(); }
    /// Whether both are success, or the same error: of the same class, code, severity and text. (== compares codes.)
    [[nodiscard]] XC_API bool IsSameAs(XCErrorID const& other) const;
    /// Null for success.
    XCErrorI const* operator->() const noexcept { return m_error.GetPtr(); }
    /// The error object; null for success.
    [[nodiscard]] XCSmartPtrToConst<XCErrorI> const& GetError() const noexcept { return m_error; }
    /// "SUCCESS", or the error's text in the default format context.
    [[nodiscard]] XC_API XCString AsString() const;

private:
    XCSmartPtrToConst<XCErrorI> m_error;
};

/// The text that test results show for an error: AsString(), or "<Unknown XCError }" where that is empty.
XC_API XCString XCErrorReportText(XCErrorID const& error);
