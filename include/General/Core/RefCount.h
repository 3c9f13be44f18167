// The two intrusive reference-count bases and the countable member. Counts are plain ints:
// a counted object belongs to one thread at a time, or to the lock of the class that owns it.
#pragma once

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"

/// Starts at 1 (the creator's reference); Release at 0 destroys the object.
class VLIB_API TRefCount : public TBaseAllocator {
public:
    TRefCount() = default;
    TRefCount(const TRefCount &other) = default;
    TRefCount &operator=(const TRefCount &other) = default;
    virtual ~TRefCount();

    void AddRef() { ++m_RefCount; }
    /// Drops one reference; at 0 the object is destroyed through its virtual destructor.
    void Release() {
        if (--m_RefCount == 0)
            delete this;
    }
    int GetRefCount() const { return m_RefCount; }
    void LogDB() {}

private:
    int m_RefCount = 1;
};

/// Starts at 0; ReleaseRef at 0 calls DeleteMe, which a derived class may override to recycle.
class VLIB_API TRefCount2 : public TBaseAllocator {
public:
    TRefCount2() = default;
    TRefCount2(const TRefCount2 &) = default;
    TRefCount2 &operator=(const TRefCount2 &) = default;
    virtual ~TRefCount2();
    virtual void DeleteMe();

    /// `who` labels the holder; it is accepted and not stored.
    int AddRef(const char *who = nullptr) {
        (void)who;
        return ++m_RefCount;
    }
    int ReleaseRef(const char *who = nullptr) {
        (void)who;
        int count = --m_RefCount;
        if (count == 0)
            DeleteMe();
        return count;
    }
    int GetRefCount() const { return m_RefCount; }

private:
    int m_RefCount = 0;
};

/// A count to embed in a class that decides itself what happens at 0; deletes nothing.
class VLIB_API TRefCount2Member {
public:
    int AddRef(const char * = nullptr) { return ++m_RefCount; }
    int ReleaseRef(const char * = nullptr) { return --m_RefCount; }
    int GetRefCount() const { return m_RefCount; }
    void Debug() {}

private:
    int m_RefCount = 0;
};

/// No holders are recorded, so there is never an unmatched one to name.
VLIB_API const char *GetUnmatchedRefs(TRefCount2Member *member);
