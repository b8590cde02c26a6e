#include <XelbrinCore/XCApplication.h>

#include "errors/CoreError.h"
#include "win32/Console.h"
#include "win32/File.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>
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
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    [[nodiscard]] int Get() const noexcept { return m_descriptor; }

private:
    int m_descriptor;
};

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
    return Descriptor(descriptor);
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
    RedirectedStream(int standard, DWORD id) noexcept : m_standard(standard), m_id(id), m_before(::_dup(standard)) {}
    ~RedirectedStream()
    {
        if (m_before < 0) {
            ::_close(m_standard); // there was none
            ::SetStdHandle(m_id, nullptr);
            return;
        }
        Exchange(m_before);
        ::_close(m_before);
    }
    RedirectedStream(RedirectedStream const&) = delete;
    RedirectedStream& operator=(RedirectedStream const&) = delete;

    /// The descriptors are exchanged, not the handles alone: the runtime's streams follow them, and the handles follow
    /// for those who look there.
    void Exchange(int descriptor) const noexcept
    {
        ::_dup2(descriptor, m_standard);
        ::SetStdHandle(m_id, HandleOf(m_standard));
    }
    [[nodiscard]] HANDLE Before() const noexcept { return HandleOf(m_before); }

private:
    int m_standard;
    DWORD m_id;
    int m_before; ///< a copy, which also keeps the handle behind it open; -1 when there was no such stream
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
    Descriptor const file = OpenToAppend(fileName);
    if (file.Get() < 0) return xc::errors::MakeFileError(XCErrConsoleNotRedirected, fileName, ::GetLastError());
    XCLockGuard<XCCriticalSection> const guard(m_section);
    FlushStandardStreams();
    if (!m_state) m_state = std::make_unique<State>(); // else the console is known already
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
