// The worker threads of the focus blur: one CBlurThread per blur level and
// one CVignetteThread that computes the focus mask. They live for one call
// of vqDoFocusBlur, each writing only its own buffer.
#pragma once

#include <QThread>

struct FocusBlurConfig;

// Blurs the four-channel float plane `source` (w x h pixels of R, G, B, A)
// with the recursive Gaussian of `sigma` into `destination`, the values
// carried from sample to sample rounded to float as in its row buffers.
class CBlurThread : public QThread {
    Q_OBJECT
public:
    CBlurThread(float sigma, int width, int height, const float* source, float* destination);
    ~CBlurThread() override;

    // Read once the thread has finished: false when it ran out of memory
    // (or never ran).
    bool succeeded() const { return m_succeeded; }

protected:
    void run() override;

private:
    float m_sigma;
    int m_width;
    int m_height;
    const float* m_source;
    float* m_destination;
    bool m_succeeded = false;
};

// Fills `mask` (w x h values in 0..1) from the rewritten configuration; see
// vqDoFocusBlur for the formula.
class CVignetteThread : public QThread {
    Q_OBJECT
public:
    CVignetteThread(int width, int height, const float* const* planes, float* mask, const FocusBlurConfig* config);
    ~CVignetteThread() override;

protected:
    void run() override;

private:
    int m_width;
    int m_height;
    const float* const* m_planes;
    float* m_mask;
    const FocusBlurConfig* m_config;
};
