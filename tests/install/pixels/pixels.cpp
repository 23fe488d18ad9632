// What a program built against Veltrix gets from the library's evaluations:
// colour grades and gradients, HSV, noise, a shape mask and matrix products.
// Writes their bytes to the file named by its argument; the consumer-flags test
// builds it with different compiler flags and compares the files.
#include <veltrix.h>

#include <cstdio>
#include <vector>

namespace {

const VxRGBAf kColours[] = {{0.1f, 0.0f, 0.3f, 1.0f}, {0.8f, 0.2f, 0.1f, 1.0f},
                            {1.0f, 0.8f, 0.2f, 1.0f}, {0.2f, 0.9f, 0.3f, 0.5f},
                            {0.0f, 0.5f, 1.0f, 1.0f}, {0.9f, 0.9f, 0.9f, 1.0f}};

} // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    std::vector<VxRGBAf> out;
    std::vector<float> values;
    for (int mode = 0; mode < 4; ++mode) {
        const int smooth = mode & 1, cyclic = mode >> 1;
        VxColourGrade grade;
        grade.smooth = smooth;
        grade.cyclic(cyclic);
        VxGradDescription<VxRGBAf> gradient;
        gradient.smooth = smooth;
        gradient.cyclic(cyclic);
        for (int i = 0; i < 6; ++i) {
            const float at = static_cast<float>(i + 1) / 7.3f;
            grade.addColour(kColours[i], at);
            gradient.insertNode(gradient.findFreeID(), kColours[i], at);
        }
        grade.prepare();
        for (int i = -100; i <= 4200; ++i) {
            const float t = static_cast<float>(i) / 4000.0f;
            out.push_back(grade.colour(t));
            out.push_back(gradient.evaluate(t));
        }
    }
    for (int i = 0; i <= 1000; ++i) {
        const VxRGBf c = VxHSVtoRGB(static_cast<float>(i) / 997.0f, 0.8f, 0.9f);
        values.insert(values.end(), {c.r, c.g, c.b});
    }

    const HvFractalNoise noise(7);
    std::vector<float> row(300);
    noise.valueRow(5, row.data(), 300, -1.3f, 0.037f, 2.1f, 0.7f);
    values.insert(values.end(), row.begin(), row.end());
    for (int i = 0; i < 300; ++i)
        values.push_back(noise.value8(0.031f * i, 1.7f, -0.3f));

    VxShapeMaskCircle mask;
    mask.setCentre(32, 24);
    mask.setSize(20, 12);
    mask.setRotation(0.3f);
    mask.setSoftness(0.4f);
    mask.setup();
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x)
            values.push_back(mask.density(HvVec2(x + 0.5f, y + 0.5f)));

    HvMatrix33 m;
    m.Rotate(0.7f).Scale(1.3f, 0.9f).Translate(0.1f, -2.3f);
    for (int i = 0; i < 100; ++i) {
        const HvVec2 p = HvVec2(0.37f * i, 1.1f - i / 8.0f) * (m * m);
        values.insert(values.end(), {p.x, p.y, (m * m).Determinant()});
    }

    std::FILE* f = std::fopen(argv[1], "wb");
    if (!f)
        return 1;
    const size_t n = std::fwrite(out.data(), sizeof(VxRGBAf), out.size(), f);
    const size_t nv = std::fwrite(values.data(), sizeof(float), values.size(), f);
    return std::fclose(f) == 0 && n == out.size() && nv == values.size() ? 0 : 1;
}
