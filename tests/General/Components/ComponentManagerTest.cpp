// Tests of the component manager: order of creation and initialisation, the frame walk with
// its counts and breaks, aborted starts, destruction order, and that every component's memory
// comes back. Trees are built in code; each component logs what the manager made it do.
#include "General/Components/ComponentManager.h"
#include "General/Components/ParameterList.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Support/TempDir.h"

namespace {

struct TEvent {
    std::string what; // "create", "init", "blank", "pre", "proc", "uninit", "destroy"
    std::string name;
};

std::vector<TEvent> journal;
TComponentManager *currentManager = nullptr; // the manager under test, for aborting

// A component whose counts and side effects a test sets, and which logs every call.
class TJournalComponent : public TComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TJournalComponent)

public:
    int processCount = 1;
    int childRounds = 1;
    int breakAfterRounds = 0; // 0: never break
    bool abortOnInitialise = false;
    bool abortOnCreate = false;
    std::function<void(TJournalComponent &)> onProcess;
    std::function<void()> onDestroy;

protected:
    void Create() override {
        Log("create");
        if (abortOnCreate)
            currentManager->AbortInitSequence();
    }
    void Initialise() override {
        TComponent::Initialise();
        Log("init");
        if (abortOnInitialise)
            currentManager->AbortInitSequence();
    }
    void InitialiseBlank() override {
        TComponent::InitialiseBlank();
        Log("blank");
    }
    void Uninitialise() override {
        if (IsActive())
            Log("uninit-while-active");
        Log("uninit");
        TComponent::Uninitialise();
    }
    void Destroy() override {
        Log("destroy");
        if (onDestroy)
            onDestroy();
    }
    void Preprocess() override {
        m_Rounds = 0;
        Log("pre");
    }
    void Process() override {
        Log("proc");
        if (onProcess)
            onProcess(*this);
    }
    int GetProcessCount() override { return processCount; }
    int GetChildProcessCount() override { return childRounds; }
    bool BreakChildProcess() override {
        return breakAfterRounds > 0 && ++m_Rounds >= breakAfterRounds;
    }

private:
    void Log(const char *what) { journal.push_back({what, GetName().GetData()}); }

    int m_Rounds = 0;
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TJournalComponent, TComponent);

// A creatable persistent class that is no component.
class TPlainObject : public TRootObject {
    VLIB_DECLARE_RUNTIME_CLASS(TPlainObject)

public:
    TError ReadBinary(TFileObj &) override { return TError(0); }
    TError WriteBinary(TFileObj &) override { return TError(0); }
    TError ReadAscii(TAsciiInFilter &) override { return TError(0); }
    TError WriteAscii(TAsciiOutFilter &) override { return TError(0); }
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TPlainObject, TRootObject);

// A component that overrides nothing: every hook of the frame is TComponent's own.
class TPlainComponent : public TComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TPlainComponent)
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TPlainComponent, TComponent);

// A component whose TComponent part is not its first base, so that its overrides are reached
// through adjusting entries of a secondary vtable.
struct TSideBase {
    virtual ~TSideBase() = default;
    virtual int Side() { return 1; }
    int side = 0;
};

class TSecondaryBaseComponent : public TSideBase, public TComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TSecondaryBaseComponent)

protected:
    int GetProcessCount() override { return 2; }
    void Process() override { journal.push_back({"proc", GetName().GetData()}); }
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TSecondaryBaseComponent, TComponent);

// Names of the events of one kind, in order, joined by commas.
std::string Events(const char *what) {
    std::string names;
    for (const TEvent &event : journal) {
        if (event.what == what)
            names += (names.empty() ? "" : ",") + event.name;
    }
    return names;
}

// Every event of the kinds given, as "kind:name", in order.
std::string Trace(std::initializer_list<const char *> kinds) {
    std::string trace;
    for (const TEvent &event : journal) {
        for (const char *kind : kinds) {
            if (event.what == kind)
                trace += (trace.empty() ? "" : ",") + event.what + ":" + event.name;
        }
    }
    return trace;
}

class ComponentManager : public testing::Test {
protected:
    void SetUp() override {
        m_LiveBlocks = GetAllocatorInstance().GetLiveBlocks();
        Reset();
    }

    void TearDown() override {
        delete builder;
        delete manager;
        currentManager = nullptr;
        EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), m_LiveBlocks)
            << "the manager left blocks behind";
    }

    // A fresh manager and an empty journal.
    void Reset() {
        delete builder;
        delete manager;
        journal.clear();
        manager = new TComponentManager;
        currentManager = manager;
        builder = new TComponentTreeBuilder(*manager);
    }

    TJournalComponent *Root(const char *name) {
        auto *root = static_cast<TJournalComponent *>(builder->Make("TJournalComponent", name));
        builder->SetRoot(root);
        return root;
    }

    TJournalComponent *Child(TComponent *parent, const char *name, bool active = true) {
        return static_cast<TJournalComponent *>(
            builder->MakeChild(parent, "TJournalComponent", name, active));
    }

    TJournalComponent *Find(const char *name) {
        return static_cast<TJournalComponent *>(manager->GetComponent(TDynamicString(name)));
    }

    // Names in initialisation order, and a check that each index is its position.
    std::string InitialisedOrder() {
        std::string names;
        for (int i = 0; i < manager->CountComponents(); ++i) {
            TComponent *component = manager->GetComponent(i);
            EXPECT_EQ(component->GetIndex(), i) << component->GetName().GetData();
            names += (names.empty() ? "" : ",") + std::string(component->GetName().GetData());
        }
        EXPECT_EQ(manager->GetComponent(manager->CountComponents()), nullptr);
        return names;
    }

    TComponentManager *manager = nullptr;
    TComponentTreeBuilder *builder = nullptr;

private:
    size_t m_LiveBlocks = 0;
};

} // namespace

TEST_F(ComponentManager, DependenciesComeFirstAndDestructionReversesInitialisation) {
    // The tree r{a, b{b1}, c}, and x outside it; `a` depends on the component of the case.
    struct Case {
        const char *dependency;
        const char *order;    // of initialisation
        const char *teardown; // of Uninitialise and of Destroy when the root is unloaded
    };
    constexpr Case kCases[] = {
        {"b1", "r,b1,a,b,c", "c,b,a,b1,r"},  // nested under a later sibling
        {"c", "r,c,a,b,b1", "b1,b,a,c,r"},   // a later sibling
        {"b", "r,b,b1,a,c", "c,a,b1,b,r"},   // a later sibling that brings its child
        {"x", "r,x,a,b,b1,c", "c,b1,b,a,r"}, // outside the tree: it is not unloaded
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.dependency);
        Reset();
        TJournalComponent *r = Root("r");
        TJournalComponent *a = Child(r, "a");
        TJournalComponent *b = Child(r, "b");
        Child(b, "b1");
        Child(r, "c");
        builder->Make("TJournalComponent", "x");
        builder->AddDependency(a, Find(c.dependency));

        ASSERT_TRUE(builder->Start());
        EXPECT_EQ(Events("create"), "r,a,b,b1,c") << "parents are created before children";
        EXPECT_EQ(Events("init"), c.order) << "each component is initialised once";
        EXPECT_EQ(InitialisedOrder(), c.order);

        manager->UnloadRootComponents();
        EXPECT_EQ(Events("uninit"), c.teardown);
        EXPECT_EQ(Events("destroy"), c.teardown);
        EXPECT_EQ(manager->GetRoot(), nullptr);
        EXPECT_EQ(InitialisedOrder(), std::string(c.dependency) == "x" ? "x" : "");
    }
}

TEST_F(ComponentManager, EachComponentRunsUninitialiseThenDestroy) {
    TJournalComponent *r = Root("r");
    Child(r, "a");
    ASSERT_TRUE(builder->Start());
    journal.clear();
    manager->UnloadRootComponents();
    EXPECT_EQ(Trace({"uninit", "destroy"}), "uninit:a,destroy:a,uninit:r,destroy:r");
}

TEST_F(ComponentManager, ProcessCountRepeatsAChildInEachRound) {
    TJournalComponent *r = Root("r");
    Child(r, "twice")->processCount = 2;
    Child(r, "once");
    Child(r, "never")->processCount = 0;
    Child(r, "negative")->processCount = -1;
    ASSERT_TRUE(builder->Start());
    journal.clear();
    manager->ProcessRoot();
    EXPECT_EQ(Trace({"pre", "proc"}), "pre:r,pre:twice,proc:twice,pre:twice,proc:twice,"
                                      "pre:once,proc:once,proc:r");
}

TEST_F(ComponentManager, ChildRoundsRepeatTheActiveListUntilABreak) {
    struct Case {
        int rounds;
        int breakAfter;
        const char *processed;
    };
    constexpr Case kCases[] = {
        {1, 0, "a,b,r"}, {3, 0, "a,b,a,b,a,b,r"}, {3, 1, "a,b,r"}, {3, 2, "a,b,a,b,r"},
        {0, 0, "r"}, // no rounds: the parent still runs before and after
        {-2, 0, "r"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.rounds << " rounds, break after " << c.breakAfter);
        Reset();
        TJournalComponent *r = Root("r");
        r->childRounds = c.rounds;
        r->breakAfterRounds = c.breakAfter;
        Child(r, "a");
        Child(r, "b");
        ASSERT_TRUE(builder->Start());
        for (int frame = 0; frame < 2; ++frame) {
            journal.clear();
            manager->ProcessRoot();
            EXPECT_EQ(Events("proc"), c.processed) << "frame " << frame;
            EXPECT_EQ(Events("pre").substr(0, 1), "r");
        }
        manager->UnloadRootComponents();
    }
}

TEST_F(ComponentManager, AFrameAllocatesNothing) {
    TJournalComponent *r = Root("r");
    r->childRounds = 2;
    TJournalComponent *a = Child(r, "a");
    a->processCount = 3;
    Child(a, "a1");
    Child(r, "b");
    ASSERT_TRUE(builder->Start());
    manager->ProcessRoot();

    // Any allocation of the heap during the frame would be refused and counted.
    vlib::test::TAllocatorFaultGuard guard;
    journal.clear();
    GetAllocatorInstance().Faults().Arm(1, true);
    manager->ProcessRoot();
    const uint64_t allocations = GetAllocatorInstance().Faults().GetFailures();
    GetAllocatorInstance().Faults().Disarm();
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(Events("proc"), "a1,a,a1,a,a1,a,b,a1,a,a1,a,a1,a,b,r");
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, HooksAreReachedWhateverTheClassOverrides) {
    // A parent with TComponent's own hooks still walks its children, and overrides behind a
    // secondary base are called like any other.
    auto *r = builder->Make("TPlainComponent", "r");
    builder->SetRoot(r);
    TComponent *plain = builder->MakeChild(r, "TPlainComponent", "plain", true);
    Child(plain, "a");
    builder->MakeChild(r, "TSecondaryBaseComponent", "side", true);
    Child(r, "b");
    ASSERT_TRUE(builder->Start());
    manager->ProcessRoot();
    EXPECT_EQ(Events("proc"), "a,side,side,b");
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, ClearedActiveFlagSkipsAChildThatKeepsItsPlace) {
    TJournalComponent *r = Root("r");
    Child(r, "a");
    TJournalComponent *b = Child(r, "b");
    Child(r, "c");
    ASSERT_TRUE(builder->Start());

    manager->SetComponentActive(b, false);
    manager->ProcessRoot();
    EXPECT_EQ(Events("proc"), "a,c,r");

    journal.clear();
    manager->SetComponentActive(b, true);
    manager->ProcessRoot();
    EXPECT_EQ(Events("proc"), "a,b,c,r");
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, OnlyTheActiveListIsProcessed) {
    TJournalComponent *r = Root("r");
    Child(r, "listed");
    Child(r, "unlisted", false);
    ASSERT_TRUE(builder->Start());

    // A new component is a child with its flag set, but the parent decides whether it runs.
    TComponent *added = manager->AddNewComponent("TJournalComponent", "added", r, true);
    ASSERT_NE(added, nullptr);
    EXPECT_TRUE(added->IsActive());
    EXPECT_EQ(r->GetChild(TDynamicString("added")), added);

    journal.clear();
    manager->ProcessRoot();
    EXPECT_EQ(Events("proc"), "listed,r");
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, ChangesToTheActiveListTakeEffectInTheSameRound) {
    TJournalComponent *r = Root("r");
    TJournalComponent *a = Child(r, "a");
    TJournalComponent *b = Child(r, "b");
    TJournalComponent *late = Child(r, "late", false);
    ASSERT_TRUE(builder->Start());

    bool added = false;
    a->onProcess = [&](TJournalComponent &) {
        if (!added)
            builder->AddActive(r, late);
        added = true;
    };
    manager->ProcessRoot();
    EXPECT_EQ(Events("proc"), "a,b,late,r") << "an entry appended while running is reached";

    journal.clear();
    a->onProcess = [&](TJournalComponent &) { builder->RemoveActive(r, b); };
    manager->ProcessRoot();
    EXPECT_EQ(Events("proc"), "a,late,r") << "an entry removed while running is not";
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, AbortFromTheSecondInitialiseStopsTheStart) {
    TJournalComponent *r = Root("r");
    Child(r, "a")->abortOnInitialise = true;
    Child(Find("a"), "a1");
    Child(r, "b");
    EXPECT_FALSE(builder->Start());
    EXPECT_TRUE(manager->HasAborted());
    EXPECT_EQ(Events("init"), "r,a") << "the aborting component is still on the list";
    EXPECT_EQ(InitialisedOrder(), "r,a");
    EXPECT_FALSE(Find("b")->IsInitialised());

    // More components stay uninitialised until the next start.
    TComponent *added = manager->AddNewComponent("TJournalComponent", "added", r, true);
    ASSERT_NE(added, nullptr);
    EXPECT_FALSE(added->IsInitialised());

    journal.clear();
    manager->UnloadRootComponents();
    EXPECT_EQ(Trace({"uninit", "destroy"}), "uninit:a,destroy:a,uninit:r,destroy:r");
    EXPECT_EQ(manager->GetRoot(), nullptr);
    // The rest stays in the manager, which frees it when it goes (checked by TearDown).
    EXPECT_NE(Find("b"), nullptr);
    EXPECT_NE(Find("a1"), nullptr);
}

TEST_F(ComponentManager, AbortInADependencyStillInitialisesTheComponentWaitingForIt) {
    // r depends on d1, which depends on d2; d1, the second to be initialised, aborts. The
    // initialisation of r was already under way and goes on; r's children do not start.
    TJournalComponent *r = Root("r");
    Child(r, "x");
    TJournalComponent *d1 = Child(r, "d1");
    TJournalComponent *d2 = Child(r, "d2");
    builder->AddDependency(r, d1);
    builder->AddDependency(d1, d2);
    d1->abortOnInitialise = true;
    EXPECT_FALSE(builder->Start());
    EXPECT_EQ(InitialisedOrder(), "d2,d1,r");
    EXPECT_FALSE(Find("x")->IsInitialised());

    journal.clear();
    manager->UnloadRootComponents();
    EXPECT_EQ(Events("destroy"), "r,d1,d2");
    EXPECT_NE(Find("x"), nullptr);
    EXPECT_EQ(manager->CountComponents(), 0);
}

TEST_F(ComponentManager, AbortBeforeTheRootLeavesTheRootUntouched) {
    // An abort during Create comes before any initialisation: nothing is initialised, and
    // unloading touches nothing, the root included.
    TJournalComponent *r = Root("r");
    Child(r, "a")->abortOnCreate = true;
    Child(r, "b");
    EXPECT_FALSE(builder->Start());
    EXPECT_EQ(Events("create"), "r,a,b") << "Create runs over the whole tree regardless";
    EXPECT_EQ(manager->CountComponents(), 0);

    journal.clear();
    manager->UnloadRootComponents();
    EXPECT_TRUE(journal.empty());
    EXPECT_EQ(manager->GetRoot(), nullptr);
    EXPECT_EQ(Find("r"), r) << "the manager keeps it until it is destroyed itself";
    EXPECT_EQ(r->GetNumChildren(), 2);
}

TEST_F(ComponentManager, DestroyingMidTreeKeepsSiblingsAndRenumbers) {
    TJournalComponent *r = Root("r");
    Child(r, "a");
    TJournalComponent *b = Child(r, "b");
    Child(b, "b1");
    TJournalComponent *b2 = Child(b, "b2");
    Child(r, "c");
    builder->AddDependency(b, b2);
    ASSERT_TRUE(builder->Start());
    EXPECT_EQ(InitialisedOrder(), "r,a,b2,b,b1,c");

    journal.clear();
    manager->DestroyComponent(b);
    EXPECT_EQ(Trace({"uninit", "destroy"}),
              "uninit:b1,destroy:b1,uninit:b,destroy:b,uninit:b2,destroy:b2");
    EXPECT_EQ(InitialisedOrder(), "r,a,c");
    EXPECT_EQ(Find("b"), nullptr);
    EXPECT_EQ(Find("b1"), nullptr);
    EXPECT_EQ(r->GetNumChildren(), 2);
    EXPECT_EQ(r->GetChild(1), Find("c"));
    EXPECT_EQ(manager->GetComponentProcessTime(2), 0.0f);

    journal.clear();
    manager->ProcessRoot();
    EXPECT_EQ(Events("proc"), "a,c,r") << "the parent's active list lost only b";
    manager->UnloadRootComponents();
    EXPECT_EQ(manager->CountComponents(), 0);
}

TEST_F(ComponentManager, DestroyedComponentIsDeactivatedBeforeUninitialise) {
    TJournalComponent *r = Root("r");
    TJournalComponent *a = Child(r, "a");
    ASSERT_TRUE(builder->Start());
    ASSERT_TRUE(a->IsActive());
    manager->DestroyComponent(a);
    EXPECT_EQ(Events("uninit"), "a");
    EXPECT_EQ(Events("uninit-while-active"), "");
    EXPECT_EQ(r->GetNumChildren(), 0);
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, DestroyCalledFromADestroyLeavesAConsistentManager) {
    TJournalComponent *r = Root("r");
    TJournalComponent *a = Child(r, "a");
    Child(a, "a1");
    TJournalComponent *b = Child(r, "b");
    ASSERT_TRUE(builder->Start());
    b->onDestroy = [this, a] { manager->DestroyComponent(a); };

    journal.clear();
    manager->UnloadRootComponents();
    EXPECT_EQ(Trace({"uninit", "destroy"}),
              "uninit:b,destroy:b,uninit:a1,destroy:a1,uninit:a,destroy:a,uninit:r,destroy:r");
    EXPECT_EQ(manager->CountComponents(), 0);
    TLibVector<TDynamicString> names;
    manager->GetComponentNames(names);
    EXPECT_TRUE(names.empty());
}

TEST_F(ComponentManager, NewComponentIsCreatedInitialisedAndAttached) {
    TJournalComponent *r = Root("r");
    ASSERT_TRUE(builder->Start());
    journal.clear();
    TComponent *added = manager->AddNewComponent("TJournalComponent", "n", r, false);
    ASSERT_NE(added, nullptr);
    EXPECT_EQ(Trace({"create", "init"}), "create:n,init:n");
    EXPECT_EQ(r->GetChild(0), added);
    EXPECT_FALSE(added->IsActive());
    EXPECT_EQ(added->GetIndex(), 1);
    EXPECT_EQ(manager->GetComponent(1), added);
    manager->UnloadRootComponents();
    EXPECT_EQ(manager->CountComponents(), 0);
}

TEST_F(ComponentManager, BlankComponentSkipsCreateAndInitialise) {
    TJournalComponent *r = Root("r");
    ASSERT_TRUE(builder->Start());
    journal.clear();
    TComponent *blank = nullptr;
    ASSERT_TRUE(manager->AddBlankComponent("TJournalComponent", "blank", r, true, &blank));
    ASSERT_NE(blank, nullptr);
    EXPECT_EQ(Trace({"create", "init", "blank"}), "blank:blank");
    EXPECT_TRUE(blank->IsInitialised());
    EXPECT_TRUE(blank->IsActive());
    EXPECT_EQ(blank->GetIndex(), 1);
    EXPECT_EQ(r->GetChild(0), blank);
    EXPECT_TRUE(manager->AddBlankComponent("TJournalComponent", "unseen", r, false, nullptr));
    EXPECT_EQ(manager->CountComponents(), 3);
    manager->UnloadRootComponents();
    EXPECT_EQ(Events("destroy"), "unseen,blank,r");
}

TEST_F(ComponentManager, RefusedClassesAndTakenNamesMakeNothing) {
    TJournalComponent *r = Root("r");
    ASSERT_TRUE(builder->Start());
    struct Case {
        const char *className;
        const char *name;
    };
    constexpr Case kCases[] = {
        {"TNoSuchClass", "n"},
        {"TPlainObject", "n"},      // creatable, but no component
        {"TComponent", "n"},        // a component class without creator
        {"TJournalComponent", "r"}, // the name is taken
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.className);
        journal.clear();
        EXPECT_EQ(manager->AddNewComponent(c.className, c.name, r, true), nullptr);
        TComponent *result = r;
        EXPECT_FALSE(manager->AddBlankComponent(c.className, c.name, r, true, &result));
        EXPECT_EQ(result, r) << "the result is left alone";
        EXPECT_TRUE(journal.empty());
        EXPECT_EQ(r->GetNumChildren(), 0);
        EXPECT_EQ(manager->CountComponents(), 1);
        EXPECT_EQ(Find("r"), r);
        EXPECT_EQ(Find("n"), nullptr);
    }
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, DependencyCycleEndsWithEachInitialisedOnce) {
    TJournalComponent *r = Root("r");
    TJournalComponent *a = Child(r, "a");
    TJournalComponent *b = Child(r, "b");
    builder->AddDependency(a, b);
    builder->AddDependency(b, a);
    ASSERT_TRUE(builder->Start());
    EXPECT_EQ(Events("init"), "r,b,a");
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, NamesComeInNameOrder) {
    builder->Make("TJournalComponent", "b");
    builder->Make("TJournalComponent", "a");
    builder->Make("TJournalComponent", "C");
    TLibVector<TDynamicString> names;
    manager->GetComponentNames(names);
    ASSERT_EQ(names.size(), 3u);
    EXPECT_STREQ(names[0].GetData(), "C");
    EXPECT_STREQ(names[1].GetData(), "a");
    EXPECT_STREQ(names[2].GetData(), "b");
    EXPECT_EQ(manager->CountComponents(), 0) << "none of them is initialised";
}

TEST_F(ComponentManager, LoadWithoutDefinitionsLeavesTheManagerEmpty) {
    manager->UseDirectory("examples/data");
    EXPECT_FALSE(manager->LoadRootComponents("Main.xml"));
    EXPECT_EQ(manager->GetRoot(), nullptr);
    EXPECT_EQ(manager->CountComponents(), 0);
    EXPECT_FALSE(manager->HasAborted());
    TComponent *first = nullptr;
    EXPECT_FALSE(manager->AddNewComponent(TDynamicString("More.xml"), nullptr, true, &first));
    EXPECT_EQ(first, nullptr);
    manager->ProcessRoot(); // an empty manager has nothing to run
    manager->UnloadRootComponents();
    EXPECT_FALSE(builder->Start()) << "there is no root to start";
}

TEST_F(ComponentManager, StartAfterAnAbortClearsIt) {
    TJournalComponent *r = Root("r");
    TJournalComponent *a = Child(r, "a");
    Child(r, "b");
    a->abortOnInitialise = true;
    EXPECT_FALSE(builder->Start());
    a->abortOnInitialise = false;
    EXPECT_TRUE(builder->Start()) << "a fresh start clears the abort";
    EXPECT_EQ(Events("init"), "r,a,b") << "only what the abort held back is initialised";
    EXPECT_FALSE(manager->HasAborted());
    manager->UnloadRootComponents();
}

TEST_F(ComponentManager, SubstitutionTablesAreCopiedAndReleased) {
    // The manager keeps copies: replacing, removing and destroying must free every entry
    // (TearDown counts the library's blocks), and the caller's table stays its own.
    TParameterSubstituter table;
    TParameterSubstituter::TString name("$root"), value("data/levels");
    table.SetSubstitution(name, value);
    manager->SetParameterSubstituter(&table);
    manager->SetParameterSubstituter(&table);
    manager->SetParameterSubstituter(nullptr);
    manager->SetParameterSubstituter(&table);
    TParameterSubstituter::TString text("$root/one.xml");
    EXPECT_EQ(table.Apply(text), 1);
    EXPECT_STREQ(text.GetData(), "data/levels/one.xml");
}
