// Tests of the class registry: which descriptor a name finds when names clash, how
// alternatives replace entries, the difference between IsClass and IsSubclass, and what
// CreateObject hands back.
#include "General/Core/RuntimeClass.h"

#include <gtest/gtest.h>

#include "General/Components/Component.h"
#include "General/Core/RootObject.h"
#include "General/Core/StrToID.h"

namespace {

class TRegistryProbe : public TComponent {
    VLIB_DECLARE_RUNTIME_CLASS(TRegistryProbe)
};

VLIB_IMPLEMENT_CREATABLE_CLASS(TRegistryProbe, TComponent);

} // namespace

TEST(RuntimeClass, FirstClassOfANameKeepsTheEntry) {
    TRuntimeClass first("TClashProbe", nullptr, nullptr);
    {
        TRuntimeClass second("TClashProbe", nullptr, nullptr);
        TRuntimeClass otherCase("tclashPROBE", nullptr, nullptr);
        EXPECT_EQ(TRuntimeClass::GetRuntimeClass("TClashProbe"), &first);
        EXPECT_EQ(TRuntimeClass::GetRuntimeClass(StrToID("tclashprobe")), &first)
            << "names that differ only in case are one name";
        EXPECT_EQ(second.GetID(), first.GetID());
    }
    EXPECT_EQ(TRuntimeClass::GetRuntimeClass("TClashProbe"), &first)
        << "a later class that lost the clash removes nothing when it goes";
}

TEST(RuntimeClass, AlternativeNameReplacesTheEntry) {
    TRuntimeClass original("TAltProbeOriginal", nullptr, nullptr);
    {
        TRuntimeClass replacement("TAltProbeReplacement", nullptr, nullptr);
        TRuntimeClassAlternative(&replacement, "TAltProbeOriginal");
        TRuntimeClassAlternative(&replacement, "TAltProbeThird");
        EXPECT_EQ(TRuntimeClass::GetRuntimeClass("TAltProbeOriginal"), &replacement);
        EXPECT_EQ(TRuntimeClass::GetRuntimeClass("taltprobethird"), &replacement);
        EXPECT_STREQ(TRuntimeClass::GetRuntimeClass("TAltProbeThird")->GetName().GetData(),
                     "TAltProbeReplacement");
    }
    // The replacement's names all went with it: no look-up finds a dead class.
    EXPECT_EQ(TRuntimeClass::GetRuntimeClass("TAltProbeOriginal"), nullptr);
    EXPECT_EQ(TRuntimeClass::GetRuntimeClass("TAltProbeThird"), nullptr);
    EXPECT_EQ(TRuntimeClass::GetRuntimeClass("TAltProbeReplacement"), nullptr);
}

TEST(RuntimeClass, IsClassIsExactWhileIsSubclassWalksTheParents) {
    struct Case {
        TRuntimeClass *cls;
        const char *name;
        bool isClass;
        bool isSubclass;
    };
    TRuntimeClass *probe = TRegistryProbe::GetRuntimeClassStatic();
    TRuntimeClass *component = &TComponent::ClassTComponent;
    const Case kCases[] = {
        {probe, "TComponent", false, true},
        {component, "TComponent", true, true},
        {component, "tcomponent", false, true},
        {probe, "TRootObject", false, true},
        {probe, "TRegistryProbe", true, true},
        {component, "TRegistryProbe", false, false},
        {&TRootObject::ClassTRootObject, "TComponent", false, false},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.cls->GetName().GetData() << " / " << c.name);
        EXPECT_EQ(c.cls->IsClass(c.name), c.isClass);
        EXPECT_EQ(c.cls->IsSubclass(c.name), c.isSubclass);
    }
    EXPECT_TRUE(probe->IsSubclass(component));
    EXPECT_TRUE(component->IsSubclass(component));
    EXPECT_FALSE(component->IsSubclass(probe));
    EXPECT_FALSE(probe->IsClass(component));
}

TEST(RuntimeClass, CreateObjectGivesANewObjectOutsideAnyContainer) {
    TRuntimeClass *cls = TRuntimeClass::GetRuntimeClass("TRegistryProbe");
    ASSERT_NE(cls, nullptr);
    TRootObject *object = cls->CreateObject();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->GetID(), -2);
    EXPECT_EQ(object->GetContainer(), nullptr);
    EXPECT_EQ(object->GetRuntimeClass(), cls);
    object->Delete();
    EXPECT_EQ(TComponent::ClassTComponent.CreateObject(), nullptr)
        << "a class registered without a creator makes nothing";
}
