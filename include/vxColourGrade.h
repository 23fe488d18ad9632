// vxColourGrade.h - colour grades: a scalar 0..1 mapped to RGBA through keys.
//
// A VxColourGrade holds up to 128 colour keys (position, colour) and maps a
// position t in 0..1 to a VxRGBAf by blending between the two keys around t,
// linearly or with a smoothstep (`smooth`). Effects use it to colour an image
// by a scalar such as luminance; the colour-grade widget edits it. It saves in
// two forms:
//
//   text (write / read)          for grade files: a header line
//                                "NColours <n> hasAlpha tagged" and one line
//                                "<i> <position> <r> <g> <b> <a> <slot>" per key;
//   hexadecimal (the encoder)    for the host's fixed-size parameter strings:
//                                "V0.1" (tagged) or "V0.0" and 14- or
//                                12-character upper-case entries, split over as
//                                many buffers as it takes.
//
// Slots and order
//   Keys live in 128 slots; a slot number is the key's stable identity (its
//   "tag"): every operation below that takes an int key argument takes a slot,
//   and a slot survives re-sorting. order[i] is the slot of the i-th key by
//   position; keys[s].orderIndex is the place of slot s in order, -1 for a free
//   slot. A grade always has between 2 and 128 keys; positions are kept in
//   0..1 and channels finite (magnitude at most kMaxChannel).
//
// Editing (the choices an editing user expects)
//   - The first and last keys in position order are the ends of the grade: a
//     grade starts with them at 0 and 1, moveColour and deleteColour leave
//     them where they are (changeColour may still recolour them).
//   - Two keys closer than kClashDistance (1/1024, one step of the evaluation
//     table and about a pixel of a grade widget) clash. addColour at a clashing
//     position recolours the key already there instead of stacking a second
//     one; moveColour keeps a key at least that far from its neighbours, so it
//     never passes them; cleanClashes deletes interior keys that clash.
//   - Keys set from tags and saved files (changeTag, the readers and decoders)
//     take their positions as given, so they may clash; call cleanClashes() to
//     tidy such a grade for editing.
//
// Evaluation
//   colour(t): t clamped to 0..1 (NaN counts as 0); the key used is the last
//   one at or before t (the one before the last when t is at or beyond the last
//   key, slot 0 when t is before the first); s = (t - position) / span, w = s
//   or s * s * (3 - 2s) when smooth; result = colour + delta * w. In cyclic mode
//   the last key takes the first key's colour. The sort, the 1024-entry table
//   and the deltas are rebuilt only after a change, so repeated calls cost a
//   table lookup and a blend.
//
// Saved forms and quantisation
//   The text form writes numbers as "%g" (6 significant digits) with a '.'
//   decimal point, and reads them back the same way whatever the process's
//   locale. The hexadecimal form truncates positions to 1/65535 and channels
//   to 1/255 and clamps them into 0..1. Text reading is tagged (the only form
//   write produces): a key's position becomes the mean of its red, green and
//   blue, deliberately, the written position being for people only. The
//   untagged hexadecimal and the old text forms carry only the end keys'
//   colours: they assume the ends at 0 and 1. Cyclic and smooth are settings
//   of the grade, not saved with its keys: reset() and the readers keep them.
//
// Bad input
//   Files and strings come from users' saved projects: the readers and
//   decoders never read outside their buffers (the sized overloads take the
//   buffer size; the others need a terminating zero), bound every line to
//   1024 bytes, and skip impossible keys (a slot outside 0..127 or already
//   given, a missing or non-hexadecimal field, a NaN, infinite or larger than
//   kMaxChannel value); fields a form does not carry keep their defaults.
//
// Ownership and threading
//   A grade is a self-contained value (about 18 KB, no heap); copies are deep.
//   Editing and the first colour() after an edit write the grade; afterwards
//   colour() only reads it, so once prepare() (or any colour call) has run
//   after the last edit, any number of workers may call colour() at once.
#ifndef VX_COLOUR_GRADE_H
#define VX_COLOUR_GRADE_H

#include "vxColour.h"
#include "vxExport.h"

#include <cstddef>
#include <cstdio>

// One key of a grade.
struct VxColourKey {
    VxRGBAf colour; // the key's colour
    VxRGBAf delta;  // next key's colour minus this one (zero for the last key)
    float position; // 0..1
    float span;     // next key's position minus this one (zero for the last key)
    float invSpan;  // VxInvert(span)
    int orderIndex; // place in order, -1 for a free slot
};

class VX_API VxColourGrade {
public:
    static constexpr int kMaxKeys = 128;
    static constexpr int kTableSize = 1024;
    // Bits of flags.
    static constexpr int kCyclic = 1;
    static constexpr int kIndexDirty = 2;
    static constexpr int kOrderDirty = 4;
    static constexpr int kDeltasDirty = 8;
    static constexpr int kStale = kIndexDirty | kOrderDirty | kDeltasDirty;
    static constexpr float kClashDistance = 1.0f / 1024.0f;
    static constexpr float kMaxChannel = 1.0e6f;

    // Two keys: slot 0 at 0, opaque black; slot 1 at 1, opaque white; linear.
    VxColourGrade();
    VxColourGrade(const VxColourGrade& other);
    VxColourGrade& operator=(const VxColourGrade& other);

    // The colour at t (see the file comment). Brings the tables up to date
    // first when a key changed since the last call. Evaluated inside the
    // library, so the bits do not depend on the flags a caller is built with.
    VxRGBAf colour(float t);
    // Sorts, rebuilds the table and every delta: what colour() does after an edit.
    void prepare();

    // Adds a key; returns its slot, or -1 (position NaN, colour not finite or
    // beyond kMaxChannel, no free slot). The position is clamped to 0..1. A
    // key clashing with the position is recoloured instead and its slot returned.
    int addColour(VxRGBAf c, float position);
    // Deletes the key in a slot; 0 for a free or out-of-range slot, an end key,
    // or a grade of two keys.
    int deleteColour(int slot);
    // Moves a key, clamped to stay at least kClashDistance from the keys on
    // either side (when there is no such room it stays put). 0 for a free
    // slot, an end key or a NaN position.
    int moveColour(int slot, float position);
    // Recolours a key; 0 for a free slot or an impossible colour.
    int changeColour(int slot, VxRGBAf c);
    // Recolours and moves a key (as moveColour); 0 when the slot is free or
    // the colour impossible, and then nothing changes.
    int changeColour(int slot, VxRGBAf c, float position);
    // The slot of the key nearest the position within tolerance (distance <=
    // tolerance; on a tie the earlier in position order), or -1.
    int findColour(float position, float tolerance) const;
    // The slot of a key closer than kClashDistance to the position, or -1.
    int clashColour(float position) const;
    // Deletes interior keys closer than kClashDistance to the key before them
    // or to the last key; returns how many went.
    int cleanClashes();
    // The first slot (below capacity) whose orderIndex is -1, or -1.
    int findFreeColour() const;
    // Cyclic mode on (non-zero) or off.
    void cyclic(int on);
    int isCyclic() const { return flags & kCyclic; }
    // The two initial keys again; smooth and cyclic are kept.
    void reset();
    // Delta and span of one key from the key at the next place in order (the
    // first key's colour when that is the last key of a cyclic grade); the
    // last key gets zero. Sorts first when the order is dirty.
    void resetDeltas(int slot);
    void resetAllDeltas();
    // Sorts order by position when order-dirty (ties keep their order), sets
    // every orderIndex and maxSlot.
    void SortColours();
    // Entry b of the table: the last key at or before position b / 1023 (the
    // first key when there is none). Needs a sorted order.
    void CleanIndexTable();

    // Tag batches. startTagEnable() opens a batch, enableTag(slot) names a
    // slot to keep (0 outside a batch or outside 0..127), endTagEnable() closes
    // it: keys in slots not named are deleted, named free slots get new keys at
    // position 0.5 with the colour the grade had there; it returns 0 and
    // changes nothing when fewer than two slots were named.
    void startTagEnable();
    int enableTag(int slot);
    int endTagEnable();
    // Change batches: changeTag sets the colour and position (clamped to 0..1,
    // no clash rule) of a key in use, returning 0 for a free slot or an
    // impossible value. The grade is brought up to date once, at endChanges()
    // (or by the next colour call).
    void startChanges();
    int changeTag(int slot, VxRGBAf c, float position);
    void endChanges();

    // Writes the text form; returns the number of keys written, or -1 for a
    // null file or a write error.
    int write(FILE* f);
    // reset(), then reads the text form (any of its three versions); returns
    // the number of keys read. A null file reads nothing.
    int read(FILE* f);

    // Read-only views for callers: the key in a slot (clamped into 0..127) and
    // the slot at a place of order (clamped into 0..count-1).
    const VxColourKey& key(int slot) const;
    int slotAt(int place) const;

    int count;    // keys in use
    int smooth;   // non-zero: smoothstep blending
    int maxSlot;  // highest slot in use
    int capacity; // slots searched for a free one
    int flags;    // kCyclic | kIndexDirty | kOrderDirty | kDeltasDirty

protected:
    // Derived classes that write these directly set kStale in flags after.
    VxColourKey keys[kMaxKeys];
    int order[kMaxKeys];
    VxColourKey* lookup[kTableSize];

    void onConstruction();

    // The colour at t from the current tables (no refresh).
    VxRGBAf colourPrepared(float t) const;

private:
    friend class VxColourGradeEncoder;
    static bool goodColour(const VxRGBAf& c);
    // The key placement the tagged readers share (see placed_).
    int placeTagged(int slot, const VxRGBAf& c, float position);
    // Appends a key without the clash rule (the untagged decoder).
    int insertKey(const VxRGBAf& c, float position);
    void freeSlot(int slot);
    void touch() { flags |= kStale; }
    // prepare(), handing t back: colour()'s rare path, kept out of its body so
    // that the usual path keeps t in a register instead of saving it around a
    // call.
    float preparePassing(float t);

    int preparedCount_;
    int preparedFlags_;
    // The evaluation's own view of the sorted keys, rebuilt with the table:
    // positions by place (+infinity after the last), the key used when place
    // i is the first beyond t, and for each bucket the first place beyond
    // its start and that place's key (as a byte offset into keys).
    float placePos_[kMaxKeys + 1];
    const VxColourKey* placeKey_[kMaxKeys + 1];
    unsigned char startPlace_[kTableSize];
    unsigned short startKey_[kTableSize];
    unsigned char enabled_[kMaxKeys];
    // Slots set so far by the tagged reading or decoding under way (cleared
    // by reset() and by decoding from entry 0): a slot given twice is
    // skipped, and the keys left from before are the ones new slots replace.
    unsigned char placed_[kMaxKeys];
    int tagBatch_;
};

// The hexadecimal parameter-string form of a grade. Entries are
// "%04X%02X%02X%02X%02X" (position, red, green, blue, alpha) or, tagged, the
// same and "%02X" of the slot; a string is a 4-character header ("V0.1"
// tagged, "V0.0" otherwise) and whole entries, in position order, the last
// carrying the first key's colour when the grade is cyclic.
//
// encode(buf, size, start) writes the keys from place start on while an entry
// and the terminating zero fit; it returns the number written, or 0 (and an
// empty string when size > 0) when size <= 4 + entry length or start is
// outside 0..count-1. encode(bufs, size, nbufs) fills the buffers in turn
// (each with its own header); buffers left over become empty strings.
//
// decode(s, start) reads one string: leading white space skipped; "V0.0",
// "V0.1" or, without a leading "V", the oldest form of 10-character entries
// "%04x%02x%02x%02x" without alpha (opaque); any other "V" header reads
// nothing. Entries are counted from start: start 0 begins a decoding, a
// larger start continues the one before (as decode(strs, n) does string
// after string). Tagged entries set their slot's colour and position; a slot
// not yet in use takes the place of a key left from before the decoding (the
// two initial keys of a reset grade) or a new place, so a whole decoding
// leaves exactly its slots, in position order. Untagged, the entry counted 0
// recolours the first key, an entry at position FFFF recolours the last and
// the others are added (without the clash rule). Returns the number of
// entries taken; a truncated or bad entry (non-hexadecimal digit, slot above
// 127, a slot given twice in one decoding) is skipped. decode(strs, n) resets
// the grade and decodes strings in turn until one yields nothing. The overloads with a size read at
// most size bytes of each buffer (none when size is negative), for buffers that may lack a
// terminating zero.
//
// encodeTags writes "V0.1" and the slot of every key in use as "%02X", slots
// scanned from 0 on whatever start is (start only counts the keys already
// written, so a second buffer repeats the first slots: the saved form of older
// plug-ins, kept on purpose); 0 when size < 7. decodeTags(s, start) enables
// the slots of one string in a tag batch (opened when start is 0, continued
// otherwise) and closes the batch; decodeTags(strs, n) opens one batch for all
// strings, reads them until one yields nothing and closes it. Both return the
// number of slots read; strings without the "V0.1" header yield nothing.
class VX_API VxColourGradeEncoder {
public:
    VxColourGradeEncoder() : tagged(0) {}
    explicit VxColourGradeEncoder(const VxColourGrade& g, int isTagged = 0)
        : grade(g), tagged(isTagged) {}

    int encode(unsigned char* buf, int size, int start);
    int encode(unsigned char** bufs, int size, int nbufs);
    int decode(const unsigned char* s, int start);
    int decode(const unsigned char* s, int start, int size);
    int decode(const unsigned char** strs, int n);
    int decode(const unsigned char** strs, int n, int size);

    int encodeTags(unsigned char* buf, int size, int start);
    int encodeTags(unsigned char** bufs, int size, int nbufs);
    int decodeTags(const unsigned char* s, int start);
    int decodeTags(const unsigned char* s, int start, int size);
    int decodeTags(const unsigned char** strs, int n);
    int decodeTags(const unsigned char** strs, int n, int size);

    VxColourGrade grade;
    int tagged;

private:
    int decodeLimited(const unsigned char* s, int start, std::size_t limit);
    int decodeAll(const unsigned char** strs, int n, std::size_t limit);
    int decodeTagsLimited(const unsigned char* s, int start, std::size_t limit);
    int decodeTagsAll(const unsigned char** strs, int n, std::size_t limit);
    int readTags(const unsigned char* s, std::size_t limit);
};

#endif
