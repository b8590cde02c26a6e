// Codes of the standard library stand for errors by their class: a system error by the system's category, an error of
// the library's message source by the library's, any other by a category without texts. The categories live as long as
// the process and are never destroyed: codes are kept in static objects that outlive those of this library.
#include <XelbrinCore/XCErrorCode.h>
#include <XelbrinCore/XCMessageSource.h>

#include <cstddef>
#include <new>
#include <string>

namespace {

class CoreCategory final : public std::error_category {
public:
    [[nodiscard]] char const* name() const noexcept override { return "XelbrinCore"; }
    [[nodiscard]] std::string message(int code) const override
    {
        XCErrorID const error(XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, code)));
        return std::string(error.AsString().AsUTF8());
    }
    [[nodiscard]] std::error_condition default_error_condition(int code) const noexcept override
    {
        switch (code) {
        case XCErrTimedOut: return std::errc::timed_out;
        case XCErrSocketReset: return std::errc::connection_reset;
        case XCErrSocketCancelled:
        case XCErrCancelled: return std::errc::operation_canceled;
        case XCErrSocketQueueFull:
        case XCErrQueueFull: return std::errc::resource_unavailable_try_again;
        case XCErrWaitCycle: return std::errc::resource_deadlock_would_occur;
        case XCErrMalformedText:
        case XCErrUnmappableUnit: return std::errc::illegal_byte_sequence;
        case XCErrNumberRange: return std::errc::result_out_of_range;
        default: return {code, *this};
        }
    }
};

class ProgramCategory final : public std::error_category {
public:
    [[nodiscard]] char const* name() const noexcept override { return "program"; }
    [[nodiscard]] std::string message(int code) const override { return "error " + std::to_string(code); }
};

template <class Category>
std::error_category const& Lasting() noexcept
{
    alignas(Category) static std::byte place[sizeof(Category)];
    static auto const* const category = ::new (place) Category;
    return *category;
}

std::error_category const& CategoryOf(XCErrorI const& error) noexcept
{
    if (error.IsKindOf(XCWinLastError::kIUID)) return std::system_category();
    bool const own = error.IsKindOf(XCError::kIUID) &&
                     static_cast<XCError const&>(error).GetFormatter().GetPtr() == glbXCOREMsgSourceP.GetPtr();
    return own ? XCCoreErrorCategory() : XCProgramErrorCategory();
}

} // namespace

std::error_category const& XCCoreErrorCategory() noexcept
{
    return Lasting<CoreCategory>();
}

std::error_category const& XCProgramErrorCategory() noexcept
{
    return Lasting<ProgramCategory>();
}

std::error_code XCToErrorCode(XCErrorID const& error) noexcept
{
    if (error.Good()) return {};
    int const code = error;
    return code == 0 ? std::error_code(-1, XCProgramErrorCategory())
                     : std::error_code(code, CategoryOf(*error.GetError()));
}

XCErrorID XCFromErrorCode(std::error_code const& code)
{
    if (!code) return XCErrorID::Success;
    if (code.category() == std::system_category())
        return XCSmartPtr<XCWinLastError>(new XCWinLastError(static_cast<unsigned long>(code.value())));
    if (code.category() == XCCoreErrorCategory())
        return XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, code.value()));
    XCString text;
    (void)text.SetFromUTF8(code.message()); // a malformed text stays empty; the number is kept
    return XCSmartPtr<XCErrorString>(new XCErrorString(std::move(text), code.value()));
}
