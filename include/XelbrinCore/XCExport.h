// XCExport.h - what every header of the library needs first: export marks, version, the platform's promises.
//
// The library and its clients are built with the same compiler family and share its runtime libraries: exceptions,
// dynamic_cast and wide streams cross the border between a program, the library and plug-in modules.
#pragma once

#include <climits>

#if defined(_WIN32)
#if defined(XC_BUILDING_LIBRARY)
#define XC_API __declspec(dllexport)
#else
#define XC_API __declspec(dllimport)
#endif
static_assert(sizeof(long) == 4, "the library is made for 64-bit Windows, where long has 32 bits");
#else
#define XC_API // the portable core, built natively for sanitizers and fuzzers
#endif

static_assert(sizeof(wchar_t) == 2, "text is UTF-16: wchar_t must have 16 bits");
static_assert(sizeof(void*) == 8, "the library is made for 64-bit programs");

#if defined(_MSC_VER)
// Members of exported classes are templates of the standard library: library and clients share one toolset.
#pragma warning(disable : 4251 4275)
#endif

/// Whether the compiler knows the value where the call stands. One that cannot tell takes the general way.
#if defined(__GNUC__)
#define XC_IS_CONSTANT(value) __builtin_constant_p(value)
#else
#define XC_IS_CONSTANT(value) false
#endif

#define XC_VERSION_MAJOR 1
#define XC_VERSION_MINOR 0
#define XC_VERSION_PATCH 0
