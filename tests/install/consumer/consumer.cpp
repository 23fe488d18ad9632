// A plug-in-like program built against an installed Veltrix.
#include <srfftw.h>
#include <veltrix.h>
#include <vxStandaloneHost.h>

#include <atomic>
#include <cstdio>

namespace {

struct Rows : VxMultiProcessor {
    std::atomic<int> idSum{0};
    std::atomic<int> rowsDone{0};
    void sample() override {
        int b = 0, e = 0;
        range(100, b, e);
        idSum.fetch_add(VxMpGetID());
        rowsDone.fetch_add(e > b ? e - b : 0);
    }
};

} // namespace

int main() {
    VxStandaloneHostSetWorkers(4);
    SpMpSetSize(4, 1, 4);
    Rows rows;
    rows.process();
    const int workers = VxMpGetNProcs();
    HvMatrix33 m = hvIdMat33;
    m.Scale(2.0f, 1.0f);
    // FFTW 2 comes with the package: a real transform of 1, 2, 3, 4 whose
    // spectrum is squared by the library's pass (DC 10 -> 100).
    int n = 4;
    fftw_real in[4] = {1, 2, 3, 4};
    VxComplex<float> spectrum[4];
    rfftwnd_plan plan = rfftwnd_create_plan(1, &n, FFTW_REAL_TO_COMPLEX, FFTW_ESTIMATE);
    rfftwnd_one_real_to_complex(plan, in, reinterpret_cast<fftw_complex*>(spectrum));
    rfftwnd_destroy_plan(plan);
    SpMpSetSize(1, 1, 1);
    VxTexture<VxComplex<float>, VxComplex<float>> s(4, 1, spectrum);
    VxImgProc frame;
    VxFourierConvolvePass(1.0f).convolvePass(s, s, frame);
    // The drawing layer's GL and GLU come with the library: no flags of our own.
    const char* glu = reinterpret_cast<const char*>(gluErrorString(GL_NO_ERROR));
    std::printf("consumer ok: %d workers, ids 0+1+2+3%s, det %g, rows %d, fft dc %g, glu %s\n",
                workers, rows.idSum.load() == 6 ? "" : " WRONG",
                static_cast<double>(m.Determinant()), rows.rowsDone.load(),
                static_cast<double>(spectrum[0].re), glu ? glu : "null");
    return 0;
}
