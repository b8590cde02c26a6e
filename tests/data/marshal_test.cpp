#include "data/streams.h"
#include "prelude.h"

namespace {

/// A tree; version 2 added the number.
struct Node : XCMarshalI {
    explicit Node(std::uint32_t version = 2) : m_version(version) {}
    XCGuid GetTypeGuid() const override { return {0x11223344, 5, 6, {7}}; }
    std::uint32_t GetVersion() const override { return m_version; }
    void Write(XCBinaryWriter& writer) const override
    {
        if (throws) throw 1;
        writer.Write(text);
        if (m_version >= 2) writer.Write(number);
        writer.WriteCount(children.size());
        for (XCSmartPtr<Node> const& child : children) (void)XCMarshaller::Write(writer, *child);
    }
    bool Read(XCBinaryReader& reader, std::uint32_t version) override
    {
        std::size_t count = 0;
        if (!reader.Read(text) || (version >= 2 && !reader.Read(number)) ||
            !reader.ReadCount(count, XCMarshaller::kHeadSize))
            return false;
        XCMarshaller marshaller;
        marshaller.Register<Node>();
        for (; count > 0; --count) {
            XCSmartPtr<XCMarshalI> child;
            if (marshaller.Read(reader, child) != XCFrameResult::Object) return false;
            children.push_back(static_cast<Node*>(child.GetPtr()));
        }
        return text != L"refuse";
    }
    XCString text;
    int number = -1;
    std::vector<XCSmartPtr<Node>> children;
    bool throws = false;

private:
    std::uint32_t m_version;
};

XCSmartPtr<Node> MakeNode(wchar_t const* text, std::uint32_t version = 2)
{
    XCSmartPtr<Node> node(new Node(version));
    node->text = text;
    return node;
}

XCBuffer FrameOf(Node const& node)
{
    XCBinaryWriter writer(XCByteOrder::Big); // frames are little-endian all the same
    EXPECT_TRUE(XCMarshaller::Write(writer, node).Good());
    EXPECT_EQ(writer.GetOrder(), XCByteOrder::Big);
    return writer.TakeBuffer();
}

class Marshaller : public testing::Test {
protected:
    Marshaller() { marshaller.Register<Node>(); }
    XCFrameResult Read(XCBinaryReader& reader) { return marshaller.Read(reader, object, &frame); }
    Node const& Result() const { return static_cast<Node const&>(*object); }

    XCMarshaller marshaller;
    XCSmartPtr<XCMarshalI> object;
    XCFrame frame;
};

TEST_F(Marshaller, AMixedFileIsReadToItsEnd)
{
    XCSmartPtr<Node> const tree = MakeNode(L"tree");
    tree->children = {MakeNode(L"left"), MakeNode(L"right")};
    tree->children[1]->children = {MakeNode(L"leaf")};
    tree->number = 7;
    XCBuffer file = FrameOf(*tree);
    XCBuffer stranger = FrameOf(*MakeNode(L"stranger"));
    stranger.Data()[0] ^= 1;
    std::uint32_t const checksum = XCCrc32c(stranger.View().Slice(0, 28));
    std::memcpy(stranger.Data() + 28, &checksum, 4);
    XCBuffer damaged = FrameOf(*MakeNode(L"damaged"));
    damaged.Data()[35] ^= 1;
    for (XCBuffer const& next : {stranger, FrameOf(*MakeNode(L"newer", 3)), damaged, FrameOf(*MakeNode(L"refuse")),
                                 FrameOf(*MakeNode(L"older", 1))})
        file.Append(next);

    using enum XCFrameResult;
    // result, text, number, code
    Table<XCFrameResult, wchar_t const*, int, int> const rows = {
        {Object, L"tree", 7, 0},
        {Unknown, nullptr, 0, XCErrDataUnknownType},
        {Unknown, nullptr, 0, XCErrDataNewerVersion},
        {Damaged, nullptr, 0, XCErrDataChecksum},
        {Damaged, nullptr, 0, XCErrDataCorrupt},
        {Object, L"older", -1, 0},
        {End, nullptr, 0, 0},
    };
    TrickleSource source(file, 5);
    XCBinaryReader reader(source, XCByteOrder::Big);
    for (auto const& [result, text, number, code] : rows) {
        ASSERT_EQ(Read(reader), result);
        EXPECT_EQ(int(frame.error), code);
        ASSERT_EQ(object.IsNull(), text == nullptr);
        if (!text) continue;
        EXPECT_EQ(Result().text, text);
        EXPECT_EQ(Result().number, number);
        if (number != 7) continue;
        ASSERT_EQ(Result().children.size(), 2u);
        EXPECT_EQ(Result().children[1]->children[0]->text, L"leaf");
    }
    EXPECT_TRUE(reader.AtEnd());
    EXPECT_EQ(reader.GetOrder(), XCByteOrder::Big);
}

TEST_F(Marshaller, DamagedHeadsAndFramesInParts)
{
    XCBuffer const bytes = FrameOf(*MakeNode(L"slow"));
    for (std::size_t i = 0; i < XCMarshaller::kHeadSize; ++i) {
        XCBuffer bad = bytes;
        bad.Data()[i] ^= 0x40;
        XCBinaryReader reader(bad.View());
        EXPECT_EQ(Read(reader), XCFrameResult::Failed) << i;
        EXPECT_EQ(int(reader.GetError()), XCErrDataFrame);
    }
    XCByteQueue queue;
    XCBinaryReader reader(queue);
    for (std::size_t i = 0; i < bytes.Size(); ++i) {
        ASSERT_EQ(Read(reader), i == 0 ? XCFrameResult::End : XCFrameResult::Incomplete);
        ASSERT_TRUE(queue.Write(bytes.Data() + i, 1).Good());
    }
    ASSERT_EQ(Read(reader), XCFrameResult::Object);
    EXPECT_EQ(Result().text, L"slow");
}

TEST_F(Marshaller, Budgets)
{
    XCSmartPtr<Node> deep = MakeNode(L"bottom");
    for (int i = 0; i < 10; ++i) {
        XCSmartPtr<Node> const outer = MakeNode(L"");
        outer->children = {deep};
        deep = outer;
    }
    XCBuffer const bytes = FrameOf(*deep);
    XCReadLimits limits;
    for (unsigned int const depth : {10u, 11u}) {
        limits.maxDepth = depth;
        XCBinaryReader reader(bytes.View(), XCByteOrder::Little, limits);
        EXPECT_EQ(Read(reader), depth == 11 ? XCFrameResult::Object : XCFrameResult::Damaged);
    }
    limits.maxLength = 10;
    XCBinaryReader reader(bytes.View(), XCByteOrder::Little, limits);
    EXPECT_EQ(Read(reader), XCFrameResult::Failed);
    EXPECT_EQ(int(frame.error), XCErrDataLimit);
}

TEST_F(Marshaller, AnObjectThatThrowsLeavesNothingBehind)
{
    XCSmartPtr<Node> const outer = MakeNode(L"outer");
    outer->children = {MakeNode(L"inner")};
    outer->children[0]->throws = true;
    XCBinaryWriter writer;
    writer.Write('a');
    EXPECT_THROW(XCMarshaller::Write(writer, *outer), int);
    EXPECT_EQ(writer.GetPosition(), 1u);
    EXPECT_TRUE(writer.Flush().Good()) << "a place stayed marked";
    EXPECT_TRUE(marshaller.Withdraw(outer->GetTypeGuid()));
    EXPECT_FALSE(marshaller.Withdraw(outer->GetTypeGuid()));
}

} // namespace
