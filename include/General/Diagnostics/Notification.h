// Notifications: typed structures sent to every handler subscribed to their type. A sender
// calls Notify with the structure's run-time type and its address; handlers run at once, on
// the sender's thread, and may write into the payload, which is how a receiver answers back.
// Sending to a type that nobody listens to costs one map look-up.
#pragma once

#include <cstdint>
#include <typeinfo>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"

/// A receiver of one type of notification. Handlers belong to the manager once subscribed:
/// it deletes them on Unsubscribe and at its own end, so make them with `new`.
class VLIB_API TNotificationHandler : public TBaseAllocator {
public:
    TNotificationHandler() = default;
    TNotificationHandler(const TNotificationHandler &) = delete;
    TNotificationHandler &operator=(const TNotificationHandler &) = delete;
    virtual ~TNotificationHandler();

    /// Receives the sender's payload, which it may write into.
    virtual void Handle(const void *payload) = 0;
    /// Identifies the subscriber, for Unsubscribe.
    virtual uint32_t GetKey() = 0;
};

/// The dispatcher of notifications; reach it through GetNotificationManager().
class VLIB_API TNotificationManager_I : public TBaseAllocator {
public:
    virtual ~TNotificationManager_I();
    /// Calls Handle of every handler of `type`, in order of subscription.
    virtual void Notify(const std::type_info &type, const void *payload) = 0;
    /// Adds a handler after those of the same type and takes it over; returns the number of
    /// handlers now subscribed. A null handler is not added.
    virtual int Subscribe(const std::type_info &type, TNotificationHandler *handler) = 0;
    /// Deletes every handler of `type` whose key is `key`. Safe inside a handler: handlers
    /// taken out during a notification are deleted when it has finished.
    virtual void Unsubscribe(const std::type_info &type, uint32_t key) = 0;
};

/// The notification manager of the process, made on first use and destroyed at exit.
VLIB_API VLIB_NOINLINE TNotificationManager_I &GetNotificationManager();

/// Sends `payload` to the handlers of its type.
template <class TPayload> void SendNotification(TPayload &payload) {
    GetNotificationManager().Notify(typeid(TPayload), &payload);
}

/// A handler that passes the payload, typed, to a member function of a listener it does not
/// own. The listener must outlive the subscription.
template <class TPayload, class TListener>
class TMemberNotificationHandler : public TNotificationHandler {
public:
    using TMethod = void (TListener::*)(TPayload &);

    TMemberNotificationHandler(TListener *listener, TMethod method, uint32_t key)
        : m_Listener(listener), m_Method(method), m_Key(key) {}

    void Handle(const void *payload) override {
        // The manager calls this only for payloads of type TPayload, which the sender owns.
        (m_Listener->*m_Method)(*static_cast<TPayload *>(const_cast<void *>(payload)));
    }
    uint32_t GetKey() override { return m_Key; }

private:
    TListener *m_Listener; // not owned
    TMethod m_Method;
    uint32_t m_Key;
};

/// Subscribes `listener->method` to notifications of type TPayload under `key`.
template <class TPayload, class TListener>
int SubscribeNotification(TListener *listener, void (TListener::*method)(TPayload &),
                          uint32_t key) {
    return GetNotificationManager().Subscribe(
        typeid(TPayload),
        new TMemberNotificationHandler<TPayload, TListener>(listener, method, key));
}

/// Unsubscribes the handlers of type TPayload with `key`.
template <class TPayload> void UnsubscribeNotification(uint32_t key) {
    GetNotificationManager().Unsubscribe(typeid(TPayload), key);
}
