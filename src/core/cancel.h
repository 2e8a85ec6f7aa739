// Cancel flags: plain bools that a caller may set from another thread while
// an operation polls them. They are read with an atomic load, so a caller that
// sets them with an atomic store (std::atomic_ref, __atomic_store_n) is free
// of data races.
#pragma once

namespace vq {

inline bool isCancelled(const bool* flag) {
    return flag != nullptr && __atomic_load_n(flag, __ATOMIC_RELAXED);
}

}  // namespace vq
