// XCConfigFile.h - a configuration file in memory: loaded, looked up, edited and saved.
//
// WHAT     XCConfigI is the lookup of values by section and key. XCConfigFile is the editable model of one file. Its
//          comments, blank lines, order and spelling stay in place. docs/configuration.md describes the file format
//          with an example for each rule.
// NAMES    Section names and keys match without regard to case (by XCtowupper) and stay as spelled. Of several sections
//          or keys of one name, lookups find the first.
// FILE     UTF-8 with or without byte order mark, UTF-16 with one, else the system's ANSI code page: a file keeps the
//          encoding it came with, and its line ends (the kind that most of its lines have). New files: UTF-8, CRLF.
// SAVING   The new text is written to a temporary file, flushed, and put in the place of the old file in one step: a
//          crash or a full disk leaves the old or the new file whole. A text that would not read back is refused.
// COST     Reading and saving are linear. A lookup takes constant time, however long the section.
// LIFETIME Sections and lines stay where they are until they are deleted, whatever is added: pointers and iterators stay
//          valid. Sections and lines of a file must not be used after the file is gone.
// ERRORS   Loading a malformed file throws XCConfigStreamException; files that cannot be read or written are a null
//          pointer or a Bad XCErrorID (codes XCErrConfig...). Out of memory: std::bad_alloc.
// THREADS  Each call on a file, and on the sections and lines in it, takes the file's lock. Several calls that belong
//          together (iteration, use of a line while others delete, edits of comments) need XCConfigLock around them.
#pragma once

#include <XelbrinCore/XCConfigParts.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCStringConverter.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string_view>

namespace xc::config {
struct FileData;
} // namespace xc::config

/// The text of a configuration file breaks a rule. What() is one of
///   "unexpected EOF while parsing a key name of a configuration line"
///   "expecting a '[' at the beginning of a section"
///   "unexpected EOF while parsing a section name"
///   "unexpected character after the closing ']' of a section name"
/// or, for bytes that are no text in the encoding that the byte order mark names,
///   "malformed text in a configuration file".
class XC_API XCConfigStreamException : public XCException {
public:
    /// A failure at a place of a file; line and column count from 1.
    XCConfigStreamException(XCString const& message, XCString const& fileName, std::size_t line, std::size_t column);
    ~XCConfigStreamException() override;

    /// The file that was read.
    [[nodiscard]] XCString const& GetFileName() const noexcept { return m_fileName; }
    /// The line of the offending unit or, where the file ended too early, of the start of the open part. From 1. Bytes
    /// that are no text have the place of the first of them.
    [[nodiscard]] std::size_t GetLine() const noexcept { return m_line; }
    /// The column of that place, from 1, in UTF-16 units.
    [[nodiscard]] std::size_t GetColumn() const noexcept { return m_column; }

private:
    XCString m_fileName;
    std::size_t m_line;
    std::size_t m_column;
};

/// Lookup of values by section and key.
class XC_API XCConfigI {
public:
    virtual ~XCConfigI();
    /// The value; the default when section or key is missing.
    [[nodiscard]] virtual XCString GetString(std::wstring_view section, std::wstring_view key,
                                             std::wstring_view defaultValue) const = 0;
    /// The same, read by XCString::AsLong: a text that is no number gives the number at its start, else 0.
    [[nodiscard]] virtual long GetLong(std::wstring_view section, std::wstring_view key, long defaultValue) const = 0;

    // Typed values: the default, and `ok` false, when section or key is missing or the whole value is not of the type.
    /// true, yes, on or 1; false, no, off or 0; without regard to case.
    [[nodiscard]] bool GetBool(std::wstring_view section, std::wstring_view key, bool defaultValue,
                               bool* ok = nullptr) const;
    /// A whole number.
    [[nodiscard]] std::int64_t GetInt64(std::wstring_view section, std::wstring_view key, std::int64_t defaultValue,
                                        bool* ok = nullptr) const;
    /// A number with a point and an exponent, whatever the locale.
    [[nodiscard]] double GetDouble(std::wstring_view section, std::wstring_view key, double defaultValue,
                                   bool* ok = nullptr) const;
    /// A whole number and a unit: 250ms, 30s, 15min, 2h, 7d. A number alone is seconds.
    [[nodiscard]] std::chrono::milliseconds GetDuration(std::wstring_view section, std::wstring_view key,
                                                        std::chrono::milliseconds defaultValue,
                                                        bool* ok = nullptr) const;

protected:
    XCConfigI() noexcept = default;
    XCConfigI(XCConfigI const&) noexcept = default;
    XCConfigI& operator=(XCConfigI const&) noexcept = default;
};

/// A configuration file in memory (see the head of this header). Counted: hold it in an XCSmartPtr.
class XC_API XCConfigFile final : public XCRefCount, public XCConfigI, public XCConfigLockableI {
public:
    using iterator = std::list<XCConfigSection>::iterator;
    using const_iterator = std::list<XCConfigSection>::const_iterator;

    /// How the bytes of the file are read and written.
    using Encoding = XCTextEncoding;

    /// An empty file of that name; nothing is read.
    explicit XCConfigFile(XCString fileName = {});
    XCConfigFile(XCConfigFile const&) = delete;
    XCConfigFile& operator=(XCConfigFile const&) = delete;
    ~XCConfigFile() override;

    /// Reads a file. Null when it is missing or cannot be opened or read. @param whyNot receives the reason.
    /// @throws XCConfigStreamException when the text is malformed.
    [[nodiscard]] static XCSmartPtr<XCConfigFile> Load(XCString const& fileName, XCErrorID* whyNot = nullptr);
    /// A file from text in memory instead of from disk. @param fileName for Save, and for messages.
    /// @throws XCConfigStreamException when the text is malformed.
    [[nodiscard]] static XCSmartPtr<XCConfigFile> FromText(std::wstring_view text, XCString const& fileName = {});
    /// The same from the bytes of a file, in any encoding that a file may have.
    [[nodiscard]] static XCSmartPtr<XCConfigFile> FromBytes(std::string_view bytes, XCString const& fileName = {});
    /// Reads the file again. Bad when it cannot be read: the content stays as it was.
    /// @throws XCConfigStreamException when the text is malformed; the lines before the fault are then the content,
    ///         and Save and Save2 refuse until a Reload has succeeded.
    XCErrorID Reload();
    /// Writes the whole file under its name, which stays locked meanwhile. Bad, and the file on disk untouched: it
    /// cannot be written, the last read failed half-way, the encoding cannot hold a text, or a text would
    /// not be read back as it is: the error names section, key and reason (docs/configuration.md lists them).
    [[nodiscard]] XCErrorID Save() const;
    /// Writes the whole file under another name; the object keeps its own.
    [[nodiscard]] XCErrorID Save2(XCString const& fileName) const;

    /// The name given to Open or to the constructor; empty when there was none.
    [[nodiscard]] XCString GetFileName() const;
    /// The encoding that the file was found in, or was given.
    [[nodiscard]] Encoding GetEncoding() const;
    /// For the next Save.
    void SetEncoding(Encoding encoding);

    [[nodiscard]] XCString GetString(std::wstring_view section, std::wstring_view key,
                                     std::wstring_view defaultValue) const override;
    [[nodiscard]] long GetLong(std::wstring_view section, std::wstring_view key, long defaultValue) const override;
    /// Sets the value of the line that GetString finds. A missing section is added at the end of the file, a missing
    /// key at the end of the section.
    void SetString(std::wstring_view section, std::wstring_view key, XCString const& value);
    /// Writes a whole number; section and key are made when missing.
    void SetLong(std::wstring_view section, std::wstring_view key, long value);

    /// The first section of this name, or null.
    [[nodiscard]] XCConfigSection* FindSection(std::wstring_view name);
    [[nodiscard]] XCConfigSection const* FindSection(std::wstring_view name) const;
    /// Adds a section at the end, also when the name is there already. The result is the section in the file.
    XCConfigSection& AddSection(XCString const& name);
    XCConfigSection& AddSection(XCConfigSection const& section);
    XCConfigSection& AddSection(XCConfigSection&& section);
    /// Deletes one section and returns the place after it. The end deletes nothing.
    iterator DeleteSection(iterator where);
    /// Deletes the first section of this name; false when there is none.
    bool DeleteSection(std::wstring_view name);
    /// Deletes all sections and comments; file name and encoding stay.
    void Clear();
    /// How many sections the file has.
    [[nodiscard]] std::size_t GetSize() const;
    [[nodiscard]] iterator GetSectionsBegin() noexcept;
    [[nodiscard]] iterator GetSectionsEnd() noexcept;
    [[nodiscard]] const_iterator GetSectionsBegin() const noexcept;
    [[nodiscard]] const_iterator GetSectionsEnd() const noexcept;
    // for (XCConfigSection& section : *file)
    [[nodiscard]] iterator begin() noexcept { return GetSectionsBegin(); }
    [[nodiscard]] iterator end() noexcept { return GetSectionsEnd(); }
    [[nodiscard]] const_iterator begin() const noexcept { return GetSectionsBegin(); }
    [[nodiscard]] const_iterator end() const noexcept { return GetSectionsEnd(); }
    /// The comments and blank lines after the last key of the file.
    [[nodiscard]] XCConfigComments& GetEndComments();
    [[nodiscard]] XCConfigComments const& GetEndComments() const;

    /// The lock of the file and of everything in it. Recursive.
    void Lock() const override;
    void Unlock() const override;
    /// Gives back every lock that the calling thread holds, those taken through sections and lines too. Guards that end
    /// later release nothing.
    void RemoveAllLocks() const;

private:
    friend struct xc::config::Access;
    std::unique_ptr<xc::config::FileData> const m_data;
};
