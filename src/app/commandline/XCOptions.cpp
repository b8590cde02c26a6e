// Declarations. An option knows how to read and set its target by one function, made where the type is still known; the
// rest of the machine handles texts alone, and is compiled once.
//
// The function (Take) has three steps: Check judges a text without a trace, Begin empties a list, Set writes the
// target. One function in place of a class for each type keeps the templates in the header down to a few lines.
//
// An option never moves once it is declared: Add answers with a reference on which the caller chains limits and checks,
// and the reader keeps pointers. So options are held by pointers. The order of declaration is kept for the usage screen
// and for the places of arguments. Lookups walk: a program has dozens of names at most.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCOptions.h>

#include "app/commandline/OptionState.h"
#include "app/commandline/UsageText.h"
#include "errors/CoreError.h"

#include <algorithm>

using xc::commandline::BareName;
using xc::commandline::OptionShape;

// Options ------------------------------------------------------------------------------------------------------------

XCOptions::Option::Option() : m_state(new State) {}
XCOptions::Option::~Option() = default;

XCOptions::Option& XCOptions::Option::Required()
{
    m_state->isRequired = true;
    return *this;
}

XCOptions::Option& XCOptions::Option::Between(double least, double most)
{
    OptionShape& shape = m_state->shape;
    m_state->range = {least, most};
    // Whole numbers name their limits in any case: those of their type, until Between narrows them.
    if (shape.form == OptionShape::Number) shape.form = OptionShape::NumberWithin;
    shape.least.Format(L"%s", least);
    shape.most.Format(L"%s", most);
    return *this;
}

XCOptions::Option& XCOptions::Option::Alone(XCString const& value)
{
    m_state->alone = value;
    return *this;
}

XCOptions::Option& XCOptions::Option::Word(XCString const& word)
{
    m_state->word = word;
    return *this;
}

XCOptions::Option& XCOptions::Option::Check(std::function<bool(XCString const&)> check, XCString const& expected)
{
    m_state->check = std::move(check);
    // The text about the check replaces the one about the type: the program knows better what it expects.
    m_state->shape.form = OptionShape::Checked;
    m_state->shape.words = expected;
    return *this;
}

/// The first of equally long names wins. Add has refused an empty list.
XCString const& XCOptions::Option::State::Name() const noexcept
{
    return *std::ranges::max_element(names, {}, &XCString::Length);
}

bool XCOptions::Option::State::Accepts(XCString const& text) const
{
    // The type comes first: limits and checks see only texts that it can read.
    if (!take(text, Step::Check)) return false;
    // Negated, so that a value which is no number is refused: each comparison with it is false.
    if (double const number = range ? text.AsDouble() : 0;
        range && !(number >= range->first && number <= range->second))
        return false;
    return !check || check(text);
}

XCErrorID XCOptions::Option::State::Judge(XCString const& usedName, XCString const& text) const
{
    using xc::errors::MakeCoreError;
    if (Accepts(text)) return XCErrorID::Success;
    switch (shape.form) {
    case OptionShape::Whole: return MakeCoreError(XCErrOptionWhole, usedName, text, shape.least, shape.most);
    case OptionShape::Number: return MakeCoreError(XCErrOptionNumber, usedName, text);
    case OptionShape::NumberWithin: return MakeCoreError(XCErrOptionWithin, usedName, text, shape.least, shape.most);
    case OptionShape::YesOrNo: return MakeCoreError(XCErrOptionYesOrNo, usedName, text);
    case OptionShape::OneOf: return MakeCoreError(XCErrOptionOneOf, usedName, text, shape.words);
    case OptionShape::Checked: return MakeCoreError(XCErrOptionChecked, usedName, text, shape.words);
    case OptionShape::Any: break;
    }
    return MakeCoreError(XCErrOptionValue, usedName, text);
}

// The declaration ----------------------------------------------------------------------------------------------------

XCOptions::XCOptions(XCString const& program, XCString const& about) : m_state(new State)
{
    m_state->program = program;
    m_state->about = about;
}
XCOptions::~XCOptions() = default;

XCOptions::Option::State* XCOptions::State::Find(std::wstring_view name) const noexcept
{
    for (auto const& option : options)
        for (XCString const& each : option->m_state->names)
            if (!option->m_state->IsArgument() && each.View() == name) return option->m_state.get();
    return nullptr;
}

XCOptions::Option& XCOptions::Add(XCString const& names, XCString const& about, Take take, OptionShape const& shape,
                                  XCString const& shown, Kind kind)
{
    std::unique_ptr<Option> option(new Option);
    Option::State& state = *option->m_state;
    // The word of an argument is shown as it stands, blanks and all, and so is not cut.
    XCTokenizer tokens(names, kind < Kind::Argument ? L", " : L"");
    for (XCString name; tokens.GetNext(name);) {
        bool const dashed = name.Length() > 1 && name[0] == L'-';
        if (kind < Kind::Argument && (!dashed || m_state->Find(name.View())))
            // A fault of the program, found at its first start; an error code would reach the user, who cannot mend it.
            throw XCException(XCString(L"XCOptions: a name without a dash, or declared twice: ") + name);
        state.names.push_back(name);
    }
    if (state.names.empty()) throw XCException(L"XCOptions: an option without a name");
    state.about = about;
    state.take = std::move(take);
    state.shape = shape;
    state.shown = shown;
    state.kind = kind;
    m_state->options.push_back(std::move(option));
    return *m_state->options.back();
}

XCOptions::Option& XCOptions::Flag(XCString const& names, XCString const& about, bool& target)
{
    return Add(names, about, TakeInto(target), xc::commandline::ShapeOf<bool>(), {}, Kind::Flag);
}

/// The command's usage line begins with the whole path of names, as one types it. Its declaration is held by pointer,
/// so that the reference stays good while further commands are added.
XCOptions& XCOptions::Command(XCString const& name, XCString const& about)
{
    auto command = std::make_unique<XCOptions>(m_state->program + L" " + name, about);
    return *m_state->commands.emplace_back(name, std::move(command)).second;
}

/// Answers for the chosen command too, whose help GetUsage then shows.
bool XCOptions::WantsHelp() const noexcept
{
    return m_state->wantsHelp || (m_state->chosen && m_state->chosen->WantsHelp());
}

bool XCOptions::IsGiven(XCString const& name) const
{
    for (auto const& option : m_state->options)
        for (XCString const& each : option->m_state->names)
            if (BareName(each.View()) == name.View() && option->m_state->isGiven) return true;
    return m_state->chosen && m_state->chosen->IsGiven(name);
}

XCString XCOptions::GetCommand() const
{
    return m_state->command;
}

std::vector<XCString> XCOptions::GetNames() const
{
    std::vector<XCString> names;
    for (auto const& option : m_state->options)
        for (XCString const& each : option->m_state->names)
            if (!option->m_state->IsArgument()) names.emplace_back(BareName(each.View()));
    return names;
}

// The usage screen ---------------------------------------------------------------------------------------------------

namespace {

/// A console of 80 columns breaks the line itself when the last column is used.
constexpr std::size_t kNames = 28, kLine = 79;

/// "  name  text", the text wrapped in a column of its own; a name that is too long for its column has a line of its own.
void AppendRow(XCString& out, XCString const& name, std::wstring_view text)
{
    using namespace xc::commandline;
    XCString line = L"  " + name;
    if (line.Length() > kNames - 2) {
        out += line + L"\n";
        line.Clear();
    }
    // At least once: an option without a description still gets its line.
    do {
        AppendPadded(line, {}, kNames - line.Length());
        out += line;
        out.Append(TakePiece(text, kLine - kNames));
        out += L'\n';
        line.Clear();
    } while (!text.empty());
}

void AddToList(XCString& list, std::wstring_view part)
{
    if (!list.IsNull()) list += L", ";
    list.Append(part);
}

} // namespace

/// What an option is for, with its limits and its default.
XCString XCOptions::Option::State::Description() const
{
    XCString text = about;
    if (range) text += L" (" + shape.least + L" to " + shape.most + L")";
    if (shape.form == OptionShape::OneOf) text += L" (" + shape.words + L")";
    if (isRequired) text += L"; required";
    if (!shown.IsNull() && !isRequired) text += L"; default " + shown;
    return text;
}

/// Without a word of its own the longest name serves, in capitals: --jobs JOBS.
XCString XCOptions::Option::State::Word() const
{
    return word.IsNull() ? XCString(BareName(Name().View())).Upper() : word;
}

/// "-j, --jobs JOBS".
XCString XCOptions::Option::State::Heading() const
{
    if (IsArgument()) return Name();
    XCString text;
    for (XCString const& name : names) AddToList(text, name.View());
    if (kind == Kind::Flag) return text;
    // An option that may stand alone takes only a value that is joined to it: the next argument is never its own.
    return alone ? text + L"[=" + Word() + L"]" : text + L" " + Word();
}

/// "[options] SOURCE [MORE...]".
XCString XCOptions::State::Synopsis() const
{
    XCString text = program;
    if (std::ranges::any_of(options, [](auto const& each) { return !each->m_state->IsArgument(); }))
        text += L" [options]";
    for (auto const& each : options) {
        Option::State const& option = *each->m_state;
        if (!option.IsArgument()) continue;
        XCString const word = option.Name() + (option.IsMany() ? L"..." : L"");
        text += option.isRequired ? L" " + word : L" [" + word + L"]";
    }
    return commands.empty() ? text : text + L" COMMAND";
}

XCString XCOptions::GetUsage() const
{
    // Whoever has named a command wants its screen, not the list of all commands.
    if (m_state->chosen) return m_state->chosen->GetUsage();
    XCString out = L"Usage: " + m_state->Synopsis() + L"\n", arguments, options;
    for (std::wstring_view about = m_state->about.View(); !about.empty(); out += L'\n')
        out.Append(xc::commandline::TakePiece(about, kLine));
    for (auto const& each : m_state->options) {
        Option::State const& option = *each->m_state;
        // Two lists are filled in one walk; a heading without rows is left out below.
        AppendRow(option.IsArgument() ? arguments : options, option.Heading(), option.Description().View());
    }
    if (!arguments.IsNull()) out += L"\nArguments:\n" + arguments;
    if (!options.IsNull()) out += L"\nOptions:\n" + options;
    if (!m_state->commands.empty()) out += L"\nCommands:\n";
    for (auto const& [name, command] : m_state->commands) AppendRow(out, name, command->m_state->about.View());
    return out;
}

/// The screen of an application shows options alone, without signs, each under its longest name.
XCUsageInfo XCOptions::GetUsageInfo() const
{
    XCUsageInfo usage;
    usage.SetGeneralInfo(m_state->about);
    for (auto const& each : m_state->options) {
        Option::State const& option = *each->m_state;
        if (option.IsArgument()) continue;
        XCString const name(BareName(option.Name().View()));
        XCString word;
        if (option.kind != Kind::Flag)
            word = option.alone ? L"[:" + option.Word() + L"]" : L":{" + option.Word() + L"}";
        usage.AddCmdLineArgDesc(name + word, option.about, option.kind == Kind::Flag);
    }
    return usage;
}
