// The success paths of the pen's image loaders, reached through a handle
// whose loader reads the file (the library's own reads nothing).
#include "paint/pen_loading.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace {

class ReadingDib : public CDib {
public:
    int InitDibData(QString path, float) override {
        m_image = QImageEx(QImage(path));
        return m_image.isNull() ? 0 : 1;
    }
};

}  // namespace

TEST(PenLoading, TemplateImageFillsColumnsFromTheRight) {
    QTemporaryDir dir;
    const QString path = dir.filePath("t.png");
    QImage grey(32, 32, QImage::Format_Grayscale8);
    grey.fill(0);
    for (int x = 0; x < 32; ++x)
        grey.setPixel(x, x, 255);
    ASSERT_TRUE(grey.save(path));
    auto pen = std::make_unique<PENSTRUCT>();
    ASSERT_TRUE(vq::loadTemplateImage<ReadingDib>(*pen, path));
    EXPECT_EQ(pen->penShape, SHAPE_TEMPLATE);
    // The converted image's 4096 bytes fill columns 255..240 top to bottom,
    // each as (255 - b) 100 / 255; the rest of the plane is 0.
    ReadingDib reference;
    reference.InitDibData(path, 1.0f);
    reference.ConvertTo24Bit();
    reference.ConvertToGray(0);
    ASSERT_EQ(reference.toQImageRef().sizeInBytes(), 4096);
    const uint8_t* bytes = reference.toQImageRef().constBits();
    for (int i = 0; i < 4096; ++i)
        ASSERT_EQ(pen->templatePlane[i % 256][255 - i / 256], (255 - bytes[i]) * 100 / 255) << i;
    EXPECT_NE(pen->templatePlane[4][255], pen->templatePlane[0][255]);  // the diagonal shows
    EXPECT_EQ(pen->templatePlane[0][239], 0);
    // Only 32 x 32 images are taken; failures change nothing.
    const QString wrong = dir.filePath("w.png");
    ASSERT_TRUE(QImage(31, 32, QImage::Format_Grayscale8).save(wrong));
    pen->SetPenShape(SHAPE_RECT);
    for (const QString& p : {wrong, dir.filePath("missing.png")})
        EXPECT_FALSE(vq::loadTemplateImage<ReadingDib>(*pen, p));
    EXPECT_EQ(pen->penShape, SHAPE_RECT);
}

TEST(PenLoading, PatternAndPaperAreConvertedAndFlagged) {
    QTemporaryDir dir;
    const QString path = dir.filePath("p.png");
    ASSERT_TRUE(vqtest::filled(3, 2, QImage::Format_RGB888, 0x204080).save(path));
    auto pen = std::make_unique<PENSTRUCT>();
    ASSERT_TRUE(vq::loadPenImage<ReadingDib>(pen->pattern, pen->patternLoaded, path, false));
    ASSERT_TRUE(vq::loadPenImage<ReadingDib>(pen->paper, pen->paperLoaded, path, true));
    EXPECT_TRUE(pen->patternLoaded && pen->paperLoaded);
    const QImageEx pattern = pen->pattern->toQImageRef(), paper = pen->paper->toQImageRef();
    EXPECT_EQ(pattern.depth(), 32);
    EXPECT_EQ(pattern.pixel(2, 1), 0xFF204080u);
    const QRgb g = paper.pixel(0, 0);
    EXPECT_TRUE(qRed(g) == qGreen(g) && qGreen(g) == qBlue(g));
    EXPECT_FALSE(vq::loadPenImage<ReadingDib>(pen->pattern, pen->patternLoaded, dir.filePath("none"), false));
    EXPECT_TRUE(!pen->pattern && !pen->patternLoaded && pen->paperLoaded);
}
