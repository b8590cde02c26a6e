// Counted objects. The count is an atomic whose change tells the value after it, so that exactly one release sees zero.
//
// An object that is on the stack or a member is never released to 0, unless it was counted down once too often. The
// destructors of the interfaces stand here, out of line, so that each has its table of virtual operations in the
// library alone and type information agrees between modules.
#include <XelbrinCore/XCRefCount.h>

XCRefCountI::~XCRefCountI() = default;

XCRefCount::~XCRefCount() = default;

unsigned long XCRefCount::AddRef() const
{
    return ++m_count;
}

unsigned long XCRefCount::Release() const
{
    unsigned long const left = --m_count;
    // The destructor is virtual, so the memory goes back to the module that took it.
    if (left == 0) delete this;
    return left;
}

XCObjectI::~XCObjectI() = default;

bool XCObjectI::IsKindOf(int iuid) const
{
    return iuid == GetIUID();
}

XCSmartPtr<XCObjectI> XCObjectI::QueryInterface(int iuid)
{
    return IsKindOf(iuid) ? XCSmartPtr<XCObjectI>(this) : XCSmartPtr<XCObjectI>();
}
