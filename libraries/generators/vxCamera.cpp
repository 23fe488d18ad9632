// Pin-hole camera matrices and the frustum queries built on them.
#include "vxCamera.h"

#include <cmath>
#include <cstdio>

namespace {

// A float rounded down to an int cell index, clamped to the int range; NaN
// gives 0.
int CellIndex(float v) {
    const double f = std::floor(static_cast<double>(v));
    if (!(f == f))
        return 0;
    if (f <= -2147483648.0)
        return -2147483647 - 1;
    if (f >= 2147483647.0)
        return 2147483647;
    return static_cast<int>(f);
}

// Camera-space corners, +z forward, of the region at the near and far
// distances: the ray through each screen corner has slope
// screenSpaceToCameraSpace (at distance 1).
void CameraCorners(const Camera& cam, float sx0, float sy0, float sx1, float sy1,
                   HvVec3 (*out)[2][2]) {
    const float depth[2] = {cam.nearClip, cam.farClip};
    const float sx[2] = {sx0, sx1}, sy[2] = {sy0, sy1};
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 2; ++i) {
            const HvVec2 slope = cam.screenSpaceToCameraSpace(HvVec2(sx[i], sy[j]));
            for (int d = 0; d < 2; ++d)
                out[d][j][i] = HvVec3(slope.x * depth[d], slope.y * depth[d], depth[d]);
        }
}

void Corners(const Camera& cam, float sx0, float sy0, float sx1, float sy1, const HvMatrix44& m,
             HvVec3 (*out)[2][2]) {
    CameraCorners(cam, sx0, sy0, sx1, sy1, out);
    const HvMatrix44 toTarget = cam.cameraToWorldMatrix * m;
    for (int d = 0; d < 2; ++d)
        for (int j = 0; j < 2; ++j)
            for (int i = 0; i < 2; ++i)
                out[d][j][i] = out[d][j][i] * toTarget;
}

void Octants(const Camera& cam, float sx0, float sy0, float sx1, float sy1, const HvMatrix44& m,
             int* bounds) {
    HvVec3 c[2][2][2];
    Corners(cam, sx0, sy0, sx1, sy1, m, c);
    HvBox3 box = hvInitBox3;
    for (int d = 0; d < 2; ++d)
        for (int j = 0; j < 2; ++j)
            for (int i = 0; i < 2; ++i)
                box.Include(c[d][j][i]);
    for (int a = 0; a < 3; ++a) {
        bounds[2 * a] = CellIndex(box.lo(a));
        bounds[2 * a + 1] = CellIndex(box.hi(a));
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Camera

Camera::Camera()
    : fieldOfView(0.785398163f), nearClip(1.0f), farClip(1000.0f), width(1920.0f), height(1080.0f),
      yaw(0.0f), pitch(0.0f), roll(0.0f), pixelAspect(1.0f), aspect(1.0f), focalFactor(1.0f),
      flipY(0) {
    calculateAll();
}

void Camera::calculatePerspectiveMatrix() {
    // Equal clip distances, a zero height or a zero field of view divide by
    // zero; the matrix then holds the IEEE results, without a word.
    focalFactor = static_cast<float>(1.0 / std::tan(static_cast<double>(fieldOfView * 0.5f)));
    aspect = width * pixelAspect / height;
    const float depth = farClip - nearClip;
    perspectiveMatrix = HvMatrix44(focalFactor / aspect, 0, 0, 0,             //
                                   0, focalFactor, 0, 0,                      //
                                   0, 0, (farClip + nearClip) / depth, -1.0f, //
                                   0, 0, 2.0f * farClip * nearClip / depth, 0);
}

void Camera::calculateScreenMatrix() {
    const HvMatrix44 scale(width, 0, 0, 0,                    //
                           0, flipY ? -height : height, 0, 0, //
                           0, 0, 1, 0,                        //
                           0, 0, 0, 1);
    HvMatrix44 centre;
    centre.Translate(width * 0.5f, height * 0.5f, 0.0f);
    screenMatrix = scale * centre;
}

void Camera::calculateCameraToScreenMatrix() {
    cameraToScreenMatrix = perspectiveMatrix * screenMatrix;
    screenToCameraMatrix = Invert(cameraToScreenMatrix);
}

void Camera::calculateWorldToCameraMatrix() {
    HvMatrix44 m;
    m.RotateY(-yaw).RotateX(-pitch).RotateZ(-roll);
    worldToCameraMatrix = m;
    cameraToWorldMatrix = Invert(m);
}

void Camera::calculateAll() {
    calculatePerspectiveMatrix();
    calculateScreenMatrix();
    calculateCameraToScreenMatrix();
    calculateWorldToCameraMatrix();
}

bool Camera::pointInView(const HvVec3& p) const {
    const float xs = static_cast<float>(2.0 * p.x * focalFactor / aspect);
    const float ys = static_cast<float>(2.0 * p.y * focalFactor);
    return -p.z <= xs && xs <= p.z && -p.z <= ys && ys <= p.z;
}

HvVec2 Camera::screenSpaceToCameraSpace(const HvVec2& s) const {
    const HvVec4 c = HvVec4(s.x, s.y, 1.0f, 1.0f) * screenToCameraMatrix;
    return HvVec2(c.x, c.y);
}

void Camera::frustrumToOctants(int& x0, int& x1, int& y0, int& y1, int& z0, int& z1,
                               const HvMatrix44& m) const {
    int b[6];
    Octants(*this, 0.0f, 0.0f, width, height, m, b);
    x0 = b[0], x1 = b[1], y0 = b[2], y1 = b[3], z0 = b[4], z1 = b[5];
}

// ---------------------------------------------------------------------------
// VxCamera

void VxCamera::calculateAll() {
    Camera::calculateAll();
}

void VxCamera::frustrumToWorld(HvVec3 (*corners)[2][2], const HvMatrix44& m) const {
    frustrumToWorld(corners, 0.0f, 0.0f, width, height, m);
}

void VxCamera::frustrumToWorld(HvVec3 (*corners)[2][2], float sx0, float sy0, float sx1, float sy1,
                               const HvMatrix44& m) const {
    if (corners == nullptr) {
        std::fprintf(stderr, "VxCamera::frustrumToWorld: null corner array\n");
        return;
    }
    Corners(*this, sx0, sy0, sx1, sy1, m, corners);
}

void VxCamera::frustrumToPlanes(HvVec4& p0, HvVec4& p1, HvVec4& p2, HvVec4& p3, HvVec4& p4,
                                HvVec4& p5, const HvMatrix44& m, HvVec2 margin) const {
    frustrumToPlanes(p0, p1, p2, p3, p4, p5, -margin.x, -margin.y, width + margin.x,
                     height + margin.y, m);
}

void VxCamera::frustrumToPlanes(HvVec4& p0, HvVec4& p1, HvVec4& p2, HvVec4& p3, HvVec4& p4,
                                HvVec4& p5, float sx0, float sy0, float sx1, float sy1,
                                const HvMatrix44& m) const {
    // Camera-space planes, +z forward. A point p is seen at screen x
    // X / W with (X, Y, Z, W) = (p.x, p.y, -p.z, 1) * cameraToScreenMatrix and
    // W > 0 in front, so sx >= sx0 is the linear condition X - sx0 W >= 0:
    // the plane is column 0 minus sx0 times column 3, with the z coefficient
    // negated for the mirror. Likewise for sx1 and the y columns.
    if (sx0 > sx1) {
        const float t = sx0;
        sx0 = sx1;
        sx1 = t;
    }
    if (sy0 > sy1) {
        const float t = sy0;
        sy0 = sy1;
        sy1 = t;
    }
    const HvMatrix44& c = cameraToScreenMatrix;
    auto side = [&c](int col, double s, double sign) {
        double q[4];
        for (int r = 0; r < 4; ++r)
            q[r] = sign * (static_cast<double>(c[r][col]) - s * static_cast<double>(c[r][3]));
        q[2] = -q[2];
        return HvVec4(static_cast<float>(q[0]), static_cast<float>(q[1]), static_cast<float>(q[2]),
                      static_cast<float>(q[3]));
    };
    HvVec4 cam[6] = {side(0, sx0, 1.0),
                     side(0, sx1, -1.0),
                     side(1, sy0, 1.0),
                     side(1, sy1, -1.0),
                     HvVec4(0.0f, 0.0f, 1.0f, -nearClip),
                     HvVec4(0.0f, 0.0f, -1.0f, farClip)};
    // Into the target space: a target point q is (q, 1) * inverse(m) *
    // worldToCamera in camera space, so each plane (a column) is multiplied
    // by that matrix from the left. Then (a, b, c) is scaled to unit length.
    const HvMatrix44 g = Invert(m) * worldToCameraMatrix;
    HvVec4* out[6] = {&p0, &p1, &p2, &p3, &p4, &p5};
    for (int k = 0; k < 6; ++k) {
        double t[4];
        for (int r = 0; r < 4; ++r) {
            t[r] = 0.0;
            for (int j = 0; j < 4; ++j)
                t[r] += static_cast<double>(g[r][j]) * static_cast<double>(cam[k][j]);
        }
        const double len = std::sqrt(t[0] * t[0] + t[1] * t[1] + t[2] * t[2]);
        const double scale = len > 0.0 ? 1.0 / len : 0.0;
        *out[k] = HvVec4(static_cast<float>(t[0] * scale), static_cast<float>(t[1] * scale),
                         static_cast<float>(t[2] * scale), static_cast<float>(t[3] * scale));
    }
}

void VxCamera::frustrumToOctants(int& x0, int& x1, int& y0, int& y1, int& z0, int& z1,
                                 const HvMatrix44& m, HvVec2 margin) const {
    frustrumToOctants(x0, x1, y0, y1, z0, z1, -margin.x, -margin.y, width + margin.x,
                      height + margin.y, m);
}

void VxCamera::frustrumToOctants(int& x0, int& x1, int& y0, int& y1, int& z0, int& z1, float sx0,
                                 float sy0, float sx1, float sy1, const HvMatrix44& m) const {
    int b[6];
    Octants(*this, sx0, sy0, sx1, sy1, m, b);
    x0 = b[0], x1 = b[1], y0 = b[2], y1 = b[3], z0 = b[4], z1 = b[5];
}

bool VxCheckOctAgainstFrustrum(HvVec4* planes, int i, int j, int k, HvVec3 cellSize) {
    if (planes == nullptr) {
        std::fprintf(stderr, "VxCheckOctAgainstFrustrum: null planes\n");
        return false;
    }
    const int cell[3] = {i, j, k};
    double lo[3], hi[3];
    for (int a = 0; a < 3; ++a) {
        const double s = cellSize[a];
        const double e0 = static_cast<double>(cell[a]) * s, e1 = (cell[a] + 1.0) * s;
        lo[a] = e0 < e1 ? e0 : e1;
        hi[a] = e0 < e1 ? e1 : e0;
    }
    for (int p = 0; p < 6; ++p) {
        const HvVec4& q = planes[p];
        // The box corner furthest along the plane's normal: if even that one
        // is outside, the whole box is.
        double v = q.w;
        for (int a = 0; a < 3; ++a)
            v += static_cast<double>(q[a]) * (q[a] >= 0.0f ? hi[a] : lo[a]);
        if (v < 0.0)
            return false;
    }
    return true;
}
