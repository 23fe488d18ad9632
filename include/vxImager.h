// vxImager.h - the window holder of image-processing objects.
//
// An Imager keeps the working window of an image operation and the interlaced
// field it works on. Windows are stored half-open (x1 and y1 one past the last
// column and row); the calls that take or give four integers use inclusive
// upper bounds. Image-processing frames copy their window from here
// (VxImgProc::copyWindow).
//
// Interlaced fields: field 1 works on the even rows, field 2 on the odd rows;
// a frame steps its rows with findFieldedStartY and findFieldedInc.
//
// An Imager is a plain object for the main line of control; workers of a fork
// may read it.
#ifndef VX_IMAGER_H
#define VX_IMAGER_H

#include "vxExport.h"
#include "vxMultiProcessor.h"

enum VxFieldEnum : int {
    kVxFieldProgressive = 0, // every row
    kVxFieldEven = 1,        // the first interlaced field: even rows
    kVxFieldOdd = 2,         // the second interlaced field: odd rows
};

class VX_API Imager : public VxInteruptable {
public:
    // Bits of `flags`.
    enum : unsigned char {
        kWindowGiven = 1,    // a window was set or copied at some time
        kWindowBordered = 2, // the last window was set with borders
        kWindowActive = 8,   // the stored window is in use (cleared by unsetWindow)
    };

    Imager();
    ~Imager() override;

    // Window from inclusive bounds.
    void setWindow(int x0, int y0, int x1, int y1);
    // Window grown by the borders; the high side gains one pixel more than the
    // low side (x1 + bx + 2), as image frames have always done.
    void setBorderedWindow(int x0, int y0, int x1, int y1, int bx, int by);
    // The stored window with inclusive upper bounds.
    void getWindow(int& x0, int& y0, int& x1, int& y1) const;
    // Copies another holder's stored window unchanged; a null holder is ignored.
    void copyWindow(const Imager* other);
    // Marks the window unused; the stored values stay.
    void unsetWindow();

    void setCallsToSample(int n) { callsToSample = n; }
    void field(VxFieldEnum f) { fieldMode = f; }
    VxFieldEnum field() const { return fieldMode; }

    // The first row at or after y of the current field: y for progressive
    // images, ((y + 1) / 2) * 2 for field 1, y | 1 for field 2 ((y + 1) | 1 for
    // negative y). The formulas are kept as they have always been, including
    // their rounding toward zero for negative rows.
    int findFieldedStartY(int y) const;
    // 2 when a field is set, else 1.
    int findFieldedInc() const;

    unsigned char flags;        // kWindowGiven | kWindowBordered | kWindowActive
    int x0, y0, x1, y1;         // the window; x1 and y1 exclusive
    int callsToSample;          // repetitions for the operations that use this holder
    float floatAux0, floatAux1; // for derived classes (1.0 each)
    VxFieldEnum fieldMode;      // the interlaced field worked on
    int intAux0, intAux1;       // for derived classes (0 each)
};

#endif
