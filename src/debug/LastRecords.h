// LastRecords.h - the log records that were written last, kept for the record of a fault.
#pragma once

#include <XelbrinCore/XCLogSubscriber.h>

#include <array>
#include <mutex>
#include <string>

namespace xc::debug {

/// A subscriber that keeps the heads of the last texts it was given. Nothing is allocated after its construction.
class LastRecords final : public XCLogSubscriberI {
public:
    static constexpr std::size_t kRecords = 64;
    static constexpr std::size_t kUnits = 256; ///< of each record

    void OnFlush(int level, XCString const& text) override;
    /// One line each, the oldest first; what is cut ends in "...". @return false when the thread that holds the lock has
    /// not come back in time, as when it is the one of the fault: then nothing is known.
    bool Read(std::wstring& lines) noexcept;

private:
    struct Record {
        std::size_t count = 0;
        bool isCut = false;
        wchar_t text[kUnits];
    };
    std::timed_mutex m_lock;
    std::array<Record, kRecords> m_records{};
    std::size_t m_next = 0; ///< of all that ever came
};

} // namespace xc::debug
