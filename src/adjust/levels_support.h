// The clipping rule of the automatic levels, shared with the automatic
// brightness and contrast.
#pragma once

namespace vq {

// Share of the pixels clipped at each end.
constexpr double kClipShare = 0.006;

struct ClipPoints {
    int black = 0;    // first level kept
    int white = 255;  // last level kept
};

// The bins, from each end, at which the cumulative share of a 256-bin
// histogram is closest to kClipShare. An empty histogram gives (0, 0); a
// rule that never fires keeps 0 (black) or 255 (white).
ClipPoints clipPoints(const double* counts);

}  // namespace vq
