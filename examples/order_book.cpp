// order_book: orders in a file of frames, written by one version of a program and read by the next: frames that nobody
// knows, a damaged one and a cut end cost only themselves. And a list that a callback in C sorts.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCMarshal.h>
#include <XelbrinCore/XCUntypedVector.h>

#include <cstdio>

namespace {

constexpr char kMagic[] = {'O', 'R', 'D', '1'};

/// An order. Version 2 added the day of delivery.
class Order : public XCMarshalI {
public:
    explicit Order(std::uint32_t version = 2) : m_version(version) {}
    XCGuid GetTypeGuid() const override { return {0x0B5E7C11, 0x2F0A, 0x4D27, {0x8A, 0x10, 1, 2, 3, 4, 5, 6}}; }
    std::uint32_t GetVersion() const override { return m_version; }
    void Write(XCBinaryWriter& writer) const override
    {
        writer.Write(article);
        writer.Write(price);
        if (m_version >= 2) writer.Write(delivery);
    }
    bool Read(XCBinaryReader& reader, std::uint32_t version) override
    {
        reader.Read(article);
        reader.Read(price);
        if (version >= 2) reader.Read(delivery);
        return reader.Good() && !article.IsNull();
    }

    XCString article;
    XCDouble price;
    XCDateEx delivery;

private:
    std::uint32_t m_version;
};

XCSmartPtr<Order> MakeOrder(wchar_t const* article, double price, std::uint32_t version)
{
    XCSmartPtr<Order> order(new Order(version));
    order->article = article;
    order->price = XCDouble(price, 2);
    if (version >= 2) order->delivery = XCDateEx(2026, 3, 1);
    return order;
}

/// A file as the reader and the writer take it: the two interfaces are all that they ask for.
class BookFile final : public XCByteSourceI, public XCByteSinkI {
public:
    BookFile(wchar_t const* path, wchar_t const* mode) : m_file(::_wfopen(path, mode)) {}
    ~BookFile() override
    {
        if (m_file) std::fclose(m_file);
    }
    BookFile(BookFile const&) = delete;
    BookFile& operator=(BookFile const&) = delete;

    XCErrorID Read(void* to, std::size_t size, std::size_t& got) override
    {
        got = m_file ? std::fread(to, 1, size, m_file) : 0;
        return !m_file || std::ferror(m_file) ? Fault(L"The book cannot be read.") : XCErrorID();
    }
    XCErrorID Write(void const* from, std::size_t size) override
    {
        bool const isWritten = m_file && std::fwrite(from, 1, size, m_file) == size;
        return isWritten ? XCErrorID() : Fault(L"The book cannot be written.");
    }

private:
    static XCErrorID Fault(wchar_t const* text) { return XCSmartPtr<XCErrorString>(new XCErrorString(text, 1)); }

    std::FILE* m_file;
};

XCBuffer FrameOf(wchar_t const* article, double price, std::uint32_t version)
{
    XCBinaryWriter writer;
    (void)XCMarshaller::Write(writer, *MakeOrder(article, price, version));
    return writer.TakeBuffer();
}

XCErrorID WriteBook(wchar_t const* path)
{
    BookFile file(path, L"wb");
    XCBinaryWriter writer(file);
    writer.WriteRaw(XCBytes(kMagic, sizeof kMagic));
    (void)XCMarshaller::Write(writer, *MakeOrder(L"bolt M6", 0.125, 1)); // the old program
    (void)XCMarshaller::Write(writer, *MakeOrder(L"washer", 0.05, 2));
    (void)XCMarshaller::Write(writer, *MakeOrder(L"bracket", 12.4, 3)); // one from the future
    XCBuffer damaged = FrameOf(L"nut M6", 0.11, 2);
    damaged.Data()[damaged.Size() - 1] ^= 1; // the disk was not kind to this one
    writer.WriteRaw(damaged);
    (void)XCMarshaller::Write(writer, *MakeOrder(L"hinge", 2.8, 2));
    writer.WriteRaw(FrameOf(L"screw", 0.02, 2).View().Slice(0, 40)); // the power failed while this one was written
    return writer.Flush();
}

void Print(XCString const& line)
{
    std::printf("%s\n", line.AsUTF8().c_str());
}

int CompareDoubles(void const* a, void const* b, void* /*context*/)
{
    double const left = *static_cast<double const*>(a), right = *static_cast<double const*>(b);
    return left < right ? -1 : left > right;
}

struct Losses {
    int passedOver = 0;
    bool isCut = false;
    bool isUnreadable = false;
};

/// Reads all orders that can be read.
Losses ReadBook(wchar_t const* path, XCUntypedVector& prices)
{
    XCMarshaller marshaller;
    marshaller.Register<Order>();
    BookFile file(path, L"rb");
    XCBinaryReader reader(file);
    Losses losses;
    losses.isUnreadable = !(reader.ReadView(sizeof kMagic) == XCBytes(kMagic, sizeof kMagic));
    XCSmartPtr<XCMarshalI> object;
    for (XCFrame frame; !losses.isUnreadable;) {
        switch (marshaller.Read(reader, object, &frame)) {
        case XCFrameResult::Object: {
            auto const& order = static_cast<Order const&>(*object);
            double const price = order.price.AsDouble();
            prices.Add(&price);
            Print(order.article + L" " + order.price.AsString() + L" " + order.delivery.AsString());
            break;
        }
        case XCFrameResult::Unknown:
        case XCFrameResult::Damaged:
            Print(L"passed over: " + frame.error.AsString());
            ++losses.passedOver;
            break;
        case XCFrameResult::Incomplete: losses.isCut = true; return losses;
        case XCFrameResult::End: return losses;
        case XCFrameResult::Failed:
            Print(L"the rest cannot be read: " + frame.error.AsString());
            losses.isUnreadable = true;
        }
    }
    return losses;
}

} // namespace

int wmain()
{
    wchar_t const* const path = L"order_book.bin";
    if (XCErrorID const written = WriteBook(path); written.Bad()) {
        Print(written.AsString());
        return 1;
    }
    XCUntypedVector prices(sizeof(double));
    Losses const losses = ReadBook(path, prices);
    ::_wremove(path);
    prices.Sort(CompareDoubles);
    bool const isAsWritten = prices.GetSize() == 3 && losses.passedOver == 2 && losses.isCut && !losses.isUnreadable;
    if (!isAsWritten) return 1;
    std::printf("lowest price %.2f, %d orders passed over, the last one cut off\n",
                *static_cast<double*>(prices.Get(0)), losses.passedOver);
    return 0;
}
