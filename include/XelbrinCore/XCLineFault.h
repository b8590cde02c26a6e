// XCLineFault.h - what is wrong in a text file, and where.
//
// WHAT     One fault of a file that people write: message libraries and tables of collation list theirs, so that all can
//          be mended in one go.
// THREADS  A value.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>

/// One fault of a text file.
struct XC_API XCLineFault {
    XCString file;          ///< as it was named when it was opened
    std::size_t line = 0;   ///< counted from 1; 0: the file as a whole
    std::size_t column = 0; ///< in UTF-16 units, counted from 1; 0: the line as a whole
    XCString reason;        ///< what is wrong, in English and without a full stop

    /// "Billing.fra.LAN:12:5: reason", the form that editors jump to; line and column are left out where they are 0.
    [[nodiscard]] XCString AsString() const;
};
