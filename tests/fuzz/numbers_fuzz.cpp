// The number readers of the string: any text gives a value and a verdict.
#include <XelbrinCore/XCString.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    std::vector<wchar_t> units(size / 2);
    if (!units.empty()) std::memcpy(units.data(), bytes, units.size() * 2);
    XCString text;
    text.Assign(units.data(), units.size());
    bool ok = false;
    std::int64_t const wide = text.AsInt64(&ok);
    bool narrowOk = false;
    int const narrow = text.AsInt(&narrowOk);
    if (narrowOk && (!ok || wide != narrow)) std::abort();
    (void)text.AsDouble(&ok);
    (void)text.AsULong(&ok);
    return 0;
}
