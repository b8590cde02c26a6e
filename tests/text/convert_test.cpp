#include "prelude.h"

#include "text/Utf8.h"

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

// The block-wise conversions against the definition, with a character of another length at each place of a text.

std::string Spelled(std::vector<char32_t> const& codes)
{
    std::string bytes;
    for (char32_t const c : codes) {
        int const tails = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        unsigned char const marks[] = {0, 0xC0, 0xE0, 0xF0};
        bytes += static_cast<char>(marks[tails] | c >> (6 * tails));
        for (int i = tails; i-- > 0;) bytes += static_cast<char>(0x80 | (c >> (6 * i) & 0x3F));
    }
    return bytes;
}

std::wstring InUnits(std::vector<char32_t> const& codes)
{
    std::wstring units;
    for (char32_t const c : codes) {
        if (c >= 0x10000) units += static_cast<wchar_t>(0xD7C0 + (c >> 10));
        units += static_cast<wchar_t>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FF));
    }
    return units;
}

constexpr char32_t kFills[] = {U'a', 0x416, 0x3042, 0x1F600};
constexpr char32_t kOdd[] = {0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xE000, 0xFFFF, 0x10000, 0x10FFFF};

TEST(Utf8Blocks, ACharacterOfAnotherLengthAtEachPlace)
{
    constexpr char kGuard = '#';
    for (char32_t const fill : kFills)
        for (char32_t const odd : kOdd)
            for (std::size_t at = 0; at < 70; ++at) {
                std::vector<char32_t> codes(at % 3 == 0 ? 70 : 41, fill);
                codes[at % codes.size()] = codes[at * 7 % codes.size()] = odd;
                std::wstring const units = InUnits(codes);
                std::string const bytes = Spelled(codes);
                std::string encoded(bytes.size() + 32, kGuard); // room for exactly the text, then the guard
                std::size_t used = 0;
                ASSERT_EQ(xc::text::EncodeUtf8(encoded.data(), units, used), bytes.size()) << at;
                ASSERT_EQ(used, units.size());
                ASSERT_TRUE(encoded == bytes + std::string(32, kGuard))
                    << std::uint32_t{fill} << ' ' << std::uint32_t{odd} << ' ' << at;
                std::wstring decoded(units.size() + 32, kGuard);
                ASSERT_EQ(xc::text::DecodeUtf8(decoded.data(), units.size(), bytes, used), units.size());
                ASSERT_TRUE(used == bytes.size() && decoded == units + std::wstring(32, kGuard)) << at;
                ASSERT_EQ(xc::text::CountUtf8Bytes(units), bytes.size());
                ASSERT_EQ(xc::text::CountUtf16Units(bytes), units.size());
            }
}

TEST(Utf8Blocks, AFaultAtEachPlaceIsNamedWhereItStands)
{
    char const* const faults[] = {
        "\x80",         "\xC0\x80",         "\xC1\xBF",         "\xC3", "\xE2\x82", "\xE0\x9F\xBF",
        "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80", "\xFF", "\xE3\x81"};
    for (char32_t const fill : kFills)
        for (char const* const fault : faults)
            for (std::size_t at = 0; at < 40; ++at) {
                std::string const before = Spelled(std::vector<char32_t>(at, fill));
                XCString text(L"before");
                std::size_t errorAt = 0;
                ASSERT_FALSE(
                    xc::text::DecodeUtf8(text, before + fault + Spelled(std::vector<char32_t>(40, fill)), &errorAt));
                ASSERT_EQ(All(errorAt, text), All(before.size(), XCString(L"before")))
                    << std::uint32_t{fill} << ' ' << at;
            }
    for (char32_t const fill : kFills)
        for (wchar_t const half : {L'\xD800', L'\xDFFF'})
            for (std::size_t const at : {0u, 1u, 7u, 8u, 15u, 16u, 31u, 33u, 63u, 1022u, 1023u, 1024u, 1025u, 2048u}) {
                std::wstring const before = InUnits(std::vector<char32_t>(at, fill));
                std::string bytes("x");
                std::wstring const units = before + half + L"abc";
                ASSERT_EQ(xc::text::AppendUtf8Strictly(bytes, units), before.size());
                bytes = "x";
                xc::text::AppendUtf8(bytes, units);
                ASSERT_EQ(bytes, "x" + Spelled(std::vector<char32_t>(at, fill)) + "\xEF\xBF\xBD" + "abc") << at;
                ASSERT_EQ(bytes.size(), xc::text::CountUtf8Bytes(units) + 1);
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
