// Message texts with typed parameters: any text with any parameters gives a text of bounded length.
#include "input.h"

constexpr std::size_t kLongestText = 3000;
constexpr std::size_t kParameters = 4;

XCString TakeText(Input& input, std::size_t most)
{
    std::vector<wchar_t> const units = input.TakeMany<wchar_t>(most);
    return Text({units.begin(), units.end()});
}

void AddParameter(XCErrorWithArgs& error, Input& input)
{
    switch (input.Take<std::uint8_t>() % 6) {
    case 0: error.AddParam(input.Take<double>()); break;
    case 1: error.AddParam(static_cast<int>(input.Take<std::int32_t>())); break;
    case 2: error.AddParam(static_cast<long>(input.Take<std::int32_t>())); break;
    case 3: error.AddParam(TakeText(input, input.Take<std::uint8_t>())); break;
    case 4: error.AddParam(XCDateTime(input.Take<std::int64_t>())); break;
    default: error.AddParam(XCDouble(input.Take<double>(), input.Take<std::uint8_t>())); break;
    }
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    Input input(bytes, size);
    XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource);
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 1));
    for (std::size_t i = input.Take<std::uint8_t>() % (kParameters + 1); i > 0; --i) AddParameter(*error, input);
    XCString const message = TakeText(input, size);
    source->Add(1, message);

    XCString text;
    if (error->AsString(text, XCFormatContext::defaultContext).Bad()) std::abort();
    bool const plain = error->GetParameterCount() == 0 || message.Find(L'%') == XCString::npos;
    if (error->GetParameterCount() > 0 && text.Length() > kLongestText) std::abort();
    std::size_t const shown = error->GetParameterCount() == 0 ? message.Length() : kLongestText - 1;
    if (plain && message.Find(L'\0') == XCString::npos && !(text.SubStr(0, shown) == message.SubStr(0, shown)))
        std::abort();
    for (std::size_t i = 0; i < error->GetParameterCount(); ++i)
        (void)error->GetParameterValueAsString(i, XCExecContext());
}
