// RecordFile.h - a file of whole records: holds what cannot be written yet, writes whole records at once, tries again.
//
// A record is added by BeginRecord, which gives the bytes to append to, and EndRecord. Bytes go to the file in one write
// of whole records: at once when asked for, otherwise when a block is full, at Flush and at Close. When the file cannot
// be opened or written (missing folder, full disk, held by another program) the records wait in memory, up to
// kMostHeld bytes; then new records are dropped. A failed try is repeated with the first record after kRetryMs, and at
// once by Flush, Open and Close. Each failed try and each record that is lost counts as a failure.
#pragma once

#include "log/Failures.h"
#include "log/Rotation.h"
#include "win32/AppendFile.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace xc::log {

/// See above. One thread at a time; the failures may be read by any.
class RecordFile {
public:
    enum class Start { Append, Truncate };
    static constexpr std::size_t kBlock = 64 * 1024;
    static constexpr std::size_t kMostHeld = 4 * 1024 * 1024;
    static constexpr std::uint64_t kRetryMs = 250;

    RecordFile() = default;
    ~RecordFile() { Close(); }
    RecordFile(RecordFile const&) = delete;
    RecordFile& operator=(RecordFile const&) = delete;

    /// Closes the file in use and names another. Truncation happens once, when it is opened for the first time.
    void SetTarget(win32::SystemPath path, Start start);
    void SetRotation(std::unique_ptr<Rotation> rotation) noexcept { m_rotation = std::move(rotation); }
    [[nodiscard]] win32::SystemPath const& Path() const noexcept { return m_path; }
    bool Open() noexcept;
    /// Open, but not sooner than kRetryMs after a failure.
    bool OpenWhenDue() noexcept { return IsOpen() || (MayTry() && Open()); }
    [[nodiscard]] bool IsOpen() const noexcept { return m_file.IsOpen(); }
    /// Whether the last try to open or write went well.
    [[nodiscard]] bool IsValid() const noexcept { return m_valid; }

    /// The system's error of the last failure.
    [[nodiscard]] unsigned long LastError() const noexcept { return m_lastError; }

    std::string& BeginRecord() noexcept;
    void EndRecord(bool writeNow) noexcept;
    /// Counts a record that never came here. Any thread.
    void NoteLost(wchar_t const* why) noexcept { m_failures.NoteFile(why, m_path.Text(), 0); }
    /// Takes back what was appended since BeginRecord.
    void DropRecord(wchar_t const* why) noexcept;

    /// Writes everything held; opens the file when it is not open. False when something is still held.
    bool Flush() noexcept;
    /// Flushes and closes. Records that still cannot be written are lost: counted, and told once on the error output.
    void Close() noexcept;
    /// Close at the end of the program. A later record opens the file again and is written at once.
    void CloseForExit() noexcept
    {
        Close();
        m_exiting = true;
    }

    [[nodiscard]] Failures const& GetFailures() const noexcept { return m_failures; }

private:
    struct Record {
        std::size_t size;  ///< bytes of it that are still held
        std::uint32_t day; ///< the local day on which it was made
    };

    [[nodiscard]] bool MayTry() const noexcept;
    bool Fail(wchar_t const* what, unsigned long error) noexcept;
    [[nodiscard]] std::size_t FittingBytes(bool mayPutAside) noexcept;
    bool Write(std::size_t count) noexcept;
    void Consume(std::size_t count) noexcept;
    void DropLastRecord() noexcept;
    void GiveUp() noexcept;
    void PutAside() noexcept;

    win32::SystemPath m_path;
    Start m_start = Start::Append;
    win32::AppendFile m_file;
    std::string m_pending;         ///< whole records, then the one that is being built
    std::size_t m_complete = 0;    ///< bytes of the whole ones
    std::vector<Record> m_records; ///< the whole ones, in order
    win32::AppendCut m_cut;        ///< of the first of them
    std::uint64_t m_fileSize = 0;  ///< found at opening, plus what was written here
    std::uint64_t m_nextTry = 0;
    bool m_valid = true;
    bool m_continues = false; ///< this object has written to the file
    bool m_exiting = false;
    bool m_toldLoss = false;
    unsigned long m_lastError = 0;
    std::unique_ptr<Rotation> m_rotation;
    Failures m_failures;
};

} // namespace xc::log
