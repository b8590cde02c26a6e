// XCLogFile.h - a log file of lines with a time stamp, and a stream that writes to two others.
//
// BYTES    UTF-8 in binary mode. A line begins with the local time, "20261121 024000> ". A record stays on one line: a
//          line feed inside it is written as "~". See docs/logging.md for every byte.
// SHARING  The file is opened to append, shared for reading, writing and renaming; a record is one write, so that
//          several processes may write to one file.
// FAILURE  A record that cannot be written (full disk, file held by another program) waits in memory, up to 4 MiB, and
//          is written with a later one; failures are counted and kept as text.
// THREADS  Every call may come from any thread; Log and LogArgList write whole records.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFormatArg.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <ostream>
#include <streambuf>

/// The interface of log files. Virtual operations after those of XCRefCountI in the order below.
class XC_API XCLogFileI : public XCRefCount {
public:
    ~XCLogFileI() override;

    /// Closes the file in use and opens this one. On failure no file is open.
    virtual XCErrorID Open(XCString const& path) = 0;
    /// Whether there is a file to write to.
    virtual bool IsOpen() const = 0;
    /// Writes what is left and closes; nothing when it is closed.
    virtual void Close() = 0;
    /// Writes out what is buffered; false when it could not be written.
    virtual bool Flush() = 0;
    /// Whether each record is written through at once.
    virtual bool GetAutoFlush() const = 0;
    /// Sets whether each record is written through at once.
    virtual void SetAutoFlush(bool autoFlush) = 0;
    /// Writes the local time as "%04d%02d%02d %02d%02d%02d> ".
    virtual void PutDateTime() = 0;
    /// Writes a text on one line: "~" for a line feed with text after it, carriage return and line feed for one that
    /// ends the text; the rest as it is. Nothing when the file is not open or the text is empty. With auto-flush the
    /// file is flushed when the text ends in a line feed.
    virtual void PutString(XCString const& text) = 0;
    /// One record: the time, the text as by PutString, and carriage return and line feed unless the text ends in a line
    /// feed. Nothing when the file is not open.
    virtual void Log(XCString const& text) = 0;
    /// One record: the time, then the formatted text as by PutString. When the format does not end in a line feed,
    /// carriage return and line feed are added before PutString, which keeps the carriage return: such a record ends in
    /// two carriage returns and a line feed. The text has room for 16,383 units; a longer one is cut, its end kept.
    /// Formats are those of XCString::Format. Nothing when the file is not open.
    virtual void LogArgList(wchar_t const* format, va_list arguments) = 0;

protected:
    XCLogFileI() noexcept = default;
    XCLogFileI(XCLogFileI const&) = delete;
    XCLogFileI& operator=(XCLogFileI const&) = delete;
};

namespace xc::text {
class FormatSource;
}

/// A log file. Auto-flush is on for a new one: each record is written at once.
class XC_API XCLogFile : public XCLogFileI {
public:
    XCLogFile();
    /// Closes.
    ~XCLogFile() override;

    XCErrorID Open(XCString const& path) override;
    bool IsOpen() const override;
    void Close() override;
    bool Flush() override;
    bool GetAutoFlush() const override;
    void SetAutoFlush(bool autoFlush) override;
    void PutDateTime() override;
    void PutString(XCString const& text) override;
    void Log(XCString const& text) override;
    void LogArgList(wchar_t const* format, va_list arguments) override;
    /// LogArgList with the arguments themselves, carried with their types (XCFormatArg.h).
    template <class... Arguments>
    void LogArgs(wchar_t const* format, Arguments const&... arguments)
    {
        xc::text::WithFormatArgs([&](XCFormatArgs const& list) { WriteArgs(format, list); },
                                 xc::text::Carry(arguments)...);
    }

    /// Whether Log and LogArgList write control characters of messages out (`\n`, `\r`, `\xHH`, ...); off for a new file.
    void SetEscapeControls(bool escape);
    /// How often writing has failed.
    [[nodiscard]] std::uint64_t GetFailureCount() const noexcept;
    /// The text of the last failure; empty when there was none.
    [[nodiscard]] XCString GetLastFailure() const;

private:
    struct Data;

    void WriteArgs(wchar_t const* format, XCFormatArgs const& arguments);
    void LogFormatted(wchar_t const* format, xc::text::FormatSource& source);

    std::unique_ptr<Data> m_data;
};

/// Passes each unit to two streams at once. The streams are the caller's and outlive the buffer; null is none. A target
/// that fails is passed over while it stays bad; writing here never fails. One thread at a time.
class XC_API XCDualLogStreamBuf : public std::wstreambuf {
public:
    /// Either may be null; both stay the caller's and must live as long.
    XCDualLogStreamBuf(std::wostream* first, std::wostream* second) noexcept;
    ~XCDualLogStreamBuf() override;
    /// Whether every target is good.
    [[nodiscard]] bool IsGood() const;

protected:
    /// One unit, passed on at once.
    virtual void OnChar(wchar_t unit);
    /// The end of a record, after its line feed was passed on: flushes the targets.
    virtual void OnEOL();

    /// Gives one unit to both.
    int_type overflow(int_type unit) override;
    /// Gives a run of units to both.
    std::streamsize xsputn(wchar_t const* text, std::streamsize count) override;
    /// Flushes both.
    int sync() override;

private:
    void PassOn(wchar_t unit);
    std::wostream* m_targets[2];
};

/// The stream over an XCDualLogStreamBuf.
class XC_API XCDualLogStream : public std::wostream {
public:
    /// Either may be null; both stay the caller's and must live as long.
    XCDualLogStream(std::wostream* first, std::wostream* second);
    ~XCDualLogStream() override;
    /// Whether neither destination has failed.
    [[nodiscard]] bool IsGood() const { return m_buffer.IsGood(); }

private:
    XCDualLogStreamBuf m_buffer;
};
