// Messages, senders and handlers: order, two-way wiring, and handlers changing
// it mid-delivery. Under AddressSanitizer these also prove nothing dangles.
#include "vxMessage.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

// Appends "<tag><message id> " to a shared log, then runs its action if any.
struct Recorder : VxMessageHandler {
    Recorder(std::string& l, char t) : log(l), tag(t) {}
    void handleMessage(const VxMessage& m, VxMessageSender* sender) override {
        log += tag + std::to_string(m.id) + " ";
        if (action)
            action(sender);
    }
    std::string& log;
    char tag;
    std::function<void(VxMessageSender*)> action;
};

void destroyWithKind(int kind) {
    VxMessage m(1);
    m.kind = kind;
}

TEST(VxMessage, FieldsNameCutAndReservedKinds) {
    VxMessage m(201, "a-name-longer-than-fifteen");
    EXPECT_STREQ(m.name, "a-name-longer-t");
    EXPECT_TRUE(m.kind == 0 && m.value == 0 && m.extra == 0);
    EXPECT_STREQ(VxMessage(1, nullptr).name, "");
    m.setFloatValue(0.25f);
    EXPECT_TRUE(m.kind == kVxMessageFloat && m.floatValue() == 0.25f);
    m.setIntValue(-7);
    EXPECT_TRUE(m.kind == kVxMessageInt && m.intValue() == -7);
    EXPECT_EQ(m.value >> 32, 0u); // the upper half is cleared, not sign-filled
    EXPECT_DEATH(destroyWithKind(5), "");
    EXPECT_DEATH(destroyWithKind(26), "");
}

TEST(VxMessageSender, WiringOrderAndEitherDestructionOrder) {
    std::string log;
    Recorder keep(log, 'k');
    auto* gone = new Recorder(log, 'g');
    auto* s1 = new VxMessageSender;
    VxMessageSender s2;
    keep.acceptSender(s1);
    gone->acceptSender(s1);
    gone->acceptSender(&s2);
    keep.acceptSender(&s2);
    // Repeats and nulls change nothing: each handler is listed, and called, once.
    gone->acceptSender(&s2);
    s2.addHandler(gone);
    gone->acceptSender(nullptr);
    EXPECT_EQ(s2.addHandler(nullptr), nullptr);

    // A copy is wired both ways to the same handlers, in the same order.
    auto* copy = new VxMessageSender(s2);
    EXPECT_NE(gone->senders.find(copy), nullptr);
    copy->sendMessage(VxMessage(1));

    delete gone; // still wired to three senders
    s1->sendMessage(VxMessage(2));
    s2.sendMessage(VxMessage(3));
    copy->sendMessage(VxMessage(4));
    EXPECT_EQ(log, "g1 k1 k2 k3 k4 ");

    delete s1; // senders first: the handler forgets them
    delete copy;
    ASSERT_NE(keep.senders.head, nullptr);
    EXPECT_EQ(keep.senders.head, keep.senders.tail);
    keep.ignoreSender(&s2);
    EXPECT_TRUE(s2.handlers.head == nullptr && keep.senders.head == nullptr);
}

TEST(VxMessageSender, HandlersChangingTheWiringDuringDelivery) {
    std::string log;
    Recorder a(log, 'a'), c(log, 'c');
    auto* b = new Recorder(log, 'b');
    auto* s = new VxMessageSender;
    a.acceptSender(s);
    b->acceptSender(s);
    c.acceptSender(s);

    // Ignoring the delivering sender stops the message short of later handlers.
    a.action = [&a](VxMessageSender* from) { a.ignoreSender(from); };
    s->sendMessage(VxMessage(1));
    a.action = nullptr;
    s->sendMessage(VxMessage(2));
    EXPECT_EQ(log, "a1 b2 c2 ");

    // A handler deleting itself ends the delivery; the rest stay wired.
    b->action = [b](VxMessageSender*) { delete b; };
    s->sendMessage(VxMessage(3));
    s->sendMessage(VxMessage(4));
    EXPECT_EQ(log, "a1 b2 c2 b3 c4 ");

    // Sending again from inside runs to the end and then ends the outer one.
    a.acceptSender(s);
    c.action = [&c](VxMessageSender* from) {
        c.action = nullptr;
        from->sendMessage(VxMessage(5));
    };
    s->sendMessage(VxMessage(6));
    EXPECT_EQ(log, "a1 b2 c2 b3 c4 c6 c5 a5 ");

    // A handler may throw; the sender stays usable.
    a.action = [](VxMessageSender*) { throw 42; };
    EXPECT_THROW(s->sendMessage(VxMessage(7)), int);
    a.action = nullptr;

    // Deleting the sender mid-delivery: sendMessage returns without touching
    // it, and no handler keeps a pointer to it.
    log.clear();
    c.action = [](VxMessageSender* from) { delete from; };
    s->sendMessage(VxMessage(8));
    EXPECT_EQ(log, "c8 ");
    EXPECT_TRUE(a.senders.head == nullptr && c.senders.head == nullptr);
}

} // namespace
