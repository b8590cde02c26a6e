// The COM apartment of a thread, entered and left with it. COM's library is loaded with the first thread that wants it;
// a thread that could not enter, because it was in another apartment already, does not leave either.
#include "sync/ComApartment.h"

#include "win32/SystemFunction.h"

#include <objbase.h>

namespace xc::sync {

namespace {

/// COM's library, loaded at the first need so that programs without COM never load it; it stays.
struct ComLibrary {
    HMODULE module = win32::LoadSystemLibrary(L"ole32.dll");
    decltype(&::CoInitializeEx) initialize = win32::SystemFunction<decltype(initialize)>(module, "CoInitializeEx");
    decltype(&::CoUninitialize) uninitialize = win32::SystemFunction<decltype(uninitialize)>(module, "CoUninitialize");
};

ComLibrary const& Com() noexcept
{
    static ComLibrary const library;
    return library;
}

} // namespace

ComApartment::ComApartment(XCComModel model) noexcept
{
    if (model != XCComApartmentThreaded && model != XCComMultiThreaded) return;
    ComLibrary const& com = Com();
    if (!com.initialize || !com.uninitialize) return;
    DWORD const apartment = model == XCComApartmentThreaded ? COINIT_APARTMENTTHREADED : COINIT_MULTITHREADED;
    m_entered = SUCCEEDED(com.initialize(nullptr, apartment));
}

ComApartment::~ComApartment()
{
    if (m_entered) Com().uninitialize();
}

} // namespace xc::sync
