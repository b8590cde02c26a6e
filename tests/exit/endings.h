// endings.h - the ways in which the child program ends, and what is in its log then.
#pragma once

#include <string_view>

struct Ending {
    std::wstring_view how;
    char const* log = "before the end|"; ///< null: messages of the host follow that
};
inline constexpr Ending kEndings[] = {
    {L"return"},
    {L"exit"},
    {L"ExitProcess"},
    {L"record-held-back"},
    {L"stream-not-flushed", "before the end|pending|"},
    {L"static-object-logs-and-throws", "before the end|last words|"},
    {L"module-with-ended-thread-freed", "before the end|from the module|after the module|pending|"},
    {L"application-alive"},
    {L"application-static"},
    {L"threads-log,return"},
    {L"threads-log,exit"},
    {L"threads-log,ExitProcess"},
    {L"threads-log,_Exit"},
    {L"plug-in-thread-at-work", nullptr},
    {L"exit-in-Run", nullptr},
    {L"ExitProcess-in-Run", nullptr},
};

// Pools, servers and timers: what they do when the process or the module ends, "work,<what>,<state>,<end>".
inline constexpr std::wstring_view kWork = L"work,";
inline constexpr std::wstring_view kWorkers[] = {L"pool", L"server", L"timer", L"sockets"};
inline constexpr std::wstring_view kWorkStates[] = {L"idle", L"busy", L"blocked"};
inline constexpr std::wstring_view kWorkEnds[] = {L"return", L"exit", L"unload"};
