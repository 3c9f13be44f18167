// The notification manager: a multimap from run-time type to handler, ordered by
// type_info::before, so the handlers of one type sit together in order of subscription.
// Handlers unsubscribed while a notification runs (possibly themselves) are only marked dead,
// and deleted once the outermost notification has returned; marking needs no allocation.
#include "General/Diagnostics/Notification.h"

#include <map>

#include "General/Core/LibContainers.h"

namespace {

struct TTypeBefore {
    bool operator()(const std::type_info *a, const std::type_info *b) const {
        return a->before(*b);
    }
};

class TNotificationManager final : public TNotificationManager_I {
public:
    TNotificationManager() = default;
    ~TNotificationManager() override;

    void Notify(const std::type_info &type, const void *payload) override;
    int Subscribe(const std::type_info &type, TNotificationHandler *handler) override;
    void Unsubscribe(const std::type_info &type, uint32_t key) override;

private:
    struct TSlot {
        TNotificationHandler *handler; // owned
        bool dead;                     // unsubscribed during a notification
    };
    using TEntry = std::pair<const std::type_info *const, TSlot>;
    using THandlerMap =
        std::multimap<const std::type_info *, TSlot, TTypeBefore, vlib::TLibSTLAllocator<TEntry>>;

    /// Deletes the handlers marked dead and drops their entries.
    void Purge();

    THandlerMap m_Handlers;
    int m_Live = 0;  // entries not marked dead
    int m_Dead = 0;  // entries marked dead
    int m_Depth = 0; // notifications running
};

TNotificationManager::~TNotificationManager() {
    for (TEntry &entry : m_Handlers)
        delete entry.second.handler;
}

void TNotificationManager::Notify(const std::type_info &type, const void *payload) {
    auto it = m_Handlers.lower_bound(&type);
    if (it == m_Handlers.end() || type.before(*it->first))
        return;
    ++m_Depth;
    // Handlers may subscribe or unsubscribe while we walk: a multimap keeps every other
    // iterator valid on insertion, and unsubscribing only marks entries here.
    for (; it != m_Handlers.end() && !type.before(*it->first); ++it)
        if (!it->second.dead)
            it->second.handler->Handle(payload);
    if (--m_Depth == 0 && m_Dead != 0)
        Purge();
}

int TNotificationManager::Subscribe(const std::type_info &type, TNotificationHandler *handler) {
    if (handler == nullptr)
        return m_Live;
    m_Handlers.emplace(&type, TSlot{handler, false}); // after the equal keys already there
    return ++m_Live;
}

void TNotificationManager::Unsubscribe(const std::type_info &type, uint32_t key) {
    auto [it, end] = m_Handlers.equal_range(&type);
    while (it != end) {
        TSlot &slot = it->second;
        if (slot.dead || slot.handler->GetKey() != key) {
            ++it;
            continue;
        }
        --m_Live;
        if (m_Depth > 0) {
            slot.dead = true;
            ++m_Dead;
            ++it;
        } else {
            delete slot.handler;
            it = m_Handlers.erase(it);
        }
    }
}

void TNotificationManager::Purge() {
    for (auto it = m_Handlers.begin(); it != m_Handlers.end();) {
        if (it->second.dead) {
            delete it->second.handler;
            it = m_Handlers.erase(it);
        } else {
            ++it;
        }
    }
    m_Dead = 0;
}

} // namespace

TNotificationHandler::~TNotificationHandler() = default;
TNotificationManager_I::~TNotificationManager_I() = default;

TNotificationManager_I &GetNotificationManager() {
    static TNotificationManager manager;
    return manager;
}
