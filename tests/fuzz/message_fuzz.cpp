// Message texts with typed parameters: any text with any parameters gives a text of bounded length.
#include <XelbrinCore/XCMessageSource.h>
#include <XelbrinCore/XCOldDateTime.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr std::size_t kLongestText = 3000;
constexpr std::size_t kParameters = 4;

/// Reads the input from its front; zeros when it is used up.
class Input {
public:
    Input(std::uint8_t const* bytes, std::size_t size) : m_bytes(bytes), m_size(size) {}

    template <class T>
    T Take()
    {
        T value{};
        std::size_t const count = std::min(sizeof value, m_size);
        std::memcpy(&value, m_bytes, count);
        m_bytes += count;
        m_size -= count;
        return value;
    }
    XCString TakeText(std::size_t most)
    {
        std::vector<wchar_t> units(std::min(most, m_size / 2));
        for (wchar_t& unit : units) unit = Take<wchar_t>();
        XCString text;
        text.Assign(units.data(), units.size());
        return text;
    }

private:
    std::uint8_t const* m_bytes;
    std::size_t m_size;
};

void AddParameter(XCErrorWithArgs& error, Input& input)
{
    switch (input.Take<std::uint8_t>() % 6) {
    case 0: error.AddParam(input.Take<double>()); break;
    case 1: error.AddParam(static_cast<int>(input.Take<std::int32_t>())); break;
    case 2: error.AddParam(static_cast<long>(input.Take<std::int32_t>())); break;
    case 3: error.AddParam(input.TakeText(input.Take<std::uint8_t>())); break;
    case 4: error.AddParam(XCDateTime(input.Take<std::int64_t>())); break;
    default: error.AddParam(XCDouble(input.Take<double>(), input.Take<std::uint8_t>())); break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    Input input(bytes, size);
    XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource);
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 1));
    for (std::size_t i = input.Take<std::uint8_t>() % (kParameters + 1); i > 0; --i) AddParameter(*error, input);
    XCString const message = input.TakeText(size);
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
    return 0;
}
