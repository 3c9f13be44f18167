// Fuzz target of the text input filter. The input is read twice with the same mix of token,
// line, string, block and raw reads: once straight from a memory file's buffer and once byte
// by byte through a pass-through layer. Both readings must agree in every result.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "General/Core/LibAllocator.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Vector.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileBuf.h"

#include "FuzzCheck.h"

namespace {

using vlib::fuzz::Check;

/// Hides the file beneath from the text filter's direct buffer reads.
class TPassThrough : public TFilter {
public:
    bool Open(TFileObj *lower) {
        if (!ReadFilterOpenValid(lower))
            return HandleOpenFailed(lower);
        Layer(lower, FlagOpen | FlagReadable);
        return true;
    }
    int Read(void *buffer, int size) override { return m_Lower->Read(buffer, size); }
    bool Write(const void *, int) override { return false; }
};

std::string Script(TAsciiInFilter &in, int steps) {
    std::string log;
    char line[64];
    for (int step = 0; step < steps && !in.AtEOF(); ++step) {
        switch (step % 11) {
        case 0: {
            int n = 0;
            in >> n;
            log += std::to_string(n);
            break;
        }
        case 1: {
            double d = 0;
            in >> d;
            log += std::to_string(d);
            break;
        }
        case 2: {
            TDynamicString s;
            in.SetAppendChar('\n');
            in >> s;
            log += s.GetData();
            break;
        }
        case 3: {
            bool truncated = false;
            log += std::to_string(in.GetLine(line, sizeof line, '\n', &truncated));
            log += line;
            break;
        }
        case 4:
            log += std::to_string(in.ReadChars(line, 16));
            log += line;
            break;
        case 5: {
            int h = 0;
            in.ReadHexInt(h);
            log += std::to_string(h);
            break;
        }
        case 6: {
            TIOBinaryBlock block;
            in >> block;
            if (block.data != nullptr) {
                log.append(reinterpret_cast<const char *>(block.data), block.size);
                GetAllocatorInstance().Unalloc(block.data);
            }
            break;
        }
        case 7: {
            TVector3 v(0, 0, 0);
            TMatrix2 m;
            in >> v >> m;
            log += std::to_string(v.x + v.y + v.z + m.m[1][1]);
            break;
        }
        case 8: {
            char raw[5];
            const int n = in.Read(raw, 5);
            Check(n >= 0 && n <= 5);
            log.append(raw, size_t(n));
            break;
        }
        case 9:
            in.EatWhite();
            break;
        case 10: {
            char seekLine[256] = "x"; // SeekString's buffer holds a whole line of 255
            log += std::to_string(in.SeekString(seekLine, 2, "[", "#"));
            log += seekLine;
            break;
        }
        }
        log += "|" + std::to_string(in.GetLineNumber()) + "," + std::to_string(in.GetPos()) + ";";
    }
    return log;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > (1u << 20))
        return 0;
    std::vector<unsigned char> bytes(data, data + size);
    const int steps = int(size) + 16;

    TFixedFileBuf direct;
    direct.Open(bytes.data(), int(size), 2);
    TAsciiInFilter fast;
    Check(fast.Open(&direct));
    const std::string a = Script(fast, steps);

    TFixedFileBuf hidden;
    hidden.Open(bytes.data(), int(size), 2);
    TPassThrough layer;
    Check(layer.Open(&hidden));
    TAsciiInFilter slow;
    Check(slow.Open(&layer));
    const std::string b = Script(slow, steps);
    Check(a == b);
    return 0;
}
