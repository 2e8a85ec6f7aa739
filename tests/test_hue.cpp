// Hue, saturation and colour balance: neutral settings, alpha, formats and
// failures, and the direction of every setting.
#include <vqutil/adjust.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <functional>

using namespace vqtest;

namespace {

HSLAdjustParam master(int hue, int saturation, int light) { return {1, 0, 0, 0, 0, hue, saturation, light}; }
HSLAdjustParam reds(int hue, int saturation, int light) { return {0, 315, 345, 15, 45, hue, saturation, light}; }

QRgb at(const QImage& image, int x) { return reinterpret_cast<const QRgb*>(image.constScanLine(0))[x]; }

// Chroma (max - min), HSL lightness x 2 (max + min) and hue in degrees of a colour.
int chroma(QRgb c) { return std::max({qRed(c), qGreen(c), qBlue(c)}) - std::min({qRed(c), qGreen(c), qBlue(c)}); }
int lightness2(QRgb c) { return std::max({qRed(c), qGreen(c), qBlue(c)}) + std::min({qRed(c), qGreen(c), qBlue(c)}); }
double hueOf(QRgb c) { return QColor(c).hslHueF() * 360; }
double hueDistance(double a, double b) { return 180 - std::fabs(std::fmod(std::fabs(a - b), 360.0) - 180); }

// Each operation with settings that change colours, and with neutral ones.
struct Operation {
    const char* name;
    bool greyTakesColour;  // Grayscale8 and Alpha8 become Indexed8 (else they are left alone)
    std::function<bool(QImageEx&)> apply, neutral;
};
const Operation kOperations[] = {
    {"DibHSLAdjust", true, [](QImageEx& i) { return DibHSLAdjust(i, {master(30, 40, -10), reds(0, -50, 0)}, false); },
     [](QImageEx& i) { return DibHSLAdjust(i, {master(0, 0, 0), reds(0, 0, 0), HSLAdjustParam{}}, false); }},
    {"colorize", true, [](QImageEx& i) { return DibHSLAdjust(i, {master(200, 50, 10)}, true); },
     [](QImageEx& i) { return DibHSLAdjust(i, {reds(40, 40, 40)}, true); }},
    {"adjustSaturation", false, [](QImageEx& i) { return adjustSaturation(i, 60); },
     [](QImageEx& i) { return adjustSaturation(i, 0); }},
    {"hueEqual", false, [](QImageEx& i) { return hueEqual(i, 100, 70); },
     [](QImageEx& i) { return hueEqual(i, 100, 0); }},
    {"DibColorBalance", true, [](QImageEx& i) { return DibColorBalance(i, 30, 0, -20, 0, 50, 0, -40, 0, 70, false); },
     [](QImageEx& i) { return DibColorBalance(i, 0, 0, 0, 0, 0, 0, 0, 0, 0, true); }},
    {"DibColorBalance kept lightness", true,
     [](QImageEx& i) { return DibColorBalance(i, 30, 0, -20, 0, 50, 0, -40, 0, 70, true); },
     [](QImageEx& i) { return DibColorBalance(i, 0, 0, 0, 0, 0, 0, 0, 0, 0, false); }},
};

}  // namespace

TEST(HueSaturation, FormatsNullImagesAlphaAndColourTables) {
    for (const Operation& op : kOperations) {
        QImageEx null;
        EXPECT_FALSE(op.apply(null)) << op.name;
        EXPECT_FALSE(op.neutral(null)) << op.name;
        // Neutral settings change nothing; formats without colour stay as they are.
        for (int f = QImage::Format_Mono; f < QImage::NImageFormats; ++f)
            for (QSize size : {QSize(1, 1), QSize(3, 1), QSize(1, 3), QSize(17, 9)}) {
                const QImage::Format format = static_cast<QImage::Format>(f);
                const QImageEx original = randomImage(size.width(), size.height(), format, f);
                QImageEx image = original;
                EXPECT_TRUE(op.neutral(image)) << op.name << " " << f;
                EXPECT_EQ(image.format(), format);
                EXPECT_TRUE(sameBytes(image, original) && image.colorTable() == original.colorTable());
                EXPECT_TRUE(op.apply(image)) << op.name << " " << f;
                const bool grey = format == QImage::Format_Grayscale8 || format == QImage::Format_Alpha8;
                if (grey && op.greyTakesColour) {
                    EXPECT_EQ(image.format(), QImage::Format_Indexed8) << op.name;
                } else if (original.depth() == 16 || grey) {
                    EXPECT_EQ(image.format(), format);
                    EXPECT_TRUE(sameBytes(image, original)) << op.name << " " << f;
                }
            }
        // Colours change, alpha never.
        const QImageEx original = randomImage(33, 7, QImage::Format_ARGB32, 3);
        QImageEx image = original;
        ASSERT_TRUE(op.apply(image));
        EXPECT_FALSE(sameBytes(image, original)) << op.name;
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 33; ++x)
                ASSERT_EQ(original.constScanLine(y)[4 * x + 3], image.constScanLine(y)[4 * x + 3]) << op.name;
        // An indexed image changes its colour table exactly as pixels of those colours change.
        QImageEx indexed(randomImage(16, 16, QImage::Format_Indexed8, 9)), asPixels(QImage(256, 1, original.format()));
        std::memcpy(asPixels.scanLine(0), indexed.colorTable().constData(), 4 * 256);
        const QImageEx indices = indexed;
        ASSERT_TRUE(op.apply(indexed) && op.apply(asPixels));
        EXPECT_TRUE(sameBytes(indexed, indices)) << op.name;
        const QVector<QRgb> table = indexed.colorTable();
        EXPECT_EQ(std::vector<uint32_t>(table.begin(), table.end()), wordsOf(asPixels)) << op.name;
    }
    // Grey images take colour through the table: red's output black at 255 x 0.2.
    QImageEx grey = randomImage(5, 5, QImage::Format_Grayscale8);
    ASSERT_TRUE(DibColorBalance(grey, 50, 0, 0, 0, 0, 0, 0, 0, 0, false));
    EXPECT_EQ(grey.colorTable()[0], qRgb(51, 0, 0));
}

TEST(HueSaturation, OutOfRangeSettingsAreClampedAndHuesWrapped) {
    const QImageEx base = randomImage(67, 5, QImage::Format_ARGB32, 4);
    const auto same = [&](const std::function<bool(QImageEx&)>& a, const std::function<bool(QImageEx&)>& b) {
        QImageEx x = base, y = base;
        return a(x) && b(y) && sameBytes(x, y);
    };
    // INT_MIN is 232 degrees on the circle, INT_MAX 127.
    EXPECT_TRUE(same([](QImageEx& i) { return adjustSaturation(i, INT_MIN); },
                     [](QImageEx& i) { return adjustSaturation(i, -100); }));
    EXPECT_TRUE(same([](QImageEx& i) { return hueEqual(i, INT_MIN, INT_MAX); },
                     [](QImageEx& i) { return hueEqual(i, 232, 100); }));
    const HSLAdjustParam wild{0, INT_MIN, INT_MAX, INT_MIN, INT_MAX, INT_MAX, INT_MIN, INT_MAX};
    EXPECT_TRUE(same([&](QImageEx& i) { return DibHSLAdjust(i, {wild}, false); },
                     [](QImageEx& i) { return DibHSLAdjust(i, {{0, 232, 127, 232, 127, 180, -100, 100}}, false); }));
    const QList<HSLAdjustParam> wildColour = {master(INT_MAX, INT_MAX, INT_MIN), master(INT_MAX, 0, 0)};
    EXPECT_TRUE(same([&](QImageEx& i) { return DibHSLAdjust(i, wildColour, true); },
                     [](QImageEx& i) { return DibHSLAdjust(i, {master(0, 100, -100)}, true); }));
    const int lo = INT_MIN, hi = INT_MAX;
    EXPECT_TRUE(same([&](QImageEx& i) { return DibColorBalance(i, lo, hi, 0, 0, lo, 0, hi, 0, 0, true); },
                     [](QImageEx& i) { return DibColorBalance(i, -100, 100, 0, 0, -100, 0, 100, 0, 0, true); }));
}

TEST(HueSaturation, HslShiftsMoveTheRightWay) {
    const QImageEx base = colours({qRgb(200, 40, 40), qRgb(40, 40, 200), qRgb(200, 150, 40), qRgb(90, 90, 90),
                                   qRgb(230, 60, 130), qRgb(20, 180, 160)});
    QImageEx image = base;
    // Reds lose their colour, other hues (and greys) are left as they were.
    ASSERT_TRUE(DibHSLAdjust(image, {reds(0, -100, 0)}, false));
    EXPECT_EQ(at(image, 0), qRgb(120, 120, 120));
    for (int x : {1, 3, 5})
        EXPECT_EQ(at(image, x), at(base, x));
    // Orange (hue 41) lies on the reds' falling edge (15..45): an eighth affected.
    EXPECT_GT(chroma(at(image, 2)), 0);
    EXPECT_LT(chroma(at(image, 2)), chroma(at(base, 2)));

    image = base;
    ASSERT_TRUE(DibHSLAdjust(image, {master(120, 0, 0)}, false));
    EXPECT_EQ(at(image, 0), qRgb(40, 200, 40));
    EXPECT_EQ(at(image, 1), qRgb(200, 40, 40));
    for (int lightness : {-100, 100}) {
        image = base;
        ASSERT_TRUE(DibHSLAdjust(image, {master(0, 0, lightness)}, false));
        EXPECT_EQ(wordsOf(image), std::vector<uint32_t>(6, lightness < 0 ? 0xFF000000u : 0xFFFFFFFFu));
    }
    // More saturation or lightness never lowers them (one level of rounding aside).
    for (int x = 0; x < 6; ++x)
        for (int step = -100; step < 100; step += 25) {
            QImageEx a = base, b = base, c = base, d = base;
            adjustSaturation(a, step);
            adjustSaturation(b, step + 25);
            EXPECT_LE(chroma(at(a, x)), chroma(at(b, x)) + 1) << x << " " << step;
            DibHSLAdjust(c, {master(0, 0, step)}, false);
            DibHSLAdjust(d, {master(0, 0, step + 25)}, false);
            EXPECT_LE(lightness2(at(c, x)), lightness2(at(d, x)) + 1);
        }
    image = base;
    ASSERT_TRUE(adjustSaturation(image, -100));
    for (int x = 0; x < 6; ++x)
        EXPECT_EQ(chroma(at(image, x)), 0);
}

TEST(HueSaturation, ColorizeAndHueEqualReachTheirHue) {
    QImageEx image = colours({qRgb(200, 40, 40), qRgb(40, 40, 200), qRgb(90, 90, 90), qRgb(20, 180, 160)});
    const QImageEx base = image;
    ASSERT_TRUE(DibHSLAdjust(image, {master(-60, 100, 0)}, true));  // hue 300, full saturation
    for (int x = 0; x < 4; ++x) {
        EXPECT_NEAR(hueOf(at(image, x)), 300, 1) << x;
        EXPECT_NEAR(lightness2(at(image, x)), lightness2(at(base, x)), 1) << x;
    }
    // hueEqual: each step closer to the target; 100 reaches it, keeping the grey grey.
    double previous[4] = {180, 180, 180, 180};
    for (int amount : {25, 50, 75, 100}) {
        image = base;
        ASSERT_TRUE(hueEqual(image, 420, amount));  // 60, yellow
        for (int x : {0, 1, 3}) {
            const double d = hueDistance(hueOf(at(image, x)), 60);
            EXPECT_LE(d, previous[x] + 0.5) << x;
            previous[x] = d;
        }
        EXPECT_EQ(at(image, 2), at(base, 2));
    }
    for (int x : {0, 1, 3})
        EXPECT_LT(previous[x], 1.0);
}

TEST(ColourBalance, EachSliderMovesItsRangeAndKeepsTheOtherEnd) {
    const QImage ramp = greyRamp();
    const std::vector<uint32_t> in = wordsOf(ramp);
    for (int slider = 0; slider < 9; ++slider)
        for (int value : {-100, -30, 30, 100}) {
            int v[9] = {};
            v[slider] = value;
            QImageEx image = ramp;
            ASSERT_TRUE(DibColorBalance(image, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], false));
            const std::vector<uint32_t> out = wordsOf(image);
            const int range = slider / 3, shift = 16 - 8 * (slider % 3);  // red, green, blue
            const auto moved = [&](int i) { return int(out[i] >> shift & 0xFF); };
            for (int i = 0; i < 256; ++i) {
                EXPECT_TRUE(value > 0 ? moved(i) >= i : moved(i) <= i) << slider << " " << value << " " << i;
                EXPECT_EQ(out[i] & ~(0xFFu << shift), in[i] & ~(0xFFu << shift));  // other channels, alpha
            }
            // Shadows keep white and move dark tones most, highlights the
            // opposite; midtones keep both ends and move the middle.
            const int dark = std::abs(moved(40) - 40), light = std::abs(moved(215) - 215);
            EXPECT_TRUE(range == 0 || moved(0) == 0) << slider << " " << value;
            EXPECT_TRUE(range == 2 || moved(255) == 255) << slider << " " << value;
            EXPECT_TRUE(range != 0 || dark > light) << slider << " " << value;
            EXPECT_TRUE(range != 1 || std::abs(moved(128) - 128) >= 10) << slider << " " << value;
            EXPECT_TRUE(range != 2 || light > dark) << slider << " " << value;
        }
    // Kept lightness: the balanced colour's hue at the original lightness.
    QImageEx image = colours({qRgb(100, 100, 100), qRgb(180, 60, 90), qRgb(0, 0, 0), qRgb(255, 255, 255)});
    const QImageEx base = image;
    ASSERT_TRUE(DibColorBalance(image, 0, 0, 0, 60, -40, -40, 0, 0, 0, true));
    for (int x = 0; x < 4; ++x)
        EXPECT_NEAR(lightness2(at(image, x)), lightness2(at(base, x)), 1) << x;
    EXPECT_GT(qRed(at(image, 0)), qGreen(at(image, 0)));
    EXPECT_EQ(at(image, 2), at(base, 2));
    EXPECT_EQ(at(image, 3), at(base, 3));
}
