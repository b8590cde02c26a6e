#include "data/streams.h"
#include "prelude.h"

namespace {

XCString const kLone(wchar_t{0xD800});

/// Every kind of value once; `pass` writes or reads one in the usual form.
void Transfer(auto pass)
{
    pass(std::int8_t{-1});
    pass(XCString(std::wstring_view(L"tw\u00F6 \U0001F600\0end", 10)));
    for (std::size_t const length : {0u, 1u, 15u, 16u, 17u, 300u}) pass(XCString(L'a', length)); // around the kernel's
    pass(XCString(L'\u20AC', 30000));
    pass(XCBuffer(XCBytes(std::string(70000, 'b'))));
    pass(XCDateEx(2026, 2, 19));
    pass(XCTimeEx());
    pass(XCDateTimeEx(1999, 12, 31, 23, 59, 58, 997, XCTimeZone()));
    pass(XCDurationEx(-3, XCDurationEx::Week));
    pass(XCDate(17));
    pass(XCDateTime());
    pass(XCDouble(-1.005, 2));
    pass(1.5);
    pass(true);
}

void WriteAll(XCBinaryWriter& writer)
{
    Transfer([&writer](auto const& value) {
        if constexpr (std::is_same_v<decltype(value), XCBuffer const&>)
            writer.WriteBytes(value, XCLengthForm::Bits32);
        else
            writer.Write(value);
    });
    writer.WriteVar(std::int64_t{INT64_MIN});
    writer.WriteVar(UINT64_MAX);
    writer.WriteText(kLone, XCTextForm::Utf16, XCLengthForm::Bits8);
}

void ReadAll(XCBinaryReader& reader)
{
    Transfer([&reader]<class T>(T const& wanted) {
        T value{};
        if constexpr (std::is_same_v<T, XCBuffer>)
            EXPECT_TRUE(reader.ReadBytes(value, XCLengthForm::Bits32));
        else
            EXPECT_TRUE(reader.Read(value));
        EXPECT_TRUE(value == wanted);
    });
    std::int64_t least = 0;
    std::uint64_t greatest = 0;
    XCString lone;
    reader.ReadVar(least) && reader.ReadVar(greatest) && reader.ReadText(lone, XCTextForm::Utf16, XCLengthForm::Bits8);
    EXPECT_TRUE(least == INT64_MIN && greatest == UINT64_MAX && lone == kLone && reader.AtEnd() && reader.Good());
}

TEST(BinaryStream, EveryValueFromEverySource)
{
    for (XCByteOrder const order : {XCByteOrder::Little, XCByteOrder::Big}) {
        XCByteQueue bytes;
        XCBinaryWriter through(bytes, order), whole(order);
        WriteAll(through);
        WriteAll(whole);
        EXPECT_TRUE(through.Flush().Good() && bytes.GetBytes() == whole.GetBytes());
        XCBinaryReader block(bytes.GetBytes(), order);
        ReadAll(block);
        for (std::size_t const step : {1u, 3u, 4096u, 1u << 20})
            for (std::size_t const readAhead : {0u, 1u, 4096u}) {
                TrickleSource source(bytes.GetBytes(), step);
                XCBinaryReader trickle(source, order, {.readAhead = readAhead});
                ReadAll(trickle);
            }
    }
}

TEST(BinaryStream, TextsKeepTheirBlock)
{
    for (std::size_t const length : {5u, 16u, 40u, 200u}) {
        XCBinaryWriter writer;
        writer.Write(XCString(L't', length));
        writer.Write(XCString(L'u', 30)); // the kernel for short texts reads past them
        XCString text(L'x', length);
        wchar_t const* const block = text.AsWChar();
        XCBinaryReader reader(writer.GetBytes());
        EXPECT_TRUE(reader.Read(text) && text == XCString(L't', length) && text.AsWChar() == block) << length;
        XCString const shared = text;
        EXPECT_TRUE(reader.Read(text) && shared == XCString(L't', length)) << "another text changed";
    }
}

template <class T>
bool ReadOne(XCBinaryReader& reader)
{
    T value{};
    return reader.Read(value);
}
template <class T>
bool ReadVarOne(XCBinaryReader& reader)
{
    T value{};
    return reader.ReadVar(value);
}
template <XCTextForm Form, XCLengthForm Length>
bool ReadTextOne(XCBinaryReader& reader)
{
    XCString text(L"kept");
    bool const read = reader.ReadText(text, Form, Length);
    EXPECT_EQ(text, L"kept");
    return read;
}

TEST(BinaryStream, Refused)
{
    using enum XCReadStatus;
    constexpr auto utf8 = ReadTextOne<XCTextForm::Utf8, XCLengthForm::Var>;
    constexpr auto utf16 = ReadTextOne<XCTextForm::Utf16, XCLengthForm::Bits8>;
    constexpr auto count = [](XCBinaryReader& reader) {
        std::size_t number = 0;
        return reader.ReadCount(number, 0);
    };
    // fault, hex, read, status, code
    Rows<char const*, bool (*)(XCBinaryReader & reader), XCReadStatus, XCCoreError> const rows = {
        {"a bool of 2", "02", ReadOne<bool>, Corrupt, XCErrDataCorrupt},
        {"month 13", "a0010000", ReadOne<XCDateEx>, Corrupt, XCErrDataCorrupt},
        {"24 o'clock", "005c2605", ReadOne<XCTimeEx>, Corrupt, XCErrDataCorrupt},
        {"a second form of no time", "feffffff", ReadOne<XCTimeEx>, Corrupt, XCErrDataCorrupt},
        {"the count that durations lack", "0500000000000080", ReadOne<XCDurationEx>, Corrupt, XCErrDataCorrupt},
        {"unit 9", "0900000001000000", ReadOne<XCDurationEx>, Corrupt, XCErrDataCorrupt},
        {"16 decimals", "000000000000000010", ReadOne<XCDouble>, Corrupt, XCErrDataCorrupt},
        {"error of kind 3", "0300", ReadOne<XCErrorID>, Corrupt, XCErrDataCorrupt},
        {"severity 4", "01010000000400", ReadOne<XCErrorID>, Corrupt, XCErrDataCorrupt},
        {"a longer form of 0", "8000", ReadVarOne<int>, Corrupt, XCErrDataCorrupt},
        {"65 bits", "ffffffffffffffffff02", ReadVarOne<std::uint64_t>, Corrupt, XCErrDataCorrupt},
        {"eleven bytes", "ffffffffffffffffffff00", ReadVarOne<std::uint64_t>, Corrupt, XCErrDataCorrupt},
        {"256 in a byte", "8002", ReadVarOne<std::uint8_t>, Corrupt, XCErrDataCorrupt},
        {"128 in a signed byte", "8002", ReadVarOne<std::int8_t>, Corrupt, XCErrDataCorrupt},
        {"malformed text", "02c328", utf8, Corrupt, XCErrMalformedText},
        {"malformed text before others", "02c3286161616161616161616161616161616161", utf8, Corrupt, XCErrMalformedText},
        {"a cut text", "01c3", utf8, Corrupt, XCErrMalformedText},
        {"half a unit", "03610062", utf16, Corrupt, XCErrDataCorrupt},
        {"a text past the end", "0561", utf8, PastEnd, XCErrDataPastEnd},
        {"a length of 4 GiB", "ffffffff0f61", utf8, LimitExceeded, XCErrDataLimit},
        {"a length of 500 MiB", "808080fa0161", utf8, PastEnd, XCErrDataPastEnd},
        {"a count past the end", "7f6161", count, PastEnd, XCErrDataPastEnd},
        {"a count that wraps", "ffffffffffffffffff01", count, LimitExceeded, XCErrDataLimit},
    };
    for (auto const& [fault, hex, read, status, code] : rows) {
        SCOPED_TRACE(fault);
        XCBuffer bytes;
        ASSERT_TRUE(XCBuffer::FromHex(bytes, XCString(std::wstring(hex, hex + std::strlen(hex)))).Good());
        TrickleSource source(bytes, 1);
        XCBinaryReader trickle(source), block{bytes.View()};
        for (XCBinaryReader* const reader : {&trickle, &block}) {
            EXPECT_FALSE(read(*reader));
            EXPECT_EQ(All(reader->Status(), int(reader->GetError())), All(status, code));
            std::uint8_t byte = 7;
            EXPECT_FALSE(reader->Read(byte)) << "the status is not sticky";
        }
    }
}

TEST(BinaryStream, WriterFailures)
{
    // fault, write, code
    Rows<void (*)(XCBinaryWriter & writer), XCCoreError> const rows = {
        {"lone surrogate guessed", [](XCBinaryWriter& writer) { writer.Write(kLone); }, XCErrUnmappableUnit},
        {"length cut to a byte",
         [](XCBinaryWriter& writer) { writer.WriteText(XCString(L'x', 256), XCTextForm::Utf8, XCLengthForm::Bits8); },
         XCErrDataTooLong},
        {"length cut to two bytes",
         [](XCBinaryWriter& writer) { writer.WriteBytes(XCBytes(std::string(65536, 'x')), XCLengthForm::Bits16); },
         XCErrDataTooLong},
    };
    for (auto const& [fault, write, code] : rows) {
        SCOPED_TRACE(fault);
        XCBinaryWriter writer;
        write(writer);
        writer.Write(1); // nothing follows a failure
        EXPECT_EQ(int(writer.Flush()), code);
        EXPECT_EQ(writer.GetPosition(), 0u);
    }
    XCBuffer buffer;
    XCBufferSink sink(buffer);
    XCBinaryWriter writer(sink);
    writer.Write('a');
    std::uint64_t const mark = writer.Mark(std::uint16_t{0});
    writer.WriteRaw(XCBytes(std::string(10000, 'b')));
    EXPECT_EQ(int(writer.Flush()), XCErrDataOpenMark);
    EXPECT_EQ(buffer.Size(), 1u); // what stands before the place
    EXPECT_THROW(writer.Patch(mark + 1, std::uint16_t{1}), XCException);
    writer.Patch(mark, std::uint16_t{0x6363});
    EXPECT_TRUE(writer.Flush().Good());
    EXPECT_TRUE(buffer.View().StartsWith(XCBytes(std::string("accb"))) && buffer.Size() == 10003);
    FailingStream failing;
    XCBinaryWriter broken(failing);
    for (int i = 0; i < 10000; ++i) broken.Write(i);
    EXPECT_EQ(int(broken.Flush()), FailingStream::kCode);
    XCBinaryReader reader(failing);
    EXPECT_FALSE(ReadOne<int>(reader));
    EXPECT_EQ(int(reader.GetError()), FailingStream::kCode);
}

// A block reaches every place; a source goes on, and back only to what Begin holds.
TEST(BinaryStream, PeeksAndSeeks)
{
    std::string content(200'000, ' ');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    TrickleSource source(XCBytes(content), 7'000);
    XCBinaryReader block{XCBytes(content)}, pieces{source};
    for (XCBinaryReader* const reader : {&block, &pieces}) {
        bool const isBlock = reader == &block;
        SCOPED_TRACE(isBlock);
        auto const sees = [&](std::size_t size, std::size_t at) {
            XCBytes const seen = reader->Peek(size);
            XCBytes const wanted = XCBytes(content).Slice(at, size);
            return seen == wanted && reader->GetPosition() == at && reader->Good();
        };
        EXPECT_TRUE(sees(4, 0) && sees(150'000, 0)) << "across pieces";
        EXPECT_TRUE(reader->Seek(100'000) && sees(10, 100'000));
        EXPECT_EQ(reader->Seek(20), isBlock);
        EXPECT_TRUE(reader->Seek(100'000));
        reader->Begin();
        EXPECT_TRUE(reader->Skip(90'000) && reader->Seek(100'001) && sees(90'000, 100'001));
        reader->RollBack();
        EXPECT_TRUE(sees(300'000, 100'000)) << "fewer are left";
        EXPECT_TRUE(reader->Seek(content.size()) && reader->AtEnd());
        EXPECT_FALSE(reader->Seek(content.size() + 1));
        EXPECT_EQ(reader->Good(), isBlock);
    }
}

TEST(BinaryStream, ErrorsAsValues)
{
    XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource);
    source->Add(42, L"%s is %d years old");
    XCSmartPtr<XCErrorWithArgs> const own(new XCErrorWithArgs(glbXCOREMsgSourceP, XCErrDataLimit));
    XCSmartPtr<XCErrorWithArgs> const other(new XCErrorWithArgs(source, 42, XCErrorI::SeverityWarning));
    own->AddParam(7);
    own->AddParam(XCDouble(2.5, 1));
    own->AddParam(XCDateTime(86400));
    other->AddParam(kLone);
    other->AddParam(30);
    XCBinaryWriter writer;
    for (XCErrorID const& error : {XCErrorID(), XCErrorID(own), XCErrorID(other), XCErrorID(other)})
        writer.Write(error);
    XCBinaryReader reader(writer.GetBytes());
    XCErrorID error = own;
    EXPECT_TRUE(reader.Read(error) && error.Good());
    ASSERT_TRUE(reader.Read(error));
    EXPECT_EQ(All(error->GetParameterCount(), error.AsString()), All(3u, XCErrorID(own).AsString()));
    ASSERT_TRUE(reader.Read(error));
    EXPECT_EQ(error.AsString(), XCErrorID(other).AsString());
    EXPECT_TRUE(error == 42 && error->GetSeverity() == XCErrorI::SeverityWarning &&
                error->IsKindOf(XCErrorString::kIUID));
    ASSERT_TRUE(reader.ReadError(error, source));
    EXPECT_TRUE(error->IsKindOf(XCErrorWithArgs::kIUID) && error.AsString() == XCErrorID(other).AsString());
}

} // namespace
