// Internal pieces of the focus blur, shared with its tests: the rewriting of
// the configuration record, the number of blur levels, and the mask.
#pragma once

#include <vqutil/filters.h>

namespace vq {

void rewriteFocusConfig(FocusBlurConfig& cfg);
int focusLevelCount(double blurAmount);
// The focus mask of pixel (x, y) of a w x h image for a rewritten record.
float focusMaskValue(const FocusBlurConfig& rewritten, int width, int height, int x, int y);

}  // namespace vq
