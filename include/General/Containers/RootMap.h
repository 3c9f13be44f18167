// A container that keeps its objects ordered by id in a map.
#pragma once

#include "General/Containers/RootContainer.h"

/// Objects by ascending id; the walk follows the ids.
class VLIB_API TRootMap : public TRootContainer {
public:
    TRootMap() : m_Cursor(m_Objects.end()) {}
    ~TRootMap() override;

    TRootObject *GetObject(int id) override;
    void AddObject(TRootObject *object) override;
    bool RemoveObject(TRootObject *object) override;
    void DeleteAll() override;
    int Size() override { return static_cast<int>(m_Objects.size()); }
    int GetType() override { return 0; }
    void Initialise() override {}
    void ResetCursor() override { m_Cursor = m_Objects.begin(); }
    void NextCursor() override;
    TRootObject *GetCursor() override;
    void PushCursor() override;
    void PopCursor() override;
    void Lock() override {}
    void Unlock() override {}
    bool IsLocked() override { return false; }
    /// The next id to be allocated.
    int GetIDCount() const { return m_NextID; }

protected:
    int AllocateID() override {
        const int id = m_NextID;
        m_NextID = NextAfter(id);
        return id;
    }
    void InsertObject(TRootObject *object) override;

private:
    using TObjects = TLibMap<int, TRootObject *>;
    TObjects m_Objects; // owned objects
    TObjects::iterator m_Cursor;
    TLibVector<TObjects::iterator> m_CursorStack;
    int m_NextID = 0;
};
