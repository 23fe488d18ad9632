// Convolution through FFTW 2 and the spectral multiply pass.
#include "fftConvolve.h"

#include "veltrix.h"

#include <srfftw.h>

#include <cmath>
#include <cstddef>

namespace {

using Spectrum = VxTexture<VxComplex<float>, VxComplex<float>>;

static_assert(sizeof(VxComplex<float>) == sizeof(fftw_complex),
              "spectra are handed to FFTW 2 as they are");

// The multiply, run by the frame on every worker: each takes its rows.
struct SpectralMultiply : VxImgProc {
    VxFourierConvolvePass pass;
    Spectrum* image = nullptr;
    Spectrum* kernel = nullptr;
    void sample() override { pass.convolvePass(*image, *kernel, *this); }
};

// The 2-D real-to-complex transform of `real` into the first W/2 + 1 columns
// of `spectrum` (row stride W): each row, then each of those columns.
void forward(std::vector<float>& real, Spectrum& spectrum, rfftwnd_plan rows, fftw_plan columns) {
    const int w = spectrum.xIndexer.resolution, h = spectrum.yIndexer.resolution;
    auto* s = reinterpret_cast<fftw_complex*>(spectrum.data);
    rfftwnd_real_to_complex(rows, h, real.data(), 1, w, s, 1, w);
    fftw(columns, w / 2 + 1, s, w, 1, nullptr, 0, 0);
}

} // namespace

std::vector<float> SoftDiscKernel(int width, int height, float radius, float softness) {
    std::vector<float> k(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    VxShapeMaskCircle disc;
    disc.setCentre(0.0f, 0.0f);
    disc.setSize(radius, radius);
    disc.setSoftness(softness);
    disc.setup();
    double sum = 0.0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            // The nearest copy of the centre, for a kernel that wraps.
            const int dx = x <= width / 2 ? x : x - width;
            const int dy = y <= height / 2 ? y : y - height;
            const float v = disc.density(HvVec2(static_cast<float>(dx), static_cast<float>(dy)));
            k[static_cast<std::size_t>(y) * width + x] = v;
            sum += v;
        }
    if (sum > 0.0)
        for (float& v : k)
            v = static_cast<float>(v / sum);
    return k;
}

std::vector<float> TestPicture(int width, int height) {
    std::vector<float> p(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const float check = ((x / 16 + y / 16) % 2) ? 0.8f : 0.2f;
            const float ramp = static_cast<float>(x + y) / static_cast<float>(width + height);
            p[static_cast<std::size_t>(y) * width + x] = 0.5f * check + 0.5f * ramp;
        }
    return p;
}

bool FftConvolve(const std::vector<float>& picture, const std::vector<float>& kernel, int width,
                 int height, std::vector<float>& out) {
    const std::size_t n = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (width < 1 || height < 1 || picture.size() != n || kernel.size() != n)
        return false;

    // Plans outside the fork: FFTW's planner is not thread-safe.
    rfftwnd_plan rowsForward = rfftwnd_create_plan(1, &width, FFTW_REAL_TO_COMPLEX, FFTW_ESTIMATE);
    rfftwnd_plan rowsInverse = rfftwnd_create_plan(1, &width, FFTW_COMPLEX_TO_REAL, FFTW_ESTIMATE);
    fftw_plan columnsForward =
        fftw_create_plan(height, FFTW_FORWARD, FFTW_ESTIMATE | FFTW_IN_PLACE);
    fftw_plan columnsInverse =
        fftw_create_plan(height, FFTW_BACKWARD, FFTW_ESTIMATE | FFTW_IN_PLACE);

    std::vector<VxComplex<float>> imageData(n), kernelData(n);
    Spectrum image(width, height, imageData.data()), kern(width, height, kernelData.data());
    std::vector<float> real = picture; // FFTW 2 may use its input as scratch
    forward(real, image, rowsForward, columnsForward);
    real = kernel;
    forward(real, kern, rowsForward, columnsForward);

    SpectralMultiply multiply;
    multiply.pass.scale = 1.0f / (static_cast<float>(width) * static_cast<float>(height));
    multiply.image = &image;
    multiply.kernel = &kern;
    multiply.processImages(&image);

    auto* s = reinterpret_cast<fftw_complex*>(image.data);
    fftw(columnsInverse, width / 2 + 1, s, width, 1, nullptr, 0, 0);
    out.resize(n);
    rfftwnd_complex_to_real(rowsInverse, height, s, 1, width, out.data(), 1, width);

    fftw_destroy_plan(columnsInverse);
    fftw_destroy_plan(columnsForward);
    rfftwnd_destroy_plan(rowsInverse);
    rfftwnd_destroy_plan(rowsForward);
    return true;
}
