// The ordered store: objects by id in a map, deleted lowest id first.
#include "General/Containers/RootMap.h"

TRootMap::~TRootMap() {
    DeleteAll();
}

TRootObject *TRootMap::GetObject(int id) {
    auto found = m_Objects.find(id);
    return found != m_Objects.end() ? found->second : nullptr;
}

void TRootMap::AddObject(TRootObject *object) {
    SetContainer(object, AllocateID());
    InsertObject(object);
}

void TRootMap::InsertObject(TRootObject *object) {
    const int id = object->GetID();
    m_Objects[id] = object;
    if (id >= m_NextID)
        m_NextID = NextAfter(id);
}

bool TRootMap::RemoveObject(TRootObject *object) {
    // By id only: whatever object holds the id now is the entry that goes.
    auto found = m_Objects.find(object->GetID());
    if (found == m_Objects.end())
        return false;
    if (m_Cursor == found)
        ++m_Cursor;
    ClearContainer(object);
    m_Objects.erase(found);
    return true;
}

void TRootMap::DeleteAll() {
    ++DoNotDeleteDependencies;
    while (!m_Objects.empty()) {
        TRootObject *first = m_Objects.begin()->second;
        if (first->GetContainer() == this) {
            first->Delete(); // leaves the map through RemoveObject
        } else {
            // An object entered under another container's name: it cannot find its way back
            // here, so take it out by hand before destroying it.
            m_Objects.erase(m_Objects.begin());
            ClearContainer(first);
            Delete(first);
        }
    }
    m_Cursor = m_Objects.end();
    m_NextID = 0;
    --DoNotDeleteDependencies;
}

void TRootMap::NextCursor() {
    if (m_Cursor != m_Objects.end())
        ++m_Cursor;
}

TRootObject *TRootMap::GetCursor() {
    return m_Cursor != m_Objects.end() ? m_Cursor->second : nullptr;
}

void TRootMap::PushCursor() {
    m_CursorStack.push_back(m_Cursor);
    Lock();
}

void TRootMap::PopCursor() {
    if (!m_CursorStack.empty()) {
        m_Cursor = m_CursorStack.back();
        m_CursorStack.pop_back();
    }
    Unlock();
}
