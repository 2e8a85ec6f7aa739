// QImageEx: construction, progress, the parallel-pass bracket and the copying,
// converting and geometric helpers. The CMYK row conversions live in cmyk.cpp.
#include <vqutil/qimageex.h>

#include <QTransform>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

QImageEx::QImageEx() noexcept = default;
QImageEx::QImageEx(const QImageEx& other) : QImage(other) {}
QImageEx::QImageEx(QImageEx&& other) noexcept : QImage(std::move(other)) {}
QImageEx::QImageEx(const QImage& image) : QImage(image) {}
QImageEx::~QImageEx() = default;

QImageEx& QImageEx::operator=(const QImageEx& other) {
    QImage::operator=(other);
    return *this;
}

QImageEx& QImageEx::operator=(QImageEx&& other) noexcept {
    if (this != &other)
        QImage::operator=(std::move(other));
    return *this;
}

QImageEx& QImageEx::operator=(const QImage& image) {
    QImage::operator=(image);
    return *this;
}

bool QImageEx::create(QImageEx& img, int w, int h, QImage::Format f) {
    // QImage validates the size itself (including byte counts that overflow)
    // and yields a null image when it cannot allocate; images past 2^31
    // bytes are refused before asking it.
    QImage fresh;
    if (w > 0 && h > 0 && f > QImage::Format_Invalid && f < QImage::NImageFormats) {
        constexpr int64_t kMaxBytes = int64_t{1} << 31;
        const int64_t rowBytes = (int64_t{w} * QImage::toPixelFormat(f).bitsPerPixel() + 31) / 32 * 4;
        if (rowBytes <= kMaxBytes / h)
            fresh = QImage(w, h, f);
    }
    static_cast<QImage&>(img) = std::move(fresh);
    return !img.isNull();
}

QImageEx QImageEx::createImage(unsigned int fill) const {
    if (isNull())
        return QImageEx();
    QImage result(width(), height(), format());
    if (result.isNull())
        return QImageEx();
    if (colorCount() > 0)
        result.setColorTable(colorTable());
    result.fill(fill);
    return QImageEx(result);
}

unsigned char* QImageEx::scanLine(int y) {
    // Inside the bracket the data is already exclusive; QImage::scanLine
    // would still touch the shared image header (a data race between bands).
    if (m_detachDepth > 0)
        return const_cast<unsigned char*>(QImage::constScanLine(y));
    return QImage::scanLine(y);
}

const unsigned char* QImageEx::scanLine(int y) const { return QImage::constScanLine(y); }

unsigned char* QImageEx::scanLineEx(int y) { return scanLine(y); }

bool QImageEx::isBigImage() const { return false; }

void QImageEx::beginDetach() {
    if (m_detachDepth++ == 0)
        detach();
}

void QImageEx::endDetach() {
    if (m_detachDepth > 0)
        --m_detachDepth;
}

void QImageEx::setProgressCallback(ProgressCallback callback) { m_progress = std::move(callback); }

bool QImageEx::set_progress(int value) const {
    if (!m_progress)
        return true;
    try {
        return m_progress(value);
    } catch (...) {
        return false;
    }
}

void QImageEx::copyCallback(const QImageEx& other) { m_progress = other.m_progress; }

QImageEx QImageEx::copy(const QRect& rect) const { return QImageEx(QImage::copy(rect)); }

QImageEx QImageEx::copy(int x, int y, int w, int h) const { return QImageEx(QImage::copy(x, y, w, h)); }

QImageEx QImageEx::copyEx(const QRect& rect) const { return QImageEx(QImage::copy(rect)); }

void QImageEx::convertTo(QImage::Format format, Qt::ImageConversionFlags flags) {
    QImage::convertTo(format, flags);
}

QImageEx QImageEx::convertToFormat(QImage::Format format, Qt::ImageConversionFlags flags) const {
    return QImageEx(QImage::convertToFormat(format, flags));
}

void QImageEx::setFormat(QImage::Format format) { reinterpretAsFormat(format); }

namespace {

// Scaled results are at most 32 bits a pixel; past 2^31 bytes they are
// refused (a null image) before Qt allocates.
bool scaledFits(const QImage& image, const QSize& asked, Qt::AspectRatioMode aspect) {
    const QSize target = image.size().scaled(asked, aspect);
    constexpr int64_t kMaxBytes = int64_t{1} << 31;
    return target.width() <= 0 || target.height() <= 0 || int64_t{target.width()} * 4 <= kMaxBytes / target.height();
}

}  // namespace

QImageEx QImageEx::scaled(int w, int h, Qt::AspectRatioMode aspect, Qt::TransformationMode mode) const {
    return scaled(QSize(w, h), aspect, mode);
}

QImageEx QImageEx::scaled(const QSize& size, Qt::AspectRatioMode aspect,
                          Qt::TransformationMode mode) const {
    if (!scaledFits(*this, size, aspect))
        return QImageEx();
    return QImageEx(QImage::scaled(size, aspect, mode));
}

QImageEx QImageEx::scaledEx(const QSize& size, Qt::AspectRatioMode aspect,
                            Qt::TransformationMode mode) const {
    return scaled(size, aspect, mode);
}

QImageEx QImageEx::scaleCrop(QSize& size, QRect& rect, Qt::TransformationMode mode) const {
    if (!scaledFits(*this, size, Qt::IgnoreAspectRatio))
        return QImageEx();
    return QImageEx(QImage::scaled(size, Qt::IgnoreAspectRatio, mode).copy(rect));
}

QImageEx QImageEx::mirrored(bool horizontal, bool vertical) const {
    return QImageEx(QImage::mirrored(horizontal, vertical));
}

namespace {

// cos and sin of an angle in degrees, exact for multiples of 90 degrees so
// that quarter turns map pixel centres onto pixel centres.
void rotationOf(double degrees, double& c, double& s) {
    const double radians = degrees * (M_PI / 180.0);
    c = std::cos(radians);
    s = std::sin(radians);
    auto snap = [](double v) {
        const double nearest = std::round(v);
        return std::fabs(v - nearest) < 1e-12 ? nearest : v;
    };
    c = snap(c);
    s = snap(s);
}

void fillPixelBytes(unsigned char* pixel, int bytesPerPixel, unsigned int fill) {
    for (int i = 0; i < bytesPerPixel; ++i)
        pixel[i] = static_cast<unsigned char>(fill >> (8 * i));
}

}  // namespace

QImageEx QImageEx::rotated(double angle, unsigned int fill) const {
    if (isNull() || !std::isfinite(angle))
        return QImageEx();
    const QImage source = depth() < 8 ? QImage::convertToFormat(QImage::Format_ARGB32) : QImage(*this);
    const int w = source.width();
    const int h = source.height();
    const int bytesPerPixel = source.depth() / 8;

    double c = 0;
    double s = 0;
    rotationOf(angle, c, s);
    const QRectF bounds = QTransform(c, s, -s, c, 0, 0).mapRect(QRectF(0, 0, w, h));
    const double outW = std::round(bounds.width());
    const double outH = std::round(bounds.height());
    if (outW < 1 || outH < 1 || outW > 1e6 || outH > 1e6)
        return QImageEx();
    QImage result(static_cast<int>(outW), static_cast<int>(outH), source.format());
    if (result.isNull())
        return QImageEx();
    if (source.colorCount() > 0)
        result.setColorTable(source.colorTable());

    const double halfW = w / 2.0;
    const double halfH = h / 2.0;
    const unsigned char* sourceBits = source.constBits();
    const qsizetype sourceStride = source.bytesPerLine();
    for (int y = 0; y < result.height(); ++y) {
        unsigned char* out = result.scanLine(y);
        const double dy = y + 0.5 - outH / 2.0;
        for (int x = 0; x < result.width(); ++x, out += bytesPerPixel) {
            // Inverse rotation of the destination pixel centre into the source.
            const double dx = x + 0.5 - outW / 2.0;
            const double sx = std::floor(dx * c + dy * s + halfW);
            const double sy = std::floor(-dx * s + dy * c + halfH);
            if (sx < 0 || sy < 0 || sx >= w || sy >= h) {
                fillPixelBytes(out, bytesPerPixel, fill);
                continue;
            }
            const unsigned char* in = sourceBits + static_cast<qsizetype>(sy) * sourceStride +
                                      static_cast<qsizetype>(sx) * bytesPerPixel;
            std::memcpy(out, in, bytesPerPixel);
        }
    }
    return QImageEx(result);
}

void QImageEx::mergerImage(const QImage& piece, const QRect& at) {
    if (isNull() || piece.isNull() || depth() < 8)
        return;
    const QRect target = at.isEmpty() ? QRect(at.topLeft(), piece.size()) : at;
    QImage source = piece.format() == format() ? piece : piece.convertToFormat(format());
    if (source.size() != target.size())
        source = source.scaled(target.size(), Qt::IgnoreAspectRatio, Qt::FastTransformation);
    const QRect visible = target & rect();
    if (source.isNull() || visible.isEmpty())
        return;

    const int bytesPerPixel = depth() / 8;
    const qsizetype rowBytes = static_cast<qsizetype>(visible.width()) * bytesPerPixel;
    const int sourceX = visible.left() - target.left();
    const int sourceY = visible.top() - target.top();
    for (int y = 0; y < visible.height(); ++y) {
        const unsigned char* in =
            source.constScanLine(sourceY + y) + static_cast<qsizetype>(sourceX) * bytesPerPixel;
        unsigned char* out =
            scanLine(visible.top() + y) + static_cast<qsizetype>(visible.left()) * bytesPerPixel;
        std::memcpy(out, in, rowBytes);
    }
}

bool QImageEx::save(const QString& path, const char* format, int quality, bool /*reserved*/) const {
    return QImage::save(path, format, quality);
}
