// A program outside the tree: uses inline code, exported code, exported constants and a message table of its own. With an
// argument it shows whether a call stack names a source file of the library, which its debug data tell.
#include <XelbrinCore/XelbrinCore.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include <windows.h>

namespace {

XCString Greeting()
{
    XCSmartPtr<XCMessageSource> const texts(new RCMessageTableSource(::GetModuleHandleW(nullptr)));
    XCSmartPtr<XCErrorWithArgs> const message(new XCErrorWithArgs(texts, 7));
    message->AddParam(L"outside");
    return XCErrorID(message).AsString();
}

void ShowStack()
{
    try {
        (void)(XCDurationEx(1, XCDurationEx::Second) / 0);
    } catch (XCException const& e) {
        // The library throws: the first frame is its own.
        XCString const stack = e.Stack();
        std::size_t const line = stack.Find(L".cpp:");
        std::puts(line == XCString::npos || line > stack.Find(L'\n') ? "no source file" : "source file");
    }
}

} // namespace

int main(int count, char**)
{
    if (count > 1) {
        ShowStack();
        return 0;
    }
    std::vector<XCString> const arguments{L"1.0", Greeting()};
    XCString line;
    line.Format(L"%ls %d", XCPrintf(L"%1:s %0:s", arguments).AsWChar(), XC_VERSION_MAJOR);
    // std::max takes references: the constants need a place in the library.
    if (std::max(XCString::npos, XCString::kMaxLength) != line.Find(L'#')) return 1;
    try {
        throw XCException(line);
    } catch (std::exception const& e) {
        std::puts(e.what());
    }
    return 0;
}
