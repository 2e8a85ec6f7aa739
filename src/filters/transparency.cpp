// Transparent images before a blur: the probe for transparent pixels and
// the colour bled into them, so that a blur does not darken their edges.
#include <vqutil/filters.h>

#include "blur_formats.h"
#include "box_sums.h"
#include "core/cancel.h"
#include "core/guard.h"
#include "core/image_rows.h"

#include <QImage>

#include <algorithm>
#include <vector>

namespace {

bool isArgb(const QImage& img) {
    return img.format() == QImage::Format_ARGB32 || img.format() == QImage::Format_ARGB32_Premultiplied;
}

// Each pixel as (B, G, R, 1) when visible and (0, 0, 0, 0) when fully
// transparent, so that box sums give the colour sums and counts of the
// visible pixels.
std::vector<uint8_t> visibleColours(const QImage& img) {
    const int w = img.width();
    std::vector<uint8_t> weighted(static_cast<size_t>(w) * 4 * img.height());
    for (int y = 0; y < img.height(); ++y) {
        const uint8_t* in = img.constScanLine(y);
        uint8_t* out = weighted.data() + static_cast<size_t>(y) * w * 4;
        for (int x = 0; x < w; ++x) {
            const bool visible = in[4 * x + 3] != 0;
            for (int b = 0; b < 3; ++b)
                out[4 * x + b] = visible ? in[4 * x + b] : 0;
            out[4 * x + 3] = visible ? 1 : 0;
        }
    }
    return weighted;
}

int bleedIntoTransparent(QImageEx& img, int radius, const bool* cancel) {
    const int w = img.width();
    const int h = img.height();
    const int64_t wanted = radius < 0 ? -int64_t{radius} : radius;
    const int r = static_cast<int>(std::min<int64_t>({h / 4, w / 4, wanted}));
    std::vector<uint8_t> weighted = visibleColours(img);
    uint8_t* bits = img.bits();
    const qsizetype stride = img.bytesPerLine();
    const bool done = vq::forEachBoxRow<uint64_t>(
        weighted.data(), static_cast<qsizetype>(w) * 4, w, h, 4, r, false, [&](int y, const uint8_t*, const uint64_t* sums) {
            if (vq::isCancelled(cancel))
                return false;
            img.set_progress(y);
            uint8_t* row = bits + y * stride;
            for (int x = 0; x < w; ++x) {
                const uint64_t count = sums[4 * x + 3];
                if (row[4 * x + 3] != 0 || count == 0)
                    continue;
                for (int b = 0; b < 3; ++b)
                    row[4 * x + b] = static_cast<uint8_t>(std::min<uint64_t>(sums[4 * x + b] / count, 255));
            }
            return true;
        });
    return done ? 1 : -1;
}

}  // namespace

int blurTransparentImage(QImageEx& img, int radius, bool* cancel) {
    if (radius == 0)
        return 1;
    if (img.depth() != 32)
        return 0;
    return vq::guarded(0, [&] { return bleedIntoTransparent(img, radius, cancel); });
}

bool transpanentBlurMore(QImageEx& img, int radius, bool* cancel) {
    vq::prepareBlurFormat(img);
    if (isTransparnetImage(img, 4) && blurTransparentImage(img, radius, cancel) == -1)
        return false;
    return ThBlurMoreEx(img, radius, false, false, false);
}

bool isTransparnetImage(QImageEx& img, int step) {
    // 64-bit counters: a step near INT_MAX must not wrap them.
    const int64_t stride = std::max(step, 1);
    if (isArgb(img)) {
        for (int64_t y = 0; y < img.height(); y += stride) {
            const uint8_t* row = img.constScanLine(int(y));
            for (int64_t x = 0; x < img.width(); x += stride)
                if (row[4 * x + 3] == 0)
                    return true;
        }
        return false;
    }
    const QVector<QRgb> table = img.colorTable();
    return std::any_of(table.begin(), table.end(), [](QRgb entry) { return qAlpha(entry) == 0; });
}
