// One message file on its own, for tools that check translations.
//
// The file is a handle on the same table that a library uses (MessageTable.h), so that a tool refuses what the library
// would. Without a table (nothing opened, or a file that could not be read) every question has its neutral answer.
#include "encoding/MessageTable.h"
#include "errors/CoreError.h"

#include <XelbrinCore/XCMessageLibrary.h>

#include <cstring>

XCMessageLibraryFile::XCMessageLibraryFile() noexcept = default;
XCMessageLibraryFile::XCMessageLibraryFile(XCMessageLibraryFile&& other) noexcept = default;
XCMessageLibraryFile& XCMessageLibraryFile::operator=(XCMessageLibraryFile&& other) noexcept = default;
XCMessageLibraryFile::~XCMessageLibraryFile() = default;

XCString XCMessageLibraryFile::GetFileName(XCString const& library, XCString const& language)
{
    return library + L"." + language + L".LAN";
}

XCErrorID XCMessageLibraryFile::Open(XCString const& path)
{
    // First, so that a failure does not leave the texts of another file under the new name.
    m_table.Clear();
    m_faults.clear();
    return xc::encoding::MessageTable::Open(path, m_table, m_faults);
}

XCErrorID XCMessageLibraryFile::Read(std::string_view bytes, XCString const& name)
{
    m_table.Clear();
    m_faults.clear();
    xc::encoding::FileBytes owned{std::make_unique_for_overwrite<char[]>(bytes.size()), bytes.size()};
    if (!bytes.empty()) std::memcpy(owned.bytes.get(), bytes.data(), bytes.size());
    return xc::encoding::MessageTable::Read(std::move(owned), name, m_table, m_faults);
}

std::size_t XCMessageLibraryFile::Check(XCMessageLibraryFile const& original)
{
    // Compared with itself a file would keep itself alive.
    if (m_table.IsNull() || original.m_table.IsNull() || m_table == original.m_table) return 0;
    return m_table->Check(original.m_table, m_faults);
}

XCString XCMessageLibraryFile::GetLibrary() const
{
    return m_table.IsNull() ? XCString() : m_table->GetLibrary();
}

XCString XCMessageLibraryFile::GetLanguage() const
{
    return m_table.IsNull() ? XCString() : m_table->GetLanguage();
}

std::vector<long> XCMessageLibraryFile::GetCodes() const
{
    if (m_table.IsNull()) return {};
    return {m_table->Codes().begin(), m_table->Codes().end()};
}

bool XCMessageLibraryFile::Find(XCString& text, long code) const
{
    return !m_table.IsNull() && m_table->Get(text, code);
}

XCErrorI::Severity XCMessageLibraryFile::GetSeverity(long code) const noexcept
{
    std::size_t const found = m_table.IsNull() ? xc::encoding::MessageTable::npos : m_table->Find(code);
    if (found == xc::encoding::MessageTable::npos) return XCErrorI::SeverityError;
    return static_cast<XCErrorI::Severity>(m_table->Severity(found));
}

std::size_t XCMessageLibraryFile::GetLine(long code) const noexcept
{
    std::size_t const found = m_table.IsNull() ? xc::encoding::MessageTable::npos : m_table->Find(code);
    return found == xc::encoding::MessageTable::npos ? 0 : m_table->Line(found);
}
