// The Gaussian blur entry points: the stack blur and the recursive Gaussian
// of whole images, and the 8-bit plane filter.
#include <vqutil/filters.h>

#include "blur_formats.h"
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

}  // namespace

bool GaussianBlur(QImageEx& img, int radius, bool* cancel, bool useRecursive) {
    if (radius < 1)
        return false;
    const bool transparent = isTransparnetImage(img, 4);
    vq::prepareBlurFormat(img);
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
