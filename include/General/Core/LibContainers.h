// The standard containers over the library heap. Library interfaces take and return these
// types by name. An exhausted heap makes a container throw std::bad_alloc, which the
// library's loaders catch at their boundary and turn into a failure result.
#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <new>
#include <set>
#include <vector>

#include "General/Core/LibAllocator.h"

namespace vlib {

/// A standard allocator that takes its memory from TLibAllocator.
template <class T> class TLibSTLAllocator {
public:
    using value_type = T;

    TLibSTLAllocator() noexcept = default;
    template <class U> TLibSTLAllocator(const TLibSTLAllocator<U> &) noexcept {}

    T *allocate(std::size_t count) {
        if (count > static_cast<std::size_t>(-1) / sizeof(T))
            throw std::bad_array_new_length();
        void *block = GetAllocatorInstance().Alloc(count * sizeof(T));
        if (block == nullptr)
            throw std::bad_alloc();
        return static_cast<T *>(block);
    }
    void deallocate(T *block, std::size_t) noexcept {
        GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(block));
    }

    template <class U> bool operator==(const TLibSTLAllocator<U> &) const noexcept {
        return true;
    }
};

} // namespace vlib

template <class T> using TLibVector = std::vector<T, vlib::TLibSTLAllocator<T>>;
template <class T> using TLibList = std::list<T, vlib::TLibSTLAllocator<T>>;
template <class K, class V, class Less = std::less<K>>
using TLibMap = std::map<K, V, Less, vlib::TLibSTLAllocator<std::pair<const K, V>>>;
template <class K, class Less = std::less<K>>
using TLibSet = std::set<K, Less, vlib::TLibSTLAllocator<K>>;
