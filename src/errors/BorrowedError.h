// BorrowedError.h - a smart pointer to an error for the length of one call, that does not count.
#pragma once

#include <XelbrinCore/XCError.h>

namespace xc::errors {

/// Sources take errors by smart pointer. An error that stands in a variable of its own has count 0, and a counting
/// pointer to it would delete it.
class BorrowedError : public XCSmartPtrToConst<XCErrorI> {
public:
    explicit BorrowedError(XCErrorI const& error) noexcept { Give(&error); }
    ~BorrowedError() { Take(); }
    BorrowedError(BorrowedError const&) = delete;
    BorrowedError& operator=(BorrowedError const&) = delete;
};

} // namespace xc::errors
