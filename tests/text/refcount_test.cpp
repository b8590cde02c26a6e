#include "prelude.h"

namespace {

int alive = 0;

struct Node : XCRefCount {
    Node() { ++alive; }
    Node(Node const& other) : XCRefCount(other), child(other.child) { ++alive; }
    Node& operator=(Node const&) = default;
    ~Node() override { --alive; }
    XCSmartPtr<Node> child;
};
class SpecialNode : public Node {};
static_assert(std::is_same_v<XCSmartPtrVector<XCSmartPtr<Node>>, XCSmartPtrVector<Node>>);

TEST(XCSmartPtr, CountsAndReleases)
{
    {
        XCSmartPtr<Node> a(new Node);
        EXPECT_EQ(a->NbRef(), 1u);
        XCSmartPtr<Node> b(a);
        EXPECT_EQ(a->NbRef(), 2u);
        XCSmartPtr<Node> moved(std::move(b));
        EXPECT_TRUE(b.IsNull());
        EXPECT_EQ(a->NbRef(), 2u);
        Node copy(*a);
        EXPECT_EQ(copy.NbRef(), 0u); // a copy starts at 0
        copy = *a;
        EXPECT_EQ(copy.NbRef(), 0u);
        copy.AddRef(); // held by nobody else: never released to 0
        a = *&a;
        EXPECT_EQ(a->NbRef(), 2u);
        a = a.GetPtr();
        EXPECT_EQ(a->NbRef(), 2u);
        moved = 0;
        EXPECT_TRUE(moved == 0 && moved.IsNull() && !(moved != nullptr));
        XCSmartPtr<Node> const special = XCSmartPtr<SpecialNode>(new SpecialNode);
        XCSmartPtrToConst<Node> toConst(special);
        EXPECT_TRUE(toConst == special && special == toConst.GetPtr() && toConst != a);
        EXPECT_TRUE((a < toConst) != (toConst < a));
        Node* const raw = a;
        EXPECT_TRUE(a && !moved && 0 == moved && raw == a && a != special && !(a < raw) && !(raw < a));
        toConst = a;
        a.Clear();
        EXPECT_EQ(toConst->NbRef(), 1u);
        toConst.Clear();
        EXPECT_TRUE(toConst.IsNull());
        EXPECT_EQ(alive, 2); // the copy and the special one
    }
    EXPECT_EQ(alive, 0);
}

TEST(XCSmartPtr, AssignsAChildOfWhatItReleases)
{
    XCSmartPtr<Node> list(new Node);
    list->child = XCSmartPtr<Node>(new Node);
    list->child->child = XCSmartPtr<Node>(new Node);
    list = list->child;
    EXPECT_EQ(alive, 2);
    list = std::move(list->child); // the source dies with what is released
    EXPECT_EQ(alive, 1);
    list.Clear();
    EXPECT_EQ(alive, 0);
}

struct Probe : XCObjectI {
    int GetIUID() const override { return 77; }
};

// The table of virtual operations, as modules built apart read it: two destructors, then the operations in order.
TEST(XCObjectI, SlotsStandInOrder)
{
    XCSmartPtr<Probe> const probe(new Probe);
    XCObjectI* const object = probe;
    using Count = unsigned long (*)(XCObjectI const*);
    using Ask = bool (*)(XCObjectI const*, int);
    using Number = int (*)(XCObjectI const*);
    void* const* const table = *reinterpret_cast<void* const* const*>(object);
    EXPECT_EQ(reinterpret_cast<Count>(table[2])(object), 2u);
    EXPECT_EQ(reinterpret_cast<Count>(table[3])(object), 1u);
    EXPECT_EQ(reinterpret_cast<Number>(table[4])(object), 77);
    EXPECT_TRUE(reinterpret_cast<Ask>(table[5])(object, 77) && object->QueryInterface(77) == object);
    EXPECT_TRUE(object->QueryInterface(78).IsNull());
    EXPECT_EQ(probe->NbRef(), 1u);
}

TEST(XCPointerVector, OwnsItsObjects)
{
    {
        XCPointerVector<Node> nodes;
        nodes.Add(std::make_unique<Node>());
        nodes.Add(std::make_unique<SpecialNode>());
        EXPECT_EQ(nodes.GetSize(), 2u);
        EXPECT_EQ(nodes.Get(2), nullptr);
        XCPointerVector<Node> const moved(std::move(nodes));
        EXPECT_EQ(alive, 2);
    }
    EXPECT_EQ(alive, 0);
}

} // namespace
