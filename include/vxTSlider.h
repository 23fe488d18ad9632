// vxTSlider.h - sliders: one value in 0..1 set by hand over the viewer, a
// slider over a hue ramp, and a slider with several handles.
//
// A slider is a leaf widget (vxTObject.h) and a message sender
// (vxMessage.h): it reports every user action to the handlers the plug-in
// wired to it, with messages named after the slider:
//
//   200 kVxTMsgPressed   the pen went down on it (no value)
//   201 kVxTMsgChanged   the pen moved the value (kind 3: the new value)
//   202 kVxTMsgReleased  the pen was released (no value)
//   203 kVxTMsgSet       tsValue(v, notify) set it by program (kind 3)
//
// so a drag reads 200, 201 (the press already jumps the value to the pen),
// any number of 201, then 202. The multi-slider also puts the index of the
// handle moved in each message's `extra`.
//
// Coordinates: the slider covers origin..origin + size. With orientation 0
// the value runs up the y axis (0 at the bottom edge, 1 at the top), with
// orientation 1 along x (0 at the left edge, 1 at the right). Pens beyond
// the ends give 0 or 1; a slider of zero length gives 0 or 1 by the side of
// the pen (0 when the pen is on the edge). Other orientations give 0.
//
// Drawing (tmDraw, in the host's GL context): the background
// (tsDrawSliderBackground), the label, a frame (shaded out when poised,
// shaded in otherwise, outlined in VxTDraw::_gActiveCol while pressed) and a
// band 4 units wide across the slider at the value, filled in `colour`
// (VxTDraw::_gShadeDark at construction; _gActiveCol while pressed).
//
// Labels: drawn only when a label is set and labelFlags is 1. A horizontal
// slider (orientation 1) writes it inside, 4 units from its left end and
// centred across; a vertical one writes it 4 units above its top. The text
// is white with a black shadow one unit to the lower right, the shadow left
// out when `transparent` is set.
//
// Threading: the host's user-interface thread only.
#ifndef VX_T_SLIDER_H
#define VX_T_SLIDER_H

#include "vxExport.h"
#include "vxMessage.h"
#include "vxTObject.h"

#include <cstdint>

class VX_API VxTSlider : public VxTObject, public VxMessageSender {
public:
    // `value` is clamped to 0..1 (NaN gives 0).
    VxTSlider(const char* name, float value, int orientation);

    // Any hit inside the bounds is the slider; sets the widget cursor.
    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override;
    void myTDraw() override;
    // While active: moves the value to the pen and sends 201; false, and no
    // message, when the pen's value equals the current one.
    int myTDrag(HvVec2 pos) override;
    // Records pressPos, sends 200, jumps the value to the pen, sends 201.
    int myTActivate(HvVec2 pos) override;
    // Sends 202. False, and no message, when the slider is not active.
    int myTDeactivate() override;
    ~VxTSlider() override;
    // Fills the slider with VxTDraw::_gBackCol when `transparent` is set.
    virtual void tsDrawSliderBackground();

    // Replaces the label (a private copy); null clears it.
    void tsSetLabel(const char* label);
    // value = v clamped to 0..1 (NaN gives 0); with notify, sends 203 with it.
    void tsValue(float v, int notify);
    // Sends message `id` with the current value.
    void tsValueChanged(int id);
    // Draws the label as described above.
    void tsDrawLabel();

    char* label;                 // owned copy, or null
    int orientation;             // 0: value along y; 1: along x
    float value;                 // always in 0..1
    HvVec2 pressPos;             // pen at activation, relative to origin
    unsigned int labelFlags : 1; // draw the label; 0
    unsigned char transparent;   // fill the background with _gBackCol; 0

protected:
    // The value the pen at `pos` points at, before clamping.
    float tsRawValue(HvVec2 pos) const;
    // Sends message `id` named after the slider, with `v` when hasValue.
    void tsSend(int id, bool hasValue, float v, std::uint64_t extra);
    // The band of the handle at value v along the value axis: [lo, hi].
    void tsBand(float v, float& lo, float& hi) const;
    // Fills or outlines the band at [lo, hi] across the slider.
    void tsBandBox(float lo, float hi, bool fill) const;
};

// A slider whose background is a ramp of hues: fully saturated, full
// value, red at 0 through green and blue back to red at 1 along the value
// axis, in 36 smooth steps. `ramp` (set at construction) turns it on; with
// it clear the background is the plain slider's.
class VX_API VxTSliderColRamp : public VxTSlider {
public:
    VxTSliderColRamp(const char* name, float value, int orientation);
    ~VxTSliderColRamp() override;
    void tsDrawSliderBackground() override;
    // As the slider's.
    int myTDrag(HvVec2 pos) override;

    unsigned int ramp : 1; // draw the hue ramp; 1
};

// A slider with up to kMaxValues handles, each with its own value and colour.
//
// Picking: the pen takes the handle nearest to it along the value axis,
// among those whose band (4 units wide) is within the tolerance; of handles
// equally near, the last (drawn on top). Over no handle nothing is selected
// (`selected` is -1) and a press does nothing. A pressed handle moves alone
// and may pass the others; its value is copied into `value` before each 201.
class VX_API VxTMultiSlider : public VxTSlider {
public:
    static constexpr int kMaxValues = 10;

    // Handles as tsmNValues(nValues) gives them.
    VxTMultiSlider(const char* name, int nValues, int orientation);
    ~VxTMultiSlider() override;
    // Selects the handle under the pen (see above); the slider itself is
    // found whenever the pen is inside its bounds.
    VxTObject* myTFind(HvVec2 pos, HvVec2 tolerance) override;
    void myTDraw() override;
    // As the slider's, on the selected handle; false when none is selected.
    int myTDrag(HvVec2 pos) override;
    int myTActivate(HvVec2 pos) override;
    int myTDeactivate() override;

    // n = 1: one handle at 0.5 in VxTDraw::_gBackCol; n > 1: values
    // i / (n - 1) in greys (v, v, v). n is clamped to 0..kMaxValues; 0 leaves
    // no handles. Deselects. Returns true (a redraw).
    int tsmNValues(int n);
    // Sets handle i to v clamped to 0..1; with notify sends 203 (extra = i).
    // False for an index out of range.
    int tsmValue(int i, float v, int notify);

    float values[kMaxValues];   // the handles' values, in 0..1
    VxRGBf colours[kMaxValues]; // the handles' colours
    int nValues;                // handles in use
    int selected;               // the handle picked by the pen, or -1

protected:
    // Draws the handles over the background and frame.
    void tsmDrawHandles();
};

// The multi-slider over the hue ramp of VxTSliderColRamp.
class VX_API VxTMultiSliderColRamp : public VxTMultiSlider {
public:
    VxTMultiSliderColRamp(const char* name, int nValues, int orientation);
    ~VxTMultiSliderColRamp() override;
    void tsDrawSliderBackground() override;

    unsigned int ramp : 1; // draw the hue ramp; 1
};

// The hue ramp behind a slider of `size` with this orientation (GL).
VX_API void VxTDrawHueRamp(const HvVec2& size, int orientation);

#endif
