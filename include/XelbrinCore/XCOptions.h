// XCOptions.h - options and arguments that a program declares, read, checked and explained.
//
// WHAT     A declaration names an option, says what it is for and where its value goes. Read takes the arguments of the
//          program apart by it; GetUsage writes the usage screen from it.
//
//              XCOptions options(L"sync", L"Copies what has changed.");
//              options.Value(L"-j,--jobs", L"threads at work", jobs).Between(1, 64);
//              options.Flag(L"-v,--verbose", L"tell each file", verbose);
//              options.Argument(L"SOURCE", L"the folder to read", source).Required();
//              if (XCErrorID const wrong = options.Read(argc, argv); wrong.Bad()) return Refuse(wrong);
//              if (options.WantsHelp()) return Show(options.GetUsage());
//
// SYNTAX   --name=value  --name value  -n value  -nvalue  -xyz (flags together)  -- (what follows are arguments)
//          "-" alone is an argument, and so is a negative number unless an option is named by a digit. A flag may say
//          no: --verbose=no. Names match with regard to case. ReadCommandLine takes the same options in the
//          syntax of that class, /jobs:4, and matches names as it does.
// TYPES    Integers of every width, double, float, bool (yes no true false on off 1 0), XCString, std::wstring, every class
//          with FromString(XCString) (dates, durations), enumerations by Choice, lists of all of them.
// ALL OR NOTHING Read checks all arguments before it sets anything: a bad one leaves every target as it was. What is not
//          given keeps the value that its target had, which the usage screen shows as the default.
// ERRORS   The first wrong argument, in order, by the codes XCErrOptionUnknown to XCErrOptionChecked (XCError.h): they name
//          the option, what was given, what would be right, and for a mistyped name the nearest one.
//          Two declarations of one name throw XCException.
// COST     Names are looked for one by one: meant for tens of options.
// LIFETIME The targets must outlive the last Read and GetUsage. Commands belong to the object that declared them.
// THREADS  One thread at a time.
#pragma once

#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <concepts>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace xc::commandline {

/// yes no true false on off 1 0, without regard to case.
inline bool ReadYesOrNo(XCString const& text, bool& value)
{
    constexpr std::pair<wchar_t const*, bool> kWords[] = {{L"yes", true},  {L"true", true}, {L"on", true},
                                                          {L"1", true},    {L"no", false},  {L"false", false},
                                                          {L"off", false}, {L"0", false}};
    for (auto const& [word, meaning] : kWords)
        if (text.IsEqual(word, 1)) return value = meaning, true;
    return false;
}

/// Reads a value of an option; false, and the value as it was, when the text is none.
template <class T>
bool ReadOption(XCString const& text, T& value)
{
    if constexpr (std::same_as<T, bool>) {
        return ReadYesOrNo(text, value);
    } else if constexpr (std::integral<T>) {
        bool ok = false;
        auto const number = [&] {
            if constexpr (std::is_signed_v<T>)
                return text.AsInt64(&ok);
            else
                return text.AsUInt64(&ok);
        }();
        if (!ok || !std::in_range<T>(number)) return false;
        return value = static_cast<T>(number), true;
    } else if constexpr (std::floating_point<T>) {
        bool ok = false;
        double const number = text.AsDouble(&ok);
        return ok && (value = static_cast<T>(number), true);
    } else if constexpr (std::convertible_to<XCString const&, T>) {
        return value = text, true;
    } else {
        T read;
        auto const result = read.FromString(text);
        if constexpr (std::same_as<decltype(result), bool const>) {
            if (!result) return false;
        } else if (result.Bad())
            return false;
        return value = read, true;
    }
}

/// What a value must be; errors tell it in the language of their reader.
struct OptionShape {
    enum Form : unsigned char { Any, Whole, Number, NumberWithin, YesOrNo, OneOf, Checked };
    Form form = Any;      ///< which of the following hold
    XCString least, most; ///< Whole, NumberWithin
    XCString words;       ///< OneOf: the choices; Checked: what the caller expects
};

/// The shape that follows from the type alone.
template <class T>
OptionShape ShapeOf()
{
    OptionShape shape;
    if constexpr (std::same_as<T, bool>) {
        shape.form = OptionShape::YesOrNo;
    } else if constexpr (std::integral<T>) {
        shape.form = OptionShape::Whole;
        shape.least.Format(L"%s", std::numeric_limits<T>::min());
        shape.most.Format(L"%s", std::numeric_limits<T>::max());
    } else if constexpr (std::floating_point<T>) {
        shape.form = OptionShape::Number;
    }
    return shape;
}

/// The value as the usage screen shows it.
template <class T>
XCString TextOfOption(T const& value)
{
    XCString text;
    if constexpr (std::same_as<T, bool>)
        text = value ? L"yes" : L"no";
    else
        text.Format(L"%s", value);
    return text;
}

} // namespace xc::commandline

/// See the head of this file.
class XC_API XCOptions {
public:
    /// One declared option or argument, to be described further.
    class XC_API Option {
    public:
        /// Read fails without it.
        Option& Required();
        /// Numbers outside are refused, both ends are allowed. Exact for numbers up to 2^53.
        Option& Between(double least, double most);
        /// What the option means without a value: --follow alone. A value must then be joined, --follow=200 or -f200.
        Option& Alone(XCString const& value);
        /// The word that stands for the value in the usage screen; NAME of the longest name otherwise.
        Option& Word(XCString const& word);
        /// A check of the caller's own; false refuses the text, and `expected` tells what would be right.
        Option& Check(std::function<bool(XCString const& text)> check, XCString const& expected);

        Option(Option const&) = delete;
        Option& operator=(Option const&) = delete;
        ~Option();

    private:
        friend class XCOptions;
        struct State;
        Option();
        std::unique_ptr<State> m_state;
    };

    /// @param program its name in the usage screen.  @param about what it does, a sentence or two.
    explicit XCOptions(XCString const& program, XCString const& about = {});
    XCOptions(XCOptions const&) = delete;
    XCOptions& operator=(XCOptions const&) = delete;
    ~XCOptions();

    /// An option without a value. @param names one or more, separated by commas: "-v,--verbose".
    Option& Flag(XCString const& names, XCString const& about, bool& target);
    /// An option with a value; the last one given counts.
    template <class T>
    Option& Value(XCString const& names, XCString const& about, T& target)
    {
        return Add(names, about, TakeInto(target), xc::commandline::ShapeOf<T>(), xc::commandline::TextOfOption(target),
                   Kind::Value);
    }
    /// An option that may be given again and again; its values replace those in the list.
    template <class T>
    Option& List(XCString const& names, XCString const& about, std::vector<T>& target)
    {
        return Add(names, about, AppendTo(target), xc::commandline::ShapeOf<T>(), {}, Kind::List);
    }
    /// An option whose value is one of these words.
    template <class E>
    Option& Choice(XCString const& names, XCString const& about, E& target,
                   std::vector<std::pair<XCString, std::type_identity_t<E>>> choices)
    {
        XCString words, shown;
        for (auto const& [word, value] : choices) {
            words += (words.IsNull() ? XCString() : XCString(L", ")) + word;
            if (value == target) shown = word;
        }
        auto take = [&target, choices = std::move(choices)](XCString const& text, Step step) {
            for (auto const& [word, value] : choices)
                if (word == text) {
                    if (step == Step::Set) target = value;
                    return true;
                }
            return step == Step::Begin;
        };
        return Add(names, about, std::move(take), {xc::commandline::OptionShape::OneOf, {}, {}, words}, shown,
                   Kind::Value);
    }
    /// The next argument that is no option. @param name its word in the usage screen: "FILE".
    template <class T>
    Option& Argument(XCString const& name, XCString const& about, T& target)
    {
        return Add(name, about, TakeInto(target), xc::commandline::ShapeOf<T>(), {}, Kind::Argument);
    }
    /// All further arguments. Required: at least one.
    template <class T>
    Option& Arguments(XCString const& name, XCString const& about, std::vector<T>& target)
    {
        return Add(name, about, AppendTo(target), xc::commandline::ShapeOf<T>(), {}, Kind::Arguments);
    }
    /// A word that selects options of its own, such as "send" in "mail send --to ...". Those before it belong to this
    /// object. Where there are commands, the first argument must be one.
    XCOptions& Command(XCString const& name, XCString const& about);

    /// Reads the arguments of a program; the first one is its name and not looked at.
    [[nodiscard]] XCErrorID Read(int count, wchar_t const* const* values);
    /// Reads arguments alone.
    [[nodiscard]] XCErrorID Read(std::vector<XCString> const& arguments);
    /// Reads what the class has taken apart (SYNTAX above); the first argument that is no option names the command.
    [[nodiscard]] XCErrorID ReadCommandLine(XCCommandLine const& line);

    /// Reads values by name from elsewhere, such as a configuration: each option that takes a value is asked for by its
    /// longest name without dashes; nothing is "not there". Flags take yes or no; no command is chosen.
    [[nodiscard]] XCErrorID ReadValues(std::function<std::optional<XCString>(XCString const& name)> const& find);

    /// Whether --help or -h was given (/help, /?): nothing is required then. A program may declare these names itself.
    [[nodiscard]] bool WantsHelp() const noexcept;
    /// Whether the last Read has met the option, by any of its names without the dashes.
    [[nodiscard]] bool IsGiven(XCString const& name) const;
    /// The name of the command that was given; empty without one.
    [[nodiscard]] XCString GetCommand() const;
    /// The usage screen: lines of at most 79 units that end with a line feed.
    [[nodiscard]] XCString GetUsage() const;
    /// The same for the usage screen of an application: "jobs:{JOBS}" and what it is for.
    [[nodiscard]] XCUsageInfo GetUsageInfo() const;
    /// The names of all options without dashes, for GetInvalidArguments of a command line that others read, too.
    [[nodiscard]] std::vector<XCString> GetNames() const;

private:
    enum class Kind : unsigned char { Flag, Value, List, Argument, Arguments };
    enum class Step : unsigned char { Check, Begin, Set }; // Begin: once, before the first Set; its text is empty
    using Take = std::function<bool(XCString const& text, Step step)>;
    struct State;
    class Reading;

    template <class T>
    static Take TakeInto(T& target)
    {
        return [&target](XCString const& text, Step step) {
            T value{};
            if (step == Step::Begin) return true;
            if (!xc::commandline::ReadOption(text, value)) return false;
            if (step == Step::Set) target = std::move(value);
            return true;
        };
    }
    template <class T>
    static Take AppendTo(std::vector<T>& target)
    {
        return [&target](XCString const& text, Step step) {
            T value{};
            if (step == Step::Begin) return target.clear(), true;
            if (!xc::commandline::ReadOption(text, value)) return false;
            if (step == Step::Set) target.push_back(std::move(value));
            return true;
        };
    }
    Option& Add(XCString const& names, XCString const& about, Take take, xc::commandline::OptionShape const& shape,
                XCString const& shown, Kind kind);

    std::unique_ptr<State> m_state;
};
