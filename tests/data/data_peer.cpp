// data_peer ORDER IN LITTLE BIG: reads records from IN in the byte order and writes them in both.
#include <XelbrinCore/XCBinaryReader.h>
#include <XelbrinCore/XCGuid.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace {

template <class... T>
bool Copy(XCBinaryReader& reader, XCBinaryWriter& little, XCBinaryWriter& big)
{
    auto const one = [&](auto value) {
        if (!reader.Read(value)) return false;
        little.Write(value);
        big.Write(value);
        return true;
    };
    return (one(T{}) && ...);
}

bool CopyRecord(XCBinaryReader& reader, XCBinaryWriter& little, XCBinaryWriter& big)
{
    XCString wide;
    std::int64_t number = 0;
    if (!Copy<std::int8_t, std::uint8_t, short, std::uint16_t, int, std::uint32_t, std::int64_t, std::uint64_t, float,
              double, bool, XCString>(reader, little, big) ||
        !reader.ReadText(wide, XCTextForm::Utf16, XCLengthForm::Bits32) || !reader.ReadVar(number))
        return false;
    for (XCBinaryWriter* const writer : {&little, &big}) {
        writer->WriteText(wide, XCTextForm::Utf16, XCLengthForm::Bits32);
        writer->WriteVar(number);
    }
    return Copy<XCGuid>(reader, little, big);
}

void Save(std::filesystem::path const& file, XCBinaryWriter const& writer)
{
    XCBytes const bytes = writer.GetBytes();
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<char const*>(bytes.Data()), static_cast<std::streamsize>(bytes.Size()));
}

template <class Char>
int Run(Char** arguments)
{
    std::ifstream file(std::filesystem::path(arguments[2]), std::ios::binary);
    std::string const input{std::istreambuf_iterator<char>(file), {}};
    bool const isBig = arguments[1][0] == 'b';
    XCBytesSource source{XCBytes(input)};
    XCBinaryReader reader(source, isBig ? XCByteOrder::Big : XCByteOrder::Little);
    XCBinaryWriter little, big(XCByteOrder::Big);
    while (!reader.AtEnd() && CopyRecord(reader, little, big)) continue;
    if (!reader.Good()) std::printf("%s\n", reader.GetError().AsString().AsUTF8().c_str());
    Save(arguments[3], little);
    Save(arguments[4], big);
    return reader.Good() && little.Good() && big.Good() ? 0 : 1;
}

} // namespace

#if defined(_WIN32)
int wmain(int count, wchar_t** arguments)
#else
int main(int count, char** arguments)
#endif
{
    return count == 5 ? Run(arguments) : 2;
}
