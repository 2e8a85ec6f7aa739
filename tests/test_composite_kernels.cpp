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
    // All 256^3 (d, s, m) triples, in rows of 65,536 bytes.
    std::vector<uint8_t> d(65536), s(65536), m(65536), scalar, vector;
    for (int dv = 0; dv < 256; ++dv) {
        for (int i = 0; i < 65536; ++i) {
            d[i] = static_cast<uint8_t>(dv);
            s[i] = static_cast<uint8_t>(i & 0xFF);
            m[i] = static_cast<uint8_t>(i >> 8);
        }
        scalar = d;
        vector = d;
        vq::blendByWeightsScalar(scalar.data(), s.data(), m.data(), 65536);
        vq::blendByWeightsSse41(vector.data(), s.data(), m.data(), 65536);
        ASSERT_EQ(scalar, vector) << "d = " << dv;
    }
}

TEST(BlendKernels, VectorTailsMatchForEveryLength) {
    if (!vq::cpuHasSse41())
        GTEST_SKIP() << "no SSE4.1 on this processor";
    std::mt19937 rng(3);
    for (int count = 0; count <= 70; ++count) {
        std::vector<uint8_t> d(count + 1), s(count + 1), m(count + 1);
        for (int i = 0; i <= count; ++i) {
            d[i] = static_cast<uint8_t>(rng());
            s[i] = static_cast<uint8_t>(rng());
            m[i] = static_cast<uint8_t>(rng());
        }
        std::vector<uint8_t> scalar = d, vector = d;
        vq::blendByWeightsScalar(scalar.data(), s.data(), m.data(), count);
        vq::blendByWeightsSse41(vector.data(), s.data(), m.data(), count);
        ASSERT_EQ(scalar, vector) << count;
        ASSERT_EQ(vector[count], d[count]) << "nothing written past the run";
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
