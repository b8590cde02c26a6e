// OptionState.h - what a declaration of options holds.
#pragma once

#include <XelbrinCore/XCOptions.h>

#include <algorithm>
#include <optional>
#include <string_view>

/// An option by its names, or an argument by the word that stands for it.
struct XCOptions::Option::State {
    std::vector<XCString> names; // as declared: "-j", "--jobs"; one word for an argument
    XCString about, word, shown;
    std::optional<XCString> alone; // the value of an option without one
    xc::commandline::OptionShape shape;
    Kind kind;
    Take take;
    bool isRequired = false;
    std::optional<std::pair<double, double>> range;
    std::function<bool(XCString const&)> check;
    bool isGiven = false;

    [[nodiscard]] bool IsArgument() const noexcept { return kind == Kind::Argument || kind == Kind::Arguments; }
    [[nodiscard]] bool IsMany() const noexcept { return kind == Kind::List || kind == Kind::Arguments; }
    /// The longest name, which errors and the usage screen tell.
    [[nodiscard]] XCString const& Name() const noexcept;
    /// What stands for the value.
    [[nodiscard]] XCString Word() const;
    [[nodiscard]] XCString Heading() const;
    [[nodiscard]] XCString Description() const;
    /// Whether the text is a value of this option.
    [[nodiscard]] bool Accepts(XCString const& text) const;
    /// Success, or why the text is none, told of the option by the name that was used.
    [[nodiscard]] XCErrorID Judge(XCString const& usedName, XCString const& text) const;
};

struct XCOptions::State {
    XCString program, about;
    std::vector<std::unique_ptr<Option>> options;
    std::vector<std::pair<XCString, std::unique_ptr<XCOptions>>> commands;
    XCOptions* chosen = nullptr; // by the last Read
    XCString command;
    bool wantsHelp = false;

    [[nodiscard]] XCString Synopsis() const;
    /// The option of a name with its dashes; null when there is none.
    [[nodiscard]] Option::State* Find(std::wstring_view name) const noexcept;
};

namespace xc::commandline {

/// A name without the dashes before it.
inline std::wstring_view BareName(std::wstring_view name) noexcept
{
    return name.substr(std::min(name.find_first_not_of(L'-'), name.size()));
}

} // namespace xc::commandline
