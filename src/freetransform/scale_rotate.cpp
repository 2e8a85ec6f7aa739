// Scaling and rotation in one pass into an 8-bit image.
#include <vqutil/transform.h>

#include "core/guard.h"
#include "core/image_rows.h"

#include <cmath>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <cstring>
#include <vector>

namespace {

// Per-column and per-row parts of the rotation sums, computed once with the
// same operations, in the same order, as the per-pixel expressions.
struct RotationTerms {
    std::vector<double> columnX, columnY;  // x' c sw / w, x' s sw / w
    std::vector<double> rowX, rowY;        // y' s sh / h, y' c sh / h
};

RotationTerms rotationTerms(int W, int H, double s, double c, int sw, int sh, int w, int h) {
    RotationTerms t;
    t.columnX.resize(W);
    t.columnY.resize(W);
    for (int i = 0; i < W; ++i) {
        const int x = i - (W >> 1);
        t.columnX[i] = x * c * sw / w;
        t.columnY[i] = x * s * sw / w;
    }
    t.rowX.resize(H);
    t.rowY.resize(H);
    for (int j = 0; j < H; ++j) {
        const int y = j - (H >> 1);
        t.rowX[j] = y * s * sh / h;
        t.rowY[j] = y * c * sh / h;
    }
    return t;
}

// Source coordinates of W output pixels of row j from column `first`, truncated as (int) does on x86-64
// (NaN and out-of-range values become INT_MIN, which lies outside).
void sourceCoordinates(const RotationTerms& t, int j, int first, int W, int sw, int sh, int* sx, int* sy) {
    const double halfW = sw >> 1;
    const double halfH = sh >> 1;
    const double rowX = t.rowX[j];
    const double rowY = t.rowY[j];
    int i = 0;
#if defined(__SSE2__)
    const __m128d vHalfW = _mm_set1_pd(halfW), vHalfH = _mm_set1_pd(halfH);
    const __m128d vRowX = _mm_set1_pd(rowX), vRowY = _mm_set1_pd(rowY);
    for (; i + 2 <= W; i += 2) {
        const __m128d x = _mm_sub_pd(_mm_add_pd(_mm_loadu_pd(&t.columnX[first + i]), vHalfW), vRowX);
        const __m128d y = _mm_add_pd(_mm_add_pd(_mm_loadu_pd(&t.columnY[first + i]), vRowY), vHalfH);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(sx + i), _mm_cvttpd_epi32(x));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(sy + i), _mm_cvttpd_epi32(y));
    }
#endif
    for (; i < W; ++i) {
        sx[i] = vq::truncToInt(t.columnX[first + i] + halfW - rowX);
        sy[i] = vq::truncToInt(t.columnY[first + i] + rowY + halfH);
    }
}

void rotateBytesRow(const int* sx, const int* sy, const uint8_t* src, qsizetype srcStride, int sw, int sh,
                    uint8_t fill, uint8_t* out, int W) {
    for (int i = 0; i < W; ++i) {
        const bool inside = static_cast<unsigned>(sx[i]) < static_cast<unsigned>(sw) &&
                            static_cast<unsigned>(sy[i]) < static_cast<unsigned>(sh);
        // Branch-free: outside pixels read byte 0 and discard it.
        const qsizetype at = inside ? sy[i] * srcStride + sx[i] : 0;
        const uint8_t value = src[at];
        out[i] = inside ? value : fill;
    }
}

// 1-bit sources: bit sx of the source row goes to bit `first + k` of the
// output row.
void rotateBitsRow(const int* sx, const int* sy, int first, int n, const uint8_t* src, qsizetype srcStride, int sw,
                   int sh, uint8_t* out) {
    for (int k = 0; k < n; ++k) {
        const int i = first + k;
        const uint8_t bit = static_cast<uint8_t>(0x80 >> (i & 7));
        if (static_cast<unsigned>(sx[k]) < static_cast<unsigned>(sw) &&
            static_cast<unsigned>(sy[k]) < static_cast<unsigned>(sh)) {
            if ((src[sy[k] * srcStride + (sx[k] >> 3)] >> (7 - (sx[k] & 7))) & 1)
                out[i >> 3] |= bit;
        } else {
            out[i >> 3] &= static_cast<uint8_t>(~bit);
        }
    }
}

bool scaleRotate(QImageEx& dst, const QImageEx& src, int width, int height, double angle, unsigned char fill) {
    if (src.isNull())
        return false;
    const double s = std::sin(angle);
    const double c = std::cos(angle);
    const int sw = src.width();
    const int sh = src.height();
    const int w = width;
    const int h = height;
    const int W = vq::truncToInt(h * std::fabs(s) + w * std::fabs(c));
    const int H = vq::truncToInt(h * std::fabs(c) + w * std::fabs(s));
    // A destination that already is an unshared W x H 8-bit image is written
    // in place (every byte is rewritten), which spares a fresh allocation
    // when an editor rotates the same image repeatedly; never when it holds
    // the source's pixels, whose rows are still to be read.
    QImageEx fresh;
    const bool reuse = dst.size() == QSize(W, H) && dst.format() == QImage::Format_Grayscale8 && dst.isDetached() &&
                       !vq::sharesPixels(dst, src);
    if (!reuse && !QImageEx::create(fresh, W, H, QImage::Format_Grayscale8))
        return false;
    QImageEx& out = reuse ? dst : fresh;

    const RotationTerms terms = rotationTerms(W, H, s, c, sw, sh, w, h);
    const uint8_t* source = src.constBits();
    const qsizetype sourceStride = src.bytesPerLine();
    uint8_t* bits = out.bits();
    const qsizetype stride = out.bytesPerLine();
    const bool bitAddressed = src.depth() == 1;
    if (bitAddressed)
        std::memset(bits, 0, out.sizeInBytes());
    // The output is walked in strips of 2048 columns, top to bottom: a turned
    // row crosses many source rows, and within a strip the source lines one
    // row reads are still cached for the next (measured best at 2048).
    constexpr int kStrip = 2048;
    int sx[kStrip], sy[kStrip];
    for (int first = 0; first < W; first += kStrip) {
        const int n = std::min(kStrip, W - first);
        for (int j = 0; j < H; ++j) {
            uint8_t* row = bits + j * stride;
            sourceCoordinates(terms, j, first, n, sw, sh, sx, sy);
            if (bitAddressed)
                rotateBitsRow(sx, sy, first, n, source, sourceStride, sw, sh, row);
            else
                rotateBytesRow(sx, sy, source, sourceStride, sw, sh, fill, row + first, n);
        }
    }
    if (!reuse)
        dst = fresh;
    return true;
}

}  // namespace

bool scaleRotateImage(QImageEx& dst, const QImageEx& src, int width, int height, double angle,
                      unsigned char fill) {
    return vq::guarded(false, [&] { return scaleRotate(dst, src, width, height, angle, fill); });
}
