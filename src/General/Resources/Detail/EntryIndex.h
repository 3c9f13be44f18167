// A hash index of a bank's entries by resource id, kept beside the id-ordered map that the
// walks need: lookups, the hot path of every import, probe one or two slots instead of
// descending a tree. Open addressing with linear probing; removal shifts the run back.
#pragma once

#include <cstddef>
#include <cstdint>

#include "General/Core/LibContainers.h"

namespace vlib::detail {

/// Maps ids to pointers; null pointers are not stored. Growing may throw std::bad_alloc and
/// then leaves the index as it was.
template <class T> class TIdIndex {
public:
    T *Find(uint32_t id) const {
        if (m_Slots.empty())
            return nullptr;
        for (size_t slot = Home(id);; slot = (slot + 1) & m_Mask) {
            const TSlot &at = m_Slots[slot];
            if (at.value == nullptr)
                return nullptr;
            if (at.id == id)
                return at.value;
        }
    }

    /// Adds or replaces the value of `id`.
    void Insert(uint32_t id, T *value) {
        if ((m_Count + 1) * 4 > m_Slots.size() * 3)
            Grow();
        size_t slot = Home(id);
        while (m_Slots[slot].value != nullptr && m_Slots[slot].id != id)
            slot = (slot + 1) & m_Mask;
        if (m_Slots[slot].value == nullptr)
            ++m_Count;
        m_Slots[slot] = {id, value};
    }

    void Erase(uint32_t id) {
        if (m_Slots.empty())
            return;
        size_t slot = Home(id);
        while (m_Slots[slot].value != nullptr && m_Slots[slot].id != id)
            slot = (slot + 1) & m_Mask;
        if (m_Slots[slot].value == nullptr)
            return;
        // Shift later members of the run back so that no probe stops short of them.
        size_t hole = slot;
        for (size_t next = (hole + 1) & m_Mask; m_Slots[next].value != nullptr;
             next = (next + 1) & m_Mask) {
            const size_t home = Home(m_Slots[next].id);
            // Move it when its home does not lie cyclically in (hole, next].
            const bool between =
                hole <= next ? (hole < home && home <= next) : (hole < home || home <= next);
            if (!between) {
                m_Slots[hole] = m_Slots[next];
                hole = next;
            }
        }
        m_Slots[hole] = {};
        --m_Count;
    }

    void Clear() {
        m_Slots.clear();
        m_Slots.shrink_to_fit();
        m_Count = 0;
        m_Mask = 0;
    }
    size_t GetCount() const { return m_Count; }

private:
    struct TSlot {
        uint32_t id = 0;
        T *value = nullptr;
    };

    size_t Home(uint32_t id) const {
        // Ids are hashes already; the multiply spreads their low bits over the table.
        return static_cast<size_t>((id * 0x9E3779B1u) >> 7) & m_Mask;
    }

    void Grow() {
        const size_t capacity = m_Slots.empty() ? 64 : m_Slots.size() * 2;
        TLibVector<TSlot> bigger(capacity); // may throw: nothing has changed yet
        const size_t mask = capacity - 1;
        for (const TSlot &old : m_Slots) {
            if (old.value == nullptr)
                continue;
            size_t slot = static_cast<size_t>((old.id * 0x9E3779B1u) >> 7) & mask;
            while (bigger[slot].value != nullptr)
                slot = (slot + 1) & mask;
            bigger[slot] = old;
        }
        m_Slots.swap(bigger);
        m_Mask = mask;
    }

    TLibVector<TSlot> m_Slots;
    size_t m_Count = 0;
    size_t m_Mask = 0;
};

} // namespace vlib::detail
