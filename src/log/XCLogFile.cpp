// A log file that several threads write records to.
//
// Every record is built in the buffer of the file, under the section, and is completed by EndRecord or dropped whole: a
// record that runs out of memory half-way leaves no piece. Writing, retries and the count of what was lost belong to
// RecordFile; here the rules of the text are kept. A message is one line: a feed inside it becomes "~" or, when control
// characters are escaped, "\n". LogArgList formats into a buffer of fixed size on the stack, without the heap; a record
// that is too long is cut before its end, never inside a surrogate pair, so that the end of the line always stands.
// Invariant: the flags are atomics and are read without the section; everything else is used under it.
#include <XelbrinCore/XCLogFile.h>
#include <XelbrinCore/XCSync.h>

#include "errors/CoreError.h"
#include "log/AtExit.h"
#include "log/RecordFile.h"
#include "log/RecordText.h"
#include "log/SecondStamp.h"
#include "text/PrintFormat.h"
#include "text/Units.h"

#include <atomic>
#include <cwchar>
#include <mutex>

namespace xc::log {

namespace {

/// The buffer of LogArgList, with its terminator.
constexpr std::size_t kFormatUnits = 16384;
/// Cuts a text to at most `limit` units, never inside a surrogate pair.
std::size_t CutTo(wchar_t const* text, std::size_t length, std::size_t limit) noexcept
{
    if (length <= limit) return length;
    return limit > 0 && text::IsHighSurrogate(text[limit - 1]) ? limit - 1 : limit;
}

bool EndsInLineFeed(std::wstring_view text) noexcept
{
    return !text.empty() && text.back() == L'\n';
}

/// The message of LogArgList with its end: what was asked for, cut so that the end fits.
std::wstring_view FormatMessageLine(wchar_t (&buffer)[kFormatUnits], wchar_t const* format, text::FormatSource& source)
{
    std::size_t length = text::FormatInto(buffer, kFormatUnits, format, source);
    // Without an end of its own the record gets one; it takes two of the units, the terminator a third.
    if (!EndsInLineFeed(format)) {
        length = CutTo(buffer, length, kFormatUnits - 3);
        buffer[length++] = L'\r';
        buffer[length++] = L'\n';
    } else if (!EndsInLineFeed({buffer, length})) { // cut before the end of the format
        length = CutTo(buffer, length, kFormatUnits - 2);
        buffer[length++] = L'\n';
    }
    return {buffer, length};
}

} // namespace

} // namespace xc::log

struct XCLogFile::Data {
    mutable XCCriticalSection section; ///< guards everything but the flags
    xc::log::RecordFile file;
    xc::log::SecondStamp stamp;
    std::atomic<bool> opened{false}; ///< between Open and Close, also while the file cannot be written
    std::atomic<bool> autoFlush{true};
    std::atomic<bool> escape{false};
    xc::log::AtExit atExit{[](void* owner) { static_cast<Data*>(owner)->CloseForExit(); }, this};

    void CloseForExit() noexcept
    {
        std::lock_guard const hold(section);
        file.CloseForExit();
    }

    /// Adds one record built by `build(bytes)`, when the file is open. A record that cannot be built is dropped whole.
    template <class Build>
    void Add(bool complete, Build const& build) noexcept
    {
        // Asked twice: a closed log costs no lock, and Close may have been quicker.
        if (!opened.load(std::memory_order_acquire)) return;
        std::lock_guard const hold(section);
        if (!opened.load(std::memory_order_relaxed)) return;
        std::string& bytes = file.BeginRecord();
        try {
            build(bytes);
        } catch (std::exception const&) {
            return file.DropRecord(L"No memory for a record for");
        }
        file.EndRecord(complete && autoFlush.load(std::memory_order_relaxed));
    }

    /// A message with its line end, control characters written out when asked for.
    void AppendMessage(std::string& bytes, std::wstring_view message) const
    {
        if (!escape.load(std::memory_order_relaxed)) return xc::log::AppendOnOneLine(bytes, message);
        std::wstring_view const body = xc::log::WithoutLineEnd(message);
        xc::log::AppendEscaped(bytes, body); // on one line, as no line feed is left
        xc::log::AppendOnOneLine(bytes, message.substr(body.size()));
    }
};

XCLogFileI::~XCLogFileI() = default;

XCLogFile::XCLogFile() : m_data(std::make_unique<Data>()) {}

XCLogFile::~XCLogFile()
{
    Close();
}

XCErrorID XCLogFile::Open(XCString const& path)
{
    std::lock_guard const hold(m_data->section);
    m_data->file.SetTarget(xc::win32::SystemPath(path.View()), xc::log::RecordFile::Start::Append);
    // Under the section: a record of another thread sees the old file or the new one.
    m_data->opened = m_data->file.Open();
    if (m_data->opened) return {};
    return xc::errors::MakeFileError(XCErrLogCannotOpen, path, m_data->file.LastError());
}

bool XCLogFile::IsOpen() const
{
    return m_data->opened.load(std::memory_order_acquire);
}

void XCLogFile::Close()
{
    std::lock_guard const hold(m_data->section);
    m_data->opened = false;
    m_data->file.Close();
}

bool XCLogFile::Flush()
{
    std::lock_guard const hold(m_data->section);
    // A closed log has nothing to lose, so flushing it succeeds.
    return !m_data->opened || m_data->file.Flush();
}

bool XCLogFile::GetAutoFlush() const
{
    return m_data->autoFlush.load(std::memory_order_relaxed);
}

void XCLogFile::SetAutoFlush(bool autoFlush)
{
    m_data->autoFlush.store(autoFlush, std::memory_order_relaxed);
}

void XCLogFile::PutDateTime()
{
    // Not complete: the stamp begins a line that PutString ends.
    m_data->Add(false, [this](std::string& bytes) { bytes += m_data->stamp.Text(); });
}

void XCLogFile::PutString(XCString const& text)
{
    if (text.IsNull()) return;
    m_data->Add(xc::log::EndsInLineFeed(text.View()),
                [&](std::string& bytes) { xc::log::AppendOnOneLine(bytes, text.View()); });
}

void XCLogFile::Log(XCString const& text)
{
    m_data->Add(true, [&](std::string& bytes) {
        bytes += m_data->stamp.Text();
        m_data->AppendMessage(bytes, text.View());
        if (!xc::log::EndsInLineFeed(text.View())) bytes += "\r\n";
    });
}

void XCLogFile::LogArgList(wchar_t const* format, va_list arguments)
{
    if (!format || !IsOpen()) return;
    xc::text::ArgumentListSource source(arguments);
    LogFormatted(format, source);
}

void XCLogFile::WriteArgs(wchar_t const* format, XCFormatArgs const& arguments)
{
    if (!format || !IsOpen()) return;
    xc::text::TypedSource source(arguments);
    LogFormatted(format, source);
}

void XCLogFile::LogFormatted(wchar_t const* format, xc::text::FormatSource& source)
{
    // Formatted outside the section: threads hold each other up for the copy of a line, not for making it.
    wchar_t buffer[xc::log::kFormatUnits];
    std::wstring_view const line = xc::log::FormatMessageLine(buffer, format, source);
    bool const ownEnd = !xc::log::EndsInLineFeed(format);
    m_data->Add(true, [&](std::string& bytes) {
        bytes += m_data->stamp.Text();
        if (!ownEnd || !m_data->escape.load(std::memory_order_relaxed)) return m_data->AppendMessage(bytes, line);
        m_data->AppendMessage(bytes, line.substr(0, line.size() - 2));
        xc::log::AppendOnOneLine(bytes, L"\r\n"); // the record's end, not the message's
    });
}

void XCLogFile::SetEscapeControls(bool escape)
{
    m_data->escape.store(escape, std::memory_order_relaxed);
}

std::uint64_t XCLogFile::GetFailureCount() const noexcept
{
    return m_data->file.GetFailures().Count();
}

XCString XCLogFile::GetLastFailure() const
{
    return m_data->file.GetFailures().Last();
}
