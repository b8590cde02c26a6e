// How a probe ends, in words.
//
// What a child has written may come from a module that damages memory: call and text were made visible and bounded
// before they come here. Anything but a plain "passed" refuses the module, also a child that never came to the order: a
// probe that finds nothing out must not count as one that found nothing wrong.
#include "app/host/Probe.h"

#include "errors/SystemWords.h"

namespace xc::host {

namespace {

/// Exit codes from here on are statuses of the system: the process has ended by a fault.
constexpr unsigned long kFirstFault = 0x80000000;

XCString WordsOfExit(unsigned long code)
{
    XCString words;
    words.Format(
        code >= kFirstFault ? L"ends the process by the fault 0x%08lX" : L"ends the process with exit code %lu", code);
    return words;
}

} // namespace

XCString WhyRefused(ProbeResult const& result, XCProbeOptions const& options)
{
    if (result.end == ProbeResult::End::NotStarted)
        return L"no process can be started for it: " + errors::SystemWords(result.exitCode, {});
    XCString words;
    if (result.end == ProbeResult::End::TimedOut)
        words.Format(L"does not return within %u ms", options.timeoutMs);
    else if (result.end == ProbeResult::End::TooMuchMemory)
        words.Format(L"takes more than %llu MB", static_cast<unsigned long long>(options.memoryBytes >> 20));
    else if (result.stage == ProbeResult::Stage::Passed)
        return {};
    else if (result.stage == ProbeResult::Stage::Refused)
        words = result.text;
    else
        words = WordsOfExit(result.exitCode);
    if (result.stage == ProbeResult::Stage::NotBegun) return words + L", before a host was there to load it";
    return words + L", in " + result.call;
}

} // namespace xc::host
