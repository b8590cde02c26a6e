// XCLogSettings.h - levels of log channels from a configuration.
//
// WHAT     A section with a line for each channel, channel = level:
//
//              [LogLevels]
//              *        = info
//              net      = debug
//              net.dns* = off
//
//          The name of a channel, without regard to case; one that ends in '*' stands for all channels that begin so.
//          The exact name counts before those, and of those the longest. Levels are names or numbers (XCLogLevel.h).
//          Records above the level of their channel are dropped before any subscriber sees them, as if nobody wanted
//          them; the desired levels of the subscribers hold as before.
// COST     Linear in the section and the channels; nothing when a record is written.
// ERRORS   A level that cannot be read: XCErrLogLevel, with the channel and the text. The other lines hold.
// THREADS  Any, also while others log: a change holds from the next record on.
#pragma once

#include <XelbrinCore/XCConfigFile.h>
#include <XelbrinCore/XCConfigLayers.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCLog.h>

#include <string_view>

/// Sets the levels of all channels, those that are made later too, in place of all levels set before. A section that is
/// missing sets none.
XC_API XCErrorID XCSetLogLevels(XCLogManager& manager, XCConfigFile const& settings,
                                std::wstring_view section = L"LogLevels");
XC_API XCErrorID XCSetLogLevels(XCLogManager& manager, XCConfigLayers const& settings,
                                std::wstring_view section = L"LogLevels");
