// Whole stacks of filters over a disk file whose N-th system call fails, for every N: no
// level may report success for data that did not reach the disk, and no reader may take
// damaged data for whole without Bad set at the top.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Streams/AsciiFilter.h"
#include "General/Streams/BinaryFilter.h"
#include "General/Streams/DeflateFilter.h"
#include "General/Streams/RealFile.h"
#include "General/Streams/VersionedFilter.h"
#include "General/Streams/XorFilter.h"
#include "Support/FileFaults.h"
#include "Support/TempDir.h"

namespace {

constexpr unsigned long kRead = 2, kWrite = 4;
constexpr int kLines = 20000;

using TFault = vlib::TFaultCountdown vlib::TFileFaults::*;

/// Writes kLines numbers as text through deflate; true if every level reported success.
bool WriteTextThroughDeflate(const std::string &path) {
    TRealFile file;
    if (!file.Open(path.c_str(), kWrite))
        return false;
    TDeflateFilter deflate;
    if (!deflate.Open(&file, TDeflateFilter::DeflateDefault))
        return false;
    TAsciiOutFilter text;
    if (!text.Open(&deflate))
        return false;
    text.SetAppendChar('\n');
    for (int i = 0; i < kLines; ++i)
        text << i * 31;
    const bool clean = !text.IsBad() && !deflate.IsBad() && !file.IsBad();
    text.CloseLayer();
    const bool closed = deflate.Close();
    return clean && closed;
}

/// Reads the numbers back; true when all of them came and were right.
bool ReadTextThroughInflate(const std::string &path, bool *bad) {
    TRealFile file;
    if (!file.Open(path.c_str(), kRead))
        return false;
    TInflateFilter inflate;
    TAsciiInFilter text;
    if (!inflate.Open(&file) || !text.Open(&inflate))
        return false;
    bool right = true;
    for (int i = 0; i < kLines; ++i) {
        int n = -1;
        text >> n;
        right = right && n == i * 31;
    }
    *bad = text.IsBad() != 0;
    (void)text.Close();
    return right;
}

/// Writes a header and 300 values in binary through the exclusive-or layer.
bool WriteBinaryThroughXor(const std::string &path) {
    TRealFile file;
    if (!file.Open(path.c_str(), kWrite))
        return false;
    TVersionedOutFilter header;
    if (!header.Open(&file, 12))
        return false;
    header.CloseLayer();
    TXorFilter scramble;
    TBinaryOutFilter out;
    if (!scramble.Open(&file, 0xA5) || !out.Open(&scramble))
        return false;
    for (int i = 0; i < 300; ++i)
        out << i << TDynamicString("s");
    const bool clean = !out.IsBad() && !file.IsBad();
    return out.Close() && clean;
}

bool ReadBinaryThroughXor(const std::string &path) {
    TRealFile file;
    if (!file.Open(path.c_str(), kRead))
        return false;
    TVersionedInFilter header;
    unsigned long version = 0;
    if (!header.Open(&file, version) || version != 12)
        return false;
    header.CloseLayer();
    TXorFilter scramble;
    TBinaryInFilter in;
    if (!scramble.Open(&file, 0xA5) || !in.Open(&scramble))
        return false;
    for (int i = 0; i < 300; ++i) {
        int n = -1;
        TDynamicString s;
        in >> n >> s;
        if (n != i || s != "s")
            return false;
    }
    return true;
}

/// Runs `write` with the fault failing at call N = 1, 2, ... until a run meets no fault.
/// A run that reports success must have put everything on the disk.
void SweepWriteFaults(TFault fault, const std::function<bool(const std::string &)> &write,
                      const std::function<bool(const std::string &)> &check) {
    vlib::test::TTempDir dir;
    vlib::test::TFileFaultGuard faults;
    const std::string path = dir.File("stack.bin");
    for (int n = 1; n < 5000; ++n) {
        SCOPED_TRACE(n);
        ((*faults).*fault).Arm(uint64_t(n));
        const bool ok = write(path);
        const bool hit = ((*faults).*fault).GetFailures() != 0;
        faults->DisarmAll();
        if (!hit) {
            EXPECT_TRUE(ok);
            EXPECT_TRUE(check(path));
            return;
        }
        EXPECT_FALSE(ok) << "success reported although call " << n << " failed";
        if (ok)
            EXPECT_TRUE(check(path));
    }
    ADD_FAILURE() << "the sweep never ran clean";
}

} // namespace

TEST(FilterStack, TextOverDeflateReportsEveryWriteFault) {
    for (TFault fault :
         {&vlib::TFileFaults::Write, &vlib::TFileFaults::ShortWrite, &vlib::TFileFaults::Flush}) {
        SweepWriteFaults(fault, WriteTextThroughDeflate, [](const std::string &path) {
            bool bad = true;
            return ReadTextThroughInflate(path, &bad) && !bad;
        });
    }
}

TEST(FilterStack, BinaryOverXorReportsEveryWriteFault) {
    for (TFault fault : {&vlib::TFileFaults::Write, &vlib::TFileFaults::ShortWrite}) {
        SweepWriteFaults(fault, WriteBinaryThroughXor, ReadBinaryThroughXor);
    }
}

TEST(FilterStack, ReadFaultsNeverPassAsWholeData) {
    vlib::test::TTempDir dir;
    vlib::test::TFileFaultGuard faults;
    const std::string path = dir.File("read.bin");
    ASSERT_TRUE(WriteTextThroughDeflate(path));
    for (int n = 1; n < 100; ++n) {
        SCOPED_TRACE(n);
        faults->Read.Arm(uint64_t(n));
        bool bad = false;
        const bool right = ReadTextThroughInflate(path, &bad);
        const bool hit = faults->Read.GetFailures() != 0;
        faults->DisarmAll();
        if (!hit) {
            EXPECT_TRUE(right);
            EXPECT_FALSE(bad);
            return;
        }
        EXPECT_TRUE(bad) << "read " << n << " failed and the top filter did not say so";
    }
    ADD_FAILURE() << "the sweep never ran clean";
}
