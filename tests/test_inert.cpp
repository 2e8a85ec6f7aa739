// The entry points kept for compatibility answer with their fixed result and
// change nothing: not the image, not the handle, not an output argument.
#include <vqutil/core.h>
#include <vqutil/paint.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <QDataStream>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Subject {
    QImageEx image = vqtest::randomImage(6, 5, QImage::Format_ARGB32, 11);
    QImageEx other = vqtest::randomImage(6, 5, QImage::Format_ARGB32, 12);
    CDib dib{vqtest::randomImage(6, 5, QImage::Format_ARGB32, 13)};
    CRect out1{1, 2, 3, 4};
    CRect out2{5, 6, 7, 8};
    CSize size{3, 3};
    tagRECT area{0, 0, 2, 2};
    unsigned char hsb[3] = {9, 9, 9};
    QByteArray written;
    QDataStream stream{&written, QIODevice::WriteOnly};
    std::unique_ptr<PENSTRUCT> penObject = std::make_unique<PENSTRUCT>();
    PENSTRUCT& pen() { return *penObject; }
};

struct InertCase {
    const char* name;
    int expected;  // 1 for true and for the int 1, 0 for false, -1 for void
    std::function<int(Subject&)> call;
};

int none(const std::function<void()>& f) {
    f();
    return -1;
}

const std::vector<InertCase>& inertCases() {
    static const std::vector<InertCase> cases = {
        {"ConvertDIBToNoFillBytes", 1, [](Subject& s) { return ConvertDIBToNoFillBytes(s.image, true); }},
        {"DibCharCoal", 1, [](Subject& s) { return DibCharCoal(s.image); }},
        {"DibCrop", 1, [](Subject& s) { return DibCrop(s.image, CRect(0, 0, 2, 2), 0); }},
        {"DibDespeckleImage", 1, [](Subject& s) { return DibDespeckleImage(s.image); }},
        {"DibEqualizeImage", 1, [](Subject& s) { return DibEqualizeImage(s.image); }},
        {"DibLens", 1, [](Subject& s) { return DibLens(s.image, 1, 1, 3); }},
        {"DibMask", 1, [](Subject& s) { return DibMask(s.image, s.other, 1, 1, CPoint(), CRect()); }},
        {"DibNormalize", 1, [](Subject& s) { return DibNormalize(s.image); }},
        {"DibReduceNoiseImage", 1, [](Subject& s) { return DibReduceNoiseImage(s.image); }},
        {"DibScale1Bit", 1, [](Subject& s) { return DibScale1Bit(s.image, 2, 2, true); }},
        {"DibScaleCrop2Dib", 1, [](Subject& s) { return DibScaleCrop2Dib(s.image, s.other, s.size, CRect(), 0); }},
        {"DibTwist", 1, [](Subject& s) { return DibTwist(s.image, 1, 2.0, 3, false); }},
        {"GetMaskRect", 1, [](Subject& s) { return GetMaskRect(1, 2, 3, 4, CPoint(), CRect(), s.out1, s.out2); }},
        {"Scale8Or4Dib", 1, [](Subject& s) { return Scale8Or4Dib(s.image, 3, 3, false); }},
        {"ScaleAndCrop", 1, [](Subject& s) { return ScaleAndCrop(s.image, 3, 3, CRect()); }},
        {"DibImplodeImage", 0, [](Subject& s) { return DibImplodeImage(s.image, 0.5, 1, 1, 1); }},
        {"DibPlasmaImage", 0, [](Subject& s) { return DibPlasmaImage(s.image, &s.area, 1, 1, 1); }},
        {"SubtractRect", 0, [](Subject& s) { return SubtractRect(&s.out1, &s.area, &s.area); }},
        {"vqScaleAndCrop", 0, [](Subject& s) { return vqScaleAndCrop(s.image, s.other, 2, 2, QRect()); }},
        {"DibPlasma", 1, [](Subject& s) { return DibPlasma(s.image, 1, 2); }},
        {"DibShade", 1, [](Subject& s) { return DibShade(s.image, true, 1.0, 2.0); }},
        {"ChangeWindowRgn", -1, [](Subject&) { return none([] { ChangeWindowRgn(nullptr, 1, 2); }); }},
        {"GradientFillRect", -1, [](Subject& s) { return none([&] { GradientFillRect(nullptr, s.area, 1, 2, true, false); }); }},
        {"TileBmpOnRect", -1, [](Subject&) { return none([] { TileBmpOnRect(nullptr, CRect(), 0, 0, 0, false); }); }},
        {"TileDibOnRect", -1, [](Subject&) { return none([] { TileDibOnRect(nullptr, CRect(), nullptr, nullptr, 0, 0, true); }); }},

        {"CDib::CircleGradient", 1, [](Subject& s) { return s.dib.CircleGradient(s.pen(), CPoint(), CPoint(1, 1)); }},
        {"CDib::CloneDraw", 1, [](Subject& s) { return s.dib.CloneDraw(CPoint(), s.pen()); }},
        {"CDib::FloodFill", 1, [](Subject& s) { return s.dib.FloodFill(nullptr, nullptr); }},
        {"CDib::GenMask", 1, [](Subject& s) { return s.dib.GenMask(1, 2); }},
        {"CDib::Initialize(CDib*)", 1, [](Subject& s) { return s.dib.Initialize(&s.dib); }},
        {"CDib::Initialize(int,int,bool)", 1, [](Subject& s) { return s.dib.Initialize(2, 2, true); }},
        {"CDib::LineGradient", 1, [](Subject& s) { return s.dib.LineGradient(s.pen(), CPoint(), CPoint()); }},
        {"CDib::MaskRegion", 1, [](Subject& s) { return s.dib.MaskRegion(nullptr, 0); }},
        {"CDib::Paste", 1, [](Subject& s) { return s.dib.Paste(&s.dib, nullptr, CRect()); }},
        {"CDib::RadialGradient", 1, [](Subject& s) { return s.dib.RadialGradient(s.pen(), CPoint(), CPoint()); }},
        {"CDib::RectGradient", 1, [](Subject& s) { return s.dib.RectGradient(s.pen(), CPoint(), CPoint()); }},
        {"CDib::RgnFuzzy", 1, [](Subject& s) { return s.dib.RgnFuzzy(nullptr, 1, 2, true); }},
        {"CDib::StampDraw", 1, [](Subject& s) { return s.dib.StampDraw(CPoint(), s.pen()); }},
        {"CDib::Stick", 1, [](Subject& s) { return s.dib.Stick(&s.dib, nullptr, nullptr, CRect(), CRect(), 1, BLEND_SCREEN); }},
        {"CDib::Stick1Bit", 1, [](Subject& s) { return s.dib.Stick1Bit(&s.dib, nullptr, nullptr, CRect(), CRect()); }},
        {"CDib::merger", 1, [](Subject& s) { return s.dib.merger(s.image, s.other); }},
        {"CDib::CharCoal", 1, [](Subject& s) { return s.dib.CharCoal(); }},
        {"CDib::DespeckleImage", 1, [](Subject& s) { return s.dib.DespeckleImage(); }},
        {"CDib::EqualizeImage", 1, [](Subject& s) { return s.dib.EqualizeImage(); }},
        {"CDib::LensEffect", 1, [](Subject& s) { return s.dib.LensEffect(1, 2, 3); }},
        {"CDib::Normalize", 1, [](Subject& s) { return s.dib.Normalize(); }},
        {"CDib::ReduceNoiseImage", 1, [](Subject& s) { return s.dib.ReduceNoiseImage(); }},
        {"CDib::Scale1Bit", 1, [](Subject& s) { return s.dib.Scale1Bit(2, 2, false); }},
        {"CDib::Mask", 1, [](Subject& s) { return s.dib.Mask(nullptr, 1, 1, CPoint(), CRect()); }},
        {"CDib::Twist", 1, [](Subject& s) { return s.dib.Twist(1, 1.0, 1, true); }},
        {"CDib::CombineDib", 0, [](Subject& s) { return s.dib.CombineDib(&s.dib, nullptr); }},
        {"CDib::CopyDib", 0, [](Subject& s) { return s.dib.CopyDib(&s.dib); }},
        {"CDib::Crop", 0, [](Subject& s) { return s.dib.Crop(CRect(0, 0, 2, 2), 0, &s.dib); }},
        {"CDib::DoEmboss", 0, [](Subject& s) { return s.dib.DoEmboss(1, 1); }},
        {"CDib::GetDataFromDC", 0, [](Subject& s) { return s.dib.GetDataFromDC(nullptr, &s.out1, 0); }},
        {"CDib::IsColor", 0, [](Subject& s) { return s.dib.IsColor(nullptr); }},
        {"CDib::ScaleCrop", 0, [](Subject& s) { return s.dib.ScaleCrop(&s.dib, 2, 2, CRect(), true); }},
        {"CDib::ImplodeImage", 0, [](Subject& s) { return s.dib.ImplodeImage(0.5, 1, 1, 1); }},
        {"CDib::Plasma", 1, [](Subject& s) { return s.dib.Plasma(1, 2); }},
        {"CDib::Shade", 1, [](Subject& s) { return s.dib.Shade(false, 1.0, 2.0); }},
        {"CDib::Draw", -1, [](Subject& s) { return none([&] { s.dib.Draw(nullptr, CRect(), true); }); }},
        {"CDib::GetDarkEdgeRgn", -1, [](Subject& s) { return none([&] { s.dib.GetDarkEdgeRgn(nullptr); }); }},
        {"CDib::PaintCrop", -1, [](Subject& s) { return none([&] { s.dib.PaintCrop(nullptr, CRect(), false); }); }},
        {"CDib::PaintCropRgn", -1, [](Subject& s) { return none([&] { s.dib.PaintCropRgn(nullptr, nullptr, CRect()); }); }},
        {"CDib::RGBtoHSB", -1, [](Subject& s) { return none([&] { s.dib.RGBtoHSB(s.hsb, s.hsb + 1); }); }},
        {"CDib::copy", -1, [](Subject& s) { return none([&] { s.dib.copy(s.other); }); }},
        {"CDib::Paint", -1, [](Subject& s) { return none([&] { s.dib.Paint(nullptr, &s.out1, &s.out2, true); }); }},
        {"CDib::DrawTransparent(int)", -1, [](Subject& s) { return none([&] { s.dib.DrawTransparent(nullptr, CPoint(), 1, 1, 1, 1, 0, true); }); }},
        {"CDib::DrawTransparent(double)", -1, [](Subject& s) { return none([&] { s.dib.DrawTransparent(nullptr, CPoint(), 1, 1, 0.5, 1, 0, true); }); }},
        {"PENSTRUCT::DeleteStamp", -1, [](Subject& s) { return none([&] { s.pen().DeleteStamp(); }); }},
        {"CDib::Serialize", -1, [](Subject& s) { return none([&] { s.dib.Serialize(s.stream); }); }},
    };
    return cases;
}

}  // namespace

TEST(Inert, EveryNameAnswersItsFixedResultAndTouchesNothing) {
    for (const InertCase& c : inertCases()) {
        Subject s;
        const QImageEx image = s.image.copy(), other = s.other.copy(), held = s.dib.move().copy();
        int progressCalls = 0;
        s.image.setProgressCallback([&](int) { ++progressCalls; return true; });

        EXPECT_EQ(c.call(s), c.expected) << c.name;

        EXPECT_TRUE(vqtest::sameBytes(s.image, image)) << c.name;
        EXPECT_TRUE(vqtest::sameBytes(s.other, other)) << c.name;
        EXPECT_TRUE(vqtest::sameBytes(s.dib.move(), held)) << c.name;
        const CRect out1(1, 2, 3, 4), out2(5, 6, 7, 8);
        EXPECT_TRUE(EqualRect(&s.out1, &out1) && EqualRect(&s.out2, &out2)) << c.name;
        EXPECT_TRUE(s.hsb[0] == 9 && s.hsb[1] == 9 && s.hsb[2] == 9) << c.name;
        EXPECT_TRUE(s.written.isEmpty()) << c.name;
        EXPECT_EQ(progressCalls, 0) << c.name;
        static const auto freshPen = std::make_unique<PENSTRUCT>();
        EXPECT_EQ(std::memcmp(s.pen().templatePlane, freshPen->templatePlane, sizeof(freshPen->templatePlane)), 0)
            << c.name;
    }
}
