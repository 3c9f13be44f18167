// The symmetric streaming adapter: a persistent class writes one routine of stream calls,
// each with a field and a name, and the same routine reads or writes, in text or in binary,
// according to how the adapter was built. Binary form is each value's little-endian bytes
// straight to the file; text form is one INI-style "name=value" line per value, read back by
// position, not by name. The adapter opens and layers nothing itself.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Platform/PlatformConfig.h"

class TAsciiInFilter;
class TAsciiOutFilter;
class TColour;
class TFileObj;
class TMatrix3;
class TMatrix4;
class TMatrix43;
class TPackColour;
class TQuaternion;
class TRectangle;
class TStringDatabase;
class TVector2;
class TVector3;

/// Counts the bytes that binary writes spend per field name.
class VLIB_API TRootTrack {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// Adds `bytes` to the entry of `key`, making it at 0.
    void Track(const char *key, int bytes);
    /// One more instance of `bytes` bytes in the summary figures.
    void AddInstance(int bytes);
    /// Adds each of `other`'s entries to this tracker's; the summary figures stay.
    void Combine(const TRootTrack &other);
    /// With `summary` the line "prefix, instances, total"; with `details` one line
    /// "prefix::key, bytes" per entry in key order.
    void Output(const char *prefix, TAsciiOutFilter &out, bool summary, bool details) const;

    int GetInstances() const { return m_Instances; }
    int GetTotal() const { return m_Total; }
    const TLibMap<TString, int> &GetEntries() const { return m_Entries; }

    /// The tracker that binary writes of the adapter feed; null when nobody counts.
    static void SetGlobalTracking(TRootTrack *tracker) { GlobalTrack = tracker; }
    static TRootTrack *GetGlobalTracking() { return GlobalTrack; }
    static TRootTrack *GlobalTrack; // not owned

private:
    TLibMap<TString, int> m_Entries;
    int m_Instances = 0;
    int m_Total = 0;
};

/// Reads or writes values through one file object or text filter that the caller owns. The
/// stream operations report nothing: check IsBad() when a batch is done. A value whose read
/// comes up short keeps what it held.
class VLIB_API TIOAdapter {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// Binary form over any file object (a deflate layer included).
    TIOAdapter(TFileObj *file, bool writing);
    /// Reads text.
    explicit TIOAdapter(TAsciiInFilter *input);
    /// Writes text.
    explicit TIOAdapter(TAsciiOutFilter *output);

    bool GetWriting() const { return m_Writing; }
    TFileObj *GetBinaryFile() const { return m_BinaryFile; }
    TAsciiInFilter *GetTextInput() const { return m_TextInput; }
    TAsciiOutFilter *GetTextOutput() const { return m_TextOutput; }
    /// The name of the file in use; empty without one.
    TString &GetFileName() const;
    /// The text input's line number; 0 in the other forms.
    int GetLineNumber() const;

    static TStringDatabase *GetStringDatabase() { return StringDatabase; }
    /// Binary string reads pass their text through this database (null for none).
    static void SetStringDatabase(TStringDatabase *database) { StringDatabase = database; }
    static TStringDatabase *StringDatabase; // not owned

    void StreamInt(int &value, const char *name);
    /// As StreamInt; in text, values from 2^31 show negative.
    void StreamUnsignedInt(unsigned int &value, const char *name);
    /// A 32-bit value, as StreamInt.
    void StreamLong(unsigned long &value, const char *name);
    void StreamShort(unsigned short &value, const char *name);
    void StreamSignedByte(signed char &value, const char *name);
    void StreamByte(unsigned char &value, const char *name);
    void StreamFloat(float &value, const char *name);
    /// One byte, 1 for true; any non-zero byte reads as true. In text exactly "true" or
    /// "false"; anything else leaves the value.
    void StreamBool(bool &value, const char *name);
    /// Eight bytes; in text two lines, "name(lo)" and "name(hi)".
    void StreamInt64(__int64 &value, const char *name);
    /// A 32-bit length and the characters. Reading a length of 0 leaves the string as it was.
    void StreamString(TString &value, const char *name);
    /// `size` bytes; in text the line "name=Raw:" with the bytes directly behind it.
    void StreamRaw(unsigned char *data, int size, const char *name);
    /// The bit of `mask` in `flags`, as a bool.
    void StreamBit(unsigned long &flags, unsigned long mask, const char *name);
    /// The bits of `mask` in `flags`, as an int.
    void StreamBits(unsigned long &flags, unsigned long mask, const char *name);
    /// The number in binary, the tag's text in text; an unknown tag leaves the value.
    void StreamTaggedEnum(int &value, const char **tags, int tagCount, const char *name);
    void StreamIntVector(TLibVector<int> &values, const char *name);
    void StreamShortVector(TLibVector<unsigned short> &values, const char *name);
    void StreamLongVector(TLibVector<unsigned long> &values, const char *name);
    void StreamFloatVector(TLibVector<float> &values, const char *name);
    void StreamBoolVector(TLibVector<bool> &values, const char *name);
    void StreamStringVector(TLibVector<TString> &values, const char *name);
    /// The count, then each key and value in key order; reading clears the map first.
    void StreamIntMap(TLibMap<unsigned long, int> &values, const char *name, const char *keyName,
                      const char *valueName);
    /// In text a blank line and the comment; reading drops those two lines. Nothing in binary.
    void StreamComment(const char *text);
    /// StreamInt under an empty name in binary; text reads take the next value, text writes
    /// write nothing.
    void StreamUnnamedInteger(int &value);
    void StreamUnnamedString(TString &value);

    // Maths values: each is a run of StreamFloat or StreamInt calls. In binary form the calls
    // get a null name (so binary tracking counts them under the empty name); in text form
    // each element is named after `name`, as "name[i]", "name[row][column]" or "name[x]".

    /// Elements 0 and 1, as "name[0]" and "name[1]".
    void StreamVector2(TVector2 &value, const char *name);
    /// Elements 0 to 2, as "name[0]" to "name[2]".
    void StreamVector3(TVector3 &value, const char *name);
    /// x, y, z, then w (w comes first in memory), as "name[x]" ... "name[w]".
    void StreamQuaternion(TQuaternion &value, const char *name);
    /// XMin, YMin, XMax, YMax, as "name[XMin]" ... "name[YMax]".
    void StreamRect(TRectangle &value, const char *name);
    /// Red, green and blue as floats, as "name[R]", "name[G]", "name[B]".
    void StreamColour(TColour &value, const char *name);
    /// Red, green, blue and alpha as four ints (16 bytes in binary), as "name[R]" ...
    /// "name[A]"; the word is rebuilt from the four channels afterwards, also when writing.
    void StreamPackColour(TPackColour &value, const char *name);
    /// Row by row, as "name[row][column]".
    void StreamMatrix3(TMatrix3 &value, const char *name);
    void StreamMatrix4(TMatrix4 &value, const char *name);
    /// Four rows of three, as "name[row][column]".
    void StreamTransform(TMatrix43 &value, const char *name);

    /// Remembers the position of the file in use.
    void SetMark();
    /// Back to the mark; nothing without one.
    void SeekToMark();
    /// To `position`; -1 does nothing.
    void SeekToMark(int position);
    bool AtEOF() const;
    /// True when fewer than `extra` bytes remain.
    bool AtEOF(int extra) const;
    /// The Bad flag of the file in use; true without one.
    bool IsBad() const;
    void SetBad();
    /// Closes whatever the adapter stands on.
    void Close();

private:
    /// The text input, else the text output, else the binary file.
    TFileObj *GetFile() const;
    bool IsBinary() const { return m_BinaryFile != nullptr; }
    /// Binary: writes `size` bytes and tracks them under `name`.
    void WriteBytes(const void *data, int size, const char *name, int tracked);
    /// Binary: reads exactly `size` bytes into `data`; false (data untouched) if fewer came.
    bool ReadBytes(void *data, int size);
    /// Whether a read loop over a count taken from the data should go on.
    bool CanReadMore() const;

    bool m_Writing;
    TFileObj *m_BinaryFile = nullptr;        // not owned
    TAsciiInFilter *m_TextInput = nullptr;   // not owned
    TAsciiOutFilter *m_TextOutput = nullptr; // not owned
    int m_Mark = -1;
};
