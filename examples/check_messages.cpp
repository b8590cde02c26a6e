// check_messages ORIGINAL TRANSLATION...: compares message files with their original and names each problem with file and
// line, so that an editor can go there. Exit code 0: all can be shipped; 1: there are problems; 2: wrong arguments.
#include <XelbrinCore/XCMessageLibrary.h>

#include <cstdio>

namespace {

void Print(XCString const& text)
{
    std::printf("%s\n", text.AsUTF8().c_str());
}

std::size_t PrintFaults(XCMessageLibraryFile const& file)
{
    for (XCLineFault const& fault : file.GetFaults()) Print(fault.AsString());
    return file.GetFaults().size();
}

/// What is not translated yet is shown in the original's language: worth knowing, but no problem.
void PrintMissing(XCMessageLibraryFile const& original, XCMessageLibraryFile const& translation, XCString const& name)
{
    std::size_t missing = 0;
    for (long const code : original.GetCodes()) {
        if (translation.GetLine(code) != 0) continue;
        if (++missing <= 10)
            Print(name + XCString().Format(L": note: code %d (line %d of the original) is not translated",
                                           static_cast<int>(code), static_cast<int>(original.GetLine(code))));
    }
    if (missing > 10)
        Print(name + XCString().Format(L": note: %d texts are not translated", static_cast<int>(missing)));
}

/// How many problems a translation has.
std::size_t CheckTranslation(XCMessageLibraryFile const& original, XCString const& path)
{
    XCMessageLibraryFile translation;
    bool const isUsable = translation.Open(path).Good();
    if (isUsable) (void)translation.Check(original);
    std::size_t problems = PrintFaults(translation);
    if (isUsable && !translation.GetLibrary().IsEqual(original.GetLibrary(), 1)) {
        Print(path + L":1: this file belongs to another library than the original");
        ++problems;
    }
    if (isUsable) PrintMissing(original, translation, path);
    return problems;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count < 2) {
        std::printf("check_messages ORIGINAL TRANSLATION...\n");
        return 2;
    }
    XCMessageLibraryFile original;
    bool const isUsable = original.Open(XCString(arguments[1])).Good();
    std::size_t problems = PrintFaults(original);
    if (isUsable)
        for (int i = 2; i < count; ++i) problems += CheckTranslation(original, XCString(arguments[i]));
    std::printf("%zu problems\n", problems);
    return problems == 0 ? 0 : 1;
}
