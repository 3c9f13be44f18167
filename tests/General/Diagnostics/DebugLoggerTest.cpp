#include "General/Diagnostics/DebugLogger.h"

#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "Support/TempDir.h"

namespace {

std::string ReadFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(DebugLogger, WritesHeaderAndLinesEndedByCrLf) {
    vlib::test::TTempDir dir;
    const std::string path = dir.File("new/folder/run.log");
    const TDynamicString header("my header");
    struct Case {
        bool flushed;
        const char *state;
    };
    constexpr Case kCases[] = {{true, "Output is  flushed."}, {false, "Output is NOT flushed."}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.state);
        {
            TDebugLogger logger(TDynamicString(path.c_str()), &header, c.flushed, false, false);
            ASSERT_TRUE(logger.IsOpen());
            logger.OutputFDString("ends in a line feed\n");
            logger.OutputFDString("ends in none");
            logger.OutputFDString("two feeds\n\n");
            logger.OutputFDString("");
        }
        // Without append the old log is replaced.
        EXPECT_EQ(ReadFile(path), std::string("my header\r\n") + c.state +
                                      "\r\nends in a line feed\r\nends in none\r\ntwo feeds\n\r\n"
                                      "\r\n");
    }
}

TEST(DebugLogger, AppendKeepsTheOldLog) {
    vlib::test::TTempDir dir;
    const std::string path = dir.File("run.log");
    std::ofstream(path, std::ios::binary) << "old\r\n";
    const TDynamicString header("h");
    {
        TDebugLogger logger(TDynamicString(path.c_str()), &header, false, false, true);
        logger.OutputFDString("new");
    }
    EXPECT_EQ(ReadFile(path), "old\r\nh\r\nOutput is NOT flushed.\r\nnew\r\n");
}

TEST(DebugLogger, FlushedLineIsOnDiskAtOnce) {
    vlib::test::TTempDir dir;
    const std::string path = dir.File("run.log");
    TDebugLogger logger(TDynamicString(path.c_str()), nullptr, true, false, false);
    logger.OutputFDString("visible");
    const std::string text = ReadFile(path);
    EXPECT_EQ(text.rfind("Running ", 0), 0u) << text;
    EXPECT_NE(text.find(" with config Unknown\r\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\r\nvisible\r\n"), std::string::npos) << text;
}

TEST(DebugLogger, UnopenableFileLeavesTheLogSilent) {
    vlib::test::TTempDir dir;
    std::ofstream(dir.File("plain")) << "x";
    // A file stands where a folder would have to be.
    TDebugLogger logger(TDynamicString(dir.File("plain/run.log").c_str()), nullptr, true, false,
                        false);
    EXPECT_FALSE(logger.IsOpen());
    logger.OutputFDString("dropped"); // must not crash
}

TEST(DebugLogger, BuildTimeTexts) {
    const TDynamicString missing("/no/such/module.so");
    EXPECT_STREQ(GetBuildTimeString(&missing).GetData(), "<Buildtime Unavailable>");
    EXPECT_STRNE(GetBuildTimeString(nullptr).GetData(), "<Buildtime Unavailable>");
    TDynamicString text;
    EXPECT_FALSE(GetModuleTimeString("no-such-module.so", text));
    EXPECT_STREQ(text.GetData(), "No build time");
    EXPECT_TRUE(GetModuleTimeString("libVLibBase.so", text));
    EXPECT_STRNE(text.GetData(), "No build time");
}

} // namespace
