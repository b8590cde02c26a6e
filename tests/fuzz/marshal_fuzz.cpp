// Frames of objects: any bytes after sound and unsound heads. What was read is written again and reads back the same,
// and claims of length never allocate.
#include "input.h"
#include "peak_memory.h"

XCGuid const kType(1, 2, 3, {4});

/// A list of texts and of further lists.
struct List : XCMarshalI {
    XCGuid GetTypeGuid() const override { return kType; }
    std::uint32_t GetVersion() const override { return 1; }
    void Write(XCBinaryWriter& writer) const override
    {
        writer.WriteText(text, XCTextForm::Utf16);
        writer.WriteCount(lists.size());
        for (XCSmartPtr<XCMarshalI> const& list : lists) (void)XCMarshaller::Write(writer, *list);
    }
    bool Read(XCBinaryReader& reader, std::uint32_t) override
    {
        std::size_t count = 0;
        if (!reader.ReadText(text, XCTextForm::Utf16) || !reader.ReadCount(count, XCMarshaller::kHeadSize))
            return false;
        XCMarshaller marshaller;
        marshaller.Register<List>();
        lists.reserve(count);
        for (XCSmartPtr<XCMarshalI> list; lists.size() < count; lists.push_back(list))
            if (marshaller.Read(reader, list) != XCFrameResult::Object) return false;
        return true;
    }

    XCString text;
    std::vector<XCSmartPtr<XCMarshalI>> lists;
};

XCBuffer Written(XCMarshalI const& object)
{
    XCBinaryWriter writer;
    if (XCMarshaller::Write(writer, object).Bad()) std::abort();
    return writer.TakeBuffer();
}

/// Makes heads sound that say so in their version, at every eighth byte: a fuzzer does not guess checksums.
void Mend(XCBuffer& bytes)
{
    XCBinaryWriter head;
    for (std::size_t i = 0; bytes.Size() - i > XCMarshaller::kHeadSize && i < bytes.Size(); i += 8) {
        std::uint8_t* const at = bytes.Data() + i;
        if (at[16] != 1 || at[17] != 0xAB) continue;
        std::size_t const length = std::min<std::size_t>(at[20], bytes.Size() - i - XCMarshaller::kHeadSize);
        head.Clear();
        head.Write(kType);
        head.Write(std::uint32_t{1});
        head.Write(static_cast<std::uint32_t>(length));
        head.Write(XCCrc32c(XCBytes(at + XCMarshaller::kHeadSize, length)));
        head.Write(XCCrc32c(head.GetBytes()));
        std::memcpy(at, head.GetBytes().Data(), XCMarshaller::kHeadSize);
    }
}

void Fuzz(std::uint8_t const* input, std::size_t size)
{
    XCBuffer bytes{XCBytes(input, size)};
    Mend(bytes);
    XCMarshaller marshaller;
    marshaller.Register<List>();
    XCByteQueue queue;
    XCBinaryReader reader(queue);
    (void)queue.Write(bytes.Data(), size / 2);
    bool more = true;
    for (std::uint64_t before = 0;; before = reader.GetPosition()) {
        XCSmartPtr<XCMarshalI> object;
        PeakMemory const peak;
        XCFrameResult const result = marshaller.Read(reader, object);
        // What a reader promises, and as much again for the lists: one takes less than twice its frame.
        if (peak.Bytes() > 4 * size + 65536) std::abort();
        if ((result == XCFrameResult::Object) == object.IsNull()) std::abort();
        if (result == XCFrameResult::Object) {
            XCBuffer const again = Written(*object);
            XCSmartPtr<XCMarshalI> twin;
            XCBinaryReader back(again.View());
            if (marshaller.Read(back, twin) != XCFrameResult::Object || !(Written(*twin) == again)) std::abort();
        } else if (result == XCFrameResult::End || result == XCFrameResult::Incomplete) {
            if (reader.GetPosition() != before || !reader.Good()) std::abort();
            if (!more) break;
            (void)queue.Write(bytes.Data() + size / 2, size - size / 2);
            more = false;
        } else if (result == XCFrameResult::Failed) {
            if (reader.Good()) std::abort();
            break;
        }
    }
}
