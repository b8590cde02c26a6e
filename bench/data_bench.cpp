// Rows of the data family: a record of int32, double, int64, byte and a text of 12 units, beside the same bytes copied by
// memcpy with their text as it is. Measured elsewhere for the same record with a text of 12 bytes, natively, write / read:
// Boost's binary archive 95-138 / 38-54 ns, QDataStream 156-195 / 172-231, POCO 155-183 / 219-259.
#include <XelbrinCore/XCBinaryReader.h>

#include <benchmark/benchmark.h>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kRecords = 512;
constexpr wchar_t const* kText = L"twelve units";

struct Record {
    std::int32_t a = 1;
    double b = 2.5;
    std::int64_t c = 3;
    std::uint8_t d = 4;
    XCString text = XCString(kText);
};

template <class Work>
void PerRecord(benchmark::State& state, Work work)
{
    for (auto _ : state) work();
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kRecords));
}

void WriteAll(XCBinaryWriter& writer, Record const& record)
{
    for (std::size_t i = 0; i < kRecords; ++i) {
        writer.Write(record.a);
        writer.Write(record.b);
        writer.Write(record.c);
        writer.Write(record.d);
        writer.Write(record.text);
    }
}

void WriteRecord512_XCBinaryWriter(benchmark::State& state, XCByteOrder order)
{
    XCBinaryWriter writer(order);
    Record const record;
    PerRecord(state, [&] {
        writer.Clear();
        WriteAll(writer, record);
        benchmark::DoNotOptimize(writer.GetBytes().Data());
    });
}
BENCHMARK_CAPTURE(WriteRecord512_XCBinaryWriter, little, XCByteOrder::Little);
BENCHMARK_CAPTURE(WriteRecord512_XCBinaryWriter, big, XCByteOrder::Big);

void ReadRecord512_XCBinaryReader(benchmark::State& state, XCByteOrder order)
{
    XCBinaryWriter writer(order);
    WriteAll(writer, {});
    Record record;
    PerRecord(state, [&] {
        XCBinaryReader reader(writer.GetBytes(), order);
        for (std::size_t i = 0; i < kRecords; ++i) {
            reader.Read(record.a) && reader.Read(record.b) && reader.Read(record.c) && reader.Read(record.d) &&
                reader.Read(record.text);
            benchmark::DoNotOptimize(record);
        }
    });
}
BENCHMARK_CAPTURE(ReadRecord512_XCBinaryReader, little, XCByteOrder::Little);
BENCHMARK_CAPTURE(ReadRecord512_XCBinaryReader, big, XCByteOrder::Big);

template <class T>
void Put(std::vector<char>& out, T const& value)
{
    std::size_t const at = out.size();
    out.resize(at + sizeof value);
    std::memcpy(out.data() + at, &value, sizeof value);
}

template <class T>
char const* Take(char const* at, T& value)
{
    std::memcpy(&value, at, sizeof value);
    return at + sizeof value;
}

void CopyAll(std::vector<char>& out, Record const& record)
{
    char const text[] = "twelve units";
    for (std::size_t i = 0; i < kRecords; ++i) {
        Put(out, record.a);
        Put(out, record.b);
        Put(out, record.c);
        Put(out, record.d);
        Put(out, std::uint32_t{12});
        out.insert(out.end(), text, text + 12);
    }
}

void WriteRecord512_memcpy(benchmark::State& state)
{
    std::vector<char> out;
    Record const record;
    PerRecord(state, [&] {
        out.clear();
        CopyAll(out, record);
        benchmark::DoNotOptimize(out.data());
    });
}
BENCHMARK(WriteRecord512_memcpy);

void ReadRecord512_memcpy(benchmark::State& state)
{
    std::vector<char> in;
    CopyAll(in, {});
    Record record;
    std::string text;
    PerRecord(state, [&] {
        char const* at = in.data();
        for (std::size_t i = 0; i < kRecords; ++i) {
            std::uint32_t size = 0;
            at = Take(Take(Take(Take(Take(at, record.a), record.b), record.c), record.d), size);
            text.assign(at, size);
            at += size;
            benchmark::DoNotOptimize(record);
            benchmark::DoNotOptimize(text.data());
        }
    });
}
BENCHMARK(ReadRecord512_memcpy);

void Crc64KiB_XCCrc32c(benchmark::State& state)
{
    XCBuffer bytes;
    bytes.Resize(65536, 7);
    for (auto _ : state) benchmark::DoNotOptimize(XCCrc32c(bytes));
}
BENCHMARK(Crc64KiB_XCCrc32c);

} // namespace
