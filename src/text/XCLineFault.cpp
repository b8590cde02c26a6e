// A fault in a file as one line, in the form that compilers use and editors can jump to: file:line:column: reason. A
// number that is not known is 0 and is left out.
#include <XelbrinCore/XCLineFault.h>

#include "text/NumberText.h"

XCString XCLineFault::AsString() const
{
    XCString text(file);
    for (std::size_t const number : {line, column}) {
        if (number == 0) break; // a column counts within a line alone
        text += L':';
        text += xc::text::NumberText(number);
    }
    text += L": ";
    return text += reason;
}
