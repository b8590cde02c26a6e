// FileIo.h - whole files: read at once, replaced at once.
//
// Errors are the numbers of the operating system; 0 is success.
#pragma once

#include "win32/SystemPath.h"

#include <memory>
#include <string>
#include <string_view>

namespace xc::win32 {

/// Reads the whole file. After an error `bytes` is unspecified. Other handles may be open for writing.
unsigned long ReadWholeFile(SystemPath const& path, std::string& bytes);

/// The steps by which ReplaceFileContents works, so that each can be made to fail.
class ReplaceSteps {
public:
    virtual ~ReplaceSteps() = default;
    /// Makes a file beside the target under a name that is not in use, and opens it. Removes the files that ended
    /// processes have left there.
    virtual unsigned long Create(SystemPath const& target, SystemPath& temporary) = 0;
    virtual unsigned long Write(std::string_view bytes) = 0;
    /// Waits until the disk holds what was written.
    virtual unsigned long Flush() = 0;
    virtual unsigned long Close() = 0;
    /// Puts the temporary file in the target's place in one step; the target need not exist.
    virtual unsigned long Replace(SystemPath const& temporary, SystemPath const& target) = 0;
    virtual void Remove(SystemPath const& temporary) noexcept = 0;
};
std::unique_ptr<ReplaceSteps> SystemReplaceSteps();

/// Makes `bytes` the content of the file: whoever reads it, even after a crash, finds the old or the new content
/// whole. After an error the old file is untouched and nothing is left beside it.
unsigned long ReplaceFileContents(SystemPath const& path, std::string_view bytes, ReplaceSteps& steps);

} // namespace xc::win32
