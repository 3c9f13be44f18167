// Reads which function a virtual slot of an object leads to, so that the frame walk can pass
// over hooks that still lead to TComponent's empty defaults instead of calling them. The
// vtable is read as the Itanium C++ ABI lays it out, the ABI of every compiler on this
// library's platform.
#pragma once

#include <cstdint>
#include <cstring>

namespace vlib::detail {

/// The function that the virtual member `member` leads to for `object`'s dynamic class.
template <class T, class Member> const void *GetVirtualTarget(const T *object, Member member) {
    static_assert(sizeof(Member) == 2 * sizeof(uintptr_t), "an Itanium member function pointer");
    uintptr_t words[2];
    std::memcpy(words, &member, sizeof(words));
    // For a virtual member the first word is one more than its slot's byte offset.
    const void *const *vtable;
    std::memcpy(&vtable, static_cast<const void *>(object), sizeof(vtable));
    return vtable[(words[0] - 1) / sizeof(void *)];
}

/// True when `member` is a virtual member: its first word is odd.
template <class Member> bool IsVirtualMember(Member member) {
    uintptr_t words[2];
    std::memcpy(words, &member, sizeof(words));
    return (words[0] & 1) != 0;
}

} // namespace vlib::detail
