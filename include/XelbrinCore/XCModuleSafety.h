// XCModuleSafety.h - how a host protects itself from modules that it cannot trust: quarantine.
//
// WHAT     The values that XCApplicationWithPlugIns takes and gives for it:
//
//              quarantine  XCModuleVerdict: a module is skipped after a run that it has brought down
//
//          Nothing of it is on unless the program asks for it: each changes which modules run.
// COST     Plain values.
#pragma once

#include <XelbrinCore/XCString.h>

/// What a quarantine holds against a module.
struct XCModuleVerdict {
    XCString path;               ///< of the module, as messages show it
    XCString when;               ///< local time of the last fault: "2026-11-22 04:12:09"
    XCString fault;              ///< "unhandled fault 0xC0000005 in Init"
    bool confirmed = false;      ///< the fault was in a call into this module, and in no other module's code
    unsigned int suspicions = 0; ///< faults in a row that were perhaps of this module
    bool skipped = false;        ///< it is not loaded: confirmed, or suspected three times in a row
};
