// Folders with modules, an ear on the application console, and plug-ins that need no module.
#pragma once

#include "prelude.h"
#include "scratch_files.h"

#include <XelbrinCore/XCApplication.h>

#include <initializer_list>
#include <sstream>
#include <windows.h>

namespace xc_test {

/// Keeps what the application channel delivers.
class Listener final : public XCLogSubscriberI {
public:
    void OnFlush(int, XCString const& text) override { heard += text; }
    XCString heard;
};
using ListenerPtr = XCSmartPtr<Listener>;

/// Modules are copied into the folder by the names of their roles.
class ModuleFolder : public ScratchFolder {
public:
    explicit ModuleFolder(std::initializer_list<char const*> modules, std::wstring const& below = {})
        : ScratchFolder(below.empty() ? NewRoot() : NewRoot() / below)
    {
        for (char const* const module : modules) Add(module);
    }
    void Add(std::string const& role) const
    {
        std::filesystem::path file = Source() / (role + ".osx");
        if (!exists(file)) file = Source() / (role.starts_with("hostile_") ? "hostile.osx" : "plugin.osx");
        copy_file(file, path / (role + ".osx"));
    }
    static std::filesystem::path Source()
    {
        wchar_t program[MAX_PATH];
        ::GetModuleFileNameW(nullptr, program, MAX_PATH);
        return std::filesystem::path(program).parent_path() / "modules";
    }

private:
    static std::filesystem::path NewRoot()
    {
        // A process of this number may have left its folders: the standard library cannot remove very long ones.
        static int count = 0;
        std::string const start = "xc_host_" + std::to_string(::GetCurrentProcessId()) + "_";
        std::filesystem::path root;
        do root = std::filesystem::temp_directory_path() / (start + std::to_string(++count));
        while (exists(root));
        return root;
    }
};

/// What one host says from its construction to its end; the folder's name is written as "@".
struct Session {
    explicit Session(ModuleFolder const& folder, XCString const& pathInFolder = {},
                     std::function<void(XCApplicationWithPlugIns&)> const& before = {})
    {
        ListenerPtr const listener(new Listener);
        {
            XCApplicationWithPlugIns host(L"host.exe /noconsole \"/osxpath:" + folder.Path() + pathInFolder + L"\"",
                                          listener, false);
            if (before) before(host);
            exitCode = host.LoadAndRun();
        }
        said = listener->heard;
        said.Replace(folder.Path(), XCString(L"@"));
    }
    [[nodiscard]] std::string Text() const { return std::string(said.AsUTF8()); }
    [[nodiscard]] int Count(XCString const& part) const
    {
        int count = 0;
        for (std::size_t at = said.Find(part); at != XCString::npos; at = said.Find(part, at + 1)) ++count;
        return count;
    }

    XCString said;
    int exitCode = -1;
};

/// Expects that the session said this line.
inline void ExpectSaid(Session const& session, XCString const& line)
{
    EXPECT_NE(session.said.Find(line), XCString::npos) << std::string(line.AsUTF8()) << " in\n" << session.Text();
}

/// A plug-in of the program; what it does is given.
template <class Base>
class OwnPlugIn : public Base {
public:
    explicit OwnPlugIn(std::uint32_t id) : m_id(id) {}
    XCString GetPlugInName() const override { return L"Own"; }
    PlugInIdEx GetPlugInIdEx() const override { return XCGuid(m_id, 0, 0, {}); }
    XCErrorID Init(XCApplicationWithPlugIns const&) override { return onInit ? onInit() : XCErrorID(); }

    std::function<XCErrorID()> onInit;

private:
    std::uint32_t m_id;
};

template <class Base>
class OwnRunner final : public OwnPlugIn<Base> {
public:
    OwnRunner(std::uint32_t id, std::function<void(OwnRunner&)> onRun_) : OwnPlugIn<Base>(id), onRun(std::move(onRun_))
    {
    }
    void Run() override { onRun(*this); }
    bool WaitForExit(unsigned int ms) const { return this->WaitForExitRequest(ms); }

    std::function<void(OwnRunner&)> onRun;
};

/// A threaded plug-in that asks the program to exit as soon as the module with this identity runs.
inline XCSmartPtr<XCPlugIn> NewQuitter(std::uint32_t module)
{
    return new OwnRunner<XCThreadedRunPlugIn>(50, [module](auto&) {
        XCGuid const guid(module, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8});
        while (XCApplicationWithPlugIns::GetApp()->FindPlugIn(guid)->GetStatus() != XCPlugIn::StatusRunning) ::Sleep(1);
        XCApplication::PostExitRequest();
    });
}

} // namespace xc_test
