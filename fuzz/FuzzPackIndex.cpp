// Fuzz target of the packed store's reader. The input is a whole ".vrb" pack: it is opened
// read-only, every file is enumerated and read through its window, and each window must hold
// exactly the bytes its record describes, inside the pack.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <unistd.h>

#include "General/Resources/BankStore.h"

#include "FuzzCheck.h"

namespace {

using vlib::fuzz::Check;

class TReadAll : public TBankFileVisitor_I {
public:
    explicit TReadAll(size_t packSize) : m_PackSize(packSize) {}
    bool operator()(TBankFileSystem_I &store, const TDynamicString &path) override {
        TDynamicString where;
        unsigned long long offset = 0;
        unsigned long size = 0;
        Check(store.GetFileLocation(path, where, offset, size));
        // A record never written has no bytes and no place (offset 0xFFFFFFFF).
        Check(size == 0 || offset + size <= m_PackSize);
        TFileObj *file = store.OpenFile(path, 2);
        if (file == nullptr)
            return true; // an empty record has no window
        std::vector<unsigned char> bytes(size + 1);
        Check(file->Read(bytes.data(), static_cast<int>(bytes.size())) == static_cast<int>(size));
        store.CloseFile(file);
        return true;
    }

private:
    size_t m_PackSize;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::string path = "/tmp/vlib-fuzz-pack-" + std::to_string(::getpid()) + ".vrb";
    FILE *out = std::fopen(path.c_str(), "wb");
    if (out == nullptr)
        return 0;
    std::fwrite(data, 1, size, out);
    std::fclose(out);

    TBankPackedFile pack;
    if (pack.Open(path.c_str(), true)) {
        TReadAll reader(size);
        Check(pack.Enumerate(reader));
        (void)pack.Close();
    }
    std::remove(path.c_str());
    return 0;
}
