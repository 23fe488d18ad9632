// The POIS3D-compatible Poisson solver: FFTW 3 real-to-real transforms on the
// i and j axes, a tridiagonal (or, periodic, a DFT) solve along k.
#include "vxPois3d.h"

#include "vxHost.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846264338327950288;

// The transform pair of one boundary code: the forward kind takes grid values
// to mode coefficients (output index q is mode q), the inverse kind takes
// them back; inverse(forward(x)) = norm * x.
struct AxisKind {
    fftwf_r2r_kind forward;
    fftwf_r2r_kind inverse;
};

AxisKind axisKind(int code) {
    switch (code) {
    case 0:
        return {FFTW_R2HC, FFTW_HC2R};
    case 1:
        return {FFTW_RODFT00, FFTW_RODFT00};
    case 2:
        return {FFTW_RODFT01, FFTW_RODFT10};
    case 3:
        return {FFTW_REDFT00, FFTW_REDFT00};
    default:
        return {FFTW_REDFT01, FFTW_REDFT10};
    }
}

double axisNorm(int code, int n) {
    switch (code) {
    case 0:
        return n;
    case 1:
        return 2.0 * (n + 1);
    case 3:
        return 2.0 * (n - 1);
    default:
        return 2.0 * n;
    }
}

// Eigenvalue of mode q (0-based) of the second difference along an axis of n
// points with the given code, times the axis constant: -4 coef sin^2(theta).
double axisEigen(int code, int n, int q, double coef) {
    double theta;
    switch (code) {
    case 0: {
        const int k = q <= n / 2 ? q : n - q; // halfcomplex order
        theta = kPi * k / n;
        break;
    }
    case 1:
        theta = (q + 1) * kPi / (2.0 * (n + 1));
        break;
    case 3:
        theta = q * kPi / (2.0 * (n - 1));
        break;
    default:
        theta = (q + 0.5) * kPi / (2.0 * n);
        break;
    }
    const double s = std::sin(theta);
    return -4.0 * coef * s * s;
}

// The problem a plan pair serves; plans always run in place on a compact
// L x M x N array from fftwf_malloc, so nothing else matters.
struct PlanKey {
    int l, m, n, lperod, mperod, periodicK;
    bool operator==(const PlanKey& o) const {
        return l == o.l && m == o.m && n == o.n && lperod == o.lperod && mperod == o.mperod &&
               periodicK == o.periodicK;
    }
};

struct PlanPair {
    PlanKey key;
    fftwf_plan forward;
    fftwf_plan inverse;
    unsigned long lastUse;
};

// Plans of the most recent problems. A plain array of trivially destructible
// entries: it is written only outside a fork, read by the workers inside one,
// and stays valid (and its plans reachable) until the process ends.
constexpr int kCachedPlans = 8;
PlanPair gPlans[kCachedPlans];
unsigned long gPlanClock = 0;

const PlanPair* findPlans(const PlanKey& key) {
    for (const PlanPair& p : gPlans)
        if (p.forward != nullptr && p.key == key)
            return &p;
    return nullptr;
}

// Makes the plan for the transforms of key over the compact array x, on the
// i and j axes, and also k when periodic. `inverse` picks the kinds.
fftwf_plan makePlan(const PlanKey& key, float* x, bool inverse) {
    const AxisKind kl = axisKind(key.lperod), km = axisKind(key.mperod);
    const std::ptrdiff_t lm = static_cast<std::ptrdiff_t>(key.l) * key.m;
    fftwf_iodim64 dims[3];
    fftwf_r2r_kind kinds[3];
    int rank = 0;
    fftwf_iodim64 loop{key.n, lm, lm};
    int loopRank = 1;
    if (key.periodicK) {
        dims[rank] = {key.n, lm, lm};
        kinds[rank++] = inverse ? FFTW_HC2R : FFTW_R2HC;
        loopRank = 0;
    }
    dims[rank] = {key.m, key.l, key.l};
    kinds[rank++] = inverse ? km.inverse : km.forward;
    dims[rank] = {key.l, 1, 1};
    kinds[rank++] = inverse ? kl.inverse : kl.forward;
    return fftwf_plan_guru64_r2r(rank, dims, loopRank, &loop, x, x, kinds, FFTW_MEASURE);
}

// Plans for key, made now if need be. Only outside a fork; x is scratch of
// the problem's size (planning overwrites it).
const PlanPair* plansFor(const PlanKey& key, float* x) {
    if (const PlanPair* p = findPlans(key)) {
        const_cast<PlanPair*>(p)->lastUse = ++gPlanClock;
        return p;
    }
    PlanPair* slot = &gPlans[0];
    for (PlanPair& p : gPlans)
        if (p.forward == nullptr || p.lastUse < slot->lastUse)
            slot = &p;
    if (slot->forward != nullptr) {
        fftwf_destroy_plan(slot->forward);
        fftwf_destroy_plan(slot->inverse);
        slot->forward = slot->inverse = nullptr;
    }
    fftwf_plan fwd = makePlan(key, x, false);
    fftwf_plan inv = fwd != nullptr ? makePlan(key, x, true) : nullptr;
    if (inv == nullptr) {
        if (fwd != nullptr)
            fftwf_destroy_plan(fwd);
        return nullptr;
    }
    *slot = PlanPair{key, fwd, inv, ++gPlanClock};
    return slot;
}

// FFTW's definition of an unnormalised transform of length n as a matrix
// (row k gives output k), for the direct path used inside a fork.
std::vector<double> kindMatrix(fftwf_r2r_kind kind, int n) {
    std::vector<double> t(static_cast<std::size_t>(n) * n, 0.0);
    for (int k = 0; k < n; ++k) {
        double* row = &t[static_cast<std::size_t>(k) * n];
        for (int j = 0; j < n; ++j) {
            double v = 0.0;
            switch (kind) {
            case FFTW_R2HC:
                v = k <= n / 2 ? std::cos(2.0 * kPi * j * k / n)
                               : -std::sin(2.0 * kPi * j * (n - k) / n);
                break;
            case FFTW_HC2R: // row k is output sample k, column j input slot j
                if (j == 0)
                    v = 1.0;
                else if (2 * j == n)
                    v = (k % 2 == 0) ? 1.0 : -1.0;
                else if (2 * j < n)
                    v = 2.0 * std::cos(2.0 * kPi * j * k / n);
                else
                    v = -2.0 * std::sin(2.0 * kPi * (n - j) * k / n);
                break;
            case FFTW_RODFT00:
                v = 2.0 * std::sin(kPi * (j + 1) * (k + 1) / (n + 1));
                break;
            case FFTW_RODFT01:
                v = (j == n - 1 ? 1.0 : 2.0) * std::sin(kPi * (j + 1) * (2 * k + 1) / (2.0 * n));
                break;
            case FFTW_RODFT10:
                v = 2.0 * std::sin(kPi * (2 * j + 1) * (k + 1) / (2.0 * n));
                break;
            case FFTW_REDFT00:
                v = (j == 0 || j == n - 1 ? 1.0 : 2.0) * std::cos(kPi * j * k / (n - 1));
                break;
            case FFTW_REDFT01:
                v = (j == 0 ? 1.0 : 2.0) * std::cos(kPi * j * (2 * k + 1) / (2.0 * n));
                break;
            default: // FFTW_REDFT10
                v = 2.0 * std::cos(kPi * (2 * j + 1) * k / (2.0 * n));
                break;
            }
            row[j] = v;
        }
    }
    return t;
}

// Applies the n x n matrix t along every line of x: lines start at
// outer * outerStep + inner * innerStep and step by `stride`.
void applyMatrix(const std::vector<double>& t, int n, float* x, std::ptrdiff_t stride,
                 std::ptrdiff_t outerCount, std::ptrdiff_t outerStep, std::ptrdiff_t innerCount,
                 std::ptrdiff_t innerStep, std::vector<double>& in) {
    for (std::ptrdiff_t o = 0; o < outerCount; ++o)
        for (std::ptrdiff_t i = 0; i < innerCount; ++i) {
            float* line = x + o * outerStep + i * innerStep;
            for (int j = 0; j < n; ++j)
                in[static_cast<std::size_t>(j)] = line[j * stride];
            for (int k = 0; k < n; ++k) {
                const double* row = &t[static_cast<std::size_t>(k) * n];
                double s = 0.0;
                for (int j = 0; j < n; ++j)
                    s += row[j] * in[static_cast<std::size_t>(j)];
                line[k * stride] = static_cast<float>(s);
            }
        }
}

// The same transforms as the plans, as matrices. All memory is taken by
// the constructor (which may throw), before the grid is touched.
struct DirectTransforms {
    PlanKey key;
    std::vector<double> forwardL, inverseL, forwardM, inverseM, forwardK, inverseK, scratch;

    explicit DirectTransforms(const PlanKey& k) : key(k) {
        const AxisKind kl = axisKind(key.lperod), km = axisKind(key.mperod);
        forwardL = kindMatrix(kl.forward, key.l);
        inverseL = kindMatrix(kl.inverse, key.l);
        forwardM = kindMatrix(km.forward, key.m);
        inverseM = kindMatrix(km.inverse, key.m);
        if (key.periodicK) {
            forwardK = kindMatrix(FFTW_R2HC, key.n);
            inverseK = kindMatrix(FFTW_HC2R, key.n);
        }
        scratch.resize(static_cast<std::size_t>(std::max(key.l, std::max(key.m, key.n))));
    }

    void apply(float* x, bool inverse) {
        const std::ptrdiff_t l = key.l, m = key.m, n = key.n, lm = l * m;
        applyMatrix(inverse ? inverseL : forwardL, key.l, x, 1, m * n, l, 1, 0, scratch);
        applyMatrix(inverse ? inverseM : forwardM, key.m, x, l, n, lm, l, 1, scratch);
        if (key.periodicK)
            applyMatrix(inverse ? inverseK : forwardK, key.n, x, lm, 1, 0, lm, 1, scratch);
    }
};

// Thomas's algorithm along k, for all the modes of one k plane at once (the
// arrays do not overlap, so the loops vectorise). cp receives C(k) over the
// pivot, x the reduced right-hand side, scaled by `scale` on the way in.
void thomasFirst(float* __restrict x, float* __restrict cp, const float* __restrict mu,
                 std::size_t count, float bk, float ck, float scale) {
    for (std::size_t p = 0; p < count; ++p) {
        const float r = 1.0f / (bk + mu[p]);
        cp[p] = ck * r;
        x[p] = x[p] * scale * r;
    }
}

void thomasForward(float* __restrict x, const float* __restrict xPrev, float* __restrict cp,
                   const float* __restrict cpPrev, const float* __restrict mu, std::size_t count,
                   float ak, float bk, float ck, float scale) {
    for (std::size_t p = 0; p < count; ++p) {
        const float r = 1.0f / (bk + mu[p] - ak * cpPrev[p]);
        cp[p] = ck * r;
        x[p] = (x[p] * scale - ak * xPrev[p]) * r;
    }
}

void thomasBack(float* __restrict x, const float* __restrict xNext, const float* __restrict cp,
                std::size_t count) {
    for (std::size_t p = 0; p < count; ++p)
        x[p] -= cp[p] * xNext[p];
}

// IERROR codes 1 to 10: the checks in order, the last failing one kept.
int checkArguments(int lperod, int l, int mperod, int m, int nperod, int n, const float* a,
                   const float* b, const float* c, int ldimf, int mdimf) {
    int e = 0;
    if (lperod < 0 || lperod > 4)
        e = 1;
    if (l < 3)
        e = 2;
    if (mperod < 0 || mperod > 4)
        e = 3;
    if (m < 3)
        e = 4;
    if (nperod < 0 || nperod > 1)
        e = 5;
    if (n < 3)
        e = 6;
    if (ldimf < l)
        e = 7;
    if (mdimf < m)
        e = 8;
    if (nperod == 0) {
        for (int k = 0; k < n; ++k)
            if (a[k] != c[0] || c[k] != c[0] || b[k] != b[0]) {
                e = 9;
                break;
            }
    } else if (nperod == 1 && n >= 1 && (a[0] != 0.0f || c[n - 1] != 0.0f)) {
        e = 10;
    }
    return e;
}

// The workspace kept between calls made outside a fork, so that repeated
// solves do not fault in fresh pages every time; inside a fork every call
// takes its own.
float* gWorkspace = nullptr;
std::size_t gWorkspaceFloats = 0;

struct Workspace {
    float* p = nullptr;
    bool owned = false;
    Workspace(std::size_t count, bool keep) {
        if (!keep) {
            p = static_cast<float*>(fftwf_malloc(sizeof(float) * count));
            owned = true;
            return;
        }
        if (gWorkspaceFloats < count) {
            fftwf_free(gWorkspace);
            gWorkspace = static_cast<float*>(fftwf_malloc(sizeof(float) * count));
            gWorkspaceFloats = gWorkspace != nullptr ? count : 0;
        }
        p = gWorkspace;
    }
    ~Workspace() {
        if (owned)
            fftwf_free(p);
    }
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
};

} // namespace

int vxPois3d(const int* lperod, const int* l, const float* c1, const int* mperod, const int* m,
             const float* c2, const int* nperod, const int* n, const float* a, const float* b,
             const float* c, const int* ldimf, const int* mdimf, float* f, int* ierror,
             float* /*w: a workspace of our own is used*/) {
    if (ierror == nullptr)
        return 1;
    if (!lperod || !l || !c1 || !mperod || !m || !c2 || !nperod || !n || !a || !b || !c || !ldimf ||
        !mdimf || !f) {
        *ierror = 11;
        return 1;
    }
    const int err = checkArguments(*lperod, *l, *mperod, *m, *nperod, *n, a, b, c, *ldimf, *mdimf);
    *ierror = err;
    if (err != 0)
        return 1;

    const int L = *l, M = *m, N = *n;
    std::size_t lm = 0, total = 0, padded = 0;
    if (__builtin_mul_overflow(static_cast<std::size_t>(L), static_cast<std::size_t>(M), &lm) ||
        __builtin_mul_overflow(lm, static_cast<std::size_t>(N), &total) ||
        total > PTRDIFF_MAX / (2 * sizeof(float)) ||
        __builtin_mul_overflow(static_cast<std::size_t>(*ldimf), static_cast<std::size_t>(*mdimf),
                               &padded) ||
        __builtin_mul_overflow(padded, static_cast<std::size_t>(N), &padded) ||
        padded > PTRDIFF_MAX / sizeof(float)) {
        *ierror = 11;
        return 1;
    }

    const bool periodicK = *nperod == 0;
    const PlanKey key{L, M, N, *lperod, *mperod, periodicK ? 1 : 0};
    // One block: the transformed grid (first, aligned as the plans expect),
    // the Thomas pivots, and the i + j eigenvalue of every mode.
    const bool forked = VxMpIsForked() != 0;
    const std::size_t pivotFloats = periodicK ? 0 : total;
    Workspace work(total + pivotFloats + lm + static_cast<std::size_t>(L), !forked);
    if (work.p == nullptr) {
        *ierror = 11;
        return 1;
    }
    float* const pivots = work.p + total;
    float* const mu = pivots + pivotFloats;
    float* const lamL = mu + lm;

    // Plans are made (and may overwrite x) before the right-hand side is in.
    const PlanPair* plans = nullptr;
    if (!forked)
        plans = plansFor(key, work.p);
    else
        plans = findPlans(key);
    std::unique_ptr<DirectTransforms> direct;
    if (plans == nullptr) {
        try {
            direct.reset(new DirectTransforms(key));
        } catch (...) {
            *ierror = 11;
            return 1;
        }
    }

    // The i + j eigenvalue of every mode, and the transforms' scale.
    for (int i = 0; i < L; ++i)
        lamL[i] = static_cast<float>(axisEigen(*lperod, L, i, *c1));
    for (int j = 0; j < M; ++j) {
        const float lj = static_cast<float>(axisEigen(*mperod, M, j, *c2));
        for (int i = 0; i < L; ++i)
            mu[static_cast<std::size_t>(j) * L + i] = lamL[i] + lj;
    }
    double norm = axisNorm(*lperod, L) * axisNorm(*mperod, M);
    if (periodicK)
        norm *= N;
    const float inv = static_cast<float>(1.0 / norm);

    // An unpadded F aligned as the plans' array is solved in place; otherwise
    // the L x M x N block is copied into the workspace and back.
    const std::size_t ld = static_cast<std::size_t>(*ldimf);
    const std::size_t md = static_cast<std::size_t>(*mdimf);
    const bool inPlace = ld == static_cast<std::size_t>(L) && md == static_cast<std::size_t>(M) &&
                         fftwf_alignment_of(f) == fftwf_alignment_of(work.p);
    float* const xp = inPlace ? f : work.p;
    if (!inPlace)
        for (int k = 0; k < N; ++k)
            for (int j = 0; j < M; ++j)
                std::memcpy(xp + (static_cast<std::size_t>(k) * M + j) * L,
                            f + (static_cast<std::size_t>(k) * md + j) * ld, sizeof(float) * L);

    if (plans != nullptr)
        fftwf_execute_r2r(plans->forward, xp, xp);
    else
        direct->apply(xp, false);

    if (periodicK) {
        // Constant coefficients: mode q along k has eigenvalue
        // B + 2 C cos(2 pi q' / N), q' its frequency.
        for (int k = 0; k < N; ++k) {
            const int q = k <= N / 2 ? k : N - k;
            const float d = static_cast<float>(b[0] + 2.0 * c[0] * std::cos(2.0 * kPi * q / N));
            float* plane = xp + static_cast<std::size_t>(k) * lm;
            for (std::size_t p = 0; p < lm; ++p)
                plane[p] = plane[p] * inv / (d + mu[p]);
        }
    } else {
        // Thomas's algorithm along k for all modes of a plane at once:
        // pivots holds C(k) / denominator, x the reduced right-hand side.
        for (int k = 0; k < N; ++k) {
            float* plane = xp + static_cast<std::size_t>(k) * lm;
            float* cp = pivots + static_cast<std::size_t>(k) * lm;
            const float ck = k + 1 < N ? c[k] : 0.0f;
            if (k == 0)
                thomasFirst(plane, cp, mu, lm, b[k], ck, inv);
            else
                thomasForward(plane, plane - lm, cp, cp - lm, mu, lm, a[k], b[k], ck, inv);
        }
        for (int k = N - 2; k >= 0; --k) {
            float* plane = xp + static_cast<std::size_t>(k) * lm;
            thomasBack(plane, plane + lm, pivots + static_cast<std::size_t>(k) * lm, lm);
        }
    }

    if (plans != nullptr)
        fftwf_execute_r2r(plans->inverse, xp, xp);
    else
        direct->apply(xp, true);

    if (!inPlace)
        for (int k = 0; k < N; ++k)
            for (int j = 0; j < M; ++j)
                std::memcpy(f + (static_cast<std::size_t>(k) * md + j) * ld,
                            xp + (static_cast<std::size_t>(k) * M + j) * L, sizeof(float) * L);
    return 1;
}

void vxPois3dRelease() {
    if (VxMpIsForked())
        return;
    for (PlanPair& p : gPlans) {
        if (p.forward != nullptr) {
            fftwf_destroy_plan(p.forward);
            fftwf_destroy_plan(p.inverse);
        }
        p = PlanPair{};
    }
    fftwf_free(gWorkspace);
    gWorkspace = nullptr;
    gWorkspaceFloats = 0;
}
