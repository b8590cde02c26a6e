// LoadPolicy.h - which files may become code of the process.
#pragma once

#include <XelbrinCore/XCModuleSafety.h>
#include <XelbrinCore/XCString.h>

#include "win32/SystemPath.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace xc::host {

/// A file or folder, as the policy sees it.
struct TrustFacts {
    bool exists = false;
    bool isLink = false;    ///< a reparse point of any kind
    XCString writer;        ///< who else than this user and the system may change it; null: nobody
    XCString folderBreaker; ///< who else may put another one in the place of what stands in it; null: nobody
};

/// The questions to the system, so that each can be answered otherwise.
class TrustSteps {
public:
    virtual ~TrustSteps() = default;
    virtual TrustFacts FactsOf(win32::SystemPath const& path) = 0;
    /// 0 when the signature of a file is whole and of a publisher that the system trusts; else the number of the error.
    virtual unsigned long CheckSignature(win32::SystemPath const& path) = 0;
    /// The libraries that a file links to, by their names. False when it is no library, or cannot be read.
    virtual bool ImportsOf(win32::SystemPath const& path, std::vector<std::wstring>& names) = 0;
    /// Whether the process has loaded a library of this name, or the system's own folder has one.
    virtual bool IsAtHand(std::wstring const& name) = 0;
};
std::unique_ptr<TrustSteps> SystemTrustSteps();

/// The policy of a host.
class LoadPolicy {
public:
    LoadPolicy(XCLoadPolicy const& policy, TrustSteps& steps);

    /// Why a module, or something that it links to, must not be loaded; null when it may be.
    XCString WhyRefused(win32::SystemPath const& module);
    [[nodiscard]] std::vector<win32::SystemPath> const& Folders() const noexcept { return m_folders; }

private:
    XCString WhyFileRefused(win32::SystemPath const& file);
    XCString WhyPlaceRefused(win32::SystemPath const& place, bool isAbove);
    XCString FindImport(std::wstring const& name, win32::SystemPath const& of, std::vector<win32::SystemPath>& files);

    std::vector<win32::SystemPath> m_folders;
    bool const m_signatures;
    TrustSteps& m_steps;
};

/// The names in the import tables of a library, ordinary and delayed. Believes no offset of the bytes. False when they
/// are no library of this processor.
bool ReadImports(std::string_view bytes, std::vector<std::wstring>& names);

} // namespace xc::host
