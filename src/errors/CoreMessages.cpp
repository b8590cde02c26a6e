// The library's own messages. The source is a constant of the program: it is there before any constructor runs, and is
// never destroyed.
#include <XelbrinCore/XCMessageSource.h>

#include "errors/CoreError.h"
#include "errors/SystemWords.h"
#include "win32/LibraryModule.h"

namespace {

class CoreMessageSource final : public RCMessageTableSource {
public:
    constexpr CoreMessageSource() noexcept : RCMessageTableSource(xc::win32::kLibraryModule) {}
    // Not counted: nobody owns it.
    unsigned long AddRef() const override { return 1; }
    unsigned long Release() const override { return 1; }
};

/// Keeps an object out of the work at the end of the process.
template <class T>
union NeverDestroyed {
    constexpr NeverDestroyed() noexcept : object() {}
    constexpr ~NeverDestroyed() {} // NOLINT(modernize-use-equals-default): the object's own must not run
    T object;
};

constinit NeverDestroyed<CoreMessageSource> const kCoreMessages;

} // namespace

constinit XCSmartPtrToConst<XCMessageSource> const glbXCOREMsgSourceP(&kCoreMessages.object);

namespace xc::errors {

XCErrorID MakeCoreError(XCCoreError code, XCErrorI::Severity severity)
{
    return XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, code, severity));
}

XCSmartPtr<XCErrorWithArgs> NewCoreError(XCCoreError code)
{
    return new XCErrorWithArgs(glbXCOREMsgSourceP, code);
}

XCErrorID MakeFileError(XCCoreError code, XCString const& file, unsigned long systemError)
{
    std::size_t const folder = file.View().find_last_of(L"\\/") + 1; // the message names the path already
    XCString const words = SystemWords(systemError, file.View().substr(folder));
    return MakeCoreError(code, file, static_cast<long>(systemError), words);
}

} // namespace xc::errors
