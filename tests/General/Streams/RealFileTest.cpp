#include "General/Streams/RealFile.h"

#include "General/Streams/AsciiFilter.h"
#include "General/Streams/VersionedFilter.h"

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Support/FileFaults.h"
#include "Support/TempDir.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr unsigned long kRead = 2, kWrite = 4, kAppend = 0x20;

Bytes Pattern(size_t size, unsigned seed = 1) {
    std::mt19937 rng(seed);
    Bytes out(size);
    for (auto &b : out)
        b = static_cast<unsigned char>(rng());
    return out;
}

void WriteDisk(const std::string &path, const Bytes &bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char *>(bytes.data()), std::streamsize(bytes.size()));
}

Bytes ReadDisk(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class RealFile : public testing::Test {
protected:
    vlib::test::TTempDir m_Dir;
    vlib::test::TFileFaultGuard m_Faults;
};

} // namespace

TEST_F(RealFile, ChunkedReadsDeliverEveryByteInPiecesOfAnySize) {
    const Bytes data = Pattern(3 * TRealFile::kChunkSize + 1234);
    const std::string path = m_Dir.File("data.bin");
    WriteDisk(path, data);
    std::mt19937 rng(5);
    for (int round = 0; round < 4; ++round) {
        TRealFile file;
        ASSERT_TRUE(file.Open(path.c_str(), kRead));
        EXPECT_EQ(file.Length(), int(data.size()));
        Bytes got;
        while (!file.AtEOF()) {
            // Pieces from 1 byte up to more than two chunks, so reads start and end inside,
            // at and across chunk boundaries; in the last round whole aligned chunks, which
            // go straight to the caller's memory.
            const int want = round == 0   ? 1 + int(rng() % 70)
                             : round == 3 ? TRealFile::kChunkSize * (1 + int(rng() % 2))
                                          : 1 + int(rng() % 150000);
            Bytes piece(want);
            const int got1 = file.Read(piece.data(), want);
            ASSERT_GE(got1, 0);
            got.insert(got.end(), piece.begin(), piece.begin() + got1);
        }
        EXPECT_EQ(got, data);
        EXPECT_EQ(file.GetPos(), int(data.size()));
        EXPECT_FALSE(file.IsBad());
    }
}

TEST_F(RealFile, ExactMultipleOfTheChunkSetsEndWithTheLastRead) {
    const Bytes data = Pattern(2 * TRealFile::kChunkSize, 2);
    const std::string path = m_Dir.File("exact.bin");
    WriteDisk(path, data);
    TRealFile file;
    ASSERT_TRUE(file.Open(path.c_str(), kRead));
    Bytes got(data.size());
    const int piece = 4096;
    for (size_t at = 0; at < data.size(); at += piece) {
        EXPECT_FALSE(file.AtEOF()) << "at " << at;
        ASSERT_EQ(file.Read(got.data() + at, piece), piece);
    }
    EXPECT_TRUE(file.AtEOF());
    EXPECT_EQ(got, data);
    unsigned char extra;
    EXPECT_EQ(file.Read(&extra, 1), 0);
}

TEST_F(RealFile, WholeLengthReadFromTheStartBypassesTheBuffer) {
    const Bytes data = Pattern(1000, 3);
    const std::string path = m_Dir.File("whole.bin");
    WriteDisk(path, data);
    TRealFile file;
    ASSERT_TRUE(file.Open(path.c_str(), kRead));
    unsigned char head[10];
    ASSERT_EQ(file.Read(head, 10), 10); // gives the file its chunk buffer
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    Bytes all(data.size());
    ASSERT_EQ(file.Read(all.data(), int(all.size())), int(data.size()));
    EXPECT_EQ(all, data);
    EXPECT_EQ(file.GetPos(), 0) << "the tracked position must not move on the direct path";
    // The next buffered read starts from the tracked position again.
    ASSERT_EQ(file.Read(head, 10), 10);
    EXPECT_EQ(Bytes(head, head + 10), Bytes(data.begin(), data.begin() + 10));
}

TEST_F(RealFile, ShortFilesReadAgainAfterAHeaderProbe) {
    // A probe for an optional header reads the first bytes and gives them back; a file no
    // longer than the probe is read whole by it, which sets the end flag. Both a seek back
    // and the reader behind must then see the bytes again, for every length around it.
    for (int length = 1; length <= 13; ++length) {
        SCOPED_TRACE(length);
        std::string text(static_cast<size_t>(length - 1), 'x');
        text += '\n';
        const std::string path = m_Dir.File("short" + std::to_string(length) + ".txt");
        WriteDisk(path, Bytes(text.begin(), text.end()));
        TRealFile file;
        ASSERT_TRUE(file.Open(path.c_str(), kRead));
        unsigned long version = 99;
        TVersionedInFilter probe;
        ASSERT_TRUE(probe.Open(&file, version));
        probe.CloseLayer();
        EXPECT_EQ(version, 0u);
        EXPECT_EQ(file.GetPos(), 0);
        EXPECT_FALSE(file.AtEOF());
        TAsciiInFilter in;
        ASSERT_TRUE(in.Open(&file));
        char line[32] = {};
        in.GetLine(line, sizeof line, '\n', nullptr);
        in.CloseLayer();
        EXPECT_EQ(std::string(line), text.substr(0, text.size() - 1));
    }
}

TEST_F(RealFile, ReadModes) {
    const Bytes data = Pattern(70000, 4);
    const std::string path = m_Dir.File("modes.bin");
    WriteDisk(path, data);
    struct Case {
        const char *name;
        unsigned long flags;
    };
    const Case kCases[] = {
        {"chunked", kRead},
        {"direct", kRead | TRealFile::RealFileDirect},
        {"whole", kRead | TRealFile::RealFileWhole},
        {"sector aligned", kRead | TRealFile::RealFileSectorAligned},
        {"sector aligned clears direct",
         kRead | TRealFile::RealFileSectorAligned | TRealFile::RealFileDirect},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TRealFile file;
        ASSERT_TRUE(file.Open(path.c_str(), c.flags));
        Bytes got(data.size() + 10);
        int total = 0;
        for (int piece : {1, 100, 65535, 3000, 10000}) {
            const int n = file.Read(got.data() + total, piece);
            ASSERT_GE(n, 0);
            total += n;
        }
        EXPECT_EQ(total, int(data.size()));
        EXPECT_EQ(Bytes(got.begin(), got.begin() + total), data);
        EXPECT_TRUE(file.AtEOF());
        EXPECT_FALSE(file.IsBad());
        if (c.flags & TRealFile::RealFileSectorAligned)
            EXPECT_EQ(file.GetPrivateFlags() & (TRealFile::RealFileDirect >> 16), 0u);
        // A seek back and a read again gives the same bytes in every mode.
        ASSERT_TRUE(file.Seek(1000, TFileObj::SeekStart));
        unsigned char b[4];
        ASSERT_EQ(file.Read(b, 4), 4);
        EXPECT_EQ(Bytes(b, b + 4), Bytes(data.begin() + 1000, data.begin() + 1004));
    }
}

TEST_F(RealFile, SeekFromTheEndCountsBack) {
    const Bytes data = Pattern(500, 6);
    const std::string path = m_Dir.File("end.bin");
    WriteDisk(path, data);
    for (unsigned long flags : {kRead, kRead | TRealFile::RealFileDirect}) {
        SCOPED_TRACE(flags);
        TRealFile file;
        ASSERT_TRUE(file.Open(path.c_str(), flags));
        unsigned char b;
        ASSERT_EQ(file.Read(&b, 1), 1);
        ASSERT_TRUE(file.Seek(10, TFileObj::SeekEnd));
        EXPECT_EQ(file.GetPos(), 490);
        ASSERT_EQ(file.Read(&b, 1), 1);
        EXPECT_EQ(b, data[490]);
        ASSERT_TRUE(file.Seek(-91, TFileObj::SeekCurrent));
        ASSERT_EQ(file.Read(&b, 1), 1);
        EXPECT_EQ(b, data[400]);
        EXPECT_TRUE(file.Seek(500, TFileObj::SeekStart)) << "the end is a valid target";
    }
}

TEST_F(RealFile, OpenDispositions) {
    const std::string path = m_Dir.File("disp.bin");
    WriteDisk(path, Bytes{1, 2, 3, 4});
    {
        TRealFile file; // read and write together keep the content
        ASSERT_TRUE(file.Open(path.c_str(), kRead | kWrite));
        EXPECT_EQ(file.Length(), 4);
        EXPECT_TRUE(file.IsReadable());
        EXPECT_TRUE(file.IsWriteable());
        EXPECT_FALSE(file.Open(path.c_str(), kRead)) << "a second open is refused";
    }
    {
        TRealFile file; // append starts at the end
        ASSERT_TRUE(file.Open(path.c_str(), kWrite | kAppend));
        EXPECT_TRUE(file.IsAppend());
        const unsigned char more[2] = {5, 6};
        ASSERT_TRUE(file.Write(more, 2));
    }
    EXPECT_EQ(ReadDisk(path), (Bytes{1, 2, 3, 4, 5, 6}));
    {
        TRealFile file; // write alone truncates; bit 0 means nothing, so 5 is write
        ASSERT_TRUE(file.Open(path.c_str(), 5));
        EXPECT_EQ(file.Length(), 0);
        const unsigned char one = 9;
        ASSERT_TRUE(file.Write(&one, 1));
        EXPECT_EQ(file.Length(), 1);
        EXPECT_EQ(file.GetFileName(), path.c_str()) << "the name is kept as given";
    }
    EXPECT_EQ(ReadDisk(path), Bytes{9});
    {
        TRealFile file; // 0xA is read: bit 3 means nothing
        ASSERT_TRUE(file.Open(path.c_str(), 0xA));
        EXPECT_FALSE(file.IsWriteable());
    }
    TRealFile missing;
    EXPECT_FALSE(missing.Open(m_Dir.File("nothing.bin").c_str(), kRead));
    EXPECT_EQ(missing.GetFlags(), 0u);
    EXPECT_FALSE(std::filesystem::exists(m_Dir.File("nothing.bin")));
}

TEST_F(RealFile, PathsResolveWithoutRegardToCase) {
    std::filesystem::create_directories(m_Dir.File("Resource/Textures"));
    WriteDisk(m_Dir.File("Resource/Textures/Wall.DDS"), Bytes{7});
    WriteDisk(m_Dir.File("Resource/Textures/exact.bin"), Bytes{1});
    WriteDisk(m_Dir.File("Resource/Textures/EXACT.bin"), Bytes{2});
    {
        TRealFile file;
        ASSERT_TRUE(file.Open(m_Dir.File("resource/TEXTURES/wall.dds").c_str(), kRead));
        unsigned char b = 0;
        EXPECT_EQ(file.Read(&b, 1), 1);
        EXPECT_EQ(b, 7);
        EXPECT_EQ(file.GetFileName(), m_Dir.File("resource/TEXTURES/wall.dds").c_str());
    }
    for (const char *name : {"exact.bin", "EXACT.bin"}) {
        SCOPED_TRACE(name);
        TRealFile file; // an exact match always wins
        ASSERT_TRUE(file.Open(m_Dir.File(std::string("Resource/Textures/") + name).c_str(), kRead));
        unsigned char b = 0;
        EXPECT_EQ(file.Read(&b, 1), 1);
        EXPECT_EQ(b, name[0] == 'e' ? 1 : 2);
    }
    {
        TRealFile file; // a new file goes into the directory that exists in another case
        ASSERT_TRUE(file.Open(m_Dir.File("RESOURCE/textures/New.bin").c_str(), kWrite));
        const unsigned char b = 3;
        ASSERT_TRUE(file.Write(&b, 1));
    }
    EXPECT_EQ(ReadDisk(m_Dir.File("Resource/Textures/New.bin")), Bytes{3});
    TRealFile none;
    EXPECT_FALSE(none.Open(m_Dir.File("resource/missing/wall.dds").c_str(), kRead));
    EXPECT_FALSE(none.Open(m_Dir.File("nodir/new.bin").c_str(), kWrite));
}

TEST_F(RealFile, WritesTrackPositionAndLength) {
    const std::string path = m_Dir.File("write.bin");
    TRealFile file;
    ASSERT_TRUE(file.Open(path.c_str(), kRead | kWrite));
    const Bytes data = Pattern(100000, 8);
    ASSERT_TRUE(file.Write(data.data(), 60000));
    ASSERT_TRUE(file.Write(data.data() + 60000, 40000));
    EXPECT_EQ(file.Length(), 100000);
    EXPECT_TRUE(file.Write(data.data(), 0)) << "an empty write fails nothing";
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    Bytes got(data.size());
    ASSERT_EQ(file.Read(got.data(), 50), 50);
    ASSERT_EQ(file.Read(got.data() + 50, int(got.size()) - 50), int(got.size()) - 50);
    EXPECT_EQ(got, data);
    ASSERT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(file.AtEOF());
    EXPECT_EQ(ReadDisk(path), data);
}

TEST_F(RealFile, SetLengthKeepsThePositionWithinTheFile) {
    const std::string path = m_Dir.File("len.bin");
    TRealFile file;
    ASSERT_TRUE(file.Open(path.c_str(), kWrite));
    const Bytes data = Pattern(100, 9);
    ASSERT_TRUE(file.Write(data.data(), 100));
    ASSERT_TRUE(file.SetLength(40));
    EXPECT_EQ(file.Length(), 40);
    EXPECT_EQ(file.GetPos(), 40) << "a position beyond the new end moves to the end";
    ASSERT_TRUE(file.Seek(10, TFileObj::SeekStart));
    ASSERT_TRUE(file.SetLength(60));
    EXPECT_EQ(file.GetPos(), 10);
    const unsigned char mark = 0xEE;
    ASSERT_TRUE(file.Write(&mark, 1));
    ASSERT_TRUE(file.Close());
    Bytes expected(data.begin(), data.begin() + 40);
    expected.resize(60, 0);
    expected[10] = 0xEE;
    EXPECT_EQ(ReadDisk(path), expected);
}

TEST_F(RealFile, SubFileIsAWindowOntoARange) {
    const Bytes data = Pattern(1000, 10);
    const std::string path = m_Dir.File("sub.bin");
    WriteDisk(path, data);
    TSubFile sub;
    EXPECT_FALSE(sub.Open(path.c_str(), 0, 10, kRead | kWrite)) << "write is refused";
    EXPECT_FALSE(sub.Open(path.c_str(), 0, 10, kRead | kAppend)) << "append is refused";
    ASSERT_TRUE(sub.Open(path.c_str(), 100, 50, kRead));
    EXPECT_EQ(sub.Length(), 50);
    EXPECT_EQ(sub.GetPos(), 0);
    Bytes got(80);
    EXPECT_EQ(sub.Read(got.data(), 80), 50) << "reads stop at the end of the range";
    EXPECT_EQ(Bytes(got.begin(), got.begin() + 50), Bytes(data.begin() + 100, data.begin() + 150));
    EXPECT_TRUE(sub.AtEOF());
    EXPECT_FALSE(sub.Write(got.data(), 1));
    EXPECT_TRUE(sub.Seek(50, TFileObj::SeekStart)) << "the end is a valid target";
    EXPECT_FALSE(sub.Seek(51, TFileObj::SeekStart));
    EXPECT_FALSE(sub.Seek(-1, TFileObj::SeekStart));
    ASSERT_TRUE(sub.Seek(20, TFileObj::SeekEnd));
    EXPECT_EQ(sub.GetPos(), 30);
    ASSERT_EQ(sub.Read(got.data(), 5), 5);
    EXPECT_EQ(got[0], data[130]);
    sub.Rebase(); // the range now starts at 135
    EXPECT_EQ(sub.GetPos(), 0);
    EXPECT_EQ(sub.Length(), 15);
    ASSERT_TRUE(sub.Seek(0, TFileObj::SeekStart));
    ASSERT_EQ(sub.Read(got.data(), 1), 1);
    EXPECT_EQ(got[0], data[135]);
    ASSERT_TRUE(sub.SetRange(900, 100));
    ASSERT_EQ(sub.Read(got.data(), 2), 2);
    EXPECT_EQ(got[1], data[901]);
}

TEST_F(RealFile, ReadFailureSetsBadAndReturnsNothing) {
    const Bytes data = Pattern(200000, 11);
    const std::string path = m_Dir.File("fault.bin");
    WriteDisk(path, data);
    TRealFile file;
    ASSERT_TRUE(file.Open(path.c_str(), kRead));
    Bytes got(100000);
    ASSERT_EQ(file.Read(got.data(), 10), 10);
    m_Faults->Read.Arm(1);
    // The read spans two chunks; the second load fails and the whole call returns 0.
    EXPECT_EQ(file.Read(got.data(), 100000), 0);
    EXPECT_TRUE(file.IsBad());
    // The fault was once only: reads work again, but Bad stays until the file is reopened.
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    EXPECT_EQ(file.Read(got.data(), 10), 10);
    EXPECT_TRUE(file.IsBad());
    ASSERT_TRUE(file.Close());
    ASSERT_TRUE(file.Open(path.c_str(), kRead));
    EXPECT_FALSE(file.IsBad());
}

TEST_F(RealFile, WriteFailuresAreNeverReportedAsSuccess) {
    const Bytes data = Pattern(1000, 12);
    struct Case {
        const char *name;
        vlib::TFaultCountdown vlib::TFileFaults::*fault;
        size_t onDisk; // bytes that reach the disk
    };
    const Case kCases[] = {
        {"failed write", &vlib::TFileFaults::Write, 300},
        {"short write", &vlib::TFileFaults::ShortWrite, 300 + 350},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const std::string path = m_Dir.File("w.bin");
        TRealFile file;
        ASSERT_TRUE(file.Open(path.c_str(), kWrite));
        ASSERT_TRUE(file.Write(data.data(), 300));
        ((*m_Faults).*c.fault).Arm(1);
        EXPECT_FALSE(file.Write(data.data() + 300, 700));
        EXPECT_TRUE(file.IsBad());
        // The switch is spent, yet later writes are refused: nothing may land behind a hole.
        EXPECT_FALSE(file.Write(data.data(), 10));
        ASSERT_TRUE(file.Close());
        EXPECT_EQ(ReadDisk(path), Bytes(data.begin(), data.begin() + c.onDisk));
    }
}

TEST_F(RealFile, FlushFailureSetsBad) {
    TRealFile file;
    ASSERT_TRUE(file.Open(m_Dir.File("flush.bin").c_str(), kWrite));
    EXPECT_TRUE(file.Flush());
    m_Faults->Flush.Arm(1);
    EXPECT_FALSE(file.Flush());
    EXPECT_TRUE(file.IsBad());
}

TEST_F(RealFile, SeekFailureIsReported) {
    const std::string path = m_Dir.File("seek.bin");
    WriteDisk(path, Pattern(10));
    TRealFile file;
    ASSERT_TRUE(file.Open(path.c_str(), kRead));
    m_Faults->Seek.Arm(2, true);
    EXPECT_TRUE(file.Seek(1, TFileObj::SeekStart));
    EXPECT_FALSE(file.Seek(2, TFileObj::SeekStart));
    EXPECT_FALSE(file.Seek(3, TFileObj::SeekStart)) << "a persistent fault keeps failing";
    EXPECT_TRUE(file.IsBad());
    EXPECT_EQ(m_Faults->Seek.GetFailures(), 2u);
}
