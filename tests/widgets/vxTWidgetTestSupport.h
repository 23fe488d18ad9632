// Test widgets that log what the tree and the manager do to them, and a
// handler that logs the messages widgets send.
#ifndef VX_T_WIDGET_TEST_SUPPORT_H
#define VX_T_WIDGET_TEST_SUPPORT_H

#include "vxMessage.h"
#include "vxTManager.h"
#include "vxTObject.h"

#include <string>
#include <vector>

// A bounded leaf at (x, y) of size (w, h). Appends "<hook>:<name> " to log.
struct Probe : VxTObject {
    Probe(const char* n, std::string& l, float x, float y, float w, float h)
        : VxTObject(n), log(l) {
        tOrigin(HvVec2(x, y));
        tSize(HvVec2(w, h));
    }
    void note(const char* hook) { log += std::string(hook) + ":" + name + " "; }
    VxTObject* myTFind(HvVec2, HvVec2) override {
        found = this;
        return this;
    }
    void myTDraw() override { note("draw"); }
    int myTDrag(HvVec2 p) override {
        note("drag");
        last = p;
        return dragResult;
    }
    int myTActivate(HvVec2 p) override {
        note("A");
        last = p;
        if (onActivate)
            onActivate();
        return VxTObject::myTActivate(p);
    }
    int myTDeactivate() override {
        note("D");
        return VxTObject::myTDeactivate();
    }
    int myTPoise(HvVec2 p) override {
        note("P");
        last = p;
        return VxTObject::myTPoise(p);
    }
    int myTDepoise() override {
        note("p");
        return VxTObject::myTDepoise();
    }
    std::string& log;
    HvVec2 last;
    int dragResult = 1;
    void (*onActivate)() = nullptr;
};

// Records every message: id, kind, value and extra.
struct Inbox : VxMessageHandler {
    struct Entry {
        int id, kind;
        float f;
        int i;
        unsigned long long extra;
        std::string name;
    };
    void handleMessage(const VxMessage& m, VxMessageSender*) override {
        got.push_back({m.id, m.kind, m.floatValue(), m.intValue(), m.extra, m.name});
    }
    std::string ids() const {
        std::string s;
        for (const Entry& e : got)
            s += std::to_string(e.id) + " ";
        return s;
    }
    std::vector<Entry> got;
};

inline VxTPointerMessage Pen(int event, float x, float y, int device = kVxTDeviceMouse) {
    return VxTPointerMessage(event, device, HvVec2(x, y));
}

#endif
