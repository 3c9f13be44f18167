// Tests of the file-system layer: path arithmetic on text, and the disk operations with the
// Windows behaviour the library keeps on Linux (no overwriting moves, read-only files that
// cannot be deleted, copies that keep their time, case-insensitive lookup of Windows paths).
#include "General/Streams/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "Support/TempDir.h"

namespace {

namespace fs = std::filesystem;

void WriteFile(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string ReadFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TDynamicString S(const std::string &text) {
    return TDynamicString(text.c_str());
}

TFileTime Mtime(const std::string &path) {
    struct stat st;
    EXPECT_EQ(::stat(path.c_str(), &st), 0) << path;
    return TFileTime::FromUnix(st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
}

/// Runs a test in another current directory and goes back afterwards.
class TCurrentDirectory {
public:
    explicit TCurrentDirectory(const std::string &path) : m_Old(fs::current_path()) {
        fs::current_path(path);
    }
    ~TCurrentDirectory() { fs::current_path(m_Old); }

private:
    fs::path m_Old;
};

} // namespace

TEST(FileSystemPath, Separators) {
    EXPECT_TRUE(vlfs::path::IsSep('/'));
    EXPECT_TRUE(vlfs::path::IsSep('\\'));
    EXPECT_FALSE(vlfs::path::IsSep(':'));
}

TEST(FileSystemPath, IsAbsAndSplitDrive) {
    struct Case {
        const char *path;
        bool absolute;
        const char *drive;
        const char *rest;
    };
    constexpr Case kCases[] = {
        {"c:foo", false, "c:", "foo"},
        {"c:/foo", true, "c:", "/foo"},
        {"\\foo", true, "", "\\foo"},
        {"/foo", true, "", "/foo"},
        {"foo/bar", false, "", "foo/bar"},
        {"", false, "", ""},
        {"c", false, "", "c"},
        {"c:", false, "c:", ""},
        {":x", false, "", ":x"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(vlfs::path::IsAbs(c.path), c.absolute);
        const auto [drive, rest] = vlfs::path::SplitDrive(c.path);
        EXPECT_STREQ(drive.GetData(), c.drive);
        EXPECT_STREQ(rest.GetData(), c.rest);
    }
}

TEST(FileSystemPath, Split) {
    struct Case {
        const char *path;
        const char *head;
        const char *tail;
    };
    constexpr Case kCases[] = {
        {"a/b/c", "a/b", "c"},    {"a/b/", "a/b", ""}, {"/a", "/", "a"},
        {"c:/", "c:/", ""},       {"a", "", "a"},      {"", "", ""},
        {"//a", "//", "a"},       {"a//b", "a", "b"},  {"c:a/b", "c:a", "b"},
        {"a\\b\\c", "a\\b", "c"}, {"/", "/", ""},      {"c:x", "c:", "x"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.path);
        const auto [head, tail] = vlfs::path::Split(c.path);
        EXPECT_STREQ(head.GetData(), c.head);
        EXPECT_STREQ(tail.GetData(), c.tail);
    }
}

TEST(FileSystemPath, Join) {
    struct Case {
        const char *a;
        const char *b;
        const char *joined;
    };
    constexpr Case kCases[] = {
        {"a", "", "a/"},      {"c:/", "/b", "c:/b"},  {"a/", "/b", "/b"},       {"c:", "b", "c:b"},
        {"c:/a", "/b", "/b"}, {"c:", "d:/x", "d:/x"}, {"", "b", "b"},           {"a", "b", "a/b"},
        {"a/", "b", "a/b"},   {"c:", "/x", "c:/x"},   {"c:\\", "\\x", "c:\\x"}, {"c:x", "/y", "/y"},
        {"a", "/b", "/b"},    {"a\\", "b", "a\\b"},   {"/", "x", "/x"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.a << " + " << c.b);
        EXPECT_STREQ(vlfs::path::Join(c.a, c.b).GetData(), c.joined);
    }
}

TEST(FileSystemPath, Terminate) {
    struct Case {
        const char *path;
        const char *terminated;
    };
    constexpr Case kCases[] = {{"", "/"}, {"a", "a/"}, {"a/", "a/"}, {"a\\", "a\\"}, {"c:", "c:/"}};
    for (const Case &c : kCases) {
        TDynamicString path(c.path);
        EXPECT_STREQ(vlfs::path::Terminate(path).GetData(), c.terminated) << c.path;
    }
}

TEST(FileSystemPath, MakeAbsolute) {
    vlib::test::TTempDir temp;
    const std::string real = fs::canonical(temp.Path()).string();
    TCurrentDirectory cwd(real);
    struct Case {
        const char *path;
        std::string absolute;
    };
    const Case kCases[] = {
        {"a/b", real + "/a/b"},
        {"a/./b/../c/", real + "/a/c/"},
        {"", real + "/"},
        {"..", fs::path(real).parent_path().string()},
        {"/x//y/./z", "/x/y/z"},
        {"\\x\\y", "/x/y"},
        {"/..", "/"},
        {"c:/a/../b", "c:/b"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.path);
        TDynamicString path(c.path);
        EXPECT_STREQ(vlfs::path::MakeAbsolute(path).GetData(), c.absolute.c_str());
    }
    // A result too long for a path leaves the text as it was.
    std::string longPath;
    for (int i = 0; i < 900; ++i)
        longPath += "abcd/";
    TDynamicString path(longPath.c_str());
    EXPECT_STREQ(vlfs::path::MakeAbsolute(path).GetData(), longPath.c_str());
}

TEST(FileSystem, ExistenceAndKind) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File("file.txt"), "12345");
    fs::create_directory(temp.File("dir"));
    struct Case {
        std::string path;
        bool exists, isFile, isDirectory;
        unsigned long size;
    };
    const Case kCases[] = {
        {temp.File("file.txt"), true, true, false, 5},   {temp.File("dir"), true, false, true, 0},
        {temp.File("dir/"), true, false, true, 0},       {temp.File("dir\\"), true, false, true, 0},
        {temp.File("missing"), false, false, false, 99}, {"", false, false, false, 99},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(vlfs::Exists(S(c.path)), c.exists);
        EXPECT_EQ(vlfs::IsFile(S(c.path)), c.isFile);
        EXPECT_EQ(vlfs::IsDirectory(S(c.path)), c.isDirectory);
        EXPECT_FALSE(vlfs::IsReadOnly(S(c.path)));
        unsigned long size = 99;
        EXPECT_EQ(vlfs::FileSize(S(c.path), size), c.exists);
        EXPECT_EQ(size, c.size);
    }
}

TEST(FileSystem, FileSizeKeepsLow32Bits) {
    vlib::test::TTempDir temp;
    const std::string path = temp.File("sparse.bin");
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::ftruncate(fd, (1LL << 32) + 7), 0);
    ::close(fd);
    unsigned long size = 0;
    ASSERT_TRUE(vlfs::FileSize(S(path), size));
    EXPECT_EQ(size, 7u);
}

TEST(FileSystem, WindowsPathsMatchWithoutCase) {
    vlib::test::TTempDir temp;
    fs::create_directories(temp.File("resource/Textures"));
    WriteFile(temp.File("resource/Textures/Brick.DDS"), "brick");
    // Authored on Windows: other case, backslashes.
    const TDynamicString authored = S(temp.Path() + "\\Resource\\textures\\brick.dds");
    EXPECT_TRUE(vlfs::Exists(authored));
    EXPECT_TRUE(vlfs::IsFile(authored));
    unsigned long size = 0;
    EXPECT_TRUE(vlfs::FileSize(authored, size));
    EXPECT_EQ(size, 5u);
    EXPECT_TRUE(vlfs::IsDirectory(S(temp.Path() + "/RESOURCE/TEXTURES")));
    EXPECT_FALSE(vlfs::Exists(S(temp.Path() + "/resource/textures/stone.dds")));
    // A new file goes into the matching directory with the case it was given.
    ASSERT_TRUE(vlfs::Touch(S(temp.Path() + "/Resource/TEXTURES/New.txt")));
    EXPECT_TRUE(fs::exists(temp.File("resource/Textures/New.txt")));
}

TEST(FileSystem, ExactNameWinsOverCaseMatch) {
    vlib::test::TTempDir temp;
    fs::create_directory(temp.File("data"));
    fs::create_directory(temp.File("Data"));
    WriteFile(temp.File("data/a.txt"), "lower");
    WriteFile(temp.File("Data/a.txt"), "upper!");
    unsigned long size = 0;
    ASSERT_TRUE(vlfs::FileSize(S(temp.File("Data/a.txt")), size));
    EXPECT_EQ(size, 6u);
    ASSERT_TRUE(vlfs::FileSize(S(temp.File("data/a.txt")), size));
    EXPECT_EQ(size, 5u);
    // Without an exact match the smallest of the names wins: "Data" before "data".
    ASSERT_TRUE(vlfs::FileSize(S(temp.File("DATA/a.txt")), size));
    EXPECT_EQ(size, 6u);
}

TEST(FileSystem, CaseMatchSeesNewEntries) {
    vlib::test::TTempDir temp;
    fs::create_directory(temp.File("dir"));
    EXPECT_FALSE(vlfs::Exists(S(temp.File("DIR/late.txt"))));
    WriteFile(temp.File("dir/Late.txt"), "x");
    EXPECT_TRUE(vlfs::Exists(S(temp.File("DIR/late.txt"))));
    fs::remove(temp.File("dir/Late.txt"));
    EXPECT_FALSE(vlfs::Exists(S(temp.File("DIR/late.txt"))));
}

TEST(FileSystem, RenameNeverOverwrites) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File("a"), "aaa");
    WriteFile(temp.File("b"), "bb");
    EXPECT_FALSE(vlfs::Rename(S(temp.File("a")), S(temp.File("b"))));
    EXPECT_EQ(ReadFile(temp.File("b")), "bb");
    EXPECT_TRUE(vlfs::Rename(S(temp.File("a")), S(temp.File("c"))));
    EXPECT_FALSE(fs::exists(temp.File("a")));
    EXPECT_EQ(ReadFile(temp.File("c")), "aaa");
    EXPECT_FALSE(vlfs::Rename(S(temp.File("missing")), S(temp.File("d"))));
    // Directories move too, and a name may change only in case.
    fs::create_directory(temp.File("dir"));
    EXPECT_TRUE(vlfs::Rename(S(temp.File("dir")), S(temp.File("moved"))));
    EXPECT_TRUE(fs::is_directory(temp.File("moved")));
    EXPECT_TRUE(vlfs::Rename(S(temp.File("c")), S(temp.File("C"))));
    EXPECT_EQ(ReadFile(temp.File("C")), "aaa");
}

TEST(FileSystem, DeleteRefusesReadOnlyAndDirectories) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File("file"), "x");
    fs::create_directory(temp.File("dir"));
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("file")), false));
    EXPECT_TRUE(vlfs::IsReadOnly(S(temp.File("file"))));
    EXPECT_FALSE(vlfs::Delete(S(temp.File("file"))));
    EXPECT_TRUE(fs::exists(temp.File("file")));
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("file")), true));
    EXPECT_FALSE(vlfs::IsReadOnly(S(temp.File("file"))));
    EXPECT_TRUE(vlfs::Delete(S(temp.File("file"))));
    EXPECT_FALSE(fs::exists(temp.File("file")));
    EXPECT_FALSE(vlfs::Delete(S(temp.File("file"))));
    EXPECT_FALSE(vlfs::Delete(S(temp.File("dir"))));
    EXPECT_TRUE(fs::is_directory(temp.File("dir")));
}

TEST(FileSystem, DeleteRemovesLinkNotTarget) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File("target"), "keep");
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("target")), false));
    fs::create_symlink(temp.File("target"), temp.File("link"));
    EXPECT_TRUE(vlfs::Delete(S(temp.File("link"))));
    EXPECT_FALSE(fs::is_symlink(temp.File("link")));
    EXPECT_EQ(ReadFile(temp.File("target")), "keep");
}

TEST(FileSystem, DeleteDirectoryOnlyWhenEmptyAndWriteable) {
    vlib::test::TTempDir temp;
    fs::create_directories(temp.File("full/inner"));
    fs::create_directory(temp.File("locked"));
    fs::create_directory(temp.File("empty"));
    WriteFile(temp.File("file"), "x");
    EXPECT_FALSE(vlfs::DeleteDirectory(S(temp.File("full"))));
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("locked")), false));
    EXPECT_FALSE(vlfs::DeleteDirectory(S(temp.File("locked"))));
    EXPECT_FALSE(vlfs::DeleteDirectory(S(temp.File("file"))));
    EXPECT_TRUE(vlfs::DeleteDirectory(S(temp.File("empty"))));
    EXPECT_FALSE(fs::exists(temp.File("empty")));
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("locked")), true));
    EXPECT_TRUE(vlfs::DeleteDirectory(S(temp.File("locked"))));
}

TEST(FileSystem, CopyKeepsTimeAndHonoursOverwrite) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File("src"), "source content");
    TFileTime old = TFileTime::FromUnix(1000000000, 123456700);
    ASSERT_TRUE(vlfs::SetFileTime(S(temp.File("src")), old, vlfs::LastWrite));
    ::chmod(temp.File("src").c_str(), 0640);

    EXPECT_TRUE(vlfs::Copy(S(temp.File("src")), S(temp.File("dst")), false));
    EXPECT_EQ(ReadFile(temp.File("dst")), "source content");
    EXPECT_EQ(Mtime(temp.File("dst")), old);
    struct stat st;
    ASSERT_EQ(::stat(temp.File("dst").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);

    WriteFile(temp.File("other"), "other");
    EXPECT_FALSE(vlfs::Copy(S(temp.File("other")), S(temp.File("dst")), false));
    EXPECT_EQ(ReadFile(temp.File("dst")), "source content");
    EXPECT_TRUE(vlfs::Copy(S(temp.File("other")), S(temp.File("dst")), true));
    EXPECT_EQ(ReadFile(temp.File("dst")), "other");

    // A read-only target, the file itself, a directory and a missing source all refuse.
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("dst")), false));
    EXPECT_FALSE(vlfs::Copy(S(temp.File("src")), S(temp.File("dst")), true));
    EXPECT_EQ(ReadFile(temp.File("dst")), "other");
    EXPECT_FALSE(vlfs::Copy(S(temp.File("src")), S(temp.File("src")), true));
    EXPECT_EQ(ReadFile(temp.File("src")), "source content");
    fs::create_directory(temp.File("dir"));
    EXPECT_FALSE(vlfs::Copy(S(temp.File("dir")), S(temp.File("dir2")), true));
    EXPECT_FALSE(fs::exists(temp.File("dir2")));
    EXPECT_FALSE(vlfs::Copy(S(temp.File("missing")), S(temp.File("x")), true));
    EXPECT_FALSE(fs::exists(temp.File("x")));
}

TEST(FileSystem, CopyOfReadOnlySourceIsReadOnly) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File("src"), std::string(200000, 'z'));
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("src")), false));
    ASSERT_TRUE(vlfs::Copy(S(temp.File("src")), S(temp.File("dst")), false));
    EXPECT_TRUE(vlfs::IsReadOnly(S(temp.File("dst"))));
    EXPECT_EQ(ReadFile(temp.File("dst")), std::string(200000, 'z'));
}

TEST(FileSystem, CreatePath) {
    vlib::test::TTempDir temp;
    EXPECT_TRUE(vlfs::CreatePath(S(temp.File("a/b/c"))));
    EXPECT_TRUE(fs::is_directory(temp.File("a/b/c")));
    EXPECT_TRUE(vlfs::CreatePath(S(temp.File("a/b/c"))));
    // A closing separator, as TDirectory keeps it, and backslashes.
    EXPECT_TRUE(vlfs::CreatePath(S(temp.File("x/y/"))));
    EXPECT_TRUE(fs::is_directory(temp.File("x/y")));
    EXPECT_TRUE(vlfs::CreatePath(S(temp.Path() + "\\p\\q")));
    EXPECT_TRUE(fs::is_directory(temp.File("p/q")));
    // Through a file there is no way.
    WriteFile(temp.File("file"), "x");
    EXPECT_FALSE(vlfs::CreatePath(S(temp.File("file/sub"))));
    EXPECT_FALSE(vlfs::CreatePath(""));
}

TEST(FileSystem, CreatePathOfNewRelativeRootMakesNothing) {
    vlib::test::TTempDir temp;
    TCurrentDirectory cwd(temp.Path());
    EXPECT_FALSE(vlfs::CreatePath("new/sub"));
    EXPECT_FALSE(fs::exists(temp.File("new")));
    // Below an existing relative directory it works.
    EXPECT_TRUE(vlfs::CreatePath("./new/sub"));
    EXPECT_TRUE(fs::is_directory(temp.File("new/sub")));
}

TEST(FileSystem, FileTimesSetAndRead) {
    vlib::test::TTempDir temp;
    const TDynamicString path = S(temp.File("f"));
    WriteFile(temp.File("f"), "x");
    struct Case {
        vlfs::LTTimes which;
        long long seconds;
    };
    constexpr Case kCases[] = {{vlfs::LastWrite, 1234567890}, {vlfs::LastAccess, 987654321}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.which);
        const TFileTime time = TFileTime::FromUnix(c.seconds, 987654300);
        ASSERT_TRUE(vlfs::SetFileTime(path, time, c.which));
        TFileTime read;
        ASSERT_TRUE(vlfs::FileTime(path, read, c.which));
        EXPECT_EQ(read, time);
    }
    // Setting one time leaves the other.
    TFileTime written;
    ASSERT_TRUE(vlfs::FileTime(path, written, vlfs::LastWrite));
    EXPECT_EQ(written, TFileTime::FromUnix(1234567890, 987654300));

    TFileTime created;
    EXPECT_TRUE(vlfs::FileTime(path, created, vlfs::Creation));
    EXPECT_FALSE(created.IsZero());
    EXPECT_FALSE(vlfs::SetFileTime(path, created, vlfs::Creation));
    TFileTime untouched = TFileTime::FromUnix(5, 0);
    EXPECT_FALSE(vlfs::FileTime(S(temp.File("missing")), untouched, vlfs::LastWrite));
    EXPECT_EQ(untouched, TFileTime::FromUnix(5, 0));
    EXPECT_FALSE(vlfs::SetFileTime(S(temp.File("missing")), created, vlfs::LastWrite));
}

TEST(FileSystem, IsNewerThan) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File("old"), "o");
    WriteFile(temp.File("new"), "n");
    const TFileTime oldTime = TFileTime::FromUnix(1500000000, 0);
    const TFileTime newTime = TFileTime::FromUnix(1500000000, 100);
    ASSERT_TRUE(vlfs::SetFileTime(S(temp.File("old")), oldTime, vlfs::LastWrite));
    ASSERT_TRUE(vlfs::SetFileTime(S(temp.File("new")), newTime, vlfs::LastWrite));
    EXPECT_TRUE(vlfs::IsNewerThan(S(temp.File("new")), S(temp.File("old"))));
    EXPECT_FALSE(vlfs::IsNewerThan(S(temp.File("old")), S(temp.File("new"))));
    EXPECT_FALSE(vlfs::IsNewerThan(S(temp.File("old")), S(temp.File("old"))));
    EXPECT_FALSE(vlfs::IsNewerThan(S(temp.File("missing")), S(temp.File("old"))));
    EXPECT_FALSE(vlfs::IsNewerThan(S(temp.File("new")), S(temp.File("missing"))));
    TFileTime probe = oldTime;
    EXPECT_TRUE(vlfs::IsNewerThan(S(temp.File("new")), probe));
    EXPECT_FALSE(vlfs::IsNewerThan(S(temp.File("old")), probe));
    EXPECT_FALSE(vlfs::IsNewerThan(S(temp.File("missing")), probe));
}

TEST(FileSystem, HiddenByDotOrAttribute) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File(".dot"), "x");
    WriteFile(temp.File("plain"), "x");
    EXPECT_TRUE(vlfs::IsHidden(S(temp.File(".dot"))));
    EXPECT_FALSE(vlfs::IsHidden(S(temp.File("plain"))));
    EXPECT_FALSE(vlfs::IsHidden(S(temp.File(".missing"))));
    EXPECT_FALSE(vlfs::SetHidden(S(temp.File(".dot")), false)); // a dot name stays hidden
    EXPECT_FALSE(vlfs::SetHidden(S(temp.File("missing")), true));
    if (::setxattr(temp.File("plain").c_str(), "user.probe", "1", 1, 0) != 0)
        GTEST_SKIP() << "the file system keeps no user attributes";
    EXPECT_TRUE(vlfs::SetHidden(S(temp.File("plain")), true));
    EXPECT_TRUE(vlfs::IsHidden(S(temp.File("plain"))));
    EXPECT_FALSE(vlfs::IsReadOnly(S(temp.File("plain"))));
    EXPECT_TRUE(vlfs::SetHidden(S(temp.File("plain")), false));
    EXPECT_FALSE(vlfs::IsHidden(S(temp.File("plain"))));
}

TEST(FileSystem, SetWriteableKeepsOtherBits) {
    vlib::test::TTempDir temp;
    WriteFile(temp.File("f"), "x");
    ::chmod(temp.File("f").c_str(), 0754);
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("f")), false));
    struct stat st;
    ASSERT_EQ(::stat(temp.File("f").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0554u);
    ASSERT_TRUE(vlfs::SetWriteable(S(temp.File("f")), true));
    ASSERT_EQ(::stat(temp.File("f").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0754u);
    EXPECT_FALSE(vlfs::SetWriteable(S(temp.File("missing")), true));
}

TEST(FileSystem, TouchMakesAndStamps) {
    vlib::test::TTempDir temp;
    const TDynamicString path = S(temp.File("touched"));
    const TFileTime before = TFileTime::Now();
    ASSERT_TRUE(vlfs::Touch(path));
    EXPECT_TRUE(fs::is_regular_file(temp.File("touched")));
    EXPECT_EQ(fs::file_size(temp.File("touched")), 0u);
    // The stamp is the present: not before the call (the system clock's grain aside).
    EXPECT_FALSE(before.IsNewerThan(Mtime(temp.File("touched")), 10));

    WriteFile(temp.File("touched"), "content");
    TFileTime stamp = TFileTime::FromUnix(1300000000, 5000);
    ASSERT_TRUE(vlfs::Touch(path, &stamp));
    EXPECT_EQ(Mtime(temp.File("touched")), stamp);
    EXPECT_EQ(ReadFile(temp.File("touched")), "content");

    ASSERT_TRUE(vlfs::SetWriteable(path, false));
    EXPECT_FALSE(vlfs::Touch(path));
    fs::create_directory(temp.File("dir"));
    EXPECT_FALSE(vlfs::Touch(S(temp.File("dir"))));
    EXPECT_FALSE(vlfs::Touch(S(temp.File("no/such/dir/file"))));
}

TEST(FileSystem, TempFilenameMakesFileInCurrentDirectory) {
    vlib::test::TTempDir temp;
    TCurrentDirectory cwd(temp.Path());
    const TDynamicString first = vlfs::TempFilename();
    const TDynamicString second = vlfs::TempFilename();
    ASSERT_FALSE(first.IsEmpty());
    EXPECT_NE(first, second);
    for (const TDynamicString &name : {first, second}) {
        const std::string text = name.GetData();
        EXPECT_EQ(text.rfind("./vlt", 0), 0u) << text;
        EXPECT_EQ(text.substr(text.size() - 4), ".tmp");
        EXPECT_TRUE(fs::is_regular_file(temp.File(text.substr(2))));
    }
}

TEST(FileSystem, DriveStringIsMountPoint) {
    vlib::test::TTempDir temp;
    const std::string drive = GetDriveString(S(temp.File("not/yet/made.txt"))).GetData();
    ASSERT_FALSE(drive.empty());
    EXPECT_EQ(drive.back(), '/');
    const std::string real = fs::canonical(temp.Path()).string() + "/";
    EXPECT_EQ(real.rfind(drive, 0), 0u) << drive << " is not above " << real;
    // Same device as the directory, and the directory above it (if any) is another.
    struct stat mount;
    struct stat dir;
    ASSERT_EQ(::stat(drive.c_str(), &mount), 0);
    ASSERT_EQ(::stat(real.c_str(), &dir), 0);
    EXPECT_EQ(mount.st_dev, dir.st_dev);
    if (drive != "/") {
        struct stat parent;
        ASSERT_EQ(::stat(fs::path(drive).parent_path().parent_path().c_str(), &parent), 0);
        EXPECT_NE(parent.st_dev, mount.st_dev);
    }
    EXPECT_STREQ(GetDriveString("/").GetData(), "/");
}
