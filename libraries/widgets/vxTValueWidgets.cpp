// The value widgets' logic: what the pen does to sliders, toggles, tabs,
// multi-toggles and the display widgets, and the messages they send. Their
// drawing lives in vxTValueWidgetsDraw.cpp.
#include "vxTDisplay.h"
#include "vxTDraw.h"
#include "vxTSlider.h"
#include "vxTToggle.h"

#include "vxHost.h"
#include "vxString.h"

#include <cmath>
#include <cstdint>

namespace {

// Clamped into 0..1 in double precision; NaN gives 0, so a value is always
// in range whatever the pen and the slider's size.
float Unit(double v) {
    if (!(v > 0.0))
        return 0.0f;
    return v < 1.0 ? static_cast<float>(v) : 1.0f;
}

} // namespace

const VxRGBf kToggleColour(0.9f, 0.7f, 0.2f);

// ---------------------------------------------------------------------------
// VxTSlider
// ---------------------------------------------------------------------------

VxTSlider::VxTSlider(const char* n, float v, int o)
    : VxTObject(n), label(nullptr), orientation(o), value(Unit(v)), pressPos(0.0f, 0.0f),
      labelFlags(0), transparent(0) {
    colour = VxTDraw::_gShadeDark;
}

VxTSlider::~VxTSlider() {
    delete[] label;
}

VxTObject* VxTSlider::myTFind(HvVec2, HvVec2) {
    VxTCursor(kVxCursorWidget);
    found = this;
    return this;
}

float VxTSlider::tsRawValue(HvVec2 pos) const {
    const HvVec2 local = pos - origin;
    if (orientation == 0)
        return local.y / size.y;
    if (orientation == 1)
        return local.x / size.x;
    return 0.0f;
}

void VxTSlider::tsSend(int id, bool hasValue, float v, std::uint64_t extra) {
    VxMessage m(id, name);
    if (hasValue)
        m.setFloatValue(v);
    m.extra = extra;
    sendMessage(m);
}

int VxTSlider::myTActivate(HvVec2 pos) {
    pressPos = pos - origin;
    VxTObject::myTActivate(pos);
    tsSend(kVxTMsgPressed, false, 0.0f, 0);
    value = Unit(tsRawValue(pos));
    tsSend(kVxTMsgChanged, true, value, 0);
    return 1;
}

int VxTSlider::myTDrag(HvVec2 pos) {
    if (!isActive())
        return 0;
    const float raw = tsRawValue(pos);
    if (raw == value)
        return 0;
    value = Unit(raw);
    tsSend(kVxTMsgChanged, true, value, 0);
    return 1;
}

int VxTSlider::myTDeactivate() {
    // A release that was never pressed would close a 200 ... 202 bracket
    // that never opened.
    if (!isActive())
        return 0;
    VxTObject::myTDeactivate();
    tsSend(kVxTMsgReleased, false, 0.0f, 0);
    return 1;
}

void VxTSlider::tsSetLabel(const char* l) {
    char* copy = VxStringDuplicate(l);
    delete[] label;
    label = copy;
}

void VxTSlider::tsValue(float v, int notify) {
    value = Unit(v);
    if (notify)
        tsSend(kVxTMsgSet, true, value, 0);
}

void VxTSlider::tsValueChanged(int id) {
    tsSend(id, true, value, 0);
}

// ---------------------------------------------------------------------------
// VxTSliderColRamp
// ---------------------------------------------------------------------------

VxTSliderColRamp::VxTSliderColRamp(const char* n, float v, int o) : VxTSlider(n, v, o), ramp(1) {}
VxTSliderColRamp::~VxTSliderColRamp() = default;

int VxTSliderColRamp::myTDrag(HvVec2 pos) {
    return VxTSlider::myTDrag(pos);
}

// ---------------------------------------------------------------------------
// VxTMultiSlider
// ---------------------------------------------------------------------------

VxTMultiSlider::VxTMultiSlider(const char* n, int count, int o)
    : VxTSlider(n, 0.5f, o), nValues(0), selected(-1) {
    for (int i = 0; i < kMaxValues; ++i) {
        values[i] = 0.0f;
        colours[i] = VxRGBf(0.0f, 0.0f, 0.0f);
    }
    tsmNValues(count);
}

VxTMultiSlider::~VxTMultiSlider() = default;

int VxTMultiSlider::tsmNValues(int n) {
    nValues = n < 0 ? 0 : (n > kMaxValues ? kMaxValues : n);
    selected = -1;
    if (nValues == 1) {
        values[0] = 0.5f;
        colours[0] = VxTDraw::_gBackCol;
    } else {
        for (int i = 0; i < nValues; ++i) {
            const float v = static_cast<float>(i) / static_cast<float>(nValues - 1);
            values[i] = v;
            colours[i] = VxRGBf(v, v, v);
        }
    }
    return 1;
}

int VxTMultiSlider::tsmValue(int i, float v, int notify) {
    if (i < 0 || i >= nValues)
        return 0;
    values[i] = Unit(v);
    if (notify)
        tsSend(kVxTMsgSet, true, values[i], static_cast<std::uint64_t>(i));
    return 1;
}

VxTObject* VxTMultiSlider::myTFind(HvVec2 pos, HvVec2 tolerance) {
    VxTSlider::myTFind(pos, tolerance);
    selected = -1;
    if (orientation != 0 && orientation != 1)
        return this;
    const float along = orientation == 0 ? pos.y - origin.y : pos.x - origin.x;
    const float length = orientation == 0 ? size.y : size.x;
    // The band is 4 units wide: a pen within the tolerance of its edge is
    // within tolerance + 2 of its centre.
    const float reach = (orientation == 0 ? tolerance.y : tolerance.x) + 2.0f;
    float best = 0.0f;
    for (int i = 0; i < nValues; ++i) {
        const float d = std::fabs(along - values[i] * length);
        if (d <= reach && (selected < 0 || d <= best)) {
            selected = i;
            best = d;
        }
    }
    return this;
}

int VxTMultiSlider::myTActivate(HvVec2 pos) {
    if (selected < 0 || selected >= nValues)
        return 0;
    pressPos = pos - origin;
    VxTObject::myTActivate(pos);
    const std::uint64_t which = static_cast<std::uint64_t>(selected);
    tsSend(kVxTMsgPressed, false, 0.0f, which);
    values[selected] = Unit(tsRawValue(pos));
    value = values[selected];
    tsSend(kVxTMsgChanged, true, value, which);
    return 1;
}

int VxTMultiSlider::myTDrag(HvVec2 pos) {
    if (!isActive() || selected < 0 || selected >= nValues)
        return 0;
    const float raw = tsRawValue(pos);
    if (raw == values[selected])
        return 0;
    values[selected] = Unit(raw);
    value = values[selected];
    tsSend(kVxTMsgChanged, true, value, static_cast<std::uint64_t>(selected));
    return 1;
}

int VxTMultiSlider::myTDeactivate() {
    if (!isActive())
        return 0;
    VxTObject::myTDeactivate();
    tsSend(kVxTMsgReleased, false, 0.0f, static_cast<std::uint64_t>(selected < 0 ? 0 : selected));
    return 1;
}

VxTMultiSliderColRamp::VxTMultiSliderColRamp(const char* n, int count, int o)
    : VxTMultiSlider(n, count, o), ramp(1) {}
VxTMultiSliderColRamp::~VxTMultiSliderColRamp() = default;

// ---------------------------------------------------------------------------
// VxTToggle
// ---------------------------------------------------------------------------

VxTToggle::VxTToggle(const char* n, int s)
    : VxTObject(n), state(s ? 1 : 0), inside(0), toggleFlags(0) {
    colour = kToggleColour;
}

VxTToggle::~VxTToggle() = default;

VxTObject* VxTToggle::myTFind(HvVec2, HvVec2) {
    found = this;
    VxTCursor(kVxCursorWidget);
    return this;
}

bool VxTToggle::ttPenInside(HvVec2 pos) const {
    return !isBounded() || tInBounds(pos, HvVec2(0.0f, 0.0f));
}

int VxTToggle::myTActivate(HvVec2 pos) {
    VxTObject::myTActivate(pos);
    inside = 1;
    return 1;
}

int VxTToggle::myTDrag(HvVec2 pos) {
    const int now = ttPenInside(pos) ? 1 : 0;
    if (now == inside)
        return 0;
    inside = now;
    return 1;
}

void VxTToggle::ttSend() {
    sendMessage(VxMessage(kVxTMsgSet, name));
}

int VxTToggle::myTDeactivate() {
    if (inside) {
        state = !state;
        ttSend();
    }
    inside = 0;
    VxTObject::myTDeactivate();
    return 1;
}

int VxTToggle::ttState(int s, int notify) {
    s = s ? 1 : 0;
    if (s == state)
        return 0;
    state = s;
    if (notify)
        ttSend();
    return 1;
}

int VxTToggle::ttShownState() const {
    return (isActive() && inside) ? !state : state;
}

// ---------------------------------------------------------------------------
// VxTTabButton and VxTTabBox
// ---------------------------------------------------------------------------

VxTTabButton::VxTTabButton(const char* n, int s, void* d)
    : VxTToggle(n, s), data(d), tabTag(0), tabFlag(0) {
    colour = kTabColour;
}

VxTTabButton::~VxTTabButton() = default;

VxTObject* VxTTabButton::myTFind(HvVec2 pos, HvVec2 tol) {
    const HvVec2 d = pos - origin - size * 0.5f;
    // Strict, unlike the inclusive bounds test before it: a pen exactly at
    // the tolerance misses, so touching tabs do not both claim their border.
    if (tol.x > std::fabs(d.x) - size.x * 0.5f && tol.y > std::fabs(d.y) - size.y * 0.5f) {
        found = this;
        VxTCursor(kVxCursorWidget);
        return this;
    }
    return nullptr;
}

int VxTTabButton::myTDeactivate() {
    if (inside && !state) {
        state = 1;
        ttSend();
        if (VxTTabBox* box = dynamic_cast<VxTTabBox*>(parent))
            box->unselectNeighbours(this);
    }
    inside = 0;
    VxTObject::myTDeactivate();
    return 1;
}

VxTTabBox::VxTTabBox(const char* n) : VxTGroup(n), offset(0.0f, 0.0f) {}
VxTTabBox::~VxTTabBox() = default;

void VxTTabBox::childOffset(HvVec2 o) {
    offset = o;
}

int VxTTabBox::tAddChild(VxTTabButton* b) {
    if (!b || children.find(b))
        return 0;
    b->tOrigin(children.tail ? children.tail->value->origin + offset : origin);
    // tParent lists the button through the group's tAddChild and sets its
    // parent; the group's own call then finds it listed.
    b->tParent(this);
    VxTGroup::tAddChild(b);
    resetBounds();
    return 1;
}

int VxTTabBox::tRemoveChild(VxTTabButton* b) {
    return VxTGroup::tRemoveChild(b);
}

void VxTTabBox::unselectNeighbours(VxTTabButton* b) {
    for (VxListItem<VxTObject*>* item = children.head; item; item = item->next) {
        VxTTabButton* tab = dynamic_cast<VxTTabButton*>(item->value);
        if (tab && tab != b && tab->state)
            tab->ttState(0, 1);
    }
}

VxTTabButton* VxTTabBox::currentSelection() {
    for (VxListItem<VxTObject*>* item = children.head; item; item = item->next) {
        VxTTabButton* tab = dynamic_cast<VxTTabButton*>(item->value);
        if (tab && tab->state)
            return tab;
    }
    return nullptr;
}

// ---------------------------------------------------------------------------
// VxTMultiToggle
// ---------------------------------------------------------------------------

VxTMultiToggle::VxTMultiToggle(const char* n)
    : VxTObject(n), count(0), state(0), shown(0), inside(0), lists(nullptr), noFrame(0) {
    colour = kToggleColour;
}

VxTMultiToggle::~VxTMultiToggle() {
    for (int i = 0; i < count; ++i)
        if (lists[i]->dropReference() <= 0)
            delete lists[i];
    delete[] lists;
}

VxTObject* VxTMultiToggle::myTFind(HvVec2, HvVec2) {
    found = this;
    VxTCursor(kVxCursorWidget);
    return this;
}

bool VxTMultiToggle::tmtPenInside(HvVec2 pos) const {
    return !isBounded() || tInBounds(pos, HvVec2(0.0f, 0.0f));
}

int VxTMultiToggle::myTActivate(HvVec2 pos) {
    VxTObject::myTActivate(pos);
    inside = 1;
    if (count >= 1)
        shown = (state + 1) % count;
    return 1;
}

int VxTMultiToggle::myTDrag(HvVec2 pos) {
    const int now = tmtPenInside(pos) ? 1 : 0;
    shown = (now && count >= 1) ? (state + 1) % count : state;
    if (now == inside)
        return 0;
    inside = now;
    return 1;
}

int VxTMultiToggle::myTDeactivate() {
    if (inside && count != 0)
        tmtState((state + 1) % count, 1);
    inside = 0;
    shown = state;
    VxTObject::myTDeactivate();
    return 1;
}

int VxTMultiToggle::tmtState(int s, int notify) {
    if (s < 0 || (s >= count && s != 0) || s == state)
        return 0;
    state = shown = s;
    if (notify) {
        VxMessage m(kVxTMsgSet, name);
        m.setIntValue(s);
        sendMessage(m);
    }
    return 1;
}

int VxTMultiToggle::tmtAddState(VxTGLList* list) {
    if (!list)
        return 0;
    VxTGLList** grown = new VxTGLList*[count + 1];
    for (int i = 0; i < count; ++i)
        grown[i] = lists[i];
    grown[count] = list;
    delete[] lists;
    lists = grown;
    list->addReference();
    ++count;
    return 1;
}

// ---------------------------------------------------------------------------
// Display widgets
// ---------------------------------------------------------------------------

VxTFunctionPlot::VxTFunctionPlot(const char* n)
    : VxTObject(n), function(nullptr), data(nullptr), xRange(0.0f, 1.0f), yRange(0.0f, 1.0f),
      samples(64) {}

VxTFunctionPlot::~VxTFunctionPlot() = default;

VxTObject* VxTFunctionPlot::myTFind(HvVec2, HvVec2) {
    return nullptr;
}

int VxTFunctionPlot::myTDrag(HvVec2) {
    return 0;
}

void VxTFunctionPlot::tfpFunction(Function f, void* d) {
    function = f;
    data = d;
}

float VxTFunctionPlot::tfpPlotY(float localX) const {
    if (!function || !(size.x != 0.0f))
        return 0.0f;
    const double x = xRange.x + (xRange.y - xRange.x) * (static_cast<double>(localX) / size.x);
    const double y = function(static_cast<float>(x), data);
    const double span = static_cast<double>(yRange.y) - yRange.x;
    const double t = span != 0.0 ? (y - yRange.x) / span : 0.0;
    return Unit(t) * size.y;
}

VxTImageBox::VxTImageBox(const char* n)
    : VxTObject(n), width(100.0f), height(100.0f), uMin(0.0f), uMax(1.0f), vMin(0.0f), vMax(1.0f),
      texture(0) {
    resetBounds();
}

VxTImageBox::~VxTImageBox() = default;

VxTObject* VxTImageBox::myTFind(HvVec2, HvVec2) {
    if (!isVisible())
        return nullptr;
    found = this;
    return this;
}

int VxTImageBox::myTDrag(HvVec2) {
    return 0;
}

void VxTImageBox::resetBounds() {
    origin = HvVec2(-0.5f * width + width * uMin, -0.5f * height + height * vMin);
    size = HvVec2(width * (uMax - uMin), height * (vMax - vMin));
    if (parent)
        parent->tChildBoundsChanged(this);
}
