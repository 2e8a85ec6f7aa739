// Box blurs with sliding sums: ThBlurMoreEx and its wrappers, ThBlurAlpha
// and BlurMask8Bit.
#include <vqutil/filters.h>
#include <vqutil/transform.h>

#include "box_sums.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"
#include "core/scaling.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// The same with 64-bit sums and a true division, for boxes too large for
// the 32-bit path.
void boxMeanRowWide(uint8_t* out, const uint64_t* sums, int64_t rows, int64_t boxSide, int width, int channels,
                    int radius, bool fullBox, uint64_t padding, bool alphaOnly) {
    for (int x = 0; x < width; ++x) {
        const int64_t real = rows * vq::boxCount(x, radius, width);
        const uint64_t divisor = fullBox ? static_cast<uint64_t>(boxSide * boxSide) : static_cast<uint64_t>(real);
        const uint64_t pad = fullBox ? padding * static_cast<uint64_t>(boxSide * boxSide - real) : 0;
        for (int b = 0; b < channels; ++b)
            if (!alphaOnly || b == 3)
                out[x * channels + b] = static_cast<uint8_t>(std::min<uint64_t>((sums[x * channels + b] + pad) / divisor, 255));
    }
}

bool boxBlurInPlace(QImageEx& img, int r, bool alphaOnly, bool maskMode) {
    const int w = img.width();
    const int h = img.height();
    const int c = vq::bytesPerPixel(img);
    if (c < 1 || c > 4 || r < 1 || (alphaOnly && c < 4))
        return true;  // nothing to blur (alphaOnly: images without an alpha byte)
    const bool fullBox = maskMode;
    const uint8_t padding = maskMode && c == 1 ? 255 : 0;
    const int64_t side = 2 * int64_t{r} + 1;
    uint8_t* bits = img.bits();
    const qsizetype stride = img.bytesPerLine();

    if (!vq::boxSumsFitThirtyTwoBits(r)) {
        return vq::forEachBoxRow<uint64_t>(bits, stride, w, h, c, r, true, [&](int y, const uint8_t*, const uint64_t* sums) {
            img.set_progress(y);
            boxMeanRowWide(bits + y * stride, sums, vq::boxCount(y, r, h), side, w, c, r, fullBox, padding, alphaOnly);
            return true;
        });
    }
    vq::RowMeans means(w, h, c, r, fullBox, padding);
    std::vector<uint8_t> alphaRow(alphaOnly ? static_cast<size_t>(w) * c : 0);
    return vq::forEachBoxRow<uint32_t>(bits, stride, w, h, c, r, true, [&](int y, const uint8_t*, const uint32_t* sums) {
        img.set_progress(y);
        uint8_t* out = bits + y * stride;
        if (!alphaOnly) {
            means.write(y, sums, out);
            return true;
        }
        means.write(y, sums, alphaRow.data());
        for (int x = 0; x < w; ++x)
            out[4 * x + 3] = alphaRow[4 * x + 3];
        return true;
    });
}

// Box mean of a raw plane into another of the same layout, the box clipped
// to the plane.
bool boxMeanPlane(const uint8_t* in, uint8_t* out, qsizetype stride, int width, int height, int r) {
    uint8_t* source = const_cast<uint8_t*>(in);  // read only: not in place
    return vq::forEachBoxRow<uint64_t>(source, stride, width, height, 1, r, false,
                                       [&](int y, const uint8_t*, const uint64_t* sums) {
                                           const int64_t rows = vq::boxCount(y, r, height);
                                           uint8_t* o = out + y * stride;
                                           for (int x = 0; x < width; ++x)
                                               o[x] = static_cast<uint8_t>(sums[x] / (rows * vq::boxCount(x, r, width)));
                                           return true;
                                       });
}

}  // namespace

bool ThBlurMoreEx(QImageEx& img, int radius, bool convertTo24, bool alphaOnly, bool maskMode) {
    if (radius == 0)
        return true;
    if (convertTo24 && img.depth() < 24 && !AnyConvertTo24Bit(img))
        return false;
    const int64_t wanted = radius < 0 ? -int64_t{radius} : radius;
    const int r = static_cast<int>(std::min<int64_t>({img.height() / 4, img.width() / 4, wanted}));
    return vq::guarded(false, [&] {
        boxBlurInPlace(img, r, alphaOnly, maskMode);
        return true;
    });
}

bool ThBlurMore(QImageEx& img, int radius, bool convertTo24, bool alphaOnly) {
    return ThBlurMoreEx(img, radius, convertTo24, alphaOnly, false);
}

bool ThBlurAlpha(QImageEx& img, int radius) {
    const int r = std::min({img.width() / 4, img.height() / 4, radius});
    if (r < 1)
        return false;
    QImageEx enlarged;
    if (!ThEnlargeImage(enlarged, img, r, 255))
        return false;
    enlarged.copyCallback(img);
    ThBlurMoreEx(enlarged, r, false, false, true);
    img = vq::smoothScaled(enlarged, img.width(), img.height());
    return true;
}

bool BlurMask8Bit(int width, int height, void*& buffer, int radius) {
    if (!buffer)
        return false;
    const qsizetype stride = width > 0 ? (static_cast<qsizetype>(width) * 8 + 31) / 32 * 4 : 0;
    const qsizetype bytes = height > 0 ? stride * height : 0;
    void* blurred = std::malloc(bytes > 0 ? static_cast<size_t>(bytes) : 1);
    if (!blurred)
        return false;
    const int r = radius == INT_MIN ? INT_MAX : std::abs(radius);
    if (bytes > 0) {
        std::memset(blurred, 0, static_cast<size_t>(bytes));
        const bool done = vq::guarded(false, [&] {
            return boxMeanPlane(static_cast<const uint8_t*>(buffer), static_cast<uint8_t*>(blurred), stride, width,
                                height, r);
        });
        if (!done) {
            std::free(blurred);
            return false;
        }
    }
    std::free(buffer);
    buffer = blurred;
    return true;
}
