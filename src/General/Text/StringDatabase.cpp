// The string database: id texts, the text file of records, and the adapter form shared by the
// binary load and save.
#include "General/Text/StringDatabase.h"

#include <cstdio>
#include <cstring>

#include "General/Core/Detail/NoThrow.h"
#include "General/Core/LibAllocator.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/Detail/StringLookup.h"
#include "General/Streams/IOAdapter.h"

namespace {

constexpr int kIDTextLength = 11;
constexpr int kMaxLine = 4096;

/// The answer for an id without an entry, shared by every database.
TStringDatabase::TString &Scratch() {
    static TStringDatabase::TString scratch;
    return scratch;
}

void LookupForAdapter(TStringDatabase *database, const char *text,
                      TStringInt<TDynamicStringAllocationStrategy> &out) {
    database->LookupString(text, out);
}

} // namespace

const char *const TStringDatabase::StrNotAStringID = "[Not an ID]";
const char *const TStringDatabase::StrStringNotFound = "[ID Not Found]";
TStringDatabaseFactory TStringDatabase::mFactory;

namespace {
// After mFactory in this file, so the factory exists when it is registered; the adapter's
// binary string reads learn of the database at the same time.
TResourceFactoryRegistration gStringDatabaseRegistration(&TStringDatabase::mFactory);
const bool gLookupInstalled = (vlib::detail::gStringLookup = &LookupForAdapter, true);
} // namespace

TResource *TStringDatabaseFactory::New() {
    return new TStringDatabase;
}

void TStringDatabaseFactory::Delete(TResource *resource) {
    delete resource;
}

uint32_t TStringDatabaseFactory::GetID() {
    static const uint32_t id = TResource::StrToID("TStringDatabase");
    return id;
}

TStringInt<TDynamicStringAllocationStrategy> TStringDatabaseFactory::GetName() {
    return "TStringDatabase";
}

TStringDatabase::~TStringDatabase() = default;

bool TStringDatabase::ExtractStringID(const char *text, uint32_t &id) {
    if (text == nullptr || text[0] != '$' || std::strlen(text) < kIDTextLength || text[1] != '{' ||
        text[10] != '}')
        return false;
    char digits[9];
    std::memcpy(digits, text + 2, 8);
    digits[8] = '\0';
    unsigned int value = 0;
    if (std::sscanf(digits, "%x", &value) != 1)
        return false;
    id = value;
    return true;
}

void TStringDatabase::MakeStringIDString(uint32_t id, TString &out) {
    out.SPrintf("${%08X}", static_cast<unsigned>(id));
}

const TStringDatabase::TString &TStringDatabase::LookupString(uint32_t id) {
    auto it = m_Strings.find(id);
    if (it != m_Strings.end())
        return it->second;
    MakeStringIDString(id, Scratch());
    return Scratch();
}

const TStringDatabase::TString &TStringDatabase::LookupString(const TString &text) {
    uint32_t id;
    if (!ExtractStringID(text.GetData(), id))
        return text;
    return LookupString(id);
}

void TStringDatabase::LookupString(const char *text, TString &out) {
    uint32_t id;
    if (!ExtractStringID(text, id)) {
        out = text != nullptr ? text : "";
        return;
    }
    out = LookupString(id);
}

void TStringDatabase::ReplaceString(uint32_t id, TString &text) {
    text = LookupString(id);
}

void TStringDatabase::ReplaceString(TString &text) {
    uint32_t id;
    if (ExtractStringID(text.GetData(), id))
        ReplaceString(id, text);
}

void TStringDatabase::ReplaceString(char *buffer, int size) {
    uint32_t id;
    if (buffer == nullptr || size <= 0 || !ExtractStringID(buffer, id))
        return;
    std::strncpy(buffer, LookupString(id).GetData(), static_cast<size_t>(size));
}

void TStringDatabase::SetString(uint32_t id, const TString &text) {
    (void)vlib::detail::CallNoThrow([&] { m_Strings[id] = text; });
}

bool TStringDatabase::GetLine(TAsciiInFilter &in, TString &out) {
    char buffer[kMaxLine + 1];
    const int linesBefore = in.GetLineNumber();
    const int count = in.GetLine(buffer, sizeof(buffer), '\n');
    if (count <= 0 && in.GetLineNumber() == linesBefore)
        return false; // nothing came, not even a line end
    out = count > 0 ? buffer : "";
    return !in.IsBad();
}

TError TStringDatabase::LoadAscii(TFileObj *file) {
    TAsciiInFilter in;
    if (!in.Open(file))
        return TError(0x10000);
    // A record that found no memory is dropped or cut short: the load then fails, although
    // the records read whole stay.
    TAllocationFailureWatch watch;
    (void)vlib::detail::CallNoThrow([&] {
        TString line;
        while (GetLine(in, line)) {
            uint32_t id;
            if (!ExtractStringID(line.GetData(), id))
                break;
            if (!GetLine(in, line))
                break;
            const unsigned long lineCount = line.GetUnsignedInteger();
            TString text;
            bool complete = true;
            for (unsigned long i = 0; i < lineCount; ++i) {
                if (!GetLine(in, line)) {
                    complete = false;
                    break;
                }
                if (i > 0)
                    text.Append('\n');
                text.Append(line.GetData());
            }
            if (!complete)
                break;
            m_Strings.emplace(id, text); // an id that comes twice keeps its first text
        }
    });
    in.CloseLayer();
    return watch.Failed() ? TError(0x10000) : TError(0);
}

void TStringDatabase::Stream(TIOAdapter &adapter) {
    int count = static_cast<int>(m_Strings.size());
    adapter.StreamInt(count, "Stringmap");
    if (adapter.GetWriting()) {
        for (auto &entry : m_Strings) {
            unsigned int id = entry.first;
            adapter.StreamUnsignedInt(id, "StringID");
            adapter.StreamString(entry.second, "*this");
        }
        return;
    }
    m_Strings.clear();
    // The count comes from the file: stop as soon as the file has nothing more to give.
    for (int i = 0; i < count && !adapter.AtEOF() && !adapter.IsBad(); ++i) {
        unsigned int id = 0;
        TString text;
        adapter.StreamUnsignedInt(id, "StringID");
        adapter.StreamString(text, "*this");
        if (adapter.IsBad())
            break;
        (void)vlib::detail::CallNoThrow([&] { m_Strings.emplace(id, text); });
    }
}

TError TStringDatabase::LoadBinary(TFileObj *file) {
    if (file == nullptr)
        return TError(0);
    // The database's own texts are never translated through a database.
    TStringDatabase *saved = TIOAdapter::GetStringDatabase();
    TIOAdapter::SetStringDatabase(nullptr);
    TAllocationFailureWatch watch;
    TIOAdapter adapter(file, false);
    (void)vlib::detail::CallNoThrow([&] { Stream(adapter); });
    TIOAdapter::SetStringDatabase(saved);
    return watch.Failed() ? TError(0x10000) : TError(0);
}

TError TStringDatabase::SaveBinary(TFileObj *file) {
    if (file == nullptr)
        return TError(0);
    TIOAdapter adapter(file, true);
    Stream(adapter);
    return TError(0);
}

bool TStringDatabase::IsValidVersion(uint32_t version, bool ascii) {
    (void)version;
    (void)ascii;
    return true;
}
