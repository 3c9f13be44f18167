// The streams against their plain peers on the same data in the same run: the disk file
// against stdio, the text filters against std::to_chars / std::from_chars, the zlib filters
// against zlib called directly, and TCompressRaw beside zlib at level 1. A summary of
// ours-over-theirs ratios of CPU time (steadier than wall time on a shared machine) is printed
// at the end.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include "General/Streams/AsciiFilter.h"
#include "General/Streams/CompressRaw.h"
#include "General/Streams/DeflateFilter.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/RealFile.h"
#include "Support/RatioReporter.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int kDiskBytes = 32 << 20;
constexpr int kValues = 1000000;
constexpr int kZlibBytes = 4 << 20;
constexpr int kTextReserve = 32 << 20;

/// Level-like text and numbers with repeats at many distances: what games store.
Bytes GameData(size_t size) {
    static const char *const kWords[] = {"position", "rotation", "scale", " = ",
                                         "0.000000", "1.000000", "\r\n",  "\t",
                                         "Entity",   "Mesh",     "{",     "}"};
    std::mt19937 rng(42);
    Bytes out;
    out.reserve(size);
    while (out.size() < size) {
        if (rng() % 4 == 0) {
            const uint32_t v = rng();
            out.insert(out.end(), reinterpret_cast<const unsigned char *>(&v),
                       reinterpret_cast<const unsigned char *>(&v) + 2);
        } else {
            const char *w = kWords[rng() % (sizeof(kWords) / sizeof(kWords[0]))];
            out.insert(out.end(), w, w + std::strlen(w));
        }
    }
    out.resize(size);
    return out;
}

std::string TempPath(const char *name) {
    const char *base = std::getenv("TMPDIR");
    return std::string(base && *base ? base : "/tmp") + "/vlib-bench-" +
           std::to_string(::getpid()) + "-" + name;
}

/// A disk file of kDiskBytes, made once and removed at exit.
const std::string &DiskFile() {
    static const std::string path = [] {
        const std::string p = TempPath("read.bin");
        const Bytes data = GameData(kDiskBytes);
        FILE *f = std::fopen(p.c_str(), "wb");
        std::fwrite(data.data(), 1, data.size(), f);
        std::fclose(f);
        std::atexit([] { std::remove(TempPath("read.bin").c_str()); });
        return p;
    }();
    return path;
}

// ---------------------------------------------------------------------------------------------
// Disk file: sequential reads and writes in pieces, against stdio with the same 64 KB buffer.

void DiskReadRealFile(benchmark::State &state) {
    const int piece = static_cast<int>(state.range(0));
    Bytes buffer(piece);
    const std::string &path = DiskFile(); // made before the clock starts
    for (auto _ : state) {
        TRealFile file;
        file.Open(path.c_str(), 2);
        while (file.Read(buffer.data(), piece) > 0)
            benchmark::DoNotOptimize(buffer.data());
        file.Close();
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kDiskBytes));
}

void DiskReadStdio(benchmark::State &state) {
    const size_t piece = static_cast<size_t>(state.range(0));
    Bytes buffer(piece);
    const std::string &path = DiskFile();
    for (auto _ : state) {
        FILE *f = std::fopen(path.c_str(), "rb");
        std::setvbuf(f, nullptr, _IOFBF, TRealFile::kChunkSize);
        while (std::fread(buffer.data(), 1, piece, f) > 0)
            benchmark::DoNotOptimize(buffer.data());
        std::fclose(f);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kDiskBytes));
}

void DiskWriteRealFile(benchmark::State &state) {
    const int piece = static_cast<int>(state.range(0));
    const Bytes data = GameData(piece);
    const std::string path = TempPath("write-ours.bin");
    for (auto _ : state) {
        TRealFile file;
        file.Open(path.c_str(), 4);
        for (int at = 0; at < kDiskBytes / 4; at += piece)
            file.Write(data.data(), piece);
        file.Close();
    }
    std::remove(path.c_str());
    state.SetBytesProcessed(state.iterations() * int64_t(kDiskBytes / 4));
}

void DiskWriteStdio(benchmark::State &state) {
    const size_t piece = static_cast<size_t>(state.range(0));
    const Bytes data = GameData(piece);
    const std::string path = TempPath("write-stdio.bin");
    for (auto _ : state) {
        FILE *f = std::fopen(path.c_str(), "wb");
        std::setvbuf(f, nullptr, _IOFBF, TRealFile::kChunkSize);
        for (size_t at = 0; at < size_t(kDiskBytes / 4); at += piece)
            std::fwrite(data.data(), 1, piece, f);
        std::fclose(f);
    }
    std::remove(path.c_str());
    state.SetBytesProcessed(state.iterations() * int64_t(kDiskBytes / 4));
}

BENCHMARK(DiskReadRealFile)->Arg(16)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);
BENCHMARK(DiskReadStdio)->Arg(16)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);
BENCHMARK(DiskWriteRealFile)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);
BENCHMARK(DiskWriteStdio)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------------------------------------
// Text: a million ints and a million floats written and read back.

struct TNumbers {
    std::vector<int> ints;
    std::vector<float> floats;
    TNumbers() {
        std::mt19937 rng(7);
        for (int i = 0; i < kValues; ++i) {
            ints.push_back(static_cast<int>(rng() % 2000001) - 1000000);
            floats.push_back(static_cast<float>(rng() % 2000001) / 64.0f - 15000.0f);
        }
    }
};

const TNumbers &Numbers() {
    static const TNumbers numbers;
    return numbers;
}

/// The text both readers parse: our writer's output.
const std::string &NumberText() {
    static const std::string text = [] {
        TManagedFileBuf file;
        file.Open(4, 0);
        TAsciiOutFilter out;
        out.Open(&file);
        out.SetAppendChar('\n');
        for (int i = 0; i < kValues; ++i)
            out << Numbers().ints[i] << Numbers().floats[i];
        return std::string(reinterpret_cast<char *>(file.GetBuffer()), file.Length());
    }();
    return text;
}

void TextWriteFilter(benchmark::State &state) {
    const TNumbers &n = Numbers();
    for (auto _ : state) {
        TManagedFileBuf file;
        file.Open(4, kTextReserve); // both sides write into memory reserved up front
        TAsciiOutFilter out;
        out.Open(&file);
        out.SetAppendChar('\n');
        for (int i = 0; i < kValues; ++i)
            out << n.ints[i] << n.floats[i];
        benchmark::DoNotOptimize(file.GetBuffer());
    }
    state.SetItemsProcessed(state.iterations() * 2 * kValues);
}

void TextWriteToChars(benchmark::State &state) {
    const TNumbers &n = Numbers();
    for (auto _ : state) {
        std::vector<char> out;
        out.reserve(kTextReserve);
        char text[64];
        for (int i = 0; i < kValues; ++i) {
            char *end = std::to_chars(text, text + sizeof text, n.ints[i]).ptr;
            *end++ = '\n';
            out.insert(out.end(), text, end);
            end = std::to_chars(text, text + sizeof text, n.floats[i], std::chars_format::fixed, 6)
                      .ptr;
            *end++ = '\n';
            out.insert(out.end(), text, end);
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * 2 * kValues);
}

void TextReadFilter(benchmark::State &state) {
    std::string text = NumberText();
    for (auto _ : state) {
        TFixedFileBuf file;
        file.Open(reinterpret_cast<unsigned char *>(text.data()), int(text.size()), 2);
        TAsciiInFilter in;
        in.Open(&file);
        int i = 0;
        float f = 0;
        for (int k = 0; k < kValues; ++k) {
            in >> i >> f;
            benchmark::DoNotOptimize(i);
            benchmark::DoNotOptimize(f);
        }
    }
    state.SetItemsProcessed(state.iterations() * 2 * kValues);
}

void TextReadFromChars(benchmark::State &state) {
    const std::string &text = NumberText();
    for (auto _ : state) {
        const char *p = text.data();
        const char *end = p + text.size();
        int i = 0;
        float f = 0;
        for (int k = 0; k < kValues; ++k) {
            p = std::from_chars(p, end, i).ptr + 1;
            p = std::from_chars(p, end, f).ptr + 1;
            benchmark::DoNotOptimize(i);
            benchmark::DoNotOptimize(f);
        }
    }
    state.SetItemsProcessed(state.iterations() * 2 * kValues);
}

BENCHMARK(TextWriteFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(TextWriteToChars)->Unit(benchmark::kMillisecond);
BENCHMARK(TextReadFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(TextReadFromChars)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------------------------------------
// zlib at level 6: through the filters into and out of memory files, and called directly.

const Bytes &ZlibInput() {
    static const Bytes data = GameData(kZlibBytes);
    return data;
}

const Bytes &Deflated() {
    static const Bytes packed = [] {
        uLongf size = compressBound(kZlibBytes);
        Bytes out(size);
        compress2(out.data(), &size, ZlibInput().data(), kZlibBytes, 6);
        out.resize(size);
        return out;
    }();
    return packed;
}

void DeflateFilter(benchmark::State &state) {
    const Bytes &data = ZlibInput();
    for (auto _ : state) {
        TManagedFileBuf file;
        file.Open(4, int(compressBound(kZlibBytes))); // reserved, as the direct call's output
        TDeflateFilter deflate;
        deflate.Open(&file, TDeflateFilter::TDeflateLevel(6));
        for (int at = 0; at < kZlibBytes; at += 4096)
            deflate.Write(data.data() + at, 4096);
        deflate.CloseLayer();
        benchmark::DoNotOptimize(file.GetBuffer());
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kZlibBytes));
}

void DeflateZlib(benchmark::State &state) {
    const Bytes &data = ZlibInput();
    Bytes out(compressBound(kZlibBytes));
    for (auto _ : state) {
        z_stream z{};
        deflateInit(&z, 6);
        z.next_out = out.data();
        z.avail_out = static_cast<uInt>(out.size());
        for (int at = 0; at < kZlibBytes; at += 4096) {
            z.next_in = const_cast<Bytef *>(data.data() + at);
            z.avail_in = 4096;
            deflate(&z, Z_NO_FLUSH);
        }
        deflate(&z, Z_FINISH);
        deflateEnd(&z);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kZlibBytes));
}

void InflateFilter(benchmark::State &state) {
    Bytes packed = Deflated();
    Bytes out(4096);
    for (auto _ : state) {
        TFixedFileBuf file;
        file.Open(packed.data(), int(packed.size()), 2);
        TInflateFilter inflate;
        inflate.Open(&file);
        while (inflate.Read(out.data(), 4096) > 0)
            benchmark::DoNotOptimize(out.data());
        inflate.CloseLayer();
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kZlibBytes));
}

void InflateZlib(benchmark::State &state) {
    const Bytes &packed = Deflated();
    Bytes out(4096);
    for (auto _ : state) {
        z_stream z{};
        inflateInit(&z);
        z.next_in = const_cast<Bytef *>(packed.data());
        z.avail_in = static_cast<uInt>(packed.size());
        int r = Z_OK;
        while (r == Z_OK) {
            z.next_out = out.data();
            z.avail_out = 4096;
            r = inflate(&z, Z_NO_FLUSH);
            benchmark::DoNotOptimize(out.data());
        }
        inflateEnd(&z);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kZlibBytes));
}

BENCHMARK(DeflateFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(DeflateZlib)->Unit(benchmark::kMillisecond);
BENCHMARK(InflateFilter)->Unit(benchmark::kMillisecond);
BENCHMARK(InflateZlib)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------------------------------------
// TCompressRaw on 16 KB blocks of game data, beside zlib at level 1 on the same blocks.

constexpr int kBlock = 16384;
constexpr int kBlocks = 64;

void CompressRawCompress(benchmark::State &state) {
    const Bytes &data = ZlibInput();
    Bytes out(TCompressRaw::GetMaxCompSize(kBlock));
    for (auto _ : state) {
        for (int b = 0; b < kBlocks; ++b)
            benchmark::DoNotOptimize(
                TCompressRaw::Compress(data.data() + b * kBlock, kBlock, out.data()));
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBlock) * kBlocks);
}

void CompressRawDecompress(benchmark::State &state) {
    const Bytes &data = ZlibInput();
    std::vector<Bytes> blocks;
    for (int b = 0; b < kBlocks; ++b) {
        Bytes out(TCompressRaw::GetMaxCompSize(kBlock));
        out.resize(TCompressRaw::Compress(data.data() + b * kBlock, kBlock, out.data()) -
                   out.data());
        blocks.push_back(out);
    }
    Bytes out(kBlock);
    for (auto _ : state) {
        for (const Bytes &block : blocks)
            benchmark::DoNotOptimize(TCompressRaw::Decompress(block.data(), out.data()));
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBlock) * kBlocks);
}

void Zlib1Compress(benchmark::State &state) {
    const Bytes &data = ZlibInput();
    Bytes out(compressBound(kBlock));
    for (auto _ : state) {
        for (int b = 0; b < kBlocks; ++b) {
            uLongf size = static_cast<uLongf>(out.size());
            compress2(out.data(), &size, data.data() + b * kBlock, kBlock, 1);
            benchmark::DoNotOptimize(out.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBlock) * kBlocks);
}

void Zlib1Decompress(benchmark::State &state) {
    const Bytes &data = ZlibInput();
    std::vector<Bytes> blocks;
    for (int b = 0; b < kBlocks; ++b) {
        uLongf size = compressBound(kBlock);
        Bytes out(size);
        compress2(out.data(), &size, data.data() + b * kBlock, kBlock, 1);
        out.resize(size);
        blocks.push_back(out);
    }
    Bytes out(kBlock);
    for (auto _ : state) {
        for (const Bytes &block : blocks) {
            uLongf size = kBlock;
            uncompress(out.data(), &size, block.data(), static_cast<uLong>(block.size()));
            benchmark::DoNotOptimize(out.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBlock) * kBlocks);
}

BENCHMARK(CompressRawCompress)->Unit(benchmark::kMillisecond);
BENCHMARK(Zlib1Compress)->Unit(benchmark::kMillisecond);
BENCHMARK(CompressRawDecompress)->Unit(benchmark::kMillisecond);
BENCHMARK(Zlib1Decompress)->Unit(benchmark::kMillisecond);

/// The compressed sizes of the block coders, printed under the ratios.
void PrintSizes() {
    const Bytes &data = ZlibInput();
    size_t raw = 0, zlib1 = 0;
    Bytes out(compressBound(kBlock) + TCompressRaw::GetMaxCompSize(kBlock));
    for (int b = 0; b < kBlocks; ++b) {
        raw += TCompressRaw::Compress(data.data() + b * kBlock, kBlock, out.data()) - out.data();
        uLongf size = static_cast<uLongf>(out.size());
        compress2(out.data(), &size, data.data() + b * kBlock, kBlock, 1);
        zlib1 += size;
    }
    const double total = double(kBlock) * kBlocks;
    std::printf("  compressed size of 16 KB game-data blocks: TCompressRaw %.1f%%, zlib -1 "
                "%.1f%%\n",
                100.0 * raw / total, 100.0 * zlib1 / total);
}

} // namespace

int main(int argc, char **argv) {
    return vlib::bench::RunWithRatios(
        argc, argv,
        {
            {"DiskReadRealFile/16", "DiskReadStdio/16", "disk read, 16-byte pieces"},
            {"DiskReadRealFile/4096", "DiskReadStdio/4096", "disk read, 4 KB pieces"},
            {"DiskReadRealFile/65536", "DiskReadStdio/65536", "disk read, 64 KB pieces"},
            {"DiskWriteRealFile/4096", "DiskWriteStdio/4096", "disk write, 4 KB pieces"},
            {"DiskWriteRealFile/65536", "DiskWriteStdio/65536", "disk write, 64 KB pieces"},
            {"TextWriteFilter", "TextWriteToChars", "text write vs to_chars"},
            {"TextReadFilter", "TextReadFromChars", "text read vs from_chars"},
            {"DeflateFilter", "DeflateZlib", "deflate filter vs zlib"},
            {"InflateFilter", "InflateZlib", "inflate filter vs zlib"},
            {"CompressRawCompress", "Zlib1Compress", "TCompressRaw vs zlib -1, compress"},
            {"CompressRawDecompress", "Zlib1Decompress", "TCompressRaw vs zlib -1, decompress"},
        },
        PrintSizes, vlib::bench::TRatioClock::Cpu);
}
