// order_book: orders in a file of frames, written by one version of a program and read by the next, and a list that a
// callback in C sorts.
#include <XelbrinCore/XCBlob.h>
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCMarshal.h>
#include <XelbrinCore/XCUntypedVector.h>

#include <cstdio>
#include <unordered_map>

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

XCBlob WriteBook()
{
    XCBinaryWriter writer;
    writer.WriteRaw(XCBytes(kMagic, sizeof kMagic));
    XCMarshaller::Write(writer, *MakeOrder(L"bolt M6", 0.125, 1)); // the old program
    XCMarshaller::Write(writer, *MakeOrder(L"washer", 0.05, 2));
    XCMarshaller::Write(writer, *MakeOrder(L"bracket", 12.4, 3)); // one from the future
    XCMarshaller::Write(writer, *MakeOrder(L"nut M6", 0.11, 2));
    XCBuffer book = writer.TakeBuffer();
    book.Data()[book.Size() - 1] ^= 1; // the disk was not kind to the last one
    return book.Detach();
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

/// Reads all orders that can be read; returns how many could not.
int ReadBook(XCBlob const& book, XCUntypedVector& prices)
{
    XCMarshaller marshaller;
    marshaller.Register<Order>();
    XCBinaryReader reader(book);
    if (!(reader.ReadView(sizeof kMagic) == XCBytes(kMagic, sizeof kMagic))) return -1;
    int lost = 0;
    XCSmartPtr<XCMarshalI> object;
    for (XCFrame frame;;) {
        switch (marshaller.Read(reader, object, &frame)) {
        case XCFrameResult::Object: {
            auto const& order = static_cast<Order const&>(*object);
            double const price = order.price.AsDouble();
            prices.Add(&price);
            Print(order.article + L" " + order.price.AsString() + L" " + order.delivery.AsString());
            break;
        }
        case XCFrameResult::End: return lost;
        case XCFrameResult::Unknown:
        case XCFrameResult::Damaged:
            Print(L"passed over: " + frame.error.AsString());
            ++lost;
            break;
        default: Print(L"the rest cannot be read: " + frame.error.AsString()); return -1;
        }
    }
}

} // namespace

int wmain()
{
    XCBlob const book = WriteBook();
    XCUntypedVector prices(sizeof(double));
    int const lost = ReadBook(book, prices);
    prices.Sort(CompareDoubles);
    std::unordered_map<XCBlob, int> books{{book, lost}}; // found again by content
    XCBlob const copy{book.View()};
    std::printf("lowest price %.2f, %d of the book passed over, known: %s\n", *static_cast<double*>(prices.Get(0)),
                lost, books.contains(copy) ? "yes" : "no");
    return lost == 2 && prices.GetSize() == 2 && books.contains(copy) ? 0 : 1;
}
