// fftConvolveDemo - blurs a test picture by a soft disc through FFTW 2 and
// Veltrix's spectral multiply (see fftConvolve.h), on every processor.
//
// Built only from Veltrix's public headers. It prints the time taken and
// checks the result against the direct sum at a few pixels.
//
//     fftConvolveDemo [--size W H] [--radius R] [--workers N]
#include "fftConvolve.h"

#include "veltrix.h"
#include "vxStandaloneHost.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
    int width = 1024, height = 768, workers = VxStandaloneHostWorkers();
    float radius = 12.0f;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--size") == 0 && i + 2 < argc) {
            width = std::atoi(argv[++i]);
            height = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--radius") == 0 && i + 1 < argc) {
            radius = static_cast<float>(std::atof(argv[++i]));
        } else if (std::strcmp(argv[i], "--workers") == 0 && i + 1 < argc) {
            workers = std::atoi(argv[++i]);
        } else {
            std::fprintf(stderr,
                         "usage: fftConvolveDemo [--size W H] [--radius R] [--workers N]\n");
            return 2;
        }
    }
    if (width < 1 || height < 1 || workers < 1 || width > 16384 || height > 16384) {
        std::fprintf(stderr, "fftConvolveDemo: size 1 to 16384 and at least one worker\n");
        return 2;
    }
    VxStandaloneHostSetWorkers(workers);
    SpMpSetSize(workers, 1, workers); // one worker number per host processor

    const std::vector<float> picture = TestPicture(width, height);
    const std::vector<float> kernel = SoftDiscKernel(width, height, radius, 0.3f);
    std::vector<float> out;
    const auto start = std::chrono::steady_clock::now();
    FftConvolve(picture, kernel, width, height, out);
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();

    // The direct cyclic sum at 16 pixels along the diagonal.
    double worst = 0.0;
    for (int s = 0; s < 16; ++s) {
        const int x = s * (width - 1) / 15, y = s * (height - 1) / 15;
        double sum = 0.0;
        for (int v = 0; v < height; ++v)
            for (int u = 0; u < width; ++u)
                sum += static_cast<double>(picture[static_cast<size_t>(v) * width + u]) *
                       kernel[static_cast<size_t>((y - v + height) % height) * width +
                              static_cast<size_t>((x - u + width) % width)];
        worst = std::max(worst, std::fabs(sum - out[static_cast<size_t>(y) * width + x]));
    }
    std::printf("convolved %d x %d by a soft disc of radius %g on %d workers in %.1f ms; "
                "largest difference from the direct sum at 16 pixels: %.2g\n",
                width, height, static_cast<double>(radius), workers, ms, worst);
    return 0;
}
