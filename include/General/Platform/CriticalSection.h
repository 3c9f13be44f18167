// Re-entrant locks for one process. TCriticalSection is the everyday lock; the allocator's own
// lock is one, so its state never comes from the library heap. TCheckableCriticalSection adds
// questions that a plain lock cannot answer: is it held by another thread, and a try-lock.
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"

namespace vlib::detail {
struct TSectionState;
struct TCheckableState;
} // namespace vlib::detail

/// Re-entrant mutual exclusion; Lock and Release always succeed. As with the Windows object
/// it stands for, Release does not check which thread calls it.
class VLIB_API TCriticalSection {
public:
    TCriticalSection();
    TCriticalSection(const TCriticalSection &) = delete;
    TCriticalSection &operator=(const TCriticalSection &) = delete;
    virtual ~TCriticalSection();
    virtual TError Release();
    virtual TError Lock();

private:
    vlib::detail::TSectionState *m_Section; // owned; made with the runtime's new
};

/// A critical section that can say whether another thread holds or waits for it.
class VLIB_API TCheckableCriticalSection : public TCriticalSection {
public:
    TCheckableCriticalSection();
    ~TCheckableCriticalSection() override;
    /// Fails with 0x10000 if the calling thread does not hold the section.
    TError Release() override;
    TError Lock() override;
    /// Takes the section if no other thread holds or waits for it; never blocks on another
    /// thread. The owner always succeeds, one level deeper.
    TError TryLock(bool &locked);
    /// True if another thread holds or waits for the section.
    TError IsLocked(bool &locked);

private:
    vlib::detail::TCheckableState *m_State; // owned
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
