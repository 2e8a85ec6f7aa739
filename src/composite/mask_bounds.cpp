// Bounding boxes of masks: the work rectangle of every masked operation.
//
// Each side is searched from its own edge inwards: the top and bottom rows
// first, then, only between them, every row is scanned for pixels left of
// the best left edge so far and right of the best right edge, which finds
// the same columns as a column-by-column search while reading rows in memory
// order. A selection that touches the edges costs a row or two.
#include <vqutil/composite.h>

#include "mask_search.h"


namespace {

// The row searches for one kind of mask: 8-bit selection masks whose width
// is a multiple of 4 are compared four bytes at a time.
class RowSearch {
public:
    RowSearch(const QImage& img, bool flag)
        : m_search{img.depth() / 8, flag}, m_byWords(m_search.bytesPerPixel == 1 && flag && img.width() % 4 == 0) {}

    int first(const uint8_t* row, int begin, int end) const {
        return m_byWords ? vq::firstSelectedByteByWords(row, begin, end)
                         : vq::firstCountingPixel(row, begin, end, m_search);
    }
    int last(const uint8_t* row, int begin, int end) const {
        return m_byWords ? vq::lastSelectedByteByWords(row, begin, end)
                         : vq::lastCountingPixel(row, begin, end, m_search);
    }

private:
    vq::MaskSearch m_search;
    bool m_byWords;
};

}  // namespace

void getMaskImageBouder(CRect& out, const QImageEx& img, bool flag) {
    out = CRect(0, 0, img.width(), img.height());
    const int bytesPerPixel = img.depth() / 8;
    if (bytesPerPixel != 1 && bytesPerPixel != 4)
        return;
    out = CRect();
    if (img.isNull())
        return;

    const int w = img.width();
    const int h = img.height();
    const uint8_t* bits = img.constBits();
    const qsizetype stride = img.bytesPerLine();
    const auto row = [&](int y) { return bits + y * stride; };
    const RowSearch find(img, flag);

    int top = 0;
    while (top < h && find.first(row(top), 0, w) == w)
        ++top;
    if (top == h)
        return;  // nothing counts
    int bottom = h - 1;
    while (bottom > top && find.first(row(bottom), 0, w) == w)
        --bottom;

    int left = w;
    int right = -1;
    for (int y = top; y <= bottom && (left > 0 || right < w - 1); ++y) {
        if (left > 0)
            left = find.first(row(y), 0, left);
        if (right < w - 1)
            right = std::max(right, find.last(row(y), right + 1, w));
    }
    out = CRect(left, top, right + 1, bottom + 1);
}

QRect getMaskImageBouder(const QImageEx& img, bool flag) {
    CRect box;
    getMaskImageBouder(box, img, flag);
    return QRect(box.left, box.top, box.right - box.left, box.bottom - box.top);
}

CRect getBoundFromMask(QImageEx& img, const QImageEx* mask) {
    CRect result(0, 0, img.width(), img.height());
    if (!mask || mask->isNull())
        return result;
    CRect box;
    getMaskImageBouder(box, *mask, true);
    IntersectRect(&result, &result, &box);
    return result;
}
