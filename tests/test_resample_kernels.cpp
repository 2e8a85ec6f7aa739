// The resampler's row kernels: the dispatched vector path against the scalar
// one, the scalar one against the bilinear rule of resample_kernels.h, the
// byte kernel against the word kernel, and the 1-bit nearest kernel.
#include "freetransform/projective_matrix.h"
#include "freetransform/resample_kernels.h"

#include <gtest/gtest.h>

#include <QPointF>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

using vq::ProjectiveMatrix;
using vq::Sampling;

namespace {

// w x h pixels of 4 bytes (or of 1 bit), random, rows padded.
struct Source {
    Source(std::mt19937& rng, int w, int h, bool bits = false)
        : bytes(size_t((bits ? (w + 7) / 8 : 4 * w) + 4 * (rng() % 3)) * h) {
        for (uint8_t& b : bytes)
            b = uint8_t(rng());
        rows = {bytes.data(), qsizetype(bytes.size() / h), w, h};
    }
    std::vector<uint8_t> bytes;
    vq::SourceRows rows;
};

// Inverse matrices over a w x h source by kind: 0 affine, 1 projective,
// 2 with a denominator of 0 at x = 5 of row 0, 3 with an entry NaN or infinite.
ProjectiveMatrix randomInverse(std::mt19937& rng, int w, int h, int kind) {
    auto uniform = [&](double a, double b) { return std::uniform_real_distribution<double>(a, b)(rng); };
    ProjectiveMatrix m;
    const double e[9] = {uniform(-0.6, 0.6), uniform(-0.6, 0.6), uniform(-2, w + 1),     uniform(-0.6, 0.6),
                         uniform(-0.6, 0.6), uniform(-2, h + 1), uniform(-0.02, 0.02), uniform(-0.02, 0.02),
                         uniform(0.6, 1.4)};
    std::memcpy(m.m, e, kind == 0 ? 6 * sizeof(double) : sizeof e);
    if (kind == 2)
        m.m[6] = 1, m.m[7] = 0.5, m.m[8] = -5;
    if (kind == 3)
        m.m[rng() % 9] = std::array<double, 3>{std::nan(""), HUGE_VAL, -HUGE_VAL}[rng() % 3];
    return m;
}

// The source position of output pixel (x, y) by the matrix rule.
QPointF sourceOf(const ProjectiveMatrix& inv, int x, int y) {
    const double* m = inv.m;
    const double w = m[6] * x + m[7] * y + m[8];
    return QPointF(m[0] * x + m[1] * y + m[2], m[3] * x + m[4] * y + m[5]) / (w == 0 ? 1 : w);
}

// One output pixel straight from the rule.
uint32_t rulePixel(Sampling sampling, const vq::SourceRows& s, const ProjectiveMatrix& inv, uint32_t bg, int x, int y) {
    const QPointF p = sourceOf(inv, x, y);
    const double sx = p.x(), sy = p.y();
    const bool legacy = sampling == Sampling::Legacy;
    if (legacy ? !(sx >= -1 && sx <= s.width && sy >= -1 && sy <= s.height)
               : !(sx > -1 && sx < s.width && sy > -1 && sy < s.height))
        return legacy ? bg : 0;
    const int x0 = int(std::floor(sx)), y0 = int(std::floor(sy));
    const double fx = sx - x0, fy = sy - y0;
    auto sample = [&](int px, int py) -> uint32_t {  // outside: opaque white, or the nearest pixel with alpha 0
        const bool in = px >= 0 && py >= 0 && px < s.width && py < s.height;
        if (!in && legacy)
            return 0xFFFFFFFFu;
        uint32_t v;
        std::memcpy(&v, s.bits + std::clamp(py, 0, s.height - 1) * s.stride + 4 * std::clamp(px, 0, s.width - 1), 4);
        return in ? v : v & 0xFFFFFFu;
    };
    const uint32_t p00 = sample(x0, y0), p01 = sample(x0 + 1, y0);
    const uint32_t p10 = sample(x0, y0 + 1), p11 = sample(x0 + 1, y0 + 1);
    uint32_t out = 0;
    for (int b = 0; b < 32; b += 8) {
        auto c = [b](uint32_t v) { return double((v >> b) & 255); };
        const double v = (c(p11) * fx + c(p10) * (1 - fx)) * fy + (c(p00) * (1 - fx) + c(p01) * fx) * (1 - fy);
        out |= uint32_t(std::min(255, int(legacy ? v : v + 0.5))) << b;
    }
    return out;
}

}  // namespace

// Random sources (1 x 1, 2 x 1 and 1 x 2 among them), matrices of every kind,
// spans of every width from 1 to 70 starting anywhere.
TEST(ResampleKernels, SpansAgreeWithScalarKernelAndTheRule) {
    std::mt19937 rng(21);
    const int sizes[][2] = {{1, 1}, {2, 1}, {1, 2}, {2, 2}, {7, 5}, {24, 24}, {33, 3}};
    for (int round = 0; round < 400; ++round) {
        const int w = round < 56 ? sizes[round % 7][0] : 1 + rng() % 40;
        const int h = round < 56 ? sizes[round % 7][1] : 1 + rng() % 30;
        const Source src(rng, w, h), mono(rng, w, h, true);
        const ProjectiveMatrix inv = randomInverse(rng, w, h, round % 4);
        const uint32_t bg = rng();
        const int y = round % 4 == 2 ? 0 : int(rng() % (h + 6)) - 3;
        for (Sampling sampling : {Sampling::Legacy, Sampling::Clean})
            for (int width = 1; width <= 70; ++width) {
                const int x0 = int(rng() % 23) - 9;
                std::vector<uint32_t> fast(width, 0xDEADBEEF), scalar(width, 0xDEADBEEF);
                vq::bilinearSpan(sampling, src.rows, inv, bg, y, x0, x0 + width, fast.data());
                vq::bilinearSpanScalar(sampling, src.rows, inv, bg, y, x0, x0 + width, scalar.data());
                ASSERT_EQ(fast, scalar) << "round " << round << " width " << width << " from " << x0;
                for (int k = 0; k < width && width % 17 == 0; ++k)
                    ASSERT_EQ(scalar[k], rulePixel(sampling, src.rows, inv, bg, x0 + k, y))
                        << "round " << round << " pixel " << x0 + k << "," << y;
            }
        // The byte kernel with 4-byte pixels is the Legacy word kernel.
        const int x0 = int(rng() % 19) - 7, width = 1 + rng() % 60;
        std::vector<uint32_t> words(width);
        std::vector<uint8_t> bytes(4 * width);
        vq::bilinearSpanScalar(Sampling::Legacy, src.rows, inv, bg, y, x0, x0 + width, words.data());
        vq::bilinearSpanBytes(src.rows, 4, inv, reinterpret_cast<const uint8_t*>(&bg), y, x0, x0 + width, bytes.data());
        ASSERT_EQ(std::memcmp(words.data(), bytes.data(), bytes.size()), 0) << "round " << round;
        // 1-bit: output bit k (most significant first) is set where the
        // nearest source bit is; every other bit keeps its value.
        std::vector<uint8_t> out((width + 7) / 8);
        for (uint8_t& b : out)
            b = uint8_t(rng());
        std::vector<uint8_t> expected = out;
        for (int k = 0; k < width; ++k) {
            const QPointF p = sourceOf(inv, x0 + k, y);
            if (p.x() >= 0 && p.x() < w && p.y() >= 0 && p.y() < h &&
                (mono.rows.bits[int(p.y()) * mono.rows.stride + int(p.x()) / 8] & (0x80 >> (int(p.x()) % 8))))
                expected[k / 8] |= uint8_t(0x80 >> (k % 8));
        }
        vq::nearestSpanBits(mono.rows, inv, y, x0, x0 + width, out.data());
        ASSERT_EQ(out, expected) << "round " << round;
    }
}

// The edges of the pixel 0xFF804020 by hand, output x = 0 reading sx = tx.
TEST(ResampleKernels, EdgeSamplesOfBothSamplings) {
    const uint32_t pixel = 0xFF804020;
    const vq::SourceRows one{reinterpret_cast<const uint8_t*>(&pixel), 4, 1, 1};
    const std::tuple<double, Sampling, uint32_t> edges[] = {
        {-0.5, Sampling::Legacy, 0xFFBF9F8F},  // half opaque white, truncated
        {-0.5, Sampling::Clean, 0x80804020},   // half the pixel with alpha 0, rounded
        {-1.0, Sampling::Legacy, 0xFFFFFFFF},  // on the closed range: all white
        {-1.0, Sampling::Clean, 0x00000000},   // outside the open range
        {-1.5, Sampling::Legacy, 0x12345678},  // the background
        {0.75, Sampling::Clean, 0x40804020}};
    for (auto [tx, sampling, expected] : edges) {
        ProjectiveMatrix m;
        m.m[2] = tx;
        uint32_t out = 0;
        vq::bilinearSpanScalar(sampling, one, m, 0x12345678, 0, 0, 1, &out);
        EXPECT_EQ(out, expected) << tx << " " << int(sampling);
    }
}
