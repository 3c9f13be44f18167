// The one adapter between the library's containers, which throw std::bad_alloc when the heap
// is exhausted, and its boundary, which never lets an exception out: a body run through it
// turns an exhausted heap into the caller's failure value.
#pragma once

#include <new>
#include <utility>

namespace vlib::detail {

/// Runs `body` and returns its result, or `failure` if the heap ran out on the way.
template <class F, class R> R CallNoThrow(F &&body, R failure) noexcept {
    try {
        return std::forward<F>(body)();
    } catch (const std::bad_alloc &) {
        return failure;
    }
}

/// Runs `body`; true when it ran to the end, false if the heap ran out on the way.
template <class F> bool CallNoThrow(F &&body) noexcept {
    try {
        std::forward<F>(body)();
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

} // namespace vlib::detail
