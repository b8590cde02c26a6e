// The command line: any string gives arguments, and quoting its parsed arguments again gives the same ones.
#include "input.h"

#include <XelbrinCore/XCCommandLine.h>

namespace {

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    XCCommandLine const line(xc_fuzz::Text(xc_fuzz::Units(bytes, size)));
    if (line.GetArgCount() > 0 && line.GetParsedArgumentVector().size() != line.GetArgCount() - 1) std::abort();
    for (XCCommandLineArgument const& argument : line.GetParsedArgumentVector())
        (void)line.GetArg(argument.GetArgument());
    if (!HasSameArguments(line, XCCommandLine(line))) std::abort();
    if (CanBeQuoted(line) && !HasSameArguments(line, XCCommandLine(Quoted(line)))) std::abort();
    return 0;
}
