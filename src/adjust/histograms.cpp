// Histograms of grey, channel and CMYK values, and their drawing.
#include <vqutil/adjust.h>

#include "core/guard.h"
#include "core/image_rows.h"
#include "core/parallel.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <vector>

namespace {

using Counts = std::array<uint32_t, 256>;

// Counts with four partial tables, so that runs of equal values do not all
// wait on one counter; summed when read.
struct SpreadCounts {
    uint32_t part[4][256] = {};
    void add(int lane, int v) { ++part[lane & 3][v]; }
    uint32_t at(int v) const { return part[0][v] + part[1][v] + part[2][v] + part[3][v]; }
};

void store(int* table, const SpreadCounts& counts) {
    if (table)
        for (int v = 0; v < 256; ++v)
            table[v] = static_cast<int>(counts.at(v));
}

// Pixel counts per colour index of an indexed or 1-bit image (most
// significant bit first).
Counts indexCounts(const QImage& image) {
    Counts counts{};
    for (int y = 0; y < image.height(); ++y) {
        const uint8_t* row = image.constScanLine(y);
        if (image.depth() == 1) {
            for (int x = 0; x < image.width(); ++x)
                ++counts[(row[x >> 3] >> (7 - (x & 7))) & 1];
        } else {
            for (int x = 0; x < image.width(); ++x)
                ++counts[row[x]];
        }
    }
    return counts;
}

// Value, red, green and blue counts of a row of 32-bit pixels, four pixels
// a step, each into its own lane of the tables.
void countValueRowWords(const uint8_t* row, int width, SpreadCounts* __restrict counts) {
    const auto countPixel = [counts](uint32_t p, int lane) {
        const uint32_t b = p & 0xFF, g = (p >> 8) & 0xFF, r = (p >> 16) & 0xFF;
        ++counts[0].part[lane][std::max(std::max(r, g), b)];
        ++counts[1].part[lane][r];
        ++counts[2].part[lane][g];
        ++counts[3].part[lane][b];
    };
    int x = 0;
    for (; x + 4 <= width; x += 4) {
        uint32_t p[4];
        std::memcpy(p, row + 4 * x, 16);
        countPixel(p[0], 0);
        countPixel(p[1], 1);
        countPixel(p[2], 2);
        countPixel(p[3], 3);
    }
    for (; x < width; ++x) {
        uint32_t p;
        std::memcpy(&p, row + 4 * x, 4);
        countPixel(p, x & 3);
    }
}

bool isIndexed(const QImage& image) { return image.format() == QImage::Format_Indexed8 || image.depth() == 1; }

}  // namespace

void getHistoGramGrey(const QImageEx& image, int* grey) {
    if (!grey)
        return;
    std::fill(grey, grey + 256, 0);
    if (isIndexed(image)) {
        const Counts perIndex = indexCounts(image);
        const QVector<QRgb> table = image.colorTable();
        for (int i = 0; i < std::min(256, table.size()); ++i) {
            const QRgb e = table[i];
            const int g = (qRed(e) * 11 + qGreen(e) * 16 + qBlue(e) * 5) >> 5;
            const int a = qAlpha(e);
            grey[(g * a / 255 + 255 - a) % 256] += static_cast<int>(perIndex[i]);
        }
        return;
    }
    const int bpp = vq::bytesPerPixel(image);
    if (bpp != 1 && bpp != 3 && bpp != 4)
        return;
    SpreadCounts counts;
    for (int y = 0; y < image.height(); ++y) {
        const uint8_t* p = image.constScanLine(y);
        for (int x = 0; x < image.width(); ++x, p += bpp)
            counts.add(x, bpp == 1 ? p[0] : (p[1] * 59 + p[0] * 11 + p[2] * 30) / 100);
    }
    store(grey, counts);
}

void getHistoGramValue(const QImageEx& image, int* value, int* first, int* second, int* third) {
    int* tables[4] = {value, first, second, third};
    for (int* t : tables)
        if (t)
            std::fill(t, t + 256, 0);
    const auto addCounts = [&](const Counts* c) {
        for (int k = 0; k < 4; ++k)
            if (tables[k])
                for (int v = 0; v < 256; ++v)
                    tables[k][v] += static_cast<int>(c[k][v]);
    };
    if (isIndexed(image)) {
        // 1-bit images count their bit; indexed ones the colour of the entry.
        const Counts perIndex = indexCounts(image);
        const QVector<QRgb> table = image.colorTable();
        Counts c[4] = {};
        for (int i = 0; i < (image.depth() == 1 ? 2 : 256); ++i) {
            const bool bit = image.depth() == 1;
            const QRgb e = !bit && i < table.size() ? table[i] : 0;
            const int r = bit ? i : qRed(e), g = bit ? i : qGreen(e), b = bit ? i : qBlue(e);
            c[0][std::max({r, g, b})] += perIndex[i];
            c[1][r] += perIndex[i];
            c[2][g] += perIndex[i];
            c[3][b] += perIndex[i];
        }
        addCounts(c);
        return;
    }
    const int bpp = vq::bytesPerPixel(image);
    if (bpp != 1 && bpp < 3)
        return;
    // first, second, third: red, green, blue: bytes 2, 1, 0 of 32-bit (and
    // wider) pixels, bytes 0, 1, 2 of 24-bit ones; grey bytes count in all.
    const int redByte = bpp == 3 ? 0 : 2, blueByte = bpp == 3 ? 2 : 0;
    auto counts = std::make_unique<SpreadCounts[]>(4);
    for (int y = 0; y < image.height(); ++y) {
        const uint8_t* p = image.constScanLine(y);
        if (bpp == 4) {
            countValueRowWords(p, image.width(), counts.get());
            continue;
        }
        for (int x = 0; x < image.width(); ++x, p += bpp) {
            const int r = bpp == 1 ? p[0] : p[redByte];
            const int g = bpp == 1 ? p[0] : p[1];
            const int b = bpp == 1 ? p[0] : p[blueByte];
            counts[0].add(x, std::max({r, g, b}));
            counts[1].add(x, r);
            counts[2].add(x, g);
            counts[3].add(x, b);
        }
    }
    for (int k = 0; k < 4; ++k)
        store(tables[k], counts[k]);
}

void getHistoGramValueCMYK(const QImageEx& image, int* value, int* cyan, int* magenta, int* yellow, int* black) {
    int* tables[5] = {value, cyan, magenta, yellow, black};
    for (int* t : tables)
        if (t)
            std::fill(t, t + 256, 0);
    const int bpp = vq::bytesPerPixel(image);
    if (bpp < 3 || image.isNull())
        return;
    vq::guarded([&] {
        const int w = image.width();
        const uint8_t* bits = image.constBits();
        const qsizetype stride = image.bytesPerLine();
        // Each band counts on its own; the totals are added after the pass.
        std::mutex totalsLock;
        std::array<Counts, 5> totals{};
        processLinesParallel(0, image.height(), [&](int y, int end) {
            std::array<Counts, 5> counts{};
            std::vector<uint8_t> bgr(static_cast<size_t>(w) * 3), cmyk(static_cast<size_t>(w) * 4);
            for (; y < end; ++y) {
                const uint8_t* row = bits + y * stride;
                for (int x = 0; x < w; ++x)
                    std::memcpy(&bgr[3 * x], row + static_cast<qsizetype>(x) * bpp, 3);
                QImageEx::BgrToCmyk(cmyk.data(), bgr.data(), static_cast<unsigned>(w));
                for (int x = 0; x < w; ++x) {
                    const uint8_t* p = &cmyk[4 * x];
                    ++counts[0][std::max({p[0], p[1], p[2], p[3]})];
                    for (int c = 0; c < 4; ++c)
                        ++counts[c + 1][p[c]];
                }
            }
            std::lock_guard<std::mutex> guard(totalsLock);
            for (int k = 0; k < 5; ++k)
                for (int v = 0; v < 256; ++v)
                    totals[k][v] += counts[k][v];
        });
        for (int k = 0; k < 5; ++k)
            if (tables[k])
                for (int v = 0; v < 256; ++v)
                    tables[k][v] = static_cast<int>(totals[k][v]);
    });
}

void getHistoGramValueQImage(const QImage& image, int* value, int* first, int* second, int* third) {
    getHistoGramValue(QImageEx(image), value, first, second, third);
}

void getHistoGramValueCMYKQImage(const QImage& image, int* value, int* cyan, int* magenta, int* yellow, int* black) {
    getHistoGramValueCMYK(QImageEx(image), value, cyan, magenta, yellow, black);
}

// --- drawing ------------------------------------------------------------------------------------

namespace {

// The count drawn at full height: the tallest bin, but at most 1.5 times
// the bin at the 98th percentile of the non-empty bins (of all histograms
// together), so that a handful of spikes do not flatten the rest.
double automaticScale(int count, int** histograms) {
    std::vector<int> filled;
    for (int h = 0; h < count; ++h)
        if (histograms[h])
            for (int v = 0; v < 256; ++v)
                if (histograms[h][v] > 0)
                    filled.push_back(histograms[h][v]);
    if (filled.empty())
        return 1;
    const auto percentile = filled.begin() + (filled.size() * 98) / 100;
    std::nth_element(filled.begin(), percentile, filled.end());
    const double tallest = *std::max_element(filled.begin(), filled.end());
    return std::min(tallest, 1.5 * *percentile);
}

// The outline of one histogram as a closed area over the bottom edge: each
// bin a flat step across its columns.
QPainterPath histogramArea(const int* bins, const QSize& size, double fullScale) {
    const double w = size.width(), h = size.height();
    QPainterPath path(QPointF(0, h));
    for (int v = 0; v < 256; ++v) {
        const double share = std::min(1.0, std::max(bins[v], 0) / fullScale);
        const double top = h - share * h;
        path.lineTo(v * w / 256, top);
        path.lineTo((v + 1) * w / 256, top);
    }
    path.lineTo(w, h);
    path.closeSubpath();
    return path;
}

}  // namespace

void drawHistoGramToPainter(QPainter* painter, const QSize& size, int count, int fullScale, int** histograms,
                            QColor* fills, QColor* outlines) {
    if (!painter || !histograms || count < 1 || size.isEmpty())
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, false);
    // Faint guides at the quarters of the range.
    QPen guide(QColor(128, 128, 128, 60));
    guide.setWidth(1);
    painter->setPen(guide);
    for (int q = 1; q < 4; ++q) {
        const int x = q * size.width() / 4;
        painter->drawLine(x, 0, x, size.height());
    }
    const double scale = fullScale > 0 ? fullScale : automaticScale(count, histograms);
    for (int h = 0; h < count; ++h) {
        if (!histograms[h])
            continue;
        const QPainterPath area = histogramArea(histograms[h], size, scale);
        const QColor fill = fills ? fills[h] : QColor(120, 120, 120, 200);
        const QColor outline = outlines ? outlines[h] : QColor(40, 40, 40);
        painter->fillPath(area, fill);
        painter->setPen(QPen(outline, 1));
        painter->drawPath(area);
    }
    painter->restore();
}

void drawHistoGramToImage(QImage& image, const QColor& background, const QSize& size, int count, int fullScale,
                          int** histograms, QColor* fills, QColor* outlines) {
    image = QImage(size, QImage::Format_ARGB32);
    if (image.isNull())
        return;
    image.fill(background);
    QPainter painter(&image);
    drawHistoGramToPainter(&painter, size, count, fullScale, histograms, fills, outlines);
}
