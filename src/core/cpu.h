// Processor features for the runtime-dispatched vector paths. The library is
// built for baseline x86-64; a kernel compiled for a newer instruction set is
// only called when the processor reports it.
#pragma once

namespace vq {

bool cpuHasSse41();
bool cpuHasAvx2();
bool cpuHasAvx512();  // the F subset, with its 512-bit integer and double operations

}  // namespace vq
