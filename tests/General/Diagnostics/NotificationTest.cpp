#include "General/Diagnostics/Notification.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Core/LibAllocator.h"

namespace {

struct TPing {
    int value = 0;
    std::vector<std::string> *log = nullptr;
};
struct TPong {
    int value = 0;
};

int gHandlersAlive = 0;

// Appends its name to the payload's log and may veto by writing into it.
class TLogHandler : public TNotificationHandler {
public:
    TLogHandler(const char *name, uint32_t key, int add = 0)
        : m_Name(name), m_Key(key), m_Add(add) {
        ++gHandlersAlive;
    }
    ~TLogHandler() override { --gHandlersAlive; }
    void Handle(const void *payload) override {
        auto *ping = static_cast<TPing *>(const_cast<void *>(payload));
        if (ping->log != nullptr)
            ping->log->push_back(m_Name);
        ping->value += m_Add;
    }
    uint32_t GetKey() override { return m_Key; }

private:
    std::string m_Name;
    uint32_t m_Key;
    int m_Add;
};

// Unsubscribes its own key from inside Handle.
class TSelfRemovingHandler : public TNotificationHandler {
public:
    explicit TSelfRemovingHandler(uint32_t key) : m_Key(key) { ++gHandlersAlive; }
    ~TSelfRemovingHandler() override { --gHandlersAlive; }
    void Handle(const void *payload) override {
        GetNotificationManager().Unsubscribe(typeid(TPing), m_Key);
        static_cast<TPing *>(const_cast<void *>(payload))->value += 100;
    }
    uint32_t GetKey() override { return m_Key; }

private:
    uint32_t m_Key;
};

struct TListener {
    void OnPong(TPong &pong) { received += pong.value; }
    int received = 0;
};

} // namespace

TEST(NotificationManager, HandlersRunInOrderOfSubscriptionAndMayWriteBack) {
    TNotificationManager_I &manager = GetNotificationManager();
    const int before = gHandlersAlive;
    manager.Subscribe(typeid(TPing), new TLogHandler("a", 1, 1));
    manager.Subscribe(typeid(TPong), new TLogHandler("other type", 1));
    manager.Subscribe(typeid(TPing), new TLogHandler("b", 2, 10));
    manager.Subscribe(typeid(TPing), new TLogHandler("c", 1, 100));

    std::vector<std::string> log;
    TPing ping{0, &log};
    SendNotification(ping);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(ping.value, 111);

    // Every handler of the key goes, and is deleted; the other key and type stay.
    manager.Unsubscribe(typeid(TPing), 1);
    EXPECT_EQ(gHandlersAlive, before + 2);
    log.clear();
    SendNotification(ping);
    EXPECT_EQ(log, (std::vector<std::string>{"b"}));
    manager.Unsubscribe(typeid(TPing), 2);
    manager.Unsubscribe(typeid(TPong), 1);
    EXPECT_EQ(gHandlersAlive, before);
}

TEST(NotificationManager, NobodyListeningAndUnknownKeysDoNothing) {
    TNotificationManager_I &manager = GetNotificationManager();
    struct TUnheard {
        int value = 5;
    } unheard;
    manager.Notify(typeid(TUnheard), &unheard);
    EXPECT_EQ(unheard.value, 5);
    const int count = manager.Subscribe(typeid(TPing), new TLogHandler("x", 7));
    manager.Unsubscribe(typeid(TPing), 8);
    manager.Unsubscribe(typeid(TPong), 7);
    EXPECT_EQ(manager.Subscribe(typeid(TPing), nullptr), count);
    manager.Unsubscribe(typeid(TPing), 7);
}

TEST(NotificationManager, SubscribeCountsTheHandlers) {
    TNotificationManager_I &manager = GetNotificationManager();
    const int first = manager.Subscribe(typeid(TPing), new TLogHandler("x", 9));
    EXPECT_EQ(manager.Subscribe(typeid(TPong), new TLogHandler("y", 9)), first + 1);
    manager.Unsubscribe(typeid(TPing), 9);
    manager.Unsubscribe(typeid(TPong), 9);
    EXPECT_EQ(manager.Subscribe(typeid(TPing), new TLogHandler("z", 9)), first);
    manager.Unsubscribe(typeid(TPing), 9);
}

TEST(NotificationManager, HandlerMayUnsubscribeItselfWhileRunning) {
    TNotificationManager_I &manager = GetNotificationManager();
    const int before = gHandlersAlive;
    manager.Subscribe(typeid(TPing), new TSelfRemovingHandler(20));
    manager.Subscribe(typeid(TPing), new TLogHandler("after", 21, 1));
    TPing ping;
    SendNotification(ping);
    EXPECT_EQ(ping.value, 101); // the handler behind it still ran
    EXPECT_EQ(gHandlersAlive, before + 1);
    ping.value = 0;
    SendNotification(ping);
    EXPECT_EQ(ping.value, 1);
    manager.Unsubscribe(typeid(TPing), 21);
    EXPECT_EQ(gHandlersAlive, before);
}

TEST(NotificationManager, MemberHandlerGetsTheTypedPayload) {
    TListener listener;
    SubscribeNotification<TPong>(&listener, &TListener::OnPong, 30);
    TPong pong{4};
    SendNotification(pong);
    SendNotification(pong);
    EXPECT_EQ(listener.received, 8);
    UnsubscribeNotification<TPong>(30);
    SendNotification(pong);
    EXPECT_EQ(listener.received, 8);
}

TEST(NotificationManager, HandlersLiveInTheLibraryHeap) {
    const size_t before = GetAllocatorInstance().GetLiveBlocks();
    TListener listener;
    SubscribeNotification<TPong>(&listener, &TListener::OnPong, 31);
    UnsubscribeNotification<TPong>(31);
    EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), before);
}
