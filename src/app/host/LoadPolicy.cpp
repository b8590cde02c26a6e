// A module, what it links to, and the folders on the way.
//
// A file may become code when it stands in a folder of the policy, when nobody else can change it or anything on the way
// to it, and when it is not reached through a link. Then the same is asked of what it links to, breadth first: a name is
// looked for as the loader will (the module's own folder, the folders of the policy, the system), and each file that the
// loader could take is judged. A name that is nowhere there is refused here, since the loader might have found it in the
// current folder or along PATH. What the process has loaded already, and the system's own folder, are not judged: who can
// change these has the process anyway.
//
// Rights are judged from the drive down. Above a folder of the policy only those count by which the folder could be
// exchanged; everybody may create files in the root of many drives. Cost: some calls of the system for each part of a
// path and each library.
#include "app/host/LoadPolicy.h"

#include "errors/SystemWords.h"
#include "text/Visible.h"

#include <algorithm>

namespace xc::host {

namespace {

using win32::SystemPath;

constexpr std::size_t kMostFiles = 1000; // that one module links to

bool IsSameText(std::wstring_view a, std::wstring_view b)
{
    return XCString(a).IsEqual(XCString(b), 1);
}

/// Whether a file stands in a folder or below.
bool StandsIn(SystemPath const& file, SystemPath const& folder)
{
    std::wstring_view const path = file.Text();
    std::wstring_view below = folder.Text();
    while (below.ends_with(L'\\')) below.remove_suffix(1);
    // With the separator: "c:\\mods_of_others" does not stand in "c:\\mods".
    return path.size() > below.size() && path[below.size()] == L'\\' && IsSameText(path.substr(0, below.size()), below);
}

/// A name that the system maps to libraries of its own, wherever files of that name lie.
bool IsSystemSet(std::wstring_view name)
{
    return IsSameText(name.substr(0, 11), L"api-ms-win-") || IsSameText(name.substr(0, 7), L"ext-ms-");
}

} // namespace

LoadPolicy::LoadPolicy(XCLoadPolicy const& policy, TrustSteps& steps) : m_signatures(policy.signatures), m_steps(steps)
{
    for (XCString const& folder : policy.folders) m_folders.emplace_back(folder.View());
}

XCString LoadPolicy::WhyRefused(SystemPath const& module)
{
    std::vector<SystemPath> files{module};
    // The list grows while it is walked; each file is on it once, so that cycles end.
    for (std::size_t i = 0; i < files.size(); ++i) {
        SystemPath const file = files[i];
        XCString why = WhyFileRefused(file);
        std::vector<std::wstring> names;
        if (why.IsNull() && !m_steps.ImportsOf(file, names)) why = L"is no library of this processor";
        for (std::wstring const& name : names)
            if (why.IsNull()) why = FindImport(name, file, files);
        if (why.IsNull() && files.size() > kMostFiles) why = L"links to too many libraries";
        if (!why.IsNull()) return i == 0 ? why : L"links to " + text::Visible(file.Text()) + L", which " + why;
    }
    return {};
}

XCString LoadPolicy::WhyFileRefused(SystemPath const& file)
{
    auto const folder = std::ranges::find_if(m_folders, [&](SystemPath const& f) { return StandsIn(file, f); });
    if (folder == m_folders.end()) return L"stands in none of the folders of the policy";
    // The file first, then the folders upwards: the nearest reason is the one to mend.
    for (SystemPath place = file; !place.IsEmpty(); place = place.Folder()) {
        bool const isAbove = !IsSameText(place.Text(), folder->Text()) && !StandsIn(place, *folder);
        if (XCString why = WhyPlaceRefused(place, isAbove); !why.IsNull()) return why;
    }
    unsigned long const error = m_signatures ? m_steps.CheckSignature(file) : 0;
    if (error == 0) return {};
    XCString number;
    number.Format(L" (system error 0x%08lX)", error);
    return L"has no signature that the system trusts: " + errors::SystemWords(error, {}) + number;
}

XCString LoadPolicy::WhyPlaceRefused(SystemPath const& place, bool isAbove)
{
    TrustFacts const facts = m_steps.FactsOf(place);
    XCString const shown = text::Visible(place.Text());
    // What does not tell its rights is not taken for safe.
    if (!facts.exists) return L"cannot be judged: " + shown + L" does not tell its rights";
    if (facts.isLink) return L"is reached through the link " + shown;
    XCString const& who = isAbove ? facts.folderBreaker : facts.writer;
    return who.IsNull() ? XCString() : L"is not safe: " + who + L" may change " + shown;
}

/// Adds the files that the loader could take for a name. Null when there is one, or the name needs none.
XCString LoadPolicy::FindImport(std::wstring const& name, SystemPath const& of, std::vector<SystemPath>& files)
{
    if (IsSystemSet(name)) return {};
    std::vector<SystemPath> places = m_folders;
    places.push_back(of.Folder());
    places.push_back(
        files.front().Folder()); // the loader's "own folder" is that of the module, for all that it links to
    // Every file that the loader could take, not only the first: the order of some of its folders is not laid down.
    bool found = false;
    for (SystemPath const& place : places) {
        SystemPath const candidate = place.Child(name);
        if (!m_steps.FactsOf(candidate).exists) continue;
        found = true;
        if (std::ranges::none_of(files, [&](SystemPath const& f) { return IsSameText(f.Text(), candidate.Text()); }))
            files.push_back(candidate);
    }
    if (found || m_steps.IsAtHand(name)) return {};
    return L"links to " + XCString(name) + L", which stands in none of the folders of the policy";
}

} // namespace xc::host
