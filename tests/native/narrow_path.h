// narrow_path.h - a path for the C library, made without the heap: some of the callers must not fail.
#pragma once

#include <cstddef>
#include <string>

namespace xc::win32 {

class Narrow {
public:
    explicit Narrow(std::wstring const& path) noexcept
    {
        for (std::size_t i = 0; i < path.size() && i + 1 < sizeof m_text; ++i) m_text[i] = static_cast<char>(path[i]);
    }
    [[nodiscard]] char const* c_str() const noexcept { return m_text; }

private:
    char m_text[4096]{};
};

} // namespace xc::win32
