// Event triggers and their registry. Triggers are registered during static construction, so
// nothing here locks.
#include "General/Diagnostics/EventTrigger.h"

#include <algorithm>

#include "General/Core/StrToID.h"

IEventMonitor::~IEventMonitor() = default;

TEventTrigger::TEventTrigger(const char *name)
    : m_ID(name == nullptr || name[0] == '\0' ? 0u : StrToID(name)) {
    GetEventMonitor().RegisterTrigger(this);
}

TEventTrigger::~TEventTrigger() {
    GetEventMonitor().UnregisterTrigger(this);
}

int TEventTrigger::Trigger(const void *data) {
    int result = 0;
    for (IEventMonitor *monitor : m_Monitors) {
        const int answer = monitor->OnTrigger(m_ID, data);
        if (result == 0)
            result = answer;
    }
    return result;
}

void TEventTrigger::AddMonitor(IEventMonitor *monitor) {
    m_Monitors.push_back(monitor);
}

void TEventTrigger::RemoveMonitor(IEventMonitor *monitor) {
    auto it = std::find(m_Monitors.begin(), m_Monitors.end(), monitor);
    if (it != m_Monitors.end())
        m_Monitors.erase(it);
}

void TEventMonitor::AddMonitor(unsigned long id, IEventMonitor *monitor) {
    for (TEventTrigger *trigger : m_Triggers)
        if (trigger->m_ID == static_cast<uint32_t>(id))
            trigger->AddMonitor(monitor);
}

void TEventMonitor::RemoveMonitor(unsigned long id, IEventMonitor *monitor) {
    for (TEventTrigger *trigger : m_Triggers)
        if (trigger->m_ID == static_cast<uint32_t>(id))
            trigger->RemoveMonitor(monitor);
}

void TEventMonitor::RegisterTrigger(TEventTrigger *trigger) {
    for (TEventTrigger *known : m_Triggers)
        if (known == trigger || known->m_ID == trigger->m_ID)
            return;
    m_Triggers.push_back(trigger);
}

void TEventMonitor::UnregisterTrigger(TEventTrigger *trigger) {
    auto it = std::find(m_Triggers.begin(), m_Triggers.end(), trigger);
    if (it != m_Triggers.end())
        m_Triggers.erase(it);
}

TEventMonitor &NotInlinedSingletonTEventMonitor() {
    static TEventMonitor monitor;
    return monitor;
}
