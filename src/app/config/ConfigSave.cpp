// Saving a configuration file: the whole text is made in memory, then put in the place of the old file in one step.
//
// Invariant: what Save reports as saved is read back as the same sections, lines and comments. The format has no way to
// quote, so a text that its reader would cut, trim or take for something else cannot be written; it is refused with
// its place and the reason, and the file on disk stays. The rules below are those of ConfigReader, turned around. They
// are asked for texts that were set since the file was read: a text that still is a part of the file (LazyText) was
// cut by these very rules. Text in the ANSI code page has no mark, so the finished bytes are read once more.
// Lines that stand in the text of the file as they would be written, which most do, are not put together again: they
// join to runs of that text, which are converted as they stand. The others are collected in a buffer that the caches
// hold and converted one buffer at a time, so that a file is never held twice in full. Cost: one pass over the text; no
// allocation for a line that was not changed. Invariant: a run ends with the end of a line, and what the buffer holds
// goes before it.
#include "app/config/ConfigData.h"
#include "app/config/ConfigErrors.h"
#include "app/config/ConfigReader.h"
#include "encoding/EncodedText.h"
#include "text/Units.h"
#include "win32/FileIo.h"
#include "win32/SystemPath.h"

#include <algorithm>
#include <utility>

namespace xc::config {

namespace {

// Each answers null, or the reason why a text would not be read back as it is. What came from the file reads back; only
// what was set since needs a look.

bool Has(std::wstring_view text, wchar_t unit) noexcept
{
    return text.find(unit) != std::wstring_view::npos;
}

wchar_t const* WhyNotComments(LazyComments const& comments)
{
    if (!comments.Part().empty()) return nullptr;
    for (XCString const& text : comments.AsList()) {
        if (Has(text, L'\n')) return L"a comment holds a line feed";
        if (text.View().ends_with(L'\r')) return L"a comment ends in a carriage return, which is lost";
    }
    return nullptr;
}

wchar_t const* WhyNotName(LazyText const& name) noexcept
{
    return !name.IsPart() && Has(name.View(), L']') ? L"the name of the section holds a ]" : nullptr;
}

wchar_t const* WhyNotKey(LazyText const& key) noexcept
{
    std::wstring_view const text = key.View();
    if (key.IsPart() || text.empty()) return nullptr;
    if (Has(text, L'=')) return L"the key holds a =";
    if (kBlankOrReturn(text.front()) || kSpace(text.back())) return L"the key has white space at an end, which is lost";
    if (Has(L";[\n", text.front())) return L"the key begins like a comment, a section or a blank line";
    return nullptr;
}

wchar_t const* WhyNotValue(LazyText const& value) noexcept
{
    std::wstring_view const text = value.View();
    if (value.IsPart() || text.empty()) return nullptr;
    if (Has(text, L'\n') || Has(text, L'\r')) return L"the value holds a line end";
    if (kSpace(text.front()) || kBlank(text.back())) return L"the value has white space at an end, which is lost";
    return nullptr;
}

wchar_t const* FirstOf(wchar_t const* a, wchar_t const* b) noexcept
{
    return a ? a : b;
}

/// Without a byte order mark the next reader takes bytes of the ANSI code page for UTF-8 where they could be that.
bool ReadsAsOtherText(std::string const& bytes)
{
    XCTextEncoding found{};
    // Decoded as a reader would and encoded again: equal bytes mean that the reader has guessed the same encoding, or
    // one that gives the same text.
    std::optional<xc::encoding::UnitBuffer> const text = xc::encoding::DecodeText(bytes, found);
    std::string again;
    return !text || xc::encoding::AppendEncoded(again, text->View(), XCTextEncoding::Ansi).Bad() || again != bytes;
}

} // namespace

/// Writes the text of a file as bytes, some lines at a time.
class ConfigWriter {
public:
    /// @param source the text of the file, as it was read. @param expected bytes.
    ConfigWriter(XCConfigFile::Encoding encoding, bool crlf, std::wstring_view source, std::size_t expected)
        : m_encoding(encoding), m_lineEnd(crlf ? L"\r\n" : L"\n"), m_source(source),
          m_bytes(encoding::ByteOrderMark(encoding))
    {
        m_bytes.reserve(expected);
    }

    /// The four texts and a line end.
    void PutLine(std::wstring_view a, std::wstring_view b, std::wstring_view c, std::wstring_view d)
    {
        EndRun();
        std::size_t const needed = a.size() + b.size() + c.size() + d.size() + m_lineEnd.size();
        // One question a line, not one a text: the five texts are then copied without a look at the room.
        if (m_room - m_length < needed) MakeRoom(needed);
        wchar_t* out = m_units.Units() + m_length;
        for (std::wstring_view const text : {a, b, c, d, m_lineEnd}) out = Put(out, text);
        m_length += needed;
    }
    /// A line of the source, without its end. False, and nothing done, when it ends otherwise there.
    bool PutAsRead(std::wstring_view line)
    {
        auto const end = static_cast<std::size_t>(line.data() - m_source.data()) + line.size();
        std::size_t const after = end + m_lineEnd.size();
        bool const isSame = after <= m_source.size() && m_source[after - 1] == L'\n' &&
                            (m_lineEnd.size() == 1 || m_source[end] == L'\r');
        if (isSame) AddToRun({line.data(), line.size() + m_lineEnd.size()});
        return isSame;
    }
    void PutComments(LazyComments const& comments)
    {
        if (comments.Part().empty())
            for (XCString const& comment : comments.AsList()) PutComment(comment);
        else
            PutCommentPart(comments.Part());
    }
    /// Whole lines of the source: comments and blank lines.
    void PutCommentPart(std::wstring_view part)
    {
        if (part.empty()) return;
        if (IsAsWritten(part)) return AddToRun(part);
        for (std::wstring_view comment; TakeComment(part, comment);) PutComment(comment);
    }
    /// The bytes of all lines. Bad when the encoding cannot hold one of them.
    XCErrorID Finish(std::string& bytes)
    {
        EndRun();
        Flush();
        bytes.swap(m_bytes);
        return m_result;
    }

private:
    static constexpr std::size_t kRoom = 16 * 1024; // units: what the caches hold
    static constexpr std::size_t kShortRun = 512;   // units that are copied faster than converted on their own

    /// Marks and line ends have one unit or two: no call for those.
    static wchar_t* Put(wchar_t* out, std::wstring_view text) noexcept
    {
        if (text.size() > 2) return std::copy(text.begin(), text.end(), out);
        if (!text.empty()) *out++ = text.front();
        if (text.size() == 2) *out++ = text.back();
        return out;
    }
    void PutComment(std::wstring_view comment) { PutLine(comment.empty() ? L"" : L";", comment, {}, {}); }
    /// Whether writing the comments would give the very same units.
    [[nodiscard]] bool IsAsWritten(std::wstring_view part) const noexcept
    {
        std::wstring_view rest = part;
        for (std::wstring_view comment; TakeComment(rest, comment); part = rest) {
            std::wstring_view const line = part.substr(0, part.size() - rest.size());
            bool const isSame = comment.empty() ? line == m_lineEnd
                                                : comment.data() == line.data() + 1 && line.back() == L'\n' &&
                                                      line.size() == 1 + comment.size() + m_lineEnd.size();
            if (!isSame) return false;
        }
        return rest.empty();
    }
    /// Whole lines of the source.
    void AddToRun(std::wstring_view lines)
    {
        if (m_run.data() + m_run.size() != lines.data()) {
            EndRun();
            m_run = {lines.data(), 0};
        }
        m_run = {m_run.data(), m_run.size() + lines.size()};
        if (m_run.size() >= kRoom) EndRun();
    }
    void EndRun()
    {
        if (m_run.empty()) return;
        std::wstring_view const run = std::exchange(m_run, {});
        if (run.size() > kShortRun) {
            Flush();
            return Convert(run);
        }
        if (m_room - m_length < run.size()) MakeRoom(run.size());
        std::copy(run.begin(), run.end(), m_units.Units() + m_length);
        m_length += run.size();
    }
    void Flush()
    {
        m_units.SetLength(std::exchange(m_length, 0));
        Convert(m_units.View());
    }
    void Convert(std::wstring_view text)
    {
        // The first fault stays: what follows it is not converted any more.
        if (m_result.Good()) m_result = encoding::AppendEncoded(m_bytes, text, m_encoding);
    }
    void MakeRoom(std::size_t needed)
    {
        Flush();
        if (needed <= m_room) return;
        // A line longer than the buffer gets one of its own size, which then serves for the rest of the file.
        m_units = encoding::UnitBuffer(needed);
        m_room = needed;
    }

    XCConfigFile::Encoding m_encoding;
    std::wstring_view m_lineEnd;
    std::wstring_view m_source;
    std::wstring_view m_run; ///< lines of the source that follow what was put before
    std::string m_bytes;
    encoding::UnitBuffer m_units{kRoom};
    std::size_t m_room = kRoom;
    std::size_t m_length = 0;
    XCErrorID m_result;
};

namespace {

XCErrorID WriteOwn(ConfigWriter& writer, SectionData const& section, LineTexts const& line)
{
    if (auto const* const why =
            FirstOf(FirstOf(WhyNotKey(line.key), WhyNotValue(line.value)), WhyNotComments(line.comments)))
        return WouldNotReadBack(section.name.AsString(), line.key.AsString(), why);
    writer.PutComments(line.comments);
    writer.PutLine({}, line.key.View(), L"=", line.value.View());
    return {};
}

/// A line as it was read, which reads back.
void WritePart(ConfigWriter& writer, LineData const& line)
{
    writer.PutCommentPart(line.CommentPart());
    // The sign alone may stand between key and value: blanks there are not written again.
    if (line.GapUnits() == 1 && writer.PutAsRead(line.KeyToValue())) return;
    writer.PutLine({}, line.Key(), L"=", line.Value());
}

/// The name between its brackets.
void WriteHeader(ConfigWriter& writer, LazyText const& name)
{
    std::wstring_view const text = name.View();
    if (name.IsPart() && writer.PutAsRead({text.data() - 1, text.size() + 2})) return;
    writer.PutLine(L"[", text, L"]", {});
}

XCErrorID WriteSection(ConfigWriter& writer, SectionData const& section)
{
    if (auto const* const why = FirstOf(WhyNotName(section.name), WhyNotComments(section.comments)))
        return WouldNotReadBack(section.name.AsString(), XCString(), why);
    writer.PutComments(section.comments);
    WriteHeader(writer, section.name);
    LineTexts const none;
    for (XCConfigLine const& part : section.lines) {
        LineData const& line = Access::Of(part);
        if (line.IsPart())
            WritePart(writer, line);
        else if (XCErrorID fault = WriteOwn(writer, section, line.OwnTexts() ? *line.OwnTexts() : none); fault.Bad())
            return fault;
    }
    return XCErrorID::Success;
}

XCErrorID WriteText(ConfigWriter& writer, FileData const& file)
{
    for (XCConfigSection const& section : file.sections)
        if (XCErrorID const fault = WriteSection(writer, Access::Of(section)); fault.Bad()) return fault;
    if (auto const* const why = WhyNotComments(file.endComments)) return WouldNotReadBack(XCString(), XCString(), why);
    writer.PutComments(file.endComments);
    return XCErrorID::Success;
}

/// Writes the file to `path`, which messages call `fileName`.
XCErrorID SaveAs(XCConfigFile const& file, XCString const& path, XCString const& fileName)
{
    constexpr std::size_t kRoomForEdits = 4096;
    XCConfigLock const lock(file);
    FileData const& data = Access::Of(file);
    // What could not be read is not in memory: writing now would delete it.
    if (data.partlyRead) return PartlyRead(data.fileName);
    ConfigWriter writer(data.encoding, data.crlf, {data.text.get(), data.textLength}, data.textLength + kRoomForEdits);
    if (XCErrorID const fault = WriteText(writer, data); fault.Bad()) return fault;
    std::string bytes;
    if (XCErrorID const fault = writer.Finish(bytes); fault.Bad()) return fault;
    if (data.encoding == XCTextEncoding::Ansi && ReadsAsOtherText(bytes))
        return WouldNotReadBack(XCString(), XCString(), L"these bytes would be read as UTF-8");
    unsigned long const error =
        win32::ReplaceFileContents(win32::SystemPath(path.View()), bytes, *win32::SystemReplaceSteps());
    return error == 0 ? XCErrorID::Success : CannotWrite(fileName, error);
}

} // namespace

} // namespace xc::config

XCErrorID XCConfigFile::Save() const
{
    return xc::config::SaveAs(*this, m_data->path, m_data->fileName);
}

XCErrorID XCConfigFile::Save2(XCString const& fileName) const
{
    return xc::config::SaveAs(*this, fileName, fileName);
}
