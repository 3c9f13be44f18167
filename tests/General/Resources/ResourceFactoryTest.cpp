#include "General/Resources/ResourceFactory.h"

#include <gtest/gtest.h>

#include "General/Resources/Resource.h"

using TString = TStringInt<TDynamicStringAllocationStrategy>;

namespace {

// A factory that answers with a given name and makes nothing.
class TNamedFactory : public TResourceFactory {
public:
    explicit TNamedFactory(const char *name) : m_Name(name) {}
    TResource *New() override { return nullptr; }
    void Delete(TResource *) override {}
    uint32_t GetID() override { return TResource::StrToID(m_Name); }
    TString GetName() override { return m_Name; }
    uint32_t GetVersion(bool) override { return kNoVersion; }
    bool HasVersionedSource() override { return false; }
    bool CanLoadSource() override { return true; }
    bool CanCompile() override { return false; }
    bool HasDependencies() override { return false; }

private:
    const char *m_Name;
};

// Registered by static construction, as the library's own factories are.
TNamedFactory gStaticFactory("TStaticTestResource");
TResourceFactoryRegistration gStaticRegistration(&gStaticFactory);

} // namespace

TEST(ResourceFactory, StaticFactoryIsRegisteredBeforeMain) {
    EXPECT_EQ(TResourceFactoryRegistry::Find(TResource::StrToID("TStaticTestResource")),
              &gStaticFactory);
    EXPECT_EQ(TResourceFactoryRegistry::Find(TResource::StrToID("tstatictestresource")),
              &gStaticFactory);
}

TEST(ResourceFactory, RegistrationLivesWithItsObject) {
    TNamedFactory factory("TScopedTestResource");
    const size_t before = TResourceFactoryRegistry::GetCount();
    {
        TResourceFactoryRegistration registration(&factory);
        EXPECT_EQ(TResourceFactoryRegistry::GetCount(), before + 1);
        EXPECT_EQ(TResourceFactoryRegistry::GetByIndex(before), &factory);
        TResourceFactoryRegistry::Register(&factory); // the same factory is kept once
        EXPECT_EQ(TResourceFactoryRegistry::GetCount(), before + 1);
    }
    EXPECT_EQ(TResourceFactoryRegistry::GetCount(), before);
    EXPECT_EQ(TResourceFactoryRegistry::Find(factory.GetID()), nullptr);
    EXPECT_EQ(TResourceFactoryRegistry::GetByIndex(before), nullptr);
    TResourceFactoryRegistry::Unregister(&factory); // unknown: nothing happens
    EXPECT_EQ(TResourceFactoryRegistry::GetCount(), before);
}

TEST(ResourceFactory, FirstOfTwoWithOneIdWins) {
    TNamedFactory first("TTwinResource");
    TNamedFactory second("TTWINRESOURCE");
    TResourceFactoryRegistration a(&first);
    TResourceFactoryRegistration b(&second);
    EXPECT_EQ(TResourceFactoryRegistry::Find(first.GetID()), &first);
}
