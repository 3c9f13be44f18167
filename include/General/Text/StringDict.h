// The interning table of strings: each distinct text is stored once, at an address that stays
// put, with a positive index that survives saving and loading. XML files intern every tag
// name, attribute name and attribute value in one.
#pragma once

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/StringInt.h"

class TFileObj;

namespace vlib::detail {
struct TStringDictRecord;
} // namespace vlib::detail

/// Interns strings. Indices start at 1; 0 is never given out.
class VLIB_API TStringDict : public TBaseAllocator {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    TStringDict();
    ~TStringDict();
    TStringDict(const TStringDict &) = delete;
    TStringDict &operator=(const TStringDict &) = delete;

    /// The stored copy equal to `text`, made if there is none; null only when memory ran out.
    /// The address stays valid until Clear, a load or the destructor.
    const TString *Insert(TString &text);
    /// The same for a C string of `length` bytes.
    const TString *Insert(const char *text, int length);
    /// The index of the stored string equal to `text`; 0 when there is none.
    int GetIndex(const TString *text);
    /// The stored string of `index`; null for an index never given out.
    const TString *GetString(int index);
    int GetCount() const;
    /// Forgets every string; the next index goes back to 1.
    void Clear();

    /// Count, then index, bytes and a zero byte per string, in bucket order.
    void SaveSubBinary(TFileObj *file);
    /// Replaces the contents with what SaveSubBinary wrote; stops at the end of the file.
    void LoadSubBinary(TFileObj *file);
    /// The text form: "NumStrings=", then "Index=", the text and a marker line per string.
    void SaveAscii(TFileObj *file);
    void LoadAscii(TFileObj *file);

private:
    /// Enters `text` under a given index; later inserts go on above it.
    void Add(int index, TString &text);

    vlib::detail::TStringDictRecord *m_Record; // owned
};
