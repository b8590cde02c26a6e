#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCError.h>

#include "text/Utf8.h"
#include "win32/UniqueHandle.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>

namespace {

constexpr int kOutput = 1;
constexpr int kError = 2;

/// A copy of the runtime's descriptor, which also keeps the handle behind it open.
int DuplicateOf(int descriptor) noexcept
{
    return ::_dup(descriptor);
}

XCErrorID CannotOpen(XCString const& fileName)
{
    XCErrorID const reason(XCSmartPtr<XCWinLastError>(new XCWinLastError));
    return XCErrorID(XCSmartPtr<XCErrorString>(
        new XCErrorString(fileName + L": " + reason.AsString(), XCErrConsoleNotRedirected, XCErrorI::SeverityError)));
}

} // namespace

struct XCConsoleInfo::State {
    int output = -1; ///< what was the standard output; -1 when there was none
    int error = -1;
};

XCConsoleInfo::XCConsoleInfo() = default;

XCConsoleInfo::~XCConsoleInfo()
{
    Close();
}

// The descriptors are exchanged, not the handles alone: the runtime's streams and GetStdHandle follow both.
XCErrorID XCConsoleInfo::Open(XCString const& fileName)
{
    HANDLE const file = ::CreateFileW(fileName.AsWChar(), FILE_APPEND_DATA | SYNCHRONIZE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return CannotOpen(fileName);
    int const descriptor = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_APPEND | _O_BINARY);
    if (descriptor < 0) {
        ::CloseHandle(file);
        return CannotOpen(fileName);
    }
    Close();
    std::fflush(stdout);
    std::fflush(stderr);
    auto state = std::make_unique<State>();
    state->output = DuplicateOf(kOutput);
    state->error = DuplicateOf(kError);
    ::_dup2(descriptor, kOutput);
    ::_dup2(descriptor, kError);
    ::_close(descriptor);
    m_state = std::move(state);
    return XCErrorID::Success;
}

void XCConsoleInfo::Close()
{
    if (!m_state) return;
    std::unique_ptr<State> const state = std::move(m_state);
    std::fflush(stdout);
    std::fflush(stderr);
    for (auto const& [kept, standard] : {std::pair(state->output, kOutput), std::pair(state->error, kError)}) {
        if (kept < 0) continue;
        ::_dup2(kept, standard);
        ::_close(kept);
    }
}

void XCConsoleInfo::WriteToConsole(std::wstring_view text) const
{
    if (!m_state || m_state->output < 0) return;
    HANDLE const handle = reinterpret_cast<HANDLE>(::_get_osfhandle(m_state->output));
    DWORD mode = 0;
    DWORD written = 0;
    if (::GetConsoleMode(handle, &mode)) {
        ::WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    std::string bytes;
    xc::text::AppendUtf8(bytes, text);
    ::WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}
