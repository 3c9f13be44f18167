// The binary typed filters. Values go out and come in as their little-endian memory images,
// except `long` and `unsigned long`, which are four bytes in every stream whatever their
// width in memory.
#include "General/Streams/BinaryFilter.h"

#include <cstring>

#include "General/Maths/Matrix.h"
#include "General/Maths/Quaternion.h"
#include "General/Maths/Vector.h"
#include "General/Platform/Time.h"

namespace {

constexpr int kStringPiece = 256;

} // namespace

// ---------------------------------------------------------------------------------------------
// TBinaryInFilter

bool TBinaryInFilter::Open(TFileObj *file) {
    if (!ReadFilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | FlagReadable);
    return true;
}

int TBinaryInFilter::Read(void *buffer, int size) {
    if (m_Lower == nullptr)
        return 0;
    const int got = m_Lower->Read(buffer, size);
    TakeBadFromLower();
    return got;
}

bool TBinaryInFilter::Write(const void *buffer, int size) {
    (void)buffer;
    (void)size;
    return false;
}

bool TBinaryInFilter::ReadExact(void *out, int size) {
    unsigned char bytes[8];
    if (Read(bytes, size) != size)
        return false;
    std::memcpy(out, bytes, static_cast<size_t>(size));
    return true;
}

TIOTypedInput &TBinaryInFilter::operator>>(TIOBinaryBlock &value) {
    (void)value;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(int &value) {
    ReadExact(&value, 4);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(unsigned int &value) {
    ReadExact(&value, 4);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(long &value) {
    int32_t v;
    if (ReadExact(&v, 4))
        value = v;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(unsigned long &value) {
    uint32_t v;
    if (ReadExact(&v, 4))
        value = v;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(short &value) {
    ReadExact(&value, 2);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(unsigned short &value) {
    ReadExact(&value, 2);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(__int64 &value) {
    ReadExact(&value, 8);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(VUInt64 &value) {
    ReadExact(&value, 8);
    return *this;
}

// A byte other than 0 and 1 cannot live in a C++ bool, so it is taken as true.
TIOTypedInput &TBinaryInFilter::operator>>(bool &value) {
    unsigned char b;
    if (ReadExact(&b, 1))
        value = b != 0;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(char &value) {
    ReadExact(&value, 1);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(signed char &value) {
    ReadExact(&value, 1);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(unsigned char &value) {
    ReadExact(&value, 1);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(float &value) {
    ReadExact(&value, 4);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(double &value) {
    ReadExact(&value, 8);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TDynamicString &value) {
    value = "";
    char piece[kStringPiece];
    int count = 0;
    char c;
    while (Read(&c, 1) == 1 && c != '\0') {
        piece[count++] = c;
        if (count == kStringPiece - 1) {
            piece[count] = '\0';
            value.Append(piece);
            count = 0;
        }
    }
    piece[count] = '\0';
    if (count > 0)
        value.Append(piece);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TTime &value) {
    __int64 v;
    if (ReadExact(&v, 8))
        value.SetValue(v);
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TVector2 &value) {
    *this >> value.x >> value.y;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TVector3 &value) {
    *this >> value.x >> value.y >> value.z;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TVector4 &value) {
    *this >> value.x >> value.y >> value.z >> value.w;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TQuaternion &value) {
    *this >> value.w >> value.x >> value.y >> value.z;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TMatrix2 &value) {
    for (auto &row : value.m)
        for (float &f : row)
            *this >> f;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TMatrix3 &value) {
    for (auto &row : value.m)
        for (float &f : row)
            *this >> f;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TMatrix4 &value) {
    for (auto &row : value.m)
        for (float &f : row)
            *this >> f;
    return *this;
}

TIOTypedInput &TBinaryInFilter::operator>>(TMatrix43 &value) {
    for (auto &row : value.m)
        for (float &f : row)
            *this >> f;
    return *this;
}

// ---------------------------------------------------------------------------------------------
// TBinaryOutFilter

bool TBinaryOutFilter::Open(TFileObj *file) {
    if (!WriteFilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | FlagWriteable);
    return true;
}

int TBinaryOutFilter::Read(void *buffer, int size) {
    (void)buffer;
    (void)size;
    return 0;
}

bool TBinaryOutFilter::Write(const void *buffer, int size) {
    if (m_Lower == nullptr || IsBad()) {
        SetBad();
        return false;
    }
    if (!m_Lower->Write(buffer, size)) {
        MarkBad();
        return false;
    }
    return true;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TIOBinaryBlock &value) {
    if (value.data != nullptr && value.size != 0)
        Write(value.data, static_cast<int>(value.size));
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(int value) {
    Write(&value, 4);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(unsigned int value) {
    Write(&value, 4);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(long value) {
    const int32_t v = static_cast<int32_t>(value);
    Write(&v, 4);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(unsigned long value) {
    const uint32_t v = static_cast<uint32_t>(value);
    Write(&v, 4);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(short value) {
    Write(&value, 2);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(unsigned short value) {
    Write(&value, 2);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(__int64 value) {
    Write(&value, 8);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(VUInt64 value) {
    Write(&value, 8);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(bool value) {
    const unsigned char b = value ? 1 : 0;
    Write(&b, 1);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(char value) {
    Write(&value, 1);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(signed char value) {
    Write(&value, 1);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(unsigned char value) {
    Write(&value, 1);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(float value) {
    Write(&value, 4);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(double value) {
    Write(&value, 8);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const char *value) {
    const char *text = value != nullptr ? value : "";
    Write(text, static_cast<int>(std::strlen(text)) + 1);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TDynamicString &value) {
    Write(value.GetData(), value.GetLength() + 1);
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(TTime value) {
    return *this << static_cast<__int64>(value.GetValue());
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TVector2 &value) {
    *this << value.x << value.y;
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TVector3 &value) {
    *this << value.x << value.y << value.z;
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TVector4 &value) {
    *this << value.x << value.y << value.z << value.w;
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TQuaternion &value) {
    *this << value.w << value.x << value.y << value.z;
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TMatrix2 &value) {
    for (const auto &row : value.m)
        for (float f : row)
            *this << f;
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TMatrix3 &value) {
    for (const auto &row : value.m)
        for (float f : row)
            *this << f;
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TMatrix4 &value) {
    for (const auto &row : value.m)
        for (float f : row)
            *this << f;
    return *this;
}

TIOTypedOutput &TBinaryOutFilter::operator<<(const TMatrix43 &value) {
    for (const auto &row : value.m)
        for (float f : row)
            *this << f;
    return *this;
}

// ---------------------------------------------------------------------------------------------
// TBinaryFilter

bool TBinaryFilter::Open(TFileObj *file) {
    if (!FilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | (file->IsReadable() ? FlagReadable : FlagWriteable));
    return true;
}

int TBinaryFilter::Read(void *buffer, int size) {
    return TBinaryInFilter::Read(buffer, size);
}

bool TBinaryFilter::Write(const void *buffer, int size) {
    return TBinaryOutFilter::Write(buffer, size);
}
