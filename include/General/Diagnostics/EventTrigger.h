// Event triggers: named static points in the code that monitors attach to by id, so that a
// module can watch another without depending on it. Triggers register with the one event
// monitor of the process as they are constructed; a monitor reaches only triggers that exist
// by the time it attaches.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"

class TEventMonitor;

/// Implemented by whoever wants to hear of a trigger.
class VLIB_API IEventMonitor {
public:
    /// Called with the trigger's id and the data given to Trigger; a non-zero answer is what
    /// Trigger returns if no earlier monitor answered non-zero.
    virtual int OnTrigger(uint32_t id, const void *data) = 0;
    virtual ~IEventMonitor();
};

/// A named point in the code. Define triggers as static objects: they register themselves
/// while the module loads. The id of a null or empty name is 0.
class VLIB_API TEventTrigger : public TBaseAllocator {
public:
    explicit TEventTrigger(const char *name);
    /// Takes the trigger out of the monitor's list, so no dangling trigger stays behind.
    ~TEventTrigger();
    TEventTrigger(const TEventTrigger &) = delete;
    TEventTrigger &operator=(const TEventTrigger &) = delete;

    /// Calls every attached monitor in order of attachment; returns the first non-zero
    /// answer, or 0.
    int Trigger(const void *data);
    uint32_t GetID() const { return m_ID; }

private:
    friend class TEventMonitor;

    void AddMonitor(IEventMonitor *monitor);
    /// Removes the first entry equal to `monitor`.
    void RemoveMonitor(IEventMonitor *monitor);

    uint32_t m_ID;
    TLibList<IEventMonitor *> m_Monitors; // not owned
};

/// The registry of triggers; reach it through GetEventMonitor().
class VLIB_API TEventMonitor : public TBaseAllocator {
public:
    TEventMonitor() = default;
    TEventMonitor(const TEventMonitor &) = delete;
    TEventMonitor &operator=(const TEventMonitor &) = delete;

    /// Attaches `monitor` to every registered trigger with this id; an id that no trigger has
    /// changes nothing.
    void AddMonitor(unsigned long id, IEventMonitor *monitor);
    /// Detaches the first entry of `monitor` from every registered trigger with this id.
    void RemoveMonitor(unsigned long id, IEventMonitor *monitor);

private:
    friend class TEventTrigger;

    /// Keeps a trigger unless one with the same address or the same id is registered.
    void RegisterTrigger(TEventTrigger *trigger);
    void UnregisterTrigger(TEventTrigger *trigger);

    TLibList<TEventTrigger *> m_Triggers; // not owned
};

/// Holds the one event monitor; not inlined so every module sees this library's.
VLIB_API VLIB_NOINLINE TEventMonitor &NotInlinedSingletonTEventMonitor();

/// The event monitor of the process.
inline TEventMonitor &GetEventMonitor() {
    static TEventMonitor &rObject = NotInlinedSingletonTEventMonitor();
    return rObject;
}
