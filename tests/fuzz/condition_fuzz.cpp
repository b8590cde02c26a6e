// Condition text: what can be read prints a text that reads back as the same condition and evaluates in the same way.
#include "input.h"

XCString TextOf(std::uint8_t const* bytes, std::size_t size)
{
    // Plain bytes reach the grammar faster than pairs of them; the first byte tells which the input is.
    bool const plain = size > 0 && bytes[0] % 2 == 0;
    return Text(plain ? std::wstring(bytes + 1, bytes + size) : Units(bytes, size));
}

bool Evaluates(XCCondition const& condition, XCConditionValue value)
{
    struct Everything : XCConditionParams {
        explicit Everything(XCConditionValue value) : m_value(value) {}
        XCConditionValue GetValue(XCString const&) const override { return m_value; }

    private:
        XCConditionValue m_value;
    };
    return condition.Evaluate(Everything(value));
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    XCString const text = TextOf(bytes, size);
    XCCondition const condition(text);
    if (condition.GetReadError().Bad()) return;

    XCString const native = condition.ToString(true);
    XCCondition fromNative;
    Require(fromNative.FromString(native) && fromNative.ToString(true) == native);

    XCString const printed = condition.ToString();
    XCCondition fromPrinted;
    if (!fromPrinted.FromString(printed)) {
        // Only the native form brings what the text cannot say: patterns that are not valid, deeper lists.
        int const code = fromPrinted.GetReadError();
        Require(text.Find(L"@@") != XCString::npos && (code == XCErrConditionPattern || code == XCErrConditionNesting));
        return;
    }
    Require(fromPrinted.ToString() == printed);
    XCString const same(L"2009/01/03");
    for (XCConditionValue const& value : {XCConditionValue(), XCConditionValue(1), XCConditionValue(2.5),
                                          XCConditionValue(same), XCConditionValue(XCDateTime(1230940800))})
    {
        bool const result = Evaluates(condition, value);
        Require(Evaluates(fromNative, value) == result && Evaluates(fromPrinted, value) == result);
    }
}
