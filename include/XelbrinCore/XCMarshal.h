// XCMarshal.h - objects as frames of bytes that older and newer programs can read.
//
// WHAT     A class that can be written implements XCMarshalI. XCMarshaller writes an object as a frame (identity of its
//          type, version, length, checksums) and makes it anew from a frame, by a table from identity to creator.
// FRAME    32 bytes, little-endian, then the content:
//
//              0   16  identity of the type            24   4  CRC-32C of the content
//              16   4  version of the content          28   4  CRC-32C of the 28 bytes before
//              20   4  length of the content
//
//          The content is little-endian too, whatever order the streams have.
// VERSIONS An object reads content of its own version and of older ones. A newer version, and a type that is not in the
//          table, is passed over by its length. Content may be longer than what Read takes from it: fields added at the
//          end need no new version.
// SAFETY   A damaged head is never followed. A damaged content is passed over, and the stream goes on after it. Objects
//          inside objects nest as deep as XCReadLimits::maxDepth, and a content as long as maxLength.
// THREADS  Fill the table before other threads read with it; then any number of threads may.
#pragma once

#include <XelbrinCore/XCBinaryReader.h>
#include <XelbrinCore/XCBinaryWriter.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCGuid.h>
#include <XelbrinCore/XCRefCount.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>

/// An object that can be written to bytes and read back. A class that is counted by another base as well overrides
/// AddRef and Release once for both.
class XC_API XCMarshalI : public XCRefCount {
public:
    ~XCMarshalI() override;
    /// The identity of the class; the same for all its objects and versions.
    virtual XCGuid GetTypeGuid() const = 0;
    /// The version that Write writes.
    virtual std::uint32_t GetVersion() const = 0;
    /// Writes the content; a failure is the writer's (XCBinaryWriter::Fail).
    virtual void Write(XCBinaryWriter& writer) const = 0;
    /// Reads a content of the version, into an object that the creator has just made. False: the content makes no
    /// sense. The reader ends where the content does.
    virtual bool Read(XCBinaryReader& reader, std::uint32_t version) = 0;
    /// Whether Read takes content of the version: by default up to GetVersion().
    virtual bool CanRead(std::uint32_t version) const;

protected:
    XCMarshalI() noexcept = default;
    XCMarshalI(XCMarshalI const&) noexcept = default;
    XCMarshalI& operator=(XCMarshalI const&) noexcept = default;
};

/// The outcome of reading a frame.
enum class XCFrameResult {
    Object,     ///< an object was made
    Unknown,    ///< a type that is not in the table, or a version that is too new; passed over
    Damaged,    ///< the content fails its checksum, or the object refused it; passed over
    Incomplete, ///< the bytes end inside the frame; nothing was taken: read again when more has arrived
    End,        ///< there is no byte
    Failed      ///< the reader has failed: a damaged head, a budget, the source
};

/// What is known of a frame apart from its object.
struct XCFrame {
    XCGuid type;               ///< The identity of the type.
    std::uint32_t version = 0; ///< The version of the content.
    std::uint32_t length = 0;  ///< Bytes of the content.
    /// Why there is no object: XCErrDataUnknownType, XCErrDataNewerVersion, XCErrDataChecksum, the failure of the
    /// content's own reader, or the reader's.
    XCErrorID error;
};

/// Writes objects as frames and reads them back (see the head of this file).
class XC_API XCMarshaller {
public:
    /// Makes an empty object of its class.
    using Creator = std::function<XCSmartPtr<XCMarshalI>()>;
    /// The bytes of a frame before its content.
    static constexpr std::size_t kHeadSize = 32;

    /// Names the creator of a type; one that is there already is replaced.
    void Register(XCGuid const& type, Creator creator);
    /// The same for a class that is made without arguments.
    template <class T>
    void Register()
    {
        Register(XCSmartPtr<XCMarshalI>(new T)->GetTypeGuid(), [] { return XCSmartPtr<XCMarshalI>(new T); });
    }
    /// Takes a type out, as a plug-in does that is unloaded. @return whether it was there.
    bool Withdraw(XCGuid const& type);

    /// Writes the object as a frame. A failure, XCErrDataTooLong for a content of 4 GiB and more among them, is the
    /// writer's, and is returned.
    static XCErrorID Write(XCBinaryWriter& writer, XCMarshalI const& object);
    /// Reads one frame.
    /// @param object receives the object; null for every other outcome.
    /// @param frame  when not null, receives the head and the reason of what went wrong.
    XCFrameResult Read(XCBinaryReader& reader, XCSmartPtr<XCMarshalI>& object, XCFrame* frame = nullptr) const;

private:
    static bool ReadHead(XCBinaryReader& reader, XCFrame& frame, std::uint32_t& checksum);
    static XCFrameResult ReadContent(XCBinaryReader& reader, XCMarshalI& object, XCFrame& frame,
                                     std::uint32_t checksum);
    XCFrameResult ReadFrame(XCBinaryReader& reader, XCSmartPtr<XCMarshalI>& object, XCFrame& frame) const;
    [[nodiscard]] XCSmartPtr<XCMarshalI> Create(XCFrame& frame) const;

    std::map<XCGuid, Creator> m_creators;
};
