// Saving a configuration file.
#include <XelbrinCore/XCConfig.h>

#include "app/ConfigBytes.h"
#include "app/ConfigErrors.h"
#include "app/ConfigReader.h"
#include "text/Units.h"
#include "win32/FileIo.h"

#include <algorithm>

using xc::app::LazyComments;
using xc::app::LazyText;

namespace {

// What came from the file reads back as it is; only what was set since needs a look.

bool AreSingleLines(LazyComments const& comments)
{
    if (!comments.Part().empty()) return true;
    XCConfigComments const& list = comments.AsList();
    return std::none_of(list.begin(), list.end(),
                        [](XCString const& text) { return text.Find(L'\n') != XCString::npos; });
}

bool HasNo(LazyText const& text, wchar_t unit)
{
    return text.IsPart() || text.AsString().Find(unit) == XCString::npos;
}

/// Whether a reader would take the line for a comment, a section or a blank line.
bool BeginsOtherwise(LazyText const& key) noexcept
{
    if (key.IsPart()) return false;
    std::wstring_view const text = key.View();
    auto const first = std::find_if_not(text.begin(), text.end(),
                                        [](wchar_t unit) { return xc::text::IsBlank(unit) || unit == L'\r'; });
    return first != text.end() && (*first == L';' || *first == L'[' || *first == L'\n');
}

} // namespace

namespace xc::app {

/// Writes the text of a file.
class ConfigWriter {
public:
    ConfigWriter(std::size_t expected, bool crlf)
        : m_buffer(expected), m_room(expected), m_lineEnd(crlf ? L"\r\n" : L"\n")
    {
    }

    void Put(std::wstring_view text)
    {
        if (m_room - m_length < text.size()) Grow(text.size());
        std::copy(text.begin(), text.end(), m_buffer.Units() + m_length);
        m_length += text.size();
    }
    void EndLine() { Put(m_lineEnd); }
    void PutComments(LazyComments const& comments)
    {
        if (comments.Part().empty())
            for (XCString const& comment : comments.AsList()) PutComment(comment);
        std::wstring_view part = comments.Part();
        for (std::wstring_view comment; xc::app::TakeComment(part, comment);) PutComment(comment);
    }
    [[nodiscard]] std::wstring_view Text() noexcept
    {
        m_buffer.SetLength(m_length);
        return m_buffer.View();
    }

private:
    void PutComment(std::wstring_view comment)
    {
        if (!comment.empty()) Put(L";");
        Put(comment);
        EndLine();
    }
    void Grow(std::size_t needed)
    {
        std::wstring_view const old = Text();
        m_room = m_room * 2 + needed;
        xc::app::UnitBuffer larger(m_room);
        std::copy(old.begin(), old.end(), larger.Units());
        m_buffer = std::move(larger);
    }

    xc::app::UnitBuffer m_buffer;
    std::size_t m_room;
    std::size_t m_length = 0;
    std::wstring_view m_lineEnd;
};

} // namespace xc::app

XCErrorID XCConfigFile::CheckReadsBack() const
{
    for (XCConfigSection const& section : m_sections) {
        if (!HasNo(section.m_name, L']') || !AreSingleLines(section.m_comments))
            return xc::app::WouldNotReadBack(section.GetName(), XCString());
        for (XCConfigLine const& line : section.m_lines)
            if (!HasNo(line.m_key, L'=') || !HasNo(line.m_value, L'\n') || BeginsOtherwise(line.m_key) ||
                !AreSingleLines(line.m_comments))
                return xc::app::WouldNotReadBack(section.GetName(), line.GetKey());
    }
    return AreSingleLines(m_endComments) ? XCErrorID::Success : xc::app::WouldNotReadBack(XCString(), XCString());
}

void XCConfigFile::WriteText(xc::app::ConfigWriter& writer) const
{
    for (XCConfigSection const& section : m_sections) {
        writer.PutComments(section.m_comments);
        writer.Put(L"[");
        writer.Put(section.m_name.View());
        writer.Put(L"]");
        writer.EndLine();
        for (XCConfigLine const& line : section.m_lines) {
            writer.PutComments(line.m_comments);
            writer.Put(line.m_key.View());
            writer.Put(L"=");
            writer.Put(line.m_value.View());
            writer.EndLine();
        }
    }
    writer.PutComments(m_endComments);
}

XCErrorID XCConfigFile::Save() const
{
    return Save2(m_fileName);
}

XCErrorID XCConfigFile::Save2(XCString const& fileName) const
{
    constexpr std::size_t kRoomForEdits = 4096;
    XCConfigLock const lock(*this);
    if (m_partlyRead) return xc::app::PartlyRead(m_fileName);
    if (XCErrorID const fault = CheckReadsBack(); fault.Bad()) return fault;

    xc::app::ConfigWriter writer(m_textLength + kRoomForEdits, m_crlf);
    WriteText(writer);
    std::string bytes;
    if (XCErrorID const fault = xc::app::EncodeConfig(bytes, writer.Text(), m_encoding); fault.Bad()) return fault;
    unsigned long const error = xc::win32::ReplaceFileContents(fileName, bytes, *xc::win32::SystemReplaceSteps());
    return error == 0 ? XCErrorID::Success : xc::app::CannotWrite(fileName, error);
}
