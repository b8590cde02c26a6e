// XCException.h - the exceptions of the library, and the call stacks they carry.
//
// WHAT     An XCException carries a message, or an error that has one, and the call stack at the point of its
//          construction. Write `throw XCException(...)` where things go wrong; catch by reference.
// COST     Construction keeps a handful of addresses (a microsecond or two); names are looked up, and the texts of
//          errors made, when they are first asked for. Copying is one atomic increment and never throws.
// STACK    One line a frame, the innermost first, separated by "\n":
//              module!function+0x1c [file:line]
//          Function and line come from debug symbols where there are any; otherwise the function is the nearest export
//          below the address; without one the line is module+0x1234, the offset in the module. Frames outside every
//          module are left out. When the environment variable XC_DISABLE_STACK is defined (looked at once per process)
//          the text is "(Stack disabled - XC_DISABLE_STACK is defined)".
// THREADS  Any threads may read one exception, and copies of it.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCMessageSource.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <cstdint>
#include <exception>

struct _CONTEXT;

/// Return addresses of one thread's calls, and their names when asked for. Names live in the process: keep the text, not
/// the dump, when a module on the stack may be unloaded.
class XC_API XCStackDump {
public:
    /// Deeper calls than this are left out (the outermost ones).
    static constexpr std::size_t kMaxFrames = 32;

    /// The calling thread, from the caller on. Allocates nothing. Cost: about a microsecond for 10 frames.
    XCStackDump() noexcept;
    /// The thread whose registers stand in a CONTEXT structure of the system: the calling thread's own, as a filter for
    /// structured exceptions gets them. Null: no frames.
    /// @param seHNumber the structured-exception number, such as 0xC0000005; 0 when there is none.
    explicit XCStackDump(_CONTEXT const* contextRecord, unsigned long seHNumber = 0) noexcept;

    /// How many addresses were captured.
    [[nodiscard]] std::size_t GetFrameCount() const noexcept { return m_count; }
    /// An address in the code; null when the index is out of range.
    [[nodiscard]] void const* GetFrame(std::size_t index) const noexcept
    {
        return index < m_count ? m_frames[index] : nullptr;
    }
    /// The number of the structured exception; 0 when it was none.
    [[nodiscard]] unsigned long GetSeHNumber() const noexcept { return m_seHNumber; }
    /// The stack text (see the head of this file). The first call of a process that names frames of a module reads the
    /// module's symbols: that may take tens of milliseconds.
    [[nodiscard]] XCString AsString() const;

private:
    friend class XCException;
    struct Nothing {};
    explicit XCStackDump(Nothing) noexcept {}

    void const* m_frames[kMaxFrames]{};
    std::size_t m_count = 0;
    unsigned long m_seHNumber = 0;
    bool m_startsAtInstruction = false; // otherwise every address follows a call
};

/// The base of all exceptions of the library.
class XC_API XCException : public std::exception {
public:
    /// What LogInErrorFile writes.
    enum LogOpt {
        LogWithStack,   ///< time, thread, message and call stack
        LogWithoutStack ///< the same, without the stack
    };

    /// @param noStack do not capture the call stack; Stack() is empty.
    explicit XCException(XCString const& message, bool noStack = false);
    /// Carries an error; the message is its text in the default format context.
    explicit XCException(XCErrorID const& error, bool noStack = false);
    XCException(XCException const& other) noexcept;
    XCException& operator=(XCException const& other) noexcept;
    ~XCException() override;

    /// The message. Lives as long as any copy of the exception.
    [[nodiscard]] XCString const& What() const;
    /// The message as UTF-8, an unpaired surrogate as U+FFFD. Lives as long as any copy of the exception.
    [[nodiscard]] char const* what() const noexcept override;
    /// The call stack at construction; names are looked up on the first call and kept.
    [[nodiscard]] XCString const& Stack() const;
    /// The error that is carried; for a message, an XCErrorString of it.
    [[nodiscard]] XCErrorID GetErrorID() const;

    /// Appends a record to the process's error log: time, thread, message and call stack, in UTF-8 with CRLF line ends.
    /// One write to a file that others may append to at the same time. Never throws; false when nothing was written.
    virtual bool LogInErrorFile(LogOpt option = LogWithStack) const noexcept;

    /// The error log of the process. Until it is set: the program's file name without its extension, followed by
    /// "-ERROR.LOG", in the folder that the environment variable TMP (else TMPDIR) names, else in the current one.
    /// XCApplication sets it. An empty path turns the error log off.
    static void SetErrorLogPath(XCString const& path);
    /// The file that the error log is written to.
    [[nodiscard]] static XCString GetErrorLogPath();

protected:
    /// The stack, and for a signal its number as message, from a dump.
    explicit XCException(XCStackDump& dump);

private:
    class State;
    void CaptureStack();

    XCSmartPtr<State> m_state; // never null
};

/// A structured exception of the system (an access violation, a division by zero) that was caught and turned into this.
class XC_API XCSignalException : public XCException {
public:
    /// Takes over the dump.
    explicit XCSignalException(XCStackDump& dump);
    ~XCSignalException() override;
    /// The structured-exception number, such as 0xC0000005.
    [[nodiscard]] unsigned long GetSeHNumber() const noexcept { return m_seHNumber; }

private:
    unsigned long m_seHNumber;
};

/// A call of the operating system failed: carries the thread's last error, read before anything else. The message is
/// the system's text, without its line end.
class XC_API XCWindowsLastErrorException : public XCException {
public:
    XCWindowsLastErrorException();
    ~XCWindowsLastErrorException() override;
    /// The number of the operating-system error.
    [[nodiscard]] unsigned long GetLastErrorCode() const noexcept { return m_code; }

private:
    explicit XCWindowsLastErrorException(unsigned long code);
    unsigned long m_code;
};

/// Carries a code of a message source.
class XC_API XCMsgException : public XCException {
public:
    /// The text is the source's for this code.
    XCMsgException(long code, XCSmartPtr<XCMessageSource> const& source);
    ~XCMsgException() override;
    /// The message number within the source.
    [[nodiscard]] long GetCode() const noexcept { return m_code; }

private:
    long m_code;
};

/// An older date-time (XCDateTime) could not be made or used. The value classes throw it with the value they refused.
class XC_API XCDateException : public XCException {
public:
    /// A failure that concerns no particular value.
    explicit XCDateException(XCString const& message);
    /// The message names the value in UTC.
    explicit XCDateException(XCDateTime const& value);
    /// A message of the caller's, and the value that was refused.
    XCDateException(XCString const& message, XCDateTime const& value);
    ~XCDateException() override;
    /// Whether an offending value is carried.
    [[nodiscard]] bool HasValue() const noexcept { return m_hasValue; }
    /// The value that was refused; null when there was none.
    [[nodiscard]] XCDateTime GetValue() const noexcept;

private:
    std::int64_t m_value; // in the value's own representation, as its class stands above this header
    bool m_hasValue;
};

/// A date, time or date-time (XCDateTimeEx) could not be made or used.
class XC_API XCDateExceptionEx : public XCException {
public:
    /// A failure that concerns no particular value.
    explicit XCDateExceptionEx(XCString const& message);
    /// The message names the value in UTC.
    explicit XCDateExceptionEx(XCDateTimeEx const& value);
    /// A message of the caller's, and the value that was refused.
    XCDateExceptionEx(XCString const& message, XCDateTimeEx const& value);
    ~XCDateExceptionEx() override;
    /// Whether an offending value is carried.
    [[nodiscard]] bool HasValue() const noexcept { return m_hasValue; }
    /// The value that was refused, valid or not; null when there was none.
    [[nodiscard]] XCDateTimeEx GetValue() const noexcept;

private:
    std::int64_t m_value;
    bool m_hasValue;
};

/// A duration (XCDurationEx) could not be made or used.
class XC_API XCDurationExceptionEx : public XCException {
public:
    /// A failure that concerns no particular value.
    explicit XCDurationExceptionEx(XCString const& message);
    /// The message names the duration.
    explicit XCDurationExceptionEx(XCDurationEx const& value);
    /// A message of the caller's, and the value that was refused.
    XCDurationExceptionEx(XCString const& message, XCDurationEx const& value);
    ~XCDurationExceptionEx() override;
    /// Whether an offending value is carried.
    [[nodiscard]] bool HasValue() const noexcept { return m_hasValue; }
    /// The duration that was refused; without a unit when there was none. A count that does not fit is held at the
    /// limit that it passed, so that -2147483648, which no other duration has, stands for every count that is too low.
    [[nodiscard]] XCDurationEx GetValue() const noexcept;

private:
    std::int64_t m_value;
    bool m_hasValue;
};
