// XCThreadDump.h - what all threads of the process are doing, as text.
//
// WHAT     XCDumpAllStacks gives the call stack of every thread with its name and the plug-in that it is in;
//          XCWriteThreadInfo appends the same with times, priorities and flags to a file.
// COST     Threads are suspended in batches while their stacks are copied, and must be given a processor for that: 200
//          threads, half of them busy, took 0.3 s on two loaded processors, most of it in the bare calls of the
//          system. The first call that names frames reads a module's symbols. XCWriteThreadInfo asks for the times of
//          each thread as well and takes about as long with many threads, a third longer with few.
// LIFETIME The text stays right when modules go.
// ERRORS   XCErrThreadsUnlisted where the system does not list the threads of the process; for the file those of files.
//          std::bad_alloc, thrown before anything is suspended or after everything goes on.
// THREADS  Any thread, one dump at a time. A thread that is suspended may hold any lock: nothing is allocated and no
//          lock is taken meanwhile, so that the dump ends whatever the others are doing. Up to 64 stand at the same
//          time. A thread that cannot be copied in time is resumed and named as not reachable. While a module hangs in
//          its loading, names come from the exports of the images alone.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>

/// What a dump shows.
struct XCDumpOptions {
    std::size_t maxFrames = 32;    ///< calls a thread, the innermost first; at most 64
    unsigned int patienceMs = 200; ///< how long threads may stay suspended before they are resumed and one is given up
    bool onlyRegistered = false;   ///< the threads of the library's registry alone
};

/// Replaces `text` by the stacks of all threads: those of the registry first, then the others, each by identifier.
///
///     thread 812 "reader"
///         in Run of <Reader> (c:\apps\modules\reader.osx), for 6120 ms
///         reader.osx!Reader::Run()+0x41 [reader.cpp:88]
///
/// The calling thread is marked, and stands with the others.
XC_API XCErrorID XCDumpAllStacks(XCString& text, XCDumpOptions const& options = {});

/// Appends the moment, then for each thread its times, priority, flags (of registered ones) and stack, to a file in UTF-8,
/// in one write; the file is created when it is missing. @param path relative paths start at the current directory.
XC_API XCErrorID XCWriteThreadInfo(XCString const& path);
