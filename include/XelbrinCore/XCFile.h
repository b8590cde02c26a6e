// XCFile.h - an open file: reading and writing at the file's own position or at any other, locks, views.
//
// WHAT     XCFile::Open opens by access and creation, both named (XCFileMode), and says what others may do meanwhile
//          (XCFileShare). XCFileMap is a view of a part of a file in memory. XCFileStream.h has buffers and text,
//          XCSaveFile.h replaces a file in one step.
//
//              XCSmartPtr<XCFile> file;
//              XCErrorID const opened = XCFile::Open(L"data.bin", XCFileMode::ToRead(), file);
//              if (opened.Bad()) return opened; // names the path, the number and the words of the system
//
// NAMES    A relative path is resolved once, when it is opened. A path with a fault (XCPath::Check) is not created
//          unless XCFileMode::names asks for it; what exists already may be opened.
// COST     Each Read and Write is a call of the system; nothing is buffered here.
// LIFETIME Counted: keep it in a smart pointer. The last release closes it. A view keeps its bytes without the file.
// ERRORS   Returned, with path, number and words of the system: 33 where another process has locked the bytes, 1224
//          where a view forbids a new size, 6 after Close.
// THREADS  ReadAt and WriteAt may run on any threads at once. All that uses the file's own position, and Close, belong
//          to one thread at a time.
#pragma once

#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFileInfo.h>
#include <XelbrinCore/XCPath.h>
#include <XelbrinCore/XCRefCount.h>

#include <cstddef>
#include <cstdint>
#include <memory>

/// What is done with the content.
enum class XCFileAccess {
    Read,
    Write,
    ReadWrite,
    Append,       ///< every write goes to the end as it is then, whoever else appends
    AppendAndRead ///< the same, and reading
};
/// What is there before.
enum class XCFileCreation {
    Existing,     ///< it must be there
    OpenOrCreate, ///< it is created empty when it is not there
    CreateNew,    ///< it must not be there
    Truncate      ///< created, or emptied
};
/// How the name of a file that may be created is taken.
enum class XCFileNames {
    Plain,  ///< a name with a fault (XCPath::Check) is refused
    System, ///< as the system takes it: devices and streams are opened, blanks and dots at the end dropped
    Literal ///< to the letter: "CON" and "a." become files that other programs may be unable to open
};
/// What others may do with the file while it is open; bits.
enum class XCFileShare : unsigned int {
    None = 0,
    Read = 1,
    Write = 2,
    Delete = 4, ///< delete and rename
    All = 7,
    ByAccess = 8 ///< All for readers and appenders, Read and Delete for writers
};
constexpr XCFileShare operator|(XCFileShare a, XCFileShare b) noexcept
{
    return static_cast<XCFileShare>(static_cast<unsigned int>(a) | static_cast<unsigned int>(b));
}

/// How a file is opened.
struct XCFileMode {
    XCFileAccess access = XCFileAccess::Read;           ///< what is done with it
    XCFileCreation creation = XCFileCreation::Existing; ///< what is there before
    XCFileNames names = XCFileNames::Plain;             ///< how its name is taken
    bool sequential = false;                            ///< read once from the beginning: the system reads ahead

    /// An existing file, to read.
    static constexpr XCFileMode ToRead() noexcept { return {}; }
    /// An existing file, to read and write.
    static constexpr XCFileMode ToUpdate() noexcept { return {XCFileAccess::ReadWrite}; }
    /// A file that must be new, to read and write.
    static constexpr XCFileMode ToCreate() noexcept { return {XCFileAccess::ReadWrite, XCFileCreation::CreateNew}; }
    /// A file that is created or emptied, to write.
    static constexpr XCFileMode ToWrite() noexcept { return {XCFileAccess::Write, XCFileCreation::Truncate}; }
    /// A file that is created when it is missing, to add to its end.
    static constexpr XCFileMode ToAppend() noexcept { return {XCFileAccess::Append, XCFileCreation::OpenOrCreate}; }
};

/// From where XCFile::Seek counts.
enum class XCFileOrigin { Begin, Current, End };

/// What may be done with a view.
enum class XCFileMapAccess {
    Read,
    ReadWrite,  ///< what is written reaches the file and all its views
    CopyOnWrite ///< what is written stays in this view
};

/// A part of a file in memory, with the file's bytes until it ends. Counted; see XCFile::Map. The bytes are read when
/// they are first touched: on a network or a medium that is taken out that may fail as a hardware fault would.
class XC_API XCFileMap : public XCRefCount {
public:
    ~XCFileMap() override;
    /// The bytes; an empty view for a part without bytes.
    [[nodiscard]] XCBytes GetBytes() const noexcept;
    /// The bytes to write to; null in a view that only reads, or without bytes.
    [[nodiscard]] std::uint8_t* GetData() noexcept;
    /// Hands changes to the file system; XCFile::Flush waits for the disk.
    XCErrorID Flush();

private:
    friend class XCFile;
    struct Data;
    explicit XCFileMap(std::unique_ptr<Data> data) noexcept;

    std::unique_ptr<Data> m_data;
};

/// An open file.
class XC_API XCFile : public XCRefCount {
public:
    /// As a length: up to the end, wherever it will be.
    static constexpr std::uint64_t kToEnd = UINT64_MAX;

    ~XCFile() override;
    /// Opens or creates a file. @param file receives it; null after a failure.
    static XCErrorID Open(XCPath const& path, XCFileMode const& mode, XCFileShare share, XCSmartPtr<XCFile>& file);
    static XCErrorID Open(XCPath const& path, XCFileMode const& mode, XCSmartPtr<XCFile>& file)
    {
        return Open(path, mode, XCFileShare::ByAccess, file);
    }
    /// Closes the file before its last release, to see whether that worked. Once closed, every call fails.
    XCErrorID Close();
    /// Whether every write goes to the end.
    [[nodiscard]] bool IsAppending() const noexcept;
    /// The absolute path.
    [[nodiscard]] XCPath GetPath() const;

    /// Reads at the file's own position and moves it. @param got fewer than asked for at the end of the file alone;
    /// after a failure, the bytes before it.
    XCErrorID Read(void* to, std::size_t size, std::size_t& got);
    /// Writes all bytes at the file's own position and moves it; at the end of the file when it was opened to append.
    /// @param done receives how many were written, not all only after a failure; null if not wanted.
    XCErrorID Write(void const* from, std::size_t size, std::size_t* done = nullptr);
    /// The same at any position, without the file's own. Bytes between the end and a later position become 0.
    XCErrorID ReadAt(std::uint64_t position, void* to, std::size_t size, std::size_t& got) const;
    /// @return Bad for a file that was opened to append: the system would ignore the position.
    XCErrorID WriteAt(std::uint64_t position, void const* from, std::size_t size, std::size_t* done = nullptr);

    /// Moves the file's own position, also past the end. @return Bad, and no move, below 0 or beyond 2^63 - 1.
    XCErrorID Seek(std::int64_t offset, XCFileOrigin origin = XCFileOrigin::Begin);
    /// The file's own position.
    [[nodiscard]] std::uint64_t GetPosition() const noexcept;
    /// The size of the moment.
    XCErrorID GetSize(std::uint64_t& size) const;
    /// Cuts the file, or makes it longer by bytes of 0.
    XCErrorID SetSize(std::uint64_t size);
    /// Waits until the disk holds what was written. Milliseconds.
    XCErrorID Flush();
    /// Facts about the open file, whatever its name leads to by now.
    XCErrorID GetInfo(XCFileInfo& info) const;

    /// Locks bytes for this object against all others, of this process too; on Windows their reads (and writes, under a
    /// shared lock all writes) fail meanwhile. Ranges may lie past the end.
    /// @param exclusive false: others may lock and read, nobody writes.
    /// @param timeoutMs how long to try while others hold a part; 0 asks once, 0xFFFFFFFF tries without end.
    /// @return XCErrFileHeld when the time has run out.
    XCErrorID Lock(std::uint64_t offset, std::uint64_t length, bool exclusive = true, unsigned int timeoutMs = 0);
    /// Gives back a range exactly as it was locked. Close gives back all.
    XCErrorID Unlock(std::uint64_t offset, std::uint64_t length);

    /// Shows a part of the file in memory; what lies past the end is left out, and a part without bytes gives an empty
    /// view. The file must be open for reading, and for ReadWrite for writing. While a view exists the file cannot be
    /// made shorter, and on Windows neither replaced nor deleted.
    XCErrorID Map(XCFileMapAccess access, XCSmartPtr<XCFileMap>& map, std::uint64_t offset = 0,
                  std::uint64_t length = kToEnd) const;

private:
    struct Data;
    explicit XCFile(std::unique_ptr<Data> data) noexcept;

    std::unique_ptr<Data> m_data;
};
