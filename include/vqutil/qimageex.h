// QImageEx: the pixel buffer every vqutil operation works on.
//
// A thin QImage subclass that adds what the image-processing routines need on
// top of Qt's image: a progress callback that long operations report through,
// a bracket for parallel passes (beginDetach/endDetach), images created in
// place, a format relabel, and the BGR <-> CMYK row conversions that the CMYK
// operations run their pixels through. Everything else is QImage's.
//
// Pixels are implicitly shared between copies (copy-on-write), exactly as for
// QImage. Byte order in every depth is blue first: B, G, R(, A).
#pragma once

#include <vqutil/export.h>

#include <QImage>

#include <functional>

class VQIMAGEEX_EXPORT QImageEx : public QImage {
public:
    // Receives a running progress value (usually a row number); returns false
    // to ask the operation to stop. Operations that run in parallel bands call
    // it from several pool threads at once, so it must be thread-safe.
    using ProgressCallback = std::function<bool(int)>;

    // Value semantics as for QImage. The progress callback belongs to the
    // image object, not to its pixels: assignments replace the pixels and
    // keep this image's callback, and a new image (copy- or move-constructed,
    // or returned by any member) starts without one; copyCallback passes it on.
    QImageEx() noexcept;
    QImageEx(const QImageEx& other);
    QImageEx(QImageEx&& other) noexcept;
    QImageEx(const QImage& image);  // NOLINT: implicit on purpose, like QImage's own results
    QImageEx& operator=(const QImageEx& other);
    QImageEx& operator=(QImageEx&& other) noexcept;
    QImageEx& operator=(const QImage& image);
    ~QImageEx();

    // (Re)allocates `img` as a w x h image of format f, keeping its callback.
    // The pixels are not initialised. Returns false, with `img` null, when the
    // size is invalid (non-positive), the image would pass 2^31 bytes (the
    // bound of every buffer the library allocates), or memory is short.
    static bool create(QImageEx& img, int w, int h, QImage::Format f);

    // A new image of this size and format (and colour table) with every pixel
    // set to `fill` (for 8-bit formats its low byte). Null when out of memory.
    QImageEx createImage(unsigned int fill) const;

    // Row pointers. Between beginDetach() and endDetach() the non-const form
    // never detaches, so bands on several threads may call it for their rows.
    unsigned char* scanLine(int y);
    const unsigned char* scanLine(int y) const;
    // Same as scanLine(y); kept for the places that address a second image.
    unsigned char* scanLineEx(int y);

    // Rows always lie in one block of bytesPerLine() x height() bytes.
    bool isBigImage() const;

    // Brackets a parallel pass: beginDetach() makes the pixel data owned by
    // this image alone; until the matching endDetach() row pointers stay
    // valid and are never copied. Brackets nest. Do not copy the image while
    // the bracket is open.
    void beginDetach();
    void endDetach();

    // Progress: set_progress(v) returns the callback's answer, or true when no
    // callback is set. A callback that throws counts as a request to stop.
    void setProgressCallback(ProgressCallback callback);
    bool set_progress(int value) const;
    // Takes over other's callback, so that a temporary reports for its origin.
    void copyCallback(const QImageEx& other);

    // Deep copies of a rectangle; a null QRect means the whole image. Areas
    // outside the image come out as zero bytes.
    QImageEx copy(const QRect& rect = QRect()) const;
    QImageEx copy(int x, int y, int w, int h) const;
    QImageEx copyEx(const QRect& rect = QRect()) const;

    // Format conversion as QImage::convertTo / convertToFormat.
    void convertTo(QImage::Format format, Qt::ImageConversionFlags flags = Qt::AutoColor);
    QImageEx convertToFormat(QImage::Format format,
                             Qt::ImageConversionFlags flags = Qt::AutoColor) const;
    // Relabels the format without touching a pixel; only between formats of
    // the same depth (otherwise nothing happens). A shared image is detached first.
    void setFormat(QImage::Format format);

    // Resampled copies, as QImage::scaled; a result past 2^31 bytes (at 32 bits
    // a pixel) is refused with a null image.
    QImageEx scaled(int w, int h, Qt::AspectRatioMode aspect = Qt::IgnoreAspectRatio,
                    Qt::TransformationMode mode = Qt::FastTransformation) const;
    QImageEx scaled(const QSize& size, Qt::AspectRatioMode aspect = Qt::IgnoreAspectRatio,
                    Qt::TransformationMode mode = Qt::FastTransformation) const;
    QImageEx scaledEx(const QSize& size, Qt::AspectRatioMode aspect = Qt::IgnoreAspectRatio,
                      Qt::TransformationMode mode = Qt::FastTransformation) const;
    // Scales the whole image to `size` and returns the part inside `rect`.
    QImageEx scaleCrop(QSize& size, QRect& rect,
                       Qt::TransformationMode mode = Qt::FastTransformation) const;

    QImageEx mirrored(bool horizontal = false, bool vertical = true) const;

    // Copy rotated clockwise by `angle` degrees about the centre, on a canvas
    // just large enough for the rotated image. Each destination pixel takes
    // the nearest source pixel, so no new values appear (selection masks keep
    // their levels); pixels that no source pixel covers are set to `fill`
    // (its low byte in 8-bit images, its low three bytes in 24-bit ones).
    // Formats below 8 bits are converted to ARGB32 first.
    QImageEx rotated(double angle, unsigned int fill) const;

    // Writes `piece` into this image over the rectangle `at` (a null or empty
    // rectangle means at.topLeft() in the piece's own size). A piece of
    // another size is first scaled to the rectangle (nearest pixel), one of
    // another format converted to this one; the part outside the image is
    // dropped. Pixels are replaced, not blended.
    void mergerImage(const QImage& piece, const QRect& at);

    // Writes the image to a file as QImage::save does; the last argument is
    // accepted for interface compatibility and ignored.
    using QImage::save;
    bool save(const QString& path, const char* format, int quality, bool reserved) const;

    // Row conversions between packed 3-byte B, G, R pixels and 4-byte
    // C, M, Y, K pixels (each channel 0..255):
    //   K = 255 - max(R, G, B)
    //   C = round(255 * (max - R) / max), likewise M from G and Y from B
    //   (C = M = Y = 0 for black), and back
    //   R = (255 - K) - round(C * (255 - K) / 255), likewise G and B.
    // Every one of the 16,777,216 colours survives the round trip unchanged;
    // any C, M, Y, K input maps to a valid colour.
    static void BgrToCmyk(unsigned char* cmyk, unsigned char* bgr, unsigned int count);
    static void CmykToBgr(unsigned char* bgr, unsigned char* cmyk, unsigned int count);

private:
    ProgressCallback m_progress;
    int m_detachDepth = 0;
};
