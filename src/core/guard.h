// Exported functions never let an exception out: a failed allocation inside
// (a std::vector of scratch rows, a Qt container) becomes the function's
// failure result.
#pragma once

#include <new>
#include <utility>

namespace vq {

template <typename Result, typename Body>
Result guarded(Result onFailure, Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return onFailure;
    }
}

template <typename Body>
void guarded(Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
    }
}

}  // namespace vq
