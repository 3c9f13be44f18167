// Writes the seed corpora of the stream fuzz targets with the library's own writers, so the
// fuzzers start from real streams: StreamsCorpusTool <corpus-dir>. Its output is committed
// under fuzz/corpus/; run it again after a format change.
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "General/Maths/Matrix.h"
#include "General/Maths/Quaternion.h"
#include "General/Maths/Vector.h"
#include "General/Platform/Time.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/BinaryFilter.h"
#include "General/Streams/CompressRaw.h"
#include "General/Streams/DeflateFilter.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/VersionedFilter.h"

namespace {

using Bytes = std::vector<unsigned char>;
constexpr int kSeeds = 24;

void Save(const std::string &dir, const std::string &format, int index, const Bytes &bytes) {
    const std::string folder = dir + "/" + format;
    ::mkdir(folder.c_str(), 0777);
    char name[32];
    std::snprintf(name, sizeof name, "/seed-%02d", index);
    FILE *f = std::fopen((folder + name).c_str(), "wb");
    if (f == nullptr)
        return;
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
}

Bytes Contents(TManagedFileBuf &file) {
    return Bytes(file.GetBuffer(), file.GetBuffer() + file.Length());
}

/// Text made by the text writer with settings and values that vary with `seed`.
Bytes AsciiSeed(int seed) {
    std::mt19937 rng{unsigned(seed)};
    TManagedFileBuf file;
    file.Open(4, 0);
    TAsciiOutFilter out;
    out.Open(&file);
    out.SetAppendChar(seed % 3 == 0 ? '\n' : ' ');
    out.SetDelimiter(seed % 2 ? TAsciiOutFilter::ms_pszDelimComma : " ");
    out.SetWindowsStyleLineEndings(seed % 4 == 1);
    if (seed % 5 == 2)
        out.SetLinePrefix("\t");
    for (int i = 0; i < 4 + seed; ++i) {
        out << int(rng() % 20001) - 10000 << float(rng() % 1000) / 8.0f;
        switch ((seed + i) % 6) {
        case 0:
            out << TVector3(1.5f, -2.0f, float(i));
            break;
        case 1:
            out << TDynamicString("name with blanks") << "\n";
            break;
        case 2: {
            unsigned char block[23];
            for (unsigned char &b : block)
                b = static_cast<unsigned char>(rng());
            TIOBinaryBlock view;
            view.data = block;
            view.size = uint32_t(1 + (seed + i) % 23);
            view.indent = i % 3;
            out << view;
            break;
        }
        case 3:
            out.WriteHexInt(int(rng()));
            out << "\r\n[Section] # comment\r\n";
            break;
        case 4:
            out << TQuaternion(1.0f, 0.0f, 0.5f, -0.5f) << 3.25 << true;
            break;
        default:
            out << TTime(__int64(rng())) << static_cast<unsigned char>('a' + i % 26);
            break;
        }
    }
    return Contents(file);
}

Bytes BinarySeed(int seed) {
    std::mt19937 rng{unsigned(seed) + 100};
    TManagedFileBuf file;
    file.Open(4, 0);
    TBinaryOutFilter out;
    out.Open(&file);
    TMatrix43 m{};
    for (int i = 0; i < 1 + seed % 5; ++i) {
        out << int(rng()) << unsigned(rng()) << long(int(rng())) << (unsigned long)(rng())
            << short(rng()) << __int64(rng()) << VUInt64(rng()) << bool(rng() & 1) << 'c'
            << float(rng() % 100) << double(rng()) << TTime(__int64(rng()))
            << TDynamicString(std::string(size_t(seed * 13 % 300), 'x').c_str())
            << TVector4(1, 2, 3, 4) << TQuaternion(1, 0, 0, 0) << m;
    }
    return Contents(file);
}

Bytes VersionedSeed(int seed) {
    TManagedFileBuf file;
    file.Open(4, 0);
    if (seed < kSeeds - 4) {
        TVersionedOutFilter out;
        out.Open(&file, (unsigned long)(seed * 4099 % 100000));
        for (int i = 0; i < seed; ++i)
            out.Write("data", 4);
        out.CloseLayer();
    } else {
        // Streams without a header, which read as version 0.
        const char *text[] = {"plain", "VV", "VVRX1", "binary\x01\x02"};
        file.Write(text[seed % 4], int(std::string(text[seed % 4]).size()));
    }
    return Contents(file);
}

Bytes InflateSeed(int seed) {
    std::mt19937 rng{unsigned(seed) + 200};
    Bytes data(size_t(seed) * seed * 40);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = seed % 2 ? static_cast<unsigned char>("mesh 0.5\r\n"[rng() % 10])
                           : static_cast<unsigned char>(rng());
    TManagedFileBuf file;
    file.Open(4, 0);
    TDeflateFilter out;
    out.Open(&file, TDeflateFilter::DeflateDefault);
    if (!data.empty())
        out.Write(data.data(), int(data.size()));
    out.CloseLayer();
    return Contents(file);
}

Bytes CompressRawSeed(int seed) {
    std::mt19937 rng{unsigned(seed) + 300};
    Bytes data(size_t(1 + seed * seed * 7));
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = seed % 3 == 0 ? static_cast<unsigned char>(rng())
                                : static_cast<unsigned char>("entity position {}"[rng() % 18]);
    Bytes block(size_t(TCompressRaw::GetMaxCompSize(int(data.size()))));
    unsigned char *end = TCompressRaw::Compress(data.data(), int(data.size()), block.data());
    block.resize(size_t(end - block.data()));
    return block;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus-dir>\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    for (int seed = 0; seed < kSeeds; ++seed) {
        Save(dir, "AsciiIn", seed, AsciiSeed(seed));
        Save(dir, "BinaryIn", seed, BinarySeed(seed));
        Save(dir, "VersionedHeader", seed, VersionedSeed(seed));
        Save(dir, "Inflate", seed, InflateSeed(seed));
        Save(dir, "CompressRaw", seed, CompressRawSeed(seed));
    }
    return 0;
}
