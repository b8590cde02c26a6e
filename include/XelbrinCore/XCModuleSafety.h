// XCModuleSafety.h - how a host protects itself from modules that it cannot trust: quarantine, probe, policy.
//
// WHAT     The values that XCApplicationWithPlugIns takes and gives for it:
//
//              quarantine  XCModuleVerdict: a module is skipped after a run that it has brought down
//              probe       XCProbeOptions: a module is first loaded in a child process, with limits
//              policy      XCLoadPolicy: modules and what they link to come from given folders alone
//
//          Nothing of it is on unless the program asks for it: each changes which modules run.
// COST     Plain values.
#pragma once

#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <vector>

/// What a quarantine holds against a module.
struct XCModuleVerdict {
    XCString path;               ///< of the module, as messages show it
    XCString when;               ///< local time of the last fault: "2026-11-22 04:12:09"
    XCString fault;              ///< "unhandled fault 0xC0000005 in Init"
    bool confirmed = false;      ///< the fault was in a call into this module, and in no other module's code
    unsigned int suspicions = 0; ///< faults in a row that were perhaps of this module
    bool skipped = false;        ///< it is not loaded: confirmed, or suspected three times in a row
};

/// The limits of a probe.
struct XCProbeOptions {
    unsigned int timeoutMs = 10000;         ///< for the start of the program, and again for the calls into the module
    std::uint64_t memoryBytes = 512u << 20; ///< that the child may keep from others; 0: no limit
    XCString commandLine; ///< of the child; null: that of this program. It must come to the constructor of a host
};

/// From where modules and what they link to may be loaded.
struct XCLoadPolicy {
    std::vector<XCString>
        folders;             ///< and what is below them; relative ones start at the current directory of the moment
    bool signatures = false; ///< each file must be signed by somebody whom the system trusts
};
