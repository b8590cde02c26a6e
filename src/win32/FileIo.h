// FileIo.h - whole files: read at once, replaced at once.
//
// Errors are the numbers of the operating system; 0 is success.
#pragma once

#include "win32/FileSystem.h"
#include "win32/SystemPath.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace xc::win32 {

/// Reads the whole file. After an error `bytes` is unspecified. Other handles may be open for writing.
unsigned long ReadWholeFile(SystemPath const& path, std::string& bytes);

/// The steps by which a file is replaced, so that each can be made to fail.
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
    /// Puts the temporary file in the target's place in one step; the target need not exist. Tries again while others
    /// hold one of them.
    virtual unsigned long Replace(SystemPath const& temporary, SystemPath const& target, Patience& patience) = 0;
    virtual void Remove(SystemPath const& temporary) noexcept = 0;
};
std::unique_ptr<ReplaceSteps> SystemReplaceSteps();

/// Makes new bytes the content of a file: whoever reads it, even after a crash, finds the old or the new content whole.
/// Until Commit has returned 0 the old file is untouched; the end of the object removes what stands beside it.
class Replacement {
public:
    /// Nothing is done yet. The steps must outlive the object.
    Replacement(SystemPath target, ReplaceSteps& steps) noexcept : m_target(std::move(target)), m_steps(steps) {}
    ~Replacement() { Discard(); }
    Replacement(Replacement const&) = delete;
    Replacement& operator=(Replacement const&) = delete;

    /// Creates the temporary file.
    unsigned long Start();
    /// After an error every further call but Discard returns it: an incomplete file never takes the target's place.
    unsigned long Write(std::string_view bytes);
    /// After a number of IsInUse it may be called again; after any other, all is discarded.
    unsigned long Commit(Patience& patience);
    /// Removes the temporary file; everything may begin anew.
    void Discard() noexcept;
    [[nodiscard]] SystemPath const& Target() const noexcept { return m_target; }
    [[nodiscard]] bool IsStarted() const noexcept { return m_state != State::Idle; }

private:
    enum class State { Idle, Open, Closed, Done, Failed };
    unsigned long Fail(unsigned long error) noexcept;

    SystemPath m_target;
    SystemPath m_temporary;
    ReplaceSteps& m_steps;
    State m_state = State::Idle;
    unsigned long m_error = 0; ///< of State::Failed
};

/// All of it at once; nothing is left beside the file after an error.
unsigned long ReplaceFileContents(SystemPath const& path, std::string_view bytes, ReplaceSteps& steps);

} // namespace xc::win32
