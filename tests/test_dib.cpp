// CDib: copies, geometry of the held image and the old accessors.
#include <vqutil/core.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <cstring>

using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

// Reaches the placement origin, which only subclasses set.
class PlacedDib : public CDib {
public:
    PlacedDib(const QImage& image, int x, int y) : CDib(image) { m_origin = CPoint(x, y); }
};

// Byte offset of a virtual member inside the vtable (Itanium C++ ABI: a
// pointer to a virtual member holds 1 + that offset).
template <typename Member>
long vtableOffset(Member member) {
    long words[2];
    static_assert(sizeof(member) == sizeof(words), "Itanium member pointer");
    std::memcpy(words, &member, sizeof(words));
    return words[0] - 1;
}

}  // namespace

TEST(Dib, CopiesShareUntilWrittenAndThenStayIndependent) {
    const QImage original = randomImage(9, 7, QImage::Format_ARGB32);
    CDib a(original);
    CDib copied(a);
    CDib assigned;
    assigned = a;
    EXPECT_EQ(copied.move().constBits(), a.move().constBits()) << "pixels are shared";

    copied.scanLine(3)[2] ^= 0x5A;
    assigned.bits()[0] ^= 0xA5;
    EXPECT_TRUE(sameBytes(a.toQImageRef(), original));
    EXPECT_FALSE(sameBytes(copied.move(), original));
    EXPECT_FALSE(sameBytes(assigned.move(), original));
    EXPECT_TRUE(sameBytes(copied.move(), [&] {
        QImage expected = original.copy();
        expected.scanLine(3)[2] ^= 0x5A;
        return expected;
    }()));
}

TEST(Dib, ClientRectBuildsTheBottomOnTheRightEdge) {
    PlacedDib dib(QImage(100, 50, QImage::Format_ARGB32), 10, 20);
    CRect r(1, 2, 3, 4);
    dib.GetClientRect(r);
    EXPECT_EQ(r.left, 10);
    EXPECT_EQ(r.top, 20);
    EXPECT_EQ(r.right, 110);
    EXPECT_EQ(r.bottom, 160);  // right + height, not top + height
}

TEST(Dib, RowGeometryIsComputedNotAsked) {
    const struct { int w, h; QImage::Format format; int bytesPerLine; long dataSize; } cases[] = {
        {3, 2, QImage::Format_RGB888, 12, 24},         // 9 bytes padded to 12
        {4, 3, QImage::Format_RGB888, 12, 36},
        {5, 2, QImage::Format_Mono, 4, 8},             // 5 bits -> 1 byte -> 4
        {33, 1, QImage::Format_Mono, 8, 8},
        {7, 3, QImage::Format_Grayscale8, 8, 24},
        {6, 2, QImage::Format_ARGB32, 24, 48},
    };
    for (const auto& c : cases) {
        CDib dib(QImage(c.w, c.h, c.format));
        EXPECT_EQ(dib.bytesPerLine(), c.bytesPerLine) << c.w << "x" << c.h;
        EXPECT_EQ(dib.GetDatasSize(), c.dataSize) << c.w << "x" << c.h;
        EXPECT_EQ(dib.GetImgWidth(), c.w);
        EXPECT_EQ(dib.GetImgHeight(), c.h);
        EXPECT_EQ(dib.GetbiBitsCount(), dib.depth());
    }
    CDib empty;
    EXPECT_EQ(empty.bytesPerLine(), 0);
    EXPECT_EQ(empty.GetDatasSize(), 0);
}

TEST(Dib, PixelValuesFromPackedBytes) {
    CDib dib;
    const unsigned char b = 0xB4;  // 1011 0100
    const int bits[8] = {1, 0, 1, 1, 0, 1, 0, 0};
    for (int x = 0; x < 16; ++x) {
        EXPECT_EQ(dib.GetBYTE(1, x, b), bits[x % 8]) << x;
        EXPECT_EQ(dib.GetByteBit(b, x), bits[x % 8] != 0) << x;
    }
    EXPECT_EQ(dib.GetBYTE(4, 0, b), 0xB);
    EXPECT_EQ(dib.GetBYTE(4, 1, b), 0x4);
    EXPECT_EQ(dib.GetBYTE(8, 3, b), b);
    EXPECT_EQ(dib.GetBYTE(24, 0, b), 0);
    EXPECT_EQ(dib.GetBYTE(16, 0, b), 0);
    EXPECT_EQ(dib.GetBYTE(1, -1, b), 0) << "negative columns wrap like bit masks";
}

TEST(Dib, DefaultsAndPlainSettings) {
    CDib dib;
    EXPECT_TRUE(dib.move().isNull());
    EXPECT_EQ(dib.GetInflateType(), 0);
    dib.SetInflateRgn(3);
    dib.SetBlurEdge(false);
    EXPECT_EQ(dib.GetInflateType(), 3);
    EXPECT_TRUE(dib.GetObjPath().isEmpty());
    const CRect bounds = dib.GetBouder();
    EXPECT_EQ(bounds.left | bounds.top | bounds.right | bounds.bottom, 0);
    CDib copy = dib;
    EXPECT_EQ(copy.GetInflateType(), 3);
}

TEST(Dib, VirtualSlotsKeepTheirOrder) {
    using Paint = void (CDib::*)(QPainter*, const CRect*, const CRect*, bool);
    using InitFromSize = int (CDib::*)(unsigned int);
    using InitFromPath = int (CDib::*)(QString, float);
    using InitFromInfo = bool (CDib::*)(tagBITMAPINFO*, void*, void*, float);
    using DrawInts = void (CDib::*)(QPainter*, CPoint, int, int, int, int, unsigned long, bool);
    using DrawReal = void (CDib::*)(QPainter*, CPoint, int, int, double, int, unsigned long, bool);
    EXPECT_EQ(vtableOffset(static_cast<Paint>(&CDib::Paint)), 0);
    EXPECT_EQ(vtableOffset(static_cast<InitFromSize>(&CDib::InitDibData)), 8);
    EXPECT_EQ(vtableOffset(static_cast<InitFromPath>(&CDib::InitDibData)), 16);
    EXPECT_EQ(vtableOffset(static_cast<InitFromInfo>(&CDib::InitDibData)), 24);
    EXPECT_EQ(vtableOffset(static_cast<DrawInts>(&CDib::DrawTransparent)), 32);
    EXPECT_EQ(vtableOffset(static_cast<DrawReal>(&CDib::DrawTransparent)), 40);
    EXPECT_EQ(vtableOffset(&CDib::Serialize), 48);

    CDib dib;
    EXPECT_EQ(dib.InitDibData(7u), 0);
    EXPECT_EQ(dib.InitDibData(QString("x"), 1.0f), 0);
    EXPECT_TRUE(dib.InitDibData(nullptr, nullptr, nullptr, 1.0f));
}

TEST(Dib, SaveReportsSuccessWhateverHappens) {
    const QImage image = randomImage(5, 4, QImage::Format_ARGB32);
    CDib dib(image);
    const QString path = QString::fromStdString(testing::TempDir()) + "/dib_save.png";
    EXPECT_TRUE(dib.save(path));
    EXPECT_TRUE(sameBytes(QImage(path).convertToFormat(QImage::Format_ARGB32), image));
    EXPECT_TRUE(dib.save("/nonexistent/dir/dib.png"));
    EXPECT_TRUE(CDib().save(path));
}

TEST(Dib, ConvertTo24BitGivesOpaqueArgb) {
    QImage grey(3, 2, QImage::Format_Grayscale8);
    grey.fill(77u);
    CDib dib(grey);
    EXPECT_TRUE(dib.ConvertTo24Bit());
    const QImageEx result = dib.move();
    EXPECT_EQ(result.format(), QImage::Format_ARGB32);
    EXPECT_EQ(vqtest::pixelWord(result, 2, 1), 0xFF4D4D4Du);
    EXPECT_TRUE(dib.AddNoise(5));
    EXPECT_EQ(dib.move().constBits(), result.constBits()) << "32-bit images are left alone";

    QImageEx target = grey;
    EXPECT_TRUE(dib.GetSubImg(0, 0, target, 0));
    QImageEx none;
    EXPECT_FALSE(dib.GetSubImg(0, 0, none, 0));
}
