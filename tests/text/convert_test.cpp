#include <XelbrinCore/XCStringConverter.h>

#include "text/Utf8.h"

#include <gtest/gtest.h>

namespace {

template <class Converter, class... Arguments>
XCSmartPtr<XCStringConverter> Make(Arguments... arguments)
{
    return XCSmartPtr<XCStringConverter>(new Converter(arguments...));
}

struct ReadRow {
    char const* fault;
    XCSmartPtr<XCStringConverter> converter;
    std::string bytes;
    wchar_t const* expected;
};

TEST(XCStringConverter, BothWays)
{
    auto const utf8 = Make<XCUTF8Converter>();
    auto const latin = Make<XCLatin1Converter>();
    auto const western = Make<XCCodePageConverter>(1252u);
    auto const japanese = Make<XCJapaneseConverter>();
    ReadRow const rows[] = {
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
    for (ReadRow const& row : rows) {
        XCString text(L"before");
        ASSERT_TRUE(row.converter->ToUnicode(text, row.bytes).Good()) << row.fault;
        EXPECT_EQ(text, XCString(row.expected)) << row.fault;
        std::string bytes("before");
        ASSERT_TRUE(text.ConvertFromUnicode(bytes, row.converter).Good()) << row.fault;
        EXPECT_EQ(bytes, row.bytes) << row.fault;
    }
    XCString text;
    EXPECT_TRUE(japanese->ToUnicode(text, "\x87\x90").Good()) << "second spelling of a character";
    EXPECT_EQ(text, XCString(L"\u2252"));
}

/// The position that a converter's error carries: its last parameter.
long PositionOf(XCErrorID const& error)
{
    auto const* const details = dynamic_cast<XCErrorWithArgs const*>(error.operator->());
    long position = -1;
    if (details) details->GetParam(position, details->GetParameterCount() - 1);
    return position;
}

TEST(XCStringConverter, RefusesMalformedBytes)
{
    auto const utf8 = Make<XCUTF8Converter>();
    auto const japanese = Make<XCJapaneseConverter>();
    auto const western = Make<XCCodePageConverter>(1252u);
    struct Row {
        char const* fault;
        XCSmartPtr<XCStringConverter> converter;
        std::string bytes;
        long position;
    };
    Row const rows[] = {
        {"tail alone", utf8, "ab\x80", 2},
        {"cut after two", utf8, "abc\xE2\x82", 3},
        {"cut after three", utf8, "0123456789abcdef\xF0\x9F\x98", 16},
        {"overlong two", utf8, "\xC0\x80", 0},
        {"overlong three", utf8, "\xE0\x9F\xBF", 0},
        {"overlong four", utf8, "\xF0\x8F\xBF\xBF", 0},
        {"surrogate", utf8, "x\xED\xA0\x80", 1},
        {"above the last plane", utf8, "\xF4\x90\x80\x80", 0},
        {"byte that starts nothing", utf8, "\xFE", 0},
        {"lead instead of tail", utf8, "\xC3\xC3\xA9", 0},
        {"undefined byte", western, "ab\x81", 2},
        {"cut pair", japanese, "a\x82", 1},
        {"bad second byte", japanese, "\x82\xA0\x82\x20", 2},
        {"byte outside the page", japanese, "a\x80", 1},
    };
    for (Row const& row : rows) {
        XCString text(L"before");
        XCErrorID const error = row.converter->ToUnicode(text, row.bytes);
        EXPECT_EQ(static_cast<int>(error), XCErrMalformedText) << row.fault;
        EXPECT_EQ(PositionOf(error), row.position) << row.fault;
        EXPECT_EQ(text, XCString(L"before")) << row.fault;
    }
}

TEST(XCStringConverter, RefusesWhatTheEncodingCannotHold)
{
    auto const utf8 = Make<XCUTF8Converter>();
    auto const latin = Make<XCLatin1Converter>();
    auto const western = Make<XCCodePageConverter>(1252u);
    auto const japanese = Make<XCJapaneseConverter>();
    struct Row {
        char const* fault;
        XCSmartPtr<XCStringConverter> converter;
        wchar_t const* text;
        long position;
    };
    Row const rows[] = {
        {"high surrogate at the end", utf8, L"ab\xD800", 2},
        {"high surrogate before a letter", utf8, L"0123456789\xD800z", 10},
        {"low surrogate first", utf8, L"\xDC00\xD800", 0},
        {"beyond one byte, in blocks", latin, L"0123456789abcdef\u00FF123\u0100", 20},
        {"best fit", western, L"\u00E9\u0101", 1},
        {"full width best fit", western, L"\uFF21", 0},
        {"control code without a byte", western, L"x\u0081", 1},
        {"outside the basic plane", western, L"x\xD83D\xDE00", 1},
        {"letter with mark", japanese, L"\u3042\u00E9", 1},
    };
    for (Row const& row : rows) {
        std::string bytes("before");
        XCErrorID const error = XCString(row.text).ConvertFromUnicode(bytes, row.converter);
        EXPECT_EQ(static_cast<int>(error), XCErrUnmappableUnit) << row.fault;
        EXPECT_EQ(PositionOf(error), row.position) << row.fault;
        EXPECT_EQ(bytes, "before") << row.fault;
    }
}

TEST(XCStringConverter, MembersOfTheString)
{
    XCErrorID error;
    EXPECT_EQ(XCString(L"\u20AC").AsMbString(1252, &error), "\x80");
    EXPECT_TRUE(error.Good());
    EXPECT_EQ(XCString(L"x").AsMbString(12345, &error), "");
    EXPECT_EQ(static_cast<int>(error), XCErrUnknownCodePage);
    EXPECT_EQ(XCString(L"x").AsMbString(XCSmartPtr<XCStringConverter>(), &error), "");
    EXPECT_EQ(static_cast<int>(error), XCErrNoConverter);

    XCString text;
    EXPECT_TRUE(text.SetFromUTF8(std::string("a\0b", 3)).Good());
    EXPECT_EQ(text.Length(), 3u);
    EXPECT_EQ(text.AsUTF8(), std::string("a\0b", 3));
    EXPECT_TRUE(text.SetFromUTF8("\xFF").Bad());
    EXPECT_EQ(text.Length(), 3u);
    EXPECT_TRUE(XCString::ConvertToUnicode(text, nullptr, Make<XCUTF8Converter>()).Good());
    EXPECT_TRUE(text.IsNull());
}

TEST(Utf8, LenientTextForLogs)
{
    std::string out = "> ";
    xc::text::AppendUtf8(out, L"a\xD800z\xDC00\xD83D\xDE00");
    EXPECT_EQ(out, "> a\xEF\xBF\xBDz\xEF\xBF\xBD\xF0\x9F\x98\x80");
}

} // namespace
