// XCSaveFile.h - new content for a file, all of it or none.
//
// WHAT     XCSaveFile collects bytes in a temporary file of the same folder; Commit puts that file in the target's place
//          in one step. Whoever opens the target meanwhile, or after the process or the machine has ended at any
//          moment, finds the old or the new content whole. Configuration files are saved this way.
//
//              XCSaveFile file(L"prices.csv");
//              XCErrorID const saved = WritePrices(file);   // Write, WriteText, or an XCBinaryWriter over it
//              return saved.Good() ? file.Commit(2000) : saved;
//
// KEEPS    The rights and attributes of the old file. A file that is marked read-only is not replaced. A link is replaced
//          itself, not the file that it leads to; further names and streams of the old file do not come along. The
//          temporary file has the target's name and about 30 units more: file systems refuse that for names above 220.
// BLOCKED  Scanners, indexers and readers that share nothing hold a file for moments, some for long. How long Commit
//          tries is the caller's choice; the count of tries is told.
// COST     One buffer of 64 KiB; one flush of the disk, one listing of the folder, one renaming.
// ERRORS   Returned, with path, number and words of the system. After a Write that failed Commit fails, too, and nothing
//          has changed. The end of the object without Commit changes nothing and leaves nothing behind; what a killed
//          process has left is removed by the next save of the same file.
// THREADS  One thread at a time. Several objects and processes may save one file: the last Commit wins, whole.
#pragma once

#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCByteStream.h>
#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCFile.h>
#include <XelbrinCore/XCPath.h>
#include <XelbrinCore/XCStringConverter.h>

#include <cstddef>
#include <memory>
#include <string_view>

/// The content of a file that is to be replaced, or created.
class XC_API XCSaveFile : public XCByteSinkI {
public:
    /// How long Commit tries unless it is told: milliseconds.
    static constexpr unsigned int kUsualDeadlineMs = 500;

    /// Nothing is opened yet. A relative path is resolved now.
    explicit XCSaveFile(XCPath const& path, XCFileNames names = XCFileNames::Plain);
    XCSaveFile(XCSaveFile const&) = delete;
    XCSaveFile& operator=(XCSaveFile const&) = delete;
    /// Discards what was not committed.
    ~XCSaveFile() override;

    /// The absolute path of the target.
    [[nodiscard]] XCPath GetPath() const;
    /// Creates the temporary file, to see early whether that is possible; Write and Commit do it when it was not done.
    XCErrorID Open();
    XCErrorID Write(void const* from, std::size_t size) override;
    /// Writes text in an encoding; its byte order mark stands before the first bytes.
    XCErrorID WriteText(std::wstring_view text, XCTextEncoding encoding = XCTextEncoding::Utf8);
    /// Puts what was written in the target's place; nothing written makes an empty file.
    /// @param deadlineMs how long to try while others hold the target; 0 tries once, 0xFFFFFFFF without end.
    /// @param tries receives how often it was tried; null if not wanted.
    /// @return XCErrFileHeld when the time has run out: it may be called again, or all discarded.
    XCErrorID Commit(unsigned int deadlineMs = kUsualDeadlineMs, unsigned int* tries = nullptr);
    /// Removes the temporary file; a new content may begin.
    void Discard() noexcept;

    /// All in one call.
    static XCErrorID Save(XCPath const& path, XCBytes bytes, unsigned int deadlineMs = kUsualDeadlineMs);

private:
    struct Data;

    std::unique_ptr<Data> m_data;
};
