// Tests of the component base: its class record, the flag and list operations through which a
// tree is linked, the recursive bad test and the tab helper of the report.
#include "General/Components/Component.h"

#include <cstring>

#include <gtest/gtest.h>

#include "General/Components/ComponentManager.h"
#include "General/Streams/FileBuf.h"

namespace {

std::string processed; // names in the order Process ran

// A component that opens the protected operations to the tests.
class TProbeComponent : public TComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TProbeComponent)

public:
    bool ownBad = false; // what this class's own IsBad override adds

    bool IsBad() override { return ownBad || TComponent::IsBad(); }
    void CallInitialise() { Initialise(); }
    void CallUninitialise() { Uninitialise(); }
    void CallInitialiseBlank() { InitialiseBlank(); }
    void CallSetActive(bool active) { SetActive(active); }
    void CallSetBad(bool bad) { SetBad(bad); }
    static void CallMakeTab(int count, char *buffer) { MakeTab(count, buffer); }

protected:
    void Process() override { processed += (processed.empty() ? "" : ",") + Name(); }

private:
    std::string Name() const { return GetName().GetData(); }
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TProbeComponent, TComponent);

// Names of a component's children, or of its active list, in order.
std::string Names(const TComponent &parent) {
    std::string names;
    for (int i = 0; i < parent.GetNumChildren(); ++i)
        names += std::string(names.empty() ? "" : ",") + parent.GetChild(i)->GetName().GetData();
    return names;
}

class Component : public testing::Test {
protected:
    TProbeComponent *Make(const char *name) {
        return static_cast<TProbeComponent *>(builder.Make("TProbeComponent", name));
    }

    TComponentManager manager;
    TComponentTreeBuilder builder{manager};
};

} // namespace

TEST(ComponentClass, IsRegisteredUnderItsNameWithoutCreator) {
    TRuntimeClass *cls = TRuntimeClass::GetRuntimeClass("tcomponent");
    ASSERT_EQ(cls, &TComponent::ClassTComponent) << "names are found whatever their case";
    EXPECT_TRUE(cls->IsClass("TComponent"));
    EXPECT_EQ(cls->GetParent(), &TRootObject::ClassTRootObject);
    EXPECT_EQ(cls->CreateObject(), nullptr) << "a bare component cannot be made by name";

    TRuntimeClass *probe = TProbeComponent::GetRuntimeClassStatic();
    EXPECT_FALSE(probe->IsClass("TComponent"));
    EXPECT_TRUE(probe->IsSubclass("TComponent"));
    EXPECT_TRUE(cls->IsSubclass("TComponent"));
    EXPECT_TRUE(probe->IsSubclass("TRootObject"));
}

TEST_F(Component, StartsUnlinkedAndOutsideAnyContainer) {
    TProbeComponent *probe = Make("probe");
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(probe->GetID(), TRootObject::kNewID);
    EXPECT_EQ(probe->GetContainer(), nullptr);
    EXPECT_EQ(probe->GetRuntimeClass(), TProbeComponent::GetRuntimeClassStatic());
    EXPECT_EQ(probe->GetIndex(), -1);
    EXPECT_FALSE(probe->IsActive());
    EXPECT_FALSE(probe->IsInitialised());
    EXPECT_FALSE(probe->IsBad());
    EXPECT_EQ(probe->GetParameters(), nullptr);
    EXPECT_EQ(probe->GetChild(0), nullptr);
    EXPECT_EQ(probe->GetChild(-1), nullptr);
}

TEST_F(Component, BinaryStreamingWritesNothingAndFollowsTheBadFlag) {
    TProbeComponent *probe = Make("probe");
    TManagedFileBuf file;
    EXPECT_EQ(probe->WriteBinary(file).Unsuccessful(), 0u);
    EXPECT_EQ(probe->ReadBinary(file).Unsuccessful(), 0u);
    EXPECT_EQ(file.Length(), 0);
    file.SetBad();
    EXPECT_EQ(probe->WriteBinary(file).Unsuccessful(), TError::kFailure);
    EXPECT_EQ(probe->ReadBinary(file).Unsuccessful(), TError::kFailure);
}

TEST_F(Component, InitialiseFlagsFollowTheThreeOperations) {
    TProbeComponent *probe = Make("probe");
    probe->CallInitialise();
    EXPECT_TRUE(probe->IsInitialised());
    probe->CallUninitialise();
    EXPECT_FALSE(probe->IsInitialised());
    probe->CallInitialiseBlank();
    EXPECT_TRUE(probe->IsInitialised());
}

TEST_F(Component, BadRisesThroughTheTreeByTheVirtualTest) {
    TProbeComponent *root = Make("root");
    TProbeComponent *mid = Make("mid");
    TProbeComponent *leaf = Make("leaf");
    builder.AddChild(root, mid);
    builder.AddChild(mid, leaf);

    leaf->CallSetBad(true);
    EXPECT_TRUE(root->IsBad());
    EXPECT_TRUE(mid->IsBad());
    leaf->CallSetBad(false);
    EXPECT_FALSE(root->IsBad());

    // A child's own override is asked, not just its flag.
    leaf->ownBad = true;
    EXPECT_TRUE(root->IsBad());
    leaf->ownBad = false;

    // A dependency is no child: its trouble does not rise.
    TProbeComponent *dependency = Make("dependency");
    builder.AddDependency(root, dependency);
    dependency->CallSetBad(true);
    EXPECT_FALSE(root->IsBad());
}

TEST_F(Component, ChildrenAreFoundByExactName) {
    TProbeComponent *root = Make("root");
    TProbeComponent *first = Make("Twin");
    TProbeComponent *second = Make("twin");
    builder.AddChild(root, first);
    builder.AddChild(root, second);
    EXPECT_EQ(root->GetChild(TDynamicString("Twin")), first);
    EXPECT_EQ(root->GetChild(TDynamicString("twin")), second);
    EXPECT_EQ(root->GetChild(TDynamicString("TWIN")), nullptr);
    EXPECT_EQ(root->GetChild(1), second);
    EXPECT_EQ(root->GetChild(2), nullptr);
}

TEST_F(Component, RemovalTakesTheFirstMatchOnly) {
    TProbeComponent *root = Make("root");
    TProbeComponent *a = Make("a");
    TProbeComponent *b = Make("b");
    builder.AddChild(root, a);
    builder.AddChild(root, b);
    builder.AddChild(root, a);
    builder.RemoveChild(root, a);
    EXPECT_EQ(Names(*root), "b,a");
    builder.RemoveChild(root, Make("stranger"));
    EXPECT_EQ(Names(*root), "b,a");
}

TEST_F(Component, ActiveListInsertionHonoursItsAnchor) {
    struct Case {
        const char *anchor; // name of `before`, "" for null, "x" for one not on the list
        const char *order;  // the active list afterwards, by name
    };
    constexpr Case kCases[] = {
        {"a", "n,a,b"},
        {"b", "a,n,b"},
        {"", "a,b,n"},
        {"x", "a,b,n"},
    };
    int round = 0;
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.anchor);
        const std::string suffix = std::to_string(round++);
        TProbeComponent *root = Make(("root" + suffix).c_str());
        TProbeComponent *a = Make(("a" + suffix).c_str());
        TProbeComponent *b = Make(("b" + suffix).c_str());
        TProbeComponent *x = Make(("x" + suffix).c_str());
        TProbeComponent *n = Make(("n" + suffix).c_str());
        builder.AddActive(root, a);
        builder.AddActive(root, b);
        TComponent *before = std::strcmp(c.anchor, "a") == 0   ? a
                             : std::strcmp(c.anchor, "b") == 0 ? b
                             : std::strcmp(c.anchor, "x") == 0 ? x
                                                               : nullptr;
        builder.InsertActive(root, n, before);
        EXPECT_TRUE(n->IsActive());
        EXPECT_FALSE(x->IsActive());

        // The active list is read back as the order in which a frame processes it.
        builder.SetRoot(root);
        processed.clear();
        manager.ProcessRoot();
        std::string expected;
        for (const char *p = c.order; *p != '\0'; ++p)
            expected += *p == ',' ? std::string(",") : std::string(1, *p) + suffix;
        EXPECT_EQ(processed, expected + ",root" + suffix);
    }
}

TEST_F(Component, RemovingFromTheActiveListAlwaysClearsTheFlag) {
    TProbeComponent *root = Make("root");
    TProbeComponent *on = Make("on");
    TProbeComponent *off = Make("off");
    builder.AddActive(root, on);
    off->CallSetActive(true); // flag set, but never on the list
    builder.RemoveActive(root, off);
    EXPECT_FALSE(off->IsActive());
    builder.RemoveActive(root, on);
    EXPECT_FALSE(on->IsActive());
}

TEST_F(Component, ClearCrapResetsEveryFlag) {
    TProbeComponent *probe = Make("probe");
    probe->CallInitialise();
    probe->CallSetActive(true);
    probe->CallSetBad(true);
    probe->ClearCrap();
    EXPECT_FALSE(probe->IsInitialised());
    EXPECT_FALSE(probe->IsActive());
    EXPECT_FALSE(probe->IsBad());
    EXPECT_EQ(probe->GetParameters(), nullptr);
}

TEST(ComponentTab, WritesOneTabALevel) {
    struct Case {
        int count;
        const char *text;
    };
    constexpr Case kCases[] = {{-3, ""}, {0, ""}, {1, "\t"}, {4, "\t\t\t\t"}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.count);
        char buffer[8];
        std::memset(buffer, 'x', sizeof(buffer));
        TProbeComponent::CallMakeTab(c.count, buffer);
        EXPECT_STREQ(buffer, c.text);
    }
}

TEST(ComponentSwitches, StartOnAndKeepWhatIsSet) {
    EXPECT_TRUE(TComponent::GetTiming());
    EXPECT_TRUE(TComponent::GetMemoryTracking());
    TComponent::SetTiming(false);
    TComponent::SetMemoryTracking(false);
    EXPECT_FALSE(TComponent::Timing);
    EXPECT_FALSE(TComponent::GetMemoryTracking());
    TComponent::SetTiming(true);
    TComponent::SetMemoryTracking(true);
    EXPECT_TRUE(TComponent::GetTiming());
}
