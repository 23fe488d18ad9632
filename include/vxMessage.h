// vxMessage.h - messages between the library's objects: a small
// publish-and-subscribe mechanism.
//
// A VxMessageSender keeps a list of VxMessageHandlers and hands each of them
// a VxMessage in turn. Every handler keeps the list of the senders it listens
// to, so that either side can be destroyed first and the other forgets it.
// Widgets are senders (they report the user's edits); the widget manager is a
// handler (it receives the host's pointer events).
//
//     struct Watcher : VxMessageHandler {
//         void handleMessage(const VxMessage& m, VxMessageSender*) override {
//             if (m.id == 201) value = m.floatValue();
//         }
//         float value = 0;
//     };
//     watcher.acceptSender(&slider); // wires both directions
//
// Wiring. acceptSender() and ignoreSender() on the handler, and the sender's
// copy constructor, keep the two lists in step; use them. addHandler,
// removeHandler, addSender and removeSender touch one side only: they are the
// building blocks of the others, and code that calls them directly takes on
// keeping the sides consistent. In particular a handler that a sender lists
// but that does not list the sender cannot tell that sender when it dies, and
// the sender is left with a dangling pointer.
//
// Ownership. Neither side owns the other: the lists hold plain pointers and
// only ever delete their own nodes. Destroying either side unwires it from
// everything it lists.
//
// Delivery. sendMessage() calls the handlers in the order they were added,
// each once (a handler is listed at most once). It walks the sender's handler
// list with the list's cursor (vxList.h), advanced before each call, and what
// a handler does during its handleMessage() follows from the cursor rules:
// - Removing handlers from this sender (ignoreSender, removeHandler, or the
//   destructor of a handler this sender lists, including the handler that is
//   being called deleting itself) ends the delivery of this message: the
//   handlers after it do not get it.
// - Handlers added during a delivery get the message when the walk has not yet
//   run off the end of the list.
// - Sending another message from the same sender runs that delivery to the
//   end and then ends the outer one.
// - Deleting the sender ends the delivery; sendMessage() returns without
//   touching the destroyed sender.
// - An exception thrown by a handler leaves the sender usable.
//
// Threading: user-interface thread only. There are no locks.
#ifndef VX_MESSAGE_H
#define VX_MESSAGE_H

#include "vxExport.h"
#include "vxList.h"

#include <cstdint>

class VxMessageHandler;
class VxMessageSender;

// What a message's value holds.
enum VxMessageKind : int {
    kVxMessageNoValue = 0, // no value
    kVxMessageInt = 1,     // one int
    kVxMessageFloat = 3,   // one float
    // Reserved for messages whose value refers to storage that the derived
    // message class manages. Such a message must never be destroyed as a
    // plain VxMessage: the derived class sets another kind in its own
    // destructor, and destroying one with the kind still set aborts.
    kVxMessageReserved5 = 5,
    kVxMessageReserved26 = 26,
};

// One message. Fields in this order: name, id, kind, value, extra. Messages
// are passed by const reference and may be copied freely.
class VX_API VxMessage {
public:
    // `name` is copied and cut to its first 15 characters; null gives "".
    explicit VxMessage(int id = 0, const char* name = nullptr);

    // Calls std::abort() when kind is kVxMessageReserved5 or
    // kVxMessageReserved26 (see VxMessageKind). Deliberate.
    virtual ~VxMessage();

    VxMessage(const VxMessage&) = default;
    VxMessage& operator=(const VxMessage&) = default;

    // Store an int or a float in the first four bytes of value (the other
    // four become 0) and set kind to match.
    void setIntValue(int v);
    void setFloatValue(float v);

    // Read the first four bytes of value as an int or a float, whatever the
    // kind says; check kind first.
    int intValue() const;
    float floatValue() const;

    char name[16];       // the name, at most 15 characters, always terminated
    int id;              // what the message is about, e.g. 201: a slider moved
    int kind;            // how to read value (VxMessageKind); 0 at construction
    std::uint64_t value; // the value, read as kind says; 0 at construction
    std::uint64_t extra; // a second word the sender may fill; 0 at construction
};

// Sends messages to the handlers wired to it.
class VX_API VxMessageSender {
public:
    VxMessageSender();

    // A copy listens nowhere of its own but is wired, both ways, to every
    // handler of `other`, in the same order. Reads `other`'s list without its
    // cursor, so a delivery in progress on `other` goes on undisturbed.
    VxMessageSender(const VxMessageSender& other);

    // Assignment is not offered: it would have to rewire both objects.
    VxMessageSender& operator=(const VxMessageSender&) = delete;

    // Removes itself from the sender list of every handler it lists and
    // forgets them all. May be called from inside one of its own deliveries
    // (a handler deleting the sender): the delivery ends safely.
    virtual ~VxMessageSender();

    // Appends `handler` unless it is already listed, and returns its node
    // (the existing one when it was). Does not touch the handler's sender
    // list. Null is refused and gives null.
    VxListItem<VxMessageHandler*>* addHandler(VxMessageHandler* handler);

    // Removes `handler` from this sender's list only (removeAll: ends a
    // delivery in progress). Null does nothing.
    void removeHandler(VxMessageHandler* handler);

    // Hands `message` to every listed handler, in order, with this sender as
    // the second argument. See "Delivery" above for what handlers may do.
    void sendMessage(const VxMessage& message);

    VxList<VxMessageHandler*> handlers; // not owned

private:
    struct Delivery;

    // The innermost sendMessage running on this sender, if any; each one
    // links to the one it interrupted. The destructor marks them all dead.
    Delivery* delivery;
};

// Receives messages from the senders it is wired to. Derive and override
// handleMessage().
class VX_API VxMessageHandler {
public:
    VxMessageHandler();

    // Handlers are not copied: a copy would have to be wired by hand.
    VxMessageHandler(const VxMessageHandler&) = delete;
    VxMessageHandler& operator=(const VxMessageHandler&) = delete;

    // Removes itself from the handler list of every sender it lists, which
    // ends a delivery in progress on any of them, and forgets them all. A
    // handler may delete itself inside handleMessage().
    virtual ~VxMessageHandler();

    // Called by a sender for every message it sends. `sender` is the sender
    // delivering it, or null when the message was handed over directly.
    virtual void handleMessage(const VxMessage& message, VxMessageSender* sender) = 0;

    // Wires both directions: sender->addHandler(this) and addSender(sender).
    // Repeating it changes nothing. Null does nothing.
    void acceptSender(VxMessageSender* sender);

    // Unwires both directions: sender->removeHandler(this) and
    // removeSender(sender). Inside a delivery from `sender` this ends the
    // delivery. Null does nothing.
    void ignoreSender(VxMessageSender* sender);

    // This handler's list only: append unless listed (returns the node, or
    // null for a null sender), and removeAll (null does nothing).
    VxListItem<VxMessageSender*>* addSender(VxMessageSender* sender);
    void removeSender(VxMessageSender* sender);

    VxList<VxMessageSender*> senders; // not owned
};

#endif
