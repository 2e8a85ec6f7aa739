// Win32-style rectangle helpers. The rules are those of the original
// interface, asymmetries included (see core.h); none normalises a rectangle.
#include <vqutil/core.h>

#include <algorithm>
#include <cstdint>

namespace {

// Offsets wrap around like the 32-bit originals instead of overflowing.
int32_t wrapAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

int32_t wrapSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

}  // namespace

void CopyRect(CRect* dst, const tagRECT* src) {
    if (dst && src)
        *static_cast<tagRECT*>(dst) = *src;
}

bool EqualRect(const CRect* a, const tagRECT* b) {
    if (!a || !b)
        return false;
    return a->left == b->left && a->top == b->top && a->right == b->right && a->bottom == b->bottom;
}

void InflateRect(CRect* r, int dx, int dy) {
    if (!r)
        return;
    r->left = wrapSub(r->left, dx);
    r->right = wrapAdd(r->right, dx);
    r->top = wrapSub(r->top, dy);
    r->bottom = wrapAdd(r->bottom, dy);
}

bool IntersectRect(CRect* dst, const tagRECT* a, const tagRECT* b) {
    if (!dst || !a || !b)
        return false;
    const CRect overlap(std::max(a->left, b->left), std::max(a->top, b->top),
                        std::min(a->right, b->right), std::min(a->bottom, b->bottom));
    if (overlap.left < overlap.right && overlap.top < overlap.bottom) {
        *dst = overlap;
        return true;
    }
    SetRectEmpty(dst);
    return false;
}

bool IsRectEmpty(const CRect* r) { return !r || r->left == r->right || r->top == r->bottom; }

void OffsetRect(CRect* r, int dx, int dy) {
    if (!r)
        return;
    r->left = wrapAdd(r->left, dx);
    r->right = wrapAdd(r->right, dx);
    r->top = wrapAdd(r->top, dy);
    r->bottom = wrapAdd(r->bottom, dy);
}

bool PtInRect(const CRect* r, tagPOINT p) {
    return r && r->left <= p.x && p.x < r->right && r->top <= p.y && p.y < r->bottom;
}

void SetRect(CRect* r, int left, int top, int right, int bottom) {
    if (r)
        *r = CRect(left, top, right, bottom);
}

void SetRectEmpty(CRect* r) { SetRect(r, 0, 0, 0, 0); }

bool UnionRect(CRect* dst, const tagRECT* a, const tagRECT* b) {
    if (!dst || !a || !b)
        return false;
    *dst = CRect(std::min(a->left, b->left), std::min(a->top, b->top), std::max(a->right, b->right),
                 std::max(a->bottom, b->bottom));
    return true;
}

bool SubtractRect(CRect*, const tagRECT*, const tagRECT*) { return false; }
