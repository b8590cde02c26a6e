// CreateFile turns a path into the form of the kernel by means of the heap, so that a record of a damaged heap would meet the
// damage again. The path is turned before, and the kernel is asked directly; it has memory of its own.
#include "win32/BareFile.h"

#include "win32/LastError.h"
#include "win32/SystemFunction.h"
#include "win32/UniqueHandle.h"

#include <winternl.h>

namespace xc::win32 {

namespace {

using ToKernelPath = BOOLEAN(NTAPI*)(PCWSTR path, UNICODE_STRING* kernelPath, PWSTR* file, void* folder);
using FreeText = void(NTAPI*)(UNICODE_STRING*);

/// Null where the system has no such function; looked up by Prepare.
decltype(&::NtCreateFile) OpenFunction() noexcept
{
    static auto const function = SystemFunction<decltype(&::NtCreateFile)>(L"ntdll.dll", "NtCreateFile");
    return function;
}

} // namespace

void BareFile::Prepare(SystemPath const& path)
{
    auto const convert = SystemFunction<ToKernelPath>(L"ntdll.dll", "RtlDosPathNameToNtPathName_U");
    auto const free = SystemFunction<FreeText>(L"ntdll.dll", "RtlFreeUnicodeString");
    UNICODE_STRING kernelPath{};
    m_path.clear();
    if (path.IsEmpty() || !OpenFunction() || !convert || !free) return;
    if (!convert(path.ForSystem(), &kernelPath, nullptr, nullptr)) return;
    m_path.assign(kernelPath.Buffer, kernelPath.Length / sizeof(wchar_t));
    free(&kernelPath);
}

void BareFile::Append(std::string_view bytes) const noexcept
{
    KeepLastError const keep;
    if (m_path.empty()) return;
    auto const length = static_cast<USHORT>(m_path.size() * sizeof(wchar_t));
    UNICODE_STRING name{length, length, const_cast<wchar_t*>(m_path.data())};
    OBJECT_ATTRIBUTES what{}; // by its members: headers of compilers differ in the gaps between them
    what.Length = sizeof what;
    what.ObjectName = &name;
    what.Attributes = OBJ_CASE_INSENSITIVE;
    IO_STATUS_BLOCK outcome{};
    HANDLE handle = nullptr;
    if (OpenFunction()(&handle, FILE_APPEND_DATA | SYNCHRONIZE, &what, &outcome, nullptr, FILE_ATTRIBUTE_NORMAL,
                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, FILE_OPEN_IF,
                       FILE_SYNCHRONOUS_IO_NONALERT | FILE_NON_DIRECTORY_FILE, nullptr, 0) < 0)
        return;
    UniqueKernelObject const file(handle);
    DWORD written = 0;
    ::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

} // namespace xc::win32
