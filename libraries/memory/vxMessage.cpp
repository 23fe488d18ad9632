#include "vxMessage.h"

#include "vxString.h"

#include <cstdlib>
#include <cstring>

// ---------------------------------------------------------------------------
// VxMessage
// ---------------------------------------------------------------------------

VxMessage::VxMessage(int messageId, const char* messageName)
    : name(), id(messageId), kind(kVxMessageNoValue), value(0), extra(0) {
    VxStringNCopy(name, messageName, sizeof name);
}

VxMessage::~VxMessage() {
    // These kinds belong to derived messages that clear the kind themselves
    // before this destructor runs; reaching here with one means the message
    // is being destroyed through the wrong class, and carrying on would leave
    // its storage in an unknown state.
    if (kind == kVxMessageReserved5 || kind == kVxMessageReserved26)
        std::abort();
}

void VxMessage::setIntValue(int v) {
    value = 0;
    std::memcpy(&value, &v, sizeof v);
    kind = kVxMessageInt;
}

void VxMessage::setFloatValue(float v) {
    value = 0;
    std::memcpy(&value, &v, sizeof v);
    kind = kVxMessageFloat;
}

int VxMessage::intValue() const {
    int v;
    std::memcpy(&v, &value, sizeof v);
    return v;
}

float VxMessage::floatValue() const {
    float v;
    std::memcpy(&v, &value, sizeof v);
    return v;
}

// ---------------------------------------------------------------------------
// VxMessageSender
// ---------------------------------------------------------------------------

// One running sendMessage, on its stack. A handler may destroy the sender
// while it is being called; the destructor clears `alive` in every record, so
// each sendMessage on the way back out learns not to touch the sender.
struct VxMessageSender::Delivery {
    bool alive;
    Delivery* outer;
};

VxMessageSender::VxMessageSender() : delivery(nullptr) {}

VxMessageSender::VxMessageSender(const VxMessageSender& other) : delivery(nullptr) {
    for (VxListItem<VxMessageHandler*>* node = other.handlers.head; node; node = node->next) {
        if (VxMessageHandler* handler = node->value) {
            addHandler(handler);
            handler->addSender(this);
        }
    }
}

VxMessageSender::~VxMessageSender() {
    for (Delivery* d = delivery; d; d = d->outer)
        d->alive = false;
    // Taking nodes off the head rather than walking with the cursor: the
    // handler lists of others are touched, never this one, so nothing can
    // end the loop early and leave a handler pointing at a dead sender.
    while (VxListItem<VxMessageHandler*>* node = handlers.head) {
        if (VxMessageHandler* handler = handlers.remove(node))
            handler->removeSender(this);
    }
}

VxListItem<VxMessageHandler*>* VxMessageSender::addHandler(VxMessageHandler* handler) {
    return handler ? handlers.findOrAppend(handler) : nullptr;
}

void VxMessageSender::removeHandler(VxMessageHandler* handler) {
    if (handler)
        handlers.removeAll(handler);
}

void VxMessageSender::sendMessage(const VxMessage& message) {
    Delivery current{true, delivery};
    delivery = &current;
    // Unlinks this delivery however the loop ends, an exception included,
    // unless the sender is gone by then.
    struct Unlink {
        VxMessageSender* sender;
        Delivery& record;
        ~Unlink() {
            if (record.alive)
                sender->delivery = record.outer;
        }
    } unlink{this, current};

    handlers.cursor = handlers.head;
    while (VxListItem<VxMessageHandler*>* node = handlers.nextItem()) {
        // The cursor is already past the node, so a handler that removes
        // itself, or is deleted, leaves nothing behind that the walk still
        // needs; removals through removeAll also end the walk.
        if (VxMessageHandler* handler = node->value)
            handler->handleMessage(message, this);
        if (!current.alive)
            return;
    }
}

// ---------------------------------------------------------------------------
// VxMessageHandler
// ---------------------------------------------------------------------------

VxMessageHandler::VxMessageHandler() = default;

VxMessageHandler::~VxMessageHandler() {
    while (VxListItem<VxMessageSender*>* node = senders.head) {
        if (VxMessageSender* sender = senders.remove(node))
            sender->removeHandler(this);
    }
}

void VxMessageHandler::acceptSender(VxMessageSender* sender) {
    if (!sender)
        return;
    sender->addHandler(this);
    addSender(sender);
}

void VxMessageHandler::ignoreSender(VxMessageSender* sender) {
    if (!sender)
        return;
    sender->removeHandler(this);
    removeSender(sender);
}

VxListItem<VxMessageSender*>* VxMessageHandler::addSender(VxMessageSender* sender) {
    return sender ? senders.findOrAppend(sender) : nullptr;
}

void VxMessageHandler::removeSender(VxMessageSender* sender) {
    if (sender)
        senders.removeAll(sender);
}
