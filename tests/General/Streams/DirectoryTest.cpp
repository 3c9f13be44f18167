// Tests of TDirectory: path handling, moves up and down, searches with wildcard patterns,
// the file operations by name, and DeleteAllContents on awkward trees.
#include "General/Streams/Directory.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "General/Streams/FileSystem.h"
#include "General/Streams/RealFile.h"
#include "Support/TempDir.h"

namespace {

namespace fs = std::filesystem;

void WriteFile(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}

TDynamicString S(const std::string &text) {
    return TDynamicString(text.c_str());
}

std::set<std::string> Names(const TLibVector<TDynamicString> &names) {
    std::set<std::string> out;
    for (const TDynamicString &name : names)
        out.insert(name.GetData());
    return out;
}

/// A directory with a few files and a subdirectory for the search tests.
class TSampleTree {
public:
    TSampleTree() {
        for (const char *name : {"abc.txt", "ABD.TXT", "readme", "data.bin", "x.tar.gz"})
            WriteFile(m_Temp.File(name), name);
        fs::create_directory(m_Temp.File("Sub"));
    }
    const vlib::test::TTempDir &Temp() const { return m_Temp; }
    std::string Path() const { return m_Temp.Path() + "/"; }

private:
    vlib::test::TTempDir m_Temp;
};

} // namespace

TEST(Directory, PathIsTerminated) {
    struct Case {
        const char *path;
        const char *stored;
    };
    constexpr Case kCases[] = {{"", "/"}, {"a", "a/"}, {"a/", "a/"}, {"c:\\x\\", "c:\\x\\"}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.path);
        EXPECT_STREQ(TDirectory(c.path).GetPath().GetData(), c.stored);
        TDirectory dir;
        dir.SetPath(c.path);
        EXPECT_STREQ(dir.GetPath().GetData(), c.stored);
    }
    // A default-built directory has no path, so that names stand for themselves.
    EXPECT_STREQ(TDirectory().GetPath().GetData(), "");
    EXPECT_STREQ(TDirectory().FilePath("x/y").GetData(), "x/y");
}

TEST(Directory, MovesUpTheTree) {
    struct Case {
        const char *path;
        bool moved;
        const char *after;
        const char *leaf;
        const char *getLeaf;
    };
    constexpr Case kCases[] = {
        {"a/b/", true, "a/", "b/", "b"},
        {"a/", false, "a/", "", ""},
        {"/a/", true, "/", "a/", "a"},
        {"/", false, "/", "", ""},
        {"x\\y\\z\\", true, "x\\y\\", "z\\", "z"},
        {"c:/dir/", true, "c:/", "dir/", "dir"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.path);
        TDirectory dir(c.path);
        EXPECT_STREQ(dir.GetLeaf().GetData(), c.getLeaf);
        TDynamicString leaf;
        EXPECT_EQ(dir.MoveToParentDirectory(leaf), c.moved);
        EXPECT_STREQ(dir.GetPath().GetData(), c.after);
        EXPECT_STREQ(leaf.GetData(), c.leaf);
    }
    TDirectory dir("a/b/c/");
    EXPECT_TRUE(dir.MoveToParentDirectory());
    EXPECT_TRUE(dir.MoveToParentDirectory());
    EXPECT_FALSE(dir.MoveToParentDirectory());
    EXPECT_STREQ(dir.GetPath().GetData(), "a/");
}

TEST(Directory, MovesIntoSubdirectory) {
    TSampleTree tree;
    TDirectory dir(S(tree.Path()));
    EXPECT_FALSE(dir.MoveToSubdirectory("missing", false));
    EXPECT_STREQ(dir.GetPath().GetData(), tree.Path().c_str());
    EXPECT_TRUE(dir.MoveToSubdirectory("Sub", false));
    EXPECT_STREQ(dir.GetPath().GetData(), (tree.Path() + "Sub/").c_str());
    EXPECT_TRUE(dir.DirExists());
    // With create the path moves on although nothing is made.
    EXPECT_TRUE(dir.MoveToSubdirectory("later", true));
    EXPECT_FALSE(dir.DirExists());
    EXPECT_FALSE(fs::exists(tree.Temp().File("Sub/later")));
    EXPECT_TRUE(dir.CreatePath());
    EXPECT_TRUE(fs::is_directory(tree.Temp().File("Sub/later")));
}

TEST(Directory, GetFilesByPattern) {
    TSampleTree tree;
    struct Case {
        const char *pattern;
        std::set<std::string> names;
    };
    const std::set<std::string> all = {".",      "..",       "abc.txt",  "ABD.TXT",
                                       "readme", "data.bin", "x.tar.gz", "Sub"};
    const Case kCases[] = {
        {"*", all},
        {"*.*", all},
        {"*.txt", {"abc.txt", "ABD.TXT"}},
        {"AB?.txt", {"abc.txt", "ABD.TXT"}},
        {"a*c*", {"abc.txt"}},
        {"README", {"readme"}},
        {"readme.*", {"readme"}},
        {"*.gz", {"x.tar.gz"}},
        {"x.*", {"x.tar.gz"}},
        {"sub", {"Sub"}},
        {"?", {"."}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.pattern);
        TDirectory dir(S(tree.Path()));
        TLibVector<TDynamicString> names;
        dir.GetFiles(c.pattern, names);
        EXPECT_EQ(Names(names), c.names);
        EXPECT_EQ(names.size(), c.names.size());
        EXPECT_TRUE(dir.EndGetFile());
    }
}

TEST(Directory, GetFilesWithoutMatchLeavesVector) {
    TSampleTree tree;
    TDirectory dir(S(tree.Path()));
    TLibVector<TDynamicString> names;
    names.emplace_back("kept");
    dir.GetFiles("*.none", names);
    ASSERT_EQ(names.size(), 1u);
    EXPECT_STREQ(names[0].GetData(), "kept");
    TDirectory missing(S(tree.Temp().File("missing")));
    missing.GetFiles("*", names);
    EXPECT_EQ(names.size(), 1u);
}

TEST(Directory, SearchReportsEntries) {
    TSampleTree tree;
    const TFileTime stamp = TFileTime::FromUnix(1400000000, 0);
    ASSERT_TRUE(vlfs::SetFileTime(S(tree.Temp().File("data.bin")), stamp, vlfs::LastWrite));
    TDirectory dir(S(tree.Path()));
    int found = 0;
    for (bool more = dir.GetFirstFile("*"); more; more = dir.GetNextFile()) {
        const std::string name = dir.GetFileName().GetData();
        SCOPED_TRACE(name);
        EXPECT_STREQ(dir.FilePath().GetData(), (tree.Path() + name).c_str());
        const bool isDirectory = name == "." || name == ".." || name == "Sub";
        EXPECT_EQ(dir.IsADirectory(), isDirectory);
        int size = -1;
        EXPECT_TRUE(dir.GetFileSize(size));
        if (!isDirectory)
            EXPECT_EQ(size, static_cast<int>(name.size())); // each file holds its name
        if (name == "data.bin") {
            TFileTime time;
            dir.GetFileLatestWriteTime(time);
            EXPECT_EQ(time, stamp);
        }
        ++found;
    }
    EXPECT_EQ(found, 8);
    // The ended search offers nothing, and ending it twice is harmless.
    EXPECT_STREQ(dir.GetFileName().GetData(), "");
    int size = 5;
    EXPECT_FALSE(dir.GetFileSize(size));
    EXPECT_FALSE(dir.IsADirectory());
    EXPECT_TRUE(dir.EndGetFile());
    EXPECT_TRUE(dir.EndGetFile());
    EXPECT_FALSE(dir.GetNextFile());
}

TEST(Directory, SearchPatternMayNameSubdirectory) {
    TSampleTree tree;
    WriteFile(tree.Temp().File("Sub/inner.txt"), "i");
    TDirectory dir(S(tree.Path()));
    TLibVector<TDynamicString> names;
    dir.GetFiles("SUB\\*.TXT", names);
    EXPECT_EQ(Names(names), std::set<std::string>{"inner.txt"});
}

TEST(Directory, NumberOfFilesCountsDotEntries) {
    vlib::test::TTempDir temp;
    TDirectory dir(S(temp.Path()));
    EXPECT_EQ(dir.NumberOfFiles(), 2);
    for (int i = 0; i < 300; ++i)
        WriteFile(temp.File("f" + std::to_string(i)), "");
    EXPECT_EQ(dir.NumberOfFiles(), 302);
    EXPECT_EQ(TDirectory(S(temp.File("missing"))).NumberOfFiles(), 0);
}

TEST(Directory, CopyHasNoSearch) {
    TSampleTree tree;
    TDirectory dir(S(tree.Path()));
    ASSERT_TRUE(dir.GetFirstFile("readme"));
    TDirectory copy(dir);
    EXPECT_STREQ(copy.GetPath().GetData(), dir.GetPath().GetData());
    EXPECT_STREQ(copy.GetFileName().GetData(), "");
    EXPECT_STREQ(dir.GetFileName().GetData(), "readme");
    TDirectory assigned;
    ASSERT_TRUE(assigned.GetFirstFile((tree.Path() + "*").c_str()));
    assigned = dir;
    EXPECT_STREQ(assigned.GetFileName().GetData(), "");
    EXPECT_STREQ(assigned.GetPath().GetData(), tree.Path().c_str());
}

TEST(Directory, FileOperationsByName) {
    TSampleTree tree;
    TDirectory dir(S(tree.Path()));
    EXPECT_TRUE(dir.Exists("readme"));
    EXPECT_TRUE(dir.Exists("README")); // authored on Windows
    EXPECT_FALSE(dir.Exists("nothing"));
    EXPECT_EQ(dir.GetFileSize("data.bin"), 8u);
    EXPECT_EQ(dir.GetFileSize("nothing"), 0u);

    EXPECT_TRUE(dir.Touch("new"));
    EXPECT_TRUE(fs::exists(tree.Temp().File("new")));
    EXPECT_TRUE(dir.Rename("new", "renamed"));
    EXPECT_FALSE(dir.Rename("renamed", "readme"));
    TFileTime time = TFileTime::FromUnix(1100000000, 0);
    EXPECT_FALSE(dir.SetFileTime("renamed", time, vlfs::LastWrite).Unsuccessful());
    TFileTime read;
    EXPECT_FALSE(dir.GetFileTime("renamed", read).Unsuccessful());
    EXPECT_EQ(read, time);
    EXPECT_EQ(dir.GetFileTime("nothing", read).Unsuccessful(), TError::kFailure);
    EXPECT_EQ(dir.SetFileTime("nothing", time, vlfs::LastWrite).Unsuccessful(), TError::kFailure);
    TFileTime older = TFileTime::FromUnix(1000000000, 0);
    EXPECT_TRUE(dir.IsNewerThan("renamed", older));

    ASSERT_TRUE(vlfs::SetWriteable(S(tree.Temp().File("renamed")), false));
    EXPECT_TRUE(dir.IsReadOnly("renamed"));
    EXPECT_FALSE(dir.Delete("renamed"));
    EXPECT_TRUE(dir.SetWriteable("renamed"));
    EXPECT_TRUE(dir.Delete("renamed"));
    EXPECT_FALSE(dir.Exists("renamed"));
}

TEST(Directory, CopyBetweenDirectoriesOverwrites) {
    TSampleTree tree;
    const TDirectory source(S(tree.Path()));
    TDirectory target(S(tree.Temp().File("Sub")));
    WriteFile(tree.Temp().File("Sub/copy"), "old");
    EXPECT_TRUE(target.Copy(source, "readme", "copy"));
    std::ifstream in(tree.Temp().File("Sub/copy"));
    std::string content;
    in >> content;
    EXPECT_EQ(content, "readme");
    EXPECT_FALSE(target.Copy(source, "missing", "copy"));
}

TEST(Directory, ReadAndWriteHandles) {
    vlib::test::TTempDir temp;
    TDirectory dir(S(temp.Path()));
    std::unique_ptr<TRealFile> writer(dir.CreateWriteHandle("out.bin"));
    ASSERT_NE(writer, nullptr);
    EXPECT_TRUE(writer->Write("hello", 5));
    EXPECT_TRUE(writer->Close());
    std::unique_ptr<TRealFile> reader(dir.CreateReadHandle("OUT.BIN"));
    ASSERT_NE(reader, nullptr);
    char buffer[8] = {};
    EXPECT_EQ(reader->Read(buffer, 8), 5);
    EXPECT_STREQ(buffer, "hello");
    EXPECT_TRUE(reader->Close());
    EXPECT_EQ(dir.CreateReadHandle("missing"), nullptr);
    EXPECT_EQ(TDirectory(S(temp.File("no/dir"))).CreateWriteHandle("x"), nullptr);
}

TEST(Directory, OpenNewDirectory) {
    TSampleTree tree;
    const TDirectory dir;
    std::unique_ptr<TDirectory> sub(dir.OpenNewDirectory(S(tree.Temp().File("Sub"))));
    ASSERT_NE(sub, nullptr);
    EXPECT_STREQ(sub->GetPath().GetData(), (tree.Path() + "Sub/").c_str());
    EXPECT_EQ(dir.OpenNewDirectory(S(tree.Temp().File("readme"))), nullptr);
    // The path is taken as it stands, not below the directory's own.
    const TDirectory base(S(tree.Path()));
    EXPECT_EQ(base.OpenNewDirectory("Sub"), nullptr);
}

TEST(Directory, MakeAbsolute) {
    TDirectory dir("rel/dir");
    dir.MakeAbsolute();
    EXPECT_EQ(dir.GetPath().GetData(), fs::current_path().string() + "/rel/dir/");
}

TEST(Directory, DeleteAllContentsClearsAwkwardTree) {
    vlib::test::TTempDir temp;
    vlib::test::TTempDir outside;
    WriteFile(outside.File("precious"), "keep");
    const std::string root = temp.File("root");
    fs::create_directories(root + "/a/b/c");
    WriteFile(root + "/top.txt", "x");
    WriteFile(root + "/.hidden", "x");
    WriteFile(root + "/a/ro.txt", "x");
    WriteFile(root + "/a/b/c/deep.txt", "x");
    ASSERT_TRUE(vlfs::SetWriteable(S(root + "/a/ro.txt"), false));
    ASSERT_TRUE(vlfs::SetWriteable(S(root + "/a/b"), false));
    fs::create_directory_symlink(outside.Path(), root + "/a/link");

    TDirectory dir(S(root));
    EXPECT_TRUE(dir.DeleteAllContents());
    EXPECT_TRUE(fs::is_directory(root));
    EXPECT_TRUE(fs::is_empty(root));
    EXPECT_TRUE(fs::exists(outside.File("precious")));
    // An empty directory has nothing to delete.
    EXPECT_TRUE(dir.DeleteAllContents());
    EXPECT_FALSE(TDirectory(S(temp.File("missing"))).DeleteAllContents());
}

TEST(Directory, DirectoryPathMatchesWithoutCase) {
    TSampleTree tree;
    TDirectory dir(S(tree.Temp().Path() + "/SUB/"));
    EXPECT_TRUE(dir.DirExists());
    WriteFile(tree.Temp().File("Sub/File.TXT"), "f");
    TLibVector<TDynamicString> names;
    dir.GetFiles("*.txt", names);
    EXPECT_EQ(Names(names), std::set<std::string>{"File.TXT"});
    EXPECT_TRUE(dir.Exists("file.txt"));
}
