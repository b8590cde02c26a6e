
#include "prelude.h"

namespace {

using namespace std::string_view_literals;

XCBytes Of(std::string_view text)
{
    return text;
}
std::string Text(XCBytes bytes)
{
    return std::string(bytes.begin(), bytes.end());
}

TEST(XCBytes, FindsWhatAPlainSearchFinds)
{
    std::mt19937 random(7);
    for (int round = 0; round < 3000; ++round) {
        std::string in, wanted; // two letters and long repetitions: many false starts
        for (std::size_t i = random() % 300; i > 0; --i) in += static_cast<char>('a' + (random() % 8 == 0));
        wanted = in.substr(random() % (in.size() + 1), random() % 90);
        if (random() % 4 == 0) wanted += 'b';
        std::size_t const start = random() % (in.size() + 2);
        ASSERT_EQ(Of(in).Find(Of(wanted), start), in.find(wanted, start)) << in << " " << wanted;
    }
}

TEST(XCBuffer, TextForms)
{
    // fault, bytes, hex, base64, url
    Rows<std::string_view, wchar_t const*, wchar_t const*, wchar_t const*> const rows = {
        {"nothing", ""sv, L"", L"", L""},
        {"filled up by two", "\xFB"sv, L"fb", L"+w==", L"-w"},
        {"filled up by one", "\xFF\xFE"sv, L"fffe", L"//4=", L"__4"},
        {"zero bytes lost", "\0\0\0\x10"sv, L"00000010", L"AAAAEA==", L"AAAAEA"},
    };
    for (auto const& [fault, rowBytes, rowHex, base64, rowUrl] : rows) {
        SCOPED_TRACE(fault);
        XCBytes const bytes = Of(rowBytes);
        EXPECT_EQ(All(bytes.AsHex(), bytes.AsBase64(), bytes.AsBase64(XCBase64::Url)), All(rowHex, base64, rowUrl));
        XCBuffer hex, standard, url;
        EXPECT_TRUE(XCBuffer::FromHex(hex, XCString(rowHex).Upper()).Good());
        EXPECT_TRUE(XCBuffer::FromBase64(standard, base64).Good());
        EXPECT_TRUE(XCBuffer::FromBase64(url, rowUrl, XCBase64::Url).Good());
        EXPECT_TRUE(hex == standard && standard == url && hex.View() == bytes);
    }
    XCBuffer kept(Of("kept"));
    for (wchar_t const* text : {L"0", L"0g", L"00 0"}) EXPECT_EQ(XCBuffer::FromHex(kept, text), XCErrDataText);
    for (wchar_t const* text : {L"AAA", L"A===", L"====", L"AA=A", L"+x==", L"-w==", L"AAAA=", L"AAAAA", L"AA"})
        EXPECT_EQ(XCBuffer::FromBase64(kept, text), XCErrDataText) << XCString(text).AsUTF8();
    EXPECT_EQ(Text(kept), "kept");
}

TEST(XCBuffer, ChangesAgreeWithAString)
{
    std::mt19937 random(11);
    XCBuffer buffer;
    std::string model;
    for (int step = 0; step < 5000; ++step) {
        std::size_t const pos = random() % (model.size() + 3), count = random() % 40;
        XCBytes const own = buffer.View().Slice(pos, count); // lies in the buffer itself
        std::string const same = Text(own);
        switch (random() % 4) {
        case 0:
            buffer.Append(own);
            model += same;
            break;
        case 1:
            buffer.Insert(pos / 2, own);
            model.insert(std::min(pos / 2, model.size()), same);
            break;
        case 2:
            buffer.Erase(pos, count);
            if (pos < model.size()) model.erase(pos, count);
            break;
        default:
            buffer.Resize(count * 9, 'z');
            model.resize(count * 9, 'z');
            break;
        }
        ASSERT_EQ(Text(buffer), model);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(buffer.Data()) % XCBuffer::kAlignment, 0u);
    }
    EXPECT_THROW(buffer.Reserve(XCBuffer::kMaxSize + 1), std::length_error);
    EXPECT_THROW(buffer.Extend(XCBuffer::kMaxSize), std::length_error);
    EXPECT_EQ(Text(buffer), model);
}

TEST(XCBlob, TakesOverAndShares)
{
    XCBuffer buffer(Of("content"));
    std::uint8_t const* const storage = buffer.Data();
    XCBlob blob = buffer.Detach();
    XCBlob const copy = blob, other(Of("content")), longer(Of("content\0"sv));
    EXPECT_TRUE(blob.Data() == storage && copy.Data() == storage && buffer.IsEmpty());
    EXPECT_TRUE(blob == other && blob.GetHash() == other.GetHash());
    EXPECT_TRUE(blob != longer && blob.GetHash() != longer.GetHash());
    EXPECT_TRUE(XCBlob() == XCBuffer().Detach() && XCBlob().GetHash() == XCBlob(XCBytes()).GetHash());
    blob = blob;
    EXPECT_EQ(blob, copy);
}

TEST(XCBytes, OrderAndChecksum)
{
    EXPECT_LT(Of("ab"), Of("ab\0"sv));
    EXPECT_LT(Of("\x7F"), Of("\x80")); // bytes have no sign
    EXPECT_EQ(XCCrc32c(Of("123456789")), 0xE3069283u);
    EXPECT_EQ(XCCrc32c(XCBytes(std::vector<unsigned char>(32, 0xFF))), 0x62A8AB43u); // of RFC 3720, B.4
    std::string const text(1000, 'q');
    for (std::size_t cut = 0; cut <= 20; ++cut)
        EXPECT_EQ(XCCrc32c(Of(text).Slice(cut), XCCrc32c(Of(text).Slice(0, cut))), XCCrc32c(Of(text)));
}

int g_released = 0;

TEST(XCUntypedVector, SortsAndReleases)
{
    auto const tens = [](void const* a, void const* b, void*) { // the last digit tells equal ones apart
        return *static_cast<int const*>(a) / 10 - *static_cast<int const*>(b) / 10;
    };
    std::mt19937 random(3);
    std::vector<int> model(1000);
    for (int& value : model) value = static_cast<int>(random() % 2000);
    {
        XCUntypedVector list(sizeof(int), [](void*) { ++g_released; });
        for (int const value : model) list.Add(&value);
        list.Sort(tens);
        std::stable_sort(model.begin(), model.end(), [](int a, int b) { return a / 10 < b / 10; });
        EXPECT_TRUE(XCBytes(list.Data(), 4000) == XCBytes(model.data(), 4000));
        EXPECT_EQ(list.Find(&model[999], tens), // the first of equal ones
                  static_cast<std::size_t>(
                      std::find_if(model.begin(), model.end(), [&](int each) { return each / 10 == model[999] / 10; }) -
                      model.begin()));
        int const absent = 2000;
        EXPECT_EQ(list.Find(&absent, tens), XCUntypedVector::npos);
        list.Sort([](void const*, void const*, void*) { return -1; }); // contradicts itself
        EXPECT_THROW(list.Sort([](void const*, void const*, void*) -> int { throw 1; }), int);
        EXPECT_EQ(g_released, 0);
        list.Insert(3, list.Get(999)); // lies in the list that grows
        EXPECT_EQ(*static_cast<int*>(list.Get(3)), *static_cast<int*>(list.Get(1000)));
        EXPECT_TRUE(list.Remove(0) && list.Set(5, list.Get(6)) && list.Set(5, list.Get(5)));
        EXPECT_EQ(g_released, 2);
        EXPECT_FALSE(list.Remove(1000) || list.Set(1000, &model[0]));
        XCUntypedVector taken(1);
        taken = std::move(list);
        EXPECT_EQ(taken.GetSize(), 1000u);
    }
    EXPECT_EQ(g_released, 1002);
}

} // namespace
