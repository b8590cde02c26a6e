// module_tools.h - what the host and every module of record_host need: settings, and errors in two languages.
#pragma once

#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCOptions.h>
#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <vector>

/// The messages of messages.mc. Each module carries the table, as a module that is shipped alone would.
enum class Message : long {
    CannotOpen = 1,   ///< file, system error
    BadCondition = 2, ///< the condition, what is wrong
    BadDate = 3,      ///< setting, its text
    Incomplete = 5,
    UnknownOption = 6,   ///< option
    UnknownArgument = 7, ///< argument
    UnknownKey = 8,      ///< key, section
    UnknownSection = 9,  ///< section
    HostOptions = 10,
    OptionLog = 11,
    OptionLanguage = 12,
    ReportOptions = 13,
    OptionTitle = 14,
    OptionWidth = 15,
    OptionDays = 16,
    OptionKinds = 17,
    FilterOptions = 18,
    OptionCondition = 19,
    OptionSince = 20,
    ReaderOptions = 21,
    OptionInput = 22,
    OptionFollow = 23,
    ReportTitle = 24,
    ReportCounts = 25, ///< source, lines, malformed lines, records
    ReportDay = 26,
    ReportKind = 27,
    ReportRecords = 28,
    ReportShare = 29,
    ReportEarlier = 30, ///< days
    ReportOthers = 31,  ///< kinds
    ReportBusiestDay = 32,
    ReportBusiestHour = 33,
    ReportLongestPause = 34,
    ReportLastRecord = 35,
    ReportDaySpan = 36,   ///< day, records, first, last
    ReportHourSpan = 37,  ///< from, to, records
    ReportPauseSpan = 38, ///< duration, time
    ReportWeekDays = 39,  ///< from Sunday on
    ReportStopped = 40,
};

/// A setting: the option /name, else the line `name` in this section of the configuration file, else the default.
XCString Setting(XCApplication const& application, wchar_t const* section, wchar_t const* name,
                 XCString const& otherwise = {});

/// Reads what a module has declared: each option by its name, from where Setting finds it.
/// @return Bad, with a text in the language of the setting, when one cannot be used; none is set then.
XCErrorID ReadSettings(XCApplication const& application, wchar_t const* section, XCOptions& options);

/// The language of the setting Language; without one the user's own.
XCFormatContext TextContext(XCApplication const& application);

/// A text of the message table of the module that calls.
XCString Text(XCFormatContext const& context, Message message, std::vector<XCString> const& parameters = {});
/// A count for a text.
XCString Text(std::uint64_t count);
/// The language that the host of a module speaks.
XCFormatContext HostContext();

/// An error with its text from the message table of the module that calls. The text is made here, in the language of
/// the setting: the host asks errors for the language of the system.
XCErrorID MakeError(XCApplication const& application, Message message, std::vector<XCString> const& parameters);

/// The log channel of a module.
XCLogChannel& Channel(wchar_t const* name);
