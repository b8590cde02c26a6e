// Folders with modules, and an ear on the application console.
#pragma once

#include <XelbrinCore/XCApplication.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <windows.h>

namespace xc_test {

/// Keeps what the application channel delivers.
class Listener final : public XCLogSubscriberI {
public:
    void OnFlush(int, XCString const& text) override { heard += text; }
    XCString heard;
};

/// A folder of its own, removed at the end.
class ModuleFolder {
public:
    explicit ModuleFolder(std::initializer_list<char const*> modules)
        : path(std::filesystem::temp_directory_path() / ("xc_host_" + std::to_string(::GetCurrentProcessId())))
    {
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
        for (char const* const module : modules)
            std::filesystem::copy_file(Source() / (std::string(module) + ".osx"),
                                       path / (std::string(module) + ".osx"));
    }
    ~ModuleFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    ModuleFolder(ModuleFolder const&) = delete;
    ModuleFolder& operator=(ModuleFolder const&) = delete;

    void Write(char const* name, char const* text) const { std::ofstream(path / name, std::ios::binary) << text; }
    [[nodiscard]] XCString Path() const { return XCString(path.wstring()); }

    std::filesystem::path path;

private:
    static std::filesystem::path Source()
    {
        wchar_t program[MAX_PATH];
        ::GetModuleFileNameW(nullptr, program, MAX_PATH);
        return std::filesystem::path(program).parent_path() / "modules";
    }
};

/// What one host says from its construction to its end; the folder's name is written as "@".
struct Session {
    explicit Session(ModuleFolder const& folder, XCString const& pathInFolder = {})
    {
        XCSmartPtr<Listener> const listener(new Listener);
        {
            XCApplicationWithPlugIns host(L"host.exe /noconsole /osxpath:" + folder.Path() + pathInFolder, listener,
                                          false);
            exitCode = host.LoadAndRun();
        }
        said = listener->heard;
        said.Replace(folder.Path(), XCString(L"@"));
    }
    XCString said;
    int exitCode = -1;
};

} // namespace xc_test
