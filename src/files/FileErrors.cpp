// Errors carry what they are made of, number and words of the system included: by the time somebody reads the text the
// thread's last error is another one.
#include "files/FileErrors.h"

#include "errors/CoreError.h"
#include "errors/SystemWords.h"

namespace xc::files {

XCErrorID FileError(XCCoreError code, win32::SystemPath const& path, unsigned long systemError)
{
    if (systemError == 0) return XCErrorID::Success;
    return errors::MakeFileError(code, XCString(path.Text()), systemError);
}

XCErrorID HeldError(win32::SystemPath const& path, unsigned long systemError, unsigned int tries)
{
    XCString const words = errors::SystemWords(systemError, path.FileName());
    return errors::MakeCoreError(XCErrFileHeld, XCString(path.Text()), static_cast<long>(systemError), words,
                                 static_cast<long>(tries));
}

XCErrorID NameError(XCPath const& path, XCString const& name, XCPathFault fault)
{
    return errors::MakeCoreError(XCErrFileName, path.AsString(), name, XCString(XCPath::Describe(fault)));
}

} // namespace xc::files
