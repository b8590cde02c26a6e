// Reading of options: first all arguments are matched with the declaration and checked, then the targets are set.
//
// One pass over the arguments makes a list of what was met: an option and its text. A command hands the rest on to a
// reading of its own. Nothing is set before every text has been accepted and nothing required is missing, so a refused
// command line leaves the program as it was. Texts are read twice for that; they are few and short.
//
// Three sources give their own Match: arguments in the syntax of dashes, a parsed XCCommandLine, and a function that is
// asked by name. They end in the same Meet, so limits, choices and checks are judged in one place.
//
// Cost: each argument walks the declared names; a table of a few dozen names would not pay for its construction.
// Copies of the texts share their blocks.
#include <XelbrinCore/XCOptions.h>

#include "app/commandline/OptionNames.h"
#include "app/commandline/OptionState.h"
#include "errors/CoreError.h"
#include "text/Names.h"

#include <algorithm>

using xc::commandline::BareName;
using xc::commandline::NearestName;
using xc::errors::MakeCoreError;

class XCOptions::Reading {
public:
    // The results of an earlier reading end here, whatever comes of this one: after a refusal IsGiven, GetCommand and
    // WantsHelp must not answer for the command line before.
    explicit Reading(XCOptions& options) : m_state(*options.m_state)
    {
        m_state.chosen = nullptr;
        m_state.wantsHelp = false;
        m_state.command.Clear();
        for (auto const& option : m_state.options) option->m_state->isGiven = false;
    }

    XCErrorID Match(std::vector<XCString> const& arguments, std::size_t from);
    XCErrorID Match(XCCommandLine const& line, std::size_t from);
    XCErrorID Match(std::function<std::optional<XCString>(XCString const&)> const& find);
    /// @param anyCommand whether none of the declared commands has to be there.
    [[nodiscard]] XCErrorID FindMissing(bool anyCommand = false) const;
    void Set() const;

private:
    using Texts = std::vector<XCString>;
    struct Met {
        Option::State* option;
        XCString text;
    };

    XCErrorID MatchLong(XCString const& text, Texts const& all, std::size_t& at);
    XCErrorID MatchShort(XCString const& text, Texts const& all, std::size_t& at);
    XCErrorID MatchArgument(XCString const& text);
    XCErrorID MatchOne(XCCommandLine const& line, XCCommandLineArgument const& argument);
    Option::State* FindBare(XCString const& name, bool caseSensitive) const;
    /// The reading of the command with this name, which the rest of the arguments is for; null: refused.
    Reading* EnterCommand(XCString const& name, XCErrorID& refused);
    XCErrorID TakeNext(Option::State& option, XCString const& name, Texts const& all, std::size_t& at);
    XCErrorID Meet(Option::State& option, XCString const& name, XCString const& text);
    XCErrorID Unknown(XCString const& name);
    [[nodiscard]] bool IsOption(XCString const& text) const noexcept;

    XCOptions::State& m_state;
    std::vector<Met> m_met;
    std::unique_ptr<Reading> m_command;
    std::size_t m_arguments = 0; // places that are taken
};

XCErrorID XCOptions::Read(int count, wchar_t const* const* values)
{
    std::vector<XCString> arguments;
    // Index 0 is the program.
    for (int i = 1; i < count; ++i) arguments.emplace_back(values[i]);
    return Read(arguments);
}

XCErrorID XCOptions::Read(std::vector<XCString> const& arguments)
{
    Reading reading(*this);
    XCErrorID wrong = reading.Match(arguments, 0);
    // Somebody who asks for help does not know yet what is required.
    if (wrong.Good() && !WantsHelp()) wrong = reading.FindMissing();
    if (wrong.Good()) reading.Set();
    return wrong;
}

XCErrorID XCOptions::ReadCommandLine(XCCommandLine const& line)
{
    Reading reading(*this);
    XCErrorID wrong = reading.Match(line, 0);
    if (wrong.Good() && !WantsHelp()) wrong = reading.FindMissing();
    if (wrong.Good()) reading.Set();
    return wrong;
}

/// A source of values cannot ask for help, so that required options are looked for in any case. It names no command.
XCErrorID XCOptions::ReadValues(std::function<std::optional<XCString>(XCString const& name)> const& find)
{
    Reading reading(*this);
    XCErrorID wrong = reading.Match(find);
    if (wrong.Good()) wrong = reading.FindMissing(true);
    if (wrong.Good()) reading.Set();
    return wrong;
}

XCErrorID XCOptions::Reading::Match(std::function<std::optional<XCString>(XCString const&)> const& find)
{
    for (auto const& each : m_state.options) {
        Option::State& option = *each->m_state;
        if (option.IsArgument()) continue;
        XCString const name(BareName(option.Name().View()));
        std::optional<XCString> const text = find(name);
        if (!text) continue;
        // A configuration that has the name without a value means the same as the option alone on a command line.
        bool const isAlone = option.alone && text->IsNull();
        if (XCErrorID const wrong = Meet(option, name, isAlone ? *option.alone : *text); wrong.Bad()) return wrong;
    }
    return XCErrorID::Success;
}

/// "-" and negative numbers are arguments, unless an option is named by the digit.
bool XCOptions::Reading::IsOption(XCString const& text) const noexcept
{
    if (text.Length() < 2 || text[0] != L'-') return false;
    bool const isNumber = (text[1] >= L'0' && text[1] <= L'9') || text[1] == L'.';
    return !isNumber || m_state.Find(text.View().substr(0, 2));
}

XCErrorID XCOptions::Reading::Match(Texts const& arguments, std::size_t from)
{
    bool onlyArguments = false;
    for (std::size_t at = from; at < arguments.size(); ++at) {
        XCString const& text = arguments[at];
        XCErrorID wrong;
        if (!onlyArguments && text == L"--")
            onlyArguments = true;
        else if (!onlyArguments && IsOption(text))
            wrong = text[1] == L'-' ? MatchLong(text, arguments, at) : MatchShort(text, arguments, at);
        else if (m_state.commands.empty())
            wrong = MatchArgument(text);
        else if (Reading* const command = EnterCommand(text, wrong))
            // The command reads all the rest: its options follow its name, and the same name may mean something else
            // there.
            return command->Match(arguments, at + 1);
        if (wrong.Bad()) return wrong;
    }
    return XCErrorID::Success;
}

XCErrorID XCOptions::Reading::MatchLong(XCString const& text, Texts const& all, std::size_t& at)
{
    // The first "=" ends the name; later ones belong to the value ("--define=a=b").
    std::size_t const equals = text.Find(L'=');
    XCString const name = text.SubStr(0, equals);
    Option::State* const option = m_state.Find(name.View());
    if (!option) return Unknown(name);
    if (equals != XCString::npos) return Meet(*option, name, text.SubStr(equals + 1));
    // A flag never takes the next argument: "--verbose file" would lose its file.
    return option->kind == Kind::Flag ? Meet(*option, name, L"yes") : TakeNext(*option, name, all, at);
}

/// Flags together, and at their end an option with its value: "-xj4", "-xj 4", "-xj=4".
XCErrorID XCOptions::Reading::MatchShort(XCString const& text, Texts const& all, std::size_t& at)
{
    for (std::size_t i = 1; i < text.Length(); ++i) {
        XCString const name = XCString(L'-') + text[i];
        Option::State* const option = m_state.Find(name.View());
        if (!option) return Unknown(name);
        // At the last unit this reads the terminating null, which is part of every text.
        bool const equals = text[i + 1] == L'=';
        if (option->kind == Kind::Flag && !equals) {
            if (XCErrorID const wrong = Meet(*option, name, L"yes"); wrong.Bad()) return wrong;
            continue;
        }
        XCString const rest = text.SubStr(i + (equals ? 2 : 1));
        return rest.IsNull() && !equals ? TakeNext(*option, name, all, at) : Meet(*option, name, rest);
    }
    return XCErrorID::Success;
}

/// The value is the next argument. The name of another option is none: the value was forgotten.
XCErrorID XCOptions::Reading::TakeNext(Option::State& option, XCString const& name, Texts const& all, std::size_t& at)
{
    if (option.alone) return Meet(option, name, *option.alone);
    // A known name there is an option, and so is "--". Other texts with a dash are taken: "-5" and "-" are proper
    // values.
    std::wstring_view const next = at + 1 < all.size() ? all[at + 1].View() : L"--";
    bool const isLong = next.starts_with(L"--"); // may have its own value: "--output --jobs=4"
    bool const missing = next == L"--" || m_state.Find(isLong ? next.substr(0, next.find(L'=')) : next);
    return missing ? MakeCoreError(XCErrOptionNoValue, name) : Meet(option, name, all[++at]);
}

/// Judges a text and remembers it. The option itself stays untouched until Set.
XCErrorID XCOptions::Reading::Meet(Option::State& option, XCString const& name, XCString const& text)
{
    XCErrorID wrong = option.Judge(name, text);
    if (wrong.Good()) m_met.push_back({&option, text});
    return wrong;
}

/// Arguments fill the declared places in order. The place of one that takes many is never passed, so that it takes all
/// the rest; m_arguments counts the places before it.
XCErrorID XCOptions::Reading::MatchArgument(XCString const& text)
{
    std::size_t place = 0;
    for (auto const& each : m_state.options) {
        Option::State& option = *each->m_state;
        if (!option.IsArgument() || place++ < m_arguments) continue;
        if (!option.IsMany()) ++m_arguments;
        return Meet(option, option.Name(), text);
    }
    return MakeCoreError(XCErrArgumentExtra, text);
}

XCOptions::Reading* XCOptions::Reading::EnterCommand(XCString const& name, XCErrorID& refused)
{
    Texts names;
    // The names are collected on the way: only a failed search needs them, and then needs them all.
    for (auto const& [each, options] : m_state.commands) {
        names.push_back(each);
        if (!(each == name)) continue;
        m_state.chosen = options.get();
        m_state.command = name;
        // The reading of the command lives until Set: its targets too are set only when the whole line was accepted.
        m_command = std::make_unique<Reading>(*options);
        return m_command.get();
    }
    XCString const nearest = NearestName(name.View(), names);
    refused = nearest.IsNull() ? MakeCoreError(XCErrCommandUnknown, name)
                               : MakeCoreError(XCErrCommandUnknownNear, name, nearest);
    return nullptr;
}

/// A name that nobody has declared; help is known without.
XCErrorID XCOptions::Reading::Unknown(XCString const& name)
{
    std::wstring_view const bare = BareName(name.View());
    if (bare == L"help" || bare == L"h" || bare == L"?") {
        // No error: the program shows its usage screen. Reading goes on, since later arguments may name the command
        // that the help is wanted for.
        m_state.wantsHelp = true;
        return XCErrorID::Success;
    }
    Texts names;
    for (auto const& each : m_state.options)
        if (!each->m_state->IsArgument())
            names.insert(names.end(), each->m_state->names.begin(), each->m_state->names.end());
    // A typed dash less or more says nothing: names of several letters are compared with those of two dashes.
    XCString const nearest = bare.size() > 1 ? NearestName(XCString(L"--").Append(bare).View(), names) : XCString();
    return nearest.IsNull() ? MakeCoreError(XCErrOptionUnknown, name)
                            : MakeCoreError(XCErrOptionUnknownNear, name, nearest);
}

/// The class has cut off the sign of the option already, so names are compared without dashes, and with its own rule
/// for case.
XCOptions::Option::State* XCOptions::Reading::FindBare(XCString const& name, bool caseSensitive) const
{
    for (auto const& each : m_state.options)
        for (XCString const& known : each->m_state->names) {
            std::wstring_view const bare = BareName(known.View());
            bool const same = caseSensitive ? bare == name.View() : xc::text::IsSameNameFolded(bare, name.View());
            if (!each->m_state->IsArgument() && same) return each->m_state.get();
        }
    return nullptr;
}

XCErrorID XCOptions::Reading::Match(XCCommandLine const& line, std::size_t from)
{
    auto const& arguments = line.GetParsedArgumentVector();
    for (std::size_t at = from; at < arguments.size(); ++at) {
        bool const isOption = arguments[at].GetArgType() != XCCommandLineArgument::ArgNonStandard;
        XCErrorID wrong;
        if (isOption || m_state.commands.empty())
            wrong = MatchOne(line, arguments[at]);
        else if (Reading* const command = EnterCommand(arguments[at].GetArgument(), wrong))
            return command->Match(line, at + 1);
        if (wrong.Bad()) return wrong;
    }
    return XCErrorID::Success;
}

/// A value never stands in the next argument here: "/jobs 4" is an option and a file.
XCErrorID XCOptions::Reading::MatchOne(XCCommandLine const& line, XCCommandLineArgument const& argument)
{
    XCString const& name = argument.GetArgument();
    if (argument.GetArgType() == XCCommandLineArgument::ArgNonStandard) return MatchArgument(name);
    if (argument.GetArgType() == XCCommandLineArgument::ArgAbsent) return XCErrorID::Success;
    Option::State* const option = FindBare(name, line.IsCaseSensitive());
    if (!option) return Unknown(name);
    if (argument.GetArgType() == XCCommandLineArgument::ArgWithValue)
        return Meet(*option, name, argument.GetValueAsString());
    if (option->kind == Kind::Flag) return Meet(*option, name, L"yes");
    return option->alone ? Meet(*option, name, *option->alone) : MakeCoreError(XCErrOptionNoValue, name);
}

/// Runs after all matches: an option may be given anywhere. A declaration with commands requires one of them.
XCErrorID XCOptions::Reading::FindMissing(bool anyCommand) const
{
    for (auto const& each : m_state.options) {
        Option::State const& option = *each->m_state;
        bool const met = std::ranges::any_of(m_met, [&](Met const& one) { return one.option == &option; });
        if (option.isRequired && !met) return MakeCoreError(XCErrOptionMissing, option.Name());
    }
    if (!m_state.commands.empty() && !m_command && !anyCommand)
        return MakeCoreError(XCErrOptionMissing, XCString(L"COMMAND"));
    return m_command ? m_command->FindMissing() : XCErrorID::Success;
}

void XCOptions::Reading::Set() const
{
    for (Met const& one : m_met) {
        // A list begins anew with its first element of this reading, so that values from here replace the defaults and
        // never join them. Each text was accepted by the same function before: neither step can fail for its contents.
        if (!std::exchange(one.option->isGiven, true)) (void)one.option->take({}, Step::Begin);
        (void)one.option->take(one.text, Step::Set);
    }
    if (m_command) m_command->Set();
}
