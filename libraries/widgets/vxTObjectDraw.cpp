// The drawing side of the widget tree: hints and group backgrounds, through
// the drawing layer. Kept apart from the tree's logic, which needs no GL.
#include "vxTDraw.h"
#include "vxTObject.h"

void VxTObject::tDrawHint(const HvVec2& at) {
    if (hint && !isActive())
        VxTDraw::drawHint(hint, at.x, at.y);
}

void VxTGroup::myTDraw() {
    if (groupFlags & kVxTGroupDrawBackground)
        drawBackground();
    tcDraw();
}

void VxTGroup::drawBackground() {
    const VxRGBf& c = (groupFlags & kVxTGroupDefaultBackColour) ? VxTDraw::_gBackCol : backColour;
    glColor3f(c.r, c.g, c.b);
    VxTDraw::solidBox(origin.x, origin.y, origin.x + size.x, origin.y + size.y);
}
