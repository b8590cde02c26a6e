// XCString.h - the text of the library: the string, its use as a key, and the functions around it.
//
// XCStringValue.h has the string itself, XCStringStorage.h its block and how it is read, XCStringSearch.h searching and
// comparing, XCStringNumbers.h its reading of numbers, XCStringOrder.h hash and order for containers, XCStringTools.h
// joining, XCPrintf, XCTokenizer and the case of units. Include this header; the parts keep their subjects apart.
#pragma once

#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCStringOrder.h>
#include <XelbrinCore/XCStringTools.h>
#include <XelbrinCore/XCStringValue.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>
