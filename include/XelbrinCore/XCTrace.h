// XCTrace.h - the diagnostic trace of the process: one text file, switched on and shaped by the environment.
//
// WHAT     Records of a level and a subject go to the trace file when both are among those asked for. Everything is
//          static and may be called from anywhere at any time; the first call reads the environment:
//              XC_TRACE         the subjects, separated by commas: names without regard to case, "ALL", numbers
//              XC_TRACE_LEVEL   the mask of levels; level 1 is always part of it
//              XC_TRACE_DELIM   the code of the field delimiter, 1 to 255 (default 9, tab)
//              XC_TRACE_FOLDER  the folder of the file (default: the folder for temporary files)
//          A setting made by a call stays, whatever the environment says.
// FILE     <folder>\<program>__<process identifier>.log, appended to; UTF-8, line feeds. docs/trace.md shows the bytes.
//          It is opened when subjects are chosen. A folder that is missing is created.
// COST     A trace call that is switched off: one load and one branch, arguments aside.
// FAILURE  A record that cannot be written is counted, with the reason as text. The program continues, and the file is
//          tried again later.
//          Faults of the settings and of the folder and file are told on the console, when they are set, unless the
//          application's trace level is 0.
// THREADS  One lock for first use and for each record; records never mix.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFormatArg.h>
#include <XelbrinCore/XCString.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace xc::log {
class TraceState;
}

/// See the head of this file.
class XCTrace {
public:
    /// Levels are bits; a mask selects any of them.
    enum TracelLevels : int {
        TraceErrors = 0x01,
        TraceWarnings = 0x02,
        TraceInfo = 0x04,
        TraceDetail = 0x08,
        TraceData = 0x10,
        TraceCalls = 0x20,
    };
    /// Subjects are bits; the name of each is that of its enumerator without "Trace", in capitals.
    enum TracelSubjects : int {
        TraceGeneral = 0x0001,
        TraceText = 0x0002,
        TraceMessages = 0x0004,
        TraceDateTime = 0x0008,
        TraceSync = 0x0010,
        TraceThread = 0x0020,
        TraceApp = 0x0040,
        TracePlugIn = 0x0080,
        TraceConfig = 0x0100,
        TraceLog = 0x0200,
        TraceRegEx = 0x0400,
        TraceCondition = 0x0800,
        TraceNetwork = 0x1000,
        TraceFile = 0x2000,
        TraceXml = 0x4000,
        TraceUser = 0x8000, ///< for programs; numbers select the bits above as well
        TraceAll = -1,
    };

    /// The level becomes n with bit 0 set. True.
    XC_API static bool SetTraceLevel(int level);
    /// False, and the delimiter is tab: not in 1 to 255. Unless the application's trace level is 0 the console then
    /// shows "Illegal trace delimiter specified; trace delimiter has been reset to default".
    XC_API static bool SetTraceDelim(int delimiter);
    /// Closes the trace file and opens it in this folder when subjects are chosen. Null or empty: the folder for
    /// temporary files. False when the folder cannot be had or the file not be opened.
    XC_API static bool SetTraceFolderName(wchar_t const* folder);
    /// Chooses the subjects; null or empty: none, the trace is off and the file closed. False when an item of the list
    /// is no subject (the others hold) or the file cannot be opened.
    XC_API static bool SetTraceSubjects(wchar_t const* subjects);

    /// Reads the environment now when no call has done so yet, or again when forced; what calls have set stays.
    XC_API static void InitTracing(bool force = false);

    /// Whether subjects are chosen and the file is open.
    XC_API static bool IsTracingEnabled();
    /// Whether the file is open and both masks share a bit with the arguments.
    static bool TraceThisSubject(int level, int subject)
    {
        return MayTrace(level, subject) && IsWanted(level, subject);
    }

    /// Writes one record and flushes: local time with milliseconds, thread, origin, level, subject, then the message,
    /// formatted as by XCString::Format, with arguments of any type that it carries. A record always ends its line.
    template <class... Arguments>
    static void Msg(int level, int subject, wchar_t const* origin, wchar_t const* format, Arguments const&... arguments)
    {
        if (!MayTrace(level, subject)) return;
        xc::text::WithFormatArgs([&](XCFormatArgs const& list) { WriteMsg(level, subject, origin, format, list); },
                                 xc::text::Carry(arguments)...);
    }
    /// Writes the count of bytes with a text, then the bytes, 16 to a row.
    static void MsgHex(int level, int subject, wchar_t const* origin, wchar_t const* text, void const* bytes,
                       std::size_t count)
    {
        if (MayTrace(level, subject)) WriteHex(level, subject, origin, L"", text, bytes, count);
    }
    /// The same with a title before the count.
    static void MsgHex(int level, int subject, wchar_t const* origin, wchar_t const* title, wchar_t const* text,
                       void const* bytes, std::size_t count)
    {
        if (MayTrace(level, subject)) WriteHex(level, subject, origin, title, text, bytes, count);
    }
    /// Writes an object: a text as it stands, anything else by its AsString(). Asked only when the record is written.
    template <class T>
    static void MsgObject(int level, int subject, wchar_t const* origin, T const& object)
    {
        if (!MayTrace(level, subject) || !IsWanted(level, subject)) return;
        if constexpr (std::is_convertible_v<T const&, XCString>)
            WriteText(level, subject, origin, object);
        else
            WriteText(level, subject, origin, object.AsString());
    }

    /// The names of the subjects in a mask, joined by "+"; "ALL", or the number for bits without a name.
    XC_API static XCString GetTraceSubjectDescr(int subject);
    /// How often writing the trace has failed.
    [[nodiscard]] XC_API static std::uint64_t GetFailureCount() noexcept;
    /// The text of the last failure; empty when there was none.
    [[nodiscard]] XC_API static XCString GetLastFailure();

private:
    friend class xc::log::TraceState;

    /// The level mask in the upper half and the subject mask in the lower one; all bits until the first use, so that
    /// one test answers both "off" and "not asked yet".
    XC_API static std::atomic<std::uint64_t> Masks;

    static bool MayTrace(int level, int subject) noexcept
    {
        std::uint64_t const masks = Masks.load(std::memory_order_relaxed);
        return (((masks >> 32) & static_cast<std::uint32_t>(level)) != 0) &
               ((masks & static_cast<std::uint32_t>(subject)) != 0);
    }
    XC_API static bool IsWanted(int level, int subject);
    XC_API static void WriteMsg(int level, int subject, wchar_t const* origin, wchar_t const* format,
                                XCFormatArgs const& arguments);
    XC_API static void WriteHex(int level, int subject, wchar_t const* origin, wchar_t const* title,
                                wchar_t const* text, void const* bytes, std::size_t count);
    XC_API static void WriteText(int level, int subject, wchar_t const* origin, XCString const& text);
};
