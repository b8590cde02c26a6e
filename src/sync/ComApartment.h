// ComApartment.h - COM for the extent of a thread.
#pragma once

#include <XelbrinCore/XCThread.h>

namespace xc::sync {

/// Enters an apartment, if any is asked for, and leaves it at the end.
class ComApartment {
public:
    explicit ComApartment(XCComModel model) noexcept;
    ~ComApartment();
    ComApartment(ComApartment const&) = delete;
    ComApartment& operator=(ComApartment const&) = delete;

private:
    bool m_entered = false;
};

} // namespace xc::sync
