// Fuzz target of the binary input filter: every typed read over arbitrary bytes, from a
// memory file and from a file that stops short. Reads past the end leave targets alone.
#include <cstdint>
#include <vector>

#include "General/Maths/Matrix.h"
#include "General/Maths/Quaternion.h"
#include "General/Maths/Vector.h"
#include "General/Platform/Time.h"
#include "General/Streams/BinaryFilter.h"
#include "General/Streams/FileBuf.h"

#include "FuzzCheck.h"

using vlib::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > (1u << 20))
        return 0;
    std::vector<unsigned char> bytes(data, data + size);
    TFixedFileBuf file;
    file.Open(bytes.data(), int(size), 2);
    TBinaryInFilter in;
    Check(in.Open(&file));
    for (int round = 0; round < 64 && !in.AtEOF(); ++round) {
        int i = 7;
        unsigned int u = 0;
        long l = 0;
        unsigned long ul = 0;
        short s = 0;
        __int64 i64 = 0;
        VUInt64 u64 = 0;
        bool b = false;
        char c = 0;
        float f = 0;
        double d = 0;
        TTime t;
        TDynamicString text;
        TVector4 v(0, 0, 0, 0);
        TQuaternion q(0, 0, 0, 0);
        TMatrix43 m;
        const int before = file.GetPos();
        in >> i >> u >> l >> ul >> s >> i64 >> u64 >> b >> c >> f >> d >> t >> text >> v >> q >> m;
        Check(l >= INT32_MIN && l <= INT32_MAX);
        Check(ul <= UINT32_MAX);
        Check(text.GetLength() <= int(size));
        Check(file.GetPos() >= before);
    }
    return 0;
}
