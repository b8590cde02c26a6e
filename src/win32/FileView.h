// FileView.h - a part of a file in memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace xc::win32 {

/// The number for "an empty file has no view".
inline constexpr unsigned long kErrorEmptyFile = 1006;

/// Owns a view; empty at first.
class FileView {
public:
    FileView() noexcept = default;
    ~FileView();
    FileView(FileView const&) = delete;
    FileView& operator=(FileView const&) = delete;

    /// Once. The part must not be empty nor reach past the end. Returns a number of the system; 0 is success.
    unsigned long Map(void* file, bool writes, bool copies, std::uint64_t offset, std::size_t size) noexcept;
    unsigned long Flush() noexcept;
    [[nodiscard]] void* Bytes() const noexcept { return m_bytes; }
    [[nodiscard]] std::size_t Size() const noexcept { return m_size; }

private:
    void* m_base = nullptr; ///< at a multiple of what the system maps at a time
    void* m_bytes = nullptr;
    std::size_t m_size = 0;
};

} // namespace xc::win32
