// XCError.h - error objects and the handle that fallible operations return.
//
// WHAT     XCErrorI describes one failure: code, severity and, for some classes, typed parameters. A message source
//          (XCMessageSource.h; include it where you name one) turns the code into text. XCErrorID holds one such
//          object, or none: none is success.
//
//              class             text
//              XCError           the source's text of the code
//              XCErrorWithArgs   the same, its conversions filled by the parameters in order
//              XCErrorString     given at construction
//              XCWinLastError    the system's text of the thread's last error
//              XCXMLError        none of its own: the layer that reads XML documents keeps the texts
//
// COST     Success is one null pointer; a failure is one allocation. Text is made only when asked for.
// LIFETIME Errors are counted: hand a new one to a smart pointer or an XCErrorID at once. An error that stands in a
//          variable of its own may be used there, but never be given to a smart pointer.
// THREADS  Error objects do not change after they have been handed out; many threads may hold one. Adding parameters
//          belongs to the thread that builds the error.
#pragma once

#include <XelbrinCore/XCCoreError.h>
#include <XelbrinCore/XCDouble.h>
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFormatArg.h>
#include <XelbrinCore/XCFormatContext.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

class XCMessageSource;
namespace std {
class error_code;
}

/// A failure whose text is the source's text of its code.
class XC_API XCError : public XCErrorI {
public:
    static constexpr int kIUID = 101;

    /// @param source null gives an empty text.
    XCError(XCSmartPtrToConst<XCMessageSource> source, long code, Severity severity = SeverityError) noexcept;
    XCError(XCError const& other) noexcept;
    XCError& operator=(XCError const& other) noexcept;
    ~XCError() override;

    /// The source of the text; may be null.
    [[nodiscard]] XCSmartPtrToConst<XCMessageSource> const& GetFormatter() const noexcept { return m_source; }
    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    XCErrorID AsString(XCString& text, XCFormatContext const& context) const override;

private:
    XCSmartPtrToConst<XCMessageSource> m_source;
};

/// A failure with typed parameters: the conversions of the source's printf-style text take them in order.
///
///     XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 310));
///     error->AddParam(line);
///     error->AddParam(name);
///     return XCErrorID(error);
///
/// The text can never crash or overrun, whatever the message says: a conversion that does not fit its parameter prints
/// the parameter's own text, one without a parameter prints itself, a text above 3,000 units is cut.
class XC_API XCErrorWithArgs : public XCError {
public:
    static constexpr int kIUID = 102;
    /// One parameter: its type and its value on the heap.
    struct Storage {
        ErrorParamType type; ///< What `value` points to.
        /// The value, owned by the error.
        void* value;
    };

    /// Without parameters at first. @param source null gives an empty text.
    XCErrorWithArgs(XCSmartPtrToConst<XCMessageSource> source, long code, Severity severity = SeverityError) noexcept;
    /// Copies every value; the copy outlives this object.
    XCErrorWithArgs(XCErrorWithArgs const& other);
    XCErrorWithArgs& operator=(XCErrorWithArgs const& other);
    /// Takes the parameters; the other one has none afterwards.
    XCErrorWithArgs(XCErrorWithArgs&& other) noexcept;
    XCErrorWithArgs& operator=(XCErrorWithArgs&& other) noexcept;
    ~XCErrorWithArgs() override;

    /// Adds a parameter and returns its index. @throws std::bad_alloc; the error is then unchanged.
    std::size_t AddParam(double value);
    std::size_t AddParam(int value);
    std::size_t AddParam(long value);
    std::size_t AddParam(XCString const& value);
    std::size_t AddParam(XCDateTime const& value);
    std::size_t AddParam(XCDouble const& value);
    /// An integer of another type: as a long, or as its digits where a long does not hold it.
    template <xc::text::PlainInteger T>
    requires(sizeof(T) >= sizeof(int) && !std::is_same_v<T, int> && !std::is_same_v<T, long>) std::size_t
        AddParam(T value)
    {
        if (std::in_range<long>(value)) return AddParam(static_cast<long>(value));
        XCString digits;
        digits.Format(L"%s", value);
        return AddParam(digits);
    }
    /// Dates, durations, errors, identifiers: everything with AsString(), as the text that it has now.
    template <xc::text::HasOwnText T>
    requires(!std::is_base_of_v<XCString, T>) std::size_t AddParam(T const& value)
    {
        return AddParam(value.AsString());
    }

    /// True and the value, when the index is in range and the parameter is of exactly this type; otherwise `value` is
    /// left alone.
    bool GetParam(double& value, std::size_t index) const;
    bool GetParam(int& value, std::size_t index) const;
    bool GetParam(long& value, std::size_t index) const;
    bool GetParam(XCString& value, std::size_t index) const;
    bool GetParam(XCDateTime& value, std::size_t index) const;
    bool GetParam(XCDouble& value, std::size_t index) const;

    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    std::size_t GetParameterCount() const override;
    ErrorParamType GetParameterType(std::size_t index) const override;
    void const* GetParameterValue(std::size_t index) const override;
    /// Numbers in the invariant way, a double with the fewest digits that read back to it; dates as
    /// "%Y/%m/%d %H:%M:%S" in the context's zone.
    XCString GetParameterValueAsString(std::size_t index, XCExecContext const& context) const override;

private:
    template <class T>
    std::size_t Add(ErrorParamType type, T const& value);
    template <class T>
    bool Get(ErrorParamType type, T& value, std::size_t index) const;
    void CopyParams(std::vector<Storage> const& from);
    void ClearParams() noexcept;

    std::vector<Storage> m_params;
};

/// A failure that carries its text.
class XC_API XCErrorString : public XCErrorI {
public:
    static constexpr int kIUID = 103;

    /// Any text; the code is the caller's own, 0 when it has none.
    explicit XCErrorString(XCString text, long code = 0, Severity severity = SeverityError) noexcept
        : XCErrorI(code, severity), m_text(std::move(text))
    {
    }
    ~XCErrorString() override;
    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    XCErrorID AsString(XCString& text, XCFormatContext const& context) const override;

private:
    XCString m_text;
};

/// A failed call of the operating system: the code is the calling thread's last error, read before anything else.
/// The text is the system's own, with its line end.
class XC_API XCWinLastError : public XCError {
public:
    static constexpr int kIUID = 104;

    XCWinLastError();
    ~XCWinLastError() override;
    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;

private:
    friend XC_API XCErrorID XCFromErrorCode(std::error_code const& code);
    explicit XCWinLastError(unsigned long code);
};

/// A failure of the layer that reads XML documents. Its text is empty.
class XC_API XCXMLError : public XCErrorI {
public:
    static constexpr int kIUID = 105;

    /// The code is the reading layer's own.
    explicit XCXMLError(long code, Severity severity = SeverityError) noexcept;
    ~XCXMLError() override;
    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    XCErrorID AsString(XCString& text, XCFormatContext const& context) const override;
};
