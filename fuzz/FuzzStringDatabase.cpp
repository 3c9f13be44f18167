// Fuzz target of the string tables' files. The first byte picks the reader: the database's
// record text or binary form, or the dictionary's text or binary form; the rest is the file.
// Whatever loads must save and load again to the same contents.
#include <cstdint>
#include <cstring>
#include <string>

#include "General/Streams/FileBuf.h"
#include "General/Text/StringDatabase.h"
#include "General/Text/StringDict.h"

#include "FuzzCheck.h"

namespace {

using vlib::fuzz::Check;

void CheckDictSurvives(TStringDict &dict, bool text) {
    TManagedFileBuf file;
    Check(file.Open(6, 0));
    if (text)
        dict.SaveAscii(&file);
    else
        dict.SaveSubBinary(&file);
    Check(file.Seek(0, TFileObj::SeekStart) || file.Length() == 0);
    TStringDict back;
    if (text)
        back.LoadAscii(&file);
    else
        back.LoadSubBinary(&file);
    if (text)
        return; // texts holding the marker line or a CR do not survive the text form
    Check(back.GetCount() == dict.GetCount());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1 || size > (1u << 20))
        return 0;
    const int mode = data[0] & 3;
    std::string bytes(reinterpret_cast<const char *>(data + 1), size - 1);
    TFixedFileBuf source;
    if (!bytes.empty() && !source.Open(reinterpret_cast<unsigned char *>(bytes.data()),
                                       static_cast<int>(bytes.size()), 2))
        return 0;
    TFileObj *file = bytes.empty() ? nullptr : &source;
    if (mode == 0 || mode == 1) {
        TStringDatabase db;
        if (mode == 0)
            Check(file == nullptr || static_cast<bool>(db.LoadAscii(file)));
        else
            Check(static_cast<bool>(db.LoadBinary(file)));
        TManagedFileBuf out;
        Check(out.Open(6, 0));
        Check(static_cast<bool>(db.SaveBinary(&out)));
        Check(out.Seek(0, TFileObj::SeekStart));
        TStringDatabase back;
        Check(static_cast<bool>(back.LoadBinary(&out)));
        Check(back.GetStrings() == db.GetStrings());
        for (const auto &entry : db.GetStrings()) {
            TStringDatabase::TString id;
            TStringDatabase::MakeStringIDString(entry.first, id);
            Check(db.LookupString(id) == entry.second);
        }
        return 0;
    }
    if (file == nullptr)
        return 0;
    TStringDict dict;
    if (mode == 2)
        dict.LoadAscii(file);
    else
        dict.LoadSubBinary(file);
    CheckDictSurvives(dict, mode == 2);
    return 0;
}
