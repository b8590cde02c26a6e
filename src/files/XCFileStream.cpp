// Buffers between a file and those who read and write it in small pieces.
//
// The stream has one place. Bytes that were read ahead begin there, bytes that wait to be written end there, so that a
// change of direction needs no arithmetic: writing forgets what was read ahead, reading passes on what is held. Every
// call of the file carries its place. Pieces as large as the buffer go past it, so that copying large blocks costs
// what the system's call costs. In a file that is appended to the place is for reading alone.
//
// A write that fails in part, as on a full disk, leaves the rest held: the next call tries it again, and nothing is
// written twice.
#include "files/StreamData.h"

#include "files/FileErrors.h"
#include "win32/File.h"

#include <algorithm>
#include <cstring>
#include <utility>

using xc::files::kStreamBuffer;

// Data ----------------------------------------------------------------------------------------------------------

void XCFileStream::Data::Take(XCSmartPtr<XCFile> newFile, XCTextOptions newOptions)
{
    file = std::move(newFile);
    options = std::move(newOptions);
    encoding = options.encoding;
    // The buffer stays for the next file.
    position = line = 0;
    start = end = 0;
    held.clear();
    part.clear();
    markWritten = markSought = false;
}

XCErrorID XCFileStream::Data::WhyNot() const
{
    if (file) return XCErrorID::Success;
    return xc::files::FileError(XCErrFileFailed, {}, xc::win32::kErrorInvalidHandle);
}

XCErrorID XCFileStream::Data::Fill()
{
    if (start < end) return XCErrorID::Success;
    // Streams that only write never need it.
    if (!buffer) buffer = std::make_unique_for_overwrite<char[]>(kStreamBuffer);
    start = end = 0;
    return file->ReadAt(position, buffer.get(), kStreamBuffer, end);
}

XCErrorID XCFileStream::Data::Pass()
{
    if (held.empty()) return XCErrorID::Success;
    std::size_t done = 0;
    XCErrorID const result = file->IsAppending()
                                 ? file->Write(held.data(), held.size(), &done)
                                 : file->WriteAt(position - held.size(), held.data(), held.size(), &done);
    // The rest begins where these bytes end, so that the next attempt goes on at the right place.
    held.erase(0, done);
    return result;
}

XCErrorID XCFileStream::Data::MakeRoom(std::size_t size)
{
    if (XCErrorID const fault = WhyNot(); fault.Bad()) return fault;
    // What was read ahead may be what is overwritten now.
    if (!file->IsAppending()) start = end = 0;
    if (held.size() + size > kStreamBuffer) return Pass();
    return XCErrorID::Success;
}

void XCFileStream::Data::Added(std::size_t size) noexcept
{
    if (!file->IsAppending()) position += size;
}

// XCFileStream --------------------------------------------------------------------------------------------------

XCFileStream::XCFileStream() : m_data(std::make_unique<Data>()) {}

XCFileStream::XCFileStream(XCSmartPtr<XCFile> file, XCTextOptions options) : XCFileStream()
{
    m_data->Take(std::move(file), std::move(options));
}

XCFileStream::~XCFileStream()
{
    try {
        if (m_data->file) (void)m_data->Pass();
    } catch (...) { // no memory for the error that nobody would see
    }
}

XCErrorID XCFileStream::Open(XCPath const& path, XCFileMode const& mode, XCTextOptions options)
{
    // The failure of the old file must not be lost in the success of the new one.
    XCErrorID const closed = Close();
    XCSmartPtr<XCFile> file;
    if (closed.Bad()) return closed;
    if (XCErrorID const fault = XCFile::Open(path, mode, file); fault.Bad()) return fault;
    m_data->Take(std::move(file), std::move(options));
    return XCErrorID::Success;
}

XCErrorID XCFileStream::Close()
{
    if (!m_data->file) return XCErrorID::Success;
    // Bytes that could not be written are given up: the caller is told, and the file is released in any case.
    XCErrorID const result = m_data->Pass();
    m_data->Take({}, {});
    return result;
}

XCSmartPtr<XCFile> const& XCFileStream::GetFile() const noexcept
{
    return m_data->file;
}

XCErrorID XCFileStream::Read(void* to, std::size_t size, std::size_t& got)
{
    got = 0;
    if (XCErrorID const fault = Flush(); fault.Bad()) return fault;
    if (m_data->Ahead().empty() && size >= kStreamBuffer) {
        XCErrorID const result = m_data->file->ReadAt(m_data->position, to, size, got);
        // A source gives out bytes or an error, never both; the bytes are read again.
        if (result.Bad()) got = 0;
        m_data->position += got;
        return result;
    }
    if (XCErrorID const fault = m_data->Fill(); fault.Bad()) return fault;
    got = std::min(size, m_data->Ahead().size());
    if (got != 0) std::memcpy(to, m_data->Ahead().data(), got);
    m_data->Consume(got);
    return XCErrorID::Success;
}

bool XCFileStream::GetRemaining(std::uint64_t& remaining) const
{
    std::uint64_t size = 0;
    if (!m_data->file || m_data->file->GetSize(size).Bad()) return false;
    // The place may lie past the end of a file that was cut meanwhile.
    remaining = size - std::min(size, m_data->position);
    return true;
}

XCErrorID XCFileStream::Write(void const* from, std::size_t size)
{
    if (XCErrorID const fault = m_data->MakeRoom(size); fault.Bad()) return fault;
    if (size < kStreamBuffer) {
        m_data->held.append(static_cast<char const*>(from), size);
        m_data->Added(size);
        return XCErrorID::Success;
    }
    std::size_t done = 0;
    XCFile& file = *m_data->file;
    XCErrorID const result =
        file.IsAppending() ? file.Write(from, size, &done) : file.WriteAt(m_data->position, from, size, &done);
    m_data->Added(done);
    return result;
}

XCErrorID XCFileStream::Flush()
{
    XCErrorID const fault = m_data->WhyNot();
    return fault.Bad() ? fault : m_data->Pass();
}

std::uint64_t XCFileStream::GetPosition() const noexcept
{
    return m_data->position;
}

XCErrorID XCFileStream::Seek(std::uint64_t position)
{
    if (XCErrorID const fault = Flush(); fault.Bad()) return fault;
    std::uint64_t const ahead = m_data->position + m_data->Ahead().size();
    // Short moves forward stay in what was read ahead, as when a record is passed over.
    bool const isAhead = position >= m_data->position && position <= ahead;
    if (isAhead)
        m_data->start += static_cast<std::size_t>(position - m_data->position);
    else
        m_data->start = m_data->end = 0;
    m_data->position = position;
    m_data->line = 0;
    return XCErrorID::Success;
}

XCErrorID XCFileStream::ReadLine(XCString& line, bool& got)
{
    got = false;
    XCErrorID result = Flush();
    if (result.Good()) result = m_data->ReadLine(line, got);
    if (!got) line.Clear();
    return result;
}

std::uint64_t XCFileStream::GetLineNumber() const noexcept
{
    return m_data->line;
}

XCTextEncoding XCFileStream::GetEncoding() const noexcept
{
    return m_data->encoding;
}

XCErrorID XCFileStream::WriteText(std::wstring_view text)
{
    return m_data->PutText(text, false);
}

XCErrorID XCFileStream::WriteLine(std::wstring_view text)
{
    return m_data->PutText(text, true);
}
