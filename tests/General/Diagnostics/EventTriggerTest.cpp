#include "General/Diagnostics/EventTrigger.h"

#include <vector>

#include <gtest/gtest.h>

#include "General/Core/StrToID.h"

namespace {

// Records its calls and answers with a fixed value.
class TRecordingMonitor : public IEventMonitor {
public:
    explicit TRecordingMonitor(int answer = 0, std::vector<int> *order = nullptr, int tag = 0)
        : m_Answer(answer), m_Order(order), m_Tag(tag) {}
    int OnTrigger(uint32_t id, const void *data) override {
        calls.push_back({id, data});
        if (m_Order != nullptr)
            m_Order->push_back(m_Tag);
        return m_Answer;
    }

    struct Call {
        uint32_t id;
        const void *data;
    };
    std::vector<Call> calls;

private:
    int m_Answer;
    std::vector<int> *m_Order;
    int m_Tag;
};

// Attaching before this trigger exists must have no effect; the test below checks it.
TRecordingMonitor gEarlyMonitor;
const bool gEarlyAttach = [] {
    GetEventMonitor().AddMonitor(StrToID("EventTriggerTest.Late"), &gEarlyMonitor);
    return true;
}();
TEventTrigger gLateTrigger("EventTriggerTest.Late");

TEventTrigger gFirstOfName("EventTriggerTest.Twin");
TEventTrigger gSecondOfName("EventTriggerTest.Twin");

} // namespace

TEST(EventTrigger, IdIsTheHashOfTheName) {
    TEventTrigger trigger("EventTriggerTest.Id");
    EXPECT_EQ(trigger.GetID(), StrToID("EventTriggerTest.Id"));
    TEventTrigger unnamed("");
    EXPECT_EQ(unnamed.GetID(), 0u);
    TEventTrigger null(nullptr);
    EXPECT_EQ(null.GetID(), 0u);
}

TEST(EventTrigger, WithoutMonitorsTheResultIsZero) {
    TEventTrigger trigger("EventTriggerTest.Quiet");
    int data = 0;
    EXPECT_EQ(trigger.Trigger(&data), 0);
}

TEST(EventTrigger, FirstNonZeroAnswerWinsAndEveryoneIsCalled) {
    TEventTrigger trigger("EventTriggerTest.Answers");
    std::vector<int> order;
    TRecordingMonitor zero(0, &order, 1), five(5, &order, 2), seven(7, &order, 3);
    for (TRecordingMonitor *m : {&zero, &five, &seven})
        GetEventMonitor().AddMonitor(trigger.GetID(), m);
    const char *data = "payload";
    EXPECT_EQ(trigger.Trigger(data), 5);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
    ASSERT_EQ(seven.calls.size(), 1u);
    EXPECT_EQ(seven.calls[0].id, trigger.GetID());
    EXPECT_EQ(seven.calls[0].data, data);
}

TEST(EventTrigger, RemoveTakesOutTheFirstEntryOnly) {
    TEventTrigger trigger("EventTriggerTest.Remove");
    TRecordingMonitor monitor(3);
    GetEventMonitor().AddMonitor(trigger.GetID(), &monitor);
    GetEventMonitor().AddMonitor(trigger.GetID(), &monitor);
    GetEventMonitor().RemoveMonitor(trigger.GetID(), &monitor);
    EXPECT_EQ(trigger.Trigger(nullptr), 3);
    EXPECT_EQ(monitor.calls.size(), 1u);
    GetEventMonitor().RemoveMonitor(trigger.GetID(), &monitor);
    EXPECT_EQ(trigger.Trigger(nullptr), 0);
    EXPECT_EQ(monitor.calls.size(), 1u);
}

TEST(EventTrigger, MonitorAttachedBeforeTheTriggerExistedHearsNothing) {
    ASSERT_TRUE(gEarlyAttach);
    EXPECT_EQ(gLateTrigger.Trigger(nullptr), 0);
    EXPECT_TRUE(gEarlyMonitor.calls.empty());
}

TEST(EventTrigger, SecondTriggerOfANameStaysUnknown) {
    TRecordingMonitor monitor(1);
    GetEventMonitor().AddMonitor(gFirstOfName.GetID(), &monitor);
    EXPECT_EQ(gFirstOfName.Trigger(nullptr), 1);
    EXPECT_EQ(gSecondOfName.Trigger(nullptr), 0);
    GetEventMonitor().RemoveMonitor(gFirstOfName.GetID(), &monitor);
}

TEST(EventTrigger, DestroyedTriggerLeavesTheRegistry) {
    const uint32_t id = StrToID("EventTriggerTest.Scoped");
    TRecordingMonitor monitor(1);
    { TEventTrigger scoped("EventTriggerTest.Scoped"); }
    // The name is free again, and attaching walks no dangling trigger.
    TEventTrigger again("EventTriggerTest.Scoped");
    GetEventMonitor().AddMonitor(id, &monitor);
    EXPECT_EQ(again.Trigger(nullptr), 1);
    GetEventMonitor().RemoveMonitor(id, &monitor);
}
