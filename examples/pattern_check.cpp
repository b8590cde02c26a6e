// pattern_check [pattern [text...]]: which texts match a pattern, and what the compiled expression looks like.
#include <XelbrinCore/XCRegEx.h>

#include <cstdio>

namespace {

/// Shows a text by its printable units.
void Print(XCString const& text)
{
    for (wchar_t const unit : text.View()) std::putchar(unit >= 0x20 && unit < 0x7F ? static_cast<char>(unit) : '?');
}

bool Report(XCRegEx const& expression, XCString const& text)
{
    bool const matches = expression.Match(text);
    std::printf("%s ", matches ? "  match:" : "no match:");
    Print(text);
    std::printf("\n");
    return matches;
}

/// What runs without arguments, checked by its exit code.
int Demonstrate()
{
    // A parser reads a pattern once; the expression is compiled once and may be matched by many threads.
    XCRegEx const version(XCStringRegExParser(L"v[0-9]+(\\.[0-9]+)*(-[a-z]+)?").Parse(), false);
    bool good = Report(version, L"v1.12.3-beta") && Report(version, L"v7") && !Report(version, L"1.2");

    // A collating table translates the subject: here all letters count as lower case ones.
    XCSmartPtr<XCCollatingTable<wchar_t>> const lower(new XCCollatingTable<wchar_t>);
    for (wchar_t unit = L'A'; unit <= L'Z'; ++unit) lower->Set(unit, XCtowlower(unit));
    XCStringRegExParser parser(L".*\\.(log|txt)");
    parser.SetWCollatingTable(lower);
    XCRegEx const textFile(parser.Parse(), false);
    good = good && Report(textFile, L"README.TXT") && !Report(textFile, L"readme.text");

    // Only the last digit of a count is read; larger counts are nested.
    XCRegEx const twenty(XCStringRegExParser(L"(x{5}){4}").Parse(), false);
    good = good && Report(twenty, XCString(L'x', 20)) && !Report(twenty, XCString(L'x', 21));
    std::printf("every \"abc|abx\" begins with ");
    Print(XCRegEx(XCStringRegExParser(L"abc|abx").Parse(), false).GetConstantStart());
    std::printf("\n");
    return good ? 0 : 1;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count < 2) return Demonstrate();
    XCParsedRegEx const parsed = XCStringRegExParser(XCString(arguments[1])).Parse();
    if (!parsed.IsValid()) {
        std::printf("not a valid pattern\n");
        return 2;
    }
    XCRegEx const expression(parsed, true);
    for (int i = 2; i < count; ++i) Report(expression, arguments[i]);
    return 0;
}
