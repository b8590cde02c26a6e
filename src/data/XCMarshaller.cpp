// Frames: a head that vouches for itself, and a content.
//
// The head has a checksum of its own because its length is used before the content can be checked: a single wrong bit
// there would make a reader wait for gigabytes on a socket, or pass over the good frames of a file. With a sound head the
// content may be damaged, unknown or too new, and the next frame is still found.
//
// Reading is one part (Begin and Commit) of the reader, so a frame that has arrived in part is left where it is. The
// object reads from a reader of its own that ends with the content and counts the depth.
#include <XelbrinCore/XCMarshal.h>

#include "data/DataErrors.h"

#include <array>

using xc::data::DataError;

XCMarshalI::~XCMarshalI() = default;

bool XCMarshalI::CanRead(std::uint32_t version) const
{
    return version <= GetVersion();
}

namespace {

// The head: 16 bytes of type, 4 of version, then these three numbers of 4 bytes. All little-endian, whatever the
// stream.
constexpr std::size_t kLengthAt = 20;
constexpr std::size_t kContentCrcAt = 24;
constexpr std::size_t kHeadCrcAt = 28;

/// Keeps a stream little-endian for a while.
template <class Stream>
class LittleEndian {
public:
    explicit LittleEndian(Stream& stream) noexcept : m_stream(stream), m_order(stream.GetOrder())
    {
        stream.SetOrder(XCByteOrder::Little);
    }
    ~LittleEndian() { m_stream.SetOrder(m_order); }
    LittleEndian(LittleEndian const&) = delete;
    LittleEndian& operator=(LittleEndian const&) = delete;

private:
    Stream& m_stream;
    XCByteOrder m_order;
};

/// A part of a reader that goes back when an exception ends it.
class Part {
public:
    explicit Part(XCBinaryReader& reader) : m_reader(reader) { reader.Begin(); }
    ~Part()
    {
        if (m_open) m_reader.RollBack();
    }
    Part(Part const&) = delete;
    Part& operator=(Part const&) = delete;
    XCReadStatus Commit()
    {
        m_open = false;
        return m_reader.Commit();
    }

private:
    XCBinaryReader& m_reader;
    bool m_open = true;
};

void PutNumber(std::uint8_t* at, std::uint32_t number) noexcept
{
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(number >> (8 * i));
}

} // namespace

void XCMarshaller::Register(XCGuid const& type, Creator creator)
{
    m_creators.insert_or_assign(type, std::move(creator));
}

bool XCMarshaller::Withdraw(XCGuid const& type)
{
    return m_creators.erase(type) > 0;
}

XCErrorID XCMarshaller::Write(XCBinaryWriter& writer, XCMarshalI const& object)
{
    LittleEndian<XCBinaryWriter> const order(writer);
    std::uint64_t const start = writer.OpenMark();
    try {
        writer.Write(object.GetTypeGuid());
        writer.Write(object.GetVersion());
        // Room for the three numbers, which are known once the content stands behind them.
        writer.WriteRaw(std::array<std::uint8_t, kHeadSize - kLengthAt>{});
        object.Write(writer);
    } catch (...) {
        // Half a frame would make everything after it unreadable.
        writer.TakeBack(start);
        throw;
    }
    XCBytes const content = writer.GetBytes(start + kHeadSize);
    if (content.Size() > UINT32_MAX) writer.Fail(DataError(XCErrDataTooLong, content.Size(), UINT32_MAX));
    if (!writer.Good()) {
        writer.TakeBack(start);
        return writer.GetError();
    }
    std::array<std::uint8_t, kHeadSize> head{};
    std::memcpy(head.data(), writer.GetBytes(start).Data(), kLengthAt);
    PutNumber(&head[kLengthAt], static_cast<std::uint32_t>(content.Size()));
    PutNumber(&head[kContentCrcAt], XCCrc32c(content));
    PutNumber(&head[kHeadCrcAt], XCCrc32c(XCBytes(head).Slice(0, kHeadCrcAt)));
    writer.Overwrite(start, head.data(), head.size());
    writer.CloseMark(start);
    return {};
}

bool XCMarshaller::ReadHead(XCBinaryReader& reader, XCFrame& frame, std::uint32_t& checksum)
{
    XCBytes const head = reader.ReadView(kHeadSize);
    if (!reader.Good()) return false;
    XCBinaryReader fields(head);
    std::uint32_t headChecksum = 0;
    // 32 bytes are there: these reads cannot fail.
    fields.Read(frame.type) && fields.Read(frame.version) && fields.Read(frame.length) && fields.Read(checksum) &&
        fields.Read(headChecksum);
    if (headChecksum == XCCrc32c(head.Slice(0, kHeadCrcAt))) return true;
    // Nothing of a head that is unsound is shown: its type and length may be anything.
    frame = XCFrame();
    return reader.Fail(DataError(XCErrDataFrame, reader.GetPosition() - kHeadSize));
}

/// The object of the frame, when there is one that reads its version; otherwise the reason.
XCSmartPtr<XCMarshalI> XCMarshaller::Create(XCFrame& frame) const
{
    auto const creator = m_creators.find(frame.type);
    XCSmartPtr<XCMarshalI> object;
    if (creator != m_creators.end()) object = creator->second();
    if (object.IsNull()) {
        frame.error = xc::errors::MakeCoreError(XCErrDataUnknownType, frame.type.AsString());
    } else if (!object->CanRead(frame.version)) {
        frame.error = xc::errors::MakeCoreError(XCErrDataNewerVersion, frame.type.AsString(),
                                                xc::data::NumberParameter(frame.version));
        object.Clear();
    }
    return object;
}

XCFrameResult XCMarshaller::ReadContent(XCBinaryReader& reader, XCMarshalI& object, XCFrame& frame,
                                        std::uint32_t checksum)
{
    std::uint64_t const position = reader.GetPosition();
    XCBytes const content = reader.ReadView(frame.length);
    if (!reader.Good()) return XCFrameResult::Failed;
    if (XCCrc32c(content) != checksum) {
        frame.error = DataError(XCErrDataChecksum, position);
        return XCFrameResult::Damaged;
    }
    XCBinaryReader inner(content, XCByteOrder::Little, reader.m_limits);
    // Depth is counted by the reader, not by the objects: none can forget it, and a stack overflow cannot be caught.
    inner.m_depth = reader.m_depth + 1;
    if (object.Read(inner, frame.version) && inner.Good()) return XCFrameResult::Object;
    // An object that refuses without a reason: the position at which it stopped is one.
    inner.Fail();
    frame.error = inner.GetError();
    return XCFrameResult::Damaged;
}

XCFrameResult XCMarshaller::ReadFrame(XCBinaryReader& reader, XCSmartPtr<XCMarshalI>& object, XCFrame& frame) const
{
    std::uint32_t checksum = 0;
    if (!ReadHead(reader, frame, checksum)) return XCFrameResult::Failed;
    std::size_t const most = reader.m_limits.maxLength;
    unsigned int const deepest = reader.m_limits.maxDepth;
    if ((frame.length > most && !reader.FailLimit(L"maxLength", most)) ||
        (reader.m_depth >= deepest && !reader.FailLimit(L"maxDepth", deepest)))
        return XCFrameResult::Failed;
    XCSmartPtr<XCMarshalI> const created = Create(frame);
    // The checksum of an unknown content is not read: nobody is going to use it.
    if (created.IsNull()) return reader.Skip(frame.length) ? XCFrameResult::Unknown : XCFrameResult::Failed;
    XCFrameResult const result = ReadContent(reader, *created, frame, checksum);
    if (result == XCFrameResult::Object) object = created;
    return result;
}

XCFrameResult XCMarshaller::Read(XCBinaryReader& reader, XCSmartPtr<XCMarshalI>& object, XCFrame* frame) const
{
    XCFrame local;
    XCFrame& seen = frame ? *frame : local;
    seen = XCFrame();
    object.Clear();
    if (reader.AtEnd() && reader.Good()) return XCFrameResult::End;
    LittleEndian<XCBinaryReader> const order(reader);
    Part part(reader);
    XCFrameResult const result = reader.Good() ? ReadFrame(reader, object, seen) : XCFrameResult::Failed;
    if (result == XCFrameResult::Failed) seen.error = reader.GetError();
    return part.Commit() == XCReadStatus::PastEnd ? XCFrameResult::Incomplete : result;
}
