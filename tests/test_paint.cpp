// Gradient templates and pens: tables, mirrored lookups, sorting, the 80-byte
// file, brush shapes, settings rules, files, previews and shared ownership.
#include <vqutil/paint.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QPainter>
#include <QTemporaryDir>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <tuple>

namespace {

using Bgr = std::tuple<int, int, int>;

Bgr entryOf(const tagRGBQUAD& q) { return {q.rgbBlue, q.rgbGreen, q.rgbRed}; }
Bgr tableEntry(const CColorTemplate& t, int i) {
    const uint8_t* e = t.table->data() + 3 * i;
    return {e[0], e[1], e[2]};
}

std::unique_ptr<PENSTRUCT> newPen() { return std::make_unique<PENSTRUCT>(); }
int at(const PENSTRUCT& pen, int x, int y) { return pen.templatePlane[y + 128][x + 128]; }

QByteArray fileBytes(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

}  // namespace

TEST(ColorTemplate, TableOfTheDefaultStopsAndItsIndexRules) {
    CColorTemplate t;
    ASSERT_TRUE(t.ConfigTemplate(100));
    EXPECT_EQ(tableEntry(t, 0), Bgr(0, 255, 255));
    EXPECT_EQ(tableEntry(t, 50), Bgr(0, 127, 255));  // 127.5 truncated
    EXPECT_EQ(tableEntry(t, 99), Bgr(0, 2, 255));    // the last stop's colour is never written
    // A stop past the start: entries before it take stop 0's colour; a
    // backward segment writes nothing and the tail takes the last stop.
    CColorTemplate u;
    u.SetColor(0x000000FF, 20, 0);
    u.SetColor(0x00FF0000, 60, 1);
    u.SetColor(0x0000FF00, 40, 2);
    u.SetColor(0, 0, 10);  // outside the ten slots: ignored
    ASSERT_TRUE(u.ConfigTemplate(10));
    EXPECT_EQ(tableEntry(u, 1), Bgr(0, 0, 255));
    EXPECT_EQ(tableEntry(u, 3), Bgr(63, 0, 191));  // 2 + 1 of a 4-entry ramp, truncated
    // 60 -> 40 goes back and writes nothing; the tail, from index 4 on, is
    // stop 2's colour over the end of the first ramp.
    EXPECT_EQ(tableEntry(u, 4), Bgr(0, 255, 0));
    EXPECT_EQ(tableEntry(u, 9), Bgr(0, 255, 0));
    // n p / 100 wraps in 32 bits: 21474837 x 100 is negative, so the tail
    // (the last stop, from index -21474835) covers the whole table.
    ASSERT_TRUE(t.ConfigTemplate(21474837));
    EXPECT_EQ(tableEntry(t, 0), Bgr(0, 0, 255));
    EXPECT_EQ(tableEntry(t, 21474836), Bgr(0, 0, 255));
    // Refusals: count as documented, the old table kept for the copies.
    const auto old = t.table;
    for (auto [n, count] : {std::pair{0, 0}, {-5, -5}, {715827883, 0}}) {
        EXPECT_FALSE(t.ConfigTemplate(n)) << n;
        EXPECT_EQ(t.count, count);
        EXPECT_EQ(t.table, old);
        EXPECT_EQ(entryOf(t.GetColor(3)), Bgr(0, 255, 255));  // no usable table: colors[0]
    }
}

TEST(ColorTemplate, MirroredLookupAndSharedTables) {
    CColorTemplate t;
    EXPECT_EQ(entryOf(t.GetColor(5)), Bgr(0, 255, 255));
    EXPECT_EQ(t.GetColor(5).rgbReserved, 0);
    ASSERT_TRUE(t.ConfigTemplate(10));
    for (auto [i, entry] : {std::pair{12, 7}, {25, 5}, {-3, 0}, {9, 9}, {10, 9}, {19, 0}, {20, 0}})
        EXPECT_EQ(entryOf(t.GetColor(i)), tableEntry(t, entry)) << i;
    // Copies share the table; rebuilding one leaves the other's intact, and
    // the three may go in any order.
    auto copy = std::make_unique<CColorTemplate>(t);
    CColorTemplate assigned;
    assigned = *copy;
    EXPECT_EQ(copy->table, t.table);
    ASSERT_TRUE(t.ConfigTemplate(4));
    EXPECT_NE(copy->table, t.table);
    copy.reset();
    EXPECT_EQ(assigned.count, 10);
    EXPECT_EQ(entryOf(assigned.GetColor(19)), Bgr(0, 255, 255));
    // A count that the table cannot back falls back to colors[0].
    assigned.count = 11;
    EXPECT_EQ(entryOf(assigned.GetColor(10)), Bgr(0, 255, 255));
}

TEST(ColorTemplate, SortTakesTenPassesAndWritesOneTerminator) {
    CColorTemplate t;
    const int32_t positions[10] = {50, 10, -1, 30, 101, 102, 10, -1, -1, -1};
    for (int k = 0; k < 10; ++k)
        t.SetColor(k, positions[k], k);
    t.Sort();
    // 102 is never taken; of the two 10s the higher slot (6) goes first.
    const int32_t sorted[10] = {10, 10, 30, 50, 101, -1, 10, -1, -1, -1};
    const uint32_t colours[5] = {6, 1, 3, 0, 4};
    for (int k = 0; k < 10; ++k)
        EXPECT_EQ(t.positions[k], sorted[k]) << k;  // slot 6 keeps its old 10
    for (int k = 0; k < 5; ++k)
        EXPECT_EQ(t.colors[k], colours[k]) << k;
    EXPECT_EQ(t.colors[5], 5u);
    CColorTemplate other;
    other.InitTemplate(&t);
    other.InitTemplate(nullptr);
    EXPECT_TRUE(std::equal(t.positions, t.positions + 10, other.positions));
}

TEST(ColorTemplate, EightyByteFile) {
    QTemporaryDir dir;
    const QString path = dir.filePath("stops.grd");
    CColorTemplate t;
    t.SetColor(0x00112233, 40, 2);
    ASSERT_TRUE(t.SaveTemplate(path));
    const QByteArray bytes = fileBytes(path);
    ASSERT_EQ(bytes.size(), 80);
    EXPECT_EQ(bytes.mid(0, 4), QByteArray::fromHex("ffff0000"));
    EXPECT_EQ(bytes.mid(8, 4), QByteArray::fromHex("33221100"));
    EXPECT_EQ(bytes.mid(44, 4), QByteArray::fromHex("64000000"));
    EXPECT_EQ(bytes.mid(52, 4), QByteArray::fromHex("ffffffff"));
    // Positions are clamped to 100 and -1 on the way in.
    QByteArray edited = bytes;
    edited.replace(40, 8, QByteArray::fromHex("fa000000f9ffffff"));  // 250, -7
    writeFile(path, edited + "trailing bytes are not read");
    CColorTemplate loaded;
    ASSERT_TRUE(loaded.LoadTemplate(path));
    EXPECT_EQ(loaded.positions[0], 100);
    EXPECT_EQ(loaded.positions[1], -1);
    EXPECT_EQ(loaded.colors[2], 0x00112233u);
    // A short file changes exactly the bytes it holds: here the colours and
    // the two low bytes of position 0.
    writeFile(path, QByteArray(40, '\x01') + QByteArray::fromHex("0500"));
    CColorTemplate partial;
    partial.positions[0] = 0x7F0000;
    ASSERT_TRUE(partial.LoadTemplate(path));
    EXPECT_EQ(partial.colors[9], 0x01010101u);
    EXPECT_EQ(partial.positions[0], 100);  // 0x7F0005, then clamped
    EXPECT_EQ(partial.positions[1], 100);
    // Empty, missing and directory paths.
    writeFile(path, QByteArray());
    CColorTemplate untouched;
    EXPECT_TRUE(untouched.LoadTemplate(path));
    EXPECT_EQ(untouched.colors[0], 0x0000FFFFu);
    EXPECT_FALSE(untouched.LoadTemplate(dir.filePath("missing")));
    EXPECT_FALSE(untouched.LoadTemplate(dir.path()));
    EXPECT_FALSE(untouched.SaveTemplate(dir.path()));
}

TEST(Pen, DefaultsAndTheFeatheredDisc) {
    const auto pen = newPen();
    EXPECT_EQ(pen->extent, 8);
    EXPECT_EQ(pen->GetHardness(), 0);
    EXPECT_EQ(pen->color, 0xFF0000u);
    EXPECT_TRUE(pen->spaceX == 4 && pen->spaceY == 4 && pen->density == 100 && pen->intensity == 100);
    EXPECT_TRUE(pen->customPlane[3][3] == 100 && pen->customPlane[3][252] == 100 && pen->customPlane[3][4] == 0);
    EXPECT_EQ(pen->colorTemplate.positions[1], 100);
    // Solid to 6.4 px, then (8 - d) 100 / 1.6 truncated, 0 past 8.
    for (auto [x, y, value] : {std::tuple{0, 0, 100}, {6, 2, 100}, {7, 0, 62}, {-5, 5, 58}, {8, 0, 0}, {6, 6, 0}})
        EXPECT_EQ(at(*pen, x, y), value) << x << "," << y;
    EXPECT_EQ(std::memcmp(pen->templatePlane, pen->scaledPlane, sizeof(pen->scaledPlane)), 0);
    pen->setPenFeather(0);
    pen->featherCirclePen(8);
    EXPECT_EQ(at(*pen, 8, 0), 100);
}

TEST(Pen, SizeTypeFeatherAndHardnessRules) {
    const auto pen = newPen();
    for (auto [inner, diameter, wantInner, wantOuter] :
         {std::tuple{300, 301, 128, 128}, {-5, 3, 0, 2}, {4, 16, 4, 8}, {0, -2147483647 - 1, 0, 0}}) {
        EXPECT_TRUE(pen->SetPenSize(inner, diameter, false));
        EXPECT_TRUE(pen->GetPenSize().cx == wantInner && pen->GetPenSize().cy == wantOuter) << inner;
    }
    pen->SetPenSize(4, 16, true);
    EXPECT_EQ(pen->GetHardness(), 50);
    pen->SetPenSize(0, 2, true);
    pen->SetPenType(PENTYPE(3));
    EXPECT_TRUE(pen->spaceX == 1 && pen->spaceY == 1);
    pen->SetPenSpace(30, 0);
    pen->SetPenType(PENTYPE_STAMP);  // keeps the spacing, still raised to 1
    EXPECT_TRUE(pen->GetPenSpace().cx == 30 && pen->GetPenSpace().cy == 1 && pen->penType == 9);
    for (auto [value, stored] : {std::pair{150, 100}, {-1, 0}, {35, 35}}) {
        pen->setPenFeather(value);
        EXPECT_EQ(pen->feather, stored);
    }
    pen->inner = 5;
    pen->extent = 0;
    EXPECT_EQ(pen->GetHardness(), 100);
}

TEST(Pen, ShapesDensityAndIntensity) {
    const auto pen = newPen();
    pen->ConfigRectPen(2, 5);  // A = [-2, 2), B = [-5, 5) on both axes
    for (auto [x, y, value] : {std::tuple{-2, -2, 100}, {1, 1, 100}, {2, 0, 100}, {4, 0, 34}, {0, -5, 0},
                               {5, 0, 0}, {-4, 3, 34}})
        EXPECT_EQ(at(*pen, x, y), value) << x << "," << y;
    pen->ConfigCirclePen(2, 5);
    for (auto [x, y, value] : {std::tuple{0, 0, 100}, {1, 1, 100}, {3, 0, 66}, {0, -4, 33}, {3, 4, 0}, {6, 0, 0}})
        EXPECT_EQ(at(*pen, x, y), value) << x << "," << y;
    // The midpoint disc holds exactly the points inside the circle, at every
    // radius up to past the plane's corners.
    for (int radius : {0, 1, 2, 7, 64, 127, 128, 181, 182, 300, 2147483647}) {
        pen->ConfigCirclePen(radius, -1);
        int wrong = 0;
        for (int y = -128; y < 128; ++y)
            for (int x = -128; x < 128; ++x)
                wrong += (at(*pen, x, y) == 100) != (int64_t(x) * x + int64_t(y) * y < int64_t(radius) * radius);
        EXPECT_EQ(wrong, 0) << radius;
    }
    pen->ConfigCirclePen(-3, -9);
    pen->ConfigRandPen(0);
    EXPECT_EQ(std::count(&pen->templatePlane[0][0], &pen->templatePlane[0][0] + 65536, 0), 65536);
    std::srand(7);
    pen->ConfigRandPen(10);
    int hundreds = 0;
    for (int y = -128; y < 128; ++y)
        for (int x = -128; x < 128; ++x)
            if (at(*pen, x, y)) {
                EXPECT_TRUE(at(*pen, x, y) == 100 && x * x + y * y < 100);
                ++hundreds;
            }
    EXPECT_TRUE(hundreds > 30 && hundreds < 100) << hundreds;  // one in five of 317
    // Density thins at random; intensity scales and wraps past 255.
    std::srand(7);
    pen->SetPenShape(SHAPE_RECT);
    pen->SetPenSize(128, 256, false);
    pen->SetDensity(0);
    pen->ConfigPen();
    const int kept = int(std::count(&pen->templatePlane[0][0], &pen->templatePlane[0][0] + 65536, 100));
    EXPECT_TRUE(kept > 400 && kept < 1000) << kept;  // rand() % 100 == 0: about 655
    pen->SetDensity(100);
    for (auto [intensity, scaled] : {std::pair{50, 50}, {33, 33}, {300, 44}, {-50, 206}}) {
        pen->SetIntensity(intensity);
        pen->ConfigPen();
        EXPECT_EQ(pen->scaledPlane[128][128], scaled) << intensity;
    }
    pen->SetPenShape(SHAPE_TEMPLATE);
    pen->ConfigPen();
    EXPECT_TRUE(pen->extent == 128 && at(*pen, -128, -128) == 100 && at(*pen, 0, 1) == 0);
    // Settings far outside their ranges still give a defined template.
    for (int v : {-2147483647 - 1, -129, 129, 2147483647}) {
        pen->feather = pen->density = pen->intensity = pen->inner = pen->outer = v;
        for (int shape : {0, 1, 2, -5})
            pen->SetPenShape(PENSHAPE(shape)), pen->ConfigPen();
        pen->ConfigCirclePen(v, 0), pen->ConfigCirclePen(0, v), pen->ConfigRectPen(v, 0), pen->ConfigRectPen(0, v);
        pen->featherCirclePen(v);
        EXPECT_LE(pen->GetHardness(), 100);
    }
    pen->feather = 20;
    pen->SetPenShape(PENSHAPE(7));  // read as a circle
    pen->SetIntensity(100);
    pen->SetPenSize(0, 16, true);
    EXPECT_TRUE(pen->extent == 8 && at(*pen, 0, 0) == 100 && at(*pen, 9, 0) == 0);
}

TEST(Pen, TemplateCellsFilesAndPatterns) {
    QTemporaryDir dir;
    const auto pen = newPen();
    pen->SetTemplateDegree(-128, -128, 1);
    pen->SetTemplateDegree(127, 127, 2);
    for (auto [x, y] : {std::pair{128, 0}, {-129, 0}, {0, 128}, {0, -2147483647 - 1}})
        pen->SetTemplateDegree(x, y, 9);
    EXPECT_TRUE(pen->templatePlane[0][0] == 1 && pen->templatePlane[255][255] == 2);
    EXPECT_EQ(std::count(&pen->templatePlane[0][0], &pen->templatePlane[0][0] + 65536, 9), 0);
    // save writes scaledPlane as it is; none of the loaders can load.
    pen->SetIntensity(50);
    pen->ConfigPen();
    const QString png = dir.filePath("pen.png");
    ASSERT_TRUE(pen->save(png));
    const QImage written(png);
    ASSERT_TRUE(written.size() == QSize(256, 256) && written.format() == QImage::Format_Grayscale8);
    for (int row = 0; row < 256; ++row)
        ASSERT_EQ(std::memcmp(written.constScanLine(row), pen->scaledPlane[row], 256), 0) << row;
    EXPECT_FALSE(pen->save(dir.filePath("pen.unknown-format")));
    for (const QString& path : {png, dir.filePath("missing.png"), dir.path(), QString()}) {
        EXPECT_FALSE(pen->LoadTemplate(path));
        EXPECT_FALSE(pen->LoadPattern(path));
        EXPECT_FALSE(pen->LoadPaperTexture(path));
    }
    EXPECT_TRUE(!pen->pattern && !pen->paper && !pen->patternLoaded && !pen->paperLoaded);
    EXPECT_EQ(pen->penShape, SHAPE_CIRCLE);
    // Custom template images.
    EXPECT_TRUE(pen->CreateTemplate(10, 5));
    EXPECT_TRUE(pen->customTemplateImage.format() == QImage::Format_Grayscale8 &&
                pen->customTemplateImage.constScanLine(4)[9] == 0);
    for (auto [w, h] : {std::pair{0, 5}, {-1, 5}, {100000, 100000}})
        EXPECT_FALSE(pen->CreateTemplate(w, h));
    EXPECT_TRUE(pen->customTemplateImage.isNull());
    EXPECT_TRUE(pen->DeleteTemplate());
    // Patterns handed over: fitted keeping the aspect, or stretched when asked.
    EXPECT_FALSE(pen->ScallPattern(CSize(40, 40), true));
    EXPECT_TRUE(pen->LoadPattern(nullptr) && !pen->patternLoaded);
    for (auto [w, h, cx, cy, always, wantW, wantH] :
         {std::tuple{100, 50, 40, 40, false, 40, 20}, {50, 100, 40, 40, false, 20, 40},
          {30, 20, 40, 40, false, 30, 20}, {30, 20, 40, 40, true, 40, 40}, {99, 70, 40, 30, true, 40, 28}}) {
        ASSERT_TRUE(pen->LoadPattern(new CDib(vqtest::filled(w, h, QImage::Format_ARGB32, 0xFF102030))));
        EXPECT_TRUE(pen->patternLoaded);
        EXPECT_TRUE(pen->ScallPattern(CSize(cx, cy), always));
        EXPECT_TRUE(pen->pattern->width() == wantW && pen->pattern->height() == wantH) << w << "x" << h;
    }
    EXPECT_FALSE(pen->ScallPattern(CSize(0, 40), true));
    pen->SetColor(0x00FF00);
    EXPECT_FALSE(pen->patternLoaded);
    // Copies share the pattern; any of them may go first.
    auto copy = std::make_unique<PENSTRUCT>(*pen);
    EXPECT_EQ(copy->pattern, pen->pattern);
    pen->LoadPattern(pen->pattern.get());  // its own pattern again: kept
    PENSTRUCT& assigned = *newPen().release();
    assigned = *copy;
    copy.reset();
    EXPECT_EQ(assigned.pattern->width(), 40);
    delete &assigned;
    // Stamps set the spacing to their size.
    EXPECT_TRUE(pen->LoadStamp(QImage(12, 7, QImage::Format_ARGB32)));
    EXPECT_TRUE(pen->stampLoaded && pen->spaceX == 12 && pen->spaceY == 7);
    EXPECT_TRUE(pen->LoadStamp(dir.filePath("missing.png")) && pen->spaceX == 0);
}

TEST(Pen, PreviewsDrawTransposedShapesAndSolidColour) {
    const auto pen = newPen();
    pen->ConfigRandPen(0);
    pen->SetTemplateDegree(-100, 20, 100);  // plane row 148, column 28
    QImage canvas(300, 280, QImage::Format_ARGB32);
    canvas.fill(0);
    {
        QPainter painter(&canvas);
        painter.setPen(QColor(0xFF, 0, 0));
        pen->DrawShape(CRect(10, 20, 310, 300), &painter);  // x0 = 32, y0 = 32
        pen->DrawShape(CRect(0, 0, 10, 10), nullptr);
        pen->SetColor(0x0000FF);
        pen->DrawPatt(&painter, CRect(0, 0, 3, 2));
        pen->DrawPatt(&painter, CRect(-2147483647 - 1, 0, 2147483647, 0));
        pen->penType = PENTYPE_STAMP;
        pen->DrawPatt(&painter, CRect(5, 0, 8, 2));
    }
    EXPECT_EQ(canvas.pixel(32 + 148, 32 + 28), 0xFFFF0000u);  // transposed
    int red = 0;
    for (int y = 0; y < canvas.height(); ++y)
        for (int x = 0; x < canvas.width(); ++x)
            red += canvas.pixel(x, y) == 0xFFFF0000u;
    EXPECT_EQ(red, 1);
    EXPECT_TRUE(canvas.pixel(2, 1) == 0xFF0000FFu && canvas.pixel(3, 1) == 0 && canvas.pixel(5, 0) == 0);
    pen->DeleteStamp();
}
