// Replacing a file's contents. The new bytes go to a temporary file in the same folder, that file goes to the disk, and
// one renaming that replaces puts it in the target's place. The invariant: at every moment the target's name leads to
// the old or the new contents, whole, whatever ends the process or the machine. Writing over the target in place could
// not promise that, and the system's call that exchanges two files leaves the name without a file for a moment.
//
// The temporary file carries a mark of its machine and the number of its process, so that two processes never share one,
// also in a folder that several machines use. A process that is killed between the steps leaves its file; the next
// replacing of the same target removes the files whose processes have ended, or started after the file was written:
// their number has come again. Those of living ones stay: a file that is closed and about to be renamed cannot be told
// from an old one. The processes of another machine cannot be asked; its files go when they are a day old.
// Cost: one listing of the folder, one write, one flush of the disk, one renaming.
#include "win32/FileIo.h"

#include "win32/Clock.h"
#include "win32/FileSystem.h"
#include "win32/Process.h"

#include <algorithm>
#include <string>
#include <vector>

namespace xc::win32 {

namespace {

constexpr wchar_t kEnding[] = L".tmp";
constexpr unsigned int kMostTries = 1000; // names of one process for one target
constexpr unsigned int kRenamePatienceMs = 500;
constexpr std::uint64_t kDay = 24ull * 3600 * 10'000'000; // in the units of file times

class SystemSteps final : public ReplaceSteps {
public:
    unsigned long Create(SystemPath const& target, SystemPath& temporary) override;
    unsigned long Write(std::string_view bytes) override
    {
        unsigned long error = 0;
        m_length += m_file.Write(bytes, m_length, error);
        return error;
    }
    unsigned long Flush() override { return m_file.Flush(); }
    unsigned long Close() override { return m_file.Close(); }
    unsigned long Replace(SystemPath const& temporary, SystemPath const& target, Patience& patience) override
    {
        // Hidden files stay hidden.
        CopyAttributes(target, temporary);
        return RenameOver(temporary, target, patience);
    }
    void Remove(SystemPath const& temporary) noexcept override { RemoveFile(temporary); }

private:
    File m_file;
    std::uint64_t m_length = 0;
};

/// What the name of a temporary file tells.
struct TemporaryName {
    std::wstring_view machine;
    unsigned long process = 0; ///< 0: the name is not of this form
};

bool AreDigits(std::wstring_view text) noexcept
{
    return !text.empty() && text.find_first_not_of(L"0123456789") == std::wstring_view::npos;
}

/// The text up to the mark, which is taken off with it; all of it when there is no mark.
std::wstring_view TakeUpTo(std::wstring_view& text, wchar_t mark) noexcept
{
    std::wstring_view const part = text.substr(0, text.find(mark));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

/// "<target>.<machine>-<process>-<number>.tmp".
TemporaryName ReadTemporaryName(std::wstring_view name, std::wstring_view target) noexcept
{
    if (!name.starts_with(target) || !name.ends_with(kEnding)) return {};
    name.remove_prefix(target.size());
    name.remove_suffix(std::size(kEnding) - 1);
    if (!name.starts_with(L'.')) return {};
    name.remove_prefix(1);
    std::wstring_view const machine = TakeUpTo(name, L'-');
    std::wstring_view const process = TakeUpTo(name, L'-');
    if (machine.size() != MachineMark().size() || !AreDigits(process) || process.size() > 10 || !AreDigits(name))
        return {};
    std::uint64_t number = 0;
    for (wchar_t const digit : process) number = number * 10 + static_cast<std::uint64_t>(digit - L'0');
    return {machine, static_cast<unsigned long>(number)};
}

bool IsAbandoned(TemporaryName const& file, std::uint64_t lastWrite) noexcept
{
    if (file.machine != MachineMark()) return lastWrite + kDay < static_cast<std::uint64_t>(UtcTicks());
    return !IsProcessAlive(file.process) || StartedAfter(file.process, lastWrite);
}

std::wstring Digits(unsigned long number)
{
    std::string const digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

void RemoveAbandoned(SystemPath const& target)
{
    std::wstring const name(target.FileName());
    SystemPath const folder = target.Folder();
    std::vector<FolderEntry> entries;
    if (name.empty() || ListFolder(folder, name + L".*" + kEnding, entries) != 0) return;
    for (FolderEntry const& entry : entries) {
        TemporaryName const file = ReadTemporaryName(entry.name, name);
        if (entry.isFolder || file.process == 0 || !IsAbandoned(file, entry.lastWrite)) continue;
        RemoveFile(folder.Child(entry.name));
    }
}

unsigned long SystemSteps::Create(SystemPath const& target, SystemPath& temporary)
{
    FileFacts facts;
    // Renaming over a read-only file would succeed: the mark guards the contents, and a replacement is a change of them.
    // Over a folder it fails as it does for a file in use, and waiting would not help.
    if (GetFacts(target, facts) == 0 && (facts.isReadOnly || facts.isFolder)) return kErrorAccessDenied;
    RemoveAbandoned(target);
    std::wstring const stem = L"." + std::wstring(MachineMark()) + L"-" + Digits(ProcessId()) + L"-";
    unsigned long error = 0;
    for (unsigned int i = 0; i < kMostTries; ++i) {
        temporary = target.WithSuffix(stem + Digits(i) + kEnding);
        error = CreateLike(temporary, target, m_file);
        if (error == 0 || !Exists(temporary)) break; // else another thread's, or of an ended process of this number
    }
    return error;
}

} // namespace

unsigned long ReadWholeFile(SystemPath const& path, std::string& bytes)
{
    File file;
    if (unsigned long const error = file.Open(path, {.sequential = true})) return error;
    unsigned long error = 0;
    // One allocation; a file that grows meanwhile is read as it was when it was asked for its size.
    bytes.resize(static_cast<std::size_t>(file.Size(error)));
    if (error != 0) return error;
    bytes.resize(file.Read(bytes.data(), bytes.size(), 0, error)); // shorter when the file shrank meanwhile
    return error;
}

std::unique_ptr<ReplaceSteps> SystemReplaceSteps()
{
    return std::make_unique<SystemSteps>();
}

unsigned long Replacement::Fail(unsigned long error) noexcept
{
    Discard();
    m_state = State::Failed;
    return m_error = error;
}

unsigned long Replacement::Start()
{
    if (unsigned long const error = m_steps.Create(m_target, m_temporary)) return Fail(error);
    m_state = State::Open;
    return 0;
}

unsigned long Replacement::Write(std::string_view bytes)
{
    if (m_state == State::Failed) return m_error;
    // More after a Commit that was blocked would be missing in what a second Commit puts in place.
    if (m_state != State::Open) return Fail(kErrorInvalidHandle);
    unsigned long const error = m_steps.Write(bytes);
    return error == 0 ? 0 : Fail(error);
}

unsigned long Replacement::Commit(Patience& patience)
{
    if (m_state == State::Open) {
        m_state = State::Closed;
        unsigned long const flushing = m_steps.Flush();
        unsigned long const closing = m_steps.Close();
        if (flushing != 0 || closing != 0) return Fail(flushing != 0 ? flushing : closing);
    }
    if (m_state != State::Closed) return m_state == State::Failed ? m_error : kErrorInvalidHandle;
    unsigned long const error = m_steps.Replace(m_temporary, m_target, patience);
    if (error == 0) m_state = State::Done;
    return error == 0 || IsInUse(error) ? error : Fail(error);
}

void Replacement::Discard() noexcept
{
    if (m_state == State::Open) m_steps.Close();
    if (m_state == State::Open || m_state == State::Closed) m_steps.Remove(m_temporary);
    m_state = State::Idle;
}

unsigned long ReplaceFileContents(SystemPath const& path, std::string_view bytes, ReplaceSteps& steps)
{
    Patience patience{kRenamePatienceMs};
    Replacement replacement(path, steps);
    unsigned long error = replacement.Start();
    if (error == 0) error = replacement.Write(bytes);
    return error == 0 ? replacement.Commit(patience) : error;
}

} // namespace xc::win32
