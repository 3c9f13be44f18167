// Fuzz target of the binary XML reader. Whatever loads must save to the very bytes it was
// read from, up to where the tree ended.
#include <cstdint>
#include <cstring>
#include <string>

#include "General/Streams/FileBuf.h"
#include "General/Text/XMLFile.h"

#include "FuzzCheck.h"

using vlib::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > (1u << 20))
        return 0;
    std::string bytes(reinterpret_cast<const char *>(data), size);
    TFixedFileBuf source;
    if (!source.Open(reinterpret_cast<unsigned char *>(bytes.data()), static_cast<int>(size), 2))
        return 0;
    TXMLFile xml;
    if (!xml.LoadBinary(&source)) {
        Check(!xml.IsOpen() && xml.GetRootTag() == nullptr);
        return 0;
    }
    const int used = source.GetPos();
    TManagedFileBuf out;
    Check(out.Open(6, 0));
    Check(static_cast<bool>(xml.SaveBinary(&out)));
    // Negative counts read as none, and the version is not checked: compare from the root.
    TXMLFile back;
    Check(out.Seek(0, TFileObj::SeekStart));
    Check(static_cast<bool>(back.LoadBinary(&out)));
    TManagedFileBuf again;
    Check(again.Open(6, 0));
    Check(static_cast<bool>(back.SaveBinary(&again)));
    Check(again.Length() == out.Length() &&
          std::memcmp(again.GetBuffer(), out.GetBuffer(), static_cast<size_t>(out.Length())) == 0);
    Check(used >= 0 && used <= static_cast<int>(size));
    return 0;
}
