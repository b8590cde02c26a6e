// The answers of the system to the questions of the policy.
#include "app/host/LoadPolicy.h"

#include "text/Visible.h"
#include "win32/File.h"
#include "win32/FileDetails.h"
#include "win32/FileRights.h"
#include "win32/FileView.h"

#include <windows.h>

namespace xc::host {

namespace {

class SystemTrust final : public TrustSteps {
public:
    TrustFacts FactsOf(win32::SystemPath const& path) override
    {
        TrustFacts facts;
        win32::FileDetails details;
        win32::FileRights rights;
        if (win32::GetDetails(path, false, details) != 0 || win32::ReadRights(path, rights) != 0) return facts;
        facts.exists = true;
        facts.isLink = (details.attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        facts.writer = Named(win32::WriterAmong(rights, m_trusted));
        facts.folderBreaker = Named(win32::BreakerAmong(rights, m_trusted));
        return facts;
    }

    unsigned long CheckSignature(win32::SystemPath const& path) override { return win32::CheckSignature(path); }

    bool ImportsOf(win32::SystemPath const& path, std::vector<std::wstring>& names) override
    {
        win32::File file;
        unsigned long error = 0;
        // Only those who are trusted may write it between here and its loading.
        if (file.Open(path, {win32::FileMode::Access::Read, win32::FileMode::Start::Existing,
                             win32::FileMode::ShareRead}) != 0)
            return false;
        auto const size = static_cast<std::size_t>(file.Size(error));
        win32::FileView view;
        if (size == 0 || view.Map(file.Handle(), false, false, 0, size) != 0) return false;
        return ReadImports({static_cast<char const*>(view.Bytes()), size}, names);
    }

    bool IsAtHand(std::wstring const& name) override
    {
        if (::GetModuleHandleW(name.c_str())) return true;
        std::wstring folder(::GetSystemDirectoryW(nullptr, 0), L'\0');
        folder.resize(::GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size())));
        win32::FileDetails details;
        return win32::GetDetails(win32::SystemPath(folder).Child(name), true, details) == 0;
    }

private:
    static XCString Named(std::wstring_view identity)
    {
        return identity.empty() ? XCString() : text::Visible(win32::NameOfIdentity(std::wstring(identity)));
    }

    std::vector<std::wstring> const m_trusted = win32::TrustedIdentities();
};

} // namespace

std::unique_ptr<TrustSteps> SystemTrustSteps()
{
    return std::make_unique<SystemTrust>();
}

} // namespace xc::host
