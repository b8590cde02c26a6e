// The arguments of a process: cut, classified and looked up.
//
// A command line is a few arguments that are asked a few times, so lookups walk the vector: no table would pay for
// itself. An object made from the vector of the process refers to it. One made from a string, and every copy, keeps the
// texts in one block with pointers into it (Storage), which are set when the block has its final place.
// Invariant: m_argValues points at the caller's vector or into m_storage, never into another object.
#include <XelbrinCore/XCCommandLine.h>

#include "app/commandline/CommandLineTokens.h"
#include "text/Names.h"

#include <algorithm>
#include <string>

using ArgumentType = XCCommandLineArgument::ArgumentType;

/// A vector of NUL-terminated texts that lie in one block.
/// Starts are kept as positions until the end: the block moves while it grows, which would leave pointers dangling.
struct XCCommandLine::Storage {
    std::vector<wchar_t const*> values; // the texts and a null
    std::wstring text;

    void Append(std::wstring_view argument)
    {
        starts.push_back(text.size());
        // The vector's entries end at their first null; the rest of such a text could not be reached.
        text.append(argument.substr(0, argument.find(L'\0')));
        text.push_back(L'\0');
    }
    /// When the last text is in: the block no longer moves.
    void Finish()
    {
        for (std::size_t const start : starts) values.push_back(text.data() + start);
        // The null after the last entry is what the vector of a process has, too.
        values.push_back(nullptr);
        starts = {};
    }

private:
    std::vector<std::size_t> starts;
};

// Construction --------------------------------------------------------------------------------------------------

XCCommandLine::XCCommandLine(std::size_t count, wchar_t const* const* values, XCString const& argDelimiters,
                             XCString const& valueDelimiters, bool caseSensitive)
    : m_argDelimiters(argDelimiters), m_valueDelimiters(valueDelimiters), m_caseSensitive(caseSensitive)
{
    Init(count, values);
}

XCCommandLine::XCCommandLine(XCString const& commandLine, XCString const& argDelimiters,
                             XCString const& valueDelimiters, bool caseSensitive)
    : m_argDelimiters(argDelimiters), m_valueDelimiters(valueDelimiters), m_caseSensitive(caseSensitive)
{
    Init(commandLine);
}

XCCommandLine::XCCommandLine(XCCommandLine const& other)
    : m_appName(other.m_appName), m_argDelimiters(other.m_argDelimiters), m_valueDelimiters(other.m_valueDelimiters),
      m_caseSensitive(other.m_caseSensitive), m_rawArguments(other.m_rawArguments),
      m_parsedArguments(other.m_parsedArguments)
{
    // The copy owns its texts even where the original refers to the vector of the process, which it may outlive.
    auto storage = std::make_unique<Storage>();
    for (std::size_t i = 0; i < other.m_argCount; ++i) {
        wchar_t const* const value = other.m_argValues[i];
        storage->Append(value ? value : L"");
    }
    OwnVector(std::move(storage));
}

XCCommandLine& XCCommandLine::operator=(XCCommandLine const& other)
{
    if (this == &other) return *this;
    return *this = XCCommandLine(other); // out of memory leaves the object as it was
}

XCCommandLine::XCCommandLine(XCCommandLine&& other) noexcept
    : m_argCount(std::exchange(other.m_argCount, 0)), m_argValues(std::exchange(other.m_argValues, nullptr)),
      m_storage(std::move(other.m_storage)), m_appName(std::move(other.m_appName)),
      m_argDelimiters(std::move(other.m_argDelimiters)), m_valueDelimiters(std::move(other.m_valueDelimiters)),
      m_caseSensitive(other.m_caseSensitive), m_rawArguments(std::move(other.m_rawArguments)),
      m_parsedArguments(std::move(other.m_parsedArguments))
{
}

XCCommandLine& XCCommandLine::operator=(XCCommandLine&& other) noexcept
{
    XCCommandLine taken(std::move(other)); // first: the object may be its own source
    m_argCount = taken.m_argCount;
    m_argValues = taken.m_argValues;
    m_storage = std::move(taken.m_storage);
    m_appName.Swap(taken.m_appName);
    m_argDelimiters.Swap(taken.m_argDelimiters);
    m_valueDelimiters.Swap(taken.m_valueDelimiters);
    m_caseSensitive = taken.m_caseSensitive;
    m_rawArguments.swap(taken.m_rawArguments);
    m_parsedArguments.swap(taken.m_parsedArguments);
    return *this;
}

XCCommandLine::~XCCommandLine() = default;

void XCCommandLine::OwnVector(std::unique_ptr<Storage> storage)
{
    storage->Finish();
    m_argCount = storage->values.size() - 1;
    m_argValues = storage->values.data();
    // The block stays where it is: a unique_ptr moves, its object does not, and neither do the texts.
    m_storage = std::move(storage);
}

/// The texts stay the caller's: those of a process live as long as it does, and copying them would only cost.
void XCCommandLine::Init(std::size_t count, wchar_t const* const* values)
{
    m_argCount = values ? count : 0;
    m_argValues = values;
    m_storage.reset();
    ParseCommandLine();
}

void XCCommandLine::Init(XCString const& commandLine)
{
    auto storage = std::make_unique<Storage>();
    xc::commandline::CommandLineTokens tokens(commandLine.AsWChar());
    XCString text;
    bool first = true;
    for (std::wstring_view token; tokens.GetNext(token); first = false) {
        text.Assign(token);
        RemoveQuotes(text);
        // A string may begin with the program or with its first option. Index 0 belongs to the program in either case.
        if (first && NeedsProgramName(text)) storage->Append({});
        storage->Append(text);
    }
    OwnVector(std::move(storage));
    ParseCommandLine();
}

// Parsing -------------------------------------------------------------------------------------------------------

namespace {

bool Has(XCString const& set, wchar_t unit) noexcept
{
    return set.Find(unit) != XCString::npos;
}

} // namespace

// A token that opens like an option is one, unless it is the path of a program: "/bin/tool", "\tools\x.exe".
bool XCCommandLine::NeedsProgramName(XCString const& firstToken) const
{
    wchar_t const opener = firstToken[0];
    if (firstToken.IsNull() || !Has(m_argDelimiters, opener)) return false;
    bool const opensPath = opener == L'/' || opener == L'\\';
    // "/out:a/b" opens like a path and has a second slash, but a path has no value delimiter before it.
    bool const hasValue = !m_valueDelimiters.IsNull() && firstToken.FindFirstOf(m_valueDelimiters, 1) != XCString::npos;
    return !(opensPath && !hasValue && firstToken.FindFirstOf(L"/\\", 1) != XCString::npos);
}

void XCCommandLine::ParseCommandLine()
{
    m_rawArguments.clear();
    m_parsedArguments.clear();
    m_appName = m_argCount > 0 ? m_argValues[0] : nullptr;
    // The program's name is no argument.
    if (m_argCount < 2) return;
    m_rawArguments.reserve(m_argCount - 1);
    m_parsedArguments.reserve(m_argCount - 1);
    for (std::size_t i = 1; i < m_argCount; ++i) {
        m_rawArguments.emplace_back(m_argValues[i]);
        m_parsedArguments.push_back(ParseArgument(m_rawArguments.back()));
    }
}

XCCommandLineArgument XCCommandLine::ParseArgument(XCString const& text) const
{
    if (text.IsNull()) return XCCommandLineArgument(ArgumentType::ArgAbsent);
    XCCommandLineArgument const wholeText(ArgumentType::ArgNonStandard, text);
    if (!Has(m_argDelimiters, text[0])) return wholeText;

    // The first value delimiter decides: those after it belong to the value ("/path:c:\x").
    std::size_t const value = m_valueDelimiters.IsNull() ? XCString::npos : text.FindFirstOf(m_valueDelimiters);
    if (text[0] == L'/' && value != 0) { // a value delimiter that opens the text ends the scan before any path shows
        std::size_t const path = text.Find(L'/', 1);
        // "/usr/bin" is a path, "/url:http://x" an option.
        if (path != XCString::npos && path < value) return wholeText;
    }
    if (value == XCString::npos) return XCCommandLineArgument(ArgumentType::ArgSwitch, text.SubStr(1));
    // A unit may be both kinds of delimiter. Then the option has no name, and the value follows at once.
    XCString const name = value == 0 ? XCString() : text.SubStr(1, value - 1);
    return XCCommandLineArgument(ArgumentType::ArgWithValue, name, text.SubStr(value + 1));
}

/// Quotes vanish, a pair of them leaves one: the way in which a quote itself is written. One pass into a text of its
/// own, since removing in place would move the rest for each quote.
void XCCommandLine::RemoveQuotes(XCString& text)
{
    std::wstring_view const from = text.View();
    if (from.find(L'"') == std::wstring_view::npos) return;
    std::wstring kept;
    kept.reserve(from.size());
    for (std::size_t i = 0; i < from.size(); ++i) {
        bool const isPair = from[i] == L'"' && i + 1 < from.size() && from[i + 1] == L'"';
        if (from[i] != L'"' || isPair) kept.push_back(from[i]);
        if (isPair) ++i;
    }
    text = XCString(kept);
}

// Lookups -------------------------------------------------------------------------------------------------------

bool XCCommandLine::IsSameName(XCString const& a, std::wstring_view b) const
{
    return m_caseSensitive ? a == b : xc::text::IsSameNameFolded(a, b);
}

// The first of that name decides: an empty argument answers for the empty name, and says that nothing is there.
XCCommandLineArgument const* XCCommandLine::FindArgument(std::wstring_view name) const
{
    for (XCCommandLineArgument const& argument : m_parsedArguments)
        if (IsSameName(argument.GetArgument(), name))
            return argument.GetArgType() == ArgumentType::ArgAbsent ? nullptr : &argument;
    return nullptr;
}

XCCommandLineArgument XCCommandLine::GetCommandLineArgument(std::wstring_view name) const
{
    XCCommandLineArgument const* const found = FindArgument(name);
    return found ? *found : XCCommandLineArgument(ArgumentType::ArgAbsent);
}

bool XCCommandLine::ArgPresent(std::wstring_view name) const
{
    return FindArgument(name) != nullptr;
}

XCString XCCommandLine::GetArg(std::wstring_view name, XCString const& defaultValue) const
{
    XCCommandLineArgument const* const found = FindArgument(name);
    return found ? found->GetValueAsString() : defaultValue;
}

int XCCommandLine::GetArg(std::wstring_view name, int defaultValue) const
{
    XCCommandLineArgument const* const found = FindArgument(name);
    return found ? found->GetValueAsInt() : defaultValue;
}

double XCCommandLine::GetArg(std::wstring_view name, double defaultValue) const
{
    XCCommandLineArgument const* const found = FindArgument(name);
    return found ? found->GetValueAsDouble() : defaultValue;
}

namespace {

bool IsOption(XCCommandLineArgument const& argument) noexcept
{
    return argument.GetArgType() == ArgumentType::ArgSwitch || argument.GetArgType() == ArgumentType::ArgWithValue;
}

} // namespace

/// Arguments that are neither switch nor value count as files, in the order in which they were typed.
XCString XCCommandLine::GetFileName(std::size_t index) const
{
    for (XCCommandLineArgument const& argument : m_parsedArguments)
        if (argument.GetArgType() == ArgumentType::ArgNonStandard && index-- == 0) return argument.GetArgument();
    return {};
}

std::vector<XCString> XCCommandLine::GetNonStandardArguments() const
{
    std::vector<XCString> found;
    for (XCCommandLineArgument const& argument : m_parsedArguments)
        // Empty arguments stay in, as empty texts: a caller that counts places relies on them.
        if (!IsOption(argument)) found.push_back(argument.GetArgument());
    return found;
}

std::size_t XCCommandLine::GetInvalidArguments(std::vector<XCString> const& validNames,
                                               std::vector<XCString>& invalid) const
{
    std::size_t const before = invalid.size();
    for (XCCommandLineArgument const& argument : m_parsedArguments) {
        if (!IsOption(argument)) continue;
        auto const isThis = [&](XCString const& name) { return IsSameName(name, argument.GetArgument()); };
        if (std::none_of(validNames.begin(), validNames.end(), isThis)) invalid.push_back(argument.GetArgument());
    }
    return invalid.size() - before;
}
