// two_languages: an error made once and read in two languages; an exception that tells where it came from.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCMessageSource.h>

#include <cstdio>

#include <windows.h>

namespace {

constexpr long kBadLine = 1; // the message's number in two_languages.mc

/// The texts stand in the message table of this program; libraries and modules bring their own in the same way.
XCSmartPtr<XCMessageSource> const kMessages(new RCMessageTableSource(::GetModuleHandleW(nullptr)));

/// What is expected to fail returns an error: nothing but a few words until somebody asks for its text.
XCErrorID CheckPrice(XCDouble price)
{
    if (price > 0) return XCErrorID::Success;
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(kMessages, kBadLine));
    error->AddParam(XCString(L"prices.txt"));
    error->AddParam(12);
    error->AddParam(price);
    return error;
}

void Print(XCString const& text)
{
    std::printf("%s\n", text.AsUTF8().c_str());
}

} // namespace

int wmain()
{
    XCErrorID const good = CheckPrice(XCDouble(9.99));
    Print(good.AsString());

    XCErrorID const bad = CheckPrice(XCDouble(-1.005));
    XCString text;
    for (wchar_t const* const language : {L"enu", L"fra", L"jpn"}) { // there is no Japanese text: English follows
        (void)bad->AsString(text, XCFormatContext(language, L"enu"));
        Print(text);
    }

    try {
        throw XCException(bad); // what must not fail throws
    } catch (XCException const& e) {
        Print(e.What());
        Print(e.Stack());
    }
    return good.Good() && bad.Bad() && static_cast<int>(bad) == kBadLine ? 0 : 1;
}
