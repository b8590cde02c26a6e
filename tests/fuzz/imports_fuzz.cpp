// Import tables and journals of the quarantine: whatever the bytes, nothing is read beyond them.
#include "app/host/LoadPolicy.h"
#include "app/host/QuarantineText.h"
#include "input.h"

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    std::string_view const text(reinterpret_cast<char const*>(bytes), size);
    std::vector<std::wstring> names;
    (void)xc::host::ReadImports(text, names);
    for (std::wstring const& name : names)
        if (name.empty() || name.find_first_of(L"\\/:") != std::wstring::npos) std::abort();
    xc::host::RunEnd const run = xc::host::ReadJournal(text);
    for (std::size_t const place : run.fault ? run.fault->modules : std::vector<std::size_t>())
        if (place >= run.modules.size()) std::abort();
    std::size_t malformed = 0;
    std::vector<xc::host::Verdict> const verdicts = xc::host::ReadVerdicts(text, malformed);
    if (xc::host::ReadVerdicts(xc::host::FormatVerdicts(verdicts), malformed).size() != verdicts.size()) std::abort();
}
