// Tests of the bank stores: the factory's kinds, the directory store's paths and walk, the
// packed store's byte layout, rewriting and deleting with compaction, damaged packs, and
// compactions that fail part-way through file faults.
#include "General/Resources/BankStore.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Resources/Resource.h"
#include "Support/FileFaults.h"
#include "Support/TempDir.h"

namespace {

using Files = std::map<std::string, std::string>;

std::string ReadDisk(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteDisk(const std::string &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

bool Put(TBankFileSystem_I &store, const std::string &path, const std::string &bytes) {
    TFileObj *file = store.OpenFile(TDynamicString(path.c_str()), 4);
    if (file == nullptr)
        return false;
    bool ok = bytes.empty() || file->Write(bytes.data(), static_cast<int>(bytes.size()));
    store.CloseFile(file);
    return ok;
}

/// The file's bytes, or "<null>" when the store cannot open it.
std::string Get(TBankFileSystem_I &store, const std::string &path) {
    TFileObj *file = store.OpenFile(TDynamicString(path.c_str()), 2);
    if (file == nullptr)
        return "<null>";
    std::string bytes(static_cast<size_t>(file->Length()), '\0');
    int got = bytes.empty() ? 0 : file->Read(bytes.data(), static_cast<int>(bytes.size()));
    store.CloseFile(file);
    return got == static_cast<int>(bytes.size()) ? bytes : "<short>";
}

class TCollect : public TBankFileVisitor_I {
public:
    explicit TCollect(int stopAfter = -1) : m_StopAfter(stopAfter) {}
    bool operator()(TBankFileSystem_I &, const TDynamicString &path) override {
        Paths.emplace_back(path.GetData());
        return static_cast<int>(Paths.size()) != m_StopAfter;
    }
    std::vector<std::string> Paths;

private:
    int m_StopAfter;
};

/// Every file of a read-only pack, through its windows.
Files ReadPack(const std::string &base) {
    TBankPackedFile pack;
    Files files;
    if (!pack.Open(base.c_str(), true))
        return {{"<unopened>", ""}};
    TCollect all;
    EXPECT_TRUE(pack.Enumerate(all));
    for (const std::string &path : all.Paths)
        files[path] = Get(pack, path);
    EXPECT_TRUE(pack.Close());
    return files;
}

TEST(BankStore, FactoryKinds) {
    struct Case {
        int kind;
        int type;
    };
    constexpr Case kCases[] = {{0, 0}, {1, 1}, {2, 0}, {7, 0}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.kind);
        std::unique_ptr<TBankFileSystem_I> store(MakeBankStore(c.kind));
        ASSERT_NE(store, nullptr);
        EXPECT_EQ(store->GetType(), c.type);
    }
}

TEST(BankDirectory, FilesPathsAndWalk) {
    vlib::test::TTempDir dir;
    TBankDirectory store;
    ASSERT_FALSE(store.Open((dir.Path() + "/missing").c_str(), false));
    ASSERT_TRUE(store.Open(dir.Path().c_str(), false));
    ASSERT_TRUE(Put(store, "sub/deep/a.txt", "alpha"));
    ASSERT_TRUE(Put(store, "b.txt", "be"));
    std::filesystem::create_directory(dir.File(".hidden"));
    WriteDisk(dir.File(".hidden/x"), "x");

    EXPECT_TRUE(store.Exists("sub/deep/a.txt"));
    EXPECT_FALSE(store.Exists("sub/deep"));
    EXPECT_EQ(store.GetFileSize("sub/deep/a.txt"), 5);
    EXPECT_EQ(Get(store, "sub/deep/a.txt"), "alpha");

    TCollect all;
    EXPECT_TRUE(store.Enumerate(all));
    std::sort(all.Paths.begin(), all.Paths.end());
    EXPECT_EQ(all.Paths, (std::vector<std::string>{"./b.txt", "./sub/deep/a.txt"}));

    store.AddFile("sub/deep/a.txt");
    const unsigned long hash = HashPathName("sub/deep/a.txt");
    EXPECT_EQ(store.GetPathOfHash(hash), "sub/deep/a.txt");
    TFileObj *byHash = store.OpenFile(hash, 2);
    ASSERT_NE(byHash, nullptr);
    store.CloseFile(byHash);
    TDynamicString where;
    unsigned long long offset = 1;
    unsigned long size = 0;
    EXPECT_TRUE(store.GetFileLocation(hash, where, offset, size));
    EXPECT_EQ(ReadDisk(where.GetData()), "alpha");
    EXPECT_EQ(offset, 0u);
    EXPECT_EQ(size, 0xFFFFFFFFul);
    store.RemoveFile("sub/deep/a.txt");
    EXPECT_EQ(store.OpenFile(hash, 2), nullptr);

    EXPECT_TRUE(store.DeleteFile("b.txt"));
    EXPECT_FALSE(store.Exists("b.txt"));

    TBankDirectory readOnly;
    ASSERT_TRUE(readOnly.Open(dir.Path().c_str(), true));
    EXPECT_EQ(readOnly.OpenFile(TDynamicString("c.txt"), 4), nullptr);
    EXPECT_EQ(readOnly.OpenFile(TDynamicString("sub/deep/a.txt"), 0x20), nullptr);
}

TEST(BankPackedFile, EmptyPackLayoutAndNames) {
    vlib::test::TTempDir dir;
    TBankPackedFile pack;
    EXPECT_FALSE(pack.Create((dir.Path() + "/x/").c_str()));
    ASSERT_TRUE(pack.Create(dir.File("p").c_str()));
    EXPECT_EQ(pack.GetRoot(), (dir.File("p.vrb")).c_str());
    EXPECT_TRUE(pack.Close());
    const std::string bytes = ReadDisk(dir.File("p.vrb"));
    EXPECT_EQ(bytes, std::string("KCAP\x02\0\0\0\x10\0\0\0\0\0\0\0\0\0\0\0", 20));

    TBankPackedFile again;
    ASSERT_TRUE(again.Open(dir.File("p.vrb").c_str(), true)); // ".vrb" is not added twice
    EXPECT_EQ(again.GetRecordCount(), 0);
    EXPECT_TRUE(again.Close());

    TBankPackedFile missing;
    EXPECT_FALSE(missing.Open(dir.File("none").c_str(), true));
}

TEST(BankPackedFile, RecordBytesOnDisk) {
    vlib::test::TTempDir dir;
    {
        TBankPackedFile pack;
        ASSERT_TRUE(pack.Open(dir.File("p").c_str(), false));
        ASSERT_TRUE(Put(pack, "d/f", "xyz"));
        TFileTime time;
        time.SetValue(0x0102030405060708ull);
        ASSERT_TRUE(pack.SetFileTime("d/f", time));
        EXPECT_TRUE(pack.Close());
    }
    const std::string bytes = ReadDisk(dir.File("p.vrb"));
    const std::string expected = std::string("KCAP\x02\0\0\0\x13\0\0\0\0\0\0\0xyz", 19) +
                                 std::string("\x01\0\0\0d/f\0\x03\0\0\0\x10\0\0\0\0\0\0\0", 20) +
                                 std::string("\x08\x07\x06\x05\x04\x03\x02\x01", 8);
    EXPECT_EQ(bytes, expected);
}

TEST(BankPackedFile, RewriteDeleteAndCompact) {
    vlib::test::TTempDir dir;
    const std::string base = dir.File("p");
    {
        TBankPackedFile pack;
        ASSERT_TRUE(pack.Open(base.c_str(), false));
        EXPECT_EQ(pack.OpenFile(TDynamicString("nothing"), 2), nullptr);
        ASSERT_TRUE(Put(pack, "a/one", "first version"));
        ASSERT_TRUE(Put(pack, "a/two", "second"));
        ASSERT_TRUE(Put(pack, "gone", "deleted later"));
        EXPECT_FALSE(pack.GetNeedsCompacting());
        ASSERT_TRUE(Put(pack, "A/ONE", "new")); // the same hash: one record
        EXPECT_TRUE(pack.GetNeedsCompacting());
        EXPECT_EQ(pack.GetRecordCount(), 3);
        EXPECT_EQ(Get(pack, "a/one"), "new");

        // A file open for writing cannot be deleted.
        TFileObj *open = pack.OpenFile(TDynamicString("a/two"), 6);
        ASSERT_NE(open, nullptr);
        (void)pack.DeleteFile("a/two");
        EXPECT_TRUE(pack.Exists("a/two"));
        pack.CloseFile(open);
        (void)pack.DeleteFile("gone");
        EXPECT_FALSE(pack.Exists("gone"));
        EXPECT_TRUE(pack.Close());
    }
    EXPECT_EQ(ReadPack(base), (Files{{"a/one", "new"}, {"a/two", "second"}}));
    const std::string bytes = ReadDisk(base + ".vrb");
    EXPECT_EQ(bytes.find("first version"), std::string::npos);
    EXPECT_EQ(bytes.find("deleted later"), std::string::npos);
    // Nothing of the temporary pack is left beside it.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1);
}

TEST(BankPackedFile, ManyFilesByPathAndHashAfterDeletes) {
    // Enough files that lookups by hash pass through crowded slots, and deletes among them.
    vlib::test::TTempDir dir;
    const std::string base = dir.File("many");
    constexpr int kFiles = 500;
    auto name = [](int i) { return "d" + std::to_string(i % 7) + "/f" + std::to_string(i); };
    auto check = [&](TBankPackedFile &pack) {
        for (int i = 0; i < kFiles; ++i) {
            SCOPED_TRACE(name(i));
            const bool kept = i % 3 != 0;
            EXPECT_EQ(Get(pack, name(i)), kept ? "body " + std::to_string(i) : "<null>");
            TFileObj *file = pack.OpenFile(HashPathName(name(i).c_str()), 2);
            EXPECT_EQ(file != nullptr, kept);
            if (file != nullptr) {
                EXPECT_EQ(file->Length(), static_cast<int>(("body " + std::to_string(i)).size()));
                pack.CloseFile(file);
            }
        }
    };
    {
        TBankPackedFile pack;
        ASSERT_TRUE(pack.Create(base.c_str()));
        for (int i = 0; i < kFiles; ++i)
            ASSERT_TRUE(Put(pack, name(i), "body " + std::to_string(i)));
        for (int i = 0; i < kFiles; i += 3)
            EXPECT_TRUE(pack.DeleteFile(name(i).c_str()));
        check(pack);
        EXPECT_TRUE(pack.Close());
    }
    TBankPackedFile pack;
    ASSERT_TRUE(pack.Open(base.c_str(), false)); // the lookups now come from the directory
    check(pack);
    EXPECT_TRUE(pack.Close());
}

TEST(BankPackedFile, ReadOnlyWindowsAndLocations) {
    vlib::test::TTempDir dir;
    const std::string base = dir.File("p");
    Files expected;
    {
        TBankPackedFile pack;
        ASSERT_TRUE(pack.Open(base.c_str(), false));
        for (int i = 0; i < 20; ++i) {
            std::string path = "dir" + std::to_string(i % 3) + "/file" + std::to_string(i);
            expected[path] = std::string(static_cast<size_t>(i * 7), static_cast<char>('a' + i));
            ASSERT_TRUE(Put(pack, path, expected[path]));
        }
        EXPECT_TRUE(pack.Close());
    }
    EXPECT_EQ(ReadPack(base), expected);

    TBankPackedFile pack;
    ASSERT_TRUE(pack.Open(base.c_str(), true));
    EXPECT_EQ(pack.OpenFile(TDynamicString("dir1/file1"), 4), nullptr);
    EXPECT_EQ(pack.OpenFile(TDynamicString("dir1/file1"), 0x20), nullptr);
    // Windows are pooled: two open at once, and a freed one is reused.
    TFileObj *a = pack.OpenWindow("dir1/file1", 2);
    TFileObj *b = pack.OpenWindow("dir2/file2", 2);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a, b);
    pack.CloseFile(a);
    TFileObj *c = pack.OpenFile(HashPathName("dir0/file3"), 2);
    EXPECT_EQ(c, a);
    pack.CloseFile(b);
    pack.CloseFile(c);

    TDynamicString where;
    unsigned long long offset = 0;
    unsigned long size = 0;
    ASSERT_TRUE(pack.GetFileLocation("dir1/file4", where, offset, size));
    EXPECT_EQ(ReadDisk(where.GetData()).substr(offset, size), expected["dir1/file4"]);
    EXPECT_FALSE(pack.GetFileLocation("dir1/file99", where, offset, size));

    TCollect first(3);
    EXPECT_FALSE(pack.Enumerate(first));
    EXPECT_EQ(first.Paths.size(), 3u);
    EXPECT_TRUE(pack.Close());
}

TEST(BankPackedFile, UnfinishedPack) {
    vlib::test::TTempDir dir;
    const std::string base = dir.File("p");
    {
        TBankPackedFile pack;
        ASSERT_TRUE(pack.Open(base.c_str(), false));
        ASSERT_TRUE(Put(pack, "kept", "bytes"));
        EXPECT_TRUE(pack.Close());
    }
    std::string bytes = ReadDisk(base + ".vrb");
    bytes.replace(4, 4, "\xFF\xFF\xFF\xFF");
    WriteDisk(base + ".vrb", bytes);

    TBankPackedFile readOnly;
    EXPECT_FALSE(readOnly.Open(base.c_str(), true));
    TBankPackedFile writable;
    ASSERT_TRUE(writable.Open(base.c_str(), false));
    EXPECT_EQ(writable.GetRecordCount(), 0);
    EXPECT_TRUE(writable.Close());
    EXPECT_EQ(ReadDisk(base + ".vrb").size(), 20u);
    // The unreadable pack's bytes are set aside, not destroyed.
    EXPECT_EQ(ReadDisk(base + ".vrb.damaged"), bytes);
}

TEST(BankPackedFile, DamagedPacksFailCleanly) {
    vlib::test::TTempDir dir;
    const std::string base = dir.File("p");
    Files expected{{"a/x", "0123456789"}, {"b/y", "abc"}, {"z", ""}};
    {
        TBankPackedFile pack;
        ASSERT_TRUE(pack.Open(base.c_str(), false));
        for (const auto &[path, text] : expected)
            ASSERT_TRUE(Put(pack, path, text));
        EXPECT_TRUE(pack.Close());
    }
    const std::string good = ReadDisk(base + ".vrb");
    // Every truncation, and a flip of each byte of the header and directory, either opens
    // to the intact files or does not open at all.
    std::vector<std::string> damaged;
    for (size_t n = 0; n < good.size(); ++n)
        damaged.push_back(good.substr(0, n));
    for (size_t i = 4; i < good.size(); ++i) {
        if (i >= 16 && i < 29)
            continue; // the files' own bytes: nothing checks them
        std::string flipped = good;
        flipped[i] = static_cast<char>(flipped[i] ^ 0xA5);
        damaged.push_back(flipped);
    }
    for (const std::string &bytes : damaged) {
        SCOPED_TRACE(bytes.size());
        WriteDisk(base + ".vrb", bytes);
        Files got = ReadPack(base);
        if (got.count("<unopened>") == 0) {
            for (const auto &[path, text] : got) {
                // A flipped path byte may rename a file; its content still comes out whole.
                bool known = false;
                for (const auto &[p, t] : expected)
                    known = known || t == text;
                EXPECT_TRUE(known) << path;
            }
        }
    }
}

TEST(BankPackedFile, InterruptedCompactionKeepsAWholePack) {
    vlib::test::TTempDir dir;
    const std::string base = dir.File("p");
    const Files expected{{"one", "new one"}, {"two/t", std::string(3000, 't')}};
    struct Case {
        const char *name;
        vlib::TFaultCountdown vlib::TFileFaults::*fault;
    };
    const Case kCases[] = {{"write", &vlib::TFileFaults::Write},
                           {"short write", &vlib::TFileFaults::ShortWrite},
                           {"seek", &vlib::TFileFaults::Seek},
                           {"flush", &vlib::TFileFaults::Flush}};
    for (const Case &c : kCases)
        for (int n = 1;; ++n) {
            SCOPED_TRACE(std::string(c.name) + " " + std::to_string(n));
            ASSERT_LT(n, 200);
            std::filesystem::remove_all(dir.Path());
            std::filesystem::create_directories(dir.Path());
            TBankPackedFile pack;
            ASSERT_TRUE(pack.Open(base.c_str(), false));
            ASSERT_TRUE(Put(pack, "one", "old one"));
            ASSERT_TRUE(Put(pack, "gone", "x"));
            ASSERT_TRUE(Put(pack, "two/t", expected.at("two/t")));
            ASSERT_TRUE(Put(pack, "one", "new one"));
            (void)pack.DeleteFile("gone");
            ASSERT_TRUE(pack.Flush());
            const std::string before = ReadDisk(base + ".vrb");

            bool closed;
            uint64_t failures;
            {
                vlib::test::TFileFaultGuard faults;
                ((*faults).*(c.fault)).Arm(static_cast<uint64_t>(n), true);
                closed = pack.Close();
                failures = ((*faults).*(c.fault)).GetFailures();
            }
            EXPECT_EQ(ReadPack(base), expected);
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1);
            if (failures == 0) {
                EXPECT_TRUE(closed);
                EXPECT_LT(ReadDisk(base + ".vrb").size(), before.size());
                EXPECT_GT(n, 1); // the copy itself was failed on the way here
                break;
            }
            EXPECT_FALSE(closed);
            EXPECT_EQ(ReadDisk(base + ".vrb"), before); // the old pack, untouched
        }
}

} // namespace

namespace {

TEST(BankPackedFile, ReadingUnderAllocationFailuresLeaksNothing) {
    vlib::test::TTempDir dir;
    const std::string base = dir.File("p");
    Files expected;
    {
        TBankPackedFile pack;
        ASSERT_TRUE(pack.Open(base.c_str(), false));
        for (int i = 0; i < 6; ++i) {
            std::string path = "d" + std::to_string(i % 2) + "/f" + std::to_string(i);
            expected[path] = std::string(static_cast<size_t>(10 + i), 'x');
            ASSERT_TRUE(Put(pack, path, expected[path]));
        }
        ASSERT_TRUE(pack.Close());
    }
    ASSERT_EQ(ReadPack(base), expected); // interns the directories, which live to exit
    // Some failed allocations only degrade a name the store never reads again (the file
    // object's own copy of its path), so success is not required to be impossible; a
    // reported success must give every file correctly, and nothing may leak.
    auto attempt = [&]() {
        TBankPackedFile pack;
        if (!pack.Open(base.c_str(), true))
            return false;
        TCollect all;
        bool ok = pack.Enumerate(all) && all.Paths.size() == expected.size();
        for (const std::string &path : all.Paths) {
            auto it = expected.find(path);
            ok = ok && it != expected.end() && Get(pack, path) == it->second;
        }
        ok = pack.Close() && ok;
        return ok;
    };
    vlib::test::TAllocatorFaultGuard guard;
    auto &faults = GetAllocatorInstance().Faults();
    int n = 1;
    for (;; ++n) {
        SCOPED_TRACE(n);
        ASSERT_LT(n, 10000);
        const size_t liveBefore = GetAllocatorInstance().GetLiveBlocks();
        faults.Arm(static_cast<uint64_t>(n));
        const bool ok = attempt();
        const bool hit = faults.GetFailures() != 0;
        faults.Disarm();
        EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), liveBefore);
        if (!hit) {
            EXPECT_TRUE(ok);
            break;
        }
    }
    EXPECT_GT(n, 5);
}

TEST(BankPackedFile, AddingAFileUnderAllocationFailuresLeaksNothing) {
    vlib::test::TTempDir dir;
    const std::string pristine = dir.File("pristine");
    const std::string base = dir.File("p");
    {
        TBankPackedFile pack;
        ASSERT_TRUE(pack.Open(pristine.c_str(), false));
        ASSERT_TRUE(Put(pack, "old/kept", "12345"));
        ASSERT_TRUE(Put(pack, "new/first", "x")); // interns the directory, which lives to exit
        ASSERT_TRUE(pack.Close());
    }
    vlib::test::TAllocatorFaultGuard guard;
    auto &faults = GetAllocatorInstance().Faults();
    int n = 1;
    for (bool hit = true; hit; ++n) {
        SCOPED_TRACE(n);
        ASSERT_LT(n, 10000);
        std::filesystem::copy_file(pristine + ".vrb", base + ".vrb",
                                   std::filesystem::copy_options::overwrite_existing);
        const size_t liveBefore = GetAllocatorInstance().GetLiveBlocks();
        {
            TBankPackedFile pack;
            ASSERT_TRUE(pack.Open(base.c_str(), false));
            faults.Arm(static_cast<uint64_t>(n));
            const bool put = Put(pack, "new/second", "abc");
            hit = faults.GetFailures() != 0;
            faults.Disarm();
            if (!hit)
                EXPECT_TRUE(put);
            (void)pack.Close();
        }
        EXPECT_EQ(GetAllocatorInstance().GetLiveBlocks(), liveBefore);
    }
    EXPECT_GT(n, 2);
}

} // namespace
