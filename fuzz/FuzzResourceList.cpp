// Fuzz target of the bank's list-file reader. The input is a list file: a bank reads it into
// entries or refuses it whole, leaving no entry behind. What reads must write and read again
// to the same number of entries.
#include <cstdint>

#include "General/Resources/Detail/ResourceBank.h"
#include "General/Streams/FileBuf.h"

#include "FuzzCheck.h"

using vlib::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    TFixedFileBuf input;
    const int length = static_cast<int>(size < (1u << 30) ? size : (1u << 30));
    Check(input.Open(const_cast<unsigned char *>(data), length, 2));
    TResourceBank bank;
    if (!bank.ReadList(&input)) {
        Check(bank.GetNumEntries() == 0);
        return 0;
    }
    TManagedFileBuf written;
    Check(written.Open(6, 0));
    Check(bank.WriteList(&written));
    Check(written.Seek(0, TFileObj::SeekStart));
    TResourceBank again;
    Check(again.ReadList(&written));
    Check(again.GetNumEntries() <= bank.GetNumEntries()); // second-store lines are not written
    return 0;
}
