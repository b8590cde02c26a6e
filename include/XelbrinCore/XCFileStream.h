// XCFileStream.h - a file read and written through a buffer: bytes, typed values, lines of text.
//
// WHAT     XCFileStream is a source and a sink of bytes (XCByteStream.h), so that XCBinaryReader and XCBinaryWriter read
//          and write typed values of a file through it; and it reads and writes text by lines in any encoding.
//
//              XCFileStream stream;
//              XCErrorID fault = stream.Open(L"orders.txt", XCFileMode::ToRead());
//              XCString line;
//              for (bool got = true; fault.Good() && got;)
//                  if (fault = stream.ReadLine(line, got); fault.Good() && got) Take(line);
//
// ENCODING A byte order mark at the beginning decides. Without one a text is in the encoding of the options, UTF-8 unless
//          they say otherwise, or in that of any converter, such as a code page of the system. A line that is no text in
//          the encoding is an error that names file, line and byte; the next call goes on with the next line.
//          What is written to a file that has a text already is in the encoding of the options.
// LINES    End in LF or CR LF, which are not part of the line; the last one may go without.
// SIZES    One buffer of 64 KiB for reading and one for writing, made when they are first needed. A line has a limit
//          (XCTextOptions::maxLineUnits), and memory for no more than four bytes a unit is ever used.
// POSITION One place for reading and writing, of this stream alone: other users of the same XCFile are not disturbed.
//          A typed reader reads ahead; the place is past what it has given out.
// ERRORS   Returned. Bytes that a failed write could not pass on are kept and tried again by the next call. Close tells
//          whether everything has been written; the destructor writes it, too, but has nobody to tell.
// THREADS  One thread at a time.
#pragma once

#include <XelbrinCore/XCByteStream.h>
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFile.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCStringConverter.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

/// How the text of a stream is read and written.
struct XCTextOptions {
    XCTextEncoding encoding = XCTextEncoding::Utf8;      ///< of a text without a mark, and of a new one with its mark
    XCSmartPtrToConst<XCStringConverter> converter = {}; ///< in the place of `encoding` for all others; may be null
    std::size_t maxLineUnits = std::size_t{1} << 20;     ///< a longer line is an error and is passed over
    bool wholeLinesOnly = false;                         ///< a line without its end stays for later: it may still grow
    bool crlf = true;                                    ///< the line end that is written: CR LF, or LF alone
};

/// A file through a buffer.
class XC_API XCFileStream : public XCByteSourceI, public XCByteSinkI {
public:
    /// Without a file: every call fails until Open.
    XCFileStream();
    /// Over an open file, from its beginning on. @param file not null.
    explicit XCFileStream(XCSmartPtr<XCFile> file, XCTextOptions options = {});
    XCFileStream(XCFileStream const&) = delete;
    XCFileStream& operator=(XCFileStream const&) = delete;
    ~XCFileStream() override;

    /// Closes what was open, then opens another file.
    XCErrorID Open(XCPath const& path, XCFileMode const& mode, XCTextOptions options = {});
    /// Writes what is held and releases the file. Bad: something could not be written, and is lost.
    XCErrorID Close();
    /// The file; null when none is open. Its own position is not used here.
    [[nodiscard]] XCSmartPtr<XCFile> const& GetFile() const noexcept;

    XCErrorID Read(void* to, std::size_t size, std::size_t& got) override;
    bool GetRemaining(std::uint64_t& remaining) const override;
    /// After a failure none of these bytes was taken, unless there are 64 KiB or more of them.
    XCErrorID Write(void const* from, std::size_t size) override;
    /// Hands what is held to the file system; GetFile()->Flush() waits for the disk as well.
    XCErrorID Flush() override;

    /// The place of the next byte that is read or written; in a file that was opened to append, read.
    [[nodiscard]] std::uint64_t GetPosition() const noexcept;
    /// Writes what is held and goes to a place. Lines are counted from there on.
    XCErrorID Seek(std::uint64_t position);

    /// Reads a line. @param got false, and an empty line, at the end.
    /// @return XCErrFileLine, XCErrFileText: the line is passed over; the next call reads the next one.
    XCErrorID ReadLine(XCString& line, bool& got);
    /// The lines read or passed over since Open or Seek.
    [[nodiscard]] std::uint64_t GetLineNumber() const noexcept;
    /// The encoding of the text: that of the mark once it was seen.
    [[nodiscard]] XCTextEncoding GetEncoding() const noexcept;
    /// Writes text. The first text of an empty file stands after the mark of the encoding, if that has one. Bad, and
    /// nothing written, when the encoding cannot hold it, such as half of a surrogate pair in UTF-8.
    XCErrorID WriteText(std::wstring_view text);
    /// The same with a line end.
    XCErrorID WriteLine(std::wstring_view text);

private:
    struct Data;

    std::unique_ptr<Data> m_data;
};
