// The interning table. Buckets keyed by the case-folded byte sum keep the order in which the
// files list the strings; an exact-text hash index beside them keeps Insert fast even when
// many strings share a bucket, as similar names do under a byte sum.
#include "General/Text/StringDict.h"

#include <cstring>
#include <limits>
#include <string_view>
#include <unordered_map>

#include "General/Core/Detail/NoThrow.h"
#include "General/Core/LibContainers.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileObj.h"
#include "General/Text/Detail/ByteIO.h"

namespace vlib::detail {

namespace {

using TString = TStringDict::TString;

/// One interned string and its index.
struct TDictEntry : public TBaseAllocator {
    int index;
    TString text;
};

struct TTextHash {
    size_t operator()(std::string_view text) const noexcept {
        uint64_t hash = 14695981039346656037ull;
        for (unsigned char c : text)
            hash = (hash ^ c) * 1099511628211ull;
        return static_cast<size_t>(hash);
    }
};

/// The bucket key: the sum of the case-folded bytes, each taken as a signed char.
uint32_t BucketKey(const char *text, size_t length) {
    uint32_t key = 0;
    for (size_t i = 0; i < length; ++i) {
        int c = static_cast<signed char>(text[i]);
        if (c >= 'a' && c <= 'z')
            c -= 'a' - 'A';
        key += static_cast<uint32_t>(c);
    }
    return key;
}

constexpr const char kMarkerLine[] = "---#***#---";
constexpr int kLineBufferSize = 4096;

} // namespace

struct TStringDictRecord : public TBaseAllocator {
    TLibMap<uint32_t, TLibVector<TDictEntry *>> buckets;
    TLibMap<int, const TString *> strings;
    int nextIndex = 1;
    /// Every stored text by its bytes; the views point into the entries' own strings.
    std::unordered_map<std::string_view, TDictEntry *, TTextHash, std::equal_to<std::string_view>,
                       TLibSTLAllocator<std::pair<const std::string_view, TDictEntry *>>>
        byText;
    int count = 0;

    ~TStringDictRecord() { Clear(); }

    void Clear() {
        for (auto &bucket : buckets)
            for (TDictEntry *entry : bucket.second)
                delete entry;
        buckets.clear();
        strings.clear();
        byText.clear();
        nextIndex = 1;
        count = 0;
    }

    TDictEntry *Find(std::string_view text) const {
        auto it = byText.find(text);
        return it != byText.end() ? it->second : nullptr;
    }

    /// Appends an entry to its bucket; the first of equal texts stays the one Insert finds.
    TDictEntry *Append(int index, const char *text, size_t length) {
        auto *entry = new TDictEntry;
        if (entry == nullptr)
            return nullptr;
        entry->index = index;
        entry->text = TString(text, static_cast<unsigned>(length));
        if (entry->text.GetLength() != static_cast<int>(length)) { // out of memory
            delete entry;
            return nullptr;
        }
        try {
            buckets[BucketKey(text, length)].push_back(entry);
        } catch (...) {
            delete entry; // not yet owned by a bucket
            throw;
        }
        ++count;
        strings[index] = &entry->text;
        const TString &stored = entry->text;
        byText.emplace(std::string_view(stored.GetData(), length), entry);
        return entry;
    }
};

} // namespace vlib::detail

using vlib::detail::CallNoThrow;
using vlib::detail::TDictEntry;

TStringDict::TStringDict() : m_Record(new vlib::detail::TStringDictRecord) {}

TStringDict::~TStringDict() {
    delete m_Record;
}

const TStringDict::TString *TStringDict::Insert(TString &text) {
    return Insert(text.GetData(), text.GetLength());
}

const TStringDict::TString *TStringDict::Insert(const char *text, int length) {
    if (m_Record == nullptr || text == nullptr || length < 0)
        return nullptr;
    const std::string_view view(text, static_cast<size_t>(length));
    if (TDictEntry *found = m_Record->Find(view))
        return &found->text;
    // The indices have run out (a loaded file may claim the largest one): nothing more fits.
    if (m_Record->nextIndex == std::numeric_limits<int>::max())
        return nullptr;
    return CallNoThrow(
        [&]() -> const TString * {
            TDictEntry *entry = m_Record->Append(m_Record->nextIndex, text, view.size());
            if (entry == nullptr)
                return nullptr;
            ++m_Record->nextIndex;
            return &entry->text;
        },
        static_cast<const TString *>(nullptr));
}

int TStringDict::GetIndex(const TString *text) {
    if (m_Record == nullptr || text == nullptr)
        return 0;
    TDictEntry *found = m_Record->Find(std::string_view(text->GetData(), text->GetLength()));
    return found != nullptr ? found->index : 0;
}

const TStringDict::TString *TStringDict::GetString(int index) {
    if (m_Record == nullptr)
        return nullptr;
    auto it = m_Record->strings.find(index);
    return it != m_Record->strings.end() ? it->second : nullptr;
}

int TStringDict::GetCount() const {
    return m_Record != nullptr ? m_Record->count : 0;
}

void TStringDict::Clear() {
    if (m_Record != nullptr)
        m_Record->Clear();
}

void TStringDict::Add(int index, TString &text) {
    const int length = text.GetLength();
    (void)CallNoThrow([&] {
        if (m_Record->Append(index, text.GetData(), static_cast<size_t>(length)) != nullptr &&
            index >= m_Record->nextIndex)
            m_Record->nextIndex = index == std::numeric_limits<int>::max() ? index : index + 1;
    });
}

void TStringDict::SaveSubBinary(TFileObj *file) {
    if (m_Record == nullptr || file == nullptr)
        return;
    vlib::detail::WriteInt32(file, m_Record->count);
    for (const auto &bucket : m_Record->buckets)
        for (const TDictEntry *entry : bucket.second) {
            vlib::detail::WriteInt32(file, entry->index);
            file->Write(entry->text.GetData(), entry->text.GetLength() + 1);
        }
}

void TStringDict::LoadSubBinary(TFileObj *file) {
    Clear();
    if (m_Record == nullptr || file == nullptr)
        return;
    vlib::detail::TByteReader reader(file);
    int32_t count = 0;
    if (!reader.ReadInt32(count))
        return;
    TString text;
    for (int32_t i = 0; i < count; ++i) {
        int32_t index = 0;
        if (!reader.ReadInt32(index) || !reader.ReadCString(text))
            break;
        Add(index, text);
    }
    reader.Finish();
}

void TStringDict::SaveAscii(TFileObj *file) {
    if (m_Record == nullptr)
        return;
    TAsciiOutFilter out;
    if (!out.Open(file))
        return;
    TString line;
    line.SPrintf("NumStrings=%d\n", m_Record->count);
    out.Write(line.GetData(), line.GetLength());
    for (const auto &bucket : m_Record->buckets)
        for (const TDictEntry *entry : bucket.second) {
            line.SPrintf("Index=%d\n", entry->index);
            out.Write(line.GetData(), line.GetLength());
            out.Write(entry->text.GetData(), entry->text.GetLength());
            out.Write("\n", 1);
            out.Write(vlib::detail::kMarkerLine, sizeof(vlib::detail::kMarkerLine) - 1);
            out.Write("\n", 1);
        }
    out.CloseLayer();
}

namespace {

/// One line into `buffer`; false at the end of the file.
bool ReadDictLine(TLineFilter &lines, char *buffer) {
    const int before = lines.GetLineNumber();
    const int count = lines.Read(buffer, vlib::detail::kLineBufferSize);
    return count > 0 || lines.GetLineNumber() != before;
}

} // namespace

void TStringDict::LoadAscii(TFileObj *file) {
    Clear();
    if (m_Record == nullptr)
        return;
    TLineFilter lines;
    if (!lines.Open(file))
        return;
    char buffer[vlib::detail::kLineBufferSize];
    int count = 0;
    if (ReadDictLine(lines, buffer) && TString(buffer).ReadNextNumber(&count)) {
        TString text;
        for (int i = 0; i < count; ++i) {
            int index = 0;
            if (!ReadDictLine(lines, buffer) || !TString(buffer).ReadNextNumber(&index))
                break;
            text = "";
            bool first = true;
            bool complete = false;
            while (ReadDictLine(lines, buffer)) {
                if (std::strcmp(buffer, vlib::detail::kMarkerLine) == 0) {
                    complete = true;
                    break;
                }
                if (!first)
                    text.Append('\n');
                text.Append(buffer);
                first = false;
            }
            if (!complete)
                break;
            Add(index, text);
        }
    }
    lines.CloseLayer();
}
