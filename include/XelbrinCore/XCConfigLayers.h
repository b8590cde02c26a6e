// XCConfigLayers.h - settings from several places, the strongest first: command line, environment, files.
//
// WHAT     A chain of layers. A look-up answers from the first layer that has the key; GetOrigins tells where the value
//          came from and what it hides, and GetReport prints all of it:
//
//              XCConfigLayers settings;
//              settings.AddCommandLine(line);                 // /Server.Port:8080
//              settings.AddEnvironment(L"SHOP_");             // SHOP_SERVER__PORT=8080
//              (void)settings.AddFile(L"site.ini");           // may be missing
//              XCErrorID const read = settings.AddFile(L"shop.ini");
//              std::wcout << settings.GetReport();
//
// NAMES    Sections and keys match without regard to case, as in a file. A value that is there and empty counts as there.
// COST     A look-up is one in each layer up to the first that has the key; nothing is copied but the value. Origins and
//          reports are linear in the settings.
// LIFETIME Files are shared: what is set in one, or read by Reload, shows at the next look-up. Command line and
//          environment are taken when they are added.
// ERRORS   AddFile answers a Bad XCErrorID. Out of memory: std::bad_alloc.
// THREADS  Any threads may look up; adding layers and patterns needs the callers' own lock.
#pragma once

#include <XelbrinCore/XCConfigFile.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

class XCCommandLine;

/// Where one value of a setting stands.
struct XCConfigOrigin {
    XCString layer;       ///< the name of the layer
    XCString place;       ///< in words: "shop.ini, line 12", "option Server.Port", "variable SHOP_SERVER__PORT"
    XCString fileName;    ///< the file; empty where the layer is none
    std::size_t line = 0; ///< its line, from 1; 0 for what is no line of a file
    XCString value;       ///< as it stands there, secrets too
};

/// See the head of this header.
class XC_API XCConfigLayers final : public XCConfigI {
public:
    /// No layers: every look-up answers its default.
    XCConfigLayers();
    XCConfigLayers(XCConfigLayers const&) = delete;
    XCConfigLayers& operator=(XCConfigLayers const&) = delete;
    ~XCConfigLayers() override;

    // Each layer is weaker than those added before it.
    /// A file in memory, shared. Null adds nothing. @param name for reports; empty: the name of the file.
    void AddFile(XCSmartPtr<XCConfigFile> const& file, XCString const& name = {});
    /// Reads a file. Bad when it cannot be read or is malformed: then no layer is added, and the error tells file, line
    /// and fault. A file that may be missing is added with the answer ignored.
    XCErrorID AddFile(XCString const& fileName, XCString const& name = {});
    /// The options of a command line: /Section.Key:value, cut at the last point; an option without a point is a key of
    /// `section`, and one without a value is "true". Of an option given twice the first counts.
    void AddCommandLine(XCCommandLine const& line, XCString const& section = {},
                        XCString const& name = XCString(L"command line"));
    /// The variables of the environment that begin with the prefix: PREFIX + SECTION__KEY, cut at the last "__"; one
    /// without "__" is a key of `section`. Names match without regard to case, a '_' of the environment stays one.
    void AddEnvironment(XCString const& prefix, XCString const& section = {},
                        XCString const& name = XCString(L"environment"));
    /// How many layers there are.
    [[nodiscard]] std::size_t GetSize() const noexcept;

    [[nodiscard]] XCString GetString(std::wstring_view section, std::wstring_view key,
                                     std::wstring_view defaultValue) const override;
    [[nodiscard]] long GetLong(std::wstring_view section, std::wstring_view key, long defaultValue) const override;
    /// Whether some layer has the key.
    [[nodiscard]] bool Has(std::wstring_view section, std::wstring_view key) const;

    /// Every place that has the key: first the one that counts, then those that it hides. Empty: no layer has it.
    [[nodiscard]] std::vector<XCConfigOrigin> GetOrigins(std::wstring_view section, std::wstring_view key) const;
    /// The names of all sections, each once, as the weakest layer spells them and in its order.
    [[nodiscard]] std::vector<XCString> GetSections() const;
    /// The keys of a section, likewise.
    [[nodiscard]] std::vector<XCString> GetKeys(std::wstring_view section) const;

    /// Values whose key, or "section.key", matches the pattern are secret: reports show ******** for them. '*' stands
    /// for any units, '?' for one; case does not count. Known from the start: *password*, *passwd*, *pwd*, *secret*,
    /// *token*, *credential*, *apikey*, *api?key*, *privatekey*, *private?key*.
    void AddSecret(XCString const& pattern);
    /// Whether the value of a setting is secret.
    [[nodiscard]] bool IsSecret(std::wstring_view section, std::wstring_view key) const;
    /// All settings as they hold now, as the text of a configuration file: before each line a comment that tells where
    /// the value came from, and one for each value that it hides. Secrets are masked, and what could shape lines is
    /// written out as `\n`, `\xHH` or `\uHHHH`. Lines end in a line feed.
    [[nodiscard]] XCString GetReport() const;

private:
    struct Data;
    std::unique_ptr<Data> m_data;
};
