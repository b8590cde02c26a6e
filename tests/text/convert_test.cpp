#include "prelude.h"

namespace {

template <class Converter, class... Arguments>
XCSmartPtr<XCStringConverter> Make(Arguments... arguments)
{
    return XCSmartPtr<XCStringConverter>(new Converter(arguments...));
}

class Converters : public testing::Test {
protected:
    struct Row {
        char const* fault;
        XCSmartPtr<XCStringConverter> converter;
        std::string bytes;
        wchar_t const* text = L"before";
        long position = 0;
    };
    XCSmartPtr<XCStringConverter> const utf8 = Make<XCUTF8Converter>(), latin = Make<XCLatin1Converter>();
    XCSmartPtr<XCStringConverter> const western = Make<XCCodePageConverter>(1252u);
    XCSmartPtr<XCStringConverter> const japanese = Make<XCJapaneseConverter>();
};

TEST_F(Converters, BothWays)
{
    Row const rows[] = {
        {"empty", utf8, "", L""},
        {"all lengths", utf8, "a\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
         L"a\u0080\u07FF\u0800\uFFFF\xD800\xDC00\xDBFF\xDFFF"},
        {"around the surrogates", utf8, "\xED\x9F\xBF\xEE\x80\x80", L"\uD7FF\uE000"},
        {"mark at the start is text", utf8, "\xEF\xBB\xBFx", L"\uFEFFx"},
        {"latin in blocks", latin, "0123456789abcde\xE9\xFF-0123456789abcdef",
         L"0123456789abcde\u00E9\u00FF-0123456789abcdef"},
        {"japanese", japanese, "a\x82\xA0\x8A\xBF\xB1\\~", L"a\u3042\u6F22\uFF71\\~"},
        {"page of UTF-8", Make<XCCodePageConverter>(65001u), "\xC3\xA9", L"\u00E9"},
        {"page of Latin-1", Make<XCCodePageConverter>(28591u), "\x80", L"\u0080"},
    };
    for (Row const& row : rows) {
        XCString text(L"before");
        ASSERT_TRUE(row.converter->ToUnicode(text, row.bytes).Good()) << row.fault;
        EXPECT_EQ(text, XCString(row.text)) << row.fault;
        std::string bytes("before");
        ASSERT_TRUE(text.ConvertFromUnicode(bytes, row.converter).Good()) << row.fault;
        EXPECT_EQ(bytes, row.bytes) << row.fault;
    }
    XCString text;
    EXPECT_TRUE(japanese->ToUnicode(text, "\x87\x90").Good()) << "second spelling of a character";
    EXPECT_EQ(text, XCString(L"\u2252"));
}

TEST_F(Converters, RefuseMalformedBytes)
{
    Row const rows[] = {
        {"tail alone", utf8, "ab\x80", L"before", 2},
        {"cut after two", utf8, "abc\xE2\x82", L"before", 3},
        {"cut after three", utf8, "0123456789abcdef\xF0\x9F\x98", L"before", 16},
        {"overlong two", utf8, "\xC0\x80", L"before", 0},
        {"overlong three", utf8, "\xE0\x9F\xBF", L"before", 0},
        {"overlong four", utf8, "\xF0\x8F\xBF\xBF", L"before", 0},
        {"surrogate", utf8, "x\xED\xA0\x80", L"before", 1},
        {"above the last plane", utf8, "\xF4\x90\x80\x80", L"before", 0},
        {"byte that starts nothing", utf8, "\xFE", L"before", 0},
        {"lead instead of tail", utf8, "\xC3\xC3\xA9", L"before", 0},
        {"undefined byte", western, "ab\x81", L"before", 2},
        {"cut pair", japanese, "a\x82", L"before", 1},
        {"bad second byte", japanese, "\x82\xA0\x82\x20", L"before", 2},
        {"byte outside the page", japanese, "a\x80", L"before", 1},
    };
    for (Row const& row : rows) {
        XCString text(row.text);
        XCErrorID const error = row.converter->ToUnicode(text, row.bytes);
        EXPECT_EQ(static_cast<int>(error), XCErrMalformedText) << row.fault;
        EXPECT_EQ(*static_cast<long const*>(error->GetParameterValue(error->GetParameterCount() - 1)), row.position);
        EXPECT_EQ(text, XCString(row.text)) << row.fault;
    }
}

TEST_F(Converters, RefuseWhatTheEncodingCannotHold)
{
    Row const rows[] = {
        {"high surrogate at the end", utf8, "before", L"ab\xD800", 2},
        {"high surrogate before a letter", utf8, "before", L"0123456789\xD800z", 10},
        {"low surrogate first", utf8, "before", L"\xDC00\xD800", 0},
        {"beyond one byte, in blocks", latin, "before", L"0123456789abcdef\u00FF123\u0100", 20},
        {"best fit", western, "before", L"\u00E9\u0101", 1},
        {"full width best fit", western, "before", L"\uFF21", 0},
        {"control code without a byte", western, "before", L"x\u0081", 1},
        {"outside the basic plane", western, "before", L"x\xD83D\xDE00", 1},
        {"letter with mark", japanese, "before", L"\u3042\u00E9", 1},
    };
    for (Row const& row : rows) {
        std::string bytes(row.bytes);
        XCErrorID const error = XCString(row.text).ConvertFromUnicode(bytes, row.converter);
        EXPECT_EQ(static_cast<int>(error), XCErrUnmappableUnit) << row.fault;
        EXPECT_EQ(*static_cast<long const*>(error->GetParameterValue(error->GetParameterCount() - 1)), row.position);
        EXPECT_EQ(bytes, row.bytes) << row.fault;
    }
}

TEST(XCStringConverter, MembersOfTheString)
{
    XCErrorID error;
    EXPECT_EQ(XCString(L"\u20AC").AsMbString(1252, &error), "\x80");
    EXPECT_TRUE(error.Good());
    EXPECT_EQ(XCString(L"x").AsMbString(12345, &error), "");
    EXPECT_EQ(error, XCErrUnknownCodePage);
    EXPECT_EQ(XCString(L"x").AsMbString(XCSmartPtr<XCStringConverter>(), &error), "");
    EXPECT_EQ(error, XCErrNoConverter);

    XCString text;
    EXPECT_TRUE(text.SetFromUTF8(std::string("a\0b", 3)).Good());
    EXPECT_EQ(All(text.Length(), text.AsUTF8()), All(3u, std::string("a\0b", 3)));
    EXPECT_TRUE(text.SetFromUTF8("\xFF").Bad());
    EXPECT_EQ(text.Length(), 3u);
    EXPECT_TRUE(XCString::ConvertToUnicode(text, nullptr, Make<XCUTF8Converter>()).Good() && text.IsNull());
}

} // namespace
