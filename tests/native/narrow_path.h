// narrow_path.h - a path for the C library, made without the heap: some of the callers must not fail.
#pragma once

#include "win32/SystemPath.h"

#include <cstddef>

namespace xc::win32 {

struct Narrow {
    explicit Narrow(SystemPath const& path) noexcept
    {
        wchar_t const* const text = path.ForSystem();
        for (std::size_t i = 0; text[i] != 0 && i + 1 < sizeof m_text; ++i) m_text[i] = static_cast<char>(text[i]);
    }
    [[nodiscard]] char const* c_str() const noexcept { return m_text; }

private:
    char m_text[4096]{};
};

} // namespace xc::win32
