// Entry points kept for interface compatibility whose work has been dropped.
// Each accepts its arguments, touches nothing (no output argument, no
// progress) and answers with a fixed result: true for "accepted, nothing
// changed", false for "not available", 1 for the two int-returning ones.
#include <vqutil/core.h>

// --- free functions: true --------------------------------------------------------------------

bool ConvertDIBToNoFillBytes(QImageEx&, bool) { return true; }
bool DibCharCoal(QImageEx&) { return true; }
bool DibCrop(QImageEx&, CRect, int) { return true; }
bool DibDespeckleImage(QImageEx&) { return true; }
bool DibEqualizeImage(QImageEx&) { return true; }
bool DibLens(QImageEx&, int, int, int) { return true; }
bool DibMask(QImageEx&, QImageEx&, int, int, CPoint, CRect) { return true; }
bool DibNormalize(QImageEx&) { return true; }
bool DibReduceNoiseImage(QImageEx&) { return true; }
bool DibScale1Bit(QImageEx&, long, long, bool) { return true; }
bool DibScaleCrop2Dib(QImageEx&, const QImageEx&, CSize&, CRect, int) { return true; }
bool DibTwist(QImageEx&, long, double, long, bool) { return true; }
bool GetMaskRect(int, int, int, int, CPoint, CRect, CRect&, CRect&) { return true; }
bool Scale8Or4Dib(QImageEx&, long, long, bool) { return true; }
bool ScaleAndCrop(QImageEx&, int, int, CRect) { return true; }

// --- free functions: false -------------------------------------------------------------------

bool DibImplodeImage(QImageEx&, double, int, int, int) { return false; }
bool DibPlasmaImage(QImageEx&, tagRECT*, int, int, int) { return false; }
bool vqScaleAndCrop(QImage&, const QImage&, int, int, QRect) { return false; }

// --- free functions: 1 -----------------------------------------------------------------------

int DibPlasma(QImageEx&, int, int) { return 1; }
int DibShade(QImageEx&, bool, double, double) { return 1; }

// --- free functions: nothing -----------------------------------------------------------------

void ChangeWindowRgn(QWidget*, int, int) {}
void GradientFillRect(QPainter*, const tagRECT&, unsigned long, unsigned long, bool, bool) {}
void TileBmpOnRect(QPainter*, CRect, unsigned int, int, int, bool) {}
void TileDibOnRect(QPainter*, CRect, tagBITMAPINFO*, void*, int, int, bool) {}

// --- CDib members: true ----------------------------------------------------------------------

bool CDib::CircleGradient(PENSTRUCT&, CPoint, CPoint) { return true; }
bool CDib::CloneDraw(CPoint, PENSTRUCT&) { return true; }
bool CDib::FloodFill(CDibRegion*, PENSTRUCT*) { return true; }
bool CDib::GenMask(unsigned long, unsigned char) { return true; }
bool CDib::Initialize(CDib*) { return true; }
bool CDib::Initialize(int, int, bool) { return true; }
bool CDib::LineGradient(PENSTRUCT&, CPoint, CPoint) { return true; }
bool CDib::MaskRegion(CDibRegion*, unsigned long) { return true; }
bool CDib::Paste(CDib*, CDibRegion*, CRect) { return true; }
bool CDib::RadialGradient(PENSTRUCT&, CPoint, CPoint) { return true; }
bool CDib::RectGradient(PENSTRUCT&, CPoint, CPoint) { return true; }
bool CDib::RgnFuzzy(CDibRegion*, unsigned long, int, bool) { return true; }
bool CDib::StampDraw(CPoint, PENSTRUCT&) { return true; }
bool CDib::Stick(CDib*, CDibRegion*, CDibRegion*, CRect, CRect, short, BLENDMODE) { return true; }
bool CDib::Stick1Bit(CDib*, CDibRegion*, CDibRegion*, CRect, CRect) { return true; }
bool CDib::merger(const QImageEx&, const QImageEx&) { return true; }
bool CDib::CharCoal() { return DibCharCoal(m_image); }
bool CDib::DespeckleImage() { return DibDespeckleImage(m_image); }
bool CDib::EqualizeImage() { return DibEqualizeImage(m_image); }
bool CDib::LensEffect(int x, int y, int r) { return DibLens(m_image, x, y, r); }
bool CDib::Normalize() { return DibNormalize(m_image); }
bool CDib::ReduceNoiseImage() { return DibReduceNoiseImage(m_image); }
bool CDib::Scale1Bit(long w, long h, bool b) { return DibScale1Bit(m_image, w, h, b); }
bool CDib::Mask(CDib*, int, int, CPoint, CRect) { return true; }
bool CDib::Twist(long a, double b, long c, bool d) { return DibTwist(m_image, a, b, c, d); }

// --- CDib members: false ---------------------------------------------------------------------

bool CDib::CombineDib(CDib*, CDibRegion*) { return false; }
bool CDib::CopyDib(CDib*) { return false; }
bool CDib::Crop(CRect, int, CDib*) { return false; }
bool CDib::DoEmboss(int, int) { return false; }
bool CDib::GetDataFromDC(QPainter*, CRect*, int) { return false; }
bool CDib::IsColor(CDibRegion*) { return false; }
bool CDib::ScaleCrop(CDib*, int, int, CRect, bool) { return false; }
bool CDib::ImplodeImage(double a, int b, int c, int d) { return DibImplodeImage(m_image, a, b, c, d); }

// --- CDib members: 1 -------------------------------------------------------------------------

int CDib::Plasma(int a, int b) { return DibPlasma(m_image, a, b); }
int CDib::Shade(bool, double, double) { return DibPlasma(m_image, 0, 0); }

// --- CDib members: nothing -------------------------------------------------------------------

void CDib::Draw(QPainter*, CRect, bool) {}
void CDib::GetDarkEdgeRgn(CDibRegion*) {}
void CDib::PaintCrop(QPainter*, CRect, bool) {}
void CDib::PaintCropRgn(QPainter*, CDibRegion*, CRect) {}
void CDib::RGBtoHSB(unsigned char*, unsigned char*) {}
void CDib::copy(const QImageEx&) {}
