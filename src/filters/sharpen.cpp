// The table-driven 3 x 3 sharpen (sharpenMore) and the unsharp mask on a
// box blur (unsharp_mask_fast).
#include <vqutil/filters.h>

#include "box_sums.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"

#include <array>
#include <vector>

namespace {

// --- sharpenMore -------------------------------------------------------------------------------

struct SharpenTables {
    std::array<int32_t, 256> T;  // 800 i / k
    std::array<int32_t, 256> U;  // (T[i] - 8 i + 4) >> 3
};

SharpenTables sharpenTables(int amount) {
    const int64_t k = std::max<int64_t>(1, 100 - int64_t{amount});
    SharpenTables t{};
    for (int i = 0; i < 256; ++i) {
        t.T[i] = static_cast<int32_t>(800 * int64_t{i} / k);
        t.U[i] = (t.T[i] - 8 * i + 4) >> 3;
    }
    return t;
}

void toUValues(const uint8_t* row, int32_t* u, qsizetype count, const SharpenTables& t) {
    for (qsizetype i = 0; i < count; ++i)
        u[i] = t.U[row[i]];
}

// Sharpens the colour bytes of the inner pixels of one row (in place) from
// the U values of the rows above, at and below it. `colourBytes` bytes of
// each `bpp`-byte pixel are sharpened; the rest are left as they are.
VQ_MULTIVERSION void sharpenRow(uint8_t* row, const int32_t* above, const int32_t* at, const int32_t* below, int w,
                                int bpp, int colourBytes, const SharpenTables& t, int32_t* column) {
    const qsizetype bytes = static_cast<qsizetype>(w) * bpp;
    for (qsizetype i = 0; i < bytes; ++i)
        column[i] = above[i] + at[i] + below[i];
    for (int x = 1; x < w - 1; ++x) {
        const qsizetype p = static_cast<qsizetype>(x) * bpp;
        for (int b = 0; b < colourBytes; ++b) {
            const qsizetype i = p + b;
            const int32_t neighbours = column[i - bpp] + column[i] + column[i + bpp] - at[i];
            const int32_t v = (t.T[row[i]] - neighbours + 4) >> 3;
            row[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
    }
}

void sharpenWithTables(QImageEx& img, int amount) {
    if (img.depth() != 24 && img.depth() != 32 && !AnyConvertTo24Bit(img))
        return;
    const int w = img.width();
    const int h = img.height();
    const int bpp = vq::bytesPerPixel(img);
    if (w < 3 || h < 3 || bpp < 3)
        return;
    const int colourBytes = bpp == 4 ? 3 : bpp;
    const SharpenTables t = sharpenTables(amount);
    const qsizetype bytes = static_cast<qsizetype>(w) * bpp;

    // A ring of U rows for the rows above, at and below the current one,
    // converted from the original bytes before a row is rewritten.
    std::vector<int32_t> ring(static_cast<size_t>(bytes) * 3), column(static_cast<size_t>(bytes));
    const auto uRow = [&](int y) { return ring.data() + (y % 3) * bytes; };
    uint8_t* bits = img.bits();
    const qsizetype stride = img.bytesPerLine();
    toUValues(bits, uRow(0), bytes, t);
    toUValues(bits + stride, uRow(1), bytes, t);
    for (int y = 1; y < h - 1; ++y) {
        img.set_progress(y);
        toUValues(bits + (y + 1) * stride, uRow(y + 1), bytes, t);
        sharpenRow(bits + y * stride, uRow(y - 1), uRow(y), uRow(y + 1), w, bpp, colourBytes, t, column.data());
    }
}

// --- unsharp_mask_fast -------------------------------------------------------------------------

inline uint8_t unsharpByte(int orig, int blur, double amount, int threshold) {
    int diff = orig - blur;
    if (std::abs(2 * diff) < threshold)
        diff = 0;
    const double v = diff * amount + orig;
    if (!(v > 0))
        return 0;
    return v >= 255 ? 255 : static_cast<uint8_t>(v);
}

VQ_MULTIVERSION void unsharpRow(uint8_t* row, const uint8_t* original, const uint32_t* sums,
                                const vq::ByteQuotient* quotient, int w, int bpp, double amount, int threshold) {
    for (int x = 0; x < w; ++x)
        for (int b = 0; b < bpp; ++b) {
            const qsizetype i = static_cast<qsizetype>(x) * bpp + b;
            const int blur = quotient[x](static_cast<int32_t>(sums[i]));
            row[i] = unsharpByte(original[i], blur, amount, threshold);
        }
}

int unsharpMask(QImageEx& img, int radius, double amount, int threshold) {
    const int w = img.width();
    const int h = img.height();
    const int bpp = vq::bytesPerPixel(img);
    const int r = std::min({h / 4, w / 4, radius});
    if (r < 1 || bpp < 1 || bpp > 4)
        return 1;  // a box of one pixel is the pixel itself: nothing changes
    uint8_t* bits = img.bits();
    const qsizetype stride = img.bytesPerLine();
    const auto progress = [&](int y) { img.set_progress(y); };

    if (!vq::boxSumsFitThirtyTwoBits(r)) {
        vq::forEachBoxRow<uint64_t>(bits, stride, w, h, bpp, r, true, [&](int y, const uint8_t* original, const uint64_t* sums) {
            progress(y);
            const int64_t rows = vq::boxCount(y, r, h);
            uint8_t* row = bits + y * stride;
            for (int x = 0; x < w; ++x) {
                const uint64_t divisor = static_cast<uint64_t>(rows * vq::boxCount(x, r, w));
                for (int b = 0; b < bpp; ++b) {
                    const qsizetype i = static_cast<qsizetype>(x) * bpp + b;
                    const int blur = static_cast<int>(std::min<uint64_t>(sums[i] / divisor, 255));
                    row[i] = unsharpByte(original[i], blur, amount, threshold);
                }
            }
            return true;
        });
        return 1;
    }
    vq::RowDivisors divisors(w, h, r, false);
    vq::forEachBoxRow<uint32_t>(bits, stride, w, h, bpp, r, true, [&](int y, const uint8_t* original, const uint32_t* sums) {
        progress(y);
        unsharpRow(bits + y * stride, original, sums, divisors.forRow(y).data(), w, bpp, amount, threshold);
        return true;
    });
    return 1;
}

}  // namespace

void sharpenMore(QImageEx& img, int amount) {
    vq::guarded([&] { sharpenWithTables(img, amount); });
}

int unsharp_mask_fast(QImageEx& img, int radius, double amount, int threshold) {
    return vq::guarded(0, [&] { return unsharpMask(img, radius, amount, threshold); });
}
