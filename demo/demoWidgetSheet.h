// demoWidgetSheet.h - the widget sheet: every primitive of the drawing layer
// (vxTDraw.h) and every value widget (vxTSlider.h, vxTToggle.h, vxTDisplay.h)
// in its idle, poised and active state, with hints, drawn off-screen.
//
// The sheet is drawn by OpenGL in Mesa's off-screen renderer (OSMesa), with
// the library's own 7 x 14 font for labels and hints. Mesa's rasteriser is
// forced to softpipe (GALLIUM_DRIVER=softpipe, and DRAW_USE_LLVM=0 so that no
// code is compiled for the processor at hand), which gives the same pixels on
// every run and every x86-64 machine with the same Mesa. The widgets are put
// into their states through one VxTManager each, with pointer messages, as
// the host would; the two display widgets, which the pen passes through, are
// put into theirs by their own poise and activate operations.
//
// Drawing runs on the calling thread alone (no fork).
#ifndef VX_DEMO_WIDGET_SHEET_H
#define VX_DEMO_WIDGET_SHEET_H

#include "demoImage.h"

#include <string>

// The size the sheet is laid out for: one drawing unit per pixel.
constexpr int kWidgetSheetWidth = 1440;
constexpr int kWidgetSheetHeight = 640;

// Draws the sheet into `image` (width x height, three channels, 0..1, row 0
// at the top). At another size than the natural one the drawing is scaled
// uniformly to fit and centred; the text keeps its 7 x 14 pixels. False, with
// the reason in `error`, when the off-screen renderer cannot be had.
bool renderWidgetSheet(Image& image, int width, int height, std::string& error);

#endif
