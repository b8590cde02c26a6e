// Keeps the expressions that were asked for last by their pattern.
//
// Programs that take patterns from their users or their configuration ask for the same few again and again, and building
// one costs a hundred times as much as finding it. The cache is bounded in number and in the length of patterns, so that
// a program that makes up patterns cannot fill the memory; the one not asked for longest goes first. Expressions are
// shared: one that is thrown out lives on with its users.
//
// COST      Finding: a hash of the pattern and a lock that is held for some dozen instructions. Building happens outside
//           the lock: two threads may build one pattern at the same moment, and the first one stays.
// INVARIANT Every key is the text of the entry that it finds.
#include <XelbrinCore/XCRegEx.h>

#include <list>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

namespace {

class ExpressionCache {
public:
    std::optional<XCRegEx> Find(std::wstring_view pattern)
    {
        std::lock_guard const lock(m_lock);
        auto const known = m_places.find(pattern);
        if (known == m_places.end()) return {};
        m_entries.splice(m_entries.begin(), m_entries, known->second);
        return known->second->expression;
    }
    void Keep(XCString const& pattern, XCRegEx const& expression)
    {
        std::list<Entry> made; // both lists release what is left in them after the lock is given back
        std::list<Entry> old;
        made.push_back({pattern, expression});
        std::lock_guard const lock(m_lock);
        if (!m_places.try_emplace(made.front().pattern.View(), made.begin()).second) return;
        m_entries.splice(m_entries.begin(), made);
        if (m_entries.size() <= XCRegEx::kKeptPatterns) return;
        m_places.erase(m_entries.back().pattern.View());
        old.splice(old.begin(), m_entries, std::prev(m_entries.end()));
    }

private:
    struct Entry {
        XCString pattern; ///< its text is the key: the block is shared and never moves
        XCRegEx expression;
    };

    std::mutex m_lock;
    std::list<Entry> m_entries; ///< the one asked for last first
    std::unordered_map<std::wstring_view, std::list<Entry>::iterator> m_places;
};

ExpressionCache& Cache()
{
    static auto* const cache = new ExpressionCache; // never destroyed: patterns are matched until the process ends
    return *cache;
}

} // namespace

XCRegEx XCRegEx::FromPattern(XCString const& pattern)
{
    if (std::optional<XCRegEx> known = Cache().Find(pattern.View())) return *std::move(known);
    XCRegEx expression(XCStringRegExParser(pattern).Parse(), false);
    if (pattern.Length() <= kKeptLength) Cache().Keep(pattern, expression);
    return expression;
}
