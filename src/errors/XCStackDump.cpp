// The call stack as addresses first, as text on demand.
//
// An exception may be thrown thousands of times a second and never be read: capture therefore only walks the frames by the
// unwind tables of the image, about a tenth of a microsecond a frame, and allocates nothing. Names are read from the files
// of the modules, under a lock, the first ones for milliseconds; they are looked up when the text is asked for.
//
// A return address points after its call, possibly into the next line or function, so frames are named by the address
// before it; the first frame of a structured exception is the faulting instruction itself and is named as it is.
// Constructors of exceptions at the top of the stack belong to the throw, not to the caller, and are left out.
#include <XelbrinCore/XCException.h>

#include "win32/StackTrace.h"

#include <string>
#include <string_view>

namespace {

/// "module!XCSomeException::XCSomeException(...)": the way from the throw to the capture.
bool IsConstructorOfOurs(std::wstring_view frame) noexcept
{
    std::wstring_view const name = frame.substr(frame.find(L'!') + 1);
    std::size_t const nameEnd = name.find(L"::");
    if (nameEnd == std::wstring_view::npos || name.substr(0, 2) != L"XC") return false;
    std::wstring_view const owner = name.substr(0, nameEnd), rest = name.substr(nameEnd + 2);
    bool const ours = owner.ends_with(L"Exception") || owner.ends_with(L"ExceptionEx");
    return ours && (rest.starts_with(owner) || rest.starts_with(L"CaptureStack"));
}

} // namespace

// Never inlined: the frame that is skipped is this constructor's own.
__attribute__((noinline)) XCStackDump::XCStackDump() noexcept
    : m_count(xc::win32::CaptureStack(m_frames, kMaxFrames, 1))
{
}

XCStackDump::XCStackDump(_CONTEXT const* contextRecord, unsigned long seHNumber) noexcept
    : m_count(contextRecord ? xc::win32::CaptureStackOf(contextRecord, m_frames, kMaxFrames) : 0),
      m_seHNumber(seHNumber), m_startsAtInstruction(true)
{
}

XCString XCStackDump::AsString() const
{
    std::wstring text;
    for (std::size_t i = 0; i < m_count; ++i) {
        bool const isReturn = i > 0 || !m_startsAtInstruction;
        std::wstring const frame = xc::win32::DescribeAddress(m_frames[i], isReturn);
        if (frame.empty() || (text.empty() && IsConstructorOfOurs(frame))) continue;
        if (!text.empty()) text += L'\n';
        text += frame;
    }
    return text;
}
