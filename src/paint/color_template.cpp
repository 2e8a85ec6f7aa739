// Gradient colour templates: stops, their table and the 80-byte file.
#include <vqutil/paint.h>

#include <QFile>

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr int kStops = 10;
constexpr int kFileBytes = 80;
// Entries whose 3-byte table stays within 2^31 bytes.
constexpr int kMaxEntries = 715827882;

void writeEntry(uint8_t* entry, uint32_t colorRef) {
    entry[0] = uint8_t(colorRef >> 16);  // blue
    entry[1] = uint8_t(colorRef >> 8);   // green
    entry[2] = uint8_t(colorRef);        // red
}

// n p / 100 with the product wrapping in 32 bits, as an int multiply does.
int32_t tableIndex(int32_t n, int32_t position) {
    return int32_t(uint32_t(n) * uint32_t(position)) / 100;
}

// Entries [from, to) of an n-entry table, clipped to the table.
void fillEntries(uint8_t* table, int64_t n, int64_t from, int64_t to, uint32_t colorRef) {
    for (int64_t i = std::max<int64_t>(from, 0), end = std::min(to, n); i < end; ++i)
        writeEntry(table + 3 * i, colorRef);
}

void rampEntries(uint8_t* table, int64_t n, int64_t a, int64_t b, uint32_t startRef, uint32_t endRef) {
    const int64_t len = b - a;
    if (len < 1)
        return;
    uint8_t start[3], end[3];
    writeEntry(start, startRef);
    writeEntry(end, endRef);
    for (int64_t j = std::max<int64_t>(0, -a), stop = std::min(len, n - a); j < stop; ++j)
        for (int c = 0; c < 3; ++c)
            table[3 * (a + j) + c] =
                uint8_t(int(start[c] + double(j) * double(end[c] - start[c]) / double(len)));
}

void encodeLittleEndian(uint32_t value, uint8_t* out) {
    for (int i = 0; i < 4; ++i)
        out[i] = uint8_t(value >> (8 * i));
}

uint32_t decodeLittleEndian(const uint8_t* in) {
    return uint32_t(in[0]) | uint32_t(in[1]) << 8 | uint32_t(in[2]) << 16 | uint32_t(in[3]) << 24;
}

}  // namespace

CColorTemplate::CColorTemplate() = default;
CColorTemplate::CColorTemplate(const CColorTemplate& other) = default;
CColorTemplate& CColorTemplate::operator=(const CColorTemplate& other) = default;
CColorTemplate::~CColorTemplate() = default;

void CColorTemplate::SetColor(unsigned long color, int position, int index) {
    if (index < 0 || index >= kStops)
        return;
    colors[index] = uint32_t(color);
    positions[index] = position;
}

void CColorTemplate::InitTemplate(CColorTemplate* other) {
    if (!other || other == this)
        return;
    std::copy(other->colors, other->colors + kStops, colors);
    std::copy(other->positions, other->positions + kStops, positions);
}

void CColorTemplate::Sort() {
    uint32_t workColors[kStops];
    int32_t work[kStops];
    std::copy(colors, colors + kStops, workColors);
    std::copy(positions, positions + kStops, work);
    int written = 0;
    for (int pass = 0; pass < kStops; ++pass) {
        int best = -1;
        for (int slot = 0; slot < kStops; ++slot)
            if (work[slot] >= 0 && work[slot] <= 101 && (best < 0 || work[slot] <= work[best]))
                best = slot;  // `<=`: on a tie the higher slot wins
        if (best < 0)
            continue;
        colors[written] = workColors[best];
        positions[written] = work[best];
        ++written;
        work[best] = -1;
    }
    if (written < kStops)
        positions[written] = -1;
}

bool CColorTemplate::ConfigTemplate(int n) {
    count = n;
    if (n <= 0)
        return false;
    if (n > kMaxEntries) {
        count = 0;
        return false;
    }
    std::shared_ptr<std::vector<uint8_t>> fresh;
    try {
        fresh.reset(new std::vector<uint8_t>(size_t(n) * 3));
    } catch (const std::bad_alloc&) {
        count = 0;
        return false;
    }
    uint8_t* entries = fresh->data();
    fillEntries(entries, n, 0, tableIndex(n, positions[0]), colors[0]);
    int last = 0;
    while (last < kStops - 1 && positions[last + 1] != -1) {
        rampEntries(entries, n, tableIndex(n, positions[last]), tableIndex(n, positions[last + 1]),
                    colors[last], colors[last + 1]);
        ++last;
    }
    fillEntries(entries, n, tableIndex(n, positions[last]), n, colors[last]);
    table = std::move(fresh);
    return true;
}

tagRGBQUAD CColorTemplate::GetColor(int i) {
    uint8_t entry[3];
    if (count > 0 && table && table->size() / 3 >= size_t(count)) {
        i = std::max(i, 0);
        const int q = i / count, r = i % count;
        std::memcpy(entry, table->data() + 3 * size_t(q % 2 ? count - 1 - r : r), 3);
    } else {
        writeEntry(entry, colors[0]);
    }
    return tagRGBQUAD{entry[0], entry[1], entry[2], 0};
}

bool CColorTemplate::SaveTemplate(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    uint8_t bytes[kFileBytes];
    for (int k = 0; k < kStops; ++k) {
        encodeLittleEndian(colors[k], bytes + 4 * k);
        encodeLittleEndian(uint32_t(positions[k]), bytes + 40 + 4 * k);
    }
    file.write(reinterpret_cast<const char*>(bytes), kFileBytes);
    return true;
}

bool CColorTemplate::LoadTemplate(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    // Read over the current values in file order, so that a short file
    // changes exactly the bytes it holds.
    uint8_t bytes[kFileBytes];
    for (int k = 0; k < kStops; ++k) {
        encodeLittleEndian(colors[k], bytes + 4 * k);
        encodeLittleEndian(uint32_t(positions[k]), bytes + 40 + 4 * k);
    }
    qint64 got = 0;
    while (got < kFileBytes) {
        const qint64 n = file.read(reinterpret_cast<char*>(bytes) + got, kFileBytes - got);
        if (n <= 0)
            break;
        got += n;
    }
    for (int k = 0; k < kStops; ++k) {
        colors[k] = decodeLittleEndian(bytes + 4 * k);
        const int32_t p = int32_t(decodeLittleEndian(bytes + 40 + 4 * k));
        positions[k] = p > 100 ? 100 : p < 0 ? -1 : p;
    }
    return true;
}
