// Copies of device-independent bitmap headers with their colour tables.
//
// A BITMAPINFO block is a 40-byte header followed by 4-byte colour entries.
// The blocks returned here are allocated with the global operator new so
// that the plain `delete` callers use (through tagBITMAPINFO's own operator
// delete) releases them exactly, whatever their length.
#include <vqutil/core.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t kHeaderBytes = sizeof(tagBITMAPINFOHEADER);
constexpr long kMaxPaletteEntries = 256;

// Colour entries that `info` says it carries, bounded to a real palette.
long paletteEntriesOf(const tagBITMAPINFO& info) {
    const uint32_t used = info.bmiHeader.biClrUsed;
    if (used != 0)
        return std::min<long>(used, kMaxPaletteEntries);
    const unsigned bitCount = info.bmiHeader.biBitCount;
    if (bitCount >= 16)
        return 1;
    return std::min<long>(1L << bitCount, kMaxPaletteEntries);
}

// A block of the header and `entries` colours, of which the first `copied`
// come from src and the rest are zero. Null when memory is short.
tagBITMAPINFO* copyBitmapInfo(const tagBITMAPINFO& src, long entries, long copied) {
    const std::size_t bytes = kHeaderBytes + 4 * static_cast<std::size_t>(entries);
    const std::size_t copiedBytes = kHeaderBytes + 4 * static_cast<std::size_t>(copied);
    void* block = ::operator new(bytes, std::nothrow);
    if (!block)
        return nullptr;
    std::memcpy(block, &src, copiedBytes);
    std::memset(static_cast<unsigned char*>(block) + copiedBytes, 0, bytes - copiedBytes);
    return static_cast<tagBITMAPINFO*>(block);
}

}  // namespace

tagBITMAPINFO* CreateNewBitmapInfo(tagBITMAPINFO* src) {
    if (!src)
        return nullptr;
    const long entries = paletteEntriesOf(*src);
    return copyBitmapInfo(*src, entries, entries);
}

tagBITMAPINFO* CreateNewBmpInfoColor(tagBITMAPINFO* src, int n) {
    if (!src)
        return nullptr;
    // The caller vouches for 40 + 4n readable bytes, as with memcpy.
    constexpr long kMaxEntries = ((1L << 31) - long(kHeaderBytes)) / 4;
    if (n < 0 || n > kMaxEntries)
        return nullptr;
    tagBITMAPINFO* info = copyBitmapInfo(*src, n, n);
    if (info)
        info->bmiHeader.biClrUsed = static_cast<uint32_t>(n);
    return info;
}

long GetPaletteEntry(tagBITMAPINFO* info) {
    if (!info || info->bmiHeader.biBitCount > 8)
        return 0;
    return 1L << info->bmiHeader.biBitCount;
}
