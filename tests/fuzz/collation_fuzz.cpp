// Two texts under the flags of the first byte: keys order as Compare does, both ways. Now and then the input is rules.
#include "input.h"

void Fuzz(std::uint8_t const* data, std::size_t size)
{
    std::vector<XCLineFault> faults;
    static XCSmartPtrToConst<XCCollationTable> const czech =
        XCCollationTable::Read(L"c < ch <<< Ch\nae << \u00E4\nz < \u00E5\no = 10", L"", faults);
    if (size == 0) return;
    std::wstring const units = Units(data + 1, size - 1);
    auto const [a, b] = Halves(units);
    // A table takes milliseconds.
    XCSmartPtrToConst<XCCollationTable> const table =
        data[0] == 0xFF ? XCCollationTable::Read(Text(units), L"rules", faults) : czech;
    XCLevelCollator const collator(data[0] & 15, data[0] % 32 < 16 ? XCCollationTable::GetDefault() : table);
    int const order = collator.Compare(a.c_str(), b.c_str());
    int const byKeys = collator.MakeKey(a.c_str()).compare(collator.MakeKey(b.c_str()));
    Require((order > 0) == (byKeys > 0) && (order < 0) == (byKeys < 0));
    Require(collator.Compare(b.c_str(), a.c_str()) == -order);
    for (XCLineFault const& fault : faults) Require(fault.column <= units.size() + 1);
}
