// Hand-overs between threads that Qt synchronises through futexes, which
// ThreadSanitizer cannot see (a task handed to the pool, a QThread started
// or found finished). In a ThreadSanitizer build these annotations tell it
// about the ordering; elsewhere they compile to nothing.
#pragma once

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#define VQ_HAPPENS_BEFORE(addr) __tsan_release(const_cast<void*>(static_cast<const void*>(addr)))
#define VQ_HAPPENS_AFTER(addr) __tsan_acquire(const_cast<void*>(static_cast<const void*>(addr)))
#else
#define VQ_HAPPENS_BEFORE(addr) ((void)(addr))
#define VQ_HAPPENS_AFTER(addr) ((void)(addr))
#endif
