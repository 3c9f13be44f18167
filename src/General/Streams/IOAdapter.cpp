// TIOAdapter and TRootTrack. Binary values go to the file one call per value, little-endian;
// text values go through the INI line primitives. Counts read from the data drive loops that
// stop when the data runs out, and long strings and vectors grow as their bytes arrive, so a
// damaged count costs no more memory than the data behind it.
#include "General/Streams/IOAdapter.h"

#include <cstring>

#include "General/Config/IniFile.h"
#include "General/Core/Detail/NoThrow.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/Detail/StringLookup.h"
#include "General/Streams/FileObj.h"

using vlib::detail::CallNoThrow;

vlib::detail::TStringLookup vlib::detail::gStringLookup = nullptr;
TStringDatabase *TIOAdapter::StringDatabase = nullptr;
TRootTrack *TRootTrack::GlobalTrack = nullptr;

namespace {

constexpr int kCommentLine = 512;
/// Strings and vectors longer than this are read in pieces of this size.
constexpr uint32_t kReadPiece = 64 * 1024;

void PutLE(unsigned char *out, uint64_t value, int size) {
    for (int i = 0; i < size; ++i)
        out[i] = static_cast<unsigned char>(value >> (8 * i));
}

uint64_t GetLE(const unsigned char *in, int size) {
    uint64_t value = 0;
    for (int i = 0; i < size; ++i)
        value |= static_cast<uint64_t>(in[i]) << (8 * i);
    return value;
}

/// `name` with `suffix` behind it, cut to a line.
TIOAdapter::TString Suffixed(const char *name, const char *suffix) {
    TIOAdapter::TString text(name);
    text.Append(suffix);
    return text;
}

} // namespace

// TRootTrack ------------------------------------------------------------------------------------

void TRootTrack::Track(const char *key, int bytes) {
    (void)CallNoThrow([&] { m_Entries[TString(key)] += bytes; });
}

void TRootTrack::AddInstance(int bytes) {
    ++m_Instances;
    m_Total += bytes;
}

void TRootTrack::Combine(const TRootTrack &other) {
    (void)CallNoThrow([&] {
        for (const auto &entry : other.m_Entries)
            m_Entries[entry.first] += entry.second;
    });
}

void TRootTrack::Output(const char *prefix, TAsciiOutFilter &out, bool summary,
                        bool details) const {
    if (summary)
        out << prefix << ", " << m_Instances << ", " << m_Total << "\n";
    if (details)
        for (const auto &entry : m_Entries)
            out << prefix << "::" << entry.first << ", " << entry.second << "\n";
}

// TIOAdapter: construction and state ----------------------------------------------------------

TIOAdapter::TIOAdapter(TFileObj *file, bool writing) : m_Writing(writing), m_BinaryFile(file) {}

TIOAdapter::TIOAdapter(TAsciiInFilter *input) : m_Writing(false), m_TextInput(input) {}

TIOAdapter::TIOAdapter(TAsciiOutFilter *output) : m_Writing(true), m_TextOutput(output) {}

TFileObj *TIOAdapter::GetFile() const {
    if (m_TextInput != nullptr)
        return m_TextInput;
    if (m_TextOutput != nullptr)
        return m_TextOutput;
    return m_BinaryFile;
}

TIOAdapter::TString &TIOAdapter::GetFileName() const {
    static TString none;
    TFileObj *file = GetFile();
    if (file == nullptr) {
        none = "";
        return none;
    }
    return file->GetFileName();
}

int TIOAdapter::GetLineNumber() const {
    return m_TextInput != nullptr ? m_TextInput->GetLineNumber() : 0;
}

void TIOAdapter::SetMark() {
    if (TFileObj *file = GetFile())
        m_Mark = file->GetPos();
}

void TIOAdapter::SeekToMark() {
    SeekToMark(m_Mark);
}

void TIOAdapter::SeekToMark(int position) {
    TFileObj *file = GetFile();
    if (position != -1 && file != nullptr)
        (void)file->Seek(position, TFileObj::SeekStart); // a refused seek shows in what follows
}

bool TIOAdapter::AtEOF() const {
    TFileObj *file = GetFile();
    return file == nullptr || file->AtEOF() > 0;
}

bool TIOAdapter::AtEOF(int extra) const {
    TFileObj *file = GetFile();
    return file == nullptr || static_cast<long long>(file->GetPos()) + extra >= file->Length();
}

bool TIOAdapter::IsBad() const {
    if (m_BinaryFile != nullptr)
        return m_BinaryFile->IsBad() != 0;
    if (m_TextOutput != nullptr)
        return m_TextOutput->IsBad() != 0;
    if (m_TextInput != nullptr)
        return m_TextInput->IsBad() != 0;
    return true;
}

void TIOAdapter::SetBad() {
    if (m_BinaryFile != nullptr)
        m_BinaryFile->SetBad();
    else if (m_TextOutput != nullptr)
        m_TextOutput->SetBad();
    else if (m_TextInput != nullptr)
        m_TextInput->SetBad();
}

void TIOAdapter::Close() {
    // Each result shows in the files' flags; the adapter reports nothing itself.
    if (m_TextInput != nullptr)
        (void)m_TextInput->Close();
    if (m_TextOutput != nullptr)
        (void)m_TextOutput->Close();
    if (m_BinaryFile != nullptr)
        (void)m_BinaryFile->Close();
}

bool TIOAdapter::CanReadMore() const {
    TFileObj *file = GetFile();
    return file != nullptr && file->AtEOF() <= 0 && file->IsBad() == 0;
}

// Binary primitives ------------------------------------------------------------------------------

void TIOAdapter::WriteBytes(const void *data, int size, const char *name, int tracked) {
    (void)m_BinaryFile->Write(data, size); // a short write shows in the Bad flag
    // Unnamed values (the elements of maths values among them) share the empty-named entry.
    if (TRootTrack::GlobalTrack != nullptr)
        TRootTrack::GlobalTrack->Track(name != nullptr ? name : "", tracked);
}

bool TIOAdapter::ReadBytes(void *data, int size) {
    unsigned char scratch[8];
    unsigned char *target = size <= 8 ? scratch : static_cast<unsigned char *>(data);
    if (m_BinaryFile->Read(target, size) != size)
        return false;
    if (target == scratch)
        std::memcpy(data, scratch, static_cast<size_t>(size));
    return true;
}

// Scalars ----------------------------------------------------------------------------------------

void TIOAdapter::StreamInt(int &value, const char *name) {
    if (IsBinary()) {
        unsigned char bytes[4];
        if (m_Writing) {
            PutLE(bytes, static_cast<uint32_t>(value), 4);
            WriteBytes(bytes, 4, name, 4);
        } else if (ReadBytes(bytes, 4)) {
            value = static_cast<int32_t>(static_cast<uint32_t>(GetLE(bytes, 4)));
        }
    } else if (m_TextOutput != nullptr) {
        TIniFile::WriteNextIniInt(name != nullptr ? name : "", value, *m_TextOutput);
    } else if (m_TextInput != nullptr) {
        (void)TIniFile::GetNextIniInt(value, *m_TextInput); // at the end the value stays
    }
}

void TIOAdapter::StreamUnsignedInt(unsigned int &value, const char *name) {
    int local = static_cast<int>(value);
    StreamInt(local, name);
    value = static_cast<unsigned int>(local);
}

void TIOAdapter::StreamLong(unsigned long &value, const char *name) {
    int local = static_cast<int>(static_cast<uint32_t>(value));
    StreamInt(local, name);
    value = static_cast<uint32_t>(local);
}

void TIOAdapter::StreamShort(unsigned short &value, const char *name) {
    if (IsBinary()) {
        unsigned char bytes[2];
        if (m_Writing) {
            PutLE(bytes, value, 2);
            WriteBytes(bytes, 2, name, 2);
        } else if (ReadBytes(bytes, 2)) {
            value = static_cast<unsigned short>(GetLE(bytes, 2));
        }
        return;
    }
    int wide = value;
    StreamInt(wide, name);
    value = static_cast<unsigned short>(wide);
}

void TIOAdapter::StreamSignedByte(signed char &value, const char *name) {
    if (IsBinary()) {
        unsigned char byte = static_cast<unsigned char>(value);
        if (m_Writing)
            WriteBytes(&byte, 1, name, 1);
        else if (ReadBytes(&byte, 1))
            value = static_cast<signed char>(byte);
        return;
    }
    int wide = value;
    StreamInt(wide, name);
    value = static_cast<signed char>(wide);
}

void TIOAdapter::StreamByte(unsigned char &value, const char *name) {
    if (IsBinary()) {
        if (m_Writing)
            WriteBytes(&value, 1, name, 1);
        else
            (void)ReadBytes(&value, 1);
        return;
    }
    int wide = value;
    StreamInt(wide, name);
    value = static_cast<unsigned char>(wide);
}

void TIOAdapter::StreamFloat(float &value, const char *name) {
    if (IsBinary()) {
        unsigned char bytes[4];
        uint32_t bits;
        if (m_Writing) {
            std::memcpy(&bits, &value, 4);
            PutLE(bytes, bits, 4);
            WriteBytes(bytes, 4, name, 4);
        } else if (ReadBytes(bytes, 4)) {
            bits = static_cast<uint32_t>(GetLE(bytes, 4));
            std::memcpy(&value, &bits, 4);
        }
    } else if (m_TextOutput != nullptr) {
        TIniFile::WriteNextIniFloat(name != nullptr ? name : "", value, *m_TextOutput);
    } else if (m_TextInput != nullptr) {
        (void)TIniFile::GetNextIniFloat(value, *m_TextInput);
    }
}

void TIOAdapter::StreamBool(bool &value, const char *name) {
    if (IsBinary()) {
        unsigned char byte = value ? 1 : 0;
        if (m_Writing)
            WriteBytes(&byte, 1, name, 1);
        else if (ReadBytes(&byte, 1))
            value = byte != 0;
    } else if (m_TextOutput != nullptr) {
        TIniFile::WriteNextIniBool(name != nullptr ? name : "", value, *m_TextOutput);
    } else if (m_TextInput != nullptr) {
        (void)TIniFile::GetNextIniBool(value, *m_TextInput); // other text leaves the value
    }
}

void TIOAdapter::StreamInt64(__int64 &value, const char *name) {
    if (IsBinary()) {
        unsigned char bytes[8];
        if (m_Writing) {
            PutLE(bytes, static_cast<uint64_t>(value), 8);
            WriteBytes(bytes, 8, name, 8);
        } else if (ReadBytes(bytes, 8)) {
            value = static_cast<__int64>(GetLE(bytes, 8));
        }
        return;
    }
    const char *base = name != nullptr ? name : "";
    int low = static_cast<int>(static_cast<uint32_t>(value));
    int high = static_cast<int>(static_cast<uint32_t>(static_cast<uint64_t>(value) >> 32));
    StreamInt(low, Suffixed(base, "(lo)"));
    StreamInt(high, Suffixed(base, "(hi)"));
    value = static_cast<__int64>((static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) |
                                 static_cast<uint32_t>(low));
}

void TIOAdapter::StreamString(TString &value, const char *name) {
    if (!IsBinary()) {
        if (m_TextOutput != nullptr)
            TIniFile::WriteNextIniString(name != nullptr ? name : "", value, *m_TextOutput);
        else if (m_TextInput != nullptr)
            (void)TIniFile::GetNextIniString(value, *m_TextInput);
        return;
    }
    unsigned char bytes[4];
    if (m_Writing) {
        const int length = value.GetLength();
        PutLE(bytes, static_cast<uint32_t>(length), 4);
        (void)m_BinaryFile->Write(bytes, 4);
        if (length > 0)
            (void)m_BinaryFile->Write(value.GetData(), length);
        if (TRootTrack::GlobalTrack != nullptr && name != nullptr)
            TRootTrack::GlobalTrack->Track(name, length + 4);
        return;
    }
    if (!ReadBytes(bytes, 4))
        return;
    const uint32_t length = static_cast<uint32_t>(GetLE(bytes, 4));
    if (length == 0)
        return; // an empty string on file leaves the old text
    // The block grows with the bytes that actually come, not with the length claimed.
    TLibAllocator &heap = GetAllocatorInstance();
    uint32_t capacity = length < kReadPiece ? length : kReadPiece;
    char *text = reinterpret_cast<char *>(heap.Alloc(capacity + 1ul));
    uint32_t got = 0;
    while (text != nullptr && got < length) {
        if (got == capacity) {
            const uint32_t larger = length - capacity < capacity ? length : capacity * 2;
            char *grown = reinterpret_cast<char *>(heap.Alloc(larger + 1ul));
            if (grown != nullptr)
                std::memcpy(grown, text, got);
            heap.Unalloc(reinterpret_cast<unsigned char *>(text));
            text = grown;
            capacity = larger;
            continue;
        }
        const int want = static_cast<int>(capacity - got);
        const int read = m_BinaryFile->Read(text + got, want);
        if (read <= 0)
            break;
        got += static_cast<uint32_t>(read);
    }
    if (text != nullptr && got == length) {
        text[length] = '\0';
        if (StringDatabase != nullptr && vlib::detail::gStringLookup != nullptr)
            (void)CallNoThrow([&] { vlib::detail::gStringLookup(StringDatabase, text, value); });
        else
            value = text;
    }
    heap.Unalloc(reinterpret_cast<unsigned char *>(text));
}

void TIOAdapter::StreamRaw(unsigned char *data, int size, const char *name) {
    if (size <= 0 || data == nullptr)
        return;
    if (IsBinary()) {
        if (m_Writing)
            WriteBytes(data, size, name, size);
        else
            (void)ReadBytes(data, size);
    } else if (m_TextOutput != nullptr) {
        TIniFile::WriteNextIniString(name != nullptr ? name : "", "Raw:", *m_TextOutput);
        (void)m_TextOutput->Write(data, size);
    } else if (m_TextInput != nullptr) {
        TString marker;
        (void)TIniFile::GetNextIniString(marker, *m_TextInput);
        (void)m_TextInput->Read(data, size);
    }
}

void TIOAdapter::StreamBit(unsigned long &flags, unsigned long mask, const char *name) {
    bool set = (flags & mask) != 0;
    StreamBool(set, name);
    flags = (flags & ~mask) | (set ? mask : 0ul);
}

void TIOAdapter::StreamBits(unsigned long &flags, unsigned long mask, const char *name) {
    int bits = static_cast<int>(static_cast<uint32_t>(flags & mask));
    StreamInt(bits, name);
    flags = (flags & ~mask) | (static_cast<uint32_t>(bits) & mask);
}

void TIOAdapter::StreamTaggedEnum(int &value, const char **tags, int tagCount, const char *name) {
    if (IsBinary()) {
        StreamInt(value, nullptr);
        return;
    }
    if (m_TextOutput != nullptr) {
        TString tag(value >= 0 && value < tagCount && tags != nullptr ? tags[value] : "");
        StreamString(tag, name);
        return;
    }
    if (m_TextInput == nullptr)
        return;
    TString tag;
    StreamString(tag, name);
    for (int i = 0; tags != nullptr && i < tagCount; ++i)
        if (tags[i] != nullptr && std::strcmp(tag.GetData(), tags[i]) == 0) {
            value = i;
            return;
        }
}

// Vectors and maps --------------------------------------------------------------------------------

namespace {

/// Binary form of int and float vectors: a count, then 4 bytes per element.
template <class T>
void StreamWordVector(TFileObj *file, bool writing, TLibVector<T> &values, const char *name) {
    unsigned char bytes[4];
    if (writing) {
        const uint32_t count = static_cast<uint32_t>(values.size());
        PutLE(bytes, count, 4);
        (void)file->Write(bytes, 4);
        for (const T &value : values) {
            uint32_t bits;
            std::memcpy(&bits, &value, 4);
            PutLE(bytes, bits, 4);
            (void)file->Write(bytes, 4);
        }
        if (TRootTrack::GlobalTrack != nullptr && name != nullptr)
            TRootTrack::GlobalTrack->Track(name, static_cast<int>(count * 4 + 4));
        return;
    }
    if (file->Read(bytes, 4) != 4)
        return;
    const uint32_t count = static_cast<uint32_t>(GetLE(bytes, 4));
    (void)CallNoThrow([&] {
        values.clear();
        // Elements arrive in pieces; a count that the data cannot back ends with the data.
        TLibVector<unsigned char> piece;
        for (uint32_t done = 0; done < count;) {
            const uint32_t take = count - done < kReadPiece / 4 ? count - done : kReadPiece / 4;
            piece.resize(take * 4);
            const int read = file->Read(piece.data(), static_cast<int>(take * 4));
            const uint32_t whole = read > 0 ? static_cast<uint32_t>(read) / 4 : 0;
            for (uint32_t i = 0; i < whole; ++i) {
                const uint32_t bits = static_cast<uint32_t>(GetLE(&piece[i * 4], 4));
                T value;
                std::memcpy(&value, &bits, 4);
                values.push_back(value);
            }
            done += whole;
            if (whole < take)
                break;
        }
    });
}

} // namespace

void TIOAdapter::StreamIntVector(TLibVector<int> &values, const char *name) {
    if (IsBinary())
        StreamWordVector(m_BinaryFile, m_Writing, values, name);
    else if (m_TextOutput != nullptr)
        TIniFile::WriteNextIniIntVec(name != nullptr ? name : "", values, *m_TextOutput);
    else if (m_TextInput != nullptr)
        (void)TIniFile::GetNextIniIntVec(values, *m_TextInput);
}

void TIOAdapter::StreamFloatVector(TLibVector<float> &values, const char *name) {
    if (IsBinary())
        StreamWordVector(m_BinaryFile, m_Writing, values, name);
    else if (m_TextOutput != nullptr)
        TIniFile::WriteNextIniFloatVec(name != nullptr ? name : "", values, *m_TextOutput);
    else if (m_TextInput != nullptr)
        (void)TIniFile::GetNextIniFloatVec(values, *m_TextInput);
}

namespace {

/// The shape shared by the counted vectors: the count through StreamInt, then one call per
/// element. Reading stops where the data does.
template <class T, class F>
void StreamCounted(TIOAdapter &adapter, bool writing, TLibVector<T> &values, const char *name,
                   F &&element, bool (TIOAdapter::*more)() const) {
    int count = static_cast<int>(values.size());
    adapter.StreamInt(count, name);
    if (writing) {
        for (T &value : values)
            element(value);
        return;
    }
    (void)CallNoThrow([&] {
        values.clear();
        for (int i = 0; i < count && (adapter.*more)(); ++i) {
            T value{};
            element(value);
            values.push_back(value);
        }
    });
}

} // namespace

void TIOAdapter::StreamShortVector(TLibVector<unsigned short> &values, const char *name) {
    if (GetFile() == nullptr)
        return;
    StreamCounted(
        *this, m_Writing, values, name,
        [&](unsigned short &value) {
            if (IsBinary()) {
                StreamShort(value, name);
            } else {
                int wide = value;
                StreamInt(wide, "Value");
                value = static_cast<unsigned short>(wide);
            }
        },
        &TIOAdapter::CanReadMore);
}

void TIOAdapter::StreamLongVector(TLibVector<unsigned long> &values, const char *name) {
    if (GetFile() == nullptr)
        return;
    StreamCounted(
        *this, m_Writing, values, name, [&](unsigned long &value) { StreamLong(value, "Value"); },
        &TIOAdapter::CanReadMore);
}

void TIOAdapter::StreamBoolVector(TLibVector<bool> &values, const char *name) {
    if (GetFile() == nullptr)
        return;
    // vector<bool> has no references to its elements: go through a copy of each.
    int count = static_cast<int>(values.size());
    StreamInt(count, name);
    if (m_Writing) {
        for (size_t i = 0; i < values.size(); ++i) {
            bool value = values[i];
            StreamBool(value, "Value");
        }
        return;
    }
    (void)CallNoThrow([&] {
        values.clear();
        for (int i = 0; i < count && CanReadMore(); ++i) {
            bool value = false;
            StreamBool(value, "Value");
            values.push_back(value);
        }
    });
}

void TIOAdapter::StreamStringVector(TLibVector<TString> &values, const char *name) {
    if (GetFile() == nullptr)
        return;
    StreamCounted(
        *this, m_Writing, values, name, [&](TString &value) { StreamString(value, "String"); },
        &TIOAdapter::CanReadMore);
}

void TIOAdapter::StreamIntMap(TLibMap<unsigned long, int> &values, const char *name,
                              const char *keyName, const char *valueName) {
    if (GetFile() == nullptr)
        return;
    int count = static_cast<int>(values.size());
    StreamInt(count, name);
    if (m_Writing) {
        for (auto &entry : values) {
            unsigned long key = entry.first;
            StreamLong(key, keyName);
            StreamInt(entry.second, valueName);
        }
        return;
    }
    (void)CallNoThrow([&] {
        values.clear();
        for (int i = 0; i < count && CanReadMore(); ++i) {
            unsigned long key = 0;
            int value = 0;
            StreamLong(key, keyName);
            StreamInt(value, valueName);
            values[static_cast<uint32_t>(key)] = value;
        }
    });
}

// Text helpers ------------------------------------------------------------------------------------

void TIOAdapter::StreamComment(const char *text) {
    if (IsBinary())
        return;
    if (m_TextOutput != nullptr) {
        *m_TextOutput << "\n" << (text != nullptr ? text : "") << "\n";
    } else if (m_TextInput != nullptr) {
        char line[kCommentLine];
        (void)m_TextInput->GetLine(line, kCommentLine, '\n');
        (void)m_TextInput->GetLine(line, kCommentLine, '\n');
    }
}

void TIOAdapter::StreamUnnamedInteger(int &value) {
    if (IsBinary())
        StreamInt(value, "");
    else if (m_TextInput != nullptr)
        (void)TIniFile::GetNextIniInt(value, *m_TextInput);
}

void TIOAdapter::StreamUnnamedString(TString &value) {
    if (IsBinary())
        StreamString(value, "");
    else if (m_TextInput != nullptr)
        (void)TIniFile::GetNextIniString(value, *m_TextInput);
}
