// Messages, stacks and the error log's file, answered natively: for the sanitizer and fuzzing builds only.
#include "win32/LibraryModule.h"
#include "win32/Messages.h"
#include "win32/StackTrace.h"

char __ImageBase;

namespace xc::win32 {

constexpr unsigned long kNeutral = 1024, kEnglish = 1033, kFrench = 1036;
constexpr unsigned long kHighestMessage = 1199;

bool LoadMessage(std::wstring& text, void* module, unsigned long id, unsigned long language)
{
    if (!HasMessage(module, id, language)) return false;
    text = language == kFrench ? L"texte " : L"text ";
    for (char const digit : std::to_string(id)) text += static_cast<wchar_t>(digit);
    return true;
}

bool HasMessage(void*, unsigned long id, unsigned long language) noexcept
{
    return id <= kHighestMessage && (language == kNeutral || language == kEnglish || language == kFrench);
}

std::wstring LoadStringText(void*, unsigned int)
{
    return {};
}

std::vector<long> ResourceLanguages(void*, ResourceKind)
{
    return {static_cast<long>(kEnglish), static_cast<long>(kFrench)};
}

std::size_t CaptureStack(void const** frames, std::size_t room, std::size_t) noexcept
{
    if (room == 0) return 0;
    frames[0] = __builtin_return_address(0);
    return 1;
}

std::size_t CaptureStackOf(void const*, void const**, std::size_t) noexcept
{
    return 0;
}

std::wstring DescribeAddress(void const*, bool)
{
    return L"native!frame";
}

} // namespace xc::win32
