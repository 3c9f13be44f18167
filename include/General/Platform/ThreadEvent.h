// An event one thread sets and others wait for, as the worker threads use to sleep until
// there is work. Auto-reset events wake one waiter per Set; manual-reset events stay set and
// wake every waiter until Reset.
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Platform/Time.h"

namespace vlib::detail {
struct TEventState;
} // namespace vlib::detail

/// A settable event; starts unsignalled.
class VLIB_API TThreadEvent {
public:
    explicit TThreadEvent(bool manualReset);
    TThreadEvent(const TThreadEvent &) = delete;
    TThreadEvent &operator=(const TThreadEvent &) = delete;
    ~TThreadEvent();

    /// Signals the event. Failure 0x10000 if the event could not be created.
    TError Set();
    /// Clears the signal of a manual-reset event (an auto-reset one clears itself).
    TError Reset();
    /// Waits for ever for the signal; an auto-reset event is cleared by the wake-up.
    TError Wait();
    /// Waits at most `timeout`; `signalled` says whether the signal came.
    TError Wait(TTime timeout, bool &signalled);

private:
    vlib::detail::TEventState *m_Handle; // owned; null if it could not be made
};
