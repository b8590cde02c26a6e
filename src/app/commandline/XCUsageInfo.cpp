// Descriptions of options, kept in the order in which they were added.
//
// The order is the order of the screen, which its author has thought about: related options stand together there, and
// sorting would tear them apart. Names keep their values as written ("trace:{level}"); the name alone is cut out when
// somebody asks which options are known.
#include <XelbrinCore/XCCommandLine.h>

#include "text/Utf8.h"

#include <string>

namespace {

/// UTF-8; a byte that is none stands for the unit of its value: a description is shown in any case.
XCString Widen(char const* text)
{
    std::string_view const bytes(text ? text : "");
    std::wstring units(bytes.size(), L'\0');
    units.resize(xc::text::DecodeUtf8Leniently(units.data(), bytes));
    return XCString(units);
}

} // namespace

void XCUsageInfo::AddCmdLineArgDesc(XCString const& name, XCString const& description, bool flag)
{
    m_descriptions.push_back({name, description, flag});
}

void XCUsageInfo::AddCmdLineArgDesc(char const* name, char const* description, bool flag)
{
    AddCmdLineArgDesc(Widen(name), Widen(description), flag);
}

bool XCUsageInfo::GetCmdLineArgDesc(std::size_t index, XCString& name, XCString& description, bool& flag) const
{
    if (index >= m_descriptions.size()) return false;
    Description const& found = m_descriptions[index];
    name = found.name;
    description = found.text;
    flag = found.flag;
    return true;
}

std::vector<XCString> XCUsageInfo::GetOptionNames() const
{
    std::vector<XCString> names;
    for (Description const& description : m_descriptions) {
        std::wstring_view const shown = description.name.View();
        names.emplace_back(shown.substr(0, shown.find_first_of(L":[{= ")));
    }
    return names;
}
