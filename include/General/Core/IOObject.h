// The four stream operations of an object that reads and writes itself in binary and text.
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"

class TFileObj;
class TAsciiInFilter;
class TAsciiOutFilter;

/// An object that streams itself; each operation defaults to success.
class VLIB_API TIOObject {
public:
    virtual TError ReadBinary(TFileObj &file) = 0;
    virtual TError WriteBinary(TFileObj &file) = 0;
    virtual TError ReadAscii(TAsciiInFilter &filter) = 0;
    virtual TError WriteAscii(TAsciiOutFilter &filter) = 0;

protected:
    ~TIOObject() = default;
};
