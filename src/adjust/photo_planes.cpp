// The 8-bit planes of the neighbourhood adjustments: the luminance plane,
// and the minimum, maximum and blur filters over a plane, in parallel bands.
#include "photo_support.h"

#include "core/pixel_math.h"
#include "filters/stack_blur.h"

#include <cstring>
#include <utility>

namespace vq {

namespace {

// Vertical passes work on strips of this many bytes of every row: as wide as
// the blur's column kernel takes at once, and narrow enough that a strip's
// working copy stays in the second-level cache.
constexpr int kStripBytes = 64;

// body(firstByte, bytes, work) for every strip of whole columns; each band
// takes its share of the strips, in proportion to the rows it was given.
template <typename Body>
bool forColumnStrips(int width, int height, Body&& body) {
    if (width < 1 || height < 1)
        return true;
    const int strips = (width + kStripBytes - 1) / kStripBytes;
    return inParallelBands(height, [&](int first, int end) {
        std::vector<uint8_t> work;
        const int begin = static_cast<int>(int64_t{first} * strips / height);
        const int stop = static_cast<int>(int64_t{end} * strips / height);
        for (int s = begin; s < stop; ++s)
            body(s * kStripBytes, std::min(kStripBytes, width - s * kStripBytes), work);
    });
}

template <typename RowBody>
bool forPlaneRows(int height, RowBody&& rowBody) {
    return inParallelBands(height, [&](int y, int end) {
        std::vector<uint8_t> work;
        for (; y < end; ++y)
            rowBody(y, work);
    });
}

// out[i] = min (max) of in[i] and in[i + shift], for i < count.
VQ_MULTIVERSION void minShifted(const uint8_t* __restrict in, uint8_t* __restrict out, size_t count, size_t shift) {
    const uint8_t* __restrict ahead = in + shift;
    for (size_t i = 0; i < count; ++i)
        out[i] = std::min(in[i], ahead[i]);
}

VQ_MULTIVERSION void maxShifted(const uint8_t* __restrict in, uint8_t* __restrict out, size_t count, size_t shift) {
    const uint8_t* __restrict ahead = in + shift;
    for (size_t i = 0; i < count; ++i)
        out[i] = std::max(in[i], ahead[i]);
}

void lumaRow(const uint8_t* in, uint8_t* out, int width, int bpp) {
    if (bpp == 1) {
        std::memcpy(out, in, static_cast<size_t>(width));
        return;
    }
    for (int x = 0; x < width; ++x, in += bpp)
        out[x] = static_cast<uint8_t>(luma(in[2], in[1], in[0]));
}

}  // namespace

void rankLines(const uint8_t* in, qsizetype inStep, uint8_t* out, qsizetype outStep, int n, int lanes, int radius,
               Rank rank, std::vector<uint8_t>& work) {
    if (n < 1 || lanes < 1)
        return;
    // Beyond n - 1 the window holds every sample whatever the radius.
    const size_t r = static_cast<size_t>(std::clamp(radius, 0, n - 1));
    const size_t L = static_cast<size_t>(lanes);
    const size_t samples = static_cast<size_t>(n) + 2 * r;
    work.resize(2 * samples * L);
    uint8_t* a = work.data();
    uint8_t* b = a + samples * L;
    const auto combine = rank == Rank::Minimum ? minShifted : maxShifted;

    // The signal between r samples of the operation's identity at each end,
    // so that windows reaching past the ends see only real samples.
    const uint8_t identity = rank == Rank::Minimum ? 255 : 0;
    std::memset(a, identity, r * L);
    std::memset(a + (r + static_cast<size_t>(n)) * L, identity, r * L);
    if (inStep == lanes)
        std::memcpy(a + r * L, in, static_cast<size_t>(n) * L);
    else
        for (int i = 0; i < n; ++i)
            std::memcpy(a + (r + static_cast<size_t>(i)) * L, in + i * inStep, L);

    // Doubling: after each step, sample i of `a` holds the extreme of the
    // `span` samples from i on; `valid` of them are complete.
    const size_t k = 2 * r + 1;
    size_t span = 1;
    size_t valid = samples;
    while (span * 2 <= k) {
        combine(a, b, (valid - span) * L, span * L);
        valid -= span;
        span *= 2;
        std::swap(a, b);
    }
    // The window [i, i + k) of the padded signal is covered by the spans at
    // i and at i + k - span.
    const size_t tail = (k - span) * L;
    if (outStep == lanes)
        combine(a, out, static_cast<size_t>(n) * L, tail);
    else
        for (int i = 0; i < n; ++i)
            combine(a + static_cast<size_t>(i) * L, out + i * outStep, L, tail);
}

bool rankFilter(BytePlane& plane, BytePlane& scratch, int radius, Rank rank) {
    const int w = plane.width();
    const int h = plane.height();
    const bool rows = forPlaneRows(h, [&](int y, std::vector<uint8_t>& work) {
        rankLines(plane.row(y), 1, scratch.row(y), 1, w, 1, radius, rank, work);
    });
    return rows && forColumnStrips(w, h, [&](int x, int bytes, std::vector<uint8_t>& work) {
               rankLines(scratch.bits() + x, w, plane.bits() + x, w, h, bytes, radius, rank, work);
           });
}

bool blurPlane(BytePlane& plane, BytePlane& scratch, int radius) {
    const int w = plane.width();
    const int h = plane.height();
    const bool rows =
        forPlaneRows(h, [&](int y, std::vector<uint8_t>&) { stackBlurRow(plane.row(y), scratch.row(y), w, 1, radius); });
    return rows && forColumnStrips(w, h, [&](int x, int bytes, std::vector<uint8_t>&) {
               stackBlurColumns(scratch.bits() + x, w, plane.bits() + x, w, h, bytes, radius);
           });
}

bool lumaPlane(const QImage& image, BytePlane& plane) {
    const uint8_t* bits = image.constBits();
    const qsizetype stride = image.bytesPerLine();
    const int bpp = image.depth() / 8;
    const int w = plane.width();
    return forPlaneRows(plane.height(),
                        [&](int y, std::vector<uint8_t>&) { lumaRow(bits + y * stride, plane.row(y), w, bpp); });
}

}  // namespace vq
