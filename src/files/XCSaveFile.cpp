// The public face of the replacement in src/win32 (FileIo), which configuration files use as well.
//
// Small writes are collected, since most savers write values and lines. The first failure is kept by the replacement,
// so that a saver may write on and look at the end alone: Commit of an incomplete content is refused there. A failure
// of the name is found in the constructor and told by the first call that can return it.
#include <XelbrinCore/XCSaveFile.h>

#include "encoding/EncodedText.h"
#include "files/FileErrors.h"
#include "files/OpenName.h"
#include "win32/FileIo.h"

#include <string>

using xc::files::FileError;

struct XCSaveFile::Data {
    static constexpr std::size_t kBuffer = 64 * 1024;

    explicit Data(xc::win32::SystemPath const& path) : replacement(path, *steps) {}

    /// Hands the collected bytes to the file.
    unsigned long Pass()
    {
        unsigned long const error = buffer.empty() ? 0 : replacement.Write(buffer);
        buffer.clear();
        return error;
    }

    std::unique_ptr<xc::win32::ReplaceSteps> steps = xc::win32::SystemReplaceSteps();
    xc::win32::Replacement replacement;
    XCErrorID badName;
    XCErrorID badText; ///< a text that is missing in the content
    std::string buffer;
    bool empty = true; ///< nothing was written
};

XCSaveFile::XCSaveFile(XCPath const& path, XCFileNames names)
{
    // The path is made absolute now: the current folder may be another one when Commit is called.
    xc::win32::SystemPath system;
    XCErrorID const fault = xc::files::NameToOpen(path, names, true, system);
    m_data = std::make_unique<Data>(system);
    m_data->badName = fault;
}

XCSaveFile::~XCSaveFile() = default;

XCPath XCSaveFile::GetPath() const
{
    return XCString(m_data->replacement.Target().Text());
}

XCErrorID XCSaveFile::Open()
{
    if (m_data->badName.Bad()) return m_data->badName;
    if (m_data->badText.Bad() || m_data->replacement.IsStarted()) return m_data->badText;
    return FileError(XCErrFileCannotWrite, m_data->replacement.Target(), m_data->replacement.Start());
}

XCErrorID XCSaveFile::Write(void const* from, std::size_t size)
{
    if (XCErrorID const fault = Open(); fault.Bad()) return fault;
    std::string_view const bytes(static_cast<char const*>(from), size);
    unsigned long error = 0;
    m_data->empty = m_data->empty && size == 0;
    if (m_data->buffer.size() + size > Data::kBuffer) error = m_data->Pass();
    // Large pieces go past the buffer; the order stays, since what was collected went first.
    if (error == 0 && size >= Data::kBuffer)
        error = m_data->replacement.Write(bytes);
    else
        m_data->buffer.append(bytes);
    return FileError(XCErrFileCannotWrite, m_data->replacement.Target(), error);
}

XCErrorID XCSaveFile::WriteText(std::wstring_view text, XCTextEncoding encoding)
{
    std::string bytes;
    if (m_data->empty) bytes = xc::encoding::ByteOrderMark(encoding);
    if (XCErrorID const fault = xc::encoding::AppendEncoded(bytes, text, encoding); fault.Bad())
        // Kept until Discard: a content that lacks a text must not be committed, even by a caller that looks at the end
        // alone.
        return m_data->badText = fault;
    return Write(bytes.data(), bytes.size());
}

XCErrorID XCSaveFile::Commit(unsigned int deadlineMs, unsigned int* tries)
{
    xc::win32::Patience patience{deadlineMs};
    if (tries) *tries = 0;
    if (XCErrorID const fault = Open(); fault.Bad()) return fault;
    unsigned long error = m_data->Pass();
    if (error == 0) error = m_data->replacement.Commit(patience);
    if (tries) *tries = patience.tries;
    auto const& target = m_data->replacement.Target();
    // Access may be denied for good reasons before the renaming, too; only a renaming that was tried is "held".
    bool const wasTried = patience.tries != 0;
    if (wasTried && xc::win32::IsInUse(error)) return xc::files::HeldError(target, error, patience.tries);
    if (error == 0) Discard();
    return FileError(XCErrFileCannotWrite, target, error);
}

void XCSaveFile::Discard() noexcept
{
    m_data->replacement.Discard();
    m_data->badText = XCErrorID();
    m_data->buffer.clear();
    m_data->empty = true;
}

XCErrorID XCSaveFile::Save(XCPath const& path, XCBytes bytes, unsigned int deadlineMs)
{
    XCSaveFile file(path);
    if (XCErrorID const fault = file.Write(bytes.Data(), bytes.Size()); fault.Bad()) return fault;
    return file.Commit(deadlineMs);
}
