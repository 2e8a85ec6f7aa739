// Large scratch memory for the passes of a filter (a plane the size of the
// image). Big blocks are aligned to 2 MiB and, on Linux, marked for huge
// pages: a fresh plane then costs a few dozen page faults instead of tens of
// thousands, which is a good part of a fast filter's time.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace vq {

template <typename T>
class ScratchBuffer {
public:
    explicit ScratchBuffer(size_t count) {
        const size_t bytes = count * sizeof(T);
        constexpr size_t kHuge = size_t{2} << 20;
        void* block = nullptr;
        if (bytes >= 2 * kHuge) {
            const size_t rounded = (bytes + kHuge - 1) / kHuge * kHuge;
            block = std::aligned_alloc(kHuge, rounded);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
            if (block)
                madvise(block, rounded, MADV_HUGEPAGE);
#endif
        } else {
            block = std::malloc(bytes > 0 ? bytes : 1);
        }
        if (!block)
            throw std::bad_alloc();
        m_data = static_cast<T*>(block);
    }
    ~ScratchBuffer() { std::free(m_data); }
    ScratchBuffer(const ScratchBuffer&) = delete;
    ScratchBuffer& operator=(const ScratchBuffer&) = delete;

    T* get() const { return m_data; }

private:
    T* m_data = nullptr;
};

}  // namespace vq
