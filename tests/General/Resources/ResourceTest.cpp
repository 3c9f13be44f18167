#include "General/Resources/Resource.h"

#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "General/Resources/Detail/ResourceAccess.h"
#include "General/Resources/ResourceFactory.h"
#include "ResourceTestTypes.h"

using vlib::detail::TResourceAccess;
using vlib::detail::TResourceBankLink;
using TString = TStringInt<TDynamicStringAllocationStrategy>;

namespace {

class TTestResource : public TResource {
public:
    TError LoadAscii(TFileObj *) override { return TError::kSuccess; }
    TError LoadBinary(TFileObj *) override { return TError::kSuccess; }
    TError SaveBinary(TFileObj *) override { return TError::kSuccess; }
    bool IsValidVersion(uint32_t, bool) override { return true; }
    TResourceFactory *GetFactory() override;
};

vlib::test::TTestFactory<TTestResource> gFactory{"TTestResource"};
TResourceFactory *TTestResource::GetFactory() {
    return &gFactory;
}

// A bank of one entry, reached through the link as the real banks are.
struct TFakeEntry {
    TResource *resource = nullptr;
    TString tag;
    TString source;
};

struct TFakeBank {
    TFakeEntry entry;
    uint32_t id = 0;
    int detaches = 0;
};

TResourceBankEntry_I *AsEntry(TFakeEntry *entry) {
    return reinterpret_cast<TResourceBankEntry_I *>(entry);
}

class TFakeLink : public TResourceBankLink {
public:
    explicit TFakeLink(TFakeBank &bank) : m_Bank(bank) {}

    TResourceBank_I *GetBank(TResourceBankEntry_I *entry) override {
        return reinterpret_cast<TFakeEntry *>(entry) == &m_Bank.entry
                   ? reinterpret_cast<TResourceBank_I *>(&m_Bank)
                   : nullptr;
    }
    const TString &GetTag(TResourceBankEntry_I *entry) override {
        return reinterpret_cast<TFakeEntry *>(entry)->tag;
    }
    TString GetSourcePath(TResourceBankEntry_I *entry) override {
        return reinterpret_cast<TFakeEntry *>(entry)->source;
    }
    bool HasEntry(TResourceBank_I *bank, uint32_t id) override {
        return bank == reinterpret_cast<TResourceBank_I *>(&m_Bank) && id == m_Bank.id;
    }
    void DetachResource(TResourceBank_I *bank, uint32_t id) override {
        auto *fake = reinterpret_cast<TFakeBank *>(bank);
        ++fake->detaches;
        if (fake->entry.resource != nullptr && id == fake->id) {
            TResourceAccess::Attach(*fake->entry.resource, 0, nullptr);
            fake->entry.resource = nullptr;
        }
    }
    const TString &GetManagerTag(uint32_t id) override {
        static const TString unknown("<unknown resource id>");
        return id == m_Bank.id ? m_Bank.entry.tag : unknown;
    }
    TResourceBankEntry_I *FindManagerEntry(uint32_t id) override {
        return id == m_Bank.id ? AsEntry(&m_Bank.entry) : nullptr;
    }

private:
    TFakeBank &m_Bank;
};

// Installs a fake bank for one test and ties `resource` to its entry.
class ResourceWithBank : public ::testing::Test {
protected:
    void SetUp() override {
        gFactory.Deleted = 0;
        m_Bank.id = TResource::StrToID("textures/stone");
        m_Bank.entry.tag = "textures/stone";
        m_Bank.entry.source = "data/textures/stone.tga";
        TResourceAccess::SetBankLink(&m_Link);
    }
    void TearDown() override { TResourceAccess::SetBankLink(nullptr); }

    TResource *MakeAttached() {
        TResource *resource = gFactory.New();
        TResourceAccess::Attach(*resource, m_Bank.id, AsEntry(&m_Bank.entry));
        m_Bank.entry.resource = resource;
        return resource;
    }

    TFakeBank m_Bank;
    TFakeLink m_Link{m_Bank};
};

} // namespace

TEST(Resource, NewObjectStartsIdleWithOneReference) {
    TTestResource resource;
    EXPECT_EQ(resource.GetID(), 0u);
    EXPECT_EQ(resource.GetRefCount(), 1u);
    EXPECT_EQ(resource.GetLoadedVersion(), 0u);
    EXPECT_EQ(resource.GetAsyncState(), AS_Idle);
    EXPECT_FALSE(resource.HasChanged());
    EXPECT_EQ(resource.GetBankEntry(), nullptr);
    EXPECT_EQ(resource.GetBank(), nullptr);
}

TEST(Resource, DefaultsOfTheOptionalOperations) {
    TTestResource resource;
    TTestResource other;
    EXPECT_EQ(resource.SaveAscii(nullptr).GetCode(), 0x10000u);
    EXPECT_EQ(resource.ConvertFrom(&other).GetCode(), 0x10000u);
    TLibVector<TDependency> dependencies{{7, 1}};
    resource.GetDependencies(dependencies);
    ASSERT_EQ(dependencies.size(), 1u);
    EXPECT_EQ(dependencies[0], (TDependency{7, 1}));
}

TEST(Resource, ChangedFlagAndStateShareOneByte) {
    TTestResource resource;
    TResourceAccess::SetAsyncState(resource, AS_Loaded);
    resource.SetChanged(true);
    EXPECT_TRUE(resource.HasChanged());
    EXPECT_EQ(resource.GetAsyncState(), AS_Loaded);
    resource.SetChanged(false);
    EXPECT_FALSE(resource.HasChanged());
    EXPECT_EQ(resource.GetAsyncState(), AS_Loaded);

    // Any change of state clears the changed flag, even to the state it already had.
    resource.SetChanged(true);
    TResourceAccess::SetAsyncState(resource, AS_Loaded);
    EXPECT_FALSE(resource.HasChanged());
}

TEST(Resource, CopyTakesEveryFieldAsItStands) {
    TTestResource resource;
    resource.AcquireRef("a");
    TResourceAccess::SetLoadedVersion(resource, 0x1FF); // kept as one byte
    TResourceAccess::SetAsyncState(resource, AS_Loading);
    resource.SetChanged(true);
    TTestResource copy(resource);
    EXPECT_EQ(copy.GetRefCount(), 2u);
    EXPECT_EQ(copy.GetLoadedVersion(), 0xFFu);
    EXPECT_EQ(copy.GetAsyncState(), AS_Loading);
    EXPECT_TRUE(copy.HasChanged());
    resource.ReleaseRef("a");
    copy.ReleaseRef("a");
}

TEST(Resource, ReleaseOfAnOrphanGoesToItsFactory) {
    gFactory.Deleted = 0;
    TResource *resource = gFactory.New();
    EXPECT_EQ(resource->AcquireRef("second"), resource);
    EXPECT_EQ(resource->ReleaseRef("second"), resource);
    EXPECT_EQ(gFactory.Deleted, 0);
    EXPECT_EQ(resource->ReleaseRef("creator"), nullptr);
    EXPECT_EQ(gFactory.Deleted, 1);
}

TEST(Resource, ReleaseBeyondZeroIsRefused) {
    gFactory.Deleted = 0;
    TResource *resource = gFactory.New();
    TResourceAccess::SetRefCount(*resource, 0); // as an import that counts no reference
    EXPECT_EQ(resource->ReleaseRef(), resource);
    EXPECT_EQ(resource->GetRefCount(), 0u);
    EXPECT_EQ(gFactory.Deleted, 0);
    gFactory.Delete(resource);
}

TEST(Resource, WithoutABankTheManagerAnswers) {
    TTestResource resource;
    TResourceAccess::Attach(resource, TResource::StrToID("x"), nullptr);
    EXPECT_STREQ(resource.GetTag(), "<unknown resource id>");
    EXPECT_TRUE(resource.GetResourceLocation().IsEmpty());
}

TEST_F(ResourceWithBank, ReleaseWithHoldersLeftKeepsTheTie) {
    TResource *resource = MakeAttached();
    resource->AcquireRef();
    EXPECT_EQ(resource->ReleaseRef(), resource);
    EXPECT_EQ(m_Bank.entry.resource, resource);
    EXPECT_EQ(m_Bank.detaches, 0);
    EXPECT_EQ(resource->ReleaseRef(), nullptr);
    EXPECT_EQ(gFactory.Deleted, 1);
    EXPECT_EQ(m_Bank.detaches, 1);
    EXPECT_EQ(m_Bank.entry.resource, nullptr);
}

TEST_F(ResourceWithBank, EntryAnswersForTagBankAndLocation) {
    TResource *resource = MakeAttached();
    EXPECT_EQ(resource->GetBank(), reinterpret_cast<TResourceBank_I *>(&m_Bank));
    EXPECT_EQ(resource->GetBankEntry(), resource->GetResourceListEntry());
    EXPECT_STREQ(resource->GetTag(), "textures/stone");
    EXPECT_STREQ(resource->GetResourceLocation(), "data/textures/stone.tga");
    resource->ReleaseRef();
}

TEST_F(ResourceWithBank, WithoutAnEntryTheManagerFindsOne) {
    TTestResource resource;
    TResourceAccess::Attach(resource, m_Bank.id, nullptr);
    EXPECT_STREQ(resource.GetTag(), "textures/stone");
    EXPECT_STREQ(resource.GetResourceLocation(), "data/textures/stone.tga");
    TResourceAccess::Attach(resource, 12345, nullptr);
    EXPECT_STREQ(resource.GetTag(), "<unknown resource id>");
    EXPECT_TRUE(resource.GetResourceLocation().IsEmpty());
}

TEST_F(ResourceWithBank, OrphanCutsTheBankOut) {
    TResource *resource = MakeAttached();
    resource->Orphan();
    EXPECT_EQ(resource->GetID(), 0u);
    EXPECT_EQ(resource->GetBank(), nullptr);
    EXPECT_EQ(resource->GetBankEntry(), nullptr);
    EXPECT_EQ(resource->ReleaseRef(), nullptr);
    EXPECT_EQ(m_Bank.detaches, 0);
    EXPECT_EQ(gFactory.Deleted, 1);
}

TEST_F(ResourceWithBank, DestructionOutsideReleaseDetaches) {
    struct Case {
        int extraRefs;
        bool attached;
        int detaches;
    };
    constexpr Case kCases[] = {
        {0, true, 1},  // count 1 with an entry
        {1, true, 1},  // count 2
        {0, false, 0}, // count 1 without an entry does nothing
        {1, false, 0}, // count 2 without an entry: no bank to ask
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.extraRefs << " extra, attached " << c.attached);
        m_Bank.detaches = 0;
        {
            TTestResource resource;
            for (int i = 0; i < c.extraRefs; ++i)
                resource.AcquireRef();
            if (c.attached) {
                TResourceAccess::Attach(resource, m_Bank.id, AsEntry(&m_Bank.entry));
                m_Bank.entry.resource = &resource;
            }
        }
        EXPECT_EQ(m_Bank.detaches, c.detaches);
        m_Bank.entry.resource = nullptr;
    }
}

TEST(ResourceHash, NameHashes) {
    EXPECT_EQ(TResource::StrToID(""), 0x811C9DC5u);
    EXPECT_EQ(TResource::StrToID("abc"), 0x439C2F4Bu);
    EXPECT_EQ(TResource::StrToID("ABC"), TResource::StrToID("abc"));
    EXPECT_EQ(TResourceAccess::HashFNV32("abc"), 0x439C2F4Bu);
    EXPECT_NE(TResourceAccess::HashFNV32("ABC"), TResourceAccess::HashFNV32("abc"));
    EXPECT_EQ(TResourceAccess::HashFNV32(""), 0x811C9DC5u);
    EXPECT_EQ(TResourceAccess::HashFNV32(nullptr), 0u);
    EXPECT_EQ(TResourceAccess::HashFNV32("a"), 0x050C5D7Eu);
    EXPECT_EQ(TResourceAccess::HashFNV64(""), 0xCBF29CE484222325ull);
    EXPECT_EQ(TResourceAccess::HashFNV64("a"), 0xAF63BD4C8601B7BEull);
    EXPECT_EQ(TResourceAccess::HashFNV64(nullptr), 0ull);
}

TEST(ResourceHash, PathHashAgreesWithIdsOnAsciiOnly) {
    EXPECT_EQ(HashPathName("Data/Stone.TGA"), TResource::StrToID("data/stone.tga"));
    EXPECT_NE(HashPathName("caf\xC3\xA9"), TResource::StrToID("caf\xC3\xA9"));
    // Ids stop at 255 characters; path hashes take the whole name.
    const std::string longName(300, 'x');
    EXPECT_EQ(TResource::StrToID(longName.c_str()),
              TResource::StrToID(longName.substr(0, 255).c_str()));
    EXPECT_NE(HashPathName(longName.c_str()), HashPathName(longName.substr(0, 255).c_str()));
}

TEST(ResourceHash, VarnelHashTakesPairsThroughTheTwister) {
    auto draw = [](uint32_t seed) {
        std::mt19937 reference(seed);
        return static_cast<uint32_t>(reference());
    };
    EXPECT_EQ(TResourceAccess::VarnelHash(nullptr), 0u);
    EXPECT_EQ(TResourceAccess::VarnelHash(""), 0u);
    // One character pairs with its terminator; the previous output is 0 for the first pair.
    EXPECT_EQ(TResourceAccess::VarnelHash("a"), draw('a'));
    EXPECT_EQ(TResourceAccess::VarnelHash("A"), draw('a'));
    EXPECT_EQ(TResourceAccess::VarnelHash("ab"), draw(('b' << 8) + 'a'));
    // The second pair's seed mixes in both halves of the first output.
    const uint32_t first = draw(('b' << 8) + 'a');
    const uint32_t second = draw(static_cast<uint32_t>('c') ^ (first >> 16) ^ (first & 0xFFFF));
    EXPECT_EQ(TResourceAccess::VarnelHash("abc"), first ^ second);
    // Bytes from 0x80 are sign-extended into the seed.
    EXPECT_EQ(TResourceAccess::VarnelHash("\xE9"), draw(0xFFFFFFE9u));
}
