#include <XelbrinCore/XCConfig.h>

#include "app/config/ConfigErrors.h"
#include "app/config/ConfigReader.h"
#include "app/config/NodePool.h"
#include "encoding/EncodedText.h"
#include "text/NameIndex.h"
#include "text/NumberText.h"
#include "win32/FileIo.h"

XCConfigStreamException::XCConfigStreamException(XCString const& message, XCString const& fileName, std::size_t line,
                                                 std::size_t column)
    : XCException(message), m_fileName(fileName), m_line(line), m_column(column)
{
}
XCConfigStreamException::~XCConfigStreamException() = default;

using xc::config::LazyComments;
using xc::config::LazyText;

namespace {

constexpr std::size_t kFewSections = 8; // that are looked through faster than hashed
constexpr wchar_t kMalformed[] = L"malformed text in a configuration file";

} // namespace

struct XCConfigFile::Index {
    static std::wstring_view NameOf(XCConfigSection const& section) noexcept { return section.m_name.View(); }
    xc::text::NameIndex<iterator, NameOf> table;
};

XCConfigFile::XCConfigFile(XCString fileName)
    : m_fileName(std::move(fileName)), m_path(xc::win32::SystemPath(m_fileName.View()).Text()),
      m_memory(new xc::config::NodePool), m_sections(m_memory.get())
{
}

XCConfigFile::~XCConfigFile() = default;

// Locking -------------------------------------------------------------------------------------------------------

void XCConfigFile::Lock() const
{
    m_lock.Lock();
    ++m_lockDepth;
}

void XCConfigFile::Unlock() const
{
    if (m_everRemovedLocks.load(std::memory_order_relaxed) && !IsLockedByCaller()) return;
    --m_lockDepth;
    m_lock.Unlock();
}

bool XCConfigFile::IsLockedByCaller() const noexcept
{
    if (!m_lock.TryLock()) return false; // another thread holds it
    bool const locked = m_lockDepth > 0;
    m_lock.Unlock();
    return locked;
}

void XCConfigFile::RemoveAllLocks() const
{
    if (!m_lock.TryLock()) return; // another thread holds it
    m_everRemovedLocks.store(true, std::memory_order_relaxed);
    for (XCConfigSection const& section : m_sections) {
        section.ForgetLocks();
        for (XCConfigLine const& line : section.m_lines) line.ForgetLocks();
    }
    for (; m_lockDepth > 0; --m_lockDepth) m_lock.Unlock();
    m_lock.Unlock();
}

// Reading -------------------------------------------------------------------------------------------------------

XCSmartPtr<XCConfigFile> XCConfigFile::Load(XCString const& fileName, XCErrorID* whyNot)
{
    XCSmartPtr<XCConfigFile> file(new XCConfigFile(fileName));
    XCErrorID const result = file->Reload();
    if (whyNot) *whyNot = result;
    return result.Good() ? file : XCSmartPtr<XCConfigFile>();
}

XCErrorID XCConfigFile::Reload()
{
    std::string bytes;
    if (unsigned long const error = xc::win32::ReadWholeFile(xc::win32::SystemPath(m_path.View()), bytes))
        return xc::config::CannotRead(m_fileName, error);
    XCConfigLock const lock(*this);
    Read(bytes);
    return XCErrorID::Success;
}

void XCConfigFile::Read(std::string const& bytes)
{
    Empty();
    m_partlyRead = true;
    std::optional<xc::encoding::UnitBuffer> text = xc::encoding::DecodeText(bytes, m_encoding);
    if (!text) {
        xc::encoding::UnitBuffer const start = xc::encoding::DecodeStart(bytes, m_encoding);
        xc::config::LineAndColumn const place = xc::config::Locate(start.View(), start.View().size());
        throw XCConfigStreamException(kMalformed, m_fileName, place.line, place.column);
    }
    std::wstring_view const view = text->View();
    m_text = text->Release();
    m_textLength = view.size();
    ReadSections(view);
    m_partlyRead = false;
}

void XCConfigFile::ReadSections(std::wstring_view text)
try {
    using Part = xc::config::ConfigReader::Part;
    xc::config::ConfigReader reader(text);
    XCConfigSection* section = nullptr;
    for (Part part = reader.Next(); part != Part::End; part = reader.Next()) {
        if (part == Part::Section) {
            section = &Adopt(m_sections.emplace_back(XCString(), m_memory.get()));
            section->m_comments = LazyComments(reader.Comments());
            section->m_name = LazyText(reader.Name());
        } else {
            XCConfigLine& line = section->Append();
            line.m_comments = LazyComments(reader.Comments());
            line.m_key = LazyText(reader.Name());
            line.m_value = reader.ValueIsPart() ? LazyText(reader.Value()) : LazyText(XCString(reader.Value()));
        }
    }
    m_endComments = LazyComments(reader.Comments());
    m_crlf = reader.EndsInCrLf();
} catch (xc::config::ConfigSyntaxError const& error) {
    xc::config::LineAndColumn const place = xc::config::Locate(text, error.position);
    throw XCConfigStreamException(error.message, m_fileName, place.line, place.column);
}

void XCConfigFile::Empty() noexcept
{
    ForgetIndex();
    m_sections.clear();
    m_endComments = {};
    m_text.reset();
    m_textLength = 0;
}

XCConfigFile::Encoding XCConfigFile::GetEncoding() const
{
    XCConfigLock const lock(*this);
    return m_encoding;
}

void XCConfigFile::SetEncoding(Encoding encoding)
{
    XCConfigLock const lock(*this);
    m_encoding = encoding;
}

// Lookups and values --------------------------------------------------------------------------------------------

XCConfigFile::iterator XCConfigFile::Find(std::wstring_view name)
{
    if (!m_index && m_sections.size() > kFewSections)
        m_index.reset(new Index{{m_sections.begin(), m_sections.end(), m_sections.size()}});
    if (m_index) return m_index->table.Find(name);
    auto const isThis = [&](XCConfigSection const& section) {
        return xc::text::IsSameNameFolded(section.m_name.View(), name);
    };
    return std::find_if(m_sections.begin(), m_sections.end(), isThis);
}

XCConfigLine const* XCConfigFile::FindValue(std::wstring_view section, std::wstring_view key) const
{
    auto* const self = const_cast<XCConfigFile*>(this); // the indices change under the lock only
    iterator const found = self->Find(section);
    if (found == self->m_sections.end()) return nullptr;
    XCConfigSection::iterator const line = found->Find(key);
    return line == found->m_lines.end() ? nullptr : &*line;
}

XCString XCConfigFile::GetString(XCString const& section, XCString const& key, XCString const& defaultValue) const
{
    XCConfigLock const lock(*this);
    XCConfigLine const* const line = FindValue(section, key);
    return line ? line->m_value.AsString() : defaultValue;
}

long XCConfigFile::GetLong(XCString const& section, XCString const& key, long defaultValue) const
{
    XCConfigLock const lock(*this);
    XCConfigLine const* const line = FindValue(section, key);
    return line ? line->m_value.AsString().AsLong() : defaultValue;
}

void XCConfigFile::SetString(XCString const& section, XCString const& key, XCString const& value)
{
    XCConfigLock const lock(*this);
    iterator const found = Find(section);
    XCConfigSection& target = found == m_sections.end() ? AddSection(section) : *found;
    XCConfigSection::iterator const line = target.Find(key);
    if (line == target.m_lines.end())
        target.AddLine(key, value);
    else
        line->m_value = LazyText(value);
}

void XCConfigFile::SetLong(XCString const& section, XCString const& key, long value)
{
    SetString(section, key, xc::text::NumberText(value));
}

// Sections ------------------------------------------------------------------------------------------------------

void XCConfigSection::SetName(XCString const& name)
{
    XCConfigLock const lock(*this);
    m_name = LazyText(name);
    if (m_file) m_file->ForgetIndex();
}

XCConfigSection* XCConfigFile::FindSection(XCString const& name)
{
    XCConfigLock const lock(*this);
    iterator const found = Find(name);
    return found == m_sections.end() ? nullptr : &*found;
}

XCConfigSection const* XCConfigFile::FindSection(XCString const& name) const
{
    return const_cast<XCConfigFile*>(this)->FindSection(name);
}

void XCConfigFile::ForgetIndex() noexcept
{
    m_index.reset();
}

/// Takes a section in that was just put at the end of the list; it is not yet in the index.
XCConfigSection& XCConfigFile::Adopt(XCConfigSection& section)
{
    section.SetOwner(this);
    section.m_file = this;
    return section;
}

XCConfigSection& XCConfigFile::AddSection(XCString const& name)
{
    XCConfigLock const lock(*this);
    return AddSection(XCConfigSection(name));
}

XCConfigSection& XCConfigFile::AddSection(XCConfigSection const& section)
{
    XCConfigSection const copy(section); // two locks are never held at once
    XCConfigLock const lock(*this);
    std::unique_ptr<Index> index = std::move(m_index); // lost when adding fails: the next lookup makes a new one
    XCConfigSection& added = Adopt(m_sections.emplace_back(copy, m_memory.get()));
    if (index) index->table.Add(std::prev(m_sections.end()));
    m_index = std::move(index);
    return added;
}

XCConfigFile::iterator XCConfigFile::DeleteSection(iterator where)
{
    XCConfigLock const lock(*this);
    if (where == m_sections.end()) return where;
    if (m_index) m_index->table.Remove(where);
    return m_sections.erase(where);
}

bool XCConfigFile::DeleteSection(XCString const& name)
{
    XCConfigLock const lock(*this);
    iterator const found = Find(name);
    if (found == m_sections.end()) return false;
    DeleteSection(found);
    return true;
}

XCConfigComments& XCConfigFile::GetEndComments()
{
    XCConfigLock const lock(*this);
    return m_endComments.Edit();
}

XCConfigComments const& XCConfigFile::GetEndComments() const
{
    XCConfigLock const lock(*this);
    return m_endComments.AsList();
}

void XCConfigFile::Clear()
{
    XCConfigLock const lock(*this);
    Empty();
}

std::size_t XCConfigFile::GetSize() const
{
    XCConfigLock const lock(*this);
    return m_sections.size();
}
