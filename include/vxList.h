// vxList.h - the library's doubly linked list, with its own iteration cursor.
//
// VxList<T> links VxListItem<T> nodes. The list owns its nodes: append takes
// over a node made with `new VxListItem<T>(value)`, and remove, removeAll and
// the destructor delete nodes. It does not own the values: for a list of
// pointers, whatever they point to is the caller's to free.
//
// The list carries one cursor, the node that nextItem() returns next. A walk
// looks like this:
//
//     list.cursor = list.head;
//     while (VxListItem<T>* node = list.nextItem())
//         use(node->value);
//
// The cursor rules, which callers rely on and which are kept on purpose:
// - remove() of the node under the cursor moves the cursor BACKWARDS, to the
//   node's prev, or to its next when it has no prev. During a walk the node
//   under the cursor is the one nextItem() has not returned yet, so the walk
//   goes on from that node's predecessor, which it returns a second time.
//   Removing the node nextItem() just returned is always safe: the cursor is
//   already past it.
// - removeAll() walks with the same cursor: it starts at the head and leaves
//   the cursor at the end, so a walk in progress on the list ends. The message
//   senders (vxMessage.h) use this to stop a delivery when a handler unwires
//   itself.
// - append() never moves the cursor; sort() relinks the nodes but leaves the
//   cursor on the same node.
//
// Guarded misuse: null nodes are ignored (append and remove return T()), a
// node that is already linked (its next or prev set, or it is this list's
// head) is refused by append, and remove ignores a node that is not in this
// list. A node that is the only node of another list looks like a fresh one
// and cannot be told apart; giving such a node to a second list is a caller
// error.
//
// Threading: none. The lists belong to the user-interface thread; there are
// no locks, and the one cursor is shared by everyone walking the list.
#ifndef VX_LIST_H
#define VX_LIST_H

#include <cstddef>

// One node. Fields in this order: value, next, prev.
template <typename T>
struct VxListItem {
    explicit VxListItem(T v = T()) : value(v), next(nullptr), prev(nullptr) {}

    T value;             // the item; for pointer lists not owned by the list
    VxListItem<T>* next; // toward the tail; null at the tail
    VxListItem<T>* prev; // toward the head; null at the head
};

// The list. Header-only: every member is inline, so each user instantiates
// what it needs and nothing has to be exported.
template <typename T>
class VxList {
public:
    VxList() : head(nullptr), tail(nullptr), cursor(nullptr) {}

    // Deletes every node (not the values).
    virtual ~VxList() {
        while (head)
            remove(head);
    }

    // The list owns its nodes, so it is neither copied nor moved.
    VxList(const VxList&) = delete;
    VxList& operator=(const VxList&) = delete;

    // Links `node` at the tail and takes ownership of it; returns its value.
    // A null or already linked node is refused: nothing changes and T() is
    // returned (the node stays the caller's).
    T append(VxListItem<T>* node) {
        if (!node || node == head || node->next || node->prev)
            return T();
        node->next = nullptr;
        node->prev = tail;
        if (tail)
            tail->next = node;
        else
            head = node;
        tail = node;
        return node->value;
    }

    // The first node from the head whose value == `value`, or null.
    VxListItem<T>* find(T value) const {
        for (VxListItem<T>* node = head; node; node = node->next)
            if (node->value == value)
                return node;
        return nullptr;
    }

    // The node holding `value`: the first listed one, else a new node appended
    // at the tail. Used where a value may be listed at most once.
    VxListItem<T>* findOrAppend(T value) {
        if (VxListItem<T>* listed = find(value))
            return listed;
        VxListItem<T>* node = new VxListItem<T>(value);
        append(node);
        return node;
    }

    // The node under the cursor, moving the cursor on to its next; null once
    // the cursor has run off the end. Set cursor = head to start a walk.
    VxListItem<T>* nextItem() {
        VxListItem<T>* node = cursor;
        if (node)
            cursor = node->next;
        return node;
    }

    // Unlinks and deletes `node` and returns its value. When `node` is under
    // the cursor the cursor moves to its prev, or to its next when there is
    // no prev. A null node, or one that is not in this list, is left alone
    // and T() returned.
    T remove(VxListItem<T>* node) {
        // Checking membership costs a walk, but it keeps a stray node from
        // corrupting this list or another one; these lists are short.
        VxListItem<T>* found = head;
        while (found && found != node)
            found = found->next;
        if (!found)
            return T();
        if (cursor == node)
            cursor = node->prev ? node->prev : node->next;
        if (node->prev)
            node->prev->next = node->next;
        else
            head = node->next;
        if (node->next)
            node->next->prev = node->prev;
        else
            tail = node->prev;
        T value = node->value;
        delete node;
        return value;
    }

    // Removes every node whose value == `value` and returns how many went.
    // Starts the cursor at the head and leaves it at the end (null), which
    // ends any walk in progress on this list.
    int removeAll(T value) {
        int removed = 0;
        cursor = head;
        while (VxListItem<T>* node = nextItem()) {
            if (node->value == value) {
                remove(node);
                ++removed;
            }
        }
        return removed;
    }

    // Sorts the nodes, stably, by `compare` (negative: the first argument
    // goes first), like qsort's comparison but given the values' addresses.
    // Nodes are relinked, not copied, so node pointers stay valid and the
    // cursor stays on its node. A null comparison does nothing. An
    // inconsistent comparison gives some order of the same nodes.
    void sort(int (*compare)(T*, T*)) {
        if (!compare || head == tail)
            return;
        // Bottom-up merge sort over the next links alone: no allocation, and
        // O(n log n) however the input is ordered. prev is rebuilt at the end.
        VxListItem<T>* list = head;
        for (std::size_t width = 1;; width *= 2) {
            VxListItem<T>* rest = list;
            VxListItem<T>* merged = nullptr;
            VxListItem<T>** end = &merged;
            int runs = 0;
            while (rest) {
                ++runs;
                VxListItem<T>* a = rest;
                VxListItem<T>* b = cutAfter(a, width);
                rest = cutAfter(b, width);
                while (a && b) {
                    // Take from the second run only when strictly smaller,
                    // which keeps equal items in their original order.
                    VxListItem<T>*& from = compare(&b->value, &a->value) < 0 ? b : a;
                    *end = from;
                    from = from->next;
                    end = &(*end)->next;
                }
                *end = a ? a : b;
                while (*end)
                    end = &(*end)->next;
            }
            list = merged;
            if (runs <= 1)
                break;
        }
        head = list;
        VxListItem<T>* prev = nullptr;
        for (VxListItem<T>* node = head; node; node = node->next) {
            node->prev = prev;
            prev = node;
        }
        tail = prev;
    }

    VxListItem<T>* head;   // first node, or null when empty
    VxListItem<T>* tail;   // last node, or null when empty
    VxListItem<T>* cursor; // the node nextItem() returns next; null at the end

private:
    // Ends the run that starts at `start` after `count` nodes and returns
    // the node that followed, or null.
    static VxListItem<T>* cutAfter(VxListItem<T>* start, std::size_t count) {
        for (std::size_t i = 1; start && i < count; ++i)
            start = start->next;
        if (!start)
            return nullptr;
        VxListItem<T>* following = start->next;
        start->next = nullptr;
        return following;
    }
};

#endif
