// EvaluateTree.h - the result of a list of conditions, from left to right, for every form in which trees are kept.
//
// The list has no precedence: the result so far is changed by a link that can change it, and a sub-condition whose link
// cannot is not evaluated. A tree may be a chain of any length, so nothing recurses: the lists that are still open are
// kept, the first 32 of them on the stack of the thread. A list that has come to its end is not kept, and so a chain
// needs one place however long it is.
#pragma once

#include <XelbrinCore/XCCondition.h>

#include <array>
#include <cstddef>
#include <vector>

namespace xc::condition {

/// A list of places that needs the heap only when it grows long.
template <class T, std::size_t Inline>
class PlaceStack {
public:
    void Push(T const& place)
    {
        if (m_size < Inline)
            m_inline[m_size] = place;
        else
            m_more.push_back(place);
        ++m_size;
    }
    /// False when there is none.
    bool Pop(T& place) noexcept
    {
        if (m_size == 0) return false;
        if (--m_size < Inline) {
            place = m_inline[m_size];
        } else {
            place = m_more.back();
            m_more.pop_back();
        }
        return true;
    }

private:
    std::array<T, Inline> m_inline;
    std::vector<T> m_more;
    std::size_t m_size = 0;
};

/// @param tree tells of a node StartOf (the result before its list), CountOf its sub-conditions, their LinkOf, and
///        SubOf, which may be null.
template <class Tree>
bool EvaluateTree(Tree tree, typename Tree::Node const* root)
{
    struct Place {
        typename Tree::Node const* node;
        std::size_t next;
    };
    PlaceStack<Place, 32> open; // lists that are not yet done
    Place at{root, 0};
    bool result = tree.StartOf(*root);
    for (;;) {
        std::size_t const count = tree.CountOf(*at.node);
        // The place is the list; `result` is what the list has given so far.
        // AND can change true, OR can change false.
        while (at.next < count &&
               ((tree.LinkOf(*at.node, at.next) == XCCondition::Link::And) != result || !tree.SubOf(*at.node, at.next)))
            ++at.next;
        if (at.next < count) {
            typename Tree::Node const* const sub = tree.SubOf(*at.node, at.next++);
            if (at.next < count) open.Push(at);
            at = {sub, 0};
            result = tree.StartOf(*sub);
        } else if (!open.Pop(at)) {
            return result;
        }
    }
}

} // namespace xc::condition
