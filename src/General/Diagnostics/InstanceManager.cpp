// TInstanceManager: a short vector of ranges searched linearly, as owners are few.
#include "General/Diagnostics/InstanceManager.h"

TInstanceRange *TInstanceManager::FindRange(void *owner) {
    for (TInstanceRange &range : m_Ranges)
        if (range.owner == owner)
            return &range;
    return nullptr;
}

const TInstanceRange *TInstanceManager::FindRange(void *owner) const {
    for (const TInstanceRange &range : m_Ranges)
        if (range.owner == owner)
            return &range;
    return nullptr;
}

void *const *TInstanceManager::Slot(const TInstanceRange &range, uint32_t index) {
    if (range.pointers.empty() || index < range.first || index > range.last)
        return nullptr;
    return &range.pointers[index - range.first];
}

void TInstanceManager::AddInstance(void *owner, void *pointer, unsigned long index) {
    const uint32_t at = static_cast<uint32_t>(index);
    TInstanceRange *range = FindRange(owner);
    if (range == nullptr) {
        TInstanceRange fresh;
        fresh.first = at;
        fresh.last = at;
        fresh.pointers.push_back(pointer);
        fresh.owner = owner;
        fresh.count = 1;
        m_Ranges.push_back(std::move(fresh));
        return;
    }
    if (at < range->first) {
        // Grow at the front: the pointer, nulls up to the old first, then the old slots.
        range->pointers.insert(range->pointers.begin(), range->first - at, nullptr);
        range->pointers[0] = pointer;
        range->first = at;
    } else if (at > range->last) {
        range->pointers.resize(range->pointers.size() + (at - range->last), nullptr);
        range->pointers.back() = pointer;
        range->last = at;
    } else {
        range->pointers[at - range->first] = pointer;
    }
    range->count += 1;
}

void TInstanceManager::RemoveInstance(void *owner, unsigned long index) {
    for (auto it = m_Ranges.begin(); it != m_Ranges.end(); ++it) {
        if (it->owner != owner)
            continue;
        const uint32_t at = static_cast<uint32_t>(index);
        if (at < it->first || at > it->last)
            return;
        it->pointers[at - it->first] = nullptr;
        if (--it->count <= 0)
            m_Ranges.erase(it); // later ranges move down and keep their order
        return;
    }
}

void TInstanceManager::SetOwner(unsigned long index, void *owner) {
    const uint32_t at = static_cast<uint32_t>(index);
    for (size_t i = 0; i < m_Ranges.size(); ++i) {
        void *const *slot = Slot(m_Ranges[i], at);
        if (slot == nullptr || *slot == nullptr)
            continue;
        void *pointer = *slot;
        // AddInstance may append a range and move the vector: find the slot again after it.
        AddInstance(owner, pointer, index);
        m_Ranges[i].pointers[at - m_Ranges[i].first] = nullptr;
        return;
    }
}

int TInstanceManager::CountInstances(unsigned long index) const {
    int count = 0;
    for (const TInstanceRange &range : m_Ranges) {
        void *const *slot = Slot(range, static_cast<uint32_t>(index));
        if (slot != nullptr && *slot != nullptr)
            ++count;
    }
    return count;
}

void *TInstanceManager::GetPointer(unsigned long index, void *owner) const {
    const TInstanceRange *range = FindRange(owner);
    if (range == nullptr)
        return nullptr;
    void *const *slot = Slot(*range, static_cast<uint32_t>(index));
    return slot != nullptr ? *slot : nullptr;
}

void *TInstanceManager::GetFirstOwner(unsigned long index, void **pointer) const {
    for (const TInstanceRange &range : m_Ranges) {
        void *const *slot = Slot(range, static_cast<uint32_t>(index));
        if (slot == nullptr || *slot == nullptr)
            continue;
        if (pointer != nullptr)
            *pointer = *slot;
        return range.owner;
    }
    return nullptr;
}

unsigned long TInstanceManager::GetNextIndex(void *owner) const {
    const TInstanceRange *range = FindRange(owner);
    return range != nullptr ? static_cast<uint32_t>(range->last + 1u) : 0ul;
}
