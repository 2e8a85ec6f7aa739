// Heap copies of BITMAPINFO blocks and palette sizes.
#include <vqutil/core.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
// Part of the sanitizer runtime; the exact size a block was allocated with.
extern "C" size_t __sanitizer_get_allocated_size(const volatile void* p);
#define VQ_ALLOCATED_BYTES(p) static_cast<long>(__sanitizer_get_allocated_size(p))
#else
#define VQ_ALLOCATED_BYTES(p) -1L
#endif

namespace {

// A header of `bitCount` bits and `used` colours followed by `entries` colour
// entries numbered 1, 2, 3, ... in their blue byte.
struct InfoBlock {
    std::vector<unsigned char> bytes;
    tagBITMAPINFO* info() { return reinterpret_cast<tagBITMAPINFO*>(bytes.data()); }
};

InfoBlock makeInfo(int bitCount, uint32_t used, int entries) {
    InfoBlock block;
    block.bytes.assign(40 + 4 * static_cast<size_t>(entries), 0);
    tagBITMAPINFOHEADER header{};
    header.biSize = 40;
    header.biWidth = 16;
    header.biHeight = -8;
    header.biPlanes = 1;
    header.biBitCount = static_cast<uint16_t>(bitCount);
    header.biClrUsed = used;
    std::memcpy(block.bytes.data(), &header, sizeof header);
    for (int i = 0; i < entries; ++i)
        block.bytes[40 + 4 * i] = static_cast<unsigned char>(i + 1);
    return block;
}

// Under the address sanitizer: exactly 40 + 4 x entries bytes were allocated.
void expectAllocatedFor(tagBITMAPINFO* block, long entries) {
    const long allocated = VQ_ALLOCATED_BYTES(block);
    if (allocated >= 0) {
        EXPECT_EQ(allocated, 40 + 4 * entries);
    }
}

// Checks the copy against the source over `entries` entries and its size.
void expectCopy(tagBITMAPINFO* copy, InfoBlock& src, long entries) {
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::memcmp(copy, src.bytes.data(), 40 + 4 * entries), 0);
    expectAllocatedFor(copy, entries);
    delete copy;  // the plain delete callers use
}

}  // namespace

TEST(BitmapInfo, CopiesHeaderAndTheColoursItDeclares) {
    const struct { int bitCount; uint32_t used; long entries; } cases[] = {
        {24, 0, 1}, {16, 0, 1}, {32, 0, 1},   // no palette: one entry (BI_BITFIELDS room)
        {1, 0, 2}, {4, 0, 16}, {8, 0, 256},   // 2^bits
        {8, 3, 3}, {24, 5, 5},                // biClrUsed wins
    };
    for (const auto& c : cases) {
        InfoBlock src = makeInfo(c.bitCount, c.used, 256);
        expectCopy(CreateNewBitmapInfo(src.info()), src, c.entries);
    }
    EXPECT_EQ(CreateNewBitmapInfo(nullptr), nullptr);
}

TEST(BitmapInfo, AbsurdCountsAreBoundedToAFullPalette) {
    for (auto [bitCount, used] : {std::pair{8, 1000000000u}, std::pair{12, 0u}, std::pair{15, 0u}}) {
        InfoBlock src = makeInfo(bitCount, used, 256);
        tagBITMAPINFO* copy = CreateNewBitmapInfo(src.info());
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->bmiHeader.biClrUsed, used) << "the header is copied as it stands";
        expectCopy(copy, src, 256);
    }
}

TEST(BitmapInfo, NewColourCountCopiesFortyPlusFourNBytes) {
    // The block holds 300 entries whatever its header says (4 declared):
    // the copy takes n of them as they are and claims n.
    InfoBlock src = makeInfo(8, 4, 300);
    for (int asked : {0, 2, 16, 300}) {
        tagBITMAPINFO* copy = CreateNewBmpInfoColor(src.info(), asked);
        ASSERT_NE(copy, nullptr);
        tagBITMAPINFOHEADER header;
        std::memcpy(&header, src.bytes.data(), 40);
        header.biClrUsed = static_cast<uint32_t>(asked);
        EXPECT_EQ(std::memcmp(&copy->bmiHeader, &header, 40), 0) << asked;
        EXPECT_EQ(std::memcmp(copy->bmiColors, src.bytes.data() + 40, 4 * size_t(asked)), 0) << asked;
        expectAllocatedFor(copy, asked);
        delete copy;
    }
    // Refused without reading: null, negative counts and blocks past 2^31 bytes.
    for (int asked : {-1, -2147483647 - 1, 536870903})
        EXPECT_EQ(CreateNewBmpInfoColor(src.info(), asked), nullptr) << asked;
    EXPECT_EQ(CreateNewBmpInfoColor(nullptr, 3), nullptr);
}

TEST(BitmapInfo, PaletteEntriesForSmallDepthsOnly) {
    const struct { int bitCount; long entries; } cases[] = {
        {1, 2}, {4, 16}, {8, 256}, {16, 0}, {24, 0}, {32, 0}};
    for (const auto& c : cases) {
        InfoBlock src = makeInfo(c.bitCount, 0, 0);
        EXPECT_EQ(GetPaletteEntry(src.info()), c.entries) << c.bitCount;
    }
    EXPECT_EQ(GetPaletteEntry(nullptr), 0);
}
