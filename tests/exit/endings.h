// endings.h - the ways in which the child program ends.
#pragma once

#include <string_view>

inline constexpr std::wstring_view kReturn = L"return";
inline constexpr std::wstring_view kExit = L"exit";
inline constexpr std::wstring_view kExitProcess = L"ExitProcess";
inline constexpr std::wstring_view kHeldBack = L"record-held-back";
inline constexpr std::wstring_view kPending = L"stream-not-flushed";
inline constexpr std::wstring_view kStatic = L"static-object-logs-and-throws";
inline constexpr std::wstring_view kModule = L"module-with-ended-thread-freed";
inline constexpr std::wstring_view kApplication = L"application-alive";
inline constexpr std::wstring_view kStaticApplication = L"application-static";
inline constexpr std::wstring_view kThreadsReturn = L"threads-log,return";
inline constexpr std::wstring_view kThreadsExit = L"threads-log,exit";
inline constexpr std::wstring_view kThreadsExitProcess = L"threads-log,ExitProcess";
inline constexpr std::wstring_view kThreadsQuick = L"threads-log,_Exit";
inline constexpr std::wstring_view kPlugInRuns = L"plug-in-thread-at-work";
inline constexpr std::wstring_view kExitInRun = L"exit-in-Run";
inline constexpr std::wstring_view kExitProcessInRun = L"ExitProcess-in-Run";

// Pools, servers and timers: what they do when the process or the module ends, "work,<what>,<state>,<end>".
inline constexpr std::wstring_view kWork = L"work,";
inline constexpr std::wstring_view kWorkers[] = {L"pool", L"server", L"timer"};
inline constexpr std::wstring_view kWorkStates[] = {L"idle", L"busy", L"blocked"};
inline constexpr std::wstring_view kWorkEnds[] = {L"return", L"exit", L"unload"};
