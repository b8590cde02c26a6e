// Saving a configuration file.
#include <XelbrinCore/XCConfig.h>

#include "app/config/ConfigErrors.h"
#include "app/config/ConfigReader.h"
#include "encoding/EncodedText.h"
#include "text/Units.h"
#include "win32/FileIo.h"

#include <algorithm>

using xc::config::LazyComments;
using xc::config::LazyText;

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

bool IsSingleLine(LazyText const& value)
{
    return HasNo(value, L'\n') && HasNo(value, L'\r');
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

namespace xc::config {

/// Writes the text of a file as bytes, some lines at a time.
class ConfigWriter {
public:
    ConfigWriter(XCConfigFile::Encoding encoding, bool crlf, std::size_t expected)
        : m_encoding(encoding), m_lineEnd(crlf ? L"\r\n" : L"\n"), m_bytes(encoding::ByteOrderMark(encoding))
    {
        m_bytes.reserve(expected);
    }

    /// The four texts and a line end.
    void PutLine(std::wstring_view a, std::wstring_view b, std::wstring_view c, std::wstring_view d)
    {
        std::size_t const needed = a.size() + b.size() + c.size() + d.size() + m_lineEnd.size();
        if (m_room - m_length < needed) MakeRoom(needed);
        wchar_t* out = m_units.Units() + m_length;
        for (std::wstring_view const text : {a, b, c, d, m_lineEnd}) out = Put(out, text);
        m_length += needed;
    }
    void PutComments(LazyComments const& comments)
    {
        if (comments.Part().empty())
            for (XCString const& comment : comments.AsList()) PutComment(comment);
        std::wstring_view part = comments.Part();
        for (std::wstring_view comment; TakeComment(part, comment);) PutComment(comment);
    }
    /// The bytes of all lines. Bad when the encoding cannot hold one of them.
    XCErrorID Finish(std::string& bytes)
    {
        Flush();
        bytes.swap(m_bytes);
        return m_result;
    }

private:
    static constexpr std::size_t kRoom = 16 * 1024; // units: what the caches hold

    /// Marks and line ends have one unit or two: no call for those.
    static wchar_t* Put(wchar_t* out, std::wstring_view text) noexcept
    {
        if (text.size() > 2) return std::copy(text.begin(), text.end(), out);
        if (!text.empty()) *out++ = text.front();
        if (text.size() == 2) *out++ = text.back();
        return out;
    }
    void PutComment(std::wstring_view comment) { PutLine(comment.empty() ? L"" : L";", comment, {}, {}); }
    void Flush()
    {
        m_units.SetLength(std::exchange(m_length, 0));
        if (m_result.Good()) m_result = encoding::AppendEncoded(m_bytes, m_units.View(), m_encoding);
    }
    void MakeRoom(std::size_t needed)
    {
        Flush();
        if (needed <= m_room) return;
        m_units = encoding::UnitBuffer(needed);
        m_room = needed;
    }

    XCConfigFile::Encoding m_encoding;
    std::wstring_view m_lineEnd;
    std::string m_bytes;
    encoding::UnitBuffer m_units{kRoom};
    std::size_t m_room = kRoom;
    std::size_t m_length = 0;
    XCErrorID m_result;
};

} // namespace xc::config

XCErrorID XCConfigFile::WriteText(xc::config::ConfigWriter& writer) const
{
    for (XCConfigSection const& section : m_sections) {
        if (!HasNo(section.m_name, L']') || !AreSingleLines(section.m_comments))
            return xc::config::WouldNotReadBack(section.GetName(), XCString());
        writer.PutComments(section.m_comments);
        writer.PutLine(L"[", section.m_name.View(), L"]", {});
        for (XCConfigLine const& line : section.m_lines) {
            if (!HasNo(line.m_key, L'=') || !IsSingleLine(line.m_value) || BeginsOtherwise(line.m_key) ||
                !AreSingleLines(line.m_comments))
                return xc::config::WouldNotReadBack(section.GetName(), line.GetKey());
            writer.PutComments(line.m_comments);
            writer.PutLine({}, line.m_key.View(), L"=", line.m_value.View());
        }
    }
    if (!AreSingleLines(m_endComments)) return xc::config::WouldNotReadBack(XCString(), XCString());
    writer.PutComments(m_endComments);
    return XCErrorID::Success;
}

XCErrorID XCConfigFile::Save() const
{
    return SaveAs(m_path, m_fileName);
}

XCErrorID XCConfigFile::Save2(XCString const& fileName) const
{
    return SaveAs(fileName, fileName);
}

XCErrorID XCConfigFile::SaveAs(XCString const& path, XCString const& fileName) const
{
    constexpr std::size_t kRoomForEdits = 4096;
    XCConfigLock const lock(*this);
    if (m_partlyRead) return xc::config::PartlyRead(m_fileName);
    xc::config::ConfigWriter writer(m_encoding, m_crlf, m_textLength + kRoomForEdits);
    if (XCErrorID const fault = WriteText(writer); fault.Bad()) return fault;
    std::string bytes;
    if (XCErrorID const fault = writer.Finish(bytes); fault.Bad()) return fault;
    unsigned long const error =
        xc::win32::ReplaceFileContents(xc::win32::SystemPath(path.View()), bytes, *xc::win32::SystemReplaceSteps());
    return error == 0 ? XCErrorID::Success : xc::config::CannotWrite(fileName, error);
}
