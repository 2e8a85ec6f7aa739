// Images for the results of whole-image passes, backed by huge pages.
//
// A result the size of a photograph is written once, from top to bottom, by
// the bands of the dispatcher. With ordinary 4 KiB pages the kernel then
// takes one fault per page (24,000 for a 6000 x 4000 ARGB32 image), which
// costs a quarter of a fast pass. Large images are therefore allocated 2 MiB
// aligned and marked for transparent huge pages; the QImage owns the block
// through its cleanup function, so copies and detaching work as usual.
#pragma once

#include <QImage>

namespace vq {

// A new, uninitialised image (null when the size is invalid or memory is
// short), as QImage(w, h, format).
QImage newLargeImage(int width, int height, QImage::Format format);

}  // namespace vq
