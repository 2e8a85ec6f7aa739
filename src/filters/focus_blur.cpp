// The focus blur: blur levels on worker threads, the focus mask on another,
// and a per-pixel blend of the two levels that bracket the mask value.
#include <vqutil/filters.h>

#include "core/byte_rules.h"
#include "core/guard.h"
#include "core/happens_before.h"
#include "core/scratch.h"
#include "focus_blur.h"
#include "focus_blur_threads.h"
#include "recursive_gaussian.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace {

constexpr double kDegreesToRadians = 0.017453292519943295;
constexpr double kPi = 3.14159265358979323846;

// --- the configuration record --------------------------------------------------------------

void rewriteConfigFields(FocusBlurConfig& cfg) {
    cfg.innerRatio = 1 - cfg.innerRatio;
    if (cfg.angle < 0)
        cfg.angle += 360;
    cfg.falloff = cfg.falloff < 1 ? std::min(std::log(0.5) / std::log(cfg.falloff), 1000.0) : 1000.0;
    const double v = cfg.ellipseShape;
    const double x = v >= 0 ? 1 - v : 1 / (v + 1);
    cfg.ellipseShape = x <= 1 ? 2 * std::atan(1 / x - 1) / kPi : -2 * std::atan(x - 1) / kPi;
}

int levelsFor(double blurAmount) {
    const double wanted = std::log2(blurAmount) + 3;
    if (!(wanted > 2))
        return 2;  // also for zero, negative and NaN amounts
    return static_cast<int>(std::ceil(std::min(wanted, 16.0)));
}

double levelSigma(int i, int n, double blurAmount) {
    return std::pow(static_cast<double>(i) / (n - 1), 1.5) * blurAmount;
}

// --- the focus mask ------------------------------------------------------------------------

struct MaskGeometry {
    double centreX, centreY;
    double cosine, sine;     // of -angle
    double horizontalScale;  // aspect factor x w / h: horizontal offsets are divided by it
    double inner, width;     // sharp radius and transition width
    double exponent;
    bool square;
};

MaskGeometry maskGeometry(const FocusBlurConfig& cfg, int w, int h) {
    MaskGeometry g{};
    g.centreX = cfg.centerX * w;
    g.centreY = cfg.centerY * h;
    const double turn = -cfg.angle * kDegreesToRadians;
    g.cosine = std::cos(turn);
    g.sine = std::sin(turn);
    const double e = cfg.ellipseShape;
    const double aspect = e >= 0 ? std::tan(e * kPi / 2) + 1 : 1 / (std::tan(-e * kPi / 2) + 1);
    g.horizontalScale = aspect * w / h;
    g.inner = cfg.innerRatio * cfg.radius;
    g.width = std::max(cfg.radius - g.inner, 0.0001);
    g.exponent = cfg.falloff >= 0.0001 ? cfg.falloff : (cfg.falloff < 0.0001 ? 0.0001 : 1.0);  // NaN: linear
    g.square = g.exponent >= 1.9999 && g.exponent <= 2.0001;
    return g;
}

float maskValue(const MaskGeometry& g, int x, int y) {
    const double dx = x - g.centreX;
    const double dy = y - g.centreY;
    const double rx = dx * g.cosine - dy * g.sine;
    const double ry = dx * g.sine + dy * g.cosine;
    const double d = std::hypot(rx / g.horizontalScale, ry);
    double t = (d - g.inner) / g.width;
    t = t > 0 ? (t < 1 ? t : 1.0) : 0.0;  // NaN (a degenerate shape) counts as sharp
    if (g.square)
        return static_cast<float>(t * t);
    return static_cast<float>(g.exponent == 1 ? t : std::pow(t, g.exponent));  // pow(t, 1) is t
}

// --- the blend -----------------------------------------------------------------------------

// Blends the two levels around each mask value, pixel by pixel in row
// order; the bracketing interval is kept from pixel to pixel while the mask
// value stays inside it.
void blendLevels(QImageEx& img, const std::vector<float*>& levels, const float* mask) {
    const int n = static_cast<int>(levels.size());
    const double e = n > 2 ? 1.5 : 1.0;
    const int w = img.width();
    int k = -1;
    double lo = 0, hi = 0;
    for (int y = 0; y < img.height(); ++y) {
        uint8_t* row = img.scanLine(y);
        for (int x = 0; x < w; ++x) {
            const size_t i = static_cast<size_t>(y) * w + x;
            const double m = mask[i];
            if (!(k >= 0 && lo <= m && m < hi)) {
                const double b = std::pow(std::clamp(m, 0.0, 1.0), 1 / e) * (n - 1);
                k = std::min(static_cast<int>(b), n - 2);
                lo = std::pow(static_cast<double>(k) / (n - 1), e);
                hi = std::pow(static_cast<double>(k + 1) / (n - 1), e);
            }
            const double t = (m - lo) / (hi - lo);
            const float* below = levels[k] + 4 * i;
            const float* above = levels[k + 1] + 4 * i;
            double rgba[4];
            for (int c = 0; c < 4; ++c)
                rgba[c] = below[c] + (above[c] - below[c]) * t;
            row[4 * x + 0] = vq::byteFromUnitTruncated(rgba[2]);
            row[4 * x + 1] = vq::byteFromUnitTruncated(rgba[1]);
            row[4 * x + 2] = vq::byteFromUnitTruncated(rgba[0]);
            row[4 * x + 3] = vq::byteFromUnitTruncated(rgba[3]);
        }
    }
}

void toUnitPlane(const QImageEx& img, float* plane) {
    const int w = img.width();
    for (int y = 0; y < img.height(); ++y) {
        const uint8_t* row = img.constScanLine(y);
        float* out = plane + static_cast<size_t>(y) * w * 4;
        for (int x = 0; x < w; ++x) {
            out[4 * x + 0] = row[4 * x + 2] / 255.0f;
            out[4 * x + 1] = row[4 * x + 1] / 255.0f;
            out[4 * x + 2] = row[4 * x + 0] / 255.0f;
            out[4 * x + 3] = row[4 * x + 3] / 255.0f;
        }
    }
}

// Runs the threads to completion: started together, then polled every
// millisecond until each has finished (or never started). Whatever happens,
// no thread object outlives its thread.
class ThreadCrew {
public:
    ~ThreadCrew() {
        for (auto& t : m_threads)
            t->wait();
    }
    void add(std::unique_ptr<QThread> t) { m_threads.push_back(std::move(t)); }
    void startAndWait() {
        for (auto& t : m_threads) {
            VQ_HAPPENS_BEFORE(t.get());
            t->start(QThread::InheritPriority);
        }
        const auto allDone = [&] {
            return std::all_of(m_threads.begin(), m_threads.end(),
                               [](const auto& t) { return t->isFinished() || !t->isRunning(); });
        };
        while (!allDone())
            QThread::msleep(1);
        for (auto& t : m_threads)
            VQ_HAPPENS_AFTER(t.get());
    }

private:
    std::vector<std::unique_ptr<QThread>> m_threads;
};

bool focusBlur(QImageEx& img, FocusBlurConfig& cfg) {
    const int w = img.width();
    const int h = img.height();
    rewriteConfigFields(cfg);
    const int n = levelsFor(cfg.blurAmount);

    const size_t planeSize = static_cast<size_t>(w) * h * 4;
    std::vector<std::unique_ptr<vq::ScratchBuffer<float>>> memory;
    std::vector<float*> levels(n);
    for (int i = 0; i < n; ++i) {
        memory.push_back(std::make_unique<vq::ScratchBuffer<float>>(planeSize));
        levels[i] = memory.back()->get();
    }
    toUnitPlane(img, levels[0]);
    vq::ScratchBuffer<float> mask(static_cast<size_t>(w) * h);
    std::vector<const float*> planes(levels.begin(), levels.end());

    bool blurred = true;
    {
        ThreadCrew crew;
        std::vector<CBlurThread*> blurs;
        for (int i = 1; i < n; ++i) {
            auto blur = std::make_unique<CBlurThread>(static_cast<float>(levelSigma(i, n, cfg.blurAmount)), w, h,
                                                      levels[0], levels[i]);
            blurs.push_back(blur.get());
            crew.add(std::move(blur));
        }
        crew.add(std::make_unique<CVignetteThread>(w, h, planes.data(), mask.get(), &cfg));
        crew.startAndWait();
        for (const CBlurThread* blur : blurs)
            blurred = blurred && blur->succeeded();
    }
    if (!blurred)
        return false;
    blendLevels(img, levels, mask.get());
    return true;
}

}  // namespace

// --- the threads ---------------------------------------------------------------------------

CBlurThread::CBlurThread(float sigma, int width, int height, const float* source, float* destination)
    : m_sigma(sigma), m_width(width), m_height(height), m_source(source), m_destination(destination) {}

CBlurThread::~CBlurThread() = default;

void CBlurThread::run() {
    VQ_HAPPENS_AFTER(this);
    m_succeeded = vq::guarded(false, [&] {
        vq::recursiveGaussianPlane(m_source, m_destination, m_width, m_height, 4,
                                   vq::recursiveGaussianCoefficients(m_sigma), vq::Carried::Float);
        return true;
    });
    VQ_HAPPENS_BEFORE(this);
}

CVignetteThread::CVignetteThread(int width, int height, const float* const* planes, float* mask,
                                 const FocusBlurConfig* config)
    : m_width(width), m_height(height), m_planes(planes), m_mask(mask), m_config(config) {}

CVignetteThread::~CVignetteThread() = default;

void CVignetteThread::run() {
    VQ_HAPPENS_AFTER(this);
    const MaskGeometry g = maskGeometry(*m_config, m_width, m_height);
    for (int y = 0; y < m_height; ++y)
        for (int x = 0; x < m_width; ++x)
            m_mask[static_cast<size_t>(y) * m_width + x] = maskValue(g, x, y);
    VQ_HAPPENS_BEFORE(this);
}

namespace vq {

void rewriteFocusConfig(FocusBlurConfig& cfg) { rewriteConfigFields(cfg); }
int focusLevelCount(double blurAmount) { return levelsFor(blurAmount); }
float focusMaskValue(const FocusBlurConfig& rewritten, int width, int height, int x, int y) {
    return maskValue(maskGeometry(rewritten, width, height), x, y);
}

}  // namespace vq

bool vqDoFocusBlur(QImageEx& img, FocusBlurConfig* cfg) {
    if (img.isNull() || !cfg)
        return false;
    AnyConvertTo24Bit(img);
    if (img.format() != QImage::Format_RGB32 && img.format() != QImage::Format_ARGB32)
        return false;
    return vq::guarded(false, [&] { return focusBlur(img, *cfg); });
}
