// DibAdjustTemperature: a shift along the blue-yellow axis of CIE L*a*b*.
//
// The pass is defined by its single-precision arithmetic. It runs on the
// calling thread, so it is written for vector units: pixels go through in
// chunks, one stage at a time, each stage a plain loop of float operations
// (no fused multiply-adds, so every lane rounds as the scalar formula
// does). The cube root is the only non-elementary step; it is computed as
// an inverse cube root refined by Newton steps in double precision and
// rounded to float once, which gives the correctly rounded cube root on
// the whole range the pass meets.
#include "core/byte_rules.h"
#include "temperature.h"

#include <vqutil/adjust.h>

#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// RGB (linear, D65) to XYZ, the white point folded into X and Z.
constexpr float kXr = 0.412453f, kXg = 0.35758f, kXb = 0.180423f, kWhiteX = 0.950456f;
constexpr float kYr = 0.212671f, kYg = 0.71516f, kYb = 0.072169f;
constexpr float kZr = 0.019334f, kZg = 0.119193f, kZb = 0.950227f, kWhiteZ = 1.088754f;
// XYZ to RGB.
constexpr float kRx = 3.240479f, kRy = -1.53715f, kRz = -0.498535f;
constexpr float kGx = -0.969256f, kGy = 1.875992f, kGz = 0.041556f;
constexpr float kBx = 0.055648f, kBy = -0.204043f, kBz = 1.057311f;
// The Lab companding: cube root above the knee, a line below it.
constexpr float kKnee = 0.008856f, kSlope = 7.787f, kOffset = 16.0f / 116.0f, kInverseKnee = 0.206893f;

// Both sides of each knee are computed before the choice: a branch would
// keep the compiler from vectorising (it may not hoist float operations
// out of a condition).
inline float labLinear(float t) { return kSlope * t + kOffset; }
inline float labInverse(float u) {
    const float cube = u * u * u;
    const float line = (u - kOffset) / kSlope;
    return u > kInverseKnee ? cube : line;
}

// Inverse cube root: a bit-level estimate (within a few per cent), then
// four Newton steps r' = r (4 - t r^3) / 3 in double, each doubling the
// correct bits; t r^2 is the cube root. Written without branches or
// library calls so that it vectorises.
inline float cubeRootKernel(float t) {
    uint32_t bits;
    std::memcpy(&bits, &t, 4);
    bits = 0x54A21D2Au - bits / 3;
    float estimate;
    std::memcpy(&estimate, &bits, 4);
    const double x = t;
    const auto newton = [x](double r) { return r * (4.0 - x * (r * r * r)) * (1.0 / 3.0); };
    const double r = newton(newton(newton(newton(estimate))));
    return static_cast<float>(x * (r * r));
}

// Pixels per chunk: the stage arrays stay in the first-level cache.
constexpr int kChunk = 256;

struct Chunk {
    float red[kChunk], green[kChunk], blue[kChunk];
    float fx[kChunk], fy[kChunk], fz[kChunk];
};

VQ_MULTIVERSION void loadChannels(const uint8_t* __restrict row, int count, int bpp, Chunk& c) {
    for (int i = 0; i < count; ++i) {
        c.blue[i] = row[i * bpp] / 255.0f;
        c.green[i] = row[i * bpp + 1] / 255.0f;
        c.red[i] = row[i * bpp + 2] / 255.0f;
    }
}

// XYZ and the companding of each.
VQ_MULTIVERSION_WIDE void forwardStage(int count, Chunk& c) {
    for (int i = 0; i < count; ++i) {
        const float R = c.red[i], G = c.green[i], B = c.blue[i];
        const float X = (kXr * R + kXg * G + kXb * B) / kWhiteX;
        const float Y = kYr * R + kYg * G + kYb * B;
        const float Z = (kZr * R + kZg * G + kZb * B) / kWhiteZ;
        const float cx = cubeRootKernel(X), cy = cubeRootKernel(Y), cz = cubeRootKernel(Z);
        const float lx = labLinear(X), ly = labLinear(Y), lz = labLinear(Z);
        c.fx[i] = X > kKnee ? cx : lx;
        c.fy[i] = Y > kKnee ? cy : ly;
        c.fz[i] = Z > kKnee ? cz : lz;
    }
}

// Lab with b* shifted and back to RGB bytes.
VQ_MULTIVERSION_WIDE void backwardStage(uint8_t* __restrict row, int count, int bpp, float amount, const Chunk& c) {
    for (int i = 0; i < count; ++i) {
        const float L = 116 * c.fy[i] - 16;
        const float a = 500 * (c.fx[i] - c.fy[i]);
        float b = 200 * (c.fy[i] - c.fz[i]) + amount;
        b = std::min(std::max(b, -127.0f), 127.0f);
        const float fy = (std::max(L, 0.0f) + 16) / 116;
        const float fx = a / 500 + fy;
        const float fz = fy - b / 200;
        const float X = kWhiteX * labInverse(fx);
        const float Y = labInverse(fy);
        const float Z = kWhiteZ * labInverse(fz);
        const float R = kRx * X + kRy * Y + kRz * Z;
        const float G = kGx * X + kGy * Y + kGz * Z;
        const float B = kBx * X + kBy * Y + kBz * Z;
        row[i * bpp] = vq::byteFromUnitTruncatedF(B);
        row[i * bpp + 1] = vq::byteFromUnitTruncatedF(G);
        row[i * bpp + 2] = vq::byteFromUnitTruncatedF(R);
    }
}

}  // namespace

namespace vq {

float cubeRootToFloat(float t) { return cubeRootKernel(t); }

void temperaturePixelReference(const uint8_t* in, uint8_t* out, int amount) {
    const auto f = [](float t) { return t > kKnee ? static_cast<float>(std::cbrt(static_cast<double>(t))) : labLinear(t); };
    const float R = in[2] / 255.0f, G = in[1] / 255.0f, B = in[0] / 255.0f;
    const float X = (kXr * R + kXg * G + kXb * B) / kWhiteX;
    const float Y = kYr * R + kYg * G + kYb * B;
    const float Z = (kZr * R + kZg * G + kZb * B) / kWhiteZ;
    const float L = 116 * f(Y) - 16;
    const float a = 500 * (f(X) - f(Y));
    float b = 200 * (f(Y) - f(Z)) + static_cast<float>(amount);
    b = std::min(std::max(b, -127.0f), 127.0f);
    const float fy = (std::max(L, 0.0f) + 16) / 116;
    const float fx = a / 500 + fy;
    const float fz = fy - b / 200;
    const float Xo = kWhiteX * labInverse(fx);
    const float Yo = labInverse(fy);
    const float Zo = kWhiteZ * labInverse(fz);
    out[2] = vq::byteFromUnitTruncatedF(kRx * Xo + kRy * Yo + kRz * Zo);
    out[1] = vq::byteFromUnitTruncatedF(kGx * Xo + kGy * Yo + kGz * Zo);
    out[0] = vq::byteFromUnitTruncatedF(kBx * Xo + kBy * Yo + kBz * Zo);
}

void temperatureRow(uint8_t* row, int width, int bpp, int amount) {
    Chunk chunk;
    for (int start = 0; start < width; start += kChunk) {
        const int count = std::min(kChunk, width - start);
        uint8_t* p = row + static_cast<qsizetype>(start) * bpp;
        loadChannels(p, count, bpp, chunk);
        forwardStage(count, chunk);
        backwardStage(p, count, bpp, static_cast<float>(amount), chunk);
    }
}

}  // namespace vq

void DibAdjustTemperature(QImageEx& image, int amount) {
    if (image.isNull() || image.depth() < 24)
        return;
    vq::guarded([&] {
        const int bpp = vq::bytesPerPixel(image);
        for (int y = 0; y < image.height(); ++y)
            vq::temperatureRow(image.scanLine(y), image.width(), bpp, amount);
    });
}
