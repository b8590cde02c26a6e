// XelbrinCore.h - the whole library, for those who want one line.
#pragma once

#include <XelbrinCore/XCCharSet.h>
#include <XelbrinCore/XCCollator.h>
#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCConfig.h>
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCLog.h>
#include <XelbrinCore/XCLogFile.h>
#include <XelbrinCore/XCLogSubscriber.h>
#include <XelbrinCore/XCMessageSource.h>
#include <XelbrinCore/XCOldDateTime.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCRegEx.h>
#include <XelbrinCore/XCStopWatch.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCStringConverter.h>
#include <XelbrinCore/XCSync.h>
#include <XelbrinCore/XCThread.h>
#include <XelbrinCore/XCTimeZone.h>
#include <XelbrinCore/XCTrace.h>
