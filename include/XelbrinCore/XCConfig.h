// XCConfig.h - configuration files: sections in brackets with key=value lines, comments kept.
//
// WHAT     XCConfigFile is the editable model of one file: it is loaded, looked up, edited in memory and saved with
//          comments, blank lines, order and spelling in place. XCConfig is the small read-only reader. Both answer
//          XCConfigI. docs/configuration.md describes the file format with an example for each rule.
// NAMES    Section names and keys match without regard to case (by XCtowupper) and stay as spelled. Of several sections
//          or keys of one name, lookups find the first.
// FILE     UTF-8 with or without byte order mark, UTF-16 with one, else the system's ANSI code page: a file keeps the
//          encoding it came with, and its line ends (the kind that most of its lines have). New files: UTF-8, CRLF.
// SAVING   The new text is written to a file beside the old one, flushed, and put in its place in one step: a crash or
//          a full disk leaves the old or the new file whole. What would not read back as itself is refused.
// COST     Reading and saving are linear. A lookup takes constant time, however long the section.
// LIFETIME Sections and lines stay where they are until they are deleted, whatever is added beside them: pointers and
//          iterators stay valid. Sections and lines of a file must not be used after the file is gone.
// ERRORS   Loading a malformed file throws XCConfigStreamException; files that cannot be read or written are a null
//          pointer or a Bad XCErrorID (codes XCErrConfig...). No memory: std::bad_alloc.
// THREADS  Each call on a file, and on the sections and lines in it, takes the file's lock. Several calls that belong
//          together (iterating, using what FindLine gave while others delete, editing comments) need the lock around
//          them: XCConfigLock.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCStringConverter.h>
#include <XelbrinCore/XCSync.h>

#include <atomic>
#include <cstddef>
#include <list>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class XCConfigFile;
class XCConfigSection;

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
    /// The place of the offending unit or, where the file ended too early, of the start of what it left open. From 1,
    /// columns in UTF-16 units. Bytes that are no text have the place that follows the text before them.
    [[nodiscard]] std::size_t GetLine() const noexcept { return m_line; }
    /// The column, counted from 1.
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
    [[nodiscard]] virtual XCString GetString(XCString const& section, XCString const& key,
                                             XCString const& defaultValue) const = 0;
    /// The same, read by XCString::AsLong: a text that is no number gives what could be read of it, else 0.
    [[nodiscard]] virtual long GetLong(XCString const& section, XCString const& key, long defaultValue) const = 0;

protected:
    XCConfigI() noexcept = default;
    XCConfigI(XCConfigI const&) noexcept = default;
    XCConfigI& operator=(XCConfigI const&) noexcept = default;
};

// Locking -------------------------------------------------------------------------------------------------------

/// Something that can be locked by the calling thread, any number of times.
class XC_API XCConfigLockableI {
public:
    virtual ~XCConfigLockableI();
    /// Waits until the object belongs to this thread. A thread may lock again what it has locked.
    virtual void Lock() const = 0;
    /// As often as Lock, by the same thread.
    virtual void Unlock() const = 0;

protected:
    XCConfigLockableI() noexcept = default;
    XCConfigLockableI(XCConfigLockableI const&) noexcept = default;
    XCConfigLockableI& operator=(XCConfigLockableI const&) noexcept = default;
};

/// Holds a lock for the extent of a block.
class XCConfigLock {
public:
    /// Locks the object until the end of the scope.
    explicit XCConfigLock(XCConfigLockableI const& lockable) : m_lockable(lockable) { m_lockable.Lock(); }
    ~XCConfigLock() { m_lockable.Unlock(); }
    XCConfigLock(XCConfigLock const&) = delete;
    XCConfigLock& operator=(XCConfigLock const&) = delete;

private:
    XCConfigLockableI const& m_lockable;
};

/// A part that is locked by locking its owner; at the end of the chain stands the file. Without an owner there is
/// nothing to lock. A copy has no owner.
class XC_API XCConfigLockable : public XCConfigLockableI {
public:
    XCConfigLockable() noexcept = default;
    ~XCConfigLockable() override;
    void Lock() const override;
    void Unlock() const override;
    /// Locks taken through the part are given back to the owner that granted them. Null: none. The part does not keep
    /// its owner alive.
    void SetOwner(XCConfigLockableI const* owner);
    /// Gives back every lock that was taken through this part and not yet released; the destructor does the same.
    void RemoveAllLocks() const;

protected:
    XCConfigLockable(XCConfigLockable const&) noexcept : XCConfigLockableI() {}
    XCConfigLockable& operator=(XCConfigLockable const&) noexcept { return *this; }

private:
    friend class XCConfigFile;
    void ForgetLocks() const noexcept { m_locks.store(0, std::memory_order_relaxed); }

    XCConfigLockableI const* m_owner = nullptr;
    mutable std::atomic<unsigned int> m_locks{0}; // taken through this part; changed only while the owner is locked
};

// The parts of a file -------------------------------------------------------------------------------------------

/// The comment lines before a section or a line: texts without their leading ';'. An empty text is a blank line.
/// Comments are plain values without a lock of their own.
class XC_API XCConfigComments {
public:
    using iterator = std::vector<XCString>::iterator;
    using const_iterator = std::vector<XCString>::const_iterator;

    /// Appends one comment.
    void AddComment(XCString const& text) { m_comments.push_back(text); }
    /// Returns the place after the deleted comment. The end deletes nothing.
    iterator DeleteComment(iterator where) { return where == m_comments.end() ? where : m_comments.erase(where); }
    /// Takes out every comment.
    void Clear() noexcept { m_comments.clear(); }
    /// How many comments there are.
    [[nodiscard]] std::size_t GetSize() const noexcept { return m_comments.size(); }
    [[nodiscard]] iterator GetCommentsBegin() noexcept { return m_comments.begin(); }
    [[nodiscard]] iterator GetCommentsEnd() noexcept { return m_comments.end(); }
    [[nodiscard]] const_iterator GetCommentsBegin() const noexcept { return m_comments.begin(); }
    [[nodiscard]] const_iterator GetCommentsEnd() const noexcept { return m_comments.end(); }
    [[nodiscard]] iterator begin() noexcept { return m_comments.begin(); }
    [[nodiscard]] iterator end() noexcept { return m_comments.end(); }
    [[nodiscard]] const_iterator begin() const noexcept { return m_comments.begin(); }
    [[nodiscard]] const_iterator end() const noexcept { return m_comments.end(); }

private:
    std::vector<XCString> m_comments;
};

namespace xc::config {

class ConfigWriter;

/// Inner parts of lines and sections, not for callers.
///
/// A text that stays a part of the file as it was read until it is wanted as a string of its own: reading a file then
/// makes no strings. Used under the lock of the file. A copy is always a string of its own.
class XC_API LazyText {
public:
    LazyText() noexcept = default;
    explicit LazyText(XCString text) noexcept : m_text(std::move(text)) {}
    /// @param part lies in the text of the file.
    explicit LazyText(std::wstring_view part) noexcept : m_part(part) {}
    LazyText(LazyText&&) noexcept = default;
    LazyText(LazyText const& other) : m_text(other.AsString()) {}
    LazyText& operator=(LazyText&&) noexcept = default;
    ~LazyText() = default;

    [[nodiscard]] std::wstring_view View() const noexcept { return IsPart() ? m_part : m_text.View(); }
    [[nodiscard]] XCString const& AsString() const;
    /// Whether the text is as the file had it.
    [[nodiscard]] bool IsPart() const noexcept { return m_part.data() != nullptr; }

private:
    mutable std::wstring_view m_part;
    mutable XCString m_text;
};

/// The same for comments.
class XC_API LazyComments {
public:
    LazyComments() noexcept = default;
    /// @param part whole lines in the text of the file: comments and blank lines only.
    explicit LazyComments(std::wstring_view part) noexcept : m_part(part) {}
    LazyComments(LazyComments&&) noexcept = default;
    LazyComments(LazyComments const& other);
    LazyComments& operator=(LazyComments&&) noexcept = default;
    ~LazyComments() = default;

    [[nodiscard]] XCConfigComments& Edit();
    [[nodiscard]] XCConfigComments const& AsList() const;
    /// The comments as the file had them; empty when there are none or they are a list.
    [[nodiscard]] std::wstring_view Part() const noexcept { return m_part; }

private:
    void MakeList() const;

    mutable std::wstring_view m_part; // not yet in the list
    mutable std::unique_ptr<XCConfigComments> m_list;
};

} // namespace xc::config

/// One key=value line and the comments before it. A value type; a copy belongs to no section.
class XC_API XCConfigLine final : public XCConfigLockable {
public:
    /// A line with a key and a value, without comments.
    explicit XCConfigLine(XCString key = {}, XCString value = {});
    XCConfigLine(XCConfigLine const& other);
    /// Takes comments, key and value over; the line stays in its section.
    XCConfigLine& operator=(XCConfigLine const& other);
    ~XCConfigLine() override;

    /// The key as written.
    [[nodiscard]] XCString GetKey() const;
    /// Replaces the key.
    void SetKey(XCString const& key);
    /// The value as written.
    [[nodiscard]] XCString GetValue() const;
    /// Blanks at the ends of a value are written, but not read back. A value with a line end cannot be saved.
    void SetValue(XCString const& value);
    void SetValue(int value) { SetValue(static_cast<long>(value)); }
    void SetValue(long value);
    /// The shortest decimal text that reads back as the same number.
    void SetValue(double value);
    /// Read by XCString::AsLong, AsDouble.
    [[nodiscard]] long GetValueAsLong() const;
    /// Read by XCString::AsDouble.
    [[nodiscard]] double GetValueAsDouble() const;
    /// The comments before the line, to be read or changed; they live as long as the line.
    [[nodiscard]] XCConfigComments& GetComments();
    [[nodiscard]] XCConfigComments const& GetComments() const;
    /// Empties comments, key and value.
    void Clear();

private:
    friend class XCConfigFile;
    friend class XCConfigSection;

    XCConfigSection* m_section = nullptr; // whose index knows the key
    xc::config::LazyComments m_comments;
    xc::config::LazyText m_key;
    xc::config::LazyText m_value;
};

/// A section: comments, name and lines in order. A value type; a copy belongs to no file.
class XC_API XCConfigSection final : public XCConfigLockable {
    using Lines = std::pmr::list<XCConfigLine>;

public:
    using iterator = Lines::iterator;
    using const_iterator = Lines::const_iterator;

    /// @param memory where the lines are kept; it must outlive the section.
    explicit XCConfigSection(XCString name = {}, std::pmr::memory_resource* memory = std::pmr::get_default_resource());
    XCConfigSection(XCConfigSection const& other);
    /// A copy whose lines are kept in `memory`, which must outlive it.
    XCConfigSection(XCConfigSection const& other, std::pmr::memory_resource* memory);
    /// Takes comments, name and lines over; the section stays in its file.
    XCConfigSection& operator=(XCConfigSection const& other);
    ~XCConfigSection() override;

    /// The name between the brackets.
    [[nodiscard]] XCString GetName() const;
    /// Replaces the name.
    void SetName(XCString const& name);
    /// The comments before the section, to be read or changed; they live as long as the section.
    [[nodiscard]] XCConfigComments& GetComments();
    [[nodiscard]] XCConfigComments const& GetComments() const;

    /// The first line with this key, or null.
    [[nodiscard]] XCConfigLine* FindLine(XCString const& key);
    [[nodiscard]] XCConfigLine const* FindLine(XCString const& key) const;
    /// Adds a line at the end, also when the key is there already. The result is the line in the section.
    XCConfigLine& AddLine(XCString const& key, XCString const& value);
    XCConfigLine& AddLine(XCConfigLine const& line);
    /// Deletes one line and returns the place after it. The end deletes nothing.
    iterator DeleteLine(iterator where);
    /// Deletes the first line with this key at or after `from`; the end when there is none.
    iterator DeleteLine(XCString const& key, iterator from);
    /// Deletes the lines and the comments and empties the name.
    void Clear();
    /// How many lines the section has.
    [[nodiscard]] std::size_t GetSize() const;
    [[nodiscard]] iterator GetLinesBegin() noexcept { return m_lines.begin(); }
    [[nodiscard]] iterator GetLinesEnd() noexcept { return m_lines.end(); }
    [[nodiscard]] const_iterator GetLinesBegin() const noexcept { return m_lines.begin(); }
    [[nodiscard]] const_iterator GetLinesEnd() const noexcept { return m_lines.end(); }

private:
    friend class XCConfigFile;
    friend class XCConfigLine;
    struct Index;

    XCConfigLine& Append();
    [[nodiscard]] iterator Find(std::wstring_view key);
    void ForgetIndex() noexcept;

    XCConfigFile* m_file = nullptr; // whose index knows the name
    xc::config::LazyComments m_comments;
    xc::config::LazyText m_name;
    Lines m_lines;
    std::unique_ptr<Index> m_index; // made by the first lookup in a long section
};

// The file ------------------------------------------------------------------------------------------------------

/// A configuration file in memory (see the head of this header). Counted: hold it in an XCSmartPtr.
class XC_API XCConfigFile final : public XCRefCount, public XCConfigI, public XCConfigLockableI {
    using Sections = std::pmr::list<XCConfigSection>;

public:
    using iterator = Sections::iterator;
    using const_iterator = Sections::const_iterator;

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
    /// Reads the file again. Bad when it cannot be read: the content stays as it was.
    /// @throws XCConfigStreamException when the text is malformed; what was read before the fault is then the content,
    ///         and Save and Save2 refuse until a Reload has succeeded.
    XCErrorID Reload();
    /// Writes the whole file under its name, which stays locked meanwhile. Bad, and the file on disk untouched: it
    /// cannot be written, the last read failed half-way, the encoding cannot hold a text, or a text would be read as
    /// something else (a line feed or carriage return in a value, a line feed in a comment, '=' in a key, a key that
    /// begins with ';', '[' or a line feed, ']' in a section name).
    [[nodiscard]] XCErrorID Save() const;
    /// Writes the whole file under another name; the object keeps its own.
    [[nodiscard]] XCErrorID Save2(XCString const& fileName) const;

    /// The name given to Open or to the constructor; empty when there was none.
    [[nodiscard]] XCString GetFileName() const { return m_fileName; }
    /// The encoding that the file was found in, or was given.
    [[nodiscard]] Encoding GetEncoding() const;
    /// For the next Save.
    void SetEncoding(Encoding encoding);

    [[nodiscard]] XCString GetString(XCString const& section, XCString const& key,
                                     XCString const& defaultValue) const override;
    [[nodiscard]] long GetLong(XCString const& section, XCString const& key, long defaultValue) const override;
    /// Sets the value of the line that GetString finds. A missing section is added at the end of the file, a missing
    /// key at the end of the section.
    void SetString(XCString const& section, XCString const& key, XCString const& value);
    /// Writes a whole number; section and key are made when missing.
    void SetLong(XCString const& section, XCString const& key, long value);

    /// The first section of this name, or null.
    [[nodiscard]] XCConfigSection* FindSection(XCString const& name);
    [[nodiscard]] XCConfigSection const* FindSection(XCString const& name) const;
    /// Adds a section at the end, also when the name is there already. The result is the section in the file.
    XCConfigSection& AddSection(XCString const& name);
    XCConfigSection& AddSection(XCConfigSection const& section);
    /// Deletes one section and returns the place after it. The end deletes nothing.
    iterator DeleteSection(iterator where);
    /// Deletes the first section of this name; false when there is none.
    bool DeleteSection(XCString const& name);
    /// Deletes all sections and comments; file name and encoding stay.
    void Clear();
    /// How many sections the file has.
    [[nodiscard]] std::size_t GetSize() const;
    [[nodiscard]] iterator GetSectionsBegin() noexcept { return m_sections.begin(); }
    [[nodiscard]] iterator GetSectionsEnd() noexcept { return m_sections.end(); }
    [[nodiscard]] const_iterator GetSectionsBegin() const noexcept { return m_sections.begin(); }
    [[nodiscard]] const_iterator GetSectionsEnd() const noexcept { return m_sections.end(); }
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
    friend class XCConfigSection;
    struct Index;

    void Read(std::string const& bytes);
    void ReadSections(std::wstring_view text);
    void Empty() noexcept;
    [[nodiscard]] bool IsLockedByCaller() const noexcept;
    [[nodiscard]] XCErrorID SaveAs(XCString const& path, XCString const& fileName) const;
    [[nodiscard]] XCErrorID WriteText(xc::config::ConfigWriter& writer) const;
    [[nodiscard]] iterator Find(std::wstring_view name);
    [[nodiscard]] XCConfigLine const* FindValue(std::wstring_view section, std::wstring_view key) const;
    XCConfigSection& Adopt(XCConfigSection& section);
    void ForgetIndex() noexcept;

    XCString const m_fileName; ///< as it was given
    XCString const m_path;     ///< where that was when the object was made
    mutable XCCriticalSection m_lock;
    mutable unsigned int m_lockDepth = 0;                // of the thread that holds the lock
    mutable std::atomic<bool> m_everRemovedLocks{false}; // only then Unlock may come without a lock
    std::unique_ptr<wchar_t[]> m_text;                   // as read: parts of it are names, keys, values and comments
    std::size_t m_textLength = 0;
    std::unique_ptr<std::pmr::memory_resource> const m_memory; // of the lists
    Sections m_sections;
    xc::config::LazyComments m_endComments;
    std::unique_ptr<Index> m_index; // made by the first lookup among many sections
    Encoding m_encoding = Encoding::Utf8;
    bool m_crlf = true;
    bool m_partlyRead = false; // the last read failed half-way: never saved
};

/// Reads a configuration file once and answers lookups. Any threads may look up; Open needs the callers' own lock.
class XC_API XCConfig final : public XCConfigI {
public:
    XCConfig() noexcept;
    XCConfig(XCConfig const&) = delete;
    XCConfig& operator=(XCConfig const&) = delete;
    ~XCConfig() override;

    /// Reads a file in place of what was read before. Bad when it cannot be read or is malformed: the error tells file,
    /// line and fault, and the object answers as before.
    XCErrorID Open(XCString const& fileName);
    [[nodiscard]] XCString GetString(XCString const& section, XCString const& key,
                                     XCString const& defaultValue) const override;
    [[nodiscard]] long GetLong(XCString const& section, XCString const& key, long defaultValue) const override;

private:
    XCSmartPtr<XCConfigFile> m_file;
};

/// A list of values packed into one text: a, "b, c", "say ""x""". Commas separate. A value with a comma or a double
/// quote in it, or white space at an end, stands in quotes, its own quotes doubled. White space around unquoted values
/// does not count. An empty text is a list without values; a list of one empty value is "".
class XC_API XCCommaSeparatedValues {
public:
    XCCommaSeparatedValues() = default;
    /// Unpacks `packed` from its start.
    explicit XCCommaSeparatedValues(XCString packed) : m_packed(std::move(packed)) {}

    /// Packs one more value at the end.
    XCCommaSeparatedValues& Put(XCString const& value);
    XCCommaSeparatedValues& Put(int value);
    /// The next value; empty after the last one. @param ok receives whether there was one; may be null.
    XCString Get(bool* ok = nullptr);
    /// The next value as XCString::AsInt reads it. @param ok receives whether there was one and it is a number.
    int GetInt(bool* ok = nullptr);
    /// Get starts again at the first value.
    void Rewind() noexcept { m_pos = 0; }
    /// The packed list.
    [[nodiscard]] XCString const& AsString() const noexcept { return m_packed; }

private:
    XCString m_packed;
    std::size_t m_pos = 0; // past the length: the last value has been given
};
