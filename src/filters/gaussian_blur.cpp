// The Gaussian blur entry points: the stack blur and the recursive Gaussian
// of whole images, the 8-bit plane filter, and the transparency probe and
// colour bleed that run before a blur of a transparent image.
#include <vqutil/filters.h>

#include "box_sums.h"
#include "core/cancel.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/scratch.h"
#include "recursive_gaussian.h"
#include "stack_blur.h"

#include <QImage>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// Images the blurs take as they are: 8-bit grey and alpha, 24 and 32 bits.
bool blurFormatAsItIs(const QImage& img) {
    return img.format() == QImage::Format_Alpha8 || img.format() == QImage::Format_Grayscale8 ||
           img.depth() == 24 || img.depth() == 32;
}

void prepareBlurFormat(QImageEx& img) {
    if (!blurFormatAsItIs(img))
        AnyConvertTo24Bit(img);
}

// --- stack blur --------------------------------------------------------------------------------

bool stackBlur(QImageEx& img, int radius, const bool* cancel) {
    const int w = img.width();
    const int h = img.height();
    const int channels = vq::bytesPerPixel(img);
    if (w < 1 || h < 1 || (channels != 1 && channels != 3 && channels != 4))
        return true;

    // The first pass's result is kept strip by strip (64 bytes of every row
    // of a strip of whole pixel columns, row after row), so that the second
    // pass reads each strip as one contiguous block.
    constexpr int kStripBytes = 64;
    const int stripPixels = kStripBytes / channels;
    const int strips = (w + stripPixels - 1) / stripPixels;
    const qsizetype stripSize = static_cast<qsizetype>(h) * kStripBytes;
    vq::ScratchBuffer<uint8_t> across(static_cast<size_t>(stripSize) * strips);
    std::vector<uint8_t> rows(static_cast<size_t>(2 * w * channels));
    const auto scatter = [&](const uint8_t* row, int y) {
        for (int s = 0; s < strips; ++s) {
            const int pixels = std::min(stripPixels, w - s * stripPixels);
            std::memcpy(across.get() + s * stripSize + static_cast<qsizetype>(y) * kStripBytes,
                        row + static_cast<qsizetype>(s) * stripPixels * channels, static_cast<size_t>(pixels) * channels);
        }
    };

    // First pass, along the rows (two at a time): a cancel leaves the image.
    const uint8_t* source = img.constBits();
    const qsizetype stride = img.bytesPerLine();
    uint8_t* first = rows.data();
    uint8_t* second = rows.data() + static_cast<qsizetype>(w) * channels;
    for (int y = 0; y < h; y += 2) {
        if (vq::isCancelled(cancel))
            return true;
        img.set_progress(y / 2);
        if (y + 1 < h) {
            img.set_progress((y + 1) / 2);
            vq::stackBlurRowPair(source + y * stride, source + (y + 1) * stride, first, second, w, channels, radius);
            scatter(first, y);
            scatter(second, y + 1);
        } else {
            vq::stackBlurRow(source + y * stride, first, w, channels, radius);
            scatter(first, y);
        }
    }

    // Second pass, down the columns, straight into the image, strip by
    // strip: a cancel leaves the strips done blurred.
    uint8_t* bits = img.bits();
    for (int s = 0; s < strips; ++s) {
        if (vq::isCancelled(cancel))
            return true;
        const int x0 = s * stripPixels;
        const int pixels = std::min(stripPixels, w - x0);
        for (int x = x0; x < x0 + pixels; ++x)
            img.set_progress(static_cast<int>(h / 2 + (int64_t{x} * h / w) / 2));
        vq::stackBlurColumns(across.get() + s * stripSize, kStripBytes, bits + static_cast<qsizetype>(x0) * channels,
                             stride, h, pixels * channels, radius);
    }
    return true;
}

// --- recursive Gaussian ------------------------------------------------------------------------

bool recursiveGaussianBlur(QImageEx& img, float sigma, const bool* cancel) {
    const int w = img.width();
    const int h = img.height();
    const int channels = vq::bytesPerPixel(img);
    if (w < 1 || h < 1 || channels < 1)
        return true;
    // Every channel is filtered at once; the progress values that mark the
    // start of each channel are reported as the work passes their share.
    int reported = 0;
    const auto progress = [&](double done) {
        while (reported < channels && done * channels >= reported) {
            img.set_progress(reported * h / channels);
            ++reported;
        }
    };
    vq::recursiveGaussianBytes(img.bits(), img.bytesPerLine(), w, h, channels, vq::recursiveGaussianCoefficients(sigma),
                               cancel, progress);
    return true;
}

// --- transparency ------------------------------------------------------------------------------

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

bool GaussianBlur(QImageEx& img, int radius, bool* cancel, bool useRecursive) {
    if (radius < 1)
        return false;
    const bool transparent = isTransparnetImage(img, 4);
    prepareBlurFormat(img);
    return vq::guarded(false, [&] {
        if (useRecursive)
            return recursiveGaussianBlur(img, static_cast<float>(radius), cancel);
        if (transparent && blurTransparentImage(img, radius, cancel) == -1)
            return false;
        return stackBlur(img, radius, cancel);
    });
}

bool IIRGaussianFilterAlpha(uchar* data, int bytesPerLine, int width, int height, float sigma) {
    if (!data)
        return false;
    if (width < 1 || height < 1)
        return true;
    if (bytesPerLine < width)  // rows would overlap: not a plane
        return false;
    return vq::guarded(false, [&] {
        return vq::recursiveGaussianBytes(data, bytesPerLine, width, height, 1, vq::recursiveGaussianCoefficients(sigma),
                                          nullptr, nullptr);
    });
}

void gaussianBlurAlpha(QImage& img, double sigma) {
    if (img.depth() == 8 && img.width() > 0 && img.height() > 0)
        IIRGaussianFilterAlpha(img.bits(), img.bytesPerLine(), img.width(), img.height(), static_cast<float>(sigma));
}

int blurTransparentImage(QImageEx& img, int radius, bool* cancel) {
    if (radius == 0)
        return 1;
    if (img.depth() != 32)
        return 0;
    return vq::guarded(0, [&] { return bleedIntoTransparent(img, radius, cancel); });
}

bool transpanentBlurMore(QImageEx& img, int radius, bool* cancel) {
    prepareBlurFormat(img);
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
