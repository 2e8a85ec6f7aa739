// Square-kernel convolution on a torus, the kernel-size rule, and the two
// filters built on them (sharpenImage, edgeImage).
#include <vqutil/filters.h>

#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"

#include <cmath>
#include <vector>

namespace {

constexpr int kMaxGaussianWidth = 4097;

inline uint8_t convolvedByte(double v) {
    if (!(v >= 0))
        return 0;  // negative, or NaN from a degenerate kernel
    return v > 255 ? 255 : static_cast<uint8_t>(static_cast<int>(v + 0.5));
}

// One output row of one channel: out[x] = sum over j, i of
// kernel[j][i] x rows[j][x + i], accumulated in that order in double, for
// eight outputs side by side (each output's arithmetic is unchanged).
VQ_MULTIVERSION void convolveChannelRow(const double* const* rows, const double* kernel, int order, int w,
                                        double* out) {
    constexpr int L = 8;
    int x = 0;
    for (; x + L <= w; x += L) {
        double acc[L] = {};
        for (int j = 0; j < order; ++j) {
            const double* row = rows[j] + x;
            const double* k = kernel + j * order;
            for (int i = 0; i < order; ++i) {
                const double weight = k[i];
                for (int l = 0; l < L; ++l)
                    acc[l] += weight * row[i + l];
            }
        }
        for (int l = 0; l < L; ++l)
            out[x + l] = acc[l];
    }
    for (; x < w; ++x) {
        double acc = 0;
        for (int j = 0; j < order; ++j)
            for (int i = 0; i < order; ++i)
                acc += kernel[j * order + i] * rows[j][x + i];
        out[x] = acc;
    }
}

// Source rows as doubles, one plane per channel, each row padded with
// `half` columns from the other side so that the torus needs no index wrap.
class WrappedRows {
public:
    WrappedRows(const QImage& img, int channels, int half)
        : m_img(img), m_channels(channels), m_half(half), m_padded(img.width() + 2 * half),
          m_rows(static_cast<size_t>(img.height()) * channels) {}

    // Row y of channel c, converted on first use; x = 0 is column -half.
    const double* row(int y, int c) {
        std::vector<double>& slot = m_rows[static_cast<size_t>(y) * m_channels + c];
        if (slot.empty()) {
            slot.resize(m_padded);
            const int w = m_img.width();
            const int bpp = m_img.depth() / 8;
            const uint8_t* in = m_img.constScanLine(y);
            for (int p = 0; p < m_padded; ++p) {
                int x = p - m_half;
                x = x < 0 ? x + w : x >= w ? x - w : x;
                slot[p] = in[x * bpp + c];
            }
        }
        return slot.data();
    }

    // Rows that no later output row needs any more.
    void release(int y) {
        for (int c = 0; c < m_channels; ++c)
            std::vector<double>().swap(m_rows[static_cast<size_t>(y) * m_channels + c]);
    }

private:
    const QImage& m_img;
    int m_channels;
    int m_half;
    int m_padded;
    std::vector<std::vector<double>> m_rows;
};

int convolve(QImageEx& img, unsigned int order, const double* kernel) {
    const int w = img.width();
    const int h = img.height();
    if (!kernel || order % 2 == 0 || img.depth() < 8 || order > static_cast<unsigned>(w) ||
        order > static_cast<unsigned>(h))
        return 0;
    const int n = static_cast<int>(order);
    const int half = n / 2;
    const int bpp = img.depth() / 8;
    const int channels = std::min(3, bpp);
    const bool packed = bpp >= 3;  // colour triples written from the row start

    QImageEx result;
    if (!QImageEx::create(result, w, h, img.format()))
        return 0;
    result.fill(0u);
    if (img.colorCount() > 0)
        result.setColorTable(img.colorTable());

    double weightSum = 0;
    for (int k = 0; k < n * n; ++k)
        weightSum += kernel[k];
    const bool divide = weightSum != 0 && weightSum != 1;

    WrappedRows rows(img, channels, half);
    std::vector<const double*> window(n);
    std::vector<double> sums(w);
    for (int y = 0; y < h; ++y) {
        img.set_progress(y);
        uint8_t* out = result.scanLine(y);
        for (int c = 0; c < channels; ++c) {
            for (int j = 0; j < n; ++j) {
                int sy = y + j - half;
                sy = sy < 0 ? sy + h : sy >= h ? sy - h : sy;
                window[j] = rows.row(sy, c);
            }
            convolveChannelRow(window.data(), kernel, n, w, sums.data());
            for (int x = 0; x < w; ++x) {
                const double v = divide ? sums[x] / weightSum : sums[x];
                out[packed ? 3 * x + c : x * bpp + c] = convolvedByte(v);
            }
        }
        // Row y - half is the last that wraps to nothing beyond this point,
        // except the rows that the bottom rows wrap back to (the top `half`).
        if (y - half >= half)
            rows.release(y - half);
    }
    img = result;
    return 1;
}

}  // namespace

int convolveImage(QImageEx& img, unsigned int order, const double* kernel) {
    return vq::guarded(0, [&] { return convolve(img, order, kernel); });
}

int getOptimalKernelWidth1D(double radius, double sigma) {
    if (radius > 0)
        return static_cast<int>(std::min(2 * std::ceil(radius) + 1, static_cast<double>(INT_MAX)));
    if (!(sigma > 0))
        return 3;  // a vanishing sigma: the smallest width the search gives
    const double twoSigmaSquared = 2 * sigma * sigma;
    for (int width = 5; width <= kMaxGaussianWidth + 2; width += 2) {
        const int half = width / 2;
        double norm = 0;
        for (int u = -half; u <= half; ++u)
            norm += std::exp(-(double(u) * u) / twoSigmaSquared);
        const double edge = std::exp(-(double(half) * half) / twoSigmaSquared) / norm * 255;
        if (vq::truncToInt(edge) < 1)
            return width - 2;
    }
    return kMaxGaussianWidth;
}

int getOptimalKernelWidth(double radius, double sigma) { return getOptimalKernelWidth1D(radius, sigma); }

int sharpenImage(QImageEx& img, double radius, double sigma) {
    const int n = getOptimalKernelWidth1D(radius, sigma);
    if (n > img.width() || n > img.height())
        return 1;  // the convolution would refuse this kernel: nothing to build
    return vq::guarded(0, [&] {
        std::vector<double> kernel(static_cast<size_t>(n) * n);
        const int half = n / 2;
        double sum = 0;
        for (int j = -half; j <= half; ++j)
            for (int i = -half; i <= half; ++i) {
                const double weight = std::exp(-double(i * i + j * j) / (sigma * sigma));
                kernel[static_cast<size_t>(j + half) * n + (i + half)] = weight;
                sum += weight;
            }
        kernel[static_cast<size_t>(n) * n / 2] = -2 * sum;
        convolveImage(img, static_cast<unsigned>(n), kernel.data());
        return 1;
    });
}

bool edgeImage(QImageEx& img, double radius) {
    vq::guarded([&] {
        const int n = getOptimalKernelWidth1D(std::min(radius, 5.0), 0.5);
        std::vector<double> kernel(static_cast<size_t>(n) * n, -1.0);
        kernel[static_cast<size_t>(n) * n / 2] = double(n) * n - 1;
        QImageEx copy = img;
        QImageEx converted;
        convertToArgb(converted, copy);
        converted.copyCallback(img);
        convolveImage(converted, static_cast<unsigned>(n), kernel.data());
        copy = converted;  // the result stays in the local copy
    });
    return true;
}
