// TCheckableCriticalSection: the real section is the base class; a small inner section guards
// a record of who holds and who waits, so the questions can be answered without blocking.
// The real section is never entered with the inner one held, except in TryLock, where the
// record has shown that entering cannot block.
#include "General/Platform/CriticalSection.h"

#include <cstdint>

#include "General/Platform/Detail/ThreadIdentity.h"

namespace vlib::detail {

struct TCheckableState {
    TCriticalSection inner; // guards the fields below
    int lockCount = 0;      // threads holding or waiting, with recursion
    int heldCount = 0;      // recursive holds by the owner
    uintptr_t owner = 0;

    bool HeldOrAwaitedByOthers(uintptr_t self) const {
        return lockCount > 0 && (heldCount < 1 || owner != self);
    }
    void NoteHeld(uintptr_t self) {
        if (++heldCount == 1)
            owner = self;
    }
};

} // namespace vlib::detail

using vlib::TCriticalSectionGuard;
using vlib::detail::CurrentThreadIdentity;

// The record is a system object as the section is, so it comes from the runtime's new.
TCheckableCriticalSection::TCheckableCriticalSection()
    : m_State(new vlib::detail::TCheckableState) {}

TCheckableCriticalSection::~TCheckableCriticalSection() {
    delete m_State;
}

TError TCheckableCriticalSection::Lock() {
    const uintptr_t self = CurrentThreadIdentity();
    {
        TCriticalSectionGuard guard(m_State->inner);
        ++m_State->lockCount;
    }
    (void)TCriticalSection::Lock(); // may block; always succeeds
    TCriticalSectionGuard guard(m_State->inner);
    m_State->NoteHeld(self);
    return TError(TError::kSuccess);
}

TError TCheckableCriticalSection::Release() {
    const uintptr_t self = CurrentThreadIdentity();
    TCriticalSectionGuard guard(m_State->inner);
    if (m_State->heldCount < 1 || m_State->owner != self)
        return TError(TError::kFailure);
    --m_State->lockCount;
    if (--m_State->heldCount == 0)
        m_State->owner = 0;
    return TCriticalSection::Release();
}

TError TCheckableCriticalSection::TryLock(bool &locked) {
    const uintptr_t self = CurrentThreadIdentity();
    TCriticalSectionGuard guard(m_State->inner);
    if (m_State->HeldOrAwaitedByOthers(self)) {
        locked = false;
        return TError(TError::kSuccess);
    }
    ++m_State->lockCount;
    m_State->NoteHeld(self);
    (void)TCriticalSection::Lock(); // nobody else holds or waits: cannot block
    locked = true;
    return TError(TError::kSuccess);
}

TError TCheckableCriticalSection::IsLocked(bool &locked) {
    TCriticalSectionGuard guard(m_State->inner);
    locked = m_State->HeldOrAwaitedByOthers(CurrentThreadIdentity());
    return TError(TError::kSuccess);
}
