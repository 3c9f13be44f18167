// The binary typed filters: values in their little-endian memory form, one read or write of
// the lower file per value. TFilter is a virtual base so that TBinaryFilter, which works in
// either direction, holds one lower file and one flags word.
#pragma once

#include "General/Streams/FileObj.h"
#include "General/Streams/TypedIO.h"

/// Reads values in their memory form. A short read leaves the target as it was.
class VLIB_API TBinaryInFilter : public virtual TFilter, public TIOTypedInput {
public:
    TBinaryInFilter() = default;
    TBinaryInFilter(const TBinaryInFilter &) = delete;
    TBinaryInFilter &operator=(const TBinaryInFilter &) = delete;

    int Read(void *buffer, int size) override;
    /// Refused: returns false.
    bool Write(const void *buffer, int size) override;

    /// Does nothing: a block's binary form carries no size to go by.
    TIOTypedInput &operator>>(TIOBinaryBlock &value) override;
    TIOTypedInput &operator>>(TMatrix43 &value) override;
    TIOTypedInput &operator>>(TMatrix4 &value) override;
    TIOTypedInput &operator>>(TMatrix3 &value) override;
    TIOTypedInput &operator>>(TMatrix2 &value) override;
    TIOTypedInput &operator>>(TVector4 &value) override;
    TIOTypedInput &operator>>(TVector3 &value) override;
    TIOTypedInput &operator>>(TVector2 &value) override;
    TIOTypedInput &operator>>(TQuaternion &value) override;
    TIOTypedInput &operator>>(TTime &value) override;
    /// Bytes up to a zero byte (or the end of the data), gathered 255 at a time.
    TIOTypedInput &operator>>(TDynamicString &value) override;
    TIOTypedInput &operator>>(float &value) override;
    TIOTypedInput &operator>>(double &value) override;
    /// One byte; any non-zero byte is true.
    TIOTypedInput &operator>>(bool &value) override;
    TIOTypedInput &operator>>(VUInt64 &value) override;
    TIOTypedInput &operator>>(__int64 &value) override;
    /// Four bytes, sign-extended.
    TIOTypedInput &operator>>(long &value) override;
    /// Four bytes.
    TIOTypedInput &operator>>(unsigned long &value) override;
    TIOTypedInput &operator>>(short &value) override;
    TIOTypedInput &operator>>(unsigned short &value) override;
    TIOTypedInput &operator>>(unsigned char &value) override;
    TIOTypedInput &operator>>(signed char &value) override;
    TIOTypedInput &operator>>(char &value) override;
    TIOTypedInput &operator>>(unsigned int &value) override;
    TIOTypedInput &operator>>(int &value) override;
    bool IsAscii() override { return false; }
    /// Opens on a readable file.
    virtual bool Open(TFileObj *file);

protected:
    /// Reads exactly `size` bytes into `out`; false, with `out` untouched, when fewer come.
    bool ReadExact(void *out, int size);
};

/// Writes values in their memory form.
class VLIB_API TBinaryOutFilter : public virtual TFilter, public TIOTypedOutput {
public:
    TBinaryOutFilter() = default;
    TBinaryOutFilter(const TBinaryOutFilter &) = delete;
    TBinaryOutFilter &operator=(const TBinaryOutFilter &) = delete;

    /// Refused: returns 0.
    int Read(void *buffer, int size) override;
    /// False (with Bad set here and below) when the lower file refused the bytes.
    bool Write(const void *buffer, int size) override;

    /// The raw bytes: neither size nor format goes out.
    TIOTypedOutput &operator<<(const TIOBinaryBlock &value) override;
    TIOTypedOutput &operator<<(const TMatrix43 &value) override;
    TIOTypedOutput &operator<<(const TMatrix4 &value) override;
    TIOTypedOutput &operator<<(const TMatrix3 &value) override;
    TIOTypedOutput &operator<<(const TMatrix2 &value) override;
    TIOTypedOutput &operator<<(const TVector4 &value) override;
    TIOTypedOutput &operator<<(const TVector3 &value) override;
    TIOTypedOutput &operator<<(const TVector2 &value) override;
    TIOTypedOutput &operator<<(const TQuaternion &value) override;
    TIOTypedOutput &operator<<(TTime value) override;
    /// The characters and a terminating zero; no count.
    TIOTypedOutput &operator<<(const TDynamicString &value) override;
    TIOTypedOutput &operator<<(float value) override;
    TIOTypedOutput &operator<<(double value) override;
    TIOTypedOutput &operator<<(bool value) override;
    TIOTypedOutput &operator<<(VUInt64 value) override;
    TIOTypedOutput &operator<<(__int64 value) override;
    /// Four bytes: the low 32 bits.
    TIOTypedOutput &operator<<(long value) override;
    /// Four bytes: the low 32 bits.
    TIOTypedOutput &operator<<(unsigned long value) override;
    TIOTypedOutput &operator<<(short value) override;
    TIOTypedOutput &operator<<(unsigned short value) override;
    TIOTypedOutput &operator<<(unsigned char value) override;
    TIOTypedOutput &operator<<(signed char value) override;
    TIOTypedOutput &operator<<(char value) override;
    TIOTypedOutput &operator<<(unsigned int value) override;
    TIOTypedOutput &operator<<(int value) override;
    /// The characters and a terminating zero; null is the empty text.
    TIOTypedOutput &operator<<(const char *value) override;
    bool IsAscii() override { return false; }
    /// Opens on a writeable file.
    virtual bool Open(TFileObj *file);
};

/// Either direction: readable if the lower file is readable (even when it also writes),
/// else writeable.
class VLIB_API TBinaryFilter : public TBinaryInFilter, public TBinaryOutFilter {
public:
    TBinaryFilter() = default;

    int Read(void *buffer, int size) override;
    bool Write(const void *buffer, int size) override;
    bool IsAscii() override { return false; }
    bool Open(TFileObj *file) override;

    using TBinaryInFilter::operator>>;
    using TBinaryOutFilter::operator<<;
};
