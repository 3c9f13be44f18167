// A cheap identity of the calling thread for lock owners: the thread pointer, one load from
// the thread's segment register. Distinct between live threads and never 0.
#pragma once

#include <cstdint>

namespace vlib::detail {

inline uintptr_t CurrentThreadIdentity() {
#if __has_builtin(__builtin_thread_pointer)
    return reinterpret_cast<uintptr_t>(__builtin_thread_pointer());
#else
    static thread_local char marker;
    return reinterpret_cast<uintptr_t>(&marker);
#endif
}

} // namespace vlib::detail
