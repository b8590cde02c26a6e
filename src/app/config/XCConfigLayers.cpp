// Settings in layers. Every layer is a configuration file in memory, those of the command line and the environment too:
// one kind of look-up serves all, with its index, and files stay shared with whoever edits them.
//
// A look-up asks layer by layer under the lock of that layer alone, so that no two locks are ever held; a value changed
// between two layers shows before or after, never half. The place of an option or a variable is kept as the comment of
// its line, which nobody else sees. Names are enumerated from the weakest layer up, since that is usually the file a
// person wrote, and each is kept at its first place; a set of folded names makes that linear but for the set. Invariant:
// a key that a report shows is one that look-ups find.
#include <XelbrinCore/XCConfigLayers.h>

#include <XelbrinCore/XCCommandLine.h>

#include "app/config/ConfigData.h"
#include "text/CaseTables.h"
#include "text/Units.h"
#include "text/Visible.h"
#include "win32/Environment.h"

#include <algorithm>
#include <set>
#include <string>

using xc::config::Access;
using xc::config::ByHalves;

struct XCConfigLayers::Data {
    struct Layer {
        XCString name;
        XCSmartPtr<XCConfigFile> file;
        bool isFile;
    };
    std::vector<Layer> layers;
    std::vector<XCString> secrets{L"*password*",   L"*passwd*", L"*pwd*",     L"*secret*",     L"*token*",
                                  L"*credential*", L"*apikey*", L"*api?key*", L"*privatekey*", L"*private?key*"};

    /// Calls `read` with the line of the first layer that has the key, under its lock. False: no layer has it.
    template <class Read>
    bool Find(std::wstring_view const& section, std::wstring_view const& key, Read const& read) const
    {
        for (Layer const& layer : layers) {
            // The line is used under the lock alone: its file may be edited at any time.
            XCConfigLock const lock(*layer.file);
            XCConfigLine const* const line = xc::config::FindLine(*layer.file, section, key);
            if (!line) continue;
            read(xc::config::ValueString(*line));
            return true;
        }
        return false;
    }
};

namespace {

// One length for all secrets: the length of a password is a part of it.
constexpr std::wstring_view kMask = L"********";

wchar_t Folded(wchar_t unit)
{
    return xc::text::UpperCaseTable()[xc::text::ToUint(unit)];
}

/// Names without regard to case, each at its first place.
class Names {
public:
    void Add(XCString const& name)
    {
        std::wstring folded(name.View());
        std::ranges::transform(folded, folded.begin(), Folded);
        if (m_known.insert(std::move(folded)).second) m_names.push_back(name);
    }
    // The set holds folded copies, not views: names may be as short-lived as the lock that they were read under.
    [[nodiscard]] std::vector<XCString> Take() noexcept { return std::move(m_names); }

private:
    std::set<std::wstring> m_known;
    std::vector<XCString> m_names;
};

/// '*' and '?' as in file names. After a mismatch only the last '*' takes one unit more, which is enough: what an
/// earlier one could take, the last one can. Cost: O(pattern * text).
bool Matches(std::wstring_view pattern, std::wstring_view text)
{
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t star = std::wstring_view::npos;
    std::size_t taken = 0; // text where the part after the star was tried last
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            taken = t;
        } else if (p < pattern.size() && (pattern[p] == L'?' || Folded(pattern[p]) == Folded(text[t]))) {
            ++p;
            ++t;
        } else if (star != std::wstring_view::npos) {
            p = star + 1;
            t = ++taken;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(L'*', p) == std::wstring_view::npos;
}

/// Sets a value at the place that `name` tells, cut at the last separator. The first value of a place counts.
void SetNamed(XCConfigFile& file, std::wstring_view name, std::wstring_view separator, std::wstring_view otherSection,
              XCString const& value, XCString const& place)
{
    // The last separator, since sections are named in levels more often than keys are: Log.Files.Path is the key Path.
    std::size_t const cut = name.rfind(separator);
    bool const isCut = cut != std::wstring_view::npos;
    std::wstring_view const section = isCut ? name.substr(0, cut) : otherSection;
    std::wstring_view const key = isCut ? name.substr(cut + separator.size()) : name;
    XCConfigSection* const found = file.FindSection(section);
    if (key.empty() || (found && found->FindLine(key))) return;
    // The comment is the line's place in words (see the head of this file).
    XCConfigLine line((XCString(key)), value);
    line.GetComments().AddComment(place);
    (found ? *found : file.AddSection(XCString(section))).AddLine(std::move(line));
}

/// Where a line stands, in words.
XCString PlaceOf(XCConfigLine const& line, XCConfigOrigin const& origin, bool isFile)
{
    // A line without a number was added to the file in memory and stands nowhere yet.
    if (!isFile) return *line.GetComments().begin();
    if (origin.line == 0) return origin.fileName.IsNull() ? XCString(L"set by the program") : origin.fileName;
    XCString const where = XCString().Format(L"line %u", origin.line);
    return origin.fileName.IsNull() ? where : origin.fileName + L", " + where;
}

/// The place in a report; a layer that is named after its file is not named twice.
std::wstring OriginText(XCConfigOrigin const& origin)
{
    std::wstring text;
    if (origin.layer.View() != origin.fileName.View())
        text.append(xc::text::Visible(origin.layer).View()).append(L": ");
    return text.append(xc::text::Visible(origin.place).View());
}

} // namespace

XCConfigLayers::XCConfigLayers() : m_data(std::make_unique<Data>()) {}

XCConfigLayers::~XCConfigLayers() = default;

// Layers --------------------------------------------------------------------------------------------------------

void XCConfigLayers::AddFile(XCSmartPtr<XCConfigFile> const& file, XCString const& name)
{
    if (!file.IsNull()) m_data->layers.push_back({name.IsNull() ? file->GetFileName() : name, file, true});
}

XCErrorID XCConfigLayers::AddFile(XCString const& fileName, XCString const& name)
{
    XCSmartPtr<XCConfigFile> file;
    XCErrorID const read = xc::config::LoadFile(fileName, file);
    // A layer without a file would hide the failure from reports: it is told, and nothing is added.
    AddFile(file, name); // null adds nothing
    return read;
}

void XCConfigLayers::AddCommandLine(XCCommandLine const& line, XCString const& section, XCString const& name)
{
    XCSmartPtr<XCConfigFile> const file(new XCConfigFile);
    for (XCCommandLineArgument const& argument : line.GetParsedArgumentVector()) {
        XCString const option = argument.GetArgument();
        bool const hasValue = argument.GetArgType() == XCCommandLineArgument::ArgWithValue;
        // A switch says that something is so.
        if (hasValue || argument.GetArgType() == XCCommandLineArgument::ArgSwitch)
            SetNamed(*file, option, L".", section, hasValue ? argument.GetValueAsString() : XCString(L"true"),
                     L"option " + option);
    }
    m_data->layers.push_back({name, file, false});
}

void XCConfigLayers::AddEnvironment(XCString const& prefix, XCString const& section, XCString const& name)
{
    XCSmartPtr<XCConfigFile> const file(new XCConfigFile);
    // Taken once: what a look-up answers must not depend on who calls setenv meanwhile.
    for (auto const& [variable, value] : xc::win32::ReadEnvironmentWith(prefix))
        SetNamed(*file, std::wstring_view(variable).substr(prefix.Length()), L"__", section, XCString(value),
                 L"variable " + XCString(variable));
    m_data->layers.push_back({name, file, false});
}

std::size_t XCConfigLayers::GetSize() const noexcept
{
    return m_data->layers.size();
}

// Look-ups ------------------------------------------------------------------------------------------------------

XCString XCConfigLayers::GetString(std::wstring_view section, std::wstring_view key,
                                   std::wstring_view defaultValue) const
{
    XCString value;
    bool const found = m_data->Find(ByHalves(section), ByHalves(key), [&value](XCString const& text) { value = text; });
    return found ? value : XCString(defaultValue);
}

long XCConfigLayers::GetLong(std::wstring_view section, std::wstring_view key, long defaultValue) const
{
    long value = defaultValue;
    m_data->Find(ByHalves(section), ByHalves(key), [&value](XCString const& text) { value = text.AsLong(); });
    return value;
}

bool XCConfigLayers::Has(std::wstring_view section, std::wstring_view key) const
{
    return m_data->Find(ByHalves(section), ByHalves(key), [](XCString const&) {});
}

// Origins -------------------------------------------------------------------------------------------------------

std::vector<XCConfigOrigin> XCConfigLayers::GetOrigins(std::wstring_view section, std::wstring_view key) const
{
    std::vector<XCConfigOrigin> origins;
    for (Data::Layer const& layer : m_data->layers) {
        XCConfigLock const lock(*layer.file);
        XCConfigLine const* const line = xc::config::FindLine(*layer.file, section, key);
        if (!line) continue;
        // Copies, since the answer outlives the lock.
        XCConfigOrigin origin{layer.name, {}, layer.file->GetFileName(), line->GetFileLine(), line->GetValue()};
        origin.place = PlaceOf(*line, origin, layer.isFile);
        origins.push_back(std::move(origin));
    }
    return origins;
}

std::vector<XCString> XCConfigLayers::GetSections() const
{
    Names names;
    for (auto layer = m_data->layers.rbegin(); layer != m_data->layers.rend(); ++layer) {
        XCConfigLock const lock(*layer->file);
        for (XCConfigSection const& section : *layer->file) names.Add(section.GetName());
    }
    return names.Take();
}

std::vector<XCString> XCConfigLayers::GetKeys(std::wstring_view section) const
{
    Names names;
    for (auto layer = m_data->layers.rbegin(); layer != m_data->layers.rend(); ++layer) {
        XCConfigLock const lock(*layer->file);
        // The first section of the name is the one that look-ups see.
        if (XCConfigSection const* const found = layer->file->FindSection(section))
            for (XCConfigLine const& line : *found) names.Add(line.GetKey());
    }
    return names.Take();
}

// Reports -------------------------------------------------------------------------------------------------------

void XCConfigLayers::AddSecret(XCString const& pattern)
{
    m_data->secrets.push_back(pattern);
}

bool XCConfigLayers::IsSecret(std::wstring_view section, std::wstring_view key) const
{
    // With the section, so that all keys of a section named Passwords are secret.
    std::wstring const full = std::wstring(section).append(1, L'.').append(key);
    return std::ranges::any_of(
        m_data->secrets, [&](XCString const& pattern) { return Matches(pattern, key) || Matches(pattern, full); });
}

XCString XCConfigLayers::GetReport() const
{
    using xc::text::Visible;
    std::wstring report;
    for (XCString const& section : GetSections()) {
        if (!report.empty()) report += L'\n';
        report.append(L"[").append(Visible(section).View()).append(L"]\n");
        for (XCString const& key : GetKeys(section)) {
            std::vector<XCConfigOrigin> const origins = GetOrigins(section, key);
            if (origins.empty()) continue; // another thread has just taken it out
            bool const isSecret = IsSecret(section, key);
            auto const shown = [isSecret](XCConfigOrigin const& origin) {
                return isSecret && !origin.value.IsNull() ? XCString(kMask) : Visible(origin.value);
            };
            report.append(L"; from ").append(OriginText(origins.front())).append(L"\n");
            for (std::size_t i = 1; i < origins.size(); ++i)
                report.append(L"; hides \"")
                    .append(shown(origins[i]).View())
                    .append(L"\" from ")
                    .append(OriginText(origins[i]))
                    .append(L"\n");
            report.append(Visible(key).View()).append(L"=").append(shown(origins.front()).View()).append(L"\n");
        }
    }
    return XCString(report);
}
