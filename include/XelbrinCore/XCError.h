// XCError.h - error objects and the handle that fallible operations return.
//
// WHAT     XCErrorI describes one failure: code, severity and, for some classes, typed parameters. XCErrorID holds one
//          such object, or none: none is success.
// COST     Success is one null pointer. Text is made only when asked for.
// THREADS  Error objects do not change after they have been handed out; many threads may hold one.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

class XCErrorID;
class XCExecContext;
class XCFormatContext;
class XCMessageSource;

/// A failure: its code is the message number within its source.
class XC_API XCErrorI : public XCObjectI {
public:
    enum Severity { SeverityInformation = 0, SeverityError = 1, SeverityWarning = 2, SeverityFatal = 3 };
    enum ErrorParamType {
        ParamNone = 0,
        ParamDouble = 1,
        ParamInt = 2,
        ParamLong = 3,
        ParamString = 4,
        ParamDateTime = 5,
        ParamXCDouble = 6
    };

    ~XCErrorI() override;
    [[nodiscard]] long GetCode() const noexcept { return m_code; }
    [[nodiscard]] Severity GetSeverity() const noexcept { return m_severity; }
    virtual std::size_t GetParameterCount() const;
    virtual ErrorParamType GetParameterType(std::size_t index) const;
    virtual void const* GetParameterValue(std::size_t index) const;
    virtual XCString GetParameterValueAsString(std::size_t index, XCExecContext const& context) const;
    /// Writes the error's text.
    virtual XCErrorID AsString(XCString& text, XCFormatContext const& context) const = 0;

protected:
    XCErrorI(long code, Severity severity) noexcept : m_code(code), m_severity(severity) {}
    XCErrorI(XCErrorI const&) noexcept = default;
    XCErrorI& operator=(XCErrorI const&) noexcept = default;

private:
    long m_code;
    Severity m_severity;
};

/// The result of a fallible operation: empty means success.
class XC_API XCErrorID {
public:
    enum DefaultConstant { Success };

    XCErrorID(DefaultConstant = Success) noexcept {}
    XCErrorID(XCSmartPtrToConst<XCErrorI> error) noexcept : m_error(std::move(error)) {}
    template <class E>
    requires std::is_base_of_v<XCErrorI, E> XCErrorID(XCSmartPtr<E> const& error) : m_error(error) {}

    [[nodiscard]] bool Good() const noexcept { return m_error.IsNull(); }
    [[nodiscard]] bool IsSuccess() const noexcept { return Good(); }
    [[nodiscard]] bool Bad() const noexcept { return !Good(); }
    /// The code; 0 for success.
    operator int() const noexcept { return m_error.IsNull() ? 0 : static_cast<int>(m_error->GetCode()); }
    XCErrorI const* operator->() const noexcept { return m_error.GetPtr(); }
    [[nodiscard]] XCSmartPtrToConst<XCErrorI> const& GetError() const noexcept { return m_error; }
    /// "SUCCESS", or the error's text in the default format context.
    [[nodiscard]] XCString AsString() const;

private:
    XCSmartPtrToConst<XCErrorI> m_error;
};

/// The codes of the library's own errors; their texts stand in the message table of the DLL (glbXCOREMsgSourceP).
/// Each family has a range of its own; a code never changes its meaning.
enum XCCoreError : long {
    XCErrThreadAlreadyStarted = 15,
    // 100-199 text
    XCErrMalformedText = 100,   ///< bytes that are no text in the encoding (parameter: position)
    XCErrUnmappableUnit = 101,  ///< a unit that the encoding cannot hold (parameters: unit, position)
    XCErrUnknownCodePage = 102, ///< the system does not know the code page (parameter: its number)
    // 200-299 errors and messages
    // 300-399 dates
    XCErrNoDateTime = 300,      ///< a text that is no date or time in its format (parameter: the text)
    XCErrInvalidDateTime = 301, ///< a date that no calendar has
    // 400-499 threads and locks; 500-599 application; 600-699 configuration; 700-799 logging and trace; 800-899 patterns; 900-999 conditions
};

/// A failure that carries its text.
class XC_API XCErrorString : public XCErrorI {
public:
    static constexpr int kIUID = 103;
    explicit XCErrorString(XCString text, long code = 0, Severity severity = SeverityError)
        : XCErrorI(code, severity), m_text(std::move(text))
    {
    }
    int GetIUID() const override;
    XCErrorID AsString(XCString& text, XCFormatContext const& context) const override;

private:
    XCString m_text;
};
