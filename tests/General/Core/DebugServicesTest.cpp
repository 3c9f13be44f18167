#include "General/Core/DebugServices.h"

#include <string>

#include <gtest/gtest.h>

#include "General/Core/LibAllocator.h"
#include "General/Platform/DebugOutput.h"

namespace {
class CaptureCopy : public TFormatDebugCopy {
public:
    void OutputFDString(const char *text) override { m_Text += text; }
    std::string m_Text;
};
} // namespace

TEST(DebugServices, CopiesReceiveDebugTextUntilRemoved) {
    CaptureCopy a, b;
    auto &copies = GetFormatDebugCopies();
    const int before = copies.GetCount();
    copies.AddCopy(&a);
    copies.AddCopy(&b);
    copies.AddCopy(&a); // registering twice keeps one entry
    EXPECT_EQ(copies.GetCount(), before + 2);
    OutputDebugStringA("one\n");
    EXPECT_TRUE(copies.RemoveCopy(&a));
    EXPECT_FALSE(copies.RemoveCopy(&a));
    OutputDebugStringA("two\n");
    EXPECT_TRUE(copies.RemoveCopy(&b));
    EXPECT_EQ(a.m_Text, "one\n");
    EXPECT_EQ(b.m_Text, "one\ntwo\n");
}

TEST(DebugServices, ExpandMsgFormatsIntoAReusedBuffer) {
    char *first = _VarnelExpandMsg("Bad install: %s not found", "data/game.ini");
    EXPECT_STREQ(first, "Bad install: data/game.ini not found");
    char *second = _VarnelExpandMsg("%d-%d", 1, 2);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(second, "1-2");
}

TEST(DebugServices, AlertReachesTheCopies) {
    CaptureCopy copy;
    GetFormatDebugCopies().AddCopy(&copy);
    TDbgMsgPriority priority(8, 3, 4);
    char title[] = "Fatal Error";
    char text[] = "Bad install: x not found";
    PopupAlert(priority, title, text);
    GetFormatDebugCopies().RemoveCopy(&copy);
    EXPECT_EQ(copy.m_Text, "Fatal Error: Bad install: x not found\n");
}

TEST(DebugServices, SelectorsAndSwitchesKeepWhatTheyAreGiven) {
    GetDbgMsgSelector().Initialise("+all -render");
    EXPECT_STREQ(GetDbgMsgSelector().GetFilter(), "+all -render");
    GetAssertMsgSelector().Initialise(nullptr);
    EXPECT_STREQ(GetAssertMsgSelector().GetFilter(), "");
    TDebugServices::SetViewAlerts(2);
    EXPECT_EQ(TDebugServices::GetViewAlerts(), 2);
    TDebugServices::SetViewAlerts(0);
    (void)GetAllocatorInstance();
    EXPECT_TRUE(TViewStack::IsInitialised()) << "the allocator starts the view stack";
}
