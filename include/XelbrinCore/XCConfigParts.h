// XCConfigParts.h - the parts of a configuration file: its lock, comments, lines and sections.
//
// WHAT     Sections, lines and comments are values: made, copied and edited alone or inside an XCConfigFile
//          (XCConfigFile.h), which keeps them in order.
// COST     A lookup in a section takes constant time, however many lines it has. Copies are linear.
// LIFETIME A line stays where it is until it is deleted, whatever is added: pointers and iterators stay valid. Sections
//          and lines of a file must not be used after the file is gone.
// ERRORS   Out of memory: std::bad_alloc. Nothing else fails.
// THREADS  Each call on a part of a file takes the lock of the file. Several calls that belong together need XCConfigLock
//          around them. A part outside a file has no lock.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <atomic>
#include <cstddef>
#include <list>
#include <string_view>
#include <vector>

namespace xc::config {
struct Access;
struct FileMemory;
} // namespace xc::config

class XCConfigFile;

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

/// A part that is locked by locking its owner; the last owner is the file. Without an owner there is
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

/// One key=value line and the comments before it. A value type; a copy belongs to no section.
class XC_API XCConfigLine final : public XCConfigLockable {
public:
    /// A line with a key and a value, without comments.
    explicit XCConfigLine(XCString key = {}, XCString value = {});
    XCConfigLine(XCConfigLine const& other);
    /// Takes comments, key and value over; the other line, and its place in a section, is left empty. @throws std::bad_alloc
    /// where the texts lie in a file's memory, and must be copied out of it.
    XCConfigLine(XCConfigLine&& other); // NOLINT(performance-noexcept-move-constructor)
    /// Takes comments, key and value over; the line stays in its section.
    XCConfigLine& operator=(XCConfigLine const& other);
    XCConfigLine& operator=(XCConfigLine&& other); // NOLINT(performance-noexcept-move-constructor)
    ~XCConfigLine() override;

    /// The key as written.
    [[nodiscard]] XCString GetKey() const;
    /// Replaces the key.
    void SetKey(XCString const& key);
    /// The value as written.
    [[nodiscard]] XCString GetValue() const;
    /// A value with a line end or with white space at an end cannot be saved.
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
    /// To be read alone. Without a comment it is one empty list that all parts share: it stays empty when this line gets
    /// comments later, so ask again then.
    [[nodiscard]] XCConfigComments const& GetComments() const;
    /// The line of the file in which the key stood when it was read, from 1; 0 for a line that was made or copied.
    /// Linear in the file.
    [[nodiscard]] std::size_t GetFileLine() const;
    /// Empties comments, key and value.
    void Clear();

private:
    friend struct xc::config::Access;
    alignas(4) std::byte m_data[4 + 2 * sizeof(void*)]; // comments, key and value, in a form that may change
};

/// A section: comments, name and lines in order. A value type; a copy belongs to no file.
class XC_API XCConfigSection final : public XCConfigLockable {
public:
    using iterator = std::list<XCConfigLine>::iterator;
    using const_iterator = std::list<XCConfigLine>::const_iterator;

    /// A section without lines.
    explicit XCConfigSection(XCString name = {});
    XCConfigSection(XCConfigSection const& other);
    /// Takes comments, name and lines over, and leaves the other section empty. Constant time a line between sections
    /// outside files; the lines of a file's section are copied.
    XCConfigSection(XCConfigSection&& other); // NOLINT(performance-noexcept-move-constructor)
    /// For the file alone: a section whose lines lie in the memory of the file.
    explicit XCConfigSection(xc::config::FileMemory const& memory);
    /// Takes comments, name and lines over; the section stays in its file.
    XCConfigSection& operator=(XCConfigSection const& other);
    XCConfigSection& operator=(XCConfigSection&& other); // NOLINT(performance-noexcept-move-constructor)
    ~XCConfigSection() override;

    /// The name between the brackets.
    [[nodiscard]] XCString GetName() const;
    /// Replaces the name.
    void SetName(XCString const& name);
    /// The comments before the section, to be read or changed; they live as long as the section.
    [[nodiscard]] XCConfigComments& GetComments();
    /// To be read alone. Without a comment it is one empty list that all parts share: it stays empty when this section gets
    /// comments later, so ask again then.
    [[nodiscard]] XCConfigComments const& GetComments() const;

    /// The first line with this key, or null.
    [[nodiscard]] XCConfigLine* FindLine(std::wstring_view key);
    [[nodiscard]] XCConfigLine const* FindLine(std::wstring_view key) const;
    /// Adds a line at the end, also when the key is there already. The result is the line in the section.
    XCConfigLine& AddLine(XCString const& key, XCString const& value);
    XCConfigLine& AddLine(XCConfigLine const& line);
    XCConfigLine& AddLine(XCConfigLine&& line);
    /// Deletes one line and returns the place after it. The end deletes nothing.
    iterator DeleteLine(iterator where);
    /// Deletes the first line with this key at or after `from`; the end when there is none.
    iterator DeleteLine(std::wstring_view key, iterator from);
    /// Deletes the lines and the comments and empties the name.
    void Clear();
    /// How many lines the section has.
    [[nodiscard]] std::size_t GetSize() const;
    [[nodiscard]] iterator GetLinesBegin() noexcept;
    [[nodiscard]] iterator GetLinesEnd() noexcept;
    [[nodiscard]] const_iterator GetLinesBegin() const noexcept;
    [[nodiscard]] const_iterator GetLinesEnd() const noexcept;
    // for (XCConfigLine& line : section)
    [[nodiscard]] iterator begin() noexcept { return GetLinesBegin(); }
    [[nodiscard]] iterator end() noexcept { return GetLinesEnd(); }
    [[nodiscard]] const_iterator begin() const noexcept { return GetLinesBegin(); }
    [[nodiscard]] const_iterator end() const noexcept { return GetLinesEnd(); }

private:
    friend struct xc::config::Access;
    alignas(void*) std::byte m_data[12 * sizeof(void*)]; // comments, name and lines, in a form that may change
};
