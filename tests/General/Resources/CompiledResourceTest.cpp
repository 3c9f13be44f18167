// Tests of the compiled-file header: its exact bytes, the refusals of damaged or unfinished
// files, the bound on the dependency count, and the ordered dependency list.
#include "General/Resources/CompiledResource.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "General/Resources/Detail/ResourceBank.h"
#include "General/Resources/ResourceManager.h"
#include "General/Streams/FileBuf.h"
#include "ResourceTestTypes.h"
#include "Support/TempDir.h"

namespace {

using Bytes = std::vector<unsigned char>;

TCompiledResourceFileHeader MakeHeader(uint64_t sourceTime, std::vector<uint32_t> ids) {
    TCompiledResourceFileHeader header;
    TFileTime time;
    time.SetValue(sourceTime);
    header.SetSourceTime(time);
    for (uint32_t id : ids) {
        TFileTime dependencyTime;
        dependencyTime.SetValue(sourceTime + id);
        header.InsertDependency(id, dependencyTime);
    }
    return header;
}

// Saves the header into a block of exactly the right size, completed or not.
Bytes Save(TCompiledResourceFileHeader &header, bool complete) {
    Bytes bytes(static_cast<size_t>(TCompiledResourceFileHeader::kFixedSize) +
                header.GetDependencies().size() * TCompiledResourceFileHeader::kDependencySize);
    TFixedFileBuf file;
    EXPECT_TRUE(file.Open(bytes.data(), static_cast<int>(bytes.size()), 4));
    EXPECT_TRUE(header.SaveBinary(&file));
    if (complete)
        EXPECT_TRUE(header.WriteFileCompleteFlag(&file));
    file.Close();
    return bytes;
}

bool Load(Bytes bytes, TCompiledResourceFileHeader &header) {
    TFixedFileBuf file;
    if (bytes.empty())
        bytes.push_back(0); // a fixed buffer needs a block; the read sees a length of 0
    EXPECT_TRUE(file.Open(bytes.data(), static_cast<int>(bytes.size()), 2));
    return header.LoadBinary(&file);
}

void PutWord(Bytes &bytes, size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<unsigned char>(value >> (8 * i));
}

TEST(CompiledResourceFileHeader, WritesTheFixedLayoutLittleEndian) {
    TCompiledResourceFileHeader header = MakeHeader(0x0102030405060708ull, {0xA1B2C3D4u});
    const Bytes incomplete = Save(header, false);
    const Bytes complete = Save(header, true);
    const Bytes expected = {'C',  'R',  'E',  'S',  0xFF, 0xFF, 0xFF, 0xFF, 0x08, 0x07, 0x06,
                            0x05, 0x04, 0x03, 0x02, 0x01, 0x01, 0x00, 0x00, 0x00, 0xD4, 0xC3,
                            0xB2, 0xA1, 0xDC, 0xCA, 0xB8, 0xA6, 0x04, 0x03, 0x02, 0x01};
    EXPECT_EQ(incomplete, expected);
    Bytes done = expected;
    PutWord(done, 4, 1);
    EXPECT_EQ(complete, done);
    EXPECT_EQ(TCompiledResourceFileHeader::sm_uiCompiledResourceHeaderVersion, 1u);
    uint32_t bsrc;
    std::memcpy(&bsrc, "BSRC", 4);
    EXPECT_EQ(TCompiledResourceFileHeader::sm_uiMagicNumberForBinarySource, bsrc);
}

TEST(CompiledResourceFileHeader, RoundTripsSourceTimeAndDependencies) {
    TCompiledResourceFileHeader header = MakeHeader(133000000000000000ull, {9, 3, 0xFFFFFFFFu, 0});
    const Bytes bytes = Save(header, true);
    TCompiledResourceFileHeader loaded = MakeHeader(5, {77});
    ASSERT_TRUE(Load(bytes, loaded));
    EXPECT_EQ(loaded.GetSourceTime(), header.GetSourceTime());
    EXPECT_EQ(loaded.GetDependencies(), header.GetDependencies());
    ASSERT_EQ(loaded.GetDependencies().size(), 4u);

    // The reader stops at the end of the header, where the versioned header follows.
    Bytes withData = bytes;
    withData.insert(withData.end(), {'V', 'R', 'S', 'N'});
    TFixedFileBuf file;
    ASSERT_TRUE(file.Open(withData.data(), static_cast<int>(withData.size()), 2));
    ASSERT_TRUE(loaded.LoadBinary(&file));
    EXPECT_EQ(file.GetPos(), static_cast<int>(bytes.size()));
}

TEST(CompiledResourceFileHeader, RefusesDamagedAndUnfinishedFiles) {
    TCompiledResourceFileHeader header = MakeHeader(1000, {1, 2, 3});
    const Bytes good = Save(header, true);
    struct Case {
        const char *name;
        size_t at;      // where the word is patched
        uint32_t value; // what it becomes
    };
    constexpr Case kCases[] = {
        {"writer died, flag still 0xFFFFFFFF", 4, 0xFFFFFFFFu},
        {"flag 2", 4, 2},
        {"flag 0", 4, 0},
        {"wrong magic", 0, 0x43525342u},
        {"count one above the records", 16, 4},
        {"count near the top", 16, 0xFFFFFFFFu},
        {"count past 32 bits of bytes", 16, 0x20000000u},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        Bytes bad = good;
        PutWord(bad, c.at, c.value);
        TCompiledResourceFileHeader loaded = MakeHeader(5, {77});
        EXPECT_FALSE(Load(bad, loaded));
        EXPECT_TRUE(loaded.GetDependencies().empty());
    }
    TCompiledResourceFileHeader loaded;
    EXPECT_TRUE(Load(good, loaded));
    EXPECT_FALSE(loaded.LoadBinary(nullptr));
    EXPECT_FALSE(loaded.SaveBinary(nullptr));
    EXPECT_FALSE(loaded.WriteFileCompleteFlag(nullptr));
}

TEST(CompiledResourceFileHeader, RefusesEveryTruncation) {
    TCompiledResourceFileHeader header = MakeHeader(42, {10, 20});
    const Bytes good = Save(header, true);
    for (size_t length = 0; length < good.size(); ++length) {
        SCOPED_TRACE(length);
        TCompiledResourceFileHeader loaded;
        EXPECT_FALSE(Load(Bytes(good.begin(), good.begin() + length), loaded));
    }
}

TEST(CompiledResourceFileHeader, KeepsDependenciesSortedAndUnique) {
    TCompiledResourceFileHeader header;
    TFileTime first;
    first.SetValue(1);
    TFileTime second;
    second.SetValue(2);
    const uint32_t ids[] = {50, 10, 30, 10, 0xFFFFFFFFu, 0, 30};
    const bool added[] = {true, true, true, false, true, true, false};
    for (size_t i = 0; i < std::size(ids); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(header.InsertDependency(ids[i], added[i] ? first : second), added[i]);
    }
    std::vector<uint32_t> order;
    for (const TCompiledDependency &dependency : header.GetDependencies()) {
        order.push_back(dependency.id);
        EXPECT_EQ(dependency.time, first); // a repeated id keeps its first time
    }
    EXPECT_EQ(order, (std::vector<uint32_t>{0, 10, 30, 50, 0xFFFFFFFFu}));
}

TEST(CompiledResourceFileHeader, LoadUnderFailingAllocationsLeaksNothing) {
    TCompiledResourceFileHeader header = MakeHeader(7, {1, 2, 3, 4, 5});
    const Bytes good = Save(header, true);
    const int attempts = vlib::test::RunUntilAllocationsSucceed([&] {
        TCompiledResourceFileHeader loaded;
        return Load(good, loaded) && loaded.GetDependencies() == header.GetDependencies();
    });
    EXPECT_GT(attempts, 1);
}

// Dependencies taken from a loaded resource through the manager and its banks.
class CompiledResourceDependencyTest : public testing::Test {
protected:
    void SetUp() override {
        TResourceManager_I &manager = GetResourceManager();
        ASSERT_TRUE(manager.AddFactory(&vlib::test::TTextResource::Factory));
        std::ofstream(m_Dir.File("rules.rre"))
            << "PATHRULE \"...<*>.txt\" tag=\"$1\" type=\"testtext\"\n";
        const std::string location = m_Dir.File("tree");
        ASSERT_TRUE(vlib::test::WriteTree(0, location,
                                          {{"./alpha.txt", "colour=red\n"},
                                           {"./zeta.txt", "size=1\n"},
                                           {"./beta.txt", "import=zeta\nimport=alpha\n"}}));
        m_Bank = manager.OpenBank(0, location.c_str(), m_Dir.File("rules.rre").c_str(), true,
                                  TDynamicString());
        ASSERT_NE(m_Bank, nullptr);
    }
    void TearDown() override {
        TResourceManager_I &manager = GetResourceManager();
        while (manager.GetNumBanks() > 0)
            manager.CloseBank(manager.GetBank(0));
        (void)manager.RemoveFactory(&vlib::test::TTextResource::Factory);
    }

    vlib::test::TTempDir m_Dir;
    TResourceBank_I *m_Bank = nullptr;
};

TEST_F(CompiledResourceDependencyTest, RecordsEachImportedResourceOnceInIdOrder) {
    TResource *beta = GetResourceManager().ImportResource("beta", 0);
    ASSERT_NE(beta, nullptr);
    TCompiledResourceFileHeader header;
    header.CopyDependenciesFromResource(beta);
    header.CopyDependenciesFromResource(beta); // nothing new the second time
    header.CopyDependenciesFromResource(nullptr);

    const uint32_t alpha = TResource::StrToID("alpha");
    const uint32_t zeta = TResource::StrToID("zeta");
    ASSERT_EQ(header.GetDependencies().size(), 2u);
    EXPECT_EQ(header.GetDependencies()[0].id, std::min(alpha, zeta));
    EXPECT_EQ(header.GetDependencies()[1].id, std::max(alpha, zeta));
    for (const TCompiledDependency &dependency : header.GetDependencies()) {
        TResourceBankEntry_I *entry = m_Bank->FindEntry(dependency.id);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(dependency.time, m_Bank->GetSourceTime(entry));
        EXPECT_FALSE(dependency.time.IsZero());
    }

    // An entry added by hand lands in order; its id is that of its tag.
    TResourceBankEntry_I *self = m_Bank->FindEntry(TResource::StrToID("beta"));
    ASSERT_NE(self, nullptr);
    header.AddDependency(m_Bank, self);
    header.AddDependency(m_Bank, self);
    header.AddDependency(nullptr, self);
    ASSERT_EQ(header.GetDependencies().size(), 3u);
    EXPECT_TRUE(header.HasDependency(TResource::StrToID("beta")));
    for (size_t i = 1; i < header.GetDependencies().size(); ++i)
        EXPECT_LT(header.GetDependencies()[i - 1].id, header.GetDependencies()[i].id);
    GetResourceManager().ReleaseResource(beta);
}

} // namespace
