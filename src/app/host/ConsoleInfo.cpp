// A program meets its standard streams in two places that need not agree: the descriptors of the C runtime, which the C
// and C++ streams use, and the handles of the system. Redirecting exchanges the descriptors, so that streams which hold
// one follow, and then sets the handles to match. Coming back depends on how it was before. A handle that was the
// descriptor's own is gone, since the runtime has closed it, and the restored descriptor's stands for it; any other
// handle was set by the program, is still open, and comes back to the letter. A descriptor that was closed is closed
// again. The file's own descriptor is never one of the two, although the lowest free number would be: it is closed when
// both streams have their copy. What was before is kept before the file is opened, for the same reason.
#include <XelbrinCore/XCConsoleInfo.h>

#include "errors/CoreError.h"
#include "win32/Console.h"
#include "win32/File.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <utility>
#include <windows.h>

namespace {

constexpr int kOutput = 1;
constexpr int kError = 2;

/// Null when there is no such descriptor: services have no console.
HANDLE HandleOf(int descriptor) noexcept
{
    return descriptor < 0 ? nullptr : reinterpret_cast<HANDLE>(::_get_osfhandle(descriptor));
}

/// Owns a descriptor of the runtime; -1 is none.
class Descriptor {
public:
    explicit Descriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
    ~Descriptor()
    {
        if (m_descriptor >= 0) ::_close(m_descriptor);
    }
    Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    [[nodiscard]] int Get() const noexcept { return m_descriptor; }

private:
    int m_descriptor;
};

/// The same file by a descriptor that is none of the standard ones.
Descriptor AboveStandard(int descriptor)
{
    Descriptor low(descriptor);
    if (descriptor < 0 || descriptor > kError) return low;
    return AboveStandard(::_dup(descriptor)); // the lower ones are held until one is found
}

/// Over the file, which is created when missing; none, and the thread's last error, when it cannot be opened.
Descriptor OpenToAppend(XCString const& fileName)
{
    using xc::win32::FileMode;
    xc::win32::File file;
    if (file.Open(xc::win32::SystemPath(fileName.View()),
                  {.access = FileMode::Access::Append, .start = FileMode::Start::OpenOrCreate}) != 0)
        return Descriptor(-1);
    int const descriptor = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(file.Handle()), _O_APPEND | _O_BINARY);
    if (descriptor < 0)
        ::SetLastError(ERROR_TOO_MANY_OPEN_FILES);
    else
        (void)file.Release(); // the descriptor's now
    return AboveStandard(descriptor);
}

void FlushStandardStreams() noexcept
{
    std::fflush(stdout);
    std::fflush(stderr);
}

} // namespace

namespace xc::host {

/// What a standard stream was before it was sent elsewhere.
class RedirectedStream {
public:
    RedirectedStream(int standard, DWORD id) noexcept
        : m_standard(standard), m_id(id), m_ofProgram(::GetStdHandle(id)), m_before(::_dup(standard))
    {
        m_isOfProgram = m_before < 0 || m_ofProgram != HandleOf(standard);
    }
    ~RedirectedStream()
    {
        if (m_isExchanged && m_before < 0) ::_close(m_standard); // there was none
        if (m_isExchanged && m_before >= 0) Exchange(m_before);
        if (m_before >= 0) ::_close(m_before);
        if (m_isExchanged && m_isOfProgram) ::SetStdHandle(m_id, m_ofProgram);
    }
    RedirectedStream(RedirectedStream const&) = delete;
    RedirectedStream& operator=(RedirectedStream const&) = delete;

    /// The descriptors are exchanged, not the handles alone: the runtime's streams follow them, and the handles follow
    /// for those who look there.
    void Exchange(int descriptor) noexcept
    {
        m_isExchanged = true;
        ::_dup2(descriptor, m_standard);
        ::SetStdHandle(m_id, HandleOf(m_standard));
    }
    [[nodiscard]] HANDLE Before() const noexcept { return m_isOfProgram ? m_ofProgram : HandleOf(m_before); }

private:
    int m_standard;
    DWORD m_id;
    HANDLE m_ofProgram; ///< the system's handle before
    int m_before;       ///< a copy, which also keeps the descriptor's handle open; -1 when there was no such stream
    bool m_isExchanged = false;
    bool m_isOfProgram; ///< that handle was not the descriptor's: the program had set it, and owns it
};

} // namespace xc::host

struct XCConsoleInfo::State {
    xc::host::RedirectedStream output{kOutput, STD_OUTPUT_HANDLE};
    xc::host::RedirectedStream error{kError, STD_ERROR_HANDLE};
};

XCConsoleInfo::XCConsoleInfo() = default;

XCConsoleInfo::~XCConsoleInfo()
{
    Close();
}

XCErrorID XCConsoleInfo::Open(XCString const& fileName)
{
    XCLockGuard<XCCriticalSection> const guard(m_section);
    std::unique_ptr<State> fresh = m_state ? nullptr : std::make_unique<State>(); // else the console is known already
    Descriptor const file = OpenToAppend(fileName);
    if (file.Get() < 0) return xc::errors::MakeFileError(XCErrConsoleNotRedirected, fileName, ::GetLastError());
    FlushStandardStreams();
    if (fresh) m_state = std::move(fresh);
    m_state->output.Exchange(file.Get());
    m_state->error.Exchange(file.Get());
    return XCErrorID::Success;
}

void XCConsoleInfo::Close()
{
    XCLockGuard<XCCriticalSection> const guard(m_section);
    if (!m_state) return;
    FlushStandardStreams();
    m_state.reset();
}

bool XCConsoleInfo::IsOpen() const
{
    XCLockGuard<XCCriticalSection> const guard(m_section);
    return m_state != nullptr;
}

void XCConsoleInfo::WriteToConsole(std::wstring_view text) const
{
    XCLockGuard<XCCriticalSection> const guard(m_section);
    if (m_state && m_state->output.Before()) xc::win32::WriteText(m_state->output.Before(), text);
}
