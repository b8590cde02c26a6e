#include "win32/FileIo.h"

namespace xc::win32 {

namespace {

unsigned long WriteThrough(std::string_view bytes, ReplaceSteps& steps)
{
    unsigned long error = steps.Write(bytes);
    if (error == 0) error = steps.Flush();
    unsigned long const closing = steps.Close();
    return error != 0 ? error : closing;
}

} // namespace

unsigned long ReplaceFileContents(std::wstring const& path, std::string_view bytes, ReplaceSteps& steps)
{
    std::wstring temporary;
    if (unsigned long const error = steps.Create(path, temporary)) return error;
    try {
        unsigned long error = WriteThrough(bytes, steps);
        if (error == 0) error = steps.Replace(temporary, path);
        if (error != 0) steps.Remove(temporary);
        return error;
    } catch (...) { // no memory for the names
        steps.Remove(temporary);
        throw;
    }
}

} // namespace xc::win32
