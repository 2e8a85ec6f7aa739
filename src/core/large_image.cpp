#include "core/large_image.h"

#include <cstdint>
#include <cstdlib>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace vq {
namespace {

constexpr size_t kHugePage = size_t{2} << 20;

void releaseBlock(void* block) { std::free(block); }

}  // namespace

QImage newLargeImage(int width, int height, QImage::Format format) {
    if (width <= 0 || height <= 0 || format == QImage::Format_Invalid)
        return QImage();
    const QImage probe(1, 1, format);
    const int64_t rowBytes = (int64_t{width} * probe.depth() + 31) / 32 * 4;
    const int64_t bytes = rowBytes * height;
    if (rowBytes > INT32_MAX || bytes / height != rowBytes || bytes > (int64_t{1} << 31))
        return QImage();  // the library's bound on any buffer
    if (bytes < int64_t{2 * kHugePage})
        return QImage(width, height, format);
    const size_t rounded = (size_t(bytes) + kHugePage - 1) / kHugePage * kHugePage;
    void* block = std::aligned_alloc(kHugePage, rounded);
    if (!block)
        return QImage();
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    madvise(block, rounded, MADV_HUGEPAGE);
#endif
    QImage image(static_cast<uchar*>(block), width, height, rowBytes, format, releaseBlock, block);
    if (image.isNull())
        std::free(block);
    return image;
}

}  // namespace vq
