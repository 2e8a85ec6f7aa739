// Per-channel byte tables and the row kernels that apply them to bytes 0, 1
// and 2 of each pixel: shared by the curves and by the tone operations that
// build their own tables.
#pragma once

#include <QtGlobal>

#include <array>
#include <cstdint>
#include <cstring>

namespace vq {

using ByteTable = std::array<uint8_t, 256>;

inline ByteTable identityByteTable() {
    ByteTable t;
    for (int v = 0; v < 256; ++v)
        t[v] = static_cast<uint8_t>(v);
    return t;
}

// Tables in pixel-byte order (byte 0, 1, 2: blue, green, red in 32-bit
// pixels).
struct ChannelTables {
    ByteTable byte[3];
};

// The same tables as pre-shifted words, so that a 4-byte pixel is one load,
// three lookups and one store.
struct WordTables {
    uint32_t byte[3][256];

    explicit WordTables(const ChannelTables& t) {
        for (int c = 0; c < 3; ++c)
            for (int v = 0; v < 256; ++v)
                byte[c][v] = uint32_t{t.byte[c][v]} << (8 * c);
    }
};

// Pixels [begin, end) of a 4-byte row; a non-null mask row skips every
// pixel whose mask byte is not 0. The fourth byte is kept.
inline void mapRowWords(uint8_t* row, int begin, int end, const uint8_t* mask, const WordTables& t) {
    for (int x = begin; x < end; ++x) {
        if (mask && mask[x])
            continue;
        uint32_t p;
        std::memcpy(&p, row + 4 * x, 4);
        p = t.byte[0][p & 0xFF] | t.byte[1][(p >> 8) & 0xFF] | t.byte[2][(p >> 16) & 0xFF] | (p & 0xFF000000u);
        std::memcpy(row + 4 * x, &p, 4);
    }
}

// The same for pixels of bpp >= 3 bytes; bytes past the third are kept.
inline void mapRowBytes(uint8_t* row, int begin, int end, int bpp, const uint8_t* mask, const ChannelTables& t) {
    for (int x = begin; x < end; ++x) {
        if (mask && mask[x])
            continue;
        uint8_t* p = row + static_cast<qsizetype>(x) * bpp;
        p[0] = t.byte[0][p[0]];
        p[1] = t.byte[1][p[1]];
        p[2] = t.byte[2][p[2]];
    }
}

}  // namespace vq
