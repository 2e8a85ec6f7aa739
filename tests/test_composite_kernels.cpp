// Kernels of the compositing family checked against each other: the vector
// blend against the scalar one, the word-at-a-time mask search against the
// byte search.
#include "composite/blend_kernels.h"
#include "composite/mask_search.h"
#include "core/cpu.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

TEST(BlendKernels, VectorPathGivesTheScalarBytesForEveryTriple) {
    if (!vq::cpuHasSse41())
        GTEST_SKIP() << "no SSE4.1 on this processor";
    // All 256^3 (d, s, m) triples as 1-byte pixels, in runs of 65,536.
    std::vector<uint8_t> d(65536), s(65536), m(65536), scalar, vector;
    for (int dv = 0; dv < 256; ++dv) {
        for (int i = 0; i < 65536; ++i) {
            d[i] = static_cast<uint8_t>(dv);
            s[i] = static_cast<uint8_t>(i & 0xFF);
            m[i] = static_cast<uint8_t>(i >> 8);
        }
        scalar = d;
        vector = d;
        vq::blendPixelsScalar(scalar.data(), s.data(), m.data(), 65536, 1);
        vq::blendPixelsSse41(vector.data(), s.data(), m.data(), 65536, 1);
        ASSERT_EQ(scalar, vector) << "d = " << dv;
    }
}

TEST(BlendKernels, VectorPathMatchesForEveryPixelSizeAndLength) {
    if (!vq::cpuHasSse41())
        GTEST_SKIP() << "no SSE4.1 on this processor";
    std::mt19937 rng(3);
    for (int bytesPerPixel : {1, 2, 3, 4}) {
        for (int pixels = 0; pixels <= 70; ++pixels) {
            const int bytes = pixels * bytesPerPixel;
            std::vector<uint8_t> d(bytes + 1), s(bytes + 1), m(pixels + 1);
            for (auto* v : {&d, &s, &m})
                for (uint8_t& x : *v)
                    x = static_cast<uint8_t>(rng());
            std::vector<uint8_t> scalar = d, vector = d;
            vq::blendPixelsScalar(scalar.data(), s.data(), m.data(), pixels, bytesPerPixel);
            vq::blendPixelsSse41(vector.data(), s.data(), m.data(), pixels, bytesPerPixel);
            ASSERT_EQ(scalar, vector) << bytesPerPixel << " x " << pixels;
            ASSERT_EQ(vector[bytes], d[bytes]) << "nothing written past the run";
        }
    }
}

TEST(MaskSearch, WordSearchFindsWhatTheByteSearchFinds) {
    std::mt19937 rng(11);
    const vq::MaskSearch selected{1, true};
    for (int trial = 0; trial < 20000; ++trial) {
        const int width = 4 * (1 + rng() % 40);
        std::vector<uint8_t> row(width, 255);
        for (int k = rng() % 3; k > 0; --k)
            row[rng() % width] = static_cast<uint8_t>(rng() % 255);
        const int begin = rng() % (width + 1);
        const int end = begin + rng() % (width - begin + 1);
        ASSERT_EQ(vq::firstSelectedByteByWords(row.data(), begin, end),
                  vq::firstCountingPixel(row.data(), begin, end, selected));
        ASSERT_EQ(vq::lastSelectedByteByWords(row.data(), begin, end),
                  vq::lastCountingPixel(row.data(), begin, end, selected));
    }
}
