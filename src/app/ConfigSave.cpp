// Saving a configuration file.
#include <XelbrinCore/XCConfig.h>

#include "app/ConfigBytes.h"
#include "app/ConfigErrors.h"
#include "text/Units.h"
#include "win32/FileIo.h"

#include <algorithm>

namespace {

/// Counts the units that UnitWriter writes.
class UnitCounter {
public:
    void Put(std::wstring_view text) noexcept { m_count += text.size(); }
    [[nodiscard]] std::size_t Count() const noexcept { return m_count; }

private:
    std::size_t m_count = 0;
};

/// Writes units one text behind the other.
class UnitWriter {
public:
    explicit UnitWriter(wchar_t* out) noexcept : m_out(out) {}
    void Put(std::wstring_view text) noexcept { m_out = std::copy(text.begin(), text.end(), m_out); }

private:
    wchar_t* m_out;
};

template <class Sink>
void WriteComments(Sink& sink, XCConfigComments const& comments, std::wstring_view lineEnd)
{
    for (XCString const& text : comments) {
        if (!text.IsNull()) sink.Put(L";");
        sink.Put(text);
        sink.Put(lineEnd);
    }
}

bool AreSingleLines(XCConfigComments const& comments)
{
    return std::none_of(comments.begin(), comments.end(),
                        [](XCString const& text) { return text.Find(L'\n') != XCString::npos; });
}

/// Whether a reader would take the line for a comment, a section or a blank line.
bool BeginsOtherwise(XCString const& key) noexcept
{
    auto const first =
        std::find_if_not(key.begin(), key.end(), [](wchar_t unit) { return xc::text::IsBlank(unit) || unit == L'\r'; });
    return first != key.end() && (*first == L';' || *first == L'[' || *first == L'\n');
}

bool ReadsBack(XCString const& key, XCString const& value, XCConfigComments const& comments)
{
    return key.Find(L'=') == XCString::npos && value.Find(L'\n') == XCString::npos && !BeginsOtherwise(key) &&
           AreSingleLines(comments);
}

} // namespace

XCErrorID XCConfigFile::CheckReadsBack() const
{
    for (XCConfigSection const& section : m_sections) {
        if (section.m_name.Find(L']') != XCString::npos || !AreSingleLines(section.m_comments))
            return xc::app::WouldNotReadBack(section.m_name, XCString());
        for (XCConfigLine const& line : section.m_lines)
            if (!ReadsBack(line.m_key, line.m_value, line.m_comments))
                return xc::app::WouldNotReadBack(section.m_name, line.m_key);
    }
    return AreSingleLines(m_endComments) ? XCErrorID::Success : xc::app::WouldNotReadBack(XCString(), XCString());
}

template <class Sink>
void XCConfigFile::WriteText(Sink& sink) const
{
    std::wstring_view const lineEnd = m_crlf ? L"\r\n" : L"\n";
    for (XCConfigSection const& section : m_sections) {
        WriteComments(sink, section.m_comments, lineEnd);
        sink.Put(L"[");
        sink.Put(section.m_name);
        sink.Put(L"]");
        sink.Put(lineEnd);
        for (XCConfigLine const& line : section.m_lines) {
            WriteComments(sink, line.m_comments, lineEnd);
            sink.Put(line.m_key);
            sink.Put(L"=");
            sink.Put(line.m_value);
            sink.Put(lineEnd);
        }
    }
    WriteComments(sink, m_endComments, lineEnd);
}

XCErrorID XCConfigFile::Save() const
{
    return Save2(m_fileName);
}

XCErrorID XCConfigFile::Save2(XCString const& fileName) const
{
    XCConfigLock const lock(*this);
    if (m_partlyRead) return xc::app::PartlyRead(m_fileName);
    if (XCErrorID const fault = CheckReadsBack(); fault.Bad()) return fault;

    UnitCounter counter;
    WriteText(counter);
    xc::app::UnitBuffer text(counter.Count());
    UnitWriter writer(text.Units());
    WriteText(writer);
    text.SetLength(counter.Count());

    std::string bytes;
    if (XCErrorID const fault = xc::app::EncodeConfig(bytes, text.View(), m_encoding); fault.Bad()) return fault;
    unsigned long const error = xc::win32::ReplaceFileContents(fileName, bytes, *xc::win32::SystemReplaceSteps());
    return error == 0 ? XCErrorID::Success : xc::app::CannotWrite(fileName, error);
}
