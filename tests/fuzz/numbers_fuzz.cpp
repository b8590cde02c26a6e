// The number readers of the string: any text gives a value and a verdict.
#include "input.h"

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    XCString const text = Text(Units(bytes, size));
    bool ok = false;
    std::int64_t const wide = text.AsInt64(&ok);
    bool narrowOk = false;
    int const narrow = text.AsInt(&narrowOk);
    if (narrowOk && (!ok || wide != narrow)) std::abort();
    (void)text.AsDouble(&ok);
    (void)text.AsULong(&ok);
}
