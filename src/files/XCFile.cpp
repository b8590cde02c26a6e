// An open file: the library's words around the file mechanism.
//
// The file's own position is a number of this object, not the system's: every read and write carries its place, so
// that reads and writes at positions never disturb the others, and no call is spent on moving a pointer. Files opened
// to append have no place to give: the system finds the end in the same step as it writes.
//
// Locks are polled. A wait of the system for a range cannot be ended by a deadline on a handle that reads and writes
// in turn, and a handle that overlaps its calls would cost an event and two calls more for every read. The pauses grow
// from 1 to 32 ms: an answer comes soon where locks are short, and a long wait costs little.
#include <XelbrinCore/XCFile.h>

#include "files/FileErrors.h"
#include "files/FileFacts.h"
#include "files/OpenName.h"
#include "win32/File.h"
#include "win32/FileSystem.h"
#include "win32/FileView.h"

#include <algorithm>

using xc::files::FileError;

struct XCFile::Data {
    xc::win32::SystemPath path;
    xc::win32::File file;
    std::uint64_t position = 0;
    bool appends = false;

    /// The calls of the system that come without a handle would fail with other numbers.
    [[nodiscard]] unsigned long WhyNot() const noexcept { return file.IsOpen() ? 0 : xc::win32::kErrorInvalidHandle; }
};

struct XCFileMap::Data {
    xc::win32::SystemPath path;
    xc::win32::FileView view;
    bool writes = false;
};

namespace xc::files {

namespace {

constexpr std::uint64_t kLastPosition = INT64_MAX;

static_assert(static_cast<unsigned int>(XCFileShare::Read) == win32::FileMode::ShareRead &&
              static_cast<unsigned int>(XCFileShare::Write) == win32::FileMode::ShareWrite &&
              static_cast<unsigned int>(XCFileShare::Delete) == win32::FileMode::ShareDelete);

win32::FileMode::Access AccessOf(XCFileAccess access) noexcept
{
    using Access = win32::FileMode::Access;
    switch (access) {
    case XCFileAccess::Write: return Access::Write;
    case XCFileAccess::ReadWrite: return Access::ReadWrite;
    case XCFileAccess::Append: return Access::Append;
    case XCFileAccess::AppendAndRead: return Access::AppendAndRead;
    default: return Access::Read;
    }
}

win32::FileMode::Start StartOf(XCFileCreation creation) noexcept
{
    using Start = win32::FileMode::Start;
    switch (creation) {
    case XCFileCreation::OpenOrCreate: return Start::OpenOrCreate;
    case XCFileCreation::CreateNew: return Start::CreateNew;
    case XCFileCreation::Truncate: return Start::Truncate;
    default: return Start::Existing;
    }
}

/// Such a file has the right to add and no right to write: the system moves each write to the end.
bool Appends(XCFileAccess access) noexcept
{
    return access == XCFileAccess::Append || access == XCFileAccess::AppendAndRead;
}

unsigned int ShareOf(XCFileShare share, XCFileAccess access) noexcept
{
    if (share != XCFileShare::ByAccess) return static_cast<unsigned int>(share) & win32::FileMode::ShareAll;
    // Two writers at positions destroy each other's work; readers may look on, and renaming harms no handle.
    bool const alone = access == XCFileAccess::Write || access == XCFileAccess::ReadWrite;
    return alone ? win32::FileMode::ShareRead | win32::FileMode::ShareDelete : win32::FileMode::ShareAll;
}

std::string_view CharsOf(void const* from, std::size_t size) noexcept
{
    return {static_cast<char const*>(from), size};
}

/// Writes all, at a position or at the end; a call of the system may take less.
std::size_t PutAll(win32::File& file, bool appends, std::uint64_t position, std::string_view bytes,
                   unsigned long& error)
{
    if (!appends) return file.Write(bytes, position, error);
    std::size_t done = 0;
    while (error == 0 && done < bytes.size())
        done += file.Append(bytes.substr(done, win32::File::kLargestAppend), error);
    return done;
}

/// The length of a range of locks, which the system counts within 63 bits.
std::uint64_t RangeLength(std::uint64_t offset, std::uint64_t length) noexcept
{
    return std::min(length, kLastPosition - std::min(offset, kLastPosition));
}

} // namespace

} // namespace xc::files

using namespace xc::files;

// XCFileMap -----------------------------------------------------------------------------------------------------

XCFileMap::XCFileMap(std::unique_ptr<Data> data) noexcept : m_data(std::move(data)) {}
XCFileMap::~XCFileMap() = default;

XCBytes XCFileMap::GetBytes() const noexcept
{
    return {m_data->view.Bytes(), m_data->view.Size()};
}

std::uint8_t* XCFileMap::GetData() noexcept
{
    // Writing to a view that only reads would end the process.
    return m_data->writes ? static_cast<std::uint8_t*>(m_data->view.Bytes()) : nullptr;
}

XCErrorID XCFileMap::Flush()
{
    return FileError(XCErrFileCannotWrite, m_data->path, m_data->view.Flush());
}

// XCFile --------------------------------------------------------------------------------------------------------

XCFile::XCFile(std::unique_ptr<Data> data) noexcept : m_data(std::move(data)) {}
XCFile::~XCFile() = default;

XCErrorID XCFile::Open(XCPath const& path, XCFileMode const& mode, XCFileShare share, XCSmartPtr<XCFile>& file)
{
    auto data = std::make_unique<Data>();
    bool const mayCreate = mode.creation != XCFileCreation::Existing;
    // Whatever happens, the caller's pointer holds the new file or nothing.
    file.Clear();
    if (XCErrorID const fault = NameToOpen(path, mode.names, mayCreate, data->path); fault.Bad()) return fault;
    xc::win32::FileMode const how{.access = AccessOf(mode.access),
                                  .start = StartOf(mode.creation),
                                  .share = ShareOf(share, mode.access),
                                  .sequential = mode.sequential};
    if (unsigned long const error = data->file.Open(data->path, how))
        return FileError(XCErrFileCannotOpen, data->path, error);
    data->appends = Appends(mode.access);
    file = new XCFile(std::move(data));
    return XCErrorID::Success;
}

XCErrorID XCFile::Close()
{
    // Network file systems report writes that failed late at closing.
    return FileError(XCErrFileCannotWrite, m_data->path, m_data->file.Close());
}

bool XCFile::IsAppending() const noexcept
{
    return m_data->appends;
}

XCPath XCFile::GetPath() const
{
    return XCString(m_data->path.Text());
}

XCErrorID XCFile::ReadAt(std::uint64_t position, void* to, std::size_t size, std::size_t& got) const
{
    unsigned long error = m_data->WhyNot();
    got = error == 0 ? m_data->file.Read(to, size, position, error) : 0;
    return FileError(XCErrFileCannotRead, m_data->path, error);
}

XCErrorID XCFile::Read(void* to, std::size_t size, std::size_t& got)
{
    // Also after a failure the place is past the bytes that came.
    XCErrorID const result = ReadAt(m_data->position, to, size, got);
    m_data->position += got;
    return result;
}

XCErrorID XCFile::WriteAt(std::uint64_t position, void const* from, std::size_t size, std::size_t* done)
{
    // The system would ignore the position of such a file and write at its end.
    unsigned long error = m_data->appends ? xc::win32::kErrorAccessDenied : m_data->WhyNot();
    std::size_t const count = error == 0 ? PutAll(m_data->file, false, position, CharsOf(from, size), error) : 0;
    if (done) *done = count;
    return FileError(XCErrFileCannotWrite, m_data->path, error);
}

XCErrorID XCFile::Write(void const* from, std::size_t size, std::size_t* done)
{
    unsigned long error = m_data->WhyNot();
    std::size_t const count =
        error == 0 ? PutAll(m_data->file, m_data->appends, m_data->position, CharsOf(from, size), error) : 0;
    // The place of an appending file is for reading; where the bytes went only the system knows.
    if (!m_data->appends) m_data->position += count;
    if (done) *done = count;
    return FileError(XCErrFileCannotWrite, m_data->path, error);
}

XCErrorID XCFile::Seek(std::int64_t offset, XCFileOrigin origin)
{
    std::uint64_t base = origin == XCFileOrigin::Current ? m_data->position : 0;
    if (origin == XCFileOrigin::End)
        if (XCErrorID const fault = GetSize(base); fault.Bad()) return fault;
    std::uint64_t const target = base + static_cast<std::uint64_t>(offset); // wraps below 0, which is past the last one
    if (target > kLastPosition) return FileError(XCErrFileFailed, m_data->path, xc::win32::kErrorNegativeSeek);
    m_data->position = target;
    return XCErrorID::Success;
}

std::uint64_t XCFile::GetPosition() const noexcept
{
    return m_data->position;
}

XCErrorID XCFile::GetSize(std::uint64_t& size) const
{
    unsigned long error = m_data->WhyNot();
    size = error == 0 ? m_data->file.Size(error) : 0;
    return FileError(XCErrFileFailed, m_data->path, error);
}

XCErrorID XCFile::SetSize(std::uint64_t size)
{
    unsigned long const error = m_data->WhyNot();
    return FileError(XCErrFileCannotWrite, m_data->path, error == 0 ? m_data->file.SetSize(size) : error);
}

XCErrorID XCFile::Flush()
{
    unsigned long const error = m_data->WhyNot();
    return FileError(XCErrFileCannotWrite, m_data->path, error == 0 ? m_data->file.Flush() : error);
}

// The facts come from the handle: the name may lead to another file by now.
XCErrorID XCFile::GetInfo(XCFileInfo& info) const
{
    xc::win32::FileDetails details;
    unsigned long error = m_data->WhyNot();
    if (error == 0) error = xc::win32::GetDetails(m_data->file.Handle(), details);
    if (error == 0) FillInfo(details, info);
    return FileError(XCErrFileFailed, m_data->path, error);
}

XCErrorID XCFile::Lock(std::uint64_t offset, std::uint64_t length, bool exclusive, unsigned int timeoutMs)
{
    xc::win32::Patience patience{timeoutMs};
    unsigned long error = m_data->WhyNot();
    if (error != 0) return FileError(XCErrFileFailed, m_data->path, error);
    do {
        ++patience.tries;
        error = m_data->file.Lock(offset, RangeLength(offset, length), exclusive);
    } while (error == xc::win32::kErrorLocked && patience.GoesOn());
    // Out of time is a failure of its own, which callers tell from a broken file by its code.
    if (error == xc::win32::kErrorLocked) return HeldError(m_data->path, error, patience.tries);
    return FileError(XCErrFileFailed, m_data->path, error);
}

XCErrorID XCFile::Unlock(std::uint64_t offset, std::uint64_t length)
{
    unsigned long error = m_data->WhyNot();
    if (error == 0) error = m_data->file.Unlock(offset, RangeLength(offset, length));
    return FileError(XCErrFileFailed, m_data->path, error);
}

XCErrorID XCFile::Map(XCFileMapAccess access, XCSmartPtr<XCFileMap>& map, std::uint64_t offset,
                      std::uint64_t length) const
{
    std::uint64_t size = 0;
    map.Clear();
    if (XCErrorID const fault = GetSize(size); fault.Bad()) return fault;
    auto data = std::make_unique<XCFileMap::Data>();
    data->path = m_data->path;
    data->writes = access != XCFileMapAccess::Read;
    // Parts past the end are left out here: mapping them would make the file longer, or fail.
    std::uint64_t const count = offset < size ? std::min(length, size - offset) : 0;
    unsigned long const error =
        count == 0 ? 0
                   : data->view.Map(m_data->file.Handle(), data->writes, access == XCFileMapAccess::CopyOnWrite, offset,
                                    static_cast<std::size_t>(count));
    // Another program may have emptied the file since its size was asked for.
    if (error != 0 && error != xc::win32::kErrorEmptyFile) return FileError(XCErrFileFailed, m_data->path, error);
    map = new XCFileMap(std::move(data));
    return XCErrorID::Success;
}
