// BareFile.h - appending to a file without the heap.
#pragma once

#include "win32/SystemPath.h"

#include <string>
#include <string_view>

namespace xc::win32 {

/// A file that is opened and written to when the heap may be damaged or locked for ever.
class BareFile {
public:
    /// Resolves the path, and what the system needs for it. @throws std::bad_alloc.
    void Prepare(SystemPath const& path);
    /// Creates the file when it is missing, appends, and closes it. Without effect before Prepare, and on failure: there is
    /// nobody left to tell.
    void Append(std::string_view bytes) const noexcept;

private:
    std::wstring m_path; ///< in the form of the system's kernel
};

} // namespace xc::win32
