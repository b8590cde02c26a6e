// XCCommandLine.h - the arguments of a process, classified, and the text of its usage screen.
//
// WHAT     XCCommandLine splits arguments into options ("/trace:2", "-noconsole") and everything else (file names,
//          paths), and answers lookups by option name. XCUsageInfo holds the text of the usage screen.
// RULES    An argument is an option when its first unit is an argument delimiter. Its name ends at the first value
//          delimiter; the rest, further value delimiters included, is the value. With '/' as delimiter a second '/'
//          before any value delimiter makes it a path: "/usr/bin" is no option, "/osxpath:c:/dir" is one.
// NUL      Texts end at their first U+0000, as arguments of a process do.
// COST     Construction is linear in the length of all arguments. A lookup walks the arguments once.
// ERRORS   Nothing throws for bad input. No memory: std::bad_alloc.
// THREADS  Any threads may read one object; changing it while others use it needs the callers' own lock.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

/// One argument: its kind, its name (or whole text) and its value. A value type.
class XC_API XCCommandLineArgument {
public:
    /// The kinds of argument.
    enum ArgumentType : std::int32_t {
        ArgSwitch = 0,      ///< an option without a value: argument is the name, value empty
        ArgWithValue = 1,   ///< an option with a value: argument is the name
        ArgNonStandard = 2, ///< no option: argument is the whole text, value empty
        ArgAbsent = 3       ///< an empty argument, or "not found": both texts empty
    };

    XCCommandLineArgument() = default;
    /// An argument of the given kind and texts.
    explicit XCCommandLineArgument(ArgumentType type, XCString argument = {}, XCString value = {})
        : m_type(type), m_argument(std::move(argument)), m_value(std::move(value))
    {
    }

    /// The kind of the argument.
    [[nodiscard]] ArgumentType GetArgType() const noexcept { return m_type; }
    /// The option's name, or the whole text of an argument that is no option.
    [[nodiscard]] XCString const& GetArgument() const noexcept { return m_argument; }
    /// The text after the value delimiter; empty when there is none.
    [[nodiscard]] XCString const& GetValueAsString() const noexcept { return m_value; }
    /// Read by XCString::AsInt, AsDouble: a text that is no number gives the number at its start, else 0.
    [[nodiscard]] int GetValueAsInt() const noexcept { return m_value.AsInt(); }
    /// As GetValueAsInt, with a point and an exponent.
    [[nodiscard]] double GetValueAsDouble() const { return m_value.AsDouble(); }
    /// The value's first unit; 0 when it is empty.
    [[nodiscard]] wchar_t GetValueAsChar() const noexcept { return m_value[0]; }

    /// Compares the argument texts only, case counted; type and value are ignored.
    friend bool operator==(XCCommandLineArgument const& a, XCCommandLineArgument const& b)
    {
        return a.m_argument == b.m_argument;
    }
    friend bool operator<(XCCommandLineArgument const& a, XCCommandLineArgument const& b)
    {
        return a.m_argument < b.m_argument;
    }

private:
    ArgumentType m_type = ArgAbsent;
    XCString m_argument;
    XCString m_value;
};

/// The command line of a process, parsed once (see the head of this file).
class XC_API XCCommandLine {
public:
    /// The kinds of argument.
    using ArgumentType = XCCommandLineArgument::ArgumentType;
    using enum XCCommandLineArgument::ArgumentType;

    /// From an argument vector as a process receives it; entry 0 is the program name. A null entry counts as empty.
    /// @param values          stays the caller's: this object refers to it, so it must live as long (copies do not).
    /// @param argDelimiters   the units that open an option.
    /// @param valueDelimiters the units that separate an option's name from its value.
    /// @param caseSensitive   whether lookups regard case.
    XCCommandLine(std::size_t count, wchar_t const* const* values, XCString const& argDelimiters = L"/-",
                  XCString const& valueDelimiters = L":", bool caseSensitive = false);

    /// From one command-line string. Blanks and tabs outside double quotes separate arguments; a pair of adjacent
    /// quotes stands for one quote, single quotes are taken out; an unclosed quote makes the rest one argument.
    /// A first token that is an option ("-x", but not a path such as "/bin/tool") gets an empty program name before it.
    /// `"a ""quoted"" word"` is one argument: a "quoted" word.
    explicit XCCommandLine(XCString const& commandLine, XCString const& argDelimiters = L"/-",
                           XCString const& valueDelimiters = L":", bool caseSensitive = false);

    /// A copy owns a vector of its own, whatever the source refers to.
    XCCommandLine(XCCommandLine const& other);
    XCCommandLine& operator=(XCCommandLine const& other);
    /// The other one has no arguments afterwards.
    XCCommandLine(XCCommandLine&& other) noexcept;
    XCCommandLine& operator=(XCCommandLine&& other) noexcept;
    virtual ~XCCommandLine();

    /// Argument 0; empty when there is none.
    [[nodiscard]] XCString const& GetAppName() const noexcept { return m_appName; }
    /// Entries of GetArgValues, the program name included.
    [[nodiscard]] std::size_t GetArgCount() const noexcept { return m_argCount; }
    /// The vector as received, or as built from the command-line string (then a null entry follows the last one).
    [[nodiscard]] wchar_t const* const* GetArgValues() const noexcept { return m_argValues; }
    /// The units that open an option.
    [[nodiscard]] XCString const& GetArgDelimiters() const noexcept { return m_argDelimiters; }
    /// The units that separate an option's name from its value.
    [[nodiscard]] XCString const& GetValueDelimiters() const noexcept { return m_valueDelimiters; }
    /// Whether lookups regard case.
    [[nodiscard]] bool IsCaseSensitive() const noexcept { return m_caseSensitive; }
    /// For the lookups from now on; nothing is parsed again.
    void SetCaseSensitivity(bool caseSensitive) noexcept { m_caseSensitive = caseSensitive; }
    /// One entry for each argument after the program name, in order; a repeated option has several.
    [[nodiscard]] std::vector<XCCommandLineArgument> const& GetParsedArgumentVector() const noexcept
    {
        return m_parsedArguments;
    }
    /// The same arguments as received.
    [[nodiscard]] std::vector<XCString> GetRawArgumentListVector() const { return m_rawArguments; }

    /// Whether an argument of this name, of any kind, is there.
    [[nodiscard]] bool ArgPresent(std::wstring_view name) const;
    /// The value of the first option of this name, or the default when there is none. An option without a value is
    /// there: its text is empty, and its number is what an empty text gives (0).
    [[nodiscard]] XCString GetArg(std::wstring_view name, XCString const& defaultValue = {}) const;
    [[nodiscard]] int GetArg(std::wstring_view name, int defaultValue) const;
    [[nodiscard]] double GetArg(std::wstring_view name, double defaultValue) const;
    /// The same for the other integer types; what does not fit is held at the type's limits.
    template <std::integral N>
    requires(!std::same_as<N, int> && !std::same_as<N, bool>) [[nodiscard]] N
        GetArg(std::wstring_view name, N defaultValue) const
    {
        if (!ArgPresent(name)) return defaultValue;
        std::int64_t const value = GetArg(name).AsInt64();
        if (std::cmp_less(value, std::numeric_limits<N>::min())) return std::numeric_limits<N>::min();
        if (std::cmp_greater(value, std::numeric_limits<N>::max())) return std::numeric_limits<N>::max();
        return static_cast<N>(value);
    }
    /// The index-th (from 0) argument of kind ArgNonStandard; empty when there are fewer.
    [[nodiscard]] XCString GetFileName(std::size_t index) const;
    /// Every argument that is no option, empty ones included, in order.
    [[nodiscard]] std::vector<XCString> GetNonStandardArguments() const;
    /// Appends the name of each option that is not among the valid ones, by this object's case rule.
    /// @return how many were appended.
    std::size_t GetInvalidArguments(std::vector<XCString> const& validNames, std::vector<XCString>& invalid) const;

protected:
    /// Replaces the program name.
    void SetAppName(XCString const& name) { m_appName = name; }
    /// Takes the vector (or builds it from the command line) and parses it.
    void Init(std::size_t count, wchar_t const* const* values);
    void Init(XCString const& commandLine);
    /// Fills the raw list and the parsed vector from the argument vector.
    void ParseCommandLine();
    /// Sorts one text into its kind, name and value.
    [[nodiscard]] XCCommandLineArgument ParseArgument(XCString const& text) const;
    /// The first entry, of any kind, whose argument text is the name; otherwise one of kind ArgAbsent.
    [[nodiscard]] XCCommandLineArgument GetCommandLineArgument(std::wstring_view name) const;
    /// Takes out single double quotes and makes one of each adjacent pair, from left to right.
    static void RemoveQuotes(XCString& text);

private:
    struct Storage;

    void OwnVector(std::unique_ptr<Storage> storage);
    [[nodiscard]] XCCommandLineArgument const* FindArgument(std::wstring_view name) const;
    [[nodiscard]] bool IsSameName(XCString const& a, std::wstring_view b) const;
    [[nodiscard]] bool NeedsProgramName(XCString const& firstToken) const;

    std::size_t m_argCount = 0;
    wchar_t const* const* m_argValues = nullptr;
    std::unique_ptr<Storage> m_storage; // the vector's storage when it is our own
    XCString m_appName;
    XCString m_argDelimiters;
    XCString m_valueDelimiters;
    bool m_caseSensitive;
    std::vector<XCString> m_rawArguments;
    std::vector<XCCommandLineArgument> m_parsedArguments;
};

/// The text of a usage screen: a general paragraph and descriptions of options. A value type.
class XC_API XCUsageInfo {
public:
    /// Sets the paragraph that stands above the options.
    void SetGeneralInfo(XCString const& text) { m_generalInfo = text; }
    /// The paragraph that stands above the options; empty at first.
    [[nodiscard]] XCString const& GetGeneralInfo() const noexcept { return m_generalInfo; }

    /// Adds the description of one option.
    /// @param name display name without delimiter, for example "config:{filename}".
    /// @param flag kept and given back unchanged; the usage screen does not look at it.
    void AddCmdLineArgDesc(XCString const& name, XCString const& description, bool flag);
    /// The same from NUL-terminated UTF-8; null counts as empty. Bytes that are no UTF-8 are taken as Latin-1.
    void AddCmdLineArgDesc(char const* name, char const* description, bool flag);
    /// How many options are described.
    [[nodiscard]] std::size_t GetCmdLineArgDescCount() const noexcept { return m_descriptions.size(); }
    /// False, and nothing written, when the index is out of range.
    bool GetCmdLineArgDesc(std::size_t index, XCString& name, XCString& description, bool& flag) const;
    /// The names alone, as a command line has them: of "config:{filename}" it is "config". A name ends before the first
    /// of ':', '[', '{', '=' and blank.
    [[nodiscard]] std::vector<XCString> GetOptionNames() const;

private:
    struct Description {
        XCString name;
        XCString text;
        bool flag;
    };

    XCString m_generalInfo;
    std::vector<Description> m_descriptions;
};
