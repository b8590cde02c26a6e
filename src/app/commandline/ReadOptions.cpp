// Reading of options: first all arguments are matched with the declaration and checked, then the targets are set.
//
// One pass over the arguments makes a list of what was met: an option and its text. A command hands the rest on to a
// reading of its own. Nothing is set before every text has been accepted and nothing required is missing, so a refused
// command line leaves the program as it was. Texts are read twice for that; they are few and short.
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
    explicit Reading(XCOptions& options) : m_state(*options.m_state)
    {
        m_state.chosen = nullptr;
        m_state.wantsHelp = false;
        m_state.command.Clear();
        for (auto const& option : m_state.options) option->m_state->isGiven = false;
    }

    XCErrorID Match(std::vector<XCString> const& arguments, std::size_t from);
    XCErrorID Match(XCCommandLine const& line);
    XCErrorID Match(std::function<std::optional<XCString>(XCString const&)> const& find);
    [[nodiscard]] XCErrorID FindMissing() const;
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
    XCErrorID MatchCommand(XCString const& name, Texts const& rest, std::size_t from);
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
    for (int i = 1; i < count; ++i) arguments.emplace_back(values[i]);
    return Read(arguments);
}

XCErrorID XCOptions::Read(std::vector<XCString> const& arguments)
{
    Reading reading(*this);
    XCErrorID wrong = reading.Match(arguments, 0);
    if (wrong.Good() && !WantsHelp()) wrong = reading.FindMissing();
    if (wrong.Good()) reading.Set();
    return wrong;
}

XCErrorID XCOptions::ReadCommandLine(XCCommandLine const& line)
{
    Reading reading(*this);
    XCErrorID wrong = reading.Match(line);
    if (wrong.Good() && !WantsHelp()) wrong = reading.FindMissing();
    if (wrong.Good()) reading.Set();
    return wrong;
}

XCErrorID XCOptions::ReadValues(std::function<std::optional<XCString>(XCString const& name)> const& find)
{
    Reading reading(*this);
    XCErrorID wrong = reading.Match(find);
    if (wrong.Good()) wrong = reading.FindMissing();
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
        else if (!m_state.commands.empty())
            return MatchCommand(text, arguments, at + 1);
        else
            wrong = MatchArgument(text);
        if (wrong.Bad()) return wrong;
    }
    return XCErrorID::Success;
}

XCErrorID XCOptions::Reading::MatchLong(XCString const& text, Texts const& all, std::size_t& at)
{
    std::size_t const equals = text.Find(L'=');
    XCString const name = text.SubStr(0, equals);
    Option::State* const option = m_state.Find(name.View());
    if (!option) return Unknown(name);
    if (equals != XCString::npos) return Meet(*option, name, text.SubStr(equals + 1));
    return option->kind == Kind::Flag ? Meet(*option, name, L"yes") : TakeNext(*option, name, all, at);
}

/// Flags together, and at their end an option with its value: "-xj4", "-xj 4", "-xj=4".
XCErrorID XCOptions::Reading::MatchShort(XCString const& text, Texts const& all, std::size_t& at)
{
    for (std::size_t i = 1; i < text.Length(); ++i) {
        XCString const name = XCString(L'-') + text[i];
        Option::State* const option = m_state.Find(name.View());
        if (!option) return Unknown(name);
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
    bool const missing = at + 1 == all.size() || all[at + 1] == L"--" || m_state.Find(all[at + 1].View());
    return missing ? MakeCoreError(XCErrOptionNoValue, name) : Meet(option, name, all[++at]);
}

XCErrorID XCOptions::Reading::Meet(Option::State& option, XCString const& name, XCString const& text)
{
    XCErrorID wrong = option.Judge(name, text);
    if (wrong.Good()) m_met.push_back({&option, text});
    return wrong;
}

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

XCErrorID XCOptions::Reading::MatchCommand(XCString const& name, Texts const& rest, std::size_t from)
{
    Texts names;
    for (auto const& [each, options] : m_state.commands) {
        names.push_back(each);
        if (!(each == name)) continue;
        m_state.chosen = options.get();
        m_state.command = name;
        m_command = std::make_unique<Reading>(*options);
        return m_command->Match(rest, from);
    }
    XCString const nearest = NearestName(name.View(), names);
    return nearest.IsNull() ? MakeCoreError(XCErrCommandUnknown, name)
                            : MakeCoreError(XCErrCommandUnknownNear, name, nearest);
}

/// A name that nobody has declared; help is known without.
XCErrorID XCOptions::Reading::Unknown(XCString const& name)
{
    std::wstring_view const bare = BareName(name.View());
    if (bare == L"help" || bare == L"h" || bare == L"?") {
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

XCErrorID XCOptions::Reading::Match(XCCommandLine const& line)
{
    auto const find = [&](XCString const& name) -> Option::State* {
        for (auto const& each : m_state.options)
            for (XCString const& known : each->m_state->names) {
                std::wstring_view const bare = BareName(known.View());
                bool const same =
                    line.IsCaseSensitive() ? bare == name.View() : xc::text::IsSameNameFolded(bare, name.View());
                if (!each->m_state->IsArgument() && same) return each->m_state.get();
            }
        return nullptr;
    };
    for (XCCommandLineArgument const& argument : line.GetParsedArgumentVector()) {
        XCErrorID wrong;
        XCString const& name = argument.GetArgument();
        bool const withValue = argument.GetArgType() == XCCommandLineArgument::ArgWithValue;
        if (argument.GetArgType() == XCCommandLineArgument::ArgNonStandard)
            wrong = MatchArgument(name);
        else if (argument.GetArgType() == XCCommandLineArgument::ArgAbsent)
            continue;
        else if (Option::State* const option = find(name); !option)
            wrong = Unknown(name);
        else if (withValue || option->kind == Kind::Flag)
            wrong = Meet(*option, name, withValue ? argument.GetValueAsString() : XCString(L"yes"));
        else
            wrong = option->alone ? Meet(*option, name, *option->alone) : MakeCoreError(XCErrOptionNoValue, name);
        if (wrong.Bad()) return wrong;
    }
    return XCErrorID::Success;
}

XCErrorID XCOptions::Reading::FindMissing() const
{
    for (auto const& each : m_state.options) {
        Option::State const& option = *each->m_state;
        bool const met = std::ranges::any_of(m_met, [&](Met const& one) { return one.option == &option; });
        if (option.isRequired && !met) return MakeCoreError(XCErrOptionMissing, option.Name());
    }
    if (!m_state.commands.empty() && !m_command) return MakeCoreError(XCErrOptionMissing, XCString(L"COMMAND"));
    return m_command ? m_command->FindMissing() : XCErrorID::Success;
}

void XCOptions::Reading::Set() const
{
    for (Met const& one : m_met) {
        if (!std::exchange(one.option->isGiven, true)) (void)one.option->take({}, Step::Begin);
        (void)one.option->take(one.text, Step::Set);
    }
    if (m_command) m_command->Set();
}
