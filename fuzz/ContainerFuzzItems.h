// Persistent classes and the load driver shared by the container fuzz targets and the tool
// that writes their seed corpora.
#pragma once

#include <cstddef>
#include <cstdint>

#include "General/Containers/RootContainer.h"
#include "General/Core/RuntimeClass.h"

namespace vlib::fuzz {

/// An object with an int, a float, a string and a reference to another object by id.
class TFuzzItem : public TRootObject {
    VLIB_DECLARE_RUNTIME_CLASS(TFuzzItem)
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;
    int Value = 0;
    float Weight = 0.0f;
    TString Name;
    int Other = -1;

    TError ReadBinary(TFileObj &file) override;
    TError WriteBinary(TFileObj &file) override;
    TError ReadAscii(TAsciiInFilter &filter) override;
    TError WriteAscii(TAsciiOutFilter &filter) override;
};

/// A second class whose objects are written last.
class TFuzzLateItem : public TFuzzItem {
    VLIB_DECLARE_RUNTIME_CLASS(TFuzzLateItem)
};

/// Loads `data` as a container file of `format` into a map and a hash, then empties both.
void LoadContainer(const uint8_t *data, size_t size, int format);

} // namespace vlib::fuzz
