#include "stack_blur.h"

#include "core/pixel_math.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace vq {

namespace {

// Sum types and quotients: 32-bit sums and the byte quotient while
// 255 (r + 1)^2 stays below 2^31; wider sums and a true division beyond.
using Wide = unsigned __int128;

template <typename Sum>
struct PlainQuotient {
    Sum d;
    Sum operator()(Sum n) const { return n / d; }
};

// Triangle sum of the first window, its left half (offsets -r..0) and right
// half (1..r), of a signal of `n` samples read by `at`, border repeated.
template <typename Sum, typename At>
void firstWindow(At at, int n, int64_t r, Sum& S, Sum& L, Sum& R) {
    const Sum p0 = at(0);
    const Sum pm = at(n - 1);
    const int64_t inside = std::min<int64_t>(r, n - 1);  // offsets 1..inside are real samples
    const Sum rr = static_cast<Sum>(r);
    L = (rr + 1) * p0;
    S = (rr + 1) * (rr + 2) / 2 * p0;
    R = 0;
    for (int64_t i = 1; i <= inside; ++i) {
        const Sum p = at(static_cast<int>(i));
        R += p;
        S += (rr + 1 - static_cast<Sum>(i)) * p;
    }
    const Sum beyond = static_cast<Sum>(r - inside);  // offsets repeating the last sample
    R += beyond * pm;
    S += beyond * (beyond + 1) / 2 * pm;
}

template <int C, typename Sum, typename Quotient>
void blurRow(const uint8_t* in, uint8_t* out, int w, int64_t r, Quotient quotient) {
    Sum S[C], L[C], R[C];
    for (int c = 0; c < C; ++c)
        firstWindow<Sum>([&](int x) { return Sum{in[x * C + c]}; }, w, r, S[c], L[c], R[c]);
    const int64_t last = w - 1;
    for (int x = 0; x < w; ++x) {
        for (int c = 0; c < C; ++c)
            out[x * C + c] = static_cast<uint8_t>(quotient(S[c]));
        const uint8_t* pin = in + std::min<int64_t>(x + r + 1, last) * C;
        const uint8_t* pout = in + std::max<int64_t>(x - r, 0) * C;
        const uint8_t* pnext = in + std::min<int64_t>(x + 1, last) * C;
        for (int c = 0; c < C; ++c) {
            S[c] += R[c] + pin[c] - L[c];
            L[c] += pnext[c] - pout[c];
            R[c] += pin[c] - pnext[c];
        }
    }
}

template <typename Sum, typename Quotient>
void blurRow(const uint8_t* in, uint8_t* out, int w, int channels, int64_t r, Quotient quotient) {
    switch (channels) {
    case 1: blurRow<1, Sum>(in, out, w, r, quotient); break;
    case 3: blurRow<3, Sum>(in, out, w, r, quotient); break;
    default: blurRow<4, Sum>(in, out, w, r, quotient); break;
    }
}

// Lanes of a column strip slide down the rows together; small enough to stay
// in registers and the first-level cache.
constexpr int kMaxLanes = 64;

template <typename Sum, typename Quotient>
void blurColumns(const uint8_t* in, qsizetype inStride, uint8_t* out, qsizetype outStride, int h, int lanes,
                 int64_t r, Quotient quotient) {
    Sum S[kMaxLanes], L[kMaxLanes], R[kMaxLanes];
    for (int l = 0; l < lanes; ++l)
        firstWindow<Sum>([&](int y) { return Sum{in[y * inStride + l]}; }, h, r, S[l], L[l], R[l]);
    const int64_t last = h - 1;
    for (int y = 0; y < h; ++y) {
        uint8_t* o = out + y * outStride;
        for (int l = 0; l < lanes; ++l)
            o[l] = static_cast<uint8_t>(quotient(S[l]));
        const uint8_t* pin = in + std::min<int64_t>(y + r + 1, last) * inStride;
        const uint8_t* pout = in + std::max<int64_t>(y - r, 0) * inStride;
        const uint8_t* pnext = in + std::min<int64_t>(y + 1, last) * inStride;
        for (int l = 0; l < lanes; ++l) {
            S[l] += R[l] + pin[l] - L[l];
            L[l] += pnext[l] - pout[l];
            R[l] += pin[l] - pnext[l];
        }
    }
}

// 32-bit sums whose quotients are bytes: the kernels built for several
// instruction sets (the lanes vectorise).
struct FastQuotient {
    ByteQuotient byte;
    uint8_t operator()(uint32_t n) const { return static_cast<uint8_t>(byte(static_cast<int32_t>(n))); }
};

VQ_MULTIVERSION void fastRow(const uint8_t* in, uint8_t* out, int w, int channels, int r) {
    blurRow<uint32_t>(in, out, w, channels, r, FastQuotient{ByteQuotient((r + 1) * (r + 1))});
}

VQ_MULTIVERSION void fastColumns(const uint8_t* in, qsizetype inStride, uint8_t* out, qsizetype outStride, int h,
                                 int lanes, int r) {
    blurColumns<uint32_t>(in, inStride, out, outStride, h, lanes, r,
                          FastQuotient{ByteQuotient((r + 1) * (r + 1))});
}

bool fitsFastPath(int64_t r) { return (r + 1) * (r + 1) <= ByteQuotient::kMaxDivisor; }
bool fitsSixtyFourBits(int64_t r) { return r < (int64_t{1} << 27); }

}  // namespace

void stackBlurRow(const uint8_t* in, uint8_t* out, int width, int channels, int radius) {
    const int64_t r = radius;
    if (fitsFastPath(r))
        fastRow(in, out, width, channels, radius);
    else if (fitsSixtyFourBits(r))
        blurRow<uint64_t>(in, out, width, channels, r, PlainQuotient<uint64_t>{uint64_t((r + 1) * (r + 1))});
    else
        blurRow<Wide>(in, out, width, channels, r, PlainQuotient<Wide>{Wide(r + 1) * Wide(r + 1)});
}

void stackBlurColumns(const uint8_t* in, qsizetype inStride, uint8_t* out, qsizetype outStride, int height,
                      int lanes, int radius) {
    const int64_t r = radius;
    for (int first = 0; first < lanes; first += kMaxLanes) {
        const int n = std::min(kMaxLanes, lanes - first);
        if (fitsFastPath(r))
            fastColumns(in + first, inStride, out + first, outStride, height, n, radius);
        else if (fitsSixtyFourBits(r))
            blurColumns<uint64_t>(in + first, inStride, out + first, outStride, height, n, r,
                                  PlainQuotient<uint64_t>{uint64_t((r + 1) * (r + 1))});
        else
            blurColumns<Wide>(in + first, inStride, out + first, outStride, height, n, r,
                              PlainQuotient<Wide>{Wide(r + 1) * Wide(r + 1)});
    }
}

void stackBlurRowReference(const uint8_t* in, uint8_t* out, int width, int channels, int radius) {
    const int64_t r = radius;
    const Wide divisor = Wide(r + 1) * Wide(r + 1);
    for (int x = 0; x < width; ++x)
        for (int c = 0; c < channels; ++c) {
            // Offsets beyond the image all read the border pixel: add them in closed form.
            Wide sum = 0;
            for (int64_t i = -std::min<int64_t>(r, x); i <= std::min<int64_t>(r, width - 1 - x); ++i)
                sum += Wide(r + 1 - (i < 0 ? -i : i)) * in[(x + i) * channels + c];
            const Wide leftOut = static_cast<Wide>(std::max<int64_t>(0, r - x));
            const Wide rightOut = static_cast<Wide>(std::max<int64_t>(0, r - (width - 1 - x)));
            sum += leftOut * (leftOut + 1) / 2 * in[c];
            sum += rightOut * (rightOut + 1) / 2 * in[(width - 1) * channels + c];
            out[x * channels + c] = static_cast<uint8_t>(sum / divisor);
        }
}

}  // namespace vq
