// Messages, stacks and the error log's file, answered natively: for the sanitizer and fuzzing builds only.
#include "win32/AppendFile.h"
#include "win32/AppendToFile.h"
#include "win32/LibraryModule.h"
#include "win32/Messages.h"
#include "win32/Paths.h"
#include "win32/StackTrace.h"

#include <filesystem>

char __ImageBase;

namespace xc::win32 {

namespace {

constexpr unsigned long kNeutral = 1024, kEnglish = 1033, kFrench = 1036;
constexpr unsigned long kHighestMessage = 1199;

} // namespace

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

bool AppendToFile(std::wstring const& path, std::string_view bytes)
{
    AppendFile file;
    unsigned long error = 0;
    return file.Open(path, AppendFile::Start::Append) == 0 &&
           file.Write(bytes.data(), bytes.size(), error) == bytes.size();
}

bool IsDirectory(std::wstring const& path)
{
    std::error_code error;
    return std::filesystem::is_directory(std::string(path.begin(), path.end()), error);
}

} // namespace xc::win32
