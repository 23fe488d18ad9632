// vxCamera.h - a pin-hole camera and its frustum queries.
//
//   Camera     field of view, clip distances, output size and orientation, and
//              the matrices derived from them (perspective, screen, camera to
//              screen and back, world to camera and back)
//   VxCamera   Camera plus the frustum in world space: corners, bounding
//              planes and the integer cells it covers, for culling procedural
//              content (star fields and the like) before it is generated
//   VxCheckOctAgainstFrustrum
//              conservative test of one integer cell against those planes
//
// Conventions
//   Matrices are HvMatrix44 acting on row vectors (hvMaths.h): v' = v * M, so
//   A * B applies A first. Angles are radians, sizes pixels.
//
//   The camera sits at the origin of world space; yaw, pitch and roll turn it
//   about Y, X and Z. worldToCameraMatrix = RotY(-yaw) RotX(-pitch) RotZ(-roll).
//
//   The projection matrices follow the OpenGL habit: cameraToScreenMatrix maps
//   a camera point (x, y, z, 1) with z < 0 in front to homogeneous screen
//   coordinates with w = -z; after the divide, x runs over 0 ... width and y
//   over 0 ... height for the visible part. Projected x (after the
//   perspective matrix and the divide) in -0.5 ... 0.5 spans the whole width:
//   the visible screen is the central half of what the perspective matrix
//   maps to -1 ... 1, because the screen matrix scales by the full width and
//   height, not half of them.
//
//   pointInView and every frustum query look along +z instead: a camera point
//   (x, y, z) is in view when z >= 0 and |2 x focalFactor / aspect| <= z and
//   |2 y focalFactor| <= z. The frustum queries place such a point at the
//   screen position where cameraToScreenMatrix puts (x, y, -z): so with
//   z > 0, +x is to the right of the screen centre, and +y goes to larger
//   screen y unless flipY is set.
//
// Frustum queries (VxCamera)
//   A screen region is given either as a rectangle sx0, sy0, sx1, sy1 in
//   screen pixels (either order per axis; the output image is 0 ... width by
//   0 ... height) or as an HvVec2 margin in pixels added on every side of the
//   whole screen, (-margin.x, -margin.y) to (width + margin.x, height +
//   margin.y). Depth always runs from nearClip to farClip.
//
//   Every query also takes a matrix m that carries the camera's world space
//   into the space the answer is wanted in (the camera's position, the cell
//   size of a star field...): corners are computed as camera point *
//   cameraToWorldMatrix * m. Pass hvIdMat44 for world space itself. The planes
//   need m's inverse: a singular m is replaced by the identity there, as
//   Invert does.
//
//   Planes are HvVec4 (a, b, c, d): a point q is inside when
//   a q.x + b q.y + c q.z + d >= 0. (a, b, c) has unit length, so the value
//   is the signed distance, positive inside (a plane whose normal vanishes,
//   which only a degenerate camera or m gives, stays all zero and so admits
//   everything). The six planes come in the order: sx0 side, sx1 side, sy0
//   side, sy1 side, near, far. A region of zero width or height gives
//   coinciding opposite side planes: a frustum of no volume.
//
//   Corners fill HvVec3 corners[2][2][2] (passed as its first element's
//   address) indexed [depth][y][x]: depth 0 near, 1 far; y 0 at sy0, 1 at sy1;
//   x 0 at sx0, 1 at sx1.
//
//   Cells ("octants") are the unit cubes [i, i + 1) x [j, j + 1) x [k, k + 1)
//   of the target space; the bounds returned are inclusive cell indices, low
//   and high per axis, of the cells the eight corners span (a corner on a
//   boundary counts in the cell above). Bounds are clamped to the int range;
//   a NaN coordinate gives 0.
//
// Lifetime and threading
//   The derived fields are recomputed only by the calculate* functions: call
//   calculateAll() after changing any parameter. Queries are const and read
//   only the object, so any number of threads may query one camera; changing
//   it while others read is a race. Nothing allocates; misuse (null pointers)
//   writes one line on stderr and leaves the outputs untouched.
#ifndef VX_CAMERA_H
#define VX_CAMERA_H

#include "hvMaths.h"
#include "vxExport.h"

class VX_API Camera {
public:
    // 45 degree field of view, clip distances 1 and 1000, 1920 x 1080 square
    // pixels, no rotation, flipY clear; the derived fields are calculated.
    Camera();

    // focalFactor = 1 / tan(fieldOfView / 2) (tangent in double), aspect =
    // width * pixelAspect / height, and the perspective matrix: zero except
    // [0][0] = focalFactor / aspect, [1][1] = focalFactor,
    // [2][2] = (far + near) / (far - near), [2][3] = -1,
    // [3][2] = 2 far near / (far - near). Equal clip distances, a zero height
    // or a zero field of view divide by zero: the matrix keeps the IEEE
    // results (infinities or NaN), and nothing is reported.
    void calculatePerspectiveMatrix();
    // diag(width, +-height, 1, 1) (height negated when flipY is set) times the
    // translation by (width / 2, height / 2).
    void calculateScreenMatrix();
    // cameraToScreenMatrix = perspectiveMatrix * screenMatrix and
    // screenToCameraMatrix = its inverse (the identity if singular).
    void calculateCameraToScreenMatrix();
    // worldToCameraMatrix from yaw, pitch and roll, cameraToWorldMatrix its
    // inverse.
    void calculateWorldToCameraMatrix();
    // All of the above, in that order.
    void calculateAll();

    // The +z view test of the file comment: xs = 2 p.x focalFactor / aspect
    // and ys = 2 p.y focalFactor (in double, rounded to float); true when
    // -p.z <= xs <= p.z and -p.z <= ys <= p.z. So every point with p.z < 0 is
    // out and (0, 0, z) is in for every z >= 0. The clip distances are not
    // consulted.
    bool pointInView(const HvVec3& p) const;

    // (s.x, s.y, 1, 1) * screenToCameraMatrix, x and y WITHOUT the divide by
    // w. Screen depth 1 is the near plane, where w comes out as 1 / nearClip,
    // so the result is the camera x and y of the point seen at screen position
    // s divided by its distance: the slope of the ray through s, i.e. where it
    // meets the plane at distance 1 (independent of the clip distances).
    HvVec2 screenSpaceToCameraSpace(const HvVec2& s) const;

    // Inclusive cell bounds of the whole screen's frustum, nearClip to
    // farClip, in the space cameraToWorldMatrix * m leads to (see the file
    // comment).
    void frustrumToOctants(int& x0, int& x1, int& y0, int& y1, int& z0, int& z1,
                           const HvMatrix44& m) const;

    float fieldOfView;               // full vertical angle, radians
    float nearClip;                  // distance of the near clip plane
    float farClip;                   // distance of the far clip plane
    float width;                     // output width, pixels
    float height;                    // output height, pixels
    float yaw;                       // about Y, radians
    float pitch;                     // about X, radians
    float roll;                      // about Z, radians
    float pixelAspect;               // width of a pixel over its height
    float aspect;                    // derived: width * pixelAspect / height
    float focalFactor;               // derived: 1 / tan(fieldOfView / 2)
    HvMatrix44 perspectiveMatrix;    // derived
    HvMatrix44 screenMatrix;         // derived
    HvMatrix44 cameraToScreenMatrix; // derived: perspective * screen
    HvMatrix44 worldToCameraMatrix;  // derived
    HvMatrix44 screenToCameraMatrix; // derived: inverse of cameraToScreen
    HvMatrix44 cameraToWorldMatrix;  // derived: inverse of worldToCamera
    unsigned char flipY : 1;         // set: camera +y goes towards screen row 0
};

class VX_API VxCamera : public Camera {
public:
    VxCamera() = default;

    // Camera::calculateAll(); the frustum queries read nothing else.
    void calculateAll();

    // The eight corners of the whole screen's frustum (see the file comment
    // for the layout and for m). Null does nothing.
    void frustrumToWorld(HvVec3 (*corners)[2][2], const HvMatrix44& m) const;
    // The same for the screen rectangle sx0, sy0 - sx1, sy1.
    void frustrumToWorld(HvVec3 (*corners)[2][2], float sx0, float sy0, float sx1, float sy1,
                         const HvMatrix44& m) const;

    // The six planes of the frustum of the whole screen grown by `margin`
    // pixels on every side.
    void frustrumToPlanes(HvVec4& p0, HvVec4& p1, HvVec4& p2, HvVec4& p3, HvVec4& p4, HvVec4& p5,
                          const HvMatrix44& m, HvVec2 margin) const;
    // The six planes of the frustum of the screen rectangle sx0, sy0 - sx1, sy1.
    void frustrumToPlanes(HvVec4& p0, HvVec4& p1, HvVec4& p2, HvVec4& p3, HvVec4& p4, HvVec4& p5,
                          float sx0, float sy0, float sx1, float sy1, const HvMatrix44& m) const;

    using Camera::frustrumToOctants;
    // Inclusive cell bounds for the whole screen grown by `margin`.
    void frustrumToOctants(int& x0, int& x1, int& y0, int& y1, int& z0, int& z1,
                           const HvMatrix44& m, HvVec2 margin) const;
    // Inclusive cell bounds for the screen rectangle sx0, sy0 - sx1, sy1.
    void frustrumToOctants(int& x0, int& x1, int& y0, int& y1, int& z0, int& z1, float sx0,
                           float sy0, float sx1, float sy1, const HvMatrix44& m) const;
};

// Whether the cell (i, j, k) may meet the frustum given by six planes from
// frustrumToPlanes. The cell is the box [i sx, (i + 1) sx] x [j sy, (j + 1) sy]
// x [k sz, (k + 1) sz] for cellSize (sx, sy, sz); pass (1, 1, 1) for the unit
// cells of frustrumToOctants. False only when the box lies wholly outside one
// plane, so false is certain and true is conservative (a box near an edge of
// the frustum may be reported although it misses it). Evaluated in double.
// Null planes write one line on stderr and give false.
VX_API bool VxCheckOctAgainstFrustrum(HvVec4* planes, int i, int j, int k, HvVec3 cellSize);

#endif
