// XCCoreError.h - the codes of the library's own errors.
//
// WHAT     Each code with its meaning and the parameters of its text. XCError.h includes this header; a header that only
//          names codes needs no other.
// COST     Plain numbers.
#pragma once

/// The codes of the library's own errors; their texts stand in the message table of the DLL (glbXCOREMsgSourceP).
/// Each family has a range of its own; a code never changes its meaning.
enum XCCoreError : long {
    XCErrThreadAlreadyStarted = 15, ///< a thread that was started before
    // 100-199 text
    XCErrMalformedText = 100,   ///< bytes that are no text in the encoding (parameter: position)
    XCErrUnmappableUnit = 101,  ///< a unit that the encoding cannot hold (parameters: unit, position)
    XCErrUnknownCodePage = 102, ///< the system does not know the code page (parameter: its number)
    XCErrNoConverter = 103,     ///< a null string converter was given
    XCErrUnknownLocale = 104,   ///< the system does not know the locale (parameter: its name)
    XCErrNoNumber = 105,        ///< a number was expected (parameter: position)
    XCErrNumberRange = 106,     ///< a number that its type cannot hold (parameter: position)
    XCErrTextEnds = 107,        ///< a value was expected and nothing is left (parameter: position)
    XCErrCollationFile = 108,   ///< a file of rules of collation cannot be read (file, system error, words)
    // 200-299 errors and messages
    XCErrMessageNotFound = 200,       ///< the source has no text for a code (parameter: the code)
    XCErrMessageFileCannotRead = 201, ///< a message file cannot be read (file, system error, words)
    XCErrMessageFileMalformed = 202,  ///< a file is no message file, or not the one its name says (file, line, reason)
    XCErrMessageLibraryMissing = 203, ///< no file of the message library can be used (what was looked for)
    // 300-399 dates
    XCErrNoDateTime = 300,      ///< a text that is no date or time in its format (parameter: the text)
    XCErrInvalidDateTime = 301, ///< a date that no calendar has
    // 400-499 threads and locks
    XCErrThreadsUnlisted = 400, ///< the system does not list the threads of the process
    // 500-599 application
    XCErrPlugInFailed = 500,         ///< a plug-in or its module cannot be used; the error has a text of its own
    XCErrConsoleNotRedirected = 501, ///< the console cannot be sent to a file (file, system error, words)
    XCErrListCannotRead = 502,       ///< a list file of plug-ins cannot be read (file, system error, words)
    XCErrListMalformed = 503,        ///< a list file of plug-ins is no text in its encoding (file)
    XCErrNoReport = 504,             ///< a process has no host that reports (its number, system error, words)
    XCErrOptionUnknown = 510,        ///< an option that the program does not have (the option)
    XCErrOptionUnknownNear = 511,    ///< the same, with a name that it nearly is (the option, the name)
    XCErrOptionValue = 512,          ///< a value that the option does not take (option, value)
    XCErrOptionNoValue = 513,        ///< an option without its value (the option)
    XCErrOptionMissing = 514,        ///< an option or argument that is required (its name)
    XCErrArgumentExtra = 515,        ///< an argument that the program has no use for (the argument)
    XCErrCommandUnknown = 516,       ///< a command that the program does not have (the command)
    XCErrCommandUnknownNear = 517,   ///< the same, with a name that it nearly is (the command, the name)
    XCErrOptionWhole = 518,          ///< no whole number within limits (option, value, least, most)
    XCErrOptionNumber = 519,         ///< no number (option, value)
    XCErrOptionWithin = 520,         ///< no number within limits (option, value, least, most)
    XCErrOptionYesOrNo = 521,        ///< neither yes nor no (option, value)
    XCErrOptionOneOf = 522,          ///< none of the words that are possible (option, value, the words)
    XCErrOptionChecked = 523,        ///< refused by a check of the program (option, value, what it expects)
    XCErrServiceNotInstalled = 530,  ///< a service is not entered (name, system error, its words)
    XCErrServiceNotRemoved = 531,    ///< a service is not taken out (name, system error, its words)
    XCErrServiceRights = 532,        ///< the account may not change services (name, system error, its words)
    XCErrServiceExists = 533,        ///< a service of this name is there (name)
    XCErrServiceMissing = 534,       ///< there is no such service (name)
    XCErrServiceNotStopped = 535,    ///< a service that was to be removed goes on (name, seconds)
    XCErrServiceNoManager = 536,     ///< not started by the service manager (name, system error, its words)
    XCErrServiceName = 537,          ///< a text that is no name of a service (the text)
    // 600-699 configuration
    XCErrConfigCannotRead = 600,       ///< a file is missing or cannot be read (file, system error, its words)
    XCErrConfigCannotWrite = 601,      ///< not written; the old one is untouched (file, system error, its words)
    XCErrConfigPartlyRead = 602,       ///< the last read failed half-way: the file is not saved over (file)
    XCErrConfigWouldNotReadBack = 603, ///< a text would not be read back as it is (section, key, reason)
    XCErrConfigMalformed = 604,        ///< a file breaks a rule of its format (file, line, the rule)
    // 700-799 logging and trace
    XCErrLogCannotOpen = 700, ///< a log file cannot be opened (file, system error, words)
    XCErrLogPattern = 701,    ///< a layout pattern is wrong at a position (pattern, position from 1)
    XCErrLogLevel = 702,      ///< the level of a channel is no level (channel, text)
    XCErrEventSource = 710,   ///< a source of the event log is not entered or taken out (name, system error, words)
    XCErrEventRights = 711,   ///< the account may not enter sources of the event log (name, system error, words)
    XCErrEventWrite = 712,    ///< an event was not written (source, system error, words)
    // 800-899 patterns
    // 900-999 conditions; the first parameter is the position in the text, the second what was found there
    XCErrConditionOperator = 900,    ///< an operator was expected
    XCErrConditionValue = 901,       ///< a value was expected (parameter: position)
    XCErrConditionQuote = 902,       ///< a quoted text is never closed (parameter: position of its quote)
    XCErrConditionParenthesis = 903, ///< a parenthesis without its partner (parameter: its position)
    XCErrConditionLink = 904,        ///< AND or OR was expected
    XCErrConditionDate = 905,        ///< no date
    XCErrConditionPattern = 906,     ///< no valid regular expression, or too large a one
    XCErrConditionNesting = 907,     ///< parentheses nest too deep (parameter: position)
    XCErrConditionNative = 908,      ///< the native form is malformed (parameter: position)
    XCErrConditionRefused = 909,     ///< a field name or value that this kind of condition does not take
    XCErrConditionField = 910,       ///< the schema has no such field (parameter: its name)
    XCErrConditionBlanks = 911,      ///< an operator without blanks around it: "a=1" (position, what was found)
    // 1000-1099 binary data; the first parameter is a position in bytes where nothing else is said
    XCErrDataPastEnd = 1000,      ///< the bytes end inside a value (position, bytes wanted)
    XCErrDataCorrupt = 1001,      ///< bytes that no such value has (position)
    XCErrDataLimit = 1002,        ///< a budget of the reader is used up (position, its name, its value)
    XCErrDataTooLong = 1003,      ///< a length that its form cannot hold (the length, the largest one)
    XCErrDataOpenMark = 1004,     ///< a marked place has not been filled in (position)
    XCErrDataText = 1005,         ///< a text that is no bytes in hexadecimal digits or base64 (position in units)
    XCErrDataFrame = 1006,        ///< the head of a frame is damaged (position)
    XCErrDataChecksum = 1007,     ///< the content of a frame is damaged (position)
    XCErrDataUnknownType = 1008,  ///< a frame of a type that nobody has registered (the type)
    XCErrDataNewerVersion = 1009, ///< a frame of a version that the program does not know (the type, the version)
    // 1100-1199 tasks, timers, schedules
    XCErrTimedOut = 1100,        ///< the time ran out; the thing waited for goes on
    XCErrCancelled = 1101,       ///< taken back before it began
    XCErrExecutorStopped = 1102, ///< a pool, server or queue takes no more tasks (its name)
    XCErrQueueFull = 1103,       ///< the queue of a pool is at its limit (name, limit)
    XCErrWaitCycle = 1104,       ///< a wait that could never end (who waits for whom)
    XCErrTaskFailed = 1105,      ///< an exception has left a task (its text)
    XCErrNoThread = 1106,        ///< no thread could be started (name, reason)
    XCErrStillRunning = 1107,    ///< the deadline of a stop has passed (name, what runs)
    XCErrScheduleText = 1108,    ///< a text that is no schedule (position, what was expected there)
    // 1200-1299 files; the first parameter is the path. 1220 on: folders
    XCErrFileCannotOpen = 1200,     ///< not opened or created (path, system error, its words)
    XCErrFileCannotRead = 1201,     ///< bytes were not read (path, system error, its words)
    XCErrFileCannotWrite = 1202,    ///< bytes were not written (path, system error, its words)
    XCErrFileFailed = 1203,         ///< another call on a file failed (path, system error, its words)
    XCErrFileName = 1204,           ///< a path that is not created as it is (path, the name, what is wrong with it)
    XCErrFileHeld = 1205,           ///< held by others until the deadline (path, system error, its words, tries)
    XCErrFileLine = 1206,           ///< a line above the limit (path, line, limit in units)
    XCErrFileText = 1207,           ///< bytes that are no text in the encoding (path, line, position in bytes)
    XCErrFolderCannotRead = 1220,   ///< a folder cannot be listed (path, system error, its words)
    XCErrFolderCannotCreate = 1221, ///< a folder cannot be made (path, system error, its words)
    XCErrTreeNotRemoved = 1222,     ///< an entry stays (path, system error, its words)
    XCErrTreeNotCopied = 1223,      ///< an entry is not copied (path, system error, its words)
    XCErrTreeNotMoved = 1224,       ///< nothing is moved; the source is whole (path, system error, its words)
    XCErrTreeLink = 1225,           ///< a link that leads elsewhere; nothing there is touched (path)
    XCErrTreeIntoItself = 1226,     ///< a folder into one that stands in it (source, target)
    XCErrTreeStopped = 1227,        ///< cancelled before the end (path)
    // 1300-1399 networking; the parameter "address" is that of the peer where there is one
    XCErrAddressText = 1300,         ///< a text that is no address (text, position from 1, what was expected)
    XCErrHostNotFound = 1301,        ///< a name that leads to no address (name, system error, its words)
    XCErrSocketFailed = 1302,        ///< a call on a socket failed (address, system error, its words)
    XCErrSocketCannotConnect = 1303, ///< no connection was made (address, system error, its words)
    XCErrSocketCannotListen = 1304,  ///< an address cannot be listened on (address, system error, its words)
    XCErrSocketReset = 1305,     ///< the peer or the network broke the connection (address, system error, its words)
    XCErrSocketEnded = 1306,     ///< the peer ended its stream inside something (address, bytes that had come)
    XCErrSocketCancelled = 1307, ///< the call or the socket was cancelled (address)
    XCErrSocketClosed = 1308,    ///< the socket is not open
    XCErrSocketLine = 1309,      ///< a line or record above the limit (address, limit in bytes)
    XCErrSocketQueueFull = 1310, ///< a peer that reads too slowly; nothing was taken (address, bytes queued)
};
