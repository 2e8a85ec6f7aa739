// Brush templates: the circle, square, random and feathered shapes, and the
// density thinning and intensity scaling of ConfigPen.
#include <vqutil/paint.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kPlane = 256;
constexpr int kHalf = 128;

using Plane = uint8_t[kPlane][kPlane];

void clearPlane(Plane& plane) { std::memset(plane, 0, sizeof(Plane)); }

// Half widths of the rows 0..radius of the disc that the integer midpoint
// circle (error term starting at 2 - 2r) fills, by |row|.
std::vector<int> midpointDiscHalfWidths(int radius) {
    std::vector<int> half(size_t(radius) + 1, -1);
    int x = -radius, y = 0, err = 2 - 2 * radius;
    do {
        half[size_t(y)] = std::max(half[size_t(y)], -x);
        half[size_t(-x)] = std::max(half[size_t(-x)], y);
        const int r = err;
        if (r <= y)
            err += ++y * 2 + 1;
        if (r > x || err > y)
            err += ++x * 2 + 1;
    } while (x < 0);
    return half;
}

// Ends of the half-open range [-r, r), swapped when reversed.
void halfOpenRange(int64_t r, int64_t& lo, int64_t& hi) {
    lo = std::min(-r, r);
    hi = std::max(-r, r);
}

}  // namespace

bool PENSTRUCT::ConfigCirclePen(int innerRadius, int outerRadius) {
    clearPlane(templatePlane);
    const int radius = std::max(innerRadius, outerRadius);
    if (radius < 0)
        return true;
    // Past this radius the disc holds the whole plane (its corner is at 181.02).
    constexpr int kCoversPlane = 2 * kHalf;
    const std::vector<int> half =
        radius <= kCoversPlane ? midpointDiscHalfWidths(radius) : std::vector<int>();
    const int64_t inner2 = int64_t(innerRadius) * innerRadius, outer2 = int64_t(outerRadius) * outerRadius;
    const bool ramp = outerRadius > innerRadius;
    const double rampWidth = double(int64_t(outerRadius) - innerRadius);
    for (int dy = -kHalf; dy < kHalf; ++dy) {
        const int row = std::abs(dy);
        const int reach = half.empty() ? kHalf : row <= radius ? half[size_t(row)] : -1;
        for (int dx = std::max(-reach, -kHalf), end = std::min(reach, kHalf - 1); dx <= end; ++dx) {
            const int64_t s = int64_t(dx) * dx + int64_t(dy) * dy;
            uint8_t value = 0;
            if (s < inner2)
                value = 100;
            else if (s <= outer2 && ramp)
                value = uint8_t(int(100 - (std::sqrt(double(s)) - innerRadius) * 100 / rampWidth));
            templatePlane[dy + kHalf][dx + kHalf] = value;
        }
    }
    return true;
}

bool PENSTRUCT::ConfigRectPen(int innerRadius, int outerRadius) {
    clearPlane(templatePlane);
    int64_t aLo, aHi, bLo, bHi;
    halfOpenRange(innerRadius, aLo, aHi);
    halfOpenRange(outerRadius, bLo, bHi);
    const bool ramp = outerRadius > innerRadius;
    const int64_t rampWidth = int64_t(outerRadius) - innerRadius;
    for (int dy = -kHalf; dy < kHalf; ++dy)
        for (int dx = -kHalf; dx < kHalf; ++dx) {
            uint8_t value = 0;
            if (dx >= aLo && dx < aHi && dy >= aLo && dy < aHi) {
                value = 100;
            } else if (ramp && dx >= bLo && dx < bHi && dy >= bLo && dy < bHi) {
                const int64_t m = std::max(std::abs(dx), std::abs(dy));
                value = uint8_t(100 - (m - innerRadius) * 100 / rampWidth);
            }
            templatePlane[dy + kHalf][dx + kHalf] = value;
        }
    return true;
}

bool PENSTRUCT::ConfigRandPen(int radius) {
    clearPlane(templatePlane);
    const int64_t radius2 = int64_t(radius) * radius;
    for (int dy = -kHalf; dy < kHalf; ++dy)
        for (int dx = -kHalf; dx < kHalf; ++dx)
            if (dx * dx + dy * dy < radius2 && std::rand() % 5 == 0)
                templatePlane[dy + kHalf][dx + kHalf] = 100;
    return true;
}

void PENSTRUCT::featherCirclePen(int radius) {
    const int64_t f = feather;
    const double core = double((100 - f) * radius) / 100.0;
    const double rim = double(f * radius) / 100.0;
    for (int dy = -kHalf; dy < kHalf; ++dy)
        for (int dx = -kHalf; dx < kHalf; ++dx) {
            const double d = std::sqrt(double(dx * dx + dy * dy));
            uint8_t value = 0;
            if (d <= core)
                value = 100;
            else if (d <= radius)
                // Reached only with core < d <= radius, so f and radius are
                // positive here and the quotient lies in 0..100 f.
                value = f == 0 ? 100 : uint8_t(std::min(int((radius - d) * 100 / rim), 100));
            templatePlane[dy + kHalf][dx + kHalf] = value;
        }
}

bool PENSTRUCT::ConfigPen() {
    switch (penShape) {
    case SHAPE_RECT:
        ConfigRectPen(inner, outer);
        extent = std::max(outer, inner);
        break;
    case SHAPE_TEMPLATE:
        std::memcpy(templatePlane, customPlane, sizeof(templatePlane));
        extent = kHalf;
        break;
    default:
        extent = std::max(inner, outer);
        featherCirclePen(extent);
        break;
    }
    if (density < 100)
        for (auto& row : templatePlane)
            for (uint8_t& b : row)
                if (density < std::rand() % 100)
                    b = 0;
    uint8_t scaled[256];
    for (int b = 0; b < 256; ++b)
        scaled[b] = uint8_t(int64_t(b) * intensity / 100);
    const uint8_t* from = &templatePlane[0][0];
    uint8_t* to = &scaledPlane[0][0];
    for (int i = 0; i < kPlane * kPlane; ++i)
        to[i] = scaled[from[i]];
    return true;
}
