// XCApplication.h - the application and its plug-in host, in one include.
#pragma once

#include <XelbrinCore/XCApplicationBase.h>        // IWYU pragma: export
#include <XelbrinCore/XCApplicationWithPlugIns.h> // IWYU pragma: export
#include <XelbrinCore/XCConsoleInfo.h>            // IWYU pragma: export
