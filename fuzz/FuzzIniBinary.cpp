// Fuzz target of the INI binary form: the input is inflated into a document. Damaged or cut
// data must fail without a crash or a leak and leave the document empty; what loads must
// save and load again to the same lines.
#include <cstdint>
#include <cstring>

#include "General/Config/IniFile.h"
#include "General/Streams/FileBuf.h"

#include "FuzzCheck.h"

using vlib::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    TFixedFileBuf input;
    const int length = static_cast<int>(size < (1u << 30) ? size : (1u << 30));
    Check(input.Open(const_cast<unsigned char *>(data), length, 2));
    TIniFile ini;
    if (!ini.LoadBinary(&input)) {
        Check(ini.GetNumLines() == 0);
        return 0;
    }
    TManagedFileBuf packed;
    Check(packed.Open(6, 0));
    Check(static_cast<bool>(ini.SaveBinary(&packed)));
    Check(packed.Seek(0, TFileObj::SeekStart));
    TIniFile again;
    Check(static_cast<bool>(again.LoadBinary(&packed)));
    // Saving drops nothing but the blank lines that loading drops as well, and one closing
    // CR of each line: a line still ending in CR may shrink once more.
    Check(again.GetNumLines() <= ini.GetNumLines());
    for (int i = 0; i < again.GetNumLines() && again.GetNumLines() == ini.GetNumLines(); ++i) {
        const char *a = ini.GetLine(i);
        const char *b = again.GetLine(i);
        const size_t la = std::strlen(a);
        Check(std::strncmp(a, b, std::strlen(b)) == 0 &&
              (la == std::strlen(b) || a[la - 1] == '\r'));
    }
    return 0;
}
