// Counted objects. The count is an atomic whose change tells the value after it, so that exactly one release sees zero.
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
