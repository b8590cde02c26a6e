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
#include <XelbrinCore/XCLogSubscriber.h>

#include "log/AtExit.h"
#include "log/RecordFile.h"
#include "log/RecordText.h"
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

void XCLogSubscriberI::OnChannelFlush(XCString const&, int level, XCString const& text)
{
    OnFlush(level, text);
}

void XCLogSubscriberI::Flush() {}

namespace xc::log {

namespace {

/// The block in its layout, as bytes.
void AppendBlock(std::string& to, XCLogLayout layout, XCString const& channel, int level, XCString const& text)
{
    // As it came: the text holds its own line ends, and several lines are several lines.
    if (layout == XCLogLayout::AsIs) return AppendText(to, text.View());
    std::wstring_view const body = WithoutLineEnd(text.View());
    // The time is that of the writing, not of the first word: a block has one time, and it is the one by which the
    // lines of the file ascend.
    if (layout == XCLogLayout::Json)
        return AppendJsonRecord(to,
                                {win32::UtcNow(), level, channel.View(), win32::ProcessId(), win32::ThreadId(), body});
    AppendText(to, EscapeControls(body).View());
    // The line end of the text, if it had one, so that "\r\n" stays what it was; else one is added, since every record
    // of these layouts is a line.
    std::wstring_view const end = text.View().substr(body.size());
    AppendText(to, end.empty() ? std::wstring_view(L"\n") : end);
}

} // namespace

} // namespace xc::log

struct XCConsoleLogSubscriber::Data {
    XCLogLayout layout;
    XCCriticalSection section;
    std::string bytes;
    xc::log::Failures failures;
};

XCConsoleLogSubscriber::XCConsoleLogSubscriber(int desiredLevel, XCLogLayout layout) : m_data(std::make_unique<Data>())
{
    m_data->layout = layout;
    SetDesiredLevel(desiredLevel);
}

XCConsoleLogSubscriber::~XCConsoleLogSubscriber() = default;

void XCConsoleLogSubscriber::OnFlush(int level, XCString const& text)
{
    OnChannelFlush(XCString(), level, text);
}

void XCConsoleLogSubscriber::OnChannelFlush(XCString const& channel, int level, XCString const& text)
{
    using namespace xc;
    if (!IsInterested(level)) return;
    constexpr auto kOutput = win32::StandardStream::Output;
    std::lock_guard const hold(m_data->section);
    unsigned long error = 0;
    // The common case needs no bytes at all.
    if (m_data->layout == XCLogLayout::AsIs && win32::IsConsole(kOutput)) {
        error = win32::WriteToConsole(kOutput, text.AsWChar(), text.Length());
    } else {
        m_data->bytes.clear();
        log::AppendBlock(m_data->bytes, m_data->layout, channel, level, text);
        XCString shaped;
        // A block that no longer decodes (half a surrogate pair became three bytes that are no UTF-8) goes out as
        // bytes.
        if (win32::IsConsole(kOutput) && text::DecodeUtf8(shaped, m_data->bytes))
            error = win32::WriteToConsole(kOutput, shaped.AsWChar(), shaped.Length());
        else
            error = win32::WriteToStream(kOutput, m_data->bytes.data(), m_data->bytes.size());
    }
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
    XCLogLayout layout;
    std::atomic<bool> autoFlush;
    // Last member: it is destroyed first, so the end of the process never meets a subscriber that is half gone.
    xc::log::AtExit atExit{[](void* owner) { static_cast<Data*>(owner)->CloseForExit(); }, this};

    void CloseForExit() noexcept
    {
        std::lock_guard const hold(section);
        file.CloseForExit();
    }
};

XCFileLogSubscriber::XCFileLogSubscriber(XCString const& fileName, XCLogOpen open, bool autoFlush, XCLogLayout layout)
    : m_data(std::make_unique<Data>())
{
    using Start = xc::log::RecordFile::Start;
    m_data->name = fileName;
    m_data->file.SetTarget(xc::win32::SystemPath(fileName.View()),
                           open == XCLogOpen::Append ? Start::Append : Start::Truncate);
    m_data->layout = layout;
    m_data->autoFlush = autoFlush;
}

XCFileLogSubscriber::~XCFileLogSubscriber() = default;

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
    if (!IsInterested(level)) return;
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
    m_data->file.Flush();
}

void XCFileLogSubscriber::Close()
{
    std::lock_guard const hold(m_data->section);
    m_data->file.Close();
}

bool XCFileLogSubscriber::IsValid() const
{
    std::lock_guard const hold(m_data->section);
    return m_data->file.IsValid();
}

XCString XCFileLogSubscriber::GetFileName() const
{
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
