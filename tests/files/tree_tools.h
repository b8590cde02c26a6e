// tree_tools.h - trees of the tests: made from lists of names, and with links that the system shows as such.
#pragma once

#include "prelude.h"
#include "scratch_files.h"

#include <windows.h>

namespace files_test {

namespace fs = std::filesystem;

inline XCPath Wide(fs::path const& path)
{
    return XCString(path.native());
}

/// "a/" is a folder, "a/b" a file with its own name as content; folders come before their entries, blanks between.
inline void Make(fs::path const& root, std::string const& names)
{
    fs::create_directories(root);
    std::istringstream all(names);
    for (std::string name; all >> name;)
        if (name.back() == '/')
            fs::create_directory(root / name);
        else
            std::ofstream(root / name, std::ios::binary) << name;
}

/// Everything below a folder in that form, in order; links are not entered.
inline std::string Names(fs::path const& root)
{
    std::set<std::string> names;
    EXPECT_TRUE(XCDirectory::Walk(Wide(root), {}, [&](XCDirectoryEntry const& entry) {
                    EXPECT_TRUE(entry.GetError().Good()) << entry.GetError().AsString().AsMbString();
                    std::string name = entry.GetRelative().AsMbString();
                    std::replace(name.begin(), name.end(), '\\', '/');
                    names.insert(name + (entry.IsFolder() ? "/" : ""));
                    return XCWalkStep::Continue;
                }).Good());
    std::string line;
    for (std::string const& name : names) line += (line.empty() ? "" : " ") + name;
    return line;
}

struct Link {
    fs::path at;
    std::string target; ///< relative to the folder of the link
};

/// Links as the system of this machine makes them: where Windows programs run on another system, that one's shell.
/// @return false when neither way works here.
inline bool MakeLinks(std::vector<Link> const& links)
{
    if (!fs::exists("Z:\\bin\\ln"))
        return std::all_of(links.begin(), links.end(), [](Link const& link) {
            bool const isFolder = fs::is_directory(link.at.parent_path() / link.target);
            return ::CreateSymbolicLinkW(link.at.c_str(), fs::path(link.target).c_str(), isFolder ? 3 : 2) != 0;
        });
    auto const native = [](fs::path const& path) {
        std::string text = absolute(path).generic_string();
        return "'" + text.substr(2) + "'"; // drive Z: is the root of the other system
    };
    fs::path const script = "make_links.sh", done = "make_links.done";
    fs::remove(done);
    std::string text;
    for (Link const& link : links) text += "ln -s '" + link.target + "' " + native(link.at) + "\n";
    std::ofstream(script, std::ios::binary) << text << ": > " << native(done) << "\n";
    std::wstring command = L"sh " + fs::path(absolute(script).generic_string().substr(2)).wstring();
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    bool made = ::CreateProcessW(L"Z:\\bin\\sh", command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                                 &process);
    for (int i = 0; made && i < 3000 && !fs::exists(done); ++i) ::Sleep(10); // it has no handle to wait for
    made = made && fs::exists(done);
    fs::remove(script);
    fs::remove(done);
    return made;
}

/// A chain of folders that is deeper than any call by path reaches: chains are moved into the end of longer ones.
/// @return how many folders stand below `root`.
inline std::size_t MakeDeep(fs::path const& root, std::size_t depth, std::wstring const& name)
{
    constexpr std::size_t kPart = 100;
    std::wstring tail;
    for (std::size_t i = 0; i < kPart; ++i) tail += L"\\" + name;
    std::size_t made = 0;
    for (; made < depth; made += kPart) {
        fs::path const chain = root.native() + L".part";
        if (XCDirectory::Create(XCString(chain.native() + tail)).Bad()) return made;
        if (made != 0 && XCDirectory::Move(Wide(root), XCString(chain.native() + tail + L"\\" + name)).Bad())
            return made;
        if (XCDirectory::Move(Wide(chain), Wide(root)).Bad()) return made;
    }
    return made + made / kPart - 1;
}

} // namespace files_test
