// Rights, read from the list of a file and judged by what they allow.
//
// An owner may always change the list, and so counts as one who may write. Entries that only new files get are left out,
// as are denials: they would matter for one user alone, and the question is whether anybody else may write. Identities are
// compared as texts, which are the same on every machine for those of the system.
#include "win32/FileRights.h"

#include "win32/LastError.h"
#include "win32/SystemFunction.h"
#include "win32/UniqueHandle.h"

#include <algorithm>

#include <aclapi.h>
#include <sddl.h>
#include <softpub.h>
#include <wintrust.h>

namespace xc::win32 {

namespace {

constexpr std::uint32_t kChangeSelf = DELETE | WRITE_DAC | WRITE_OWNER | GENERIC_ALL | GENERIC_WRITE;
constexpr std::uint32_t kWrite = kChangeSelf | FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD;
constexpr std::uint32_t kBreak = kChangeSelf | FILE_DELETE_CHILD;

/// What the system hands out by LocalAlloc.
template <class T>
struct Local {
    T* value = nullptr;
    Local() noexcept = default;
    ~Local() { ::LocalFree(value); }
    Local(Local const&) = delete;
    Local& operator=(Local const&) = delete;
};

std::wstring TextOf(PSID identity)
{
    Local<wchar_t> text;
    return identity && ::ConvertSidToStringSidW(identity, &text.value) ? std::wstring(text.value) : std::wstring();
}

std::wstring_view First(FileRights const& rights, std::vector<std::wstring> const& trusted, std::uint32_t mask) noexcept
{
    if (rights.toEveryone) return L"S-1-1-0";
    auto const isOther = [&](std::wstring const& who) { return std::ranges::find(trusted, who) == trusted.end(); };
    // The owner first: no entry has to name him for it.
    if (isOther(rights.owner)) return rights.owner;
    for (GrantedRights const& one : rights.granted)
        if ((one.mask & mask) != 0 && isOther(one.who)) return one.who;
    return {};
}

void AddGranted(ACL* list, FileRights& rights)
{
    for (DWORD i = 0; list && i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (!::GetAce(list, i, &entry)) continue;
        auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        // Entries with conditions have the same form, and count as if the condition held.
        bool const grants = allowed->Header.AceType == ACCESS_ALLOWED_ACE_TYPE ||
                            allowed->Header.AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
        bool const counts = grants && (allowed->Header.AceFlags & INHERIT_ONLY_ACE) == 0;
        if (counts) rights.granted.push_back({TextOf(&allowed->SidStart), allowed->Mask});
    }
}

} // namespace

unsigned long ReadRights(SystemPath const& path, FileRights& rights)
{
    constexpr SECURITY_INFORMATION kAsked = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    DWORD size = 0;
    // The first call only tells the size; that it fails is its answer.
    ::GetFileSecurityW(path.ForSystem(), kAsked, nullptr, 0, &size);
    std::vector<unsigned char> bytes(size);
    if (!::GetFileSecurityW(path.ForSystem(), kAsked, bytes.data(), size, &size)) return LastError();
    PSID owner = nullptr;
    ACL* list = nullptr;
    BOOL isThere = FALSE, isDefault = FALSE;
    if (!::GetSecurityDescriptorOwner(bytes.data(), &owner, &isDefault)) return LastError();
    rights.owner = TextOf(owner);
    if (!::GetSecurityDescriptorDacl(bytes.data(), &isThere, &list, &isDefault)) return LastError();
    rights.toEveryone = !isThere || !list;
    AddGranted(list, rights);
    return 0;
}

std::wstring_view WriterAmong(FileRights const& rights, std::vector<std::wstring> const& trusted) noexcept
{
    return First(rights, trusted, kWrite);
}

std::wstring_view BreakerAmong(FileRights const& rights, std::vector<std::wstring> const& trusted) noexcept
{
    return First(rights, trusted, kBreak);
}

std::vector<std::wstring> TrustedIdentities()
{
    // Local system, administrators, the installer of the system, owner rights (the owner is judged by himself).
    std::vector<std::wstring> trusted = {L"S-1-5-18", L"S-1-5-32-544",
                                         L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", L"S-1-3-4"};
    HANDLE opened = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &opened)) return trusted;
    UniqueKernelObject const token(opened);
    alignas(TOKEN_USER) unsigned char bytes[256];
    DWORD size = 0;
    if (::GetTokenInformation(token.Get(), TokenUser, bytes, sizeof bytes, &size))
        trusted.push_back(TextOf(reinterpret_cast<TOKEN_USER*>(bytes)->User.Sid));
    return trusted;
}

std::wstring NameOfIdentity(std::wstring const& identity)
{
    Local<void> sid;
    wchar_t name[256], domain[256];
    DWORD nameUnits = 256, domainUnits = 256;
    SID_NAME_USE use{};
    if (!::ConvertStringSidToSidW(identity.c_str(), &sid.value)) return identity;
    if (!::LookupAccountSidW(nullptr, sid.value, name, &nameUnits, domain, &domainUnits, &use)) return identity;
    return domain[0] == L'\0' ? std::wstring(name) : std::wstring(domain) + L"\\" + name;
}

unsigned long CheckSignature(SystemPath const& path)
{
    using Verify = LONG(WINAPI*)(HWND, GUID*, void*);
    static auto const verify = SystemFunction<Verify>(LoadSystemLibrary(L"wintrust.dll"), "WinVerifyTrust");
    if (!verify) return ERROR_PROC_NOT_FOUND;
    WINTRUST_FILE_INFO file{};
    file.cbStruct = sizeof file;
    file.pcwszFilePath = path.ForSystem();
    WINTRUST_DATA data{};
    data.cbStruct = sizeof data;
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks =
        WTD_REVOKE_NONE; // a question to the network for each module would stop hosts without one
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &file;
    data.dwStateAction = WTD_STATEACTION_VERIFY;
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    auto const error = static_cast<unsigned long>(verify(nullptr, &action, &data));
    data.dwStateAction = WTD_STATEACTION_CLOSE;
    verify(nullptr, &action, &data);
    return error;
}

} // namespace xc::win32
