// The magic wand's colour map: every pixel classified against the clicked
// one. Also the grey map and the region built from it.
#include <vqutil/selection.h>

#include "core/guard.h"
#include "core/pixel_math.h"

#include <QRegion>

#include <array>
#include <cmath>
#include <cstdlib>

namespace {

// The three components a colour is compared in, and their tolerances.
struct Components {
    int a, b, c;
};

Components componentsOf(int blue, int green, int red, int mode) {
    if (mode == 0)
        return {red, green, blue};
    return {(blue + 6 * green + 3 * red) / 10, 3 * blue - 2 * green - red, 6 * red - 5 * green - blue};
}

struct ColourTest {
    Components clicked;
    Components tolerance;
    int mode;

    ColourTest(int blue, int green, int red, int mode, int t)
        : clicked(componentsOf(blue, green, red, mode)), tolerance(mode == 0 ? Components{t, t, t} : Components{t, 3 * t, 6 * t}),
          mode(mode) {}

    bool matches(int blue, int green, int red) const {
        const Components p = componentsOf(blue, green, red, mode);
        return std::abs(p.a - clicked.a) <= tolerance.a && std::abs(p.b - clicked.b) <= tolerance.b &&
               std::abs(p.c - clicked.c) <= tolerance.c;
    }
};

// 24- and 32-bit rows: outside where the colour (and, for 32 bits, the
// alpha rule) says so; the row was filled with `inside` before.
VQ_MULTIVERSION void classifyRow(const uint8_t* __restrict in, uint8_t* __restrict out, int width, int bpp,
                                 ColourTest test, int clickedAlpha, uint8_t outside) {
    for (int x = 0; x < width; ++x) {
        const uint8_t* p = in + x * bpp;
        bool out_;
        if (bpp == 4 && clickedAlpha == 0)
            out_ = p[3] != 0;  // a transparent click selects the transparent pixels
        else
            out_ = (bpp == 4 && p[3] < 128) || !test.matches(p[0], p[1], p[2]);
        if (out_)
            out[x] = outside;
    }
}

bool isMapFor(const QImageEx& map, const QImageEx& img) {
    return map.format() == QImage::Format_Grayscale8 && map.size() == img.size();
}

}  // namespace

bool CBoundaryTrace::GetColorMap(QImageEx& map, const QImageEx& img, const CPoint& pt, unsigned char tolerance,
                                 int mode, int channels) {
    return GetColorMapEx(map, img, pt, tolerance, mode, 0, 1, channels);
}

bool CBoundaryTrace::GetColorMapEx(QImageEx& map, const QImageEx& img, const CPoint& pt, unsigned char tolerance,
                                   int mode, int inside, int outside, int) {
    const int depth = img.depth();
    if (img.isNull() || pt.x < 0 || pt.y < 0 || pt.x >= img.width() || pt.y >= img.height())
        return true;
    if (depth != 1 && depth != 8 && depth != 24 && depth != 32)
        return true;
    vq::guarded([&] {
        if (!isMapFor(map, img) && !QImageEx::create(map, img.width(), img.height(), QImage::Format_Grayscale8))
            return;
        const uint8_t in = static_cast<uint8_t>(inside), out = static_cast<uint8_t>(outside);
        const int w = img.width(), h = img.height();
        map.beginDetach();
        uint8_t* mapBits = map.bits();
        const qsizetype mapStride = map.bytesPerLine();
        const uint8_t* clickedRow = img.constScanLine(pt.y);
        if (depth == 1) {
            const auto bitAt = [](const uint8_t* row, int x) { return (row[x >> 3] >> (7 - (x & 7))) & 1; };
            const int clicked = bitAt(clickedRow, pt.x);
            for (int y = 0; y < h; ++y) {
                const uint8_t* row = img.constScanLine(y);
                uint8_t* m = mapBits + y * mapStride;
                for (int x = 0; x < w; ++x)
                    m[x] = bitAt(row, x) == clicked ? in : out;
            }
        } else if (depth == 8) {
            std::array<uint8_t, 256> classOf{};
            if (img.format() == QImage::Format_Grayscale8) {
                const int clicked = clickedRow[pt.x];
                for (int v = 0; v < 256; ++v)
                    classOf[v] = std::abs(v - clicked) <= tolerance ? in : out;
            } else {
                const QVector<QRgb> palette = img.colorTable();
                const auto entry = [&](int i) { return i < palette.size() ? palette[i] : 0u; };
                const QRgb c = entry(clickedRow[pt.x]);
                const ColourTest test(qBlue(c), qGreen(c), qRed(c), mode, tolerance);
                for (int v = 0; v < 256; ++v)
                    classOf[v] = test.matches(qBlue(entry(v)), qGreen(entry(v)), qRed(entry(v))) ? in : out;
            }
            for (int y = 0; y < h; ++y) {
                const uint8_t* row = img.constScanLine(y);
                uint8_t* m = mapBits + y * mapStride;
                for (int x = 0; x < w; ++x)
                    m[x] = classOf[row[x]];
            }
        } else {
            const int bpp = depth / 8;
            const uint8_t* c = clickedRow + static_cast<qsizetype>(pt.x) * bpp;
            const ColourTest test(c[0], c[1], c[2], mode, tolerance);
            const int clickedAlpha = bpp == 4 ? c[3] : 255;
            for (int y = 0; y < h; ++y) {
                uint8_t* m = mapBits + y * mapStride;
                std::fill(m, m + w, in);
                classifyRow(img.constScanLine(y), m, w, bpp, test, clickedAlpha, out);
            }
        }
        map.endDetach();
    });
    return true;
}

bool CBoundaryTrace::getGreyMap(QImageEx& map, const QImageEx& img) {
    if (img.isNull())
        return false;
    return vq::guarded(false, [&] {
        QImageEx grey;
        if (!QImageEx::create(grey, img.width(), img.height(), QImage::Format_Grayscale8))
            return false;
        const int depth = img.depth();
        const int bpp = depth / 8;
        const QVector<QRgb> palette = img.colorTable();
        std::array<uint8_t, 256> greyOf{};
        if (depth == 8 && img.format() != QImage::Format_Indexed8)  // grey bytes are their own level
            for (int i = 0; i < 256; ++i)
                greyOf[i] = static_cast<uint8_t>(i);
        for (int i = 0; i < palette.size() && i < 256; ++i)
            greyOf[i] = static_cast<uint8_t>((qBlue(palette[i]) + 6 * qGreen(palette[i]) + 3 * qRed(palette[i])) / 10);
        for (int y = 0; y < img.height(); ++y) {
            const uint8_t* row = img.constScanLine(y);
            uint8_t* out = grey.scanLine(y);
            const int w = img.width();
            if (depth == 1)
                for (int x = 0; x < w; ++x)
                    out[x] = greyOf[(row[x >> 3] >> (7 - (x & 7))) & 1];
            else if (depth == 8)
                for (int x = 0; x < w; ++x)
                    out[x] = greyOf[row[x]];
            else if (depth >= 24)
                for (int x = 0; x < w; ++x, row += bpp)
                    out[x] = static_cast<uint8_t>((row[0] + 6 * row[1] + 3 * row[2]) / 10);
            else
                std::fill(out, out + w, 0);
        }
        map = grey;
        return true;
    });
}

bool CBoundaryTrace::rgnFromImage(QRegion& region, const QImageEx& img, double low, double high) {
    QImageEx grey;
    if (!getGreyMap(grey, img))
        return false;
    return vq::guarded(false, [&] {
        QVector<QRect> runs;
        for (int y = 0; y < grey.height(); ++y) {
            const uint8_t* row = grey.constScanLine(y);
            for (int x = 0; x < grey.width();) {
                if (!(row[x] >= low && row[x] <= high)) {
                    ++x;
                    continue;
                }
                const int start = x;
                while (x < grey.width() && row[x] >= low && row[x] <= high)
                    ++x;
                runs.append(QRect(start, y, x - start, 1));
            }
        }
        QRegion out;
        out.setRects(runs.constData(), runs.size());
        region = out;
        return true;
    });
}
