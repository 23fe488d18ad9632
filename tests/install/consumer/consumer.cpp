// A plug-in-like program built against an installed Veltrix.
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
    HvMatrix33 m = hvIdMat33;
    m.Scale(2.0f, 1.0f);
    // The drawing layer's GL and GLU come with the library: no flags of our own.
    const char* glu = reinterpret_cast<const char*>(gluErrorString(GL_NO_ERROR));
    std::printf("consumer ok: %d workers, ids 0+1+2+3%s, det %g, rows %d, glu %s\n",
                VxMpGetNProcs(), rows.idSum.load() == 6 ? "" : " WRONG",
                static_cast<double>(m.Determinant()), rows.rowsDone.load(), glu ? glu : "null");
    return 0;
}
