// Colour grade model: keys, sorting, the evaluation table and editing.
#include "vxColourGrade.h"

#include <cmath>
#include <cstring>

namespace {

static_assert(sizeof(VxColourKey) * VxColourGrade::kMaxKeys <= 65535,
              "a key's byte offset in the slots fits the bucket table's entries");

float clampUnit(float p) {
    return p > 0.0f ? (p < 1.0f ? p : 1.0f) : 0.0f;
}

} // namespace

VxColourGrade::VxColourGrade() {
    onConstruction();
}

VxColourGrade::VxColourGrade(const VxColourGrade& other) {
    *this = other;
}

VxColourGrade& VxColourGrade::operator=(const VxColourGrade& other) {
    if (this == &other)
        return *this;
    count = other.count;
    smooth = other.smooth;
    maxSlot = other.maxSlot;
    capacity = other.capacity;
    flags = other.flags;
    std::memcpy(keys, other.keys, sizeof keys);
    std::memcpy(order, other.order, sizeof order);
    // The table points into the keys, so it is rebased onto this grade's own.
    for (int b = 0; b < kTableSize; ++b)
        lookup[b] = keys + (other.lookup[b] - other.keys);
    preparedCount_ = other.preparedCount_;
    preparedFlags_ = other.preparedFlags_;
    std::memcpy(placed_, other.placed_, sizeof placed_);
    std::memcpy(placePos_, other.placePos_, sizeof placePos_);
    for (int i = 0; i <= kMaxKeys; ++i)
        placeKey_[i] = keys + (other.placeKey_[i] - other.keys);
    std::memcpy(startPlace_, other.startPlace_, sizeof startPlace_);
    std::memcpy(startKey_, other.startKey_, sizeof startKey_);
    std::memcpy(enabled_, other.enabled_, sizeof enabled_);
    tagBatch_ = other.tagBatch_;
    return *this;
}

void VxColourGrade::onConstruction() {
    smooth = 0;
    flags = 0;
    tagBatch_ = 0;
    std::memset(enabled_, 0, sizeof enabled_);
    reset();
}

void VxColourGrade::reset() {
    const VxColourKey freeKey{VxRGBAf(), VxRGBAf(), 0.0f, 0.0f, 0.0f, -1};
    for (VxColourKey& k : keys)
        k = freeKey;
    keys[0].colour = VxRGBAf(0, 0, 0, 1);
    keys[0].position = 0.0f;
    keys[0].orderIndex = 0;
    keys[1].colour = VxRGBAf(1, 1, 1, 1);
    keys[1].position = 1.0f;
    keys[1].orderIndex = 1;
    for (int i = 0; i < kMaxKeys; ++i)
        order[i] = i < 2 ? i : 0;
    count = 2;
    maxSlot = 1;
    capacity = kMaxKeys;
    std::memset(placed_, 0, sizeof placed_);
    flags = (flags & kCyclic) | kStale;
    prepare();
}

bool VxColourGrade::goodColour(const VxRGBAf& c) {
    for (int i = 0; i < 4; ++i) {
        // Also false for NaN.
        if (!(std::fabs(c[i]) <= kMaxChannel))
            return false;
    }
    return true;
}

const VxColourKey& VxColourGrade::key(int slot) const {
    return keys[slot < 0 ? 0 : (slot >= kMaxKeys ? kMaxKeys - 1 : slot)];
}

int VxColourGrade::slotAt(int place) const {
    const int n = count < 1 ? 1 : (count > kMaxKeys ? kMaxKeys : count);
    return order[place < 0 ? 0 : (place >= n ? n - 1 : place)];
}

float VxColourGrade::preparePassing(float t) {
    prepare();
    return t;
}

// The evaluation lives here rather than in the header so that it is always
// compiled with the library's own floating-point settings (no contraction into
// fused multiply-adds): a plug-in built with -march=haswell or -ffp-contract=fast
// gets the same bits as one built with plain flags.
VxRGBAf VxColourGrade::colourPrepared(float t) const {
    t = VxClamp01(t); // NaN becomes 0
    // The first place whose key lies beyond t, walked to from the first
    // one beyond the bucket's start; placePos_[count] is +infinity. The
    // bucket also names the key for that first place directly, so that
    // in the usual case (no key between the bucket's start and t) the key
    // is one load away and the walk's test is only a check on the side.
    const int b = static_cast<int>(t * 1023.0f);
    int i = startPlace_[b];
    const VxColourKey* key =
        reinterpret_cast<const VxColourKey*>(reinterpret_cast<const char*>(keys) + startKey_[b]);
    if (placePos_[i] <= t) {
        do
            ++i;
        while (placePos_[i] <= t);
        key = placeKey_[i];
    }
    const float s = (t - key->position) * key->invSpan;
    const float w = smooth ? s * s * (3.0f - 2.0f * s) : s;
    return VxBlend(key->colour, key->delta, w);
}

VxRGBAf VxColourGrade::colour(float t) {
    // flags equal to those left by the last prepare(): nothing is dirty
    // and the cyclic mode is the one the deltas were made for.
    if (flags != preparedFlags_ || count != preparedCount_)
        t = preparePassing(t);
    return colourPrepared(t);
}

void VxColourGrade::prepare() {
    // Nothing below may run off the arrays, whatever a derived class left in count.
    if (count < 0)
        count = 0;
    if (count > kMaxKeys)
        count = kMaxKeys;
    flags |= kIndexDirty | kOrderDirty;
    SortColours();
    CleanIndexTable();
    resetAllDeltas();
    flags &= ~kStale;
    preparedCount_ = count;
    preparedFlags_ = flags;
}

void VxColourGrade::SortColours() {
    if ((flags & kOrderDirty) == 0)
        return;
    // Insertion sort: at most 128 keys, usually already in order, and stable,
    // so that sorting a sorted order changes nothing (which is what lets
    // colour() skip the sort when no key moved).
    for (int i = 1; i < count; ++i) {
        const int slot = order[i];
        const float p = keys[slot].position;
        int j = i;
        while (j > 0 && p < keys[order[j - 1]].position) {
            order[j] = order[j - 1];
            --j;
        }
        order[j] = slot;
    }
    maxSlot = -1;
    for (int i = 0; i < count; ++i) {
        keys[order[i]].orderIndex = i;
        if (order[i] > maxSlot)
            maxSlot = order[i];
    }
    flags &= ~kOrderDirty;
    flags |= kIndexDirty;
}

void VxColourGrade::CleanIndexTable() {
    // The key the evaluation uses when place i is the first beyond t: the one
    // before it; slot 0 before the first key; the one before the last beyond
    // the last key.
    const int n = count;
    for (int i = 0; i <= kMaxKeys; ++i) {
        placePos_[i] = i < n ? keys[order[i]].position : HUGE_VALF;
        const int slot = i == 0 ? 0 : (i < n ? order[i - 1] : order[n >= 2 ? n - 2 : 0]);
        placeKey_[i] = &keys[slot];
    }
    // For every t in bucket b = (int)(t * 1023), b / 1023.0f <= t (checked for
    // every float in 0..1), so the place found for the bucket's start is never
    // past the one t needs and the evaluation only walks forward from it.
    int j = -1; // the last place at or before the bucket's start
    for (int b = 0; b < kTableSize; ++b) {
        const float lo = static_cast<float>(b) / 1023.0f;
        while (j + 1 < n && keys[order[j + 1]].position <= lo)
            ++j;
        lookup[b] = &keys[n > 0 ? order[j < 0 ? 0 : j] : 0];
        startPlace_[b] = static_cast<unsigned char>(j + 1);
        startKey_[b] = static_cast<unsigned short>(reinterpret_cast<const char*>(placeKey_[j + 1]) -
                                                   reinterpret_cast<const char*>(keys));
    }
    flags &= ~kIndexDirty;
}

void VxColourGrade::resetDeltas(int slot) {
    if (slot < 0 || slot >= kMaxKeys)
        return;
    SortColours();
    VxColourKey& k = keys[slot];
    const int i = k.orderIndex;
    if (i < 0 || i >= count)
        return;
    if (i + 1 >= count) {
        k.delta = VxRGBAf();
        k.span = 0.0f;
        k.invSpan = 0.0f;
        return;
    }
    const VxColourKey& next = keys[order[i + 1]];
    const bool wraps = (flags & kCyclic) != 0 && i + 2 == count;
    k.delta = (wraps ? keys[order[0]].colour : next.colour) - k.colour;
    k.span = next.position - k.position;
    k.invSpan = VxInvert(k.span);
}

void VxColourGrade::resetAllDeltas() {
    SortColours();
    for (int i = 0; i < count; ++i)
        resetDeltas(order[i]);
    flags &= ~kDeltasDirty;
}

void VxColourGrade::cyclic(int on) {
    if (on)
        flags |= kCyclic;
    else
        flags &= ~kCyclic;
    flags |= kDeltasDirty;
}

int VxColourGrade::findFreeColour() const {
    const int n = capacity < kMaxKeys ? capacity : kMaxKeys;
    for (int s = 0; s < n; ++s) {
        if (keys[s].orderIndex == -1)
            return s;
    }
    return -1;
}

void VxColourGrade::freeSlot(int slot) {
    VxColourKey& k = keys[slot];
    k.orderIndex = -1;
    k.delta = VxRGBAf();
    k.span = 0.0f;
    k.invSpan = 0.0f;
}

int VxColourGrade::insertKey(const VxRGBAf& c, float position) {
    if (!goodColour(c) || std::isnan(position) || count >= kMaxKeys)
        return -1;
    const int slot = findFreeColour();
    if (slot < 0)
        return -1;
    VxColourKey& k = keys[slot];
    k.colour = c;
    k.position = clampUnit(position);
    k.delta = VxRGBAf();
    k.span = 0.0f;
    k.invSpan = 0.0f;
    k.orderIndex = count;
    order[count++] = slot;
    touch();
    return slot;
}

int VxColourGrade::addColour(VxRGBAf c, float position) {
    if (!goodColour(c) || std::isnan(position))
        return -1;
    const int clash = clashColour(clampUnit(position));
    if (clash >= 0) {
        keys[clash].colour = c;
        touch();
        return clash;
    }
    return insertKey(c, position);
}

int VxColourGrade::deleteColour(int slot) {
    if (slot < 0 || slot >= kMaxKeys || keys[slot].orderIndex < 0 || count <= 2)
        return 0;
    SortColours();
    const int i = keys[slot].orderIndex;
    if (i <= 0 || i >= count - 1)
        return 0;
    for (int j = i; j + 1 < count; ++j) {
        order[j] = order[j + 1];
        keys[order[j]].orderIndex = j;
    }
    --count;
    freeSlot(slot);
    touch();
    return 1;
}

int VxColourGrade::moveColour(int slot, float position) {
    if (slot < 0 || slot >= kMaxKeys || keys[slot].orderIndex < 0 || std::isnan(position))
        return 0;
    SortColours();
    const int i = keys[slot].orderIndex;
    if (i <= 0 || i >= count - 1)
        return 0;
    // Between the neighbours, a clash distance from each: the key keeps its
    // place in the order, so a drag never jumps over another key.
    const float lo = keys[order[i - 1]].position + kClashDistance;
    const float hi = keys[order[i + 1]].position - kClashDistance;
    if (lo > hi)
        return 1;
    const float p = position < lo ? lo : (position > hi ? hi : position);
    if (p != keys[slot].position) {
        keys[slot].position = p;
        touch();
    }
    return 1;
}

int VxColourGrade::changeColour(int slot, VxRGBAf c) {
    if (slot < 0 || slot >= kMaxKeys || keys[slot].orderIndex < 0 || !goodColour(c))
        return 0;
    keys[slot].colour = c;
    touch();
    return 1;
}

int VxColourGrade::changeColour(int slot, VxRGBAf c, float position) {
    if (!changeColour(slot, c))
        return 0;
    moveColour(slot, position);
    return 1;
}

int VxColourGrade::findColour(float position, float tolerance) const {
    if (std::isnan(position) || !(tolerance >= 0.0f))
        return -1;
    int best = -1;
    float bestDistance = 0.0f;
    int bestPlace = 0;
    for (int i = 0; i < count; ++i) {
        const int slot = order[i];
        const float d = std::fabs(keys[slot].position - position);
        const int place = keys[slot].orderIndex;
        if (d <= tolerance &&
            (best < 0 || d < bestDistance || (d == bestDistance && place < bestPlace))) {
            best = slot;
            bestDistance = d;
            bestPlace = place;
        }
    }
    return best;
}

int VxColourGrade::clashColour(float position) const {
    if (std::isnan(position))
        return -1;
    for (int i = 0; i < count; ++i) {
        if (std::fabs(keys[order[i]].position - position) < kClashDistance)
            return order[i];
    }
    return -1;
}

int VxColourGrade::cleanClashes() {
    SortColours();
    if (count <= 2)
        return 0;
    const float last = keys[order[count - 1]].position;
    float kept = keys[order[0]].position;
    int removed = 0;
    // Walk the interior keys in order, dropping any too close to the last key
    // kept before it or to the end key after all of them.
    int w = 1;
    for (int i = 1; i < count - 1; ++i) {
        const int slot = order[i];
        const float p = keys[slot].position;
        if (p - kept < kClashDistance || last - p < kClashDistance) {
            freeSlot(slot);
            ++removed;
            continue;
        }
        kept = p;
        order[w] = slot;
        keys[slot].orderIndex = w;
        ++w;
    }
    order[w] = order[count - 1];
    keys[order[w]].orderIndex = w;
    count = w + 1;
    if (removed)
        touch();
    return removed;
}

void VxColourGrade::startTagEnable() {
    std::memset(enabled_, 0, sizeof enabled_);
    tagBatch_ = 1;
}

int VxColourGrade::enableTag(int slot) {
    if (!tagBatch_ || slot < 0 || slot >= kMaxKeys)
        return 0;
    enabled_[slot] = 1;
    return 1;
}

int VxColourGrade::endTagEnable() {
    if (!tagBatch_)
        return 0;
    tagBatch_ = 0;
    int named = 0;
    for (unsigned char e : enabled_)
        named += e;
    if (named < 2)
        return 0;
    const VxRGBAf middle = colour(0.5f);
    int n = 0;
    for (int slot = 0; slot < kMaxKeys; ++slot) {
        VxColourKey& k = keys[slot];
        if (!enabled_[slot]) {
            if (k.orderIndex >= 0)
                freeSlot(slot);
            continue;
        }
        if (k.orderIndex < 0) {
            k.colour = middle;
            k.position = 0.5f;
        }
        order[n] = slot;
        k.orderIndex = n++;
    }
    count = n;
    touch();
    prepare();
    return 1;
}

void VxColourGrade::startChanges() {
    // Edits are applied lazily anyway; the batch only defers the refresh to
    // endChanges so that a host setting many tags in a row sorts once.
}

int VxColourGrade::changeTag(int slot, VxRGBAf c, float position) {
    if (slot < 0 || slot >= kMaxKeys || keys[slot].orderIndex < 0 || !goodColour(c) ||
        std::isnan(position))
        return 0;
    keys[slot].colour = c;
    keys[slot].position = clampUnit(position);
    touch();
    return 1;
}

void VxColourGrade::endChanges() {
    prepare();
}

int VxColourGrade::placeTagged(int slot, const VxRGBAf& c, float position) {
    if (slot < 0 || slot >= kMaxKeys || !goodColour(c) || std::isnan(position) || placed_[slot])
        return 0;
    VxColourKey& k = keys[slot];
    if (k.orderIndex < 0) {
        // A slot not in use takes the place of the first key left from
        // before this decoding (after a reset, the two initial keys), or a
        // new place. Keys set earlier in the decoding are never displaced,
        // however sorting has moved them since.
        int place = -1;
        for (int i = 0; i < count && place < 0; ++i) {
            if (!placed_[order[i]])
                place = i;
        }
        if (place >= 0) {
            freeSlot(order[place]);
        } else {
            if (count >= kMaxKeys)
                return 0;
            place = count++;
        }
        order[place] = slot;
        k.orderIndex = place;
    }
    placed_[slot] = 1;
    k.colour = c;
    k.position = clampUnit(position);
    touch();
    return 1;
}
