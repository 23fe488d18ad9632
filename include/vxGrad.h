// vxGrad.h - node gradients: VxGradDescription<T>.
//
// A gradient is a list of coloured nodes, each with a stable integer id,
// evaluated at a position 0..1, optionally cyclic (the end wraps back to the
// start colour) and optionally smooth (smoothstep blending instead of
// linear). Widgets address nodes by id, and an id survives every re-sorting,
// so the gradient suits interactive editing. The library builds
// VxGradDescription<VxRGBAf> (declared extern below); any T with T + T, T - T
// and T * float works from this header.
//
// Nodes
//   Ids 0 and 1 are the two end nodes and always exist: node 0 is the start
//   and node 1 the end of the gradient whatever positions they store. A new
//   gradient holds just them: node 0 at 0 and node 1 at 1, opaque black and
//   opaque white for colour types (T() for other types), or the colours given
//   to the constructor. Other ids are non-negative and unique; findFreeID()
//   proposes one. At most maxNodes nodes (256 unless the constructor says
//   otherwise; inserting beyond it does nothing).
//
// Storage
//   `nodes` holds count records sorted by id (so ids 0 and 1 are at indices 0
//   and 1) in an owned array of capacity records; `byPosition` points at them
//   in position order (id 0 first, id 1 last, then by position and id) and is
//   re-sorted before use whenever flags has kOrderDirty. evaluate works from
//   its own tables (positions, one record per interval with its colours and
//   width, and a 1024-entry index of 0..1), rebuilt with every sort
//   and whenever flags differ from those they were built for. Every call here
//   sets kOrderDirty for its own changes; code that writes a node's position
//   or colour directly sets it too. NaN positions are refused (they would
//   leave nothing to sort by). maxNodes and smooth may be set directly; the
//   other members are for reading.
//
// Evaluation
//   evaluate(t): t wrapped into 0..1 (cyclic) or clamped (NaN counts as 0);
//   findInterval(t) gives the place i in position order; the colour blends
//   from node i to node i + 1 by s = (t - start) / (end - start), where the
//   start node counts as 0 and the end node as 1; in cyclic mode the end
//   node's colour is replaced by the start node's.
//
// findNode(position, tolerance) finds the node within tolerance of a position
// (the end nodes counting as 0 and 1); interior nodes win over the ends, and
// among interior nodes within tolerance the one with the highest id wins, not
// the nearest, on purpose (the most recently added node is the one a user
// grabs). In cyclic mode a result of 1 comes back as 0; -1 when none is near.
//
// Ownership and threading: the gradient owns its arrays; copies are deep.
// evaluate and findInterval sort when the order is dirty, so call one of them
// (or sortPositions) after the last edit before evaluating from several
// workers at once; after that they only read.
#ifndef VX_GRAD_H
#define VX_GRAD_H

#include "vxColour.h"
#include "vxExport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

template <class T>
struct VxGradNode {
    T colour;
    float position;
    int id;
};

// The colours of a new gradient's end nodes.
template <class T>
struct VxGradEndColours {
    static T start() { return T(); }
    static T end() { return T(); }
};
template <class B>
struct VxGradEndColours<VxRGBACol<B>> {
    static VxRGBACol<B> start() { return VxRGBACol<B>(B::kMin, B::kMin, B::kMin, B::kOpaque); }
    static VxRGBACol<B> end() { return VxRGBACol<B>(B::kMax, B::kMax, B::kMax, B::kOpaque); }
};

template <class T>
class VX_API VxGradDescription {
public:
    using Node = VxGradNode<T>;
    static constexpr int kCyclic = 1;
    static constexpr int kOrderDirty = 2;
    static constexpr int kDefaultMaxNodes = 256;

    VxGradDescription();
    VxGradDescription(const T& startColour, const T& endColour, int maximum = kDefaultMaxNodes);
    VxGradDescription(const VxGradDescription& other);
    VxGradDescription& operator=(const VxGradDescription& other);
    ~VxGradDescription();

    // Index of an id in nodes, or -1.
    int mapIDtoIndex(int id) const;
    // An id no node has.
    int findFreeID() const;
    // Adds a node (an existing id goes to modifyNode); the position is stored
    // as given. Returns 1 when a node was added or modified, 0 when refused (a
    // negative id, a NaN position, count at maxNodes).
    int insertNode(int id, const T& colour, float position);
    // Removes a node; 0 for the end nodes and absent ids.
    int removeNode(int id);
    // Sets a node's colour, and its position (as given) for ids 2 and above;
    // a NaN position is ignored. 0 for an absent id.
    int modifyNode(int id, const T& colour, float position);
    // Sets the position of an id 2 or above, clamped to 0..1; 0 for the end
    // nodes, absent ids and NaN.
    int positionByID(int id, float position);
    // Nearest-by-rule node id within tolerance of a position (see above), or -1.
    int findNode(float position, float tolerance) const;
    void cyclic(int on) { flags = on ? (flags | kCyclic) : (flags & ~kCyclic); }
    int isCyclic() const { return flags & kCyclic; }
    // Re-sorts byPosition when the order is dirty, and rebuilds the
    // evaluation's table from it.
    void sortPositions() {
        if (flags != tableFlags_)
            resort();
    }
    // The node with an id, or null.
    const Node* nodeByID(int id) const {
        const int i = mapIDtoIndex(id);
        return i < 0 ? nullptr : nodes + i;
    }
    // Node a before node b: id 0 first, id 1 last, then position, then id.
    static bool comparePositions(const Node* a, const Node* b) {
        if (a->id == b->id)
            return false;
        if (a->id == 0 || b->id == 1)
            return true;
        if (b->id == 0 || a->id == 1)
            return false;
        if (a->position != b->position)
            return a->position < b->position;
        return a->id < b->id;
    }

    // The place in position order whose interval holds t (see the file comment).
    int findInterval(float t) {
        sortPositions();
        if (t < 0.0f)
            return 0;
        if (t > 1.0f)
            return (flags & kCyclic) ? 0 : count - 1;
        int lo = 0, hi = count - 1;
        if (hi <= 1)
            return 0;
        while (lo + 1 < hi) {
            const int mid = (lo + hi) / 2;
            if (byPosition[mid]->position > t)
                hi = mid;
            else
                lo = mid;
        }
        return lo;
    }

    // Defined outside the class, so not inline: for VxRGBAf it is the
    // library's own instance, compiled with the library's floating-point
    // settings, and its bits do not depend on the flags a caller is built
    // with. Other T are evaluated in the caller's code.
    T evaluate(float t);

    int maxNodes;            // insertion refused at this count
    int count;               // nodes in use
    int capacity;            // records allocated
    mutable int cachedID;    // last id looked up, -1 when invalid
    mutable int cachedIndex; // its index, -1 when invalid
    int smooth;              // non-zero: smoothstep blending
    int flags;               // kCyclic | kOrderDirty
    Node* nodes;             // count records sorted by id, owned
    Node** byPosition;       // count pointers into nodes, owned

private:
    // One interval of position order, as evaluate blends over it.
    struct Span {
        T c0;        // colour at the start
        T delta;     // colour at the end minus c0
        float start; // position of the start (0 for the start node)
        float next;  // where the walk moves on: the end, +infinity for the last span
        float width; // end - start; +infinity for an empty interval (see evaluateSorted)
        float pad;   // keeps records 48 bytes, so the colours stay 16-byte aligned
    };

    // evaluate once the tables are up to date.
    T evaluateSorted(float t) const {
        if (flags & kCyclic)
            t = t - std::floor(t);
        // Clamped into 0..1; NaN (and the NaN an infinite t wraps to)
        // becomes 0.
        t = VxClamp01(t);
        const Span& span = spanOf(t);
        // s = (t - start) / (end - start), the division itself: one divss,
        // whose throughput is no bottleneck here. The span found has
        // start <= t, so an empty one gives +0 / infinity = +0, the 0 that
        // an empty interval takes, without a branch.
        const float s = (t - span.start) / span.width;
        const float w = smooth ? s * s * (3.0f - 2.0f * s) : s;
        return VxBlend(span.c0, span.delta, w);
    }
    // The span findInterval gives for a t in 0..1 of a sorted gradient. With
    // the interior positions sorted, the bisection's answer is the number of
    // interior nodes at or before t; the table gives the span for the start
    // of t's bucket (b / 1023.0f <= t for every t with (int)(t * 1023) = b),
    // and a short walk the rest.
    const Span& spanOf(float t) const {
        // The table holds byte offsets into spans_, which saves scaling an
        // index on every call and survives copying. Each span holds where the
        // next one starts (+infinity for the last), so the walk is one
        // comparison on the record it reads anyway.
        const Span* sp = reinterpret_cast<const Span*>(
            reinterpret_cast<const char*>(spans_.data()) +
            bucket_[static_cast<size_t>(static_cast<int>(t * 1023.0f))]);
        while (sp->next <= t)
            ++sp;
        return *sp;
    }
    void rebuildTable() {
        // The ends count as 0 and 1; the last span's end colour is the start
        // colour when cyclic.
        sorted_.resize(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i)
            sorted_[static_cast<size_t>(i)] = byPosition[i]->position;
        sorted_.front() = 0.0f;
        sorted_.back() = 1.0f;
        const int tableCyclic = flags & kCyclic;
        spans_.resize(static_cast<size_t>(count - 1));
        for (int i = 0; i + 1 < count; ++i) {
            Span& sp = spans_[static_cast<size_t>(i)];
            const float start = sorted_[static_cast<size_t>(i)];
            const float width = sorted_[static_cast<size_t>(i) + 1] - start;
            const T& c1 =
                tableCyclic && i + 2 == count ? byPosition[0]->colour : byPosition[i + 1]->colour;
            sp.c0 = byPosition[i]->colour;
            sp.delta = c1 - sp.c0;
            sp.start = start;
            sp.next = i + 2 < count ? sorted_[static_cast<size_t>(i) + 1]
                                    : std::numeric_limits<float>::infinity();
            sp.width = width == 0.0f ? std::numeric_limits<float>::infinity() : width;
            sp.pad = 0.0f;
        }
        bucket_.resize(1024);
        int j = 0;
        for (int b = 0; b < 1024; ++b) {
            const float lo = static_cast<float>(b) / 1023.0f;
            while (j + 1 < count - 1 && sorted_[static_cast<size_t>(j) + 1] <= lo)
                ++j;
            bucket_[static_cast<size_t>(b)] = static_cast<std::ptrdiff_t>(j * sizeof(Span));
        }
    }
    // The sort itself, out of line: evaluate's loop keeps only the test.
    void resort();
    float resortPassing(float t);
    void rebuildPointers();
    void invalidateCache() const { cachedID = cachedIndex = -1; }

    // Positions in byPosition order (the ends as 0 and 1), the intervals and,
    // per 1/1023 bucket of 0..1, the byte offset of the interval its start falls in:
    // rebuilt with every sort, so that evaluate reads two small tables.
    std::vector<float> sorted_;
    std::vector<Span> spans_;
    std::vector<std::ptrdiff_t> bucket_;
    int tableFlags_ = -1; // flags the tables were built for (never dirty)
};

template <class T>
VxGradDescription<T>::VxGradDescription()
    : VxGradDescription(VxGradEndColours<T>::start(), VxGradEndColours<T>::end()) {}

template <class T>
VxGradDescription<T>::VxGradDescription(const T& startColour, const T& endColour, int maximum)
    : maxNodes(maximum < 2 ? 2 : maximum), count(2), capacity(2), cachedID(-1), cachedIndex(-1),
      smooth(0), flags(kOrderDirty), nodes(new Node[2]), byPosition(new Node*[2]) {
    nodes[0] = Node{startColour, 0.0f, 0};
    nodes[1] = Node{endColour, 1.0f, 1};
    rebuildPointers();
}

template <class T>
VxGradDescription<T>::VxGradDescription(const VxGradDescription& other)
    : maxNodes(other.maxNodes), count(other.count), capacity(other.capacity),
      cachedID(other.cachedID), cachedIndex(other.cachedIndex), smooth(other.smooth),
      flags(other.flags), nodes(new Node[other.capacity]), byPosition(new Node*[other.capacity]),
      sorted_(other.sorted_), spans_(other.spans_), bucket_(other.bucket_),
      tableFlags_(other.tableFlags_) {
    std::copy(other.nodes, other.nodes + count, nodes);
    // Same position order, pointing at this gradient's own records.
    for (int i = 0; i < count; ++i)
        byPosition[i] = nodes + (other.byPosition[i] - other.nodes);
}

template <class T>
VxGradDescription<T>& VxGradDescription<T>::operator=(const VxGradDescription& other) {
    if (this != &other) {
        VxGradDescription copy(other);
        std::swap(maxNodes, copy.maxNodes);
        std::swap(count, copy.count);
        std::swap(capacity, copy.capacity);
        std::swap(cachedID, copy.cachedID);
        std::swap(cachedIndex, copy.cachedIndex);
        std::swap(smooth, copy.smooth);
        std::swap(flags, copy.flags);
        std::swap(nodes, copy.nodes);
        std::swap(byPosition, copy.byPosition);
        std::swap(sorted_, copy.sorted_);
        std::swap(spans_, copy.spans_);
        std::swap(bucket_, copy.bucket_);
        std::swap(tableFlags_, copy.tableFlags_);
    }
    return *this;
}

template <class T>
VxGradDescription<T>::~VxGradDescription() {
    delete[] nodes;
    delete[] byPosition;
}

template <class T>
T VxGradDescription<T>::evaluate(float t) {
    // One comparison covers a dirty order and a change of cyclic mode. The
    // re-sort is kept apart and hands t back, so that the usual path keeps t
    // in a register instead of saving it around a call.
    if (flags != tableFlags_)
        t = resortPassing(t);
    return evaluateSorted(t);
}

template <class T>
void VxGradDescription<T>::resort() {
    std::sort(byPosition, byPosition + count, comparePositions);
    flags &= ~kOrderDirty;
    rebuildTable();
    tableFlags_ = flags;
}

template <class T>
float VxGradDescription<T>::resortPassing(float t) {
    resort();
    return t;
}

template <class T>
void VxGradDescription<T>::rebuildPointers() {
    for (int i = 0; i < count; ++i)
        byPosition[i] = nodes + i;
    flags |= kOrderDirty;
}

template <class T>
int VxGradDescription<T>::mapIDtoIndex(int id) const {
    if (id == 0 || id == 1)
        return id;
    if (id < 0)
        return -1;
    if (id == cachedID)
        return cachedIndex;
    int lo = 2, hi = count - 1, found = -1;
    while (lo <= hi) {
        const int mid = lo + (hi - lo) / 2;
        if (nodes[mid].id == id) {
            found = mid;
            break;
        }
        if (nodes[mid].id < id)
            lo = mid + 1;
        else
            hi = mid - 1;
    }
    cachedID = id;
    cachedIndex = found;
    return found;
}

template <class T>
int VxGradDescription<T>::findFreeID() const {
    if (nodes[count - 1].id == count - 1)
        return count;
    if (count <= 2)
        return count + 1;
    for (int i = 2; i < count; ++i) {
        if (nodes[i].id != nodes[i - 1].id + 1)
            return nodes[i - 1].id + 1;
    }
    return count + 1;
}

template <class T>
int VxGradDescription<T>::insertNode(int id, const T& colour, float position) {
    if (id < 0 || std::isnan(position))
        return 0;
    if (mapIDtoIndex(id) >= 0)
        return modifyNode(id, colour, position);
    if (count >= maxNodes)
        return 0;
    if (count == capacity) {
        const int grown = count + std::max(1, count / 2);
        Node* more = new Node[grown];
        std::copy(nodes, nodes + count, more);
        delete[] nodes;
        nodes = more;
        delete[] byPosition;
        byPosition = new Node*[grown];
        capacity = grown;
    }
    // Appended, then moved down to its place by id.
    int i = count++;
    nodes[i] = Node{colour, position, id};
    while (i > 2 && nodes[i - 1].id > id) {
        std::swap(nodes[i - 1], nodes[i]);
        --i;
    }
    invalidateCache();
    rebuildPointers();
    return 1;
}

template <class T>
int VxGradDescription<T>::removeNode(int id) {
    const int index = mapIDtoIndex(id);
    if (index < 2)
        return 0;
    if (count - 1 > capacity / 2) {
        std::copy(nodes + index + 1, nodes + count, nodes + index);
    } else {
        // Mostly empty: give the memory back, at exactly what is left.
        Node* fewer = new Node[count - 1];
        std::copy(nodes, nodes + index, fewer);
        std::copy(nodes + index + 1, nodes + count, fewer + index);
        delete[] nodes;
        nodes = fewer;
        delete[] byPosition;
        byPosition = new Node*[count - 1];
        capacity = count - 1;
    }
    --count;
    invalidateCache();
    rebuildPointers();
    return 1;
}

template <class T>
int VxGradDescription<T>::modifyNode(int id, const T& colour, float position) {
    const int index = mapIDtoIndex(id);
    if (index < 0)
        return 0;
    nodes[index].colour = colour;
    if (id >= 2 && !std::isnan(position))
        nodes[index].position = position;
    // Also for a colour alone: evaluate reads its own copy of the colours.
    flags |= kOrderDirty;
    return 1;
}

template <class T>
int VxGradDescription<T>::positionByID(int id, float position) {
    const int index = mapIDtoIndex(id);
    if (id < 2 || index < 0 || std::isnan(position))
        return 0;
    nodes[index].position = position > 0.0f ? (position < 1.0f ? position : 1.0f) : 0.0f;
    flags |= kOrderDirty;
    return 1;
}

template <class T>
int VxGradDescription<T>::findNode(float position, float tolerance) const {
    if (std::isnan(position))
        return -1;
    const float p = position > 0.0f ? (position < 1.0f ? position : 1.0f) : 0.0f;
    int taken = -1;
    float takenDistance = 0.0f;
    for (int i = 0; i < count; ++i) {
        const Node& n = nodes[i];
        const float at = n.id == 0 ? 0.0f : (n.id == 1 ? 1.0f : n.position);
        const float d = std::fabs(at - p);
        if (!(d < tolerance))
            continue;
        // Visited by id, so the last interior node in reach wins.
        if (taken < 0 || n.id >= 2 || taken < 2 || d < takenDistance) {
            taken = n.id;
            takenDistance = d;
        }
    }
    if (taken == 1 && (flags & kCyclic))
        return 0;
    return taken;
}

extern template class VX_API VxGradDescription<VxRGBAf>;

#endif
