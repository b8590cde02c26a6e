// PendingTexts.h - what threads have written to a stream buffer and not flushed yet, each thread's apart.
#pragma once

#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace xc::log {

/// Threads are known by numbers that are never used again: a later thread does not inherit a text. Any thread; the lock
/// is never held while subscribers run.
class PendingTexts {
public:
    struct Text {
        std::uint64_t thread = 0; ///< 0: free
        int level = 0;            ///< at which it was begun
        XCString text;
    };

    /// Adds to a thread's text. Returns its length, and whether it was begun now.
    struct Added {
        std::size_t length;
        bool isNew;
    };
    Added Append(std::uint64_t thread, int level, std::wstring_view text);
    /// Takes a thread's text out. False when it has none.
    bool Take(std::uint64_t thread, Text& taken) noexcept;
    /// Gives the storage of a text back to be used for a later one.
    void Recycle(XCString& storage) noexcept;
    /// The thread whose text stands at a place, 0 for none. False: there are fewer places.
    bool At(std::size_t place, std::uint64_t& thread) const noexcept;

private:
    mutable XCCriticalSection m_section;
    std::vector<Text> m_texts;
};

} // namespace xc::log
