// XCLogSubscriber.h - who receives the blocks of log channels: the interface, the console, files.
//
// LIFE     Subscribers are counted; the list holds a reference, so one that is attached stays alive.
// FILES    Text is written as UTF-8 in binary mode: line ends are those of the text. A file is opened with the first
//          accepted block, shared for reading, writing and renaming, and each write appends whole blocks in one step,
//          also when several processes write to one file.
// FAILURE  When a file cannot be opened or written (missing folder, full disk, held by another program) the program goes
//          on: IsValid turns false, the failure is counted and kept as text, blocks wait in memory (up to 4 MiB; then
//          new ones are dropped and counted) and the file is tried again with a later block, or at Flush.
// THREADS  Every call may come from any thread.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <atomic>
#include <concepts>
#include <cstdint>
#include <memory>
#include <vector>

class XCErrorID;
class XCLogPattern;

namespace xc::log {
class SubscriberList;
}

/// Receives flushed blocks. Virtual operations after those of XCRefCountI: OnFlush, OnChannelFlush, Flush.
class XC_API XCLogSubscriberI : public XCRefCount {
public:
    ~XCLogSubscriberI() override;

    /// Every list that the subscriber is attached to learns the change before the call returns.
    void SetDesiredLevel(int level);
    /// The highest level that it wants.
    [[nodiscard]] int GetDesiredLevel() const noexcept { return m_desiredLevel.load(std::memory_order_relaxed); }
    /// Whether the level is less than or equal to the desired level.
    [[nodiscard]] bool IsInterested(int level) const noexcept { return level <= GetDesiredLevel(); }

    /// Receives a block, of any level; one call at a time from one manager.
    virtual void OnFlush(int level, XCString const& text) = 0;
    /// The same with the name of the channel; calls OnFlush unless overridden.
    virtual void OnChannelFlush(XCString const& channel, int level, XCString const& text);
    /// Writes out the text that the subscriber itself holds back.
    virtual void Flush();

protected:
    XCLogSubscriberI() noexcept = default;
    XCLogSubscriberI(XCLogSubscriberI const&) = delete;
    XCLogSubscriberI& operator=(XCLogSubscriberI const&) = delete;

private:
    friend class xc::log::SubscriberList;
    std::atomic<int> m_desiredLevel{1};
    XCCriticalSection m_section; ///< guards m_lists
    std::vector<std::weak_ptr<xc::log::SubscriberList>> m_lists;
};

/// How a block is written.
enum class XCLogLayout {
    AsIs,    ///< the text as it stands
    OneLine, ///< control characters and the like inside a block are written out (\n, \r, \xHH, \uHHHH; the backslash as
             ///< \\) and the block ends with its line end, or a line feed: no message can forge a record
    Json,    ///< one JSON object and a line feed a block: time (UTC), level, channel, process, thread, text
};

/// Writes to the standard output: Unicode to a console, UTF-8 to anything it was redirected to, looked up each time.
class XC_API XCConsoleLogSubscriber : public XCLogSubscriberI {
public:
    /// Writes to the console what has at most this level. @param layout how a record is laid out.
    explicit XCConsoleLogSubscriber(int desiredLevel = 1, XCLogLayout layout = XCLogLayout::AsIs);
    ~XCConsoleLogSubscriber() override;
    void OnFlush(int level, XCString const& text) override;
    void OnChannelFlush(XCString const& channel, int level, XCString const& text) override;

    /// Lays blocks out by a pattern (XCLogPattern.h), from the next one on.
    void SetPattern(XCLogPattern const& pattern);
    /// Shows errors red, warnings yellow, debug and trace grey, where the output is a console that takes control
    /// sequences. Off at first; nothing is turned on where the environment variable NO_COLOR has a value.
    void SetColors(bool colors);

    /// How often writing has failed.
    [[nodiscard]] std::uint64_t GetFailureCount() const noexcept;
    /// The text of the last failure; empty when there was none.
    [[nodiscard]] XCString GetLastFailure() const;

private:
    struct Data;
    std::unique_ptr<Data> m_data;
};

/// How a file that exists is opened for the first time.
enum class XCLogOpen { Truncate, Append };

/// When a file is put aside as name.1, name.2, ... (the oldest has the highest number).
struct XCLogRotation {
    std::uint64_t maxBytes = 0;  ///< before a block would make the file larger; 0: no limit
    bool daily = false;          ///< before the first block of another local day
    unsigned int keepFiles = 10; ///< number of files kept in addition to the one in use, at least 1
};

/// What a block does that finds too many before it on their way to the file.
enum class XCLogWhenFull {
    Wait, ///< until there is room
    Drop  ///< it is lost and counts as a failure
};

/// How a file is written by the library's writing thread (XCFileLogSubscriber::SetAsync).
struct XCLogAsync {
    std::size_t maxBytes = 4 * 1024 * 1024;       ///< that may wait; as much again is being written
    XCLogWhenFull whenFull = XCLogWhenFull::Wait; ///< what the next block does then
};

/// Writes to a file. Blocks of levels that it is not interested in are ignored.
class XC_API XCFileLogSubscriber : public XCLogSubscriberI {
public:
    /// @param autoFlush write each block at once; otherwise when 64 KiB have come together, and at Flush and Close.
    explicit XCFileLogSubscriber(XCString const& fileName, XCLogOpen open = XCLogOpen::Truncate, bool autoFlush = true,
                                 XCLogLayout layout = XCLogLayout::AsIs);
    /// The same with the append flag, as programs read it from a setting.
    template <std::same_as<bool> Flag>
    XCFileLogSubscriber(XCString const& fileName, Flag append, bool autoFlush = true,
                        XCLogLayout layout = XCLogLayout::AsIs)
        : XCFileLogSubscriber(fileName, append ? XCLogOpen::Append : XCLogOpen::Truncate, autoFlush, layout)
    {
    }
    ~XCFileLogSubscriber() override;

    void OnFlush(int level, XCString const& text) override;
    void OnChannelFlush(XCString const& channel, int level, XCString const& text) override;
    void Flush() override;
    /// Lays blocks out by a pattern (XCLogPattern.h), from the next one on.
    void SetPattern(XCLogPattern const& pattern);
    /// Writes out and closes. A later block opens the file again, to append.
    void Close();

    /// Whether the last try to open or write the file went well; true before the first.
    [[nodiscard]] bool IsValid() const;
    /// The file it writes to.
    [[nodiscard]] XCString GetFileName() const;
    /// Whether each record is written through at once.
    [[nodiscard]] bool GetAutoFlush() const noexcept;
    /// Sets whether each record is written through at once.
    void SetAutoFlush(bool autoFlush) noexcept;
    /// From the next block on blocks are laid out by the caller and written by a thread of the library, one for all
    /// files of the process, a hundredth of a second later at most or when half the room is used. Flush and Close write
    /// what waits, and so do the end of the program, also one that is forced, and the destructor; what is written after
    /// that is written at once. Auto-flush says nothing then. Bad (XCErrNoThread): all stays as it was.
    XCErrorID SetAsync(XCLogAsync const& options = {});
    /// How often writing has failed.
    [[nodiscard]] std::uint64_t GetFailureCount() const noexcept;
    /// The text of the last failure; empty when there was none.
    [[nodiscard]] XCString GetLastFailure() const;

protected:
    /// For the constructors of derived classes.
    void SetRotation(XCLogRotation const& rotation);

private:
    struct Data;
    std::unique_ptr<Data> m_data;
};

/// A file that is put aside by size, by day, or both, and appended to when it exists. A block is never split between
/// files and none is lost while renaming; when another program refuses the renaming, the file in use is written on and
/// the renaming tried again a second later. One process should write to a rotating file.
class XC_API XCRotatingFileLogSubscriber : public XCFileLogSubscriber {
public:
    /// Writes to a file that is replaced by the rule of `rotation`.
    XCRotatingFileLogSubscriber(XCString const& fileName, XCLogRotation const& rotation, bool autoFlush = true,
                                XCLogLayout layout = XCLogLayout::AsIs);
    ~XCRotatingFileLogSubscriber() override;
};

/// A file of JSON objects, one a record and line.
class XC_API XCJsonLogSubscriber : public XCFileLogSubscriber {
public:
    /// Writes one JSON object a line.
    explicit XCJsonLogSubscriber(XCString const& fileName, XCLogOpen open = XCLogOpen::Append, bool autoFlush = true);
    ~XCJsonLogSubscriber() override;
};
