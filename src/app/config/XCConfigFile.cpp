// A configuration file in memory: reading, lookups, sections, and the lock of the whole.
//
// The text of the file is decoded once and kept; the reader (ConfigReader) cuts it into parts, which stay views
// (ConfigData.h). Invariant: sections, their lines and the end comments change under the lock of the file only, and so
// do the indices that lookups make. Reading empties the file first: text that the old parts show must not go before
// them. A read that fails half-way leaves what stood before the fault and a mark that Save refuses.
#include "app/config/ConfigData.h"
#include "app/config/ConfigErrors.h"
#include "app/config/ConfigReader.h"
#include "encoding/EncodedText.h"
#include "text/NumberText.h"
#include "win32/FileIo.h"
#include "win32/SystemPath.h"

#include <cstring>

using xc::config::Access;
using xc::config::ByHalves;
using xc::config::FileData;
using xc::config::LazyComments;
using xc::config::LazyText;
using xc::config::LineData;

XCConfigStreamException::XCConfigStreamException(XCString const& message, XCString const& fileName, std::size_t line,
                                                 std::size_t column)
    : XCException(message), m_fileName(fileName), m_line(line), m_column(column)
{
}
XCConfigStreamException::~XCConfigStreamException() = default;

XCConfigI::~XCConfigI() = default;

namespace xc::config {

namespace {

constexpr std::size_t kFewSections = 8; // that are looked through faster than hashed
constexpr wchar_t kMalformed[] = L"malformed text in a configuration file";

} // namespace

struct SectionIndex {
    text::NameIndex<Sections::iterator, NameOf> table;
};

// The path is made full at once: a program that changes its current directory later still reads and saves the same
// file. The name stays as it was given, for messages and GetFileName.
FileData::FileData(XCString name)
    : fileName(std::move(name)), path(win32::SystemPath(fileName.View()).Text()), sections(&memory)
{
}
FileData::~FileData() = default;

Sections::iterator FindSection(XCConfigFile& file, std::wstring_view const& name)
{
    FileData& data = Access::Of(file);
    Sections& sections = data.sections;
    // Made by the first lookup and not by reading: a program that only walks over a file never pays for it.
    if (!data.index && sections.size() > kFewSections)
        data.index.reset(new SectionIndex{{sections.begin(), sections.end(), sections.size()}});
    return data.index ? data.index->table.Find(name) : FindAmongFew(sections.begin(), sections.end(), name, NameOf);
}

void ForgetIndex(XCConfigFile* file) noexcept
{
    if (file) Access::Of(*file).index.reset();
}

namespace {

/// A new section at the end of the list, not yet in the index.
XCConfigSection& AppendSection(XCConfigFile& file)
{
    FileData& data = Access::Of(file);
    XCConfigSection& section = data.sections.emplace_back(FileMemory{&data.memory});
    // The owner is for locks, the back pointer for the index that a new name makes wrong.
    section.SetOwner(&file);
    Access::Of(section).file = &file;
    return section;
}

void Empty(XCConfigFile& file) noexcept
{
    FileData& data = Access::Of(file);
    // The order matters: the index points to sections, and sections show the text.
    data.index.reset();
    data.sections.clear();
    data.endComments = {};
    data.text.reset();
    data.textLength = 0;
}

void ReadLine(LineData& line, ConfigReader const& reader, std::wstring_view text)
{
    if (reader.ValueIsPart() && line.SetPart(text, reader.Comments(), reader.Name(), reader.Value())) return;
    LineTexts& texts = line.Texts();
    texts.comments = LazyComments(reader.Comments());
    texts.key = LazyText(reader.Name());
    texts.position = static_cast<std::size_t>(reader.Name().data() - text.data());
    // A value from which carriage returns were removed stands in the reader, not in the text: it is copied.
    texts.value = reader.ValueIsPart() ? LazyText(reader.Value()) : LazyText(XCString(reader.Value()));
}

/// Makes the sections and lines of the text, which lives as long as they do.
void ReadParts(XCConfigFile& file, ConfigReader& reader)
{
    using Part = ConfigReader::Part;
    FileData& data = Access::Of(file);
    std::wstring_view const text(data.text.get(), data.textLength);
    XCConfigSection* section = nullptr;
    for (Part part = reader.Next(); part != Part::End; part = reader.Next()) {
        if (part == Part::Section) {
            section = &AppendSection(file);
            Access::Of(*section).comments = LazyComments(reader.Comments());
            Access::Of(*section).name = LazyText(reader.Name());
            Access::Of(*section).text = text.data();
        } else {
            ReadLine(Access::Of(AppendLine(*section)), reader, text);
        }
    }
    data.endComments = LazyComments(reader.Comments());
    data.crlf = reader.EndsInCrLf();
}

/// Replaces the content by that of the text, `length` units, which the file takes over.
void ReadText(XCConfigFile& file, std::unique_ptr<wchar_t[]> text, std::size_t length)
{
    FileData& data = Access::Of(file);
    Empty(file);
    // Set first and cleared last, so that every way out between them, out of memory too, leaves the mark: Save must not
    // overwrite a file with the half of it that could be read.
    data.partlyRead = true;
    data.text = std::move(text);
    data.textLength = length;
    std::wstring_view const view(data.text.get(), length);
    ConfigReader reader(view);
    try {
        ReadParts(file, reader);
    } catch (ConfigSyntaxError const& error) {
        LineAndColumn const place = Locate(view, error.position);
        throw XCConfigStreamException(error.message, data.fileName, place.line, place.column);
    }
    data.partlyRead = false;
}

void ReadBytes(XCConfigFile& file, std::string_view bytes)
{
    FileData& data = Access::Of(file);
    if (std::optional<encoding::UnitBuffer> text = encoding::DecodeText(bytes, data.encoding)) {
        std::size_t const length = text->View().size();
        return ReadText(file, text->Release(), length);
    }
    Empty(file);
    data.partlyRead = true;
    // The place of malformed bytes is told as for any other fault, by line and column; units up to the first bad byte
    // are enough for that.
    encoding::UnitBuffer const readable = encoding::DecodeStart(bytes, data.encoding);
    LineAndColumn const place = Locate(readable.View(), readable.View().size());
    throw XCConfigStreamException(kMalformed, data.fileName, place.line, place.column);
}

/// Whether the calling thread holds the lock.
// The lock admits its owner again, so that TryLock fails for other threads only; a depth above zero then tells the
// owner from a newcomer.
bool IsLockedByCaller(FileData& data) noexcept
{
    if (!data.lock.TryLock()) return false; // another thread holds it
    bool const locked = data.lockDepth > 0;
    data.lock.Unlock();
    return locked;
}

} // namespace

} // namespace xc::config

XCConfigFile::XCConfigFile(XCString fileName) : m_data(new FileData(std::move(fileName))) {}

XCConfigFile::~XCConfigFile() = default;

// Locking -------------------------------------------------------------------------------------------------------

void XCConfigFile::Lock() const
{
    m_data->lock.Lock();
    ++m_data->lockDepth;
}

void XCConfigFile::Unlock() const
{
    // After RemoveAllLocks the XCConfigLock objects that are still alive unlock once more each. The mark keeps this
    // question, which takes the lock, off the path of all the files where that was never called.
    if (m_data->everRemovedLocks.load(std::memory_order_relaxed) && !xc::config::IsLockedByCaller(*m_data)) return;
    --m_data->lockDepth;
    m_data->lock.Unlock();
}

void XCConfigFile::RemoveAllLocks() const
{
    FileData& data = *m_data;
    if (!data.lock.TryLock()) return; // another thread holds it
    data.everRemovedLocks.store(true, std::memory_order_relaxed);
    for (XCConfigSection const& section : data.sections) {
        // The parts forget their counts without unlocking: the loop after this one releases the file as often as it was
        // locked.
        section.ForgetLocks();
        for (XCConfigLine const& line : section) line.ForgetLocks();
    }
    for (; data.lockDepth > 0; --data.lockDepth) data.lock.Unlock();
    data.lock.Unlock();
}

// Reading -------------------------------------------------------------------------------------------------------

XCSmartPtr<XCConfigFile> XCConfigFile::Load(XCString const& fileName, XCErrorID* whyNot)
{
    XCSmartPtr<XCConfigFile> file(new XCConfigFile(fileName));
    // Malformed text throws through here, and the file goes with the exception: nobody gets half of one.
    XCErrorID const result = file->Reload();
    if (whyNot) *whyNot = result;
    return result.Good() ? file : XCSmartPtr<XCConfigFile>();
}

XCSmartPtr<XCConfigFile> XCConfigFile::FromText(std::wstring_view text, XCString const& fileName)
{
    XCSmartPtr<XCConfigFile> file(new XCConfigFile(fileName));
    // The caller's text may end with the call; the parts show the copy.
    auto copy = std::make_unique_for_overwrite<wchar_t[]>(text.size() + 1);
    if (!text.empty()) std::memcpy(copy.get(), text.data(), text.size() * sizeof(wchar_t));
    xc::config::ReadText(*file, std::move(copy), text.size());
    return file;
}

XCSmartPtr<XCConfigFile> XCConfigFile::FromBytes(std::string_view bytes, XCString const& fileName)
{
    XCSmartPtr<XCConfigFile> file(new XCConfigFile(fileName));
    xc::config::ReadBytes(*file, bytes);
    return file;
}

XCErrorID XCConfigFile::Reload()
{
    // Read before the lock is taken: other threads are served from the old content while the disk works, and an
    // unreadable file changes nothing.
    std::string bytes;
    if (unsigned long const error = xc::win32::ReadWholeFile(xc::win32::SystemPath(m_data->path.View()), bytes))
        return xc::config::CannotRead(m_data->fileName, error);
    XCConfigLock const lock(*this);
    xc::config::ReadBytes(*this, bytes);
    return XCErrorID::Success;
}

XCString XCConfigFile::GetFileName() const
{
    return m_data->fileName;
}

XCConfigFile::Encoding XCConfigFile::GetEncoding() const
{
    XCConfigLock const lock(*this);
    return m_data->encoding;
}

void XCConfigFile::SetEncoding(Encoding encoding)
{
    XCConfigLock const lock(*this);
    m_data->encoding = encoding;
}

// Lookups and values --------------------------------------------------------------------------------------------

XCConfigLine const* xc::config::FindLine(XCConfigFile const& file, std::wstring_view const& section,
                                         std::wstring_view const& key)
{
    auto& self = const_cast<XCConfigFile&>(file); // the indices change under the lock only
    auto const found = FindSection(self, section);
    if (found == self.GetSectionsEnd()) return nullptr;
    auto const line = FindLine(*found, key);
    return line == found->GetLinesEnd() ? nullptr : &*line;
}

XCString XCConfigFile::GetString(std::wstring_view section, std::wstring_view key, std::wstring_view defaultValue) const
{
    XCConfigLock const lock(*this);
    XCConfigLine const* const line = xc::config::FindLine(*this, ByHalves(section), ByHalves(key));
    return line ? xc::config::ValueString(*line) : XCString(ByHalves(defaultValue));
}

long XCConfigFile::GetLong(std::wstring_view section, std::wstring_view key, long defaultValue) const
{
    XCConfigLock const lock(*this);
    XCConfigLine const* const line = xc::config::FindLine(*this, ByHalves(section), ByHalves(key));
    return line ? xc::config::ValueString(*line).AsLong() : defaultValue;
}

void XCConfigFile::SetString(std::wstring_view section, std::wstring_view key, XCString const& value)
{
    XCConfigLock const lock(*this);
    iterator const found = xc::config::FindSection(*this, section);
    // Missing parts are made on the way: a setting can be stored without asking first whether its place exists.
    XCConfigSection& target = found == GetSectionsEnd() ? AddSection(XCString(section)) : *found;
    XCConfigSection::iterator const line = xc::config::FindLine(target, key);
    if (line == target.GetLinesEnd())
        target.AddLine(XCString(key), value);
    else
        Access::Of(*line).Texts().value = LazyText(value);
}

void XCConfigFile::SetLong(std::wstring_view section, std::wstring_view key, long value)
{
    SetString(section, key, xc::text::NumberText(value));
}

// Sections ------------------------------------------------------------------------------------------------------

XCConfigSection* XCConfigFile::FindSection(std::wstring_view name)
{
    XCConfigLock const lock(*this);
    iterator const found = xc::config::FindSection(*this, name);
    return found == GetSectionsEnd() ? nullptr : &*found;
}

XCConfigSection const* XCConfigFile::FindSection(std::wstring_view name) const
{
    return const_cast<XCConfigFile*>(this)->FindSection(name);
}

XCConfigSection& XCConfigFile::AddSection(XCString const& name)
{
    XCConfigLock const lock(*this);
    return AddSection(XCConfigSection(name));
}

XCConfigSection& XCConfigFile::AddSection(XCConfigSection const& section)
{
    return AddSection(XCConfigSection(section));
}

XCConfigSection& XCConfigFile::AddSection(XCConfigSection&& section)
{
    XCConfigSection copy(std::move(section)); // two locks are never held at once
    XCConfigLock const lock(*this);
    auto index = std::move(m_data->index); // lost when adding fails: the next lookup makes a new one
    // Appended empty and filled then, since filling needs the owner: when memory runs out the empty section goes again.
    XCConfigSection& added = xc::config::AppendSection(*this);
    try {
        added = std::move(copy);
    } catch (...) {
        m_data->sections.pop_back();
        throw;
    }
    if (index) index->table.Add(std::prev(m_data->sections.end()));
    m_data->index = std::move(index);
    return added;
}

XCConfigFile::iterator XCConfigFile::DeleteSection(iterator where)
{
    XCConfigLock const lock(*this);
    if (where == m_data->sections.end()) return where;
    // Before the section goes: the table compares its name.
    if (m_data->index) m_data->index->table.Remove(where);
    return m_data->sections.erase(where);
}

bool XCConfigFile::DeleteSection(std::wstring_view name)
{
    XCConfigLock const lock(*this);
    iterator const found = xc::config::FindSection(*this, name);
    if (found == GetSectionsEnd()) return false;
    DeleteSection(found);
    return true;
}

XCConfigComments& XCConfigFile::GetEndComments()
{
    XCConfigLock const lock(*this);
    return m_data->endComments.Edit();
}

XCConfigComments const& XCConfigFile::GetEndComments() const
{
    XCConfigLock const lock(*this);
    return m_data->endComments.AsList();
}

void XCConfigFile::Clear()
{
    XCConfigLock const lock(*this);
    xc::config::Empty(*this);
}

std::size_t XCConfigFile::GetSize() const
{
    XCConfigLock const lock(*this);
    return m_data->sections.size();
}

XCConfigFile::iterator XCConfigFile::GetSectionsBegin() noexcept
{
    return m_data->sections.begin();
}

XCConfigFile::iterator XCConfigFile::GetSectionsEnd() noexcept
{
    return m_data->sections.end();
}

XCConfigFile::const_iterator XCConfigFile::GetSectionsBegin() const noexcept
{
    return m_data->sections.begin();
}

XCConfigFile::const_iterator XCConfigFile::GetSectionsEnd() const noexcept
{
    return m_data->sections.end();
}
