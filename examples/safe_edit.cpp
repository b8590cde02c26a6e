// safe_edit FILE OLD NEW: replaces a text in every line of a file. The file keeps its encoding, its lines end in CR LF;
// whoever reads it meanwhile, or after a power cut, finds the old or the new text whole. Without arguments it shows itself on a file of its own.
#include <XelbrinCore/XCFileStream.h>
#include <XelbrinCore/XCSaveFile.h>

#include <cstdio>

namespace {

XCErrorID Edit(XCPath const& path, XCString const& oldText, XCString const& newText, unsigned int& lines)
{
    XCFileStream in;
    XCSaveFile out(path);
    XCErrorID fault = in.Open(path, XCFileMode::ToRead());
    XCString line;
    for (bool got = true; fault.Good();) {
        fault = in.ReadLine(line, got);
        if (fault.Bad() || !got) break;
        if (line.Find(oldText) != XCString::npos) ++lines;
        fault = out.WriteText(line.Replace(oldText, newText) + XCString(L"\r\n"), in.GetEncoding());
    }
    if (fault.Good()) fault = in.Close(); // the old file must be closed before the new one takes its place
    return fault.Good() ? out.Commit(2000) : fault;
}

XCErrorID MakeSample(XCPath const& path)
{
    XCSaveFile sample(path);
    XCErrorID const fault = sample.WriteText(L"colour = green\r\nsize = 5\r\nborder colour = red\r\n");
    return fault.Good() ? sample.Commit() : fault;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    bool const isShow = count != 4;
    XCPath const path = isShow ? XCPath(L"safe_edit.txt") : XCPath(arguments[1]);
    unsigned int lines = 0;
    XCErrorID fault = isShow ? MakeSample(path) : XCErrorID();
    if (fault.Good()) fault = Edit(path, isShow ? L"colour" : arguments[2], isShow ? L"color" : arguments[3], lines);
    if (fault.Bad()) {
        std::fprintf(stderr, "%s\n", fault.AsString().AsUTF8().c_str());
        return 1;
    }
    std::printf("%u lines changed in %s\n", lines, path.Name().AsUTF8().c_str());
    return 0;
}
