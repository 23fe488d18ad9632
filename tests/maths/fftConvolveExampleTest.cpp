// The FFT convolution of the example program against the direct sum.
#include "fftConvolve.h"

#include "vxHost.h"
#include "vxStandaloneHost.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Odd, even and prime sizes, one and three workers: every pixel agrees with
// the cyclic sum to float rounding.
TEST(FftConvolveExample, MatchesDirectConvolution) {
    const int sizes[][2] = {{24, 16}, {17, 9}, {32, 31}};
    for (int workers : {1, 3}) {
        VxStandaloneHostSetWorkers(workers);
        SpMpSetSize(workers, 1, workers);
        for (const auto& s : sizes) {
            const int w = s[0], h = s[1];
            const std::vector<float> picture = TestPicture(w, h);
            const std::vector<float> kernel = SoftDiscKernel(w, h, 4.5f, 0.4f);
            double kernelSum = 0;
            for (float v : kernel)
                kernelSum += v;
            EXPECT_NEAR(kernelSum, 1.0, 1e-5);
            std::vector<float> out;
            ASSERT_TRUE(FftConvolve(picture, kernel, w, h, out));
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    double sum = 0;
                    for (int v = 0; v < h; ++v)
                        for (int u = 0; u < w; ++u)
                            sum += static_cast<double>(picture[static_cast<size_t>(v * w + u)]) *
                                   kernel[static_cast<size_t>(((y - v + h) % h) * w +
                                                              (x - u + w) % w)];
                    ASSERT_NEAR(out[static_cast<size_t>(y * w + x)], sum, 2e-6)
                        << w << " x " << h << " at " << x << ", " << y;
                }
        }
    }
    SpMpSetSize(1, 1, 1);
    std::vector<float> out(3, 9.0f);
    EXPECT_FALSE(FftConvolve(std::vector<float>(6), std::vector<float>(5), 3, 2, out));
    EXPECT_EQ(out, std::vector<float>(3, 9.0f));
}

} // namespace
