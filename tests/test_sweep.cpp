// Every exported image operation over hostile input: null, 1 x 1 and odd
// sized images of every QImage format (colour tables empty or short), masks
// and second images of another size or format, integers from INT_MIN to
// INT_MAX, NaN and infinite doubles, rectangles outside or inverted. Nothing
// may crash or trip a sanitizer, and a call that reports failure leaves its
// destination as it was.
#include <vqutil/vqutil.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <QPainter>
#include <QTransform>

#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const int kInts[] = {INT_MIN, -7, -1, 0, 1, 3, 255, 256, 100000, INT_MAX};
const double kDoubles[] = {kNaN, -kInf, kInf, -1e300, -2.5, 0.0, 0.5, 3.0, 1e300};
const QRect kRects[] = {QRect(), QRect(1, 1, 2, 2), QRect(-5, -5, 3, 3), QRect(4, 4, -3, -3),
                        QRect(INT_MIN / 2, 0, INT_MAX, 9), QRect(0, 0, 100000, 100000)};

// What the sweep hands an operation; `img` is its own copy, `dst` a separate
// output prefilled with a sentinel.
struct Args {
    QImageEx img, other, mask, dst;
    int i = 0;
    double d = 0;
    QRect r;
};

enum class Check {
    None,           // void or always succeeding: only "no crash"
    ImageIfFalse,   // a false result leaves img unchanged
    DstIfFalse,     // a false result leaves dst unchanged
};

struct Op {
    const char* name;
    Check check;
    std::function<bool(Args&)> call;
};

// -v without the overflow at INT_MIN.
int flip(int v) { return v == INT_MIN ? INT_MAX : -v; }

bool run(const std::function<void()>& f) {
    f();
    return true;
}

QPoint* corners(const Args& a) {
    static thread_local QPoint pts[4];
    const int k = a.i == INT_MIN ? -5 : a.i % 50;
    pts[0] = QPoint(k, 0), pts[1] = QPoint(a.img.width() + k, -k), pts[2] = QPoint(0, a.img.height()),
    pts[3] = QPoint(a.img.width() - k, a.img.height() + 2 * k);
    return pts;
}

QVector<QPointF> quad(const Args& a) {
    const double w = a.img.width(), h = a.img.height();
    return {{0, 0}, {w + a.d, 0}, {w, h}, {0, h * 0.5 + a.d}};
}

std::vector<Op> ops() {
    unsigned char table[256];
    for (int v = 0; v < 256; ++v)
        table[v] = uchar(255 - v);
    static unsigned char inv[256];
    std::copy(table, table + 256, inv);
    return {
        // --- tone and colour ---------------------------------------------------------
        {"AdjustRGBOffset", Check::ImageIfFalse, [](Args& a) { return AdjustRGBOffset(a.img, &a.mask, inv, inv, inv, inv); }},
        {"AdjustCMYKOffset", Check::ImageIfFalse, [](Args& a) { return AdjustCMYKOffset(a.img, &a.mask, inv, inv, inv, inv, inv); }},
        {"vqDoColorLevel", Check::ImageIfFalse, [](Args& a) {
             ColorLevelsConfig c{};
             for (int k = 0; k < 5; ++k)
                 c.inputBlack[k] = a.d, c.inputWhite[k] = 255, c.gamma[k] = a.d, c.outputBlack[k] = 0, c.outputWhite[k] = a.d;
             return vqDoColorLevel(a.img, &a.mask, &c) | vqDoColorLevelCMYK(a.img, nullptr, &c);
         }},
        {"ThAutoLevel", Check::None, [](Args& a) { return ThAutoLevel(a.img) || true; }},
        {"histograms", Check::None, [](Args& a) {
             int v[256], b[256], g[256], r[256], k[256];
             getHistoGramGrey(a.img, v);
             getHistoGramValue(a.img, v, b, g, r);
             getHistoGramValueCMYK(a.img, v, b, g, r, k);
             return true;
         }},
        {"drawHistoGramToImage", Check::None, [](Args& a) {
             int bins[256] = {};
             int* lists[1] = {bins};
             QImage canvas;
             drawHistoGramToImage(canvas, Qt::white, QSize(a.i % 300, 40), 1, a.i, lists, nullptr, nullptr);
             return true;
         }},
        {"adjustBrightAndContrastQImage", Check::None, [](Args& a) { return run([&] { adjustBrightAndContrastQImage(a.img, a.d, a.d); }); }},
        {"getAutoBrightContractValue", Check::None, [](Args& a) { double b, c; return run([&] { getAutoBrightContractValue(a.img, b, c); }); }},
        {"DibAdjustExposure", Check::None, [](Args& a) { return run([&] { DibAdjustExposure(a.img, a.d, a.d, a.d); }); }},
        {"exposure", Check::None, [](Args& a) { return run([&] { exposure(a.img, float(a.d), float(a.d)); }); }},
        {"DibAdjustTemperature", Check::None, [](Args& a) { return run([&] { DibAdjustTemperature(a.img, a.i); }); }},
        {"DibAdjustVibrance", Check::None, [](Args& a) { return run([&] { DibAdjustVibrance(a.img, float(a.d)); }); }},
        {"makeGrayscale8", Check::None, [](Args& a) { return run([&] { makeGrayscale8(a.dst, a.img, unsigned(a.i)); }); }},
        {"Dib2Gray", Check::None, [](Args& a) { return run([&] { Dib2Gray(a.img, &a.mask, true); }); }},
        {"calDivideValue", Check::None, [](Args& a) { return calDivideValue(a.img) >= 0; }},
        {"convertToBWEx", Check::DstIfFalse, [](Args& a) { return convertToBWEx(a.dst, a.img, a.i, (a.i & 3)); }},
        {"keepInkColour", Check::None, [](Args& a) { return run([&] { keepInkColour(a.img, "red", a.i, 0xFF0000FF, 9); }); }},
        {"blackWhite", Check::ImageIfFalse, [](Args& a) { return blackWhite(a.img, {a.i, a.i, flip(a.i) / 2, 0}); }},
        {"thresholdSplit", Check::ImageIfFalse, [](Args& a) { return thresholdSplit(a.img, a.i); }},
        {"posterize", Check::ImageIfFalse, [](Args& a) { return posterize(a.img, a.i); }},
        {"NegativeDib", Check::ImageIfFalse, [](Args& a) { return NegativeDib(a.img, &a.mask); }},
        {"DibSolarize", Check::None, [](Args& a) { return DibSolarize(a.img, &a.other, float(a.d)) || true; }},
        {"invertImagePixels", Check::ImageIfFalse, [](Args& a) { return invertImagePixels(a.img); }},
        {"removeSaturation", Check::ImageIfFalse, [](Args& a) { return removeSaturation(a.img); }},
        {"DibAdjustHaze", Check::None, [](Args& a) { return run([&] { DibAdjustHaze(a.img, float(a.d), float(a.d), a.i); }); }},
        {"DibAdjustHighLightShadow", Check::None, [](Args& a) { return run([&] { DibAdjustHighLightShadow(a.img, float(a.d), float(-a.d)); }); }},
        {"DibAdjustWhiteBalance", Check::None, [](Args& a) { return run([&] { DibAdjustWhiteBalance(a.img, float(a.d), float(a.d)); }); }},
        {"shadowHighlight", Check::ImageIfFalse, [](Args& a) {
             const float f = float(a.d);
             return shadowHighlight(a.img, f, f, a.i, f, f, f, f);
         }},
        {"selectiveColor", Check::ImageIfFalse, [](Args& a) {
             SelectiveColorSettings s{};
             s.reds = {double(a.i), double(a.i), double(a.i), double(a.i)};
             s.absolute = a.i & 1;
             return selectiveColor(a.img, &a.mask, s);
         }},
        {"replaceColor", Check::ImageIfFalse, [](Args& a) {
             return replaceColor(a.img, &a.mask, {YUV{a.d, a.d, 0}}, YUV{0, a.d, a.d}, a.d, a.d);
         }},
        {"DibHSLAdjust", Check::ImageIfFalse, [](Args& a) {
             const int v = a.i;
             return DibHSLAdjust(a.img, {HSLAdjustParam{0, v, v, flip(v), 3, v, v, v}, HSLAdjustParam{1, 0, 0, 0, 0, v, v, v}}, v & 1);
         }},
        {"adjustSaturation", Check::ImageIfFalse, [](Args& a) { return adjustSaturation(a.img, a.i); }},
        {"hueEqual", Check::ImageIfFalse, [](Args& a) { return hueEqual(a.img, a.i, a.i); }},
        {"DibColorBalance", Check::ImageIfFalse, [](Args& a) {
             const int v = a.i;
             return DibColorBalance(a.img, v, flip(v), v, v, v, flip(v), v, v, v, v & 1);
         }},
        {"CDib::Contrast", Check::None, [](Args& a) {
             return run([&] {
                 CDib::Contrast(a.img, &a.mask, a.d, a.d, a.d, 0);
                 CDib::Gramma(a.img, &a.mask, a.i, a.i, a.i);
                 CDib::ColorBalana(a.img, &a.mask, a.i, flip(a.i), a.i);
                 CDib::adjustBrightAndContrast(a.img, &a.mask, a.d, a.d);
                 CDib::adjustColor(a.img, &a.mask, a.d, a.i, 0);
             });
         }},
        // --- filters -----------------------------------------------------------------
        {"GaussianBlur", Check::ImageIfFalse, [](Args& a) { return GaussianBlur(a.img, a.i, nullptr, a.i & 1); }},
        {"gaussianBlurAlpha", Check::None, [](Args& a) { return run([&] { gaussianBlurAlpha(a.img, a.d); }); }},
        {"ThBlurMoreEx", Check::ImageIfFalse, [](Args& a) { return ThBlurMoreEx(a.img, a.i, a.i & 1, a.i & 2, a.i & 4); }},
        {"ThBlurAlpha", Check::ImageIfFalse, [](Args& a) { return ThBlurAlpha(a.img, a.i); }},
        {"blurTransparentImage", Check::None, [](Args& a) { return blurTransparentImage(a.img, a.i, nullptr) || true; }},
        {"transpanentBlurMore", Check::None, [](Args& a) { return transpanentBlurMore(a.img, a.i, nullptr) || true; }},
        {"isTransparnetImage", Check::None, [](Args& a) { return isTransparnetImage(a.img, a.i) || true; }},
        {"convolveImage", Check::None, [](Args& a) {
             const double kernel[25] = {a.d, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
             return convolveImage(a.img, unsigned(a.i) % 7, kernel) || true;
         }},
        {"sharpenImage", Check::None, [](Args& a) { return sharpenImage(a.img, a.d, a.d) || true; }},
        {"edgeImage", Check::ImageIfFalse, [](Args& a) { return edgeImage(a.img, a.d); }},
        {"sharpenMore", Check::None, [](Args& a) { return run([&] { sharpenMore(a.img, a.i); }); }},
        {"unsharp_mask_fast", Check::None, [](Args& a) { return unsharp_mask_fast(a.img, a.i, a.d, a.i) || true; }},
        {"vqDoFocusBlur", Check::ImageIfFalse, [](Args& a) {
             FocusBlurConfig c{0, a.d, a.d, 0.5, a.d, a.d, a.d, a.d, a.d};
             return vqDoFocusBlur(a.img, &c);
         }},
        // --- transforms and scaling ---------------------------------------------------
        {"scaleRotateImage", Check::DstIfFalse, [](Args& a) {
             return scaleRotateImage(a.dst, a.img, a.i % 200, std::abs(a.i % 150), a.d, 3);
         }},
        {"ScaleDibAll", Check::None, [](Args& a) { return ScaleDibAll(a.img, a.i % 300, a.i % 200, true); }},
        {"ThEnlargeImage", Check::DstIfFalse, [](Args& a) { return ThEnlargeImage(a.dst, a.img, a.i, 7); }},
        {"unifiedtransformEx", Check::DstIfFalse, [](Args& a) {
             return unifiedtransformEx(a.dst, a.img, corners(a), QSize(a.i % 90, 40), a.r,
                                       (a.i & 1) ? Qt::SmoothTransformation : Qt::FastTransformation, Qt::red);
         }},
        {"unifiedtransformEx(shear)", Check::DstIfFalse, [](Args& a) {
             return unifiedtransformEx(a.dst, a.img, a.d, a.d / 3, QSize(), a.r, Qt::SmoothTransformation, Qt::red);
         }},
        {"unifiedtransform", Check::DstIfFalse, [](Args& a) { QRect r; return unifiedtransform(a.dst, r, a.img, corners(a), true, Qt::white); }},
        {"shear_unifiedtransform", Check::DstIfFalse, [](Args& a) { QRect r; return shear_unifiedtransform(a.dst, r, a.img, a.d, a.d, true, Qt::white); }},
        {"doPerspectiveWarp", Check::ImageIfFalse, [](Args& a) {
             QRectF rect;
             const QVector<QPointF> from = quad(a), to = {{0, 0}, {9, 1}, {8, 8}, {a.d, 7}};
             return checkPerspectiveWarpValid(a.img, from, to) | doPerspectiveWarp(a.img, from, to, rect, a.i & 1);
         }},
        {"doPerspectiveTransform", Check::ImageIfFalse, [](Args& a) { QVector<QPointF> q = quad(a); return doPerspectiveTransform(a.img, q); }},
        {"getMaskResultFromTranform", Check::None, [](Args& a) {
             QRectF rect;
             QTransform t(a.d, 0.5, 0.1, 1, 3, 4);
             return run([&] { getMaskResultFromTranform(a.dst, a.img, rect, t, a.i & 1); });
         }},
        {"bezierTransform", Check::DstIfFalse, [](Args& a) {
             QVector<QPointF> grid;
             for (int k = 0; k < 16; ++k)
                 grid << QPointF((k % 4) * a.img.width() / 3.0 + (k == 5 ? a.d : 0), (k / 4) * a.img.height() / 3.0);
             QRect placed;
             return bezierTransform(a.dst, placed, a.img, grid);
         }},
        {"freeTransform", Check::DstIfFalse, [](Args& a) {
             const QVector<QPointF> q = quad(a);
             QRect placed;
             return freeTransform(a.dst, placed, a.img, q.data(), (a.i & 1) ? QVector<QPointF>{{0.5, a.d}} : QVector<QPointF>());
         }},
        {"transformQImage", Check::DstIfFalse, [](Args& a) {
             QRect placed;
             return transformQImage(a.dst, placed, a.img, {{0, 0}, {3, 3}, {a.d, 1}}, {{1, 0}, {3, a.d}, {2, 1}});
         }},
        {"selection_fast_scale", Check::None, [](Args& a) {
             QRect srcRect = a.r, dstRect(0, 0, 8, 8), clip;
             QSizeF scale(a.d, a.d);
             QSize canvas(16, 16);
             return selection_fast_scale(a.dst, QSize(a.i % 90, 9), a.img, srcRect, dstRect, scale, canvas, clip) || true;
         }},
        {"DibRoll", Check::None, [](Args& a) { return DibRoll(a.img, a.i, flip(a.i) / 2) || true; }},
        // --- compositing ---------------------------------------------------------------
        {"mask bounds", Check::None, [](Args& a) {
             CRect out;
             getMaskImageBouder(out, a.img, a.i & 1);
             getMaskImageBouder(a.img, a.i & 2);
             getBoundFromMask(a.img, &a.mask);
             return true;
         }},
        {"combineImage", Check::None, [](Args& a) {
             return run([&] {
                 combineImage(a.img, a.mask, a.r, a.i);
                 combineImage(a.img, &a.mask, a.other, a.r);
             });
         }},
        {"combineImageData", Check::ImageIfFalse, [](Args& a) { return combineImageData(a.img, a.other, a.i); }},
        {"combineSelectionData", Check::ImageIfFalse, [](Args& a) {
             return combineSelectionData(a.img, a.mask, QTransform(a.d, 0, 0, 1, 2, 3), a.i);
         }},
        {"combineImageEx", Check::None, [](Args& a) {
             QSizeF scale(a.d, 1);
             return run([&] { combineImageEx(a.img, a.r, a.other, &a.mask, a.r, scale); });
         }},
        {"combineImageByAlpha", Check::ImageIfFalse, [](Args& a) {
             return combineImageByAlpha(a.img, a.other, a.mask, a.i & 1, a.r, a.i & 2);
         }},
        {"combineChannelAlpha", Check::None, [](Args& a) { return run([&] { combineChannelAlpha(a.img, a.other, a.mask, a.r, a.i, a.i & 1); }); }},
        {"drawImageOnImage", Check::ImageIfFalse, [](Args& a) {
             return drawImageOnImage(a.img, a.r, a.other, a.r.translated(1, 1), a.i & 1, a.i & 2, a.i, a.i & 4, a.i & 8);
         }},
        {"replaceImageBlock", Check::None, [](Args& a) { return run([&] { replaceImageBlock(a.img, a.other, a.r); }); }},
        // --- selections ------------------------------------------------------------------
        {"CDibRegion", Check::None, [](Args& a) {
             CDibRegion region;
             region.setImage(a.mask);
             const CPoint pts[3] = {CPoint(a.i, 0), CPoint(3, a.i), CPoint(flip(a.i) / 2, 5)};
             region.AddSelect(CRect(a.r.left(), a.r.top(), a.r.right(), a.r.bottom()), a.i & 1, uchar(a.i));
             region.AddSelect(3, pts, 0);
             region.GetBouder(true);
             return true;
         }},
        {"magic wand", Check::None, [](Args& a) {
             CBoundaryTrace trace;
             CDibRegion region;
             region.setImage(vqtest::filled(std::max(a.img.width(), 1), std::max(a.img.height(), 1),
                                            QImage::Format_Grayscale8, 255));
             trace.BouderayColor(&region, a.img, CPoint(a.i % 5, 1), uchar(a.i), a.i, a.i & 1);
             QImageEx map;
             trace.GetColorMap(map, a.img, CPoint(1, 0), uchar(a.i), a.i, a.i & 1);
             return true;
         }},
    };
}

// The images of the sweep: every format at 1 x 1, 3 x 2 and 17 x 5, null
// images, and palette images whose table is empty or short.
std::vector<QImageEx> images() {
    std::vector<QImageEx> list{QImageEx(), QImageEx(QImage(0, 0, QImage::Format_ARGB32))};
    for (int f = 1; f < QImage::NImageFormats; ++f)
        for (QSize size : {QSize(1, 1), QSize(3, 2), QSize(17, 5)})
            list.push_back(vqtest::randomImage(size.width(), size.height(), QImage::Format(f), uint32_t(f)));
    for (int entries : {0, 2}) {
        QImage indexed = vqtest::randomImage(9, 4, QImage::Format_Indexed8, 3);
        indexed.setColorTable(QVector<QRgb>(entries, 0xFF336699));
        list.push_back(indexed);
    }
    return list;
}

}  // namespace

TEST(Sweep, EveryOperationOverHostileImagesAndParameters) {
    const std::vector<QImageEx> pictures = images();
    const QImageEx sentinel = vqtest::filled(2, 3, QImage::Format_ARGB32, 0x12345678);
    const bool verbose = qEnvironmentVariableIsSet("VQUTIL_SWEEP_VERBOSE");
    for (const Op& op : ops()) {
        SCOPED_TRACE(op.name);
        if (verbose)
            fprintf(stderr, "sweep: %s\n", op.name);
        for (size_t p = 0; p < pictures.size(); ++p) {
            const QImageEx& picture = pictures[p];
            // Second images and masks: the same shape, or another one.
            const QImageEx other = (p % 2) ? picture : pictures[(p * 7) % pictures.size()];
            const QImageEx mask = (p % 3) ? QImageEx(vqtest::randomImage(std::max(picture.width(), 1),
                                                                         std::max(picture.height(), 1),
                                                                         QImage::Format_Grayscale8, 9))
                                          : pictures[(p * 5) % pictures.size()];
            for (size_t k = 0; k < std::size(kInts); ++k) {
                Args a;
                a.img = picture.copy();
                a.other = other.copy();
                a.mask = mask.copy();
                a.dst = sentinel.copy();
                a.i = kInts[k];
                a.d = kDoubles[k % std::size(kDoubles)];
                a.r = kRects[k % std::size(kRects)];
                const bool ok = op.call(a);
                if (ok)
                    continue;
                if (op.check == Check::ImageIfFalse) {
                    EXPECT_TRUE(vqtest::sameBytes(a.img, picture) && a.img.format() == picture.format())
                        << "image " << p << ", parameter " << k;
                } else if (op.check == Check::DstIfFalse) {
                    EXPECT_TRUE(vqtest::sameBytes(a.dst, sentinel)) << "image " << p << ", parameter " << k;
                }
            }
        }
    }
}
