// Fills message texts.
//
// Message texts are data: translators write them, modules bring them, files may be damaged. The engine for formats is
// told so by a limit on widths and precisions, and takes its values from the error, which knows their types. A
// conversion that does not fit prints the value's own text, so no text can read memory that is not there. The form over a
// C argument list has no types to look at: it trusts its caller, as printf does.
//
// Cost: one pass over the text into a buffer on the stack; results are cut after 3,000 units.
// Invariant: texts made for parameters stay where they are until the result is written; the plan points into them.
#include "errors/MessageFormat.h"

#include "text/PrintFormat.h"

#include <cstdarg>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace xc::errors {

namespace {

using text::Conversion;
using text::FormatSource;
using text::FormatValue;

/// Hands out an error's parameters: numbers and texts as they are, everything else as the text it has.
class ParameterSource final : public FormatSource {
public:
    ParameterSource(XCErrorI const& error, XCFormatContext const& context)
        : m_error(error), m_context(context), m_count(error.GetParameterCount())
    {
        m_texts.reserve(m_count); // the plan points into them
    }

    FormatValue Next(Conversion const& wanted) override
    {
        if (m_next >= m_count) return FormatValue{};
        std::size_t const index = m_next++;
        void const* const value = m_error.GetParameterValue(index);
        switch (value ? m_error.GetParameterType(index) : XCErrorI::ParamNone) {
        case XCErrorI::ParamDouble: return FormatValue::Double(*static_cast<double const*>(value));
        case XCErrorI::ParamInt: return FormatValue::Signed(*static_cast<int const*>(value));
        case XCErrorI::ParamLong: return FormatValue::Signed(*static_cast<long const*>(value));
        case XCErrorI::ParamString: return FormatValue::Wide(*static_cast<XCString const*>(value));
        case XCErrorI::ParamXCDouble:
            if (IsDoubleConversion(wanted.letter))
                return FormatValue::Double(static_cast<XCDouble const*>(value)->AsDouble());
            break;
        default: break;
        }
        return FormatValue::Wide(m_texts.emplace_back(m_error.GetParameterValueAsString(index, m_context)));
    }

private:
    static bool IsDoubleConversion(wchar_t letter) noexcept
    {
        return std::wstring_view(L"aAeEfFgG").find(letter) != std::wstring_view::npos;
    }

    XCErrorI const& m_error;
    XCExecContext const m_context;
    std::vector<XCString> m_texts;
    std::size_t m_count;
    std::size_t m_next = 0;
};

XCString FormatCut(XCString const& message, FormatSource& source)
{
    wchar_t buffer[kMaxFormatted + 1];
    try {
        std::size_t const length =
            text::FormatInto(buffer, std::size(buffer), message.AsWChar(), source, text::kFormatLimitOfData);
        return XCString(std::wstring_view(buffer, length));
    } catch (std::length_error const&) { // parameters of billions of units
        return message;
    }
}

} // namespace

XCString FormatWithParameters(XCString const& message, XCErrorI const& error, XCFormatContext const& context)
{
    ParameterSource source(error, context);
    return FormatCut(message, source);
}

XCString FormatWithArguments(XCString const& message, char* arguments)
{
#if defined(_WIN32)
    text::ArgumentListSource source(arguments);
#else // only the shape of the interface is the same: the pointer is that of a list
    text::ArgumentListSource source(*reinterpret_cast<va_list*>(arguments));
#endif
    return FormatCut(message, source);
}

} // namespace xc::errors
