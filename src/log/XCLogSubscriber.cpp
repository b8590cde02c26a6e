// The subscribers that the library brings: console, file, rotating file and JSON file.
//
// A block arrives as one text of its channel. It is turned into bytes in the layout of the subscriber and written at
// once, under the subscriber's own section, so that blocks of several lists never mix. A console takes units: the
// layouts other than AsIs are made as bytes first and decoded again, which keeps one body for each layout and costs
// nothing that a console would show. Files open with their first block; failures are counted there and tried again with
// the next block.
//
// The first text of a block after the lock decides its place in the file: channels, threads and lists may race up to
// there, and from there on the order is the order of the section. A rotating file and a JSON file are the file
// subscriber with a rotation or a layout set, not classes with bodies of their own.
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCLogPattern.h>
#include <XelbrinCore/XCLogSubscriber.h>

#include "log/AtExit.h"
#include "log/BlockLayout.h"
#include "log/LateWriter.h"
#include "log/RecordFile.h"
#include "log/SubscriberList.h"
#include "text/Utf8.h"
#include "win32/Console.h"
#include "win32/Process.h"

#include <mutex>

XCLogSubscriberI::~XCLogSubscriberI() = default;

void XCLogSubscriberI::SetDesiredLevel(int level)
{
    m_desiredLevel.store(level, std::memory_order_relaxed);
    std::vector<std::weak_ptr<xc::log::SubscriberList>> lists; // told without the lock: a list may be waiting for it
    {
        std::lock_guard const hold(m_section);
        lists = m_lists;
    }
    for (auto const& list : lists)
        if (auto const held = list.lock()) held->RefreshInterest();
}

/// Subscribers that know nothing of channels get the text as they always did.
void XCLogSubscriberI::OnChannelFlush(XCString const&, int level, XCString const& text)
{
    OnFlush(level, text);
}

/// A subscriber that writes at once holds nothing back.
void XCLogSubscriberI::Flush() {}

namespace {

constexpr auto kOutput = xc::win32::StandardStream::Output;

} // namespace

struct XCConsoleLogSubscriber::Data {
    xc::log::BlockLayout layout;
    bool colors = false;
    XCCriticalSection section;
    std::string bytes;
    xc::log::Failures failures;

    void LayOut(XCString const& channel, int level, XCString const& text)
    {
        bytes.clear();
        xc::log::AppendBlock(bytes, layout, channel, level, text);
    }

    unsigned long WriteBytes() const { return xc::win32::WriteToStream(kOutput, bytes.data(), bytes.size()); }

    // Consoles take units: a layout is made as bytes first and decoded again, which keeps one body for each layout.
    unsigned long Show(XCString const& channel, int level, XCString const& text)
    {
        XCString shaped = text; // the common case needs no bytes at all
        if (!layout.IsAsIs()) {
            LayOut(channel, level, text);
            // A block that no longer decodes (half a surrogate pair became three bytes that are no UTF-8) goes out as
            // bytes.
            if (!xc::text::DecodeUtf8(shaped, bytes)) return WriteBytes();
        }
        std::wstring colored;
        // Asked for each block: the standard output may be another one by now.
        if (colors && xc::win32::TakesSequences(kOutput)) colored = xc::log::InColor(level, shaped.View());
        std::wstring_view const shown = colored.empty() ? shaped.View() : std::wstring_view(colored);
        return xc::win32::WriteToConsole(kOutput, shown.data(), shown.size());
    }

    unsigned long Write(XCString const& channel, int level, XCString const& text)
    {
        if (xc::win32::IsConsole(kOutput)) return Show(channel, level, text);
        LayOut(channel, level, text);
        return WriteBytes();
    }
};

XCConsoleLogSubscriber::XCConsoleLogSubscriber(int desiredLevel, XCLogLayout layout) : m_data(std::make_unique<Data>())
{
    m_data->layout.layout = layout;
    SetDesiredLevel(desiredLevel);
}

XCConsoleLogSubscriber::~XCConsoleLogSubscriber() = default;

void XCConsoleLogSubscriber::SetPattern(XCLogPattern const& pattern)
{
    std::lock_guard const hold(m_data->section);
    // Under the section, as a block may be on its way.
    m_data->layout.pattern = pattern.GetCompiled();
}

void XCConsoleLogSubscriber::SetColors(bool colors)
{
    // The wish of the terminal's user counts more than the program's.
    bool const isRefused = !xc::win32::ReadEnvironment(L"NO_COLOR").value_or(std::wstring()).empty();
    std::lock_guard const hold(m_data->section);
    m_data->colors = colors && !isRefused;
}

void XCConsoleLogSubscriber::OnFlush(int level, XCString const& text)
{
    OnChannelFlush(XCString(), level, text);
}

void XCConsoleLogSubscriber::OnChannelFlush(XCString const& channel, int level, XCString const& text)
{
    if (!IsInterested(level)) return;
    std::lock_guard const hold(m_data->section);
    unsigned long const error = m_data->Write(channel, level, text);
    // Counted, not thrown: logging never fails the call that logs.
    if (error != 0) m_data->failures.NoteFile(L"Cannot write", L"standard output", error);
}

std::uint64_t XCConsoleLogSubscriber::GetFailureCount() const noexcept
{
    return m_data->failures.Count();
}

XCString XCConsoleLogSubscriber::GetLastFailure() const
{
    return m_data->failures.Last();
}

struct XCFileLogSubscriber::Data {
    mutable XCCriticalSection section; ///< guards the file
    XCString name;                     ///< as it was given
    xc::log::RecordFile file;
    xc::log::BlockLayout layout;
    std::atomic<bool> autoFlush;
    xc::log::LateRecords late{[](void* owner) noexcept { static_cast<Data*>(owner)->WriteLate(); }, this};
    std::string lateBytes; ///< those that the writing thread has taken
    std::vector<std::size_t> lateEnds;
    // Last member: it is destroyed first, so the end of the process never meets a subscriber that is half gone.
    xc::log::AtExit atExit{[](void* owner) { static_cast<Data*>(owner)->CloseForExit(); }, this};

    void CloseForExit() noexcept
    {
        std::lock_guard const hold(section);
        late.Stop();
        PutLate();
        file.CloseForExit();
    }

    /// Records that were left go before any that is written at once. With the section.
    void PutLate() noexcept
    {
        late.Take(lateBytes, lateEnds);
        std::size_t begin = 0;
        for (std::size_t const end : lateEnds) {
            file.OpenWhenDue();
            std::string& bytes = file.BeginRecord();
            try {
                bytes.append(lateBytes, begin, end - begin);
                file.EndRecord(end == lateEnds.back());
            } catch (std::exception const&) {
                file.DropRecord(L"No memory for a record for");
            }
            begin = end;
        }
        lateBytes.clear();
        lateEnds.clear();
    }

    void WriteLate() noexcept
    {
        std::lock_guard const hold(section);
        PutLate();
    }

    /// False: the caller writes the block itself.
    bool LeaveLate(XCString const& channel, int level, XCString const& text) noexcept
    {
        using Outcome = xc::log::LateRecords::Outcome;
        Outcome const outcome =
            late.Add([&](std::string& bytes) { xc::log::AppendBlock(bytes, layout, channel, level, text); });
        if (outcome == Outcome::Full) file.NoteLost(L"No room for a record for");
        if (outcome == Outcome::NoMemory) file.NoteLost(L"No memory for a record for");
        return outcome != Outcome::Refused;
    }
};

XCFileLogSubscriber::XCFileLogSubscriber(XCString const& fileName, XCLogOpen open, bool autoFlush, XCLogLayout layout)
    : m_data(std::make_unique<Data>())
{
    using Start = xc::log::RecordFile::Start;
    m_data->name = fileName;
    m_data->file.SetTarget(xc::win32::SystemPath(fileName.View()),
                           open == XCLogOpen::Append ? Start::Append : Start::Truncate);
    m_data->layout.layout = layout;
    m_data->autoFlush = autoFlush;
}

XCFileLogSubscriber::~XCFileLogSubscriber()
{
    // Not under the section, which the writing thread may be waiting for.
    m_data->late.Detach();
    m_data->WriteLate();
}

XCErrorID XCFileLogSubscriber::SetAsync(XCLogAsync const& options)
{
    return m_data->late.Begin(options.maxBytes, options.whenFull == XCLogWhenFull::Wait);
}

void XCFileLogSubscriber::SetPattern(XCLogPattern const& pattern)
{
    std::lock_guard const hold(m_data->section);
    m_data->late.WithLock([&] { m_data->layout.pattern = pattern.GetCompiled(); });
}

/// For the constructors of derived classes, before another thread can have the object.
void XCFileLogSubscriber::SetRotation(XCLogRotation const& rotation)
{
    m_data->file.SetRotation(
        std::make_unique<xc::log::Rotation>(rotation.maxBytes, rotation.daily, rotation.keepFiles));
}

void XCFileLogSubscriber::OnFlush(int level, XCString const& text)
{
    OnChannelFlush(XCString(), level, text);
}

void XCFileLogSubscriber::OnChannelFlush(XCString const& channel, int level, XCString const& text)
{
    if (!IsInterested(level) || m_data->LeaveLate(channel, level, text)) return;
    std::lock_guard const hold(m_data->section);
    m_data->file.OpenWhenDue(); // with the first block, also when that is held back
    std::string& bytes = m_data->file.BeginRecord();
    try {
        xc::log::AppendBlock(bytes, m_data->layout, channel, level, text);
    } catch (std::exception const&) {
        return m_data->file.DropRecord(L"No memory for a record for");
    }
    // The flag is an atomic of its own: asking for it must not wait for a write that is under way.
    m_data->file.EndRecord(GetAutoFlush());
}

void XCFileLogSubscriber::Flush()
{
    std::lock_guard const hold(m_data->section);
    m_data->PutLate();
    m_data->file.Flush();
}

void XCFileLogSubscriber::Close()
{
    std::lock_guard const hold(m_data->section);
    m_data->PutLate();
    m_data->file.Close();
}

bool XCFileLogSubscriber::IsValid() const
{
    std::lock_guard const hold(m_data->section);
    return m_data->file.IsValid();
}

XCString XCFileLogSubscriber::GetFileName() const
{
    // Set once, in the constructor: no lock is needed.
    return m_data->name;
}

bool XCFileLogSubscriber::GetAutoFlush() const noexcept
{
    return m_data->autoFlush.load(std::memory_order_relaxed);
}

void XCFileLogSubscriber::SetAutoFlush(bool autoFlush) noexcept
{
    m_data->autoFlush.store(autoFlush, std::memory_order_relaxed);
}

std::uint64_t XCFileLogSubscriber::GetFailureCount() const noexcept
{
    return m_data->file.GetFailures().Count();
}

XCString XCFileLogSubscriber::GetLastFailure() const
{
    return m_data->file.GetFailures().Last();
}

XCRotatingFileLogSubscriber::XCRotatingFileLogSubscriber(XCString const& fileName, XCLogRotation const& rotation,
                                                         bool autoFlush, XCLogLayout layout)
    // Appending, always: a rotation that emptied the newest file at each start would keep anything but the newest.
    : XCFileLogSubscriber(fileName, XCLogOpen::Append, autoFlush, layout)
{
    SetRotation(rotation);
}

XCRotatingFileLogSubscriber::~XCRotatingFileLogSubscriber() = default;

XCJsonLogSubscriber::XCJsonLogSubscriber(XCString const& fileName, XCLogOpen open, bool autoFlush)
    : XCFileLogSubscriber(fileName, open, autoFlush, XCLogLayout::Json)
{
}

XCJsonLogSubscriber::~XCJsonLogSubscriber() = default;
