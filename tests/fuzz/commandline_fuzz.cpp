// The command line: any string gives arguments, and quoting its parsed arguments again gives the same ones. Declared
// options read them in both syntaxes; what is refused leaves every target as it was.
#include "input.h"

/// Each argument in quotes, its own doubled.
XCString Quoted(XCCommandLine const& line)
{
    XCString text;
    for (std::size_t i = 0; i < line.GetArgCount(); ++i) {
        XCString argument(line.GetArgValues()[i]);
        argument.Replace(L"\"", L"\"\"");
        text += L"\"" + argument + L"\" ";
    }
    return text;
}

bool HasSameArguments(XCCommandLine const& a, XCCommandLine const& b)
{
    if (a.GetArgCount() != b.GetArgCount()) return false;
    for (std::size_t i = 0; i < a.GetArgCount(); ++i)
        if (XCString(a.GetArgValues()[i]) != XCString(b.GetArgValues()[i])) return false;
    return true;
}

/// An argument of nothing or nothing but quotes gains one when it is quoted: such lines cannot be written again.
bool CanBeQuoted(XCCommandLine const& line)
{
    for (std::size_t i = 0; i < line.GetArgCount(); ++i)
        if (XCString(line.GetArgValues()[i]).FindFirstNotOf(L"\"") == XCString::npos) return false;
    return true;
}

struct Targets {
    int number = -7;
    bool flag = false;
    std::vector<XCString> list{L"kept"};
    XCString argument;
    bool operator==(Targets const&) const = default;
};

/// Reads the arguments in one of the two syntaxes.
bool LeavesNothingHalfSet(XCCommandLine const& line, bool otherSyntax)
{
    Targets targets;
    XCOptions options(L"program");
    options.Value(L"-n,--number", L"", targets.number).Between(-9, 99);
    options.Flag(L"-f,--flag", L"", targets.flag);
    options.List(L"-l,--list", L"", targets.list);
    options.Argument(L"ARGUMENT", L"", targets.argument).Required();
    XCErrorID const wrong = otherSyntax ? options.ReadCommandLine(line) : options.Read(line.GetRawArgumentListVector());
    bool const inRange = targets.number == -7 || (targets.number >= -9 && targets.number <= 99);
    return inRange && (wrong.Good() || targets == Targets());
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    XCCommandLine const line(Text(Units(bytes, size)));
    if (line.GetArgCount() > 0 && line.GetParsedArgumentVector().size() != line.GetArgCount() - 1) std::abort();
    for (XCCommandLineArgument const& argument : line.GetParsedArgumentVector())
        (void)line.GetArg(argument.GetArgument());
    if (!HasSameArguments(line, XCCommandLine(line))) std::abort();
    if (CanBeQuoted(line) && !HasSameArguments(line, XCCommandLine(Quoted(line)))) std::abort();
    if (!LeavesNothingHalfSet(line, false) || !LeavesNothingHalfSet(line, true)) std::abort();
}
