// module_tools.h - what the host and every module of record_host need: settings, and errors in two languages.
#pragma once

#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCString.h>

#include <vector>

/// The messages of messages.mc. Each module carries the table, as a module that is shipped alone would.
enum class Message : long {
    CannotOpen = 1,   ///< file, system error
    BadCondition = 2, ///< the condition, what is wrong
    BadDate = 3,      ///< setting, its text
    BadNumber = 4,    ///< setting, its text, least, greatest
    Incomplete = 5,
};

/// A setting: the option /name, else the line `name` in this section of the configuration file, else the default.
XCString Setting(XCApplication const& application, wchar_t const* section, wchar_t const* name,
                 XCString const& otherwise = {});

/// A setting that is a number. @param value holds the default and receives the number.
/// @return Bad (Message::BadNumber) when it is no number, or not within the limits.
XCErrorID NumberSetting(XCApplication const& application, wchar_t const* section, wchar_t const* name, int least,
                        int greatest, int& value);

/// The language of the setting Language, for texts of errors; without one the user's own.
XCFormatContext TextContext(XCApplication const& application);

/// An error with its text from the message table of the module that calls. The text is made here, in the language of
/// the setting: the host asks errors for the language of the system.
XCErrorID MakeError(XCApplication const& application, Message message, std::vector<XCString> const& parameters);

/// The log channel of a module.
XCLogChannel& Channel(wchar_t const* name);
