// The typed faces of the text and binary filters. Code that streams values holds one of
// these and need not know whether it talks to text or to bytes; IsAscii tells it which.
// Every operator returns the interface itself so that calls chain.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/StringInt.h"
#include "General/Platform/PlatformConfig.h"

class TMatrix2;
class TMatrix3;
class TMatrix4;
class TMatrix43;
class TQuaternion;
class TTime;
class TVector2;
class TVector3;
class TVector4;

/// A view of a block of bytes for the typed operators: in text, hexadecimal lines with
/// `indent` tabs in front of each.
struct TIOBinaryBlock {
    unsigned char *data = nullptr; // not owned; a text read allocates it for the caller
    uint32_t size = 0;
    int indent = 0;
};

/// Typed reads. The `long` forms take 32-bit values, as every stream holds them.
class VLIB_API TIOTypedInput {
public:
    virtual TIOTypedInput &operator>>(TIOBinaryBlock &value) = 0;
    virtual TIOTypedInput &operator>>(TMatrix43 &value) = 0;
    virtual TIOTypedInput &operator>>(TMatrix4 &value) = 0;
    virtual TIOTypedInput &operator>>(TMatrix3 &value) = 0;
    virtual TIOTypedInput &operator>>(TMatrix2 &value) = 0;
    virtual TIOTypedInput &operator>>(TVector4 &value) = 0;
    virtual TIOTypedInput &operator>>(TVector3 &value) = 0;
    virtual TIOTypedInput &operator>>(TVector2 &value) = 0;
    virtual TIOTypedInput &operator>>(TQuaternion &value) = 0;
    virtual TIOTypedInput &operator>>(TTime &value) = 0;
    virtual TIOTypedInput &operator>>(TDynamicString &value) = 0;
    virtual TIOTypedInput &operator>>(float &value) = 0;
    virtual TIOTypedInput &operator>>(double &value) = 0;
    virtual TIOTypedInput &operator>>(bool &value) = 0;
    virtual TIOTypedInput &operator>>(VUInt64 &value) = 0;
    virtual TIOTypedInput &operator>>(__int64 &value) = 0;
    virtual TIOTypedInput &operator>>(long &value) = 0;
    virtual TIOTypedInput &operator>>(unsigned long &value) = 0;
    virtual TIOTypedInput &operator>>(short &value) = 0;
    virtual TIOTypedInput &operator>>(unsigned short &value) = 0;
    virtual TIOTypedInput &operator>>(unsigned char &value) = 0;
    virtual TIOTypedInput &operator>>(signed char &value) = 0;
    virtual TIOTypedInput &operator>>(char &value) = 0;
    virtual TIOTypedInput &operator>>(unsigned int &value) = 0;
    virtual TIOTypedInput &operator>>(int &value) = 0;
    /// True for text, false for binary.
    virtual bool IsAscii() = 0;

protected:
    ~TIOTypedInput() = default;
};

/// Typed writes. The `long` forms write 32-bit values, as every stream holds them.
class VLIB_API TIOTypedOutput {
public:
    virtual TIOTypedOutput &operator<<(const TIOBinaryBlock &value) = 0;
    virtual TIOTypedOutput &operator<<(const TMatrix43 &value) = 0;
    virtual TIOTypedOutput &operator<<(const TMatrix4 &value) = 0;
    virtual TIOTypedOutput &operator<<(const TMatrix3 &value) = 0;
    virtual TIOTypedOutput &operator<<(const TMatrix2 &value) = 0;
    virtual TIOTypedOutput &operator<<(const TVector4 &value) = 0;
    virtual TIOTypedOutput &operator<<(const TVector3 &value) = 0;
    virtual TIOTypedOutput &operator<<(const TVector2 &value) = 0;
    virtual TIOTypedOutput &operator<<(const TQuaternion &value) = 0;
    virtual TIOTypedOutput &operator<<(TTime value) = 0;
    virtual TIOTypedOutput &operator<<(const TDynamicString &value) = 0;
    virtual TIOTypedOutput &operator<<(float value) = 0;
    virtual TIOTypedOutput &operator<<(double value) = 0;
    virtual TIOTypedOutput &operator<<(bool value) = 0;
    virtual TIOTypedOutput &operator<<(VUInt64 value) = 0;
    virtual TIOTypedOutput &operator<<(__int64 value) = 0;
    virtual TIOTypedOutput &operator<<(long value) = 0;
    virtual TIOTypedOutput &operator<<(unsigned long value) = 0;
    virtual TIOTypedOutput &operator<<(short value) = 0;
    virtual TIOTypedOutput &operator<<(unsigned short value) = 0;
    virtual TIOTypedOutput &operator<<(unsigned char value) = 0;
    virtual TIOTypedOutput &operator<<(signed char value) = 0;
    virtual TIOTypedOutput &operator<<(char value) = 0;
    virtual TIOTypedOutput &operator<<(unsigned int value) = 0;
    virtual TIOTypedOutput &operator<<(int value) = 0;
    virtual TIOTypedOutput &operator<<(const char *value) = 0;
    /// True for text, false for binary.
    virtual bool IsAscii() = 0;

protected:
    ~TIOTypedOutput() = default;
};
