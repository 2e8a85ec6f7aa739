// CubicSpline: a natural cubic spline fitted in single precision.
//
// The three coefficient arrays live in one block headed by a reference
// count, so that copies made by assignment share them (as the class always
// did) and the last holder releases them.
#include <vqutil/adjust.h>

#include <atomic>
#include <cmath>
#include <new>
#include <vector>

namespace {

// The shared block: a count, then b (n - 1), c (n) and d (n - 1) floats.
struct CoefficientBlock {
    std::atomic<int> holders;
};

CoefficientBlock* blockOf(float* b) {
    return b ? reinterpret_cast<CoefficientBlock*>(reinterpret_cast<char*>(b) - sizeof(CoefficientBlock)) : nullptr;
}

float* newCoefficients(int n) {
    const size_t floats = static_cast<size_t>(n - 1) + n + (n - 1);
    void* memory = ::operator new(sizeof(CoefficientBlock) + floats * sizeof(float));
    new (memory) CoefficientBlock{{1}};
    return reinterpret_cast<float*>(static_cast<char*>(memory) + sizeof(CoefficientBlock));
}

void retain(float* b) {
    if (CoefficientBlock* block = blockOf(b))
        block->holders.fetch_add(1, std::memory_order_relaxed);
}

void release(float* b) {
    CoefficientBlock* block = blockOf(b);
    if (block && block->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        block->~CoefficientBlock();
        ::operator delete(block);
    }
}

}  // namespace

CubicSpline::CubicSpline() : b(nullptr), c(nullptr), d(nullptr), x(nullptr), y(nullptr), n(0) {}

CubicSpline::CubicSpline(const CubicSpline& other) : b(other.b), c(other.c), d(other.d), x(other.x), y(other.y), n(other.n) {
    retain(b);
}

CubicSpline& CubicSpline::operator=(const CubicSpline& other) {
    if (this != &other) {
        retain(other.b);
        Reset();
        b = other.b;
        c = other.c;
        d = other.d;
        x = other.x;
        y = other.y;
        n = other.n;
    }
    return *this;
}

CubicSpline::~CubicSpline() { Reset(); }

void CubicSpline::Reset() {
    release(b);
    b = c = d = nullptr;
}

void CubicSpline::Initialize(float* xs, float* ys, int count) {
    x = xs;
    y = ys;
    n = count;
    Reset();
    if (!x || !y || n < 2)
        return;

    std::vector<float> h(n - 1), alpha(n), l(n), mu(n), z(n);
    for (int i = 0; i < n - 1; ++i)
        h[i] = x[i + 1] - x[i];
    for (int i = 1; i < n - 1; ++i)
        alpha[i] = (3.0f / h[i]) * (y[i + 1] - y[i]) - (3.0f / h[i - 1]) * (y[i] - y[i - 1]);
    mu[0] = 0.0f;
    z[0] = 0.0f;
    for (int i = 1; i < n - 1; ++i) {
        l[i] = 2.0f * (x[i + 1] - x[i - 1]) - h[i - 1] * mu[i - 1];
        mu[i] = h[i] / l[i];
        z[i] = (alpha[i] - h[i - 1] * z[i - 1]) / l[i];
    }

    b = newCoefficients(n);
    c = b + (n - 1);
    d = c + n;
    c[n - 1] = 0.0f;
    for (int j = n - 2; j >= 0; --j) {
        c[j] = z[j] - mu[j] * c[j + 1];
        b[j] = (y[j + 1] - y[j]) / h[j] - h[j] * (c[j + 1] + 2.0f * c[j]) / 3.0f;
        d[j] = (c[j + 1] - c[j]) / (3.0f * h[j]);
    }
}

int CubicSpline::GetIndex(float t) {
    if (n < 2)
        return 0;
    int lo = 0;
    int hi = n - 1;
    while (hi - lo > 1) {
        const int mid = (lo + hi) / 2;
        if (t > x[mid])
            lo = mid;
        else
            hi = mid;
    }
    return lo;
}

float CubicSpline::Interpolate(float t, int i) {
    const float s = t - x[i];
    const float linear = y[i] + b[i] * s;
    const double value = static_cast<double>(linear) + static_cast<double>(c[i]) * std::pow(static_cast<double>(s), 2) +
                         static_cast<double>(d[i]) * std::pow(static_cast<double>(s), 3);
    return static_cast<float>(value);
}

float CubicSpline::Interpolate(float t) {
    if (!b)
        return y && n > 0 ? y[0] : 0.0f;
    return Interpolate(t, GetIndex(t));
}
