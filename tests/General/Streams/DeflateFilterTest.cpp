#include "General/Streams/DeflateFilter.h"

#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"
#include "Support/FileFaults.h"
#include "Support/TempDir.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned long kRead = 2, kWrite = 4;

Bytes Sample(size_t size, bool compressible, unsigned seed = 1) {
    std::mt19937 rng(seed);
    Bytes out(size);
    for (size_t i = 0; i < size; ++i)
        out[i] = compressible ? static_cast<unsigned char>("entity mesh 0.5 "[rng() % 16])
                              : static_cast<unsigned char>(rng());
    return out;
}

/// Deflates `data` through the filter in pieces of `piece` bytes into a memory file.
Bytes Deflate(const Bytes &data, int piece) {
    TManagedFileBuf file;
    file.Open(kWrite, 0);
    TDeflateFilter deflate;
    EXPECT_TRUE(deflate.Open(&file, TDeflateFilter::DeflateDefault));
    EXPECT_EQ(deflate.GetCompression(), 6);
    for (size_t at = 0; at < data.size(); at += piece) {
        const int n = int(std::min(data.size() - at, size_t(piece)));
        EXPECT_TRUE(deflate.Write(data.data() + at, n));
    }
    deflate.CloseLayer();
    EXPECT_FALSE(deflate.IsBad());
    return Bytes(file.GetBuffer(), file.GetBuffer() + file.Length());
}

/// Inflates `packed` through the filter in pieces of `piece` bytes.
Bytes Inflate(Bytes packed, int piece, bool *bad = nullptr) {
    TFixedFileBuf file;
    file.Open(packed.data(), int(packed.size()), kRead);
    TInflateFilter inflate;
    EXPECT_TRUE(inflate.Open(&file));
    Bytes out;
    Bytes buffer(piece);
    int guard = 0;
    while (!inflate.AtEOF() && ++guard < 1000000) {
        const int n = inflate.Read(buffer.data(), piece);
        out.insert(out.end(), buffer.begin(), buffer.begin() + n);
    }
    EXPECT_LT(guard, 1000000) << "AtEOF never came";
    if (bad != nullptr)
        *bad = inflate.IsBad() != 0;
    return out;
}

} // namespace

// Compressed bytes differ between zlib versions, so streams are compared by what they
// decompress to, both through the filter and through zlib itself.
TEST(DeflateFilter, RoundTripsThroughZlib) {
    for (size_t size : {0u, 1u, 32767u, 32768u, 100000u}) {
        for (bool compressible : {true, false}) {
            SCOPED_TRACE(testing::Message() << size << (compressible ? " text" : " noise"));
            const Bytes data = Sample(size, compressible, unsigned(size));
            const Bytes packed = Deflate(data, 1000);
            if (compressible && size > 1000)
                EXPECT_LT(packed.size(), data.size() * 6 / 10); // 4 bits of entropy a byte
            Bytes plain(size + 1);
            uLongf plainSize = static_cast<uLongf>(plain.size());
            ASSERT_EQ(uncompress(plain.data(), &plainSize, packed.data(), uLong(packed.size())),
                      Z_OK);
            plain.resize(plainSize);
            EXPECT_EQ(plain, data);
            for (int piece : {1, 4096, 70000}) {
                bool bad = true;
                EXPECT_EQ(Inflate(packed, piece, &bad), data) << "pieces of " << piece;
                EXPECT_FALSE(bad);
            }
        }
    }
}

TEST(InflateFilter, ReadsStreamsMadeByZlibAtAnyLevel) {
    const Bytes data = Sample(50000, true, 3);
    for (int level : {0, 1, 9}) {
        SCOPED_TRACE(level);
        uLongf size = compressBound(uLong(data.size()));
        Bytes packed(size);
        ASSERT_EQ(compress2(packed.data(), &size, data.data(), uLong(data.size()), level), Z_OK);
        packed.resize(size);
        EXPECT_EQ(Inflate(packed, 777), data);
    }
}

TEST(InflateFilter, DamagedStreamsEndShortAndSetBad) {
    const Bytes data = Sample(200000, true, 4);
    const Bytes packed = Deflate(data, 65536);
    {
        Bytes truncated(packed.begin(), packed.begin() + packed.size() / 2);
        bool bad = false;
        const Bytes out = Inflate(truncated, 4096, &bad);
        EXPECT_LT(out.size(), data.size());
        EXPECT_TRUE(bad);
    }
    {
        Bytes corrupt = packed;
        corrupt[corrupt.size() / 3] ^= 0x55;
        corrupt[corrupt.size() / 3 + 1] ^= 0xAA;
        bool bad = false;
        const Bytes out = Inflate(corrupt, 4096, &bad);
        EXPECT_TRUE(bad || out != data) << "a damaged stream cannot pass as whole";
    }
    {
        bool bad = false;
        EXPECT_TRUE(Inflate(Bytes{'n', 'o', 't', ' ', 'z', 'l', 'i', 'b'}, 16, &bad).empty());
        EXPECT_TRUE(bad);
    }
}

TEST(DeflateFilter, RefusesTheOtherDirectionAndSeeking) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(kWrite | kRead, 0));
    TDeflateFilter deflate;
    ASSERT_TRUE(deflate.Open(&file, TDeflateFilter::DeflateBestSpeed));
    EXPECT_EQ(deflate.GetCompression(), 1);
    EXPECT_EQ(deflate.GetPrivateFlags(), 1u);
    unsigned char b;
    EXPECT_EQ(deflate.Read(&b, 1), 0);
    EXPECT_FALSE(deflate.Seek(0, TFileObj::SeekStart));
    ASSERT_TRUE(deflate.Write("hello", 5));
    ASSERT_TRUE(deflate.Flush());
    EXPECT_FALSE(deflate.Write("more", 4)) << "after Flush the stream has ended";
    EXPECT_EQ(deflate.GetPos(), file.GetPos()) << "positions count compressed bytes";
    deflate.CloseLayer();
    EXPECT_TRUE(file.IsOpen());

    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    TInflateFilter inflate;
    ASSERT_TRUE(inflate.Open(&file));
    EXPECT_FALSE(inflate.Write("x", 1));
    EXPECT_FALSE(inflate.Seek(0, TFileObj::SeekStart));
    char text[16] = {};
    EXPECT_EQ(inflate.Read(text, 16), 5);
    EXPECT_STREQ(text, "hello");
    EXPECT_TRUE(inflate.AtEOF());
    EXPECT_EQ(inflate.Read(text, 16), 0);
    ASSERT_TRUE(inflate.Close());
    EXPECT_FALSE(file.IsOpen());

    TManagedFileBuf readOnly;
    ASSERT_TRUE(readOnly.Open(kRead, 0));
    TDeflateFilter refused;
    EXPECT_FALSE(refused.Open(&readOnly, TDeflateFilter::DeflateDefault));
    EXPECT_FALSE(readOnly.IsOpen()) << "a refused open closes the file";
    EXPECT_FALSE(refused.Write("x", 1));
}

TEST(DeflateFilter, CloseEndsTheStreamAndClosesTheStack) {
    vlib::test::TTempDir dir;
    const Bytes data = Sample(80000, true, 5);
    TRealFile file;
    ASSERT_TRUE(file.Open(dir.File("z.bin").c_str(), kWrite));
    TDeflateFilter deflate;
    ASSERT_TRUE(deflate.Open(&file, TDeflateFilter::DeflateDefault));
    ASSERT_TRUE(deflate.Write(data.data(), int(data.size())));
    ASSERT_TRUE(deflate.Close());
    EXPECT_FALSE(file.IsOpen());

    // A filter object can be opened again once closed.
    TRealFile in;
    ASSERT_TRUE(in.Open(dir.File("z.bin").c_str(), kRead));
    TInflateFilter inflate;
    ASSERT_TRUE(inflate.Open(&in));
    Bytes out(data.size() + 10);
    EXPECT_EQ(inflate.Read(out.data(), int(out.size())), int(data.size()));
    out.resize(data.size());
    EXPECT_EQ(out, data);
    inflate.CloseLayer();
    ASSERT_TRUE(in.Seek(0, TFileObj::SeekStart));
    ASSERT_TRUE(inflate.Open(&in));
    EXPECT_EQ(inflate.Read(out.data(), 10), 10);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 10), Bytes(data.begin(), data.begin() + 10));
    ASSERT_TRUE(inflate.Close());
}

TEST(DeflateFilter, LowerWriteFailuresAreNeverReportedAsSuccess) {
    vlib::test::TTempDir dir;
    vlib::test::TFileFaultGuard faults;
    const Bytes data = Sample(300000, false, 6);
    TRealFile file;
    ASSERT_TRUE(file.Open(dir.File("fail.bin").c_str(), kWrite));
    TDeflateFilter deflate;
    ASSERT_TRUE(deflate.Open(&file, TDeflateFilter::DeflateDefault));
    faults->Write.Arm(2);
    bool allWritten = true;
    for (size_t at = 0; at < data.size(); at += 10000)
        allWritten = deflate.Write(data.data() + at, 10000) && allWritten;
    EXPECT_FALSE(allWritten);
    EXPECT_TRUE(deflate.IsBad());
    EXPECT_TRUE(file.IsBad());
    EXPECT_FALSE(deflate.Close());
}

TEST(InflateFilter, EndsAtTheStreamsEndEvenWithBytesBehindIt) {
    const Bytes data = Sample(1000, true, 7);
    Bytes packed = Deflate(data, 1000);
    packed.insert(packed.end(), {'t', 'a', 'i', 'l'});
    TFixedFileBuf file;
    ASSERT_TRUE(file.Open(packed.data(), int(packed.size()), kRead));
    TInflateFilter inflate;
    ASSERT_TRUE(inflate.Open(&file));
    Bytes out(2000);
    EXPECT_EQ(inflate.Read(out.data(), 2000), 1000);
    EXPECT_TRUE(inflate.AtEOF()) << "read-ahead input is waiting, but the stream has ended";
    EXPECT_EQ(inflate.Read(out.data(), 10), 0);
    EXPECT_FALSE(inflate.IsBad());
}
