// A re-entrant lock for one process. The allocator's own lock is one of these, so it never
// allocates through the library heap: its system object comes from the runtime's `new`.
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"

/// Re-entrant mutual exclusion; Lock and Release always succeed.
class VLIB_API TCriticalSection {
public:
    TCriticalSection();
    TCriticalSection(const TCriticalSection &) = delete;
    TCriticalSection &operator=(const TCriticalSection &) = delete;
    virtual ~TCriticalSection();
    virtual TError Release();
    virtual TError Lock();

private:
    void *m_Section; // owned: the system lock object
};

namespace vlib {
/// Holds a TCriticalSection for the life of a scope.
class TCriticalSectionGuard {
public:
    explicit TCriticalSectionGuard(TCriticalSection &section) : m_Section(section) {
        (void)m_Section.Lock(); // always succeeds
    }
    ~TCriticalSectionGuard() { (void)m_Section.Release(); }
    TCriticalSectionGuard(const TCriticalSectionGuard &) = delete;
    TCriticalSectionGuard &operator=(const TCriticalSectionGuard &) = delete;

private:
    TCriticalSection &m_Section; // not owned
};
} // namespace vlib
