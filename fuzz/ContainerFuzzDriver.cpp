// Loads fuzz input into both kinds of store. The driver loads with merge, so that the bank
// never keeps a container of an earlier input.
#include "ContainerFuzzDriver.h"

#include <vector>

#include "General/Containers/RootContainerBank.h"
#include "General/Containers/RootHash.h"
#include "General/Containers/RootMap.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/DeflateFilter.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/IOAdapter.h"

namespace vlib::fuzz {

namespace {

/// Loads into `store` from the bytes, through the chain of `format`.
void LoadInto(TRootContainer &store, std::vector<unsigned char> &bytes, int format) {
    TFixedFileBuf file;
    if (!file.Open(bytes.data(), static_cast<int>(bytes.size()), 2))
        return;
    if (format == 1) {
        TAsciiInFilter text;
        if (text.Open(&file)) {
            TIOAdapter adapter(&text);
            (void)store.Stream(adapter, true);
            (void)text.Close();
        }
    } else if (format == 2) {
        TInflateFilter inflate;
        if (inflate.Open(&file)) {
            TIOAdapter adapter(&inflate, false);
            (void)store.Stream(adapter, true);
            (void)inflate.Close();
        }
    } else {
        TIOAdapter adapter(&file, false);
        (void)store.Stream(adapter, true);
    }
    if (file.IsOpen() != 0)
        (void)file.Close();
}

} // namespace

void LoadContainer(const uint8_t *data, size_t size, int format) {
    GetRootContainerBank();
    std::vector<unsigned char> bytes(data, data + size);
    bytes.push_back(0); // a valid pointer for an empty input
    bytes.pop_back();
    {
        TRootMap map;
        LoadInto(map, bytes, format);
    }
    {
        TRootHash hash;
        LoadInto(hash, bytes, format);
    }
}

} // namespace vlib::fuzz
