#include <XelbrinCore/XCDateTime.h>
