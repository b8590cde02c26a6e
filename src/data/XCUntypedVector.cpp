// Sorting merges runs of numbers of elements, bottom up, and moves the elements once at the end: comparisons may come
// from C code that contradicts itself, and a merge stays within its runs whatever a comparison answers. Nothing of the
// list changes before the last comparison is done.
//
// The cost is O(n log n) comparisons and two arrays of numbers; elements of any size move once. The merge takes the
// left one of two equal elements, so the order is stable. std::sort is no choice here: with a comparison that
// contradicts itself it may read outside of its range.
#include <XelbrinCore/XCUntypedVector.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

XCUntypedVector::XCUntypedVector(std::size_t elementSize, ReleaseFunction release) noexcept
    // Elements of size 0 would divide by it.
    : m_elementSize(std::max<std::size_t>(elementSize, 1)), m_release(release)
{
}

XCUntypedVector::XCUntypedVector(XCUntypedVector&& other) noexcept
    : m_bytes(std::move(other.m_bytes)), m_elementSize(other.m_elementSize), m_release(other.m_release)
{
}

XCUntypedVector& XCUntypedVector::operator=(XCUntypedVector&& other) noexcept
{
    if (this == &other) return *this;
    Clear();
    m_bytes.Swap(other.m_bytes);
    m_elementSize = other.m_elementSize;
    m_release = other.m_release;
    return *this;
}

void* XCUntypedVector::Get(std::size_t index) noexcept
{
    return index < GetSize() ? m_bytes.Data() + index * m_elementSize : nullptr;
}

void const* XCUntypedVector::Get(std::size_t index) const noexcept
{
    return index < GetSize() ? m_bytes.Data() + index * m_elementSize : nullptr;
}

void* XCUntypedVector::Add(void const* element)
{
    if (element)
        m_bytes.Append(XCBytes(element, m_elementSize));
    else
        // Without an element to copy: zeros, which the caller fills in where they stay.
        m_bytes.Resize(m_bytes.Size() + m_elementSize);
    return Get(GetSize() - 1);
}

void* XCUntypedVector::Insert(std::size_t index, void const* element)
{
    std::size_t const size = GetSize();
    if (index >= size) return Add(element);
    Add(element);
    auto* const at = static_cast<std::uint8_t*>(Get(index));
    // Added at the end first, so that growing fails before anything has moved.
    std::rotate(at, m_bytes.Data() + size * m_elementSize, m_bytes.Data() + m_bytes.Size());
    return at;
}

bool XCUntypedVector::Set(std::size_t index, void const* element) noexcept
{
    void* const at = Get(index);
    // Releasing first would destroy what is about to be copied.
    if (!at || at == element) return at != nullptr;
    if (m_release) m_release(at);
    std::memcpy(at, element, m_elementSize);
    return true;
}

bool XCUntypedVector::Remove(std::size_t index) noexcept
{
    void* const at = Get(index);
    if (!at) return false;
    if (m_release) m_release(at);
    m_bytes.Erase(index * m_elementSize, m_elementSize);
    return true;
}

void XCUntypedVector::Clear() noexcept
{
    for (std::size_t i = 0; m_release && i < GetSize(); ++i) m_release(Get(i));
    m_bytes.Clear();
}

void XCUntypedVector::Reserve(std::size_t count)
{
    std::size_t const most = XCBuffer::kMaxSize / m_elementSize;
    m_bytes.Reserve(count > most ? XCBytes::npos : count * m_elementSize); // too many: the buffer says so
}

void XCUntypedVector::Sort(CompareFunction compare, void* context)
{
    std::size_t const size = GetSize();
    std::vector<std::size_t> order(size), merged(size);
    for (std::size_t i = 0; i < size; ++i) order[i] = i;
    auto const before = [&](std::size_t a, std::size_t b) { return compare(Get(a), Get(b), context) < 0; };
    for (std::size_t run = 1; run < size; run *= 2) {
        for (std::size_t begin = 0; begin < size; begin += 2 * run) {
            std::size_t left = begin, right = std::min(begin + run, size);
            std::size_t const middle = right, end = std::min(begin + 2 * run, size);
            for (std::size_t at = begin; at < end; ++at) {
                // The comparison is asked only while both runs have elements; whatever it says, each number is taken
                // once.
                bool const fromRight = left == middle || (right < end && before(order[right], order[left]));
                merged[at] = order[fromRight ? right++ : left++];
            }
        }
        order.swap(merged);
    }
    XCBuffer sorted;
    // The last step that can fail: from here on nothing allocates, and the old list stands until the swap.
    sorted.Reserve(m_bytes.Size());
    for (std::size_t const index : order) sorted.Append(XCBytes(Get(index), m_elementSize));
    m_bytes.Swap(sorted);
}

std::size_t XCUntypedVector::Find(void const* element, CompareFunction compare, void* context) const
{
    for (std::size_t i = 0; i < GetSize(); ++i)
        if (compare(Get(i), element, context) == 0) return i;
    return npos;
}

std::size_t XCUntypedVector::ForEach(VisitFunction visit, void* context)
{
    for (std::size_t i = 0; i < GetSize(); ++i)
        if (!visit(Get(i), context)) return i + 1;
    return GetSize();
}
