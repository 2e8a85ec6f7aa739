// PENSTRUCT: settings, files and previews.
#include <vqutil/paint.h>

#include "paint/pen_loading.h"

#include <QPainter>
#include <QPolygon>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr int kHalf = 128;
constexpr int kMaxRadius = 128;
constexpr int64_t kMaxImageBytes = int64_t(1) << 31;

int clampRadius(int64_t r) { return int(std::clamp<int64_t>(r, 0, kMaxRadius)); }

}  // namespace

PENSTRUCT::PENSTRUCT() {
    std::memset(customPlane, 0, sizeof(customPlane));
    for (int r = 0; r < 256; ++r)
        customPlane[r][r] = customPlane[r][255 - r] = 100;
    std::memset(templatePlane, 0, sizeof(templatePlane));
    std::memset(workPlane, 0, sizeof(workPlane));
    std::memset(scaledPlane, 0, sizeof(scaledPlane));
    ConfigPen();
}

PENSTRUCT::PENSTRUCT(const PENSTRUCT& other) = default;
PENSTRUCT& PENSTRUCT::operator=(const PENSTRUCT& other) = default;
PENSTRUCT::~PENSTRUCT() = default;

void PENSTRUCT::setPenFeather(int value) { feather = std::clamp(value, 0, 100); }

bool PENSTRUCT::SetPenSize(int innerRadius, int diameter, bool reconfigure) {
    inner = clampRadius(innerRadius);
    outer = clampRadius(int64_t(std::ceil(diameter * 0.5)));
    return reconfigure ? ConfigPen() : true;
}

CSize PENSTRUCT::GetPenSize() { return CSize(inner, outer); }

int PENSTRUCT::GetHardness() {
    if (inner == 0)
        return 0;
    if (extent == 0)
        return 100;
    return int(std::min<int64_t>(100, int64_t(inner) * 100 / extent));
}

void PENSTRUCT::SetPenSpace(int x, int y) {
    spaceX = x;
    spaceY = y;
}

CSize PENSTRUCT::GetPenSpace() { return CSize(spaceX, spaceY); }

bool PENSTRUCT::SetPenType(PENTYPE type) {
    penType = type;
    if (type != PENTYPE_STAMP)
        spaceX = spaceY = outer / 2;
    spaceX = std::max(spaceX, 1);
    spaceY = std::max(spaceY, 1);
    return true;
}

bool PENSTRUCT::SetPenShape(PENSHAPE shape) {
    penShape = shape;
    return true;
}

bool PENSTRUCT::SetDensity(int value) {
    density = value;
    return true;
}

bool PENSTRUCT::SetIntensity(int value) {
    intensity = value;
    return true;
}

void PENSTRUCT::SetColor(unsigned long value) {
    color = uint32_t(value);
    patternLoaded = false;
}

void PENSTRUCT::SetTemplateDegree(int x, int y, unsigned char value) {
    if (x < -kHalf || x >= kHalf || y < -kHalf || y >= kHalf)
        return;
    templatePlane[y + kHalf][x + kHalf] = value;
}

bool PENSTRUCT::CreateTemplate(int width, int height) {
    customTemplateImage = QImageEx();
    if (width <= 0 || height <= 0 || int64_t(width) * height > kMaxImageBytes)
        return false;
    QImage plane(width, height, QImage::Format_Grayscale8);
    if (plane.isNull())
        return false;
    plane.fill(0);
    customTemplateImage = QImageEx(plane);
    return !customTemplateImage.isNull();
}

bool PENSTRUCT::DeleteTemplate() {
    customTemplateImage = QImageEx();
    return true;
}

bool PENSTRUCT::LoadTemplate(const QString& path) { return vq::loadTemplateImage<CDib>(*this, path); }

bool PENSTRUCT::save(const QString& path) {
    QImage image(256, 256, QImage::Format_Grayscale8);
    if (image.isNull())
        return false;
    for (int row = 0; row < 256; ++row)
        std::memcpy(image.scanLine(row), scaledPlane[row], 256);
    return image.save(path);
}

bool PENSTRUCT::LoadPattern(const QString& path) {
    return vq::loadPenImage<CDib>(pattern, patternLoaded, path, false);
}

bool PENSTRUCT::LoadPaperTexture(const QString& path) {
    return vq::loadPenImage<CDib>(paper, paperLoaded, path, true);
}

bool PENSTRUCT::LoadPattern(CDib* dib) {
    if (dib != pattern.get())
        pattern.reset(dib);
    patternLoaded = dib != nullptr;
    return true;
}

bool PENSTRUCT::ScallPattern(CSize size, bool always) {
    if (!pattern || pattern->width() <= 0 || pattern->height() <= 0 || size.cx <= 0 || size.cy <= 0)
        return false;
    const int width = pattern->width(), height = pattern->height();
    if (width <= size.cx && height <= size.cy) {
        if (always)
            pattern->Scale(size.cx, size.cy, true);
        return true;
    }
    const float a = float(width) / float(height);
    const float b = float(size.cx) / float(size.cy);
    // Both quotients stay below the other side of `size`, so they fit an int.
    CSize target = size;
    if (a > b)
        target.cy = int(std::min(float(size.cx) / a, float(size.cy)));
    if (b > a)
        target.cx = int(std::min(float(size.cy) * a, float(size.cx)));
    pattern->Scale(target.cx, target.cy, true);
    return true;
}

bool PENSTRUCT::LoadStamp(const QImage& image) {
    stamp = image;
    stampLoaded = true;
    spaceX = stamp.width();
    spaceY = stamp.height();
    return true;
}

bool PENSTRUCT::LoadStamp(const QString& path) { return LoadStamp(QImage(path)); }

void PENSTRUCT::DeleteStamp() {}

void PENSTRUCT::DrawPatt(QPainter* painter, CRect rect) {
    if (!painter || penType == PENTYPE_STAMP)
        return;
    if (patternLoaded && pattern) {
        pattern->Draw(painter, rect, false);
        return;
    }
    if (rect.right > rect.left && rect.bottom > rect.top)
        painter->fillRect(QRect(QPoint(rect.left, rect.top), QPoint(rect.right - 1, rect.bottom - 1)),
                          QColor(QRgb(color)));
}

void PENSTRUCT::DrawShape(CRect rect, QPainter* painter) {
    if (!painter)
        return;
    const int64_t x0 = rect.left + (int64_t(rect.right) - rect.left - 256) / 2;
    const int64_t y0 = rect.top + (int64_t(rect.bottom) - rect.top - 256) / 2;
    if (x0 < std::numeric_limits<int>::min() || x0 > std::numeric_limits<int>::max() - 256 ||
        y0 < std::numeric_limits<int>::min() || y0 > std::numeric_limits<int>::max() - 256)
        return;
    QPolygon points;
    for (int r = 0; r < 256; ++r)
        for (int c = 0; c < 256; ++c)
            if (templatePlane[r][c])
                points << QPoint(int(x0) + r, int(y0) + c);
    painter->drawPoints(points);
}
