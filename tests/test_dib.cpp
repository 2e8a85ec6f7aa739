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
    a.SetInflateRgn(3);
    CDib copied(a);
    CDib assigned;
    assigned = a;
    EXPECT_EQ(copied.move().constBits(), a.move().constBits()) << "pixels are shared";
    EXPECT_EQ(assigned.GetInflateType(), 3);

    copied.scanLine(3)[2] ^= 0x5A;
    assigned.bits()[0] ^= 0xA5;
    EXPECT_TRUE(sameBytes(a.toQImageRef(), original));
    EXPECT_FALSE(sameBytes(assigned.move(), original));
    QImage expected = original.copy();
    expected.scanLine(3)[2] ^= 0x5A;
    EXPECT_TRUE(sameBytes(copied.move(), expected));
}

TEST(Dib, RectanglesAndRowGeometry) {
    PlacedDib dib(QImage(100, 50, QImage::Format_ARGB32), 10, 20);
    CRect r(1, 2, 3, 4);
    dib.GetClientRect(r);
    const CRect client(10, 20, 110, 160);  // bottom = right + height, not top + height
    EXPECT_TRUE(EqualRect(&r, &client)) << r.left << " " << r.top << " " << r.right << " " << r.bottom;
    const CRect bounds = dib.GetBouder(), empty;
    EXPECT_TRUE(EqualRect(&bounds, &empty));

    // Both computed from width x depth bits, not asked of the image.
    const struct { int w, h; QImage::Format format; int bytesPerLine; long dataSize; } cases[] = {
        {3, 2, QImage::Format_RGB888, 12, 24},  // 9 bytes padded to 12
        {5, 2, QImage::Format_Mono, 4, 8},      // 5 bits -> 1 byte -> 4
        {33, 1, QImage::Format_Mono, 8, 8},
        {7, 3, QImage::Format_Grayscale8, 8, 24},
        {6, 2, QImage::Format_ARGB32, 24, 48},
    };
    for (const auto& c : cases) {
        CDib sized(QImage(c.w, c.h, c.format));
        EXPECT_EQ(sized.bytesPerLine(), c.bytesPerLine) << c.w << "x" << c.h;
        EXPECT_EQ(sized.GetDatasSize(), c.dataSize) << c.w << "x" << c.h;
    }
    CDib none;
    EXPECT_EQ(none.bytesPerLine(), 0);
    EXPECT_EQ(none.GetDatasSize(), 0);
}

TEST(Dib, PixelValuesFromPackedBytes) {
    CDib dib;
    const unsigned char b = 0xB4;  // 1011 0100
    const int bits[8] = {1, 0, 1, 1, 0, 1, 0, 0};
    for (int x = -8; x < 16; ++x) {  // negative columns wrap like bit masks
        EXPECT_EQ(dib.GetBYTE(1, x, b), bits[x & 7]) << x;
        EXPECT_EQ(dib.GetByteBit(b, x), bits[x & 7] != 0) << x;
    }
    EXPECT_EQ(dib.GetBYTE(4, 0, b), 0xB);
    EXPECT_EQ(dib.GetBYTE(4, 1, b), 0x4);
    EXPECT_EQ(dib.GetBYTE(8, 3, b), b);
    EXPECT_EQ(dib.GetBYTE(16, 0, b), 0);
    EXPECT_EQ(dib.GetBYTE(24, 0, b), 0);
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
    const QString path = QString::fromStdString(testing::TempDir()) + "/dib_save.png";
    EXPECT_TRUE(CDib(image).save(path));
    EXPECT_TRUE(sameBytes(QImage(path).convertToFormat(QImage::Format_ARGB32), image));
    EXPECT_TRUE(CDib(image).save("/nonexistent/dir/dib.png"));
    EXPECT_TRUE(CDib().save(path));
}

TEST(Dib, ConvertTo24BitGivesOpaqueArgb) {
    const QImage grey = vqtest::filled(3, 2, QImage::Format_Grayscale8, 77);
    CDib dib(grey);
    EXPECT_TRUE(dib.ConvertTo24Bit());
    const QImageEx result = dib.move();
    EXPECT_EQ(result.format(), QImage::Format_ARGB32);
    EXPECT_EQ(vqtest::pixelWord(result, 2, 1), 0xFF4D4D4Du);
    EXPECT_TRUE(dib.AddNoise(5));
    EXPECT_EQ(dib.move().constBits(), result.constBits()) << "32-bit images are left alone";

    QImageEx target = grey, none;
    EXPECT_TRUE(dib.GetSubImg(0, 0, target, 0));
    EXPECT_FALSE(dib.GetSubImg(0, 0, none, 0));
}
