#include "cpu.h"

namespace vq {

bool cpuHasSse41() {
#if defined(__x86_64__) || defined(__i386__)
    static const bool has = __builtin_cpu_supports("sse4.1");
    return has;
#else
    return false;
#endif
}

bool cpuHasAvx2() {
#if defined(__x86_64__) || defined(__i386__)
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
#else
    return false;
#endif
}

bool cpuHasAvx512() {
#if defined(__x86_64__) || defined(__i386__)
    static const bool has = __builtin_cpu_supports("avx512f");
    return has;
#else
    return false;
#endif
}

}  // namespace vq
