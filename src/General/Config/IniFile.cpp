// TIniFile: the document, its loader and saver, lookups and edits. The loader reads the file
// in blocks and cuts lines exactly as the text filter's line reader would (at LF, at most
// 4094 characters with the character after a cut line lost, one closing CR dropped), which
// is many times faster than reading a character at a time. Section look-ups go through a
// hash index of the section names once a document has a few sections; the index always
// gives the first section of a name, as the linear search does.
#include "General/Config/IniFile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "General/Core/Detail/AsciiText.h"
#include "General/Core/Detail/NoThrow.h"
#include "General/Core/StrToID.h"
#include "General/Maths/Vector.h"
#include "General/Streams/DeflateFilter.h"
#include "General/Streams/RealFile.h"

using vlib::detail::AsciiCompareNoCase;
using vlib::detail::CallNoThrow;

namespace {

constexpr int kMaxLineChars = TIniFile::kMaxLineLength - 1; // 4094
constexpr size_t kReadBlock = 64 * 1024;
constexpr size_t kWriteBlock = 8 * 1024;
constexpr size_t kIndexThreshold = 8; // fewer sections are searched one by one
constexpr size_t kMaxSectionName = sizeof(TIniSection::name) - 1;

/// Grows a vector's storage geometrically so that `count` more elements fit: the pushes and
/// inserts that follow cannot throw.
template <class V> void MakeRoom(V &vector, size_t count = 1) {
    if (vector.capacity() - vector.size() < count)
        vector.reserve(vector.size() * 2 + count + 16);
}

bool IsHeader(const char *line, size_t length) {
    return length >= 2 && line[0] == '[' && line[length - 1] == ']';
}

void FreeLine(char *line) {
    GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(line));
}

/// Cuts the lines of a byte stream as TAsciiInFilter::GetLine(buffer, 4095, '\n') does, and
/// hands each finished line to the document.
class TLineCutter {
public:
    template <class F> void Feed(const char *data, size_t size, F &&emit) {
        while (size != 0) {
            if (m_DropNext) {
                // The reader reads one character past a full line and loses it.
                m_DropNext = false;
                ++data;
                --size;
                continue;
            }
            const size_t room = static_cast<size_t>(kMaxLineChars) - m_Used;
            const size_t span = size < room ? size : room;
            const char *end = static_cast<const char *>(std::memchr(data, '\n', span));
            if (end != nullptr) {
                const size_t length = static_cast<size_t>(end - data);
                if (m_Used == 0) {
                    emit(data, length); // the whole line lies in this block
                } else {
                    Append(data, length);
                    emit(m_Line, m_Used);
                    m_Used = 0;
                }
                data = end + 1;
                size -= length + 1;
                continue;
            }
            Append(data, span);
            data += span;
            size -= span;
            if (m_Used == static_cast<size_t>(kMaxLineChars)) {
                emit(m_Line, m_Used);
                m_Used = 0;
                m_DropNext = true;
            }
        }
    }

    /// The last line, which had no LF behind it.
    template <class F> void Finish(F &&emit) {
        if (m_Used != 0)
            emit(m_Line, m_Used);
        m_Used = 0;
    }

private:
    void Append(const char *data, size_t length) {
        std::memcpy(m_Line + m_Used, data, length);
        m_Used += length;
    }

    char m_Line[TIniFile::kMaxLineLength];
    size_t m_Used = 0;
    bool m_DropNext = false;
};

/// A buffer in front of a file, so that a document goes out in a few large writes.
class TBlockWriter {
public:
    explicit TBlockWriter(TFileObj *file) : m_File(file) {}

    bool Put(const char *data, size_t size) {
        while (size != 0) {
            if (m_Used == sizeof m_Block && !Flush())
                return false;
            const size_t take = size < sizeof m_Block - m_Used ? size : sizeof m_Block - m_Used;
            std::memcpy(m_Block + m_Used, data, take);
            m_Used += take;
            data += take;
            size -= take;
        }
        return true;
    }
    bool Put(char c) { return Put(&c, 1); }
    /// False when the file took fewer bytes than it was given.
    bool Flush() {
        if (m_Used == 0)
            return true;
        const bool written = m_File->Write(m_Block, static_cast<int>(m_Used));
        m_Used = 0;
        return written && m_File->IsBad() == 0;
    }

private:
    TFileObj *m_File; // not owned
    char m_Block[kWriteBlock];
    size_t m_Used = 0;
};

/// The next line from `in` into `line` (kMaxLineLength bytes). False when the filter gave
/// nothing at all: at the end, in the bad state, or when its lower file stopped delivering.
bool ReadLine(TAsciiInFilter &in, char *line) {
    const int before = in.GetLineNumber();
    const int count = in.GetLine(line, TIniFile::kMaxLineLength, '\n');
    return count > 0 || in.GetLineNumber() != before;
}

/// The value part of the next entry line, or null when the file ends or goes bad first.
/// `line` receives the whole line; `name`, if given, the text before the '='.
char *NextEntry(TAsciiInFilter &in, char *line, char *name) {
    for (;;) {
        if (in.AtEOF() != 0 || in.IsBad() != 0)
            return nullptr;
        if (!ReadLine(in, line))
            return nullptr;
        if (char *equals = std::strchr(line, '=')) {
            if (name != nullptr) {
                std::memcpy(name, line, static_cast<size_t>(equals - line));
                name[equals - line] = '\0';
            }
            return equals + 1;
        }
    }
}

/// Reads up to LF as the text filter does, from a standard stream.
void ReadStreamLine(std::istream &in, char *line) {
    int count = 0;
    for (;;) {
        const int c = in.get();
        if (c == std::char_traits<char>::eof() || c == '\n')
            break;
        line[count++] = static_cast<char>(c);
        if (count == kMaxLineChars) {
            if (in.peek() != std::char_traits<char>::eof())
                (void)in.get(); // the character behind a full line is lost
            break;
        }
    }
    if (count > 0 && (line[count - 1] == '\r' || line[count - 1] == '\n'))
        --count;
    line[count] = '\0';
}

char *NextStreamEntry(std::ifstream &in, char *line, char *name) {
    for (;;) {
        if (!in.good())
            return nullptr;
        ReadStreamLine(in, line);
        if (char *equals = std::strchr(line, '=')) {
            if (name != nullptr) {
                std::memcpy(name, line, static_cast<size_t>(equals - line));
                name[equals - line] = '\0';
            }
            return equals + 1;
        }
    }
}

/// Keys compare by length and with A-Z folded.
bool KeyMatches(const char *line, size_t keyLength, const char *key) {
    return AsciiCompareNoCase(line, key, keyLength) == 0;
}

/// The index slot for a name hash in a table of `size` (a power of two) slots.
size_t FirstSlot(uint32_t hash, size_t size) {
    return hash & (size - 1);
}

} // namespace

bool TIniFile::AllowMissing = false;
bool TIniFile::GotVersion = false;
int TIniFile::GivenAsciiVersion = -1;
int TIniFile::GivenBinaryVersion = -1;
TIniFileFactory TIniFile::mFactory;
namespace {
// After mFactory in this file, so the factory exists when it is registered.
TResourceFactoryRegistration gIniFileRegistration(&TIniFile::mFactory);
} // namespace

TResource *TIniFileFactory::New() {
    return new TIniFile;
}

void TIniFileFactory::Delete(TResource *resource) {
    delete resource;
}

uint32_t TIniFileFactory::GetID() {
    static const uint32_t id = TResource::StrToID("TIniFile");
    return id;
}

TStringInt<TDynamicStringAllocationStrategy> TIniFileFactory::GetName() {
    return "TIniFile";
}

TIniFile::TIniFile() = default;

TIniFile::TIniFile(const TIniFile &other) : TResource(other) {
    CopyFrom(other);
}

TIniFile &TIniFile::operator=(const TIniFile &other) {
    if (this != &other) {
        TResource::operator=(other);
        FreeMemory();
        CopyFrom(other);
    }
    return *this;
}

TIniFile::~TIniFile() {
    FreeMemory();
}

void TIniFile::CopyFrom(const TIniFile &other) {
    m_SkipBlankLines = other.m_SkipBlankLines;
    m_Loaded = other.m_Loaded;
    m_LinePos = other.m_LinePos;
    m_SectionPos = other.m_SectionPos;
    (void)CallNoThrow([&] {
        m_Lines.reserve(other.m_Lines.size());
        for (const char *line : other.m_Lines)
            if (char *copy = CopyLine(line, std::strlen(line)))
                m_Lines.push_back(copy);
        m_Sections = other.m_Sections;
    });
    if (other.m_FileName != nullptr)
        m_FileName = CopyLine(other.m_FileName, std::strlen(other.m_FileName));
    DropIndex();
}

char *TIniFile::CopyLine(const char *text, size_t length) {
    char *copy = reinterpret_cast<char *>(GetAllocatorInstance().Alloc(length + 1));
    if (copy == nullptr)
        return nullptr;
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

void TIniFile::AddSection(const char *name, size_t length, int firstLine) {
    TIniSection section;
    if (length > kMaxSectionName)
        length = kMaxSectionName;
    std::memcpy(section.name, name, length);
    section.name[length] = '\0';
    section.firstLine = firstLine;
    m_Sections.push_back(section);
    DropIndex();
}

void TIniFile::FreeMemory() {
    for (char *line : m_Lines)
        FreeLine(line);
    m_Lines.clear();
    FreeLine(m_FileName);
    m_FileName = nullptr;
    m_Sections.clear();
    m_SectionPos = -1;
    DropIndex();
}

void TIniFile::TruncateTo(size_t lines, size_t sections) {
    for (size_t i = lines; i < m_Lines.size(); ++i)
        FreeLine(m_Lines[i]);
    m_Lines.resize(lines);
    m_Sections.resize(sections);
    if (m_SectionPos >= static_cast<int32_t>(sections))
        m_SectionPos = -1;
    DropIndex();
}

TError TIniFile::LoadAscii(TFileObj *file) {
    if (GetResourceListEntry() == nullptr) {
        GotVersion = false;
        GivenAsciiVersion = -1;
        GivenBinaryVersion = -1;
    }
    if (m_Loaded)
        return TError::kFailure;
    AllowMissing = true;
    TAsciiInFilter filter;
    if (!filter.Open(file))
        return TError::kFailure;

    const size_t linesBefore = m_Lines.size();
    const size_t sectionsBefore = m_Sections.size();
    auto emit = [&](const char *text, size_t length) {
        if (length > 0 && (text[length - 1] == '\r' || text[length - 1] == '\n'))
            --length;
        // A line is a C text: whatever stands behind a zero byte is not part of it.
        const void *zero = std::memchr(text, '\0', length);
        if (zero != nullptr)
            length = static_cast<size_t>(static_cast<const char *>(zero) - text);
        if (length == 0 && m_SkipBlankLines)
            return;
        // Room first, so that a line once copied always finds its place in the table.
        MakeRoom(m_Lines);
        char *line = CopyLine(text, length);
        if (line == nullptr)
            throw std::bad_alloc();
        m_Lines.push_back(line);
        if (IsHeader(line, length))
            AddSection(line + 1, length - 2, static_cast<int>(m_Lines.size()));
    };

    unsigned char *block = GetAllocatorInstance().Alloc(kReadBlock);
    bool complete = block != nullptr;
    if (complete) {
        TLineCutter cutter;
        complete = CallNoThrow([&] {
            int count;
            while ((count = filter.Read(block, static_cast<int>(kReadBlock))) > 0)
                cutter.Feed(reinterpret_cast<const char *>(block), static_cast<size_t>(count),
                            emit);
            cutter.Finish(emit);
        });
        GetAllocatorInstance().Unalloc(block);
    }
    filter.CloseLayer();
    if (!complete) {
        TruncateTo(linesBefore, sectionsBefore); // the heap ran out: take back what came
        return TError::kFailure;
    }
    m_Loaded = true;
    return TError::kSuccess;
}

TError TIniFile::SaveAscii(TFileObj *file) {
    if (file == nullptr || file->IsOpen() == 0 || file->IsWriteable() == 0)
        return TError::kFailure;
    TBlockWriter writer(file);
    bool written = true;
    for (size_t i = 0; written && i < m_Lines.size(); ++i) {
        const char *line = m_Lines[i];
        if (i > 0 && line[0] == '[')
            written = writer.Put('\n');
        written = written && writer.Put(line, std::strlen(line)) && writer.Put('\n');
    }
    written = written && writer.Flush();
    return written ? TError::kSuccess : TError::kFailure;
}

TError TIniFile::LoadBinary(TFileObj *file) {
    TInflateFilter inflate;
    if (!inflate.Open(file))
        return TError::kFailure;
    const bool wasLoaded = m_Loaded;
    const size_t linesBefore = m_Lines.size();
    const size_t sectionsBefore = m_Sections.size();
    TError result = LoadAscii(&inflate);
    // The inflate layer marks damaged and cut-off data Bad: such text is no document.
    const bool damaged = inflate.IsBad() != 0;
    if (inflate.IsOpen() != 0)
        inflate.CloseLayer();
    if (result && damaged) {
        TruncateTo(linesBefore, sectionsBefore);
        m_Loaded = wasLoaded;
        result = TError::kFailure;
    }
    return result;
}

TError TIniFile::SaveBinary(TFileObj *file) {
    TDeflateFilter deflate;
    if (!deflate.Open(file, TDeflateFilter::DeflateDefault))
        return TError::kFailure;
    TError result = SaveAscii(&deflate);
    // Closing the layer ends the stream; a write that failed there leaves Bad behind.
    if (deflate.IsOpen() != 0)
        deflate.CloseLayer();
    if (result && (deflate.IsBad() != 0 || file->IsBad() != 0))
        result = TError::kFailure;
    return result;
}

bool TIniFile::IsValidVersion(uint32_t version, bool ascii) {
    if (!ascii)
        return version == 1;
    return GotVersion ? version == 0 : version <= 1;
}

void TIniFile::GetDependencies(TLibVector<TDependency> &out) {
    (void)out;
}

TError TIniFile::Save() {
    if (!m_Loaded || m_FileName == nullptr)
        return TError::kFailure;
    TRealFile file;
    if (!file.Open(TString(m_FileName), 4))
        return TError::kFailure;
    if (GotVersion) {
        GotVersion = false;
        GivenAsciiVersion = -1;
        GivenBinaryVersion = -1;
    }
    const TError result = SaveAscii(&file);
    (void)file.Close(); // writes are not held back, so closing cannot lose data
    return result;
}

void TIniFile::SetFilename(const char *name) {
    FreeLine(m_FileName);
    m_FileName = name != nullptr ? CopyLine(name, std::strlen(name)) : nullptr;
    m_Loaded = true;
}

char *TIniFile::GetLine(int index) const {
    if (index < 0 || static_cast<size_t>(index) >= m_Lines.size())
        return nullptr;
    return m_Lines[static_cast<size_t>(index)];
}

void TIniFile::SetCurrentLine(const char *text) {
    if (m_LinePos < 0 || static_cast<size_t>(m_LinePos) >= m_Lines.size() || text == nullptr)
        return;
    char *copy = CopyLine(text, std::strlen(text));
    if (copy == nullptr)
        return;
    FreeLine(m_Lines[static_cast<size_t>(m_LinePos)]);
    m_Lines[static_cast<size_t>(m_LinePos)] = copy;
}

void TIniFile::AppendLine(const char *text) {
    if (text == nullptr)
        return;
    (void)CallNoThrow([&] {
        MakeRoom(m_Lines);
        if (char *copy = CopyLine(text, std::strlen(text)))
            m_Lines.push_back(copy);
    });
}

char *TIniFile::GetNextSection() {
    ++m_SectionPos;
    if (m_SectionPos < 0 || static_cast<size_t>(m_SectionPos) >= m_Sections.size())
        return nullptr;
    return m_Sections[static_cast<size_t>(m_SectionPos)].name;
}

void TIniFile::BuildIndex() {
    if (m_IndexBuilt)
        return;
    size_t size = 16;
    while (size < m_Sections.size() * 2)
        size *= 2;
    const bool built = CallNoThrow([&] {
        m_Index.assign(size, -1);
        for (size_t i = 0; i < m_Sections.size(); ++i) {
            const char *name = m_Sections[i].name;
            for (size_t slot = FirstSlot(StrToID(name), size);; slot = (slot + 1) & (size - 1)) {
                const int32_t taken = m_Index[slot];
                if (taken < 0) {
                    m_Index[slot] = static_cast<int32_t>(i);
                    break;
                }
                // Equal names keep the first section: the linear search finds that one.
                if (AsciiCompareNoCase(m_Sections[static_cast<size_t>(taken)].name, name) == 0)
                    break;
            }
        }
    });
    m_IndexBuilt = built;
}

int TIniFile::FindSection(const char *section) {
    if (section == nullptr)
        return -1;
    const size_t count = m_Sections.size();
    if (m_SectionPos >= 0 && static_cast<size_t>(m_SectionPos) < count &&
        AsciiCompareNoCase(m_Sections[static_cast<size_t>(m_SectionPos)].name, section) == 0)
        return m_SectionPos;
    int found = -1;
    if (count >= kIndexThreshold)
        BuildIndex();
    if (count >= kIndexThreshold && m_IndexBuilt) {
        const size_t size = m_Index.size();
        for (size_t slot = FirstSlot(StrToID(section), size);; slot = (slot + 1) & (size - 1)) {
            const int32_t taken = m_Index[slot];
            if (taken < 0)
                break;
            if (AsciiCompareNoCase(m_Sections[static_cast<size_t>(taken)].name, section) == 0) {
                found = taken;
                break;
            }
        }
    } else {
        for (size_t i = 0; i < count; ++i)
            if (AsciiCompareNoCase(m_Sections[i].name, section) == 0) {
                found = static_cast<int>(i);
                break;
            }
    }
    if (found >= 0)
        m_SectionPos = found;
    return found;
}

int TIniFile::FindKey(int index, const char *key, int *end) const {
    const size_t keyLength = std::strlen(key);
    size_t i = static_cast<size_t>(m_Sections[static_cast<size_t>(index)].firstLine);
    for (; i < m_Lines.size(); ++i) {
        const char *line = m_Lines[i];
        if (line[0] == '[')
            break;
        const char *equals = std::strchr(line, '=');
        if (equals == nullptr || static_cast<size_t>(equals - line) != keyLength)
            continue;
        if (KeyMatches(line, keyLength, key))
            return static_cast<int>(i);
    }
    if (end != nullptr)
        *end = static_cast<int>(i);
    return -1;
}

bool TIniFile::GetIniString(const char *section, const char *key, TString &out) {
    if (key == nullptr)
        return false;
    const int index = FindSection(section);
    if (index < 0)
        return false;
    const int line = FindKey(index, key, nullptr);
    if (line < 0)
        return false;
    out = std::strchr(m_Lines[static_cast<size_t>(line)], '=') + 1;
    return true;
}

void TIniFile::GetIniString(const char *section, const char *key, const char *defaultValue,
                            TString &out) {
    if (!GetIniString(section, key, out))
        out = defaultValue;
}

void TIniFile::GetIniString(const char *section, const char *key, const char *defaultValue,
                            char *out, int size) {
    if (out == nullptr || size <= 0)
        return;
    const char *value = defaultValue != nullptr ? defaultValue : "";
    if (key != nullptr) {
        const int index = FindSection(section);
        const int line = index >= 0 ? FindKey(index, key, nullptr) : -1;
        if (line >= 0)
            value = std::strchr(m_Lines[static_cast<size_t>(line)], '=') + 1;
    }
    std::strncpy(out, value, static_cast<size_t>(size));
}

int TIniFile::GetIniInt(const char *section, const char *key, int defaultValue) {
    if (key == nullptr)
        return defaultValue;
    const int index = FindSection(section);
    const int line = index >= 0 ? FindKey(index, key, nullptr) : -1;
    if (line < 0)
        return defaultValue;
    char digits[21];
    std::strncpy(digits, std::strchr(m_Lines[static_cast<size_t>(line)], '=') + 1, 20);
    digits[20] = '\0';
    return std::atoi(digits);
}

void TIniFile::WriteIniString(const char *section, const char *key, const char *value) {
    if (section == nullptr || key == nullptr)
        return;
    if (value == nullptr)
        value = "";
    // Everything that can fail comes first, so an edit either happens whole or not at all.
    char text[kMaxLineLength];
    int index = FindSection(section);
    char *header = nullptr;
    if (index < 0) {
        std::snprintf(text, sizeof text, "[%s]", section);
        header = CopyLine(text, std::strlen(text));
        if (header == nullptr)
            return;
    }
    std::snprintf(text, sizeof text, "%s=%s", key, value);
    char *line = CopyLine(text, std::strlen(text));
    const bool room = line != nullptr && CallNoThrow([&] {
                          MakeRoom(m_Lines, 2);
                          if (header != nullptr)
                              MakeRoom(m_Sections, 1);
                      });
    if (!room) {
        FreeLine(header);
        FreeLine(line);
        return;
    }

    if (header != nullptr) {
        m_Lines.push_back(header);
        AddSection(section, std::strlen(section), static_cast<int>(m_Lines.size()));
        index = static_cast<int>(m_Sections.size()) - 1;
    }
    m_SectionPos = index;
    int end = 0;
    const int found = FindKey(index, key, &end);
    if (found >= 0) {
        FreeLine(m_Lines[static_cast<size_t>(found)]);
        m_Lines[static_cast<size_t>(found)] = line;
        return;
    }
    m_Lines.insert(m_Lines.begin() + end, line);
    for (TIniSection &record : m_Sections)
        if (record.firstLine > end)
            ++record.firstLine;
}

void TIniFile::RenameSection(const char *oldName, const char *newName) {
    if (oldName == nullptr || newName == nullptr)
        return;
    char text[kMaxLineLength];
    std::snprintf(text, sizeof text, "[%s]", oldName);
    for (size_t i = 0; i < m_Lines.size(); ++i) {
        if (AsciiCompareNoCase(m_Lines[i], text) != 0)
            continue;
        m_LinePos = static_cast<int32_t>(i);
        std::snprintf(text, sizeof text, "[%s]", newName);
        SetCurrentLine(text);
        for (TIniSection &record : m_Sections) {
            if (AsciiCompareNoCase(record.name, oldName) == 0) {
                std::strncpy(record.name, newName, kMaxSectionName);
                record.name[kMaxSectionName] = '\0';
                break;
            }
        }
        DropIndex();
        return;
    }
}

void TIniFile::RemoveUnneededSections(const char *names) {
    if (names == nullptr)
        return;
    char list[4096];
    std::strncpy(list, names, sizeof list - 1);
    list[sizeof list - 1] = '\0';
    (void)CallNoThrow([&] {
        TLibVector<char *> tokens;
        char *rest = nullptr;
        for (char *token = strtok_r(list, ",", &rest); token != nullptr;
             token = strtok_r(nullptr, ",", &rest))
            tokens.push_back(token);
        RemoveUnneededSections(tokens);
    });
}

void TIniFile::RemoveUnneededSections(const TLibVector<char *> &names) {
    auto wanted = [&](const char *name, size_t length) {
        for (const char *candidate : names)
            if (candidate != nullptr && std::strlen(candidate) == length &&
                AsciiCompareNoCase(candidate, name, length) == 0)
                return true;
        return false;
    };
    size_t i = 0;
    while (i < m_Lines.size()) {
        const char *line = m_Lines[i];
        if (line[0] != '[') {
            ++i;
            continue;
        }
        const size_t length = std::strlen(line);
        const size_t nameLength = length >= 2 ? length - 2 : 0;
        size_t end = i + 1;
        while (end < m_Lines.size() && m_Lines[end][0] != '[')
            ++end;
        if (wanted(line + 1, nameLength)) {
            i = end;
            continue;
        }
        for (size_t k = i; k < end; ++k)
            FreeLine(m_Lines[k]);
        m_Lines.erase(m_Lines.begin() + static_cast<std::ptrdiff_t>(i),
                      m_Lines.begin() + static_cast<std::ptrdiff_t>(end));
    }
    RebuildSections();
}

void TIniFile::RebuildSections() {
    m_Sections.clear();
    m_SectionPos = -1;
    DropIndex();
    (void)CallNoThrow([&] {
        for (size_t i = 0; i < m_Lines.size(); ++i) {
            const size_t length = std::strlen(m_Lines[i]);
            if (IsHeader(m_Lines[i], length))
                AddSection(m_Lines[i] + 1, length - 2, static_cast<int>(i + 1));
        }
    });
}

void TIniFile::AcceptVersion(int ascii, int binary) {
    GotVersion = true;
    GivenAsciiVersion = ascii;
    GivenBinaryVersion = binary;
}

// Streamed entries ----------------------------------------------------------------------------

void TIniFile::WriteNextIniString(const char *name, const char *value, TAsciiOutFilter &out) {
    out << name << "=" << value << "\n";
}

void TIniFile::WriteNextIniInt(const char *name, int value, TAsciiOutFilter &out) {
    out << name << "=" << value << "\n";
}

void TIniFile::WriteNextIniFloat(const char *name, float value, TAsciiOutFilter &out) {
    out << name << "=" << value << "\n";
}

void TIniFile::WriteNextIniBool(const char *name, bool value, TAsciiOutFilter &out) {
    out << name << "=" << (value ? "true" : "false") << "\n";
}

void TIniFile::WriteNextIniStringVec(const char *name, const TLibVector<TString> &values,
                                     TAsciiOutFilter &out) {
    out << name << "={";
    for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0)
            out << ", ";
        out << values[i].GetData();
    }
    out << "}\n";
}

void TIniFile::WriteNextIniIntVec(const char *name, const TLibVector<int> &values,
                                  TAsciiOutFilter &out) {
    out << name << "=" << static_cast<unsigned int>(values.size()) << "\n{ ";
    for (int value : values)
        out << value << " ";
    out << "}\n";
}

void TIniFile::WriteNextIniFloatVec(const char *name, const TLibVector<float> &values,
                                    TAsciiOutFilter &out) {
    out << name << "=" << static_cast<unsigned int>(values.size()) << "\n{ ";
    for (float value : values)
        out << value << " ";
    out << "}\n";
}

TError TIniFile::WriteNextSectionHeader(const char *name, TAsciiOutFilter &out) {
    out << "\n[" << name << "]\n";
    return out.IsBad() != 0 ? TError::kFailure : TError::kSuccess;
}

TError TIniFile::GetNextIniString(TString &value, TAsciiInFilter &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    value = text;
    return in.IsBad() != 0 ? TError::kFailure : TError::kSuccess;
}

TError TIniFile::GetNextIniString(char *value, int size, TAsciiInFilter &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    if (value != nullptr && size > 0)
        std::strncpy(value, text, static_cast<size_t>(size));
    return in.IsBad() != 0 ? TError::kFailure : TError::kSuccess;
}

TError TIniFile::GetNextIniInt(int &value, TAsciiInFilter &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    value = std::atoi(text);
    return TError::kSuccess;
}

TError TIniFile::GetNextIniFloat(float &value, TAsciiInFilter &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    value = static_cast<float>(std::atof(text));
    return TError::kSuccess;
}

TError TIniFile::GetNextIniBool(bool &value, TAsciiInFilter &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    char word[256];
    std::strncpy(word, text, sizeof word - 1);
    word[sizeof word - 1] = '\0';
    if (std::strcmp(word, "true") == 0)
        value = true;
    else if (std::strcmp(word, "false") == 0)
        value = false;
    else
        return TError::kFailure;
    return TError::kSuccess;
}

TError TIniFile::GetNextIniStringVec(TLibVector<TString> &values, TAsciiInFilter &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    const bool whole = CallNoThrow([&] {
        // The first character counts as a separator unseen; a separator right behind another
        // does not become the previous one, so "{a,,b}" gives "a" and ",b".
        const size_t length = std::strlen(text);
        size_t previous = 0;
        for (size_t i = 1; i < length; ++i) {
            if (text[i] != '{' && text[i] != ',' && text[i] != '}')
                continue;
            if (i - previous - 1 == 0)
                continue;
            TString item(text + previous + 1, static_cast<unsigned>(i - previous - 1));
            item.Trim(" \t\n");
            values.push_back(std::move(item));
            previous = i;
        }
    });
    return whole && in.IsBad() == 0 ? TError::kSuccess : TError::kFailure;
}

namespace {

/// The body shared by the int and float vector readers.
template <class T> TError ReadNumberVector(TLibVector<T> &values, TAsciiInFilter &in, char *name) {
    values.clear();
    char line[TIniFile::kMaxLineLength];
    const char *text = NextEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    const int count = std::atoi(text);
    char brace = 0;
    in >> brace;
    in.EatWhite();
    const bool whole = CallNoThrow([&] {
        // Values are added one by one, so a count that the data cannot back costs nothing.
        for (int i = 0; i < count; ++i) {
            if (in.AtEOF() != 0 || in.IsBad() != 0)
                break;
            in.EatWhite();
            T value{};
            in >> value;
            values.push_back(value);
        }
    });
    in.EatWhite();
    in >> brace;
    return whole && in.IsBad() == 0 ? TError::kSuccess : TError::kFailure;
}

} // namespace

TError TIniFile::GetNextIniIntVec(TLibVector<int> &values, TAsciiInFilter &in, char *name) {
    return ReadNumberVector(values, in, name);
}

TError TIniFile::GetNextIniFloatVec(TLibVector<float> &values, TAsciiInFilter &in, char *name) {
    return ReadNumberVector(values, in, name);
}

TError TIniFile::GetNextIniVector2(TVector2 *value, TAsciiInFilter &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    if (value != nullptr) {
        value->x = static_cast<float>(std::atof(text));
        const char *comma = std::strchr(line, ',');
        value->y = comma != nullptr ? static_cast<float>(std::atof(comma + 1)) : 0.0f;
    }
    return TError::kSuccess;
}

TError TIniFile::GetNextSectionHeader(TString &name, TAsciiInFilter &in) {
    char line[kMaxLineLength];
    for (;;) {
        const bool read = ReadLine(in, line);
        if (!read || in.AtEOF() != 0 || in.IsBad() != 0)
            return TError::kFailure;
        if (std::strchr(line, '[') != nullptr || std::strchr(line, ']') != nullptr)
            break;
    }
    const char *open = std::strchr(line, '[');
    const char *start = open != nullptr ? open + 1 : line;
    const char *close = std::strchr(start, ']');
    const size_t length =
        close != nullptr ? static_cast<size_t>(close - start) : std::strlen(start);
    name = TString(start, static_cast<unsigned>(length));
    return in.IsBad() != 0 ? TError::kFailure : TError::kSuccess;
}

TError TIniFile::CheckNextIniString(const char *expected, TString &value, TAsciiInFilter &in) {
    (void)expected;
    return GetNextIniString(value, in, nullptr);
}

TError TIniFile::CheckNextIniString(const char *expected, char *value, int size,
                                    TAsciiInFilter &in) {
    (void)expected;
    return GetNextIniString(value, size, in, nullptr);
}

TError TIniFile::CheckNextIniInt(const char *expected, int &value, TAsciiInFilter &in) {
    (void)expected;
    return GetNextIniInt(value, in, nullptr);
}

TError TIniFile::CheckNextIniFloat(const char *expected, float &value, TAsciiInFilter &in) {
    (void)expected;
    return GetNextIniFloat(value, in, nullptr);
}

TError TIniFile::CheckNextIniBool(const char *expected, bool &value, TAsciiInFilter &in) {
    (void)expected;
    return GetNextIniBool(value, in, nullptr);
}

TError TIniFile::CheckNextIniStringVec(const char *expected, TLibVector<TString> &values,
                                       TAsciiInFilter &in) {
    (void)expected;
    return GetNextIniStringVec(values, in, nullptr);
}

TError TIniFile::CheckNextIniIntVec(const char *expected, TLibVector<int> &values,
                                    TAsciiInFilter &in) {
    (void)expected;
    return GetNextIniIntVec(values, in, nullptr);
}

TError TIniFile::CheckNextIniFloatVec(const char *expected, TLibVector<float> &values,
                                      TAsciiInFilter &in) {
    (void)expected;
    return GetNextIniFloatVec(values, in, nullptr);
}

TError TIniFile::CheckNextSectionHeader(const char *expected, TAsciiInFilter &in) {
    (void)expected;
    TString scratch;
    return GetNextSectionHeader(scratch, in);
}

TError TIniFile::GetNextIniString(TString &value, std::ifstream &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextStreamEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    value = text;
    return in.good() ? TError::kSuccess : TError::kFailure;
}

TError TIniFile::GetNextIniInt(int &value, std::ifstream &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextStreamEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    value = std::atoi(text);
    return TError::kSuccess;
}

TError TIniFile::GetNextIniFloat(float &value, std::ifstream &in, char *name) {
    char line[kMaxLineLength];
    const char *text = NextStreamEntry(in, line, name);
    if (text == nullptr)
        return TError::kFailure;
    value = static_cast<float>(std::atof(text));
    return TError::kSuccess;
}

void TIniFile::WriteNextIniString(const char *name, const char *value, std::ofstream &out) {
    out << name << '=' << value << '\n';
}

void TIniFile::WriteNextIniInt(const char *name, int value, std::ofstream &out) {
    char text[32];
    std::snprintf(text, sizeof text, "%d", value);
    out << name << '=' << text << '\n';
}

void TIniFile::WriteNextIniFloat(const char *name, float value, std::ofstream &out) {
    char text[512];
    std::snprintf(text, sizeof text, "%f", static_cast<double>(value));
    out << name << '=' << text << '\n';
}

// The scanner ----------------------------------------------------------------------------------

namespace {

/// Removes trailing blanks, tabs, CRs and LFs.
void TrimEnd(TIniFileScanner::TString &text) {
    text.TrimRight(" \t\r\n");
}
void TrimStart(TIniFileScanner::TString &text) {
    text.TrimLeft(" \t\r\n");
}

} // namespace

TIniFileScanner::~TIniFileScanner() {
    Close();
}

bool TIniFileScanner::Open(const TString &fileName) {
    if (m_Open)
        return false;
    TRealFile file;
    if (!file.Open(fileName, 2))
        return false;
    const int length = file.Length();
    if (!m_Buffer.Open(6, length)) {
        (void)file.Close();
        return false;
    }
    const bool read = length == 0 || file.Read(m_Buffer.GetBuffer(), length) == length;
    (void)file.Close();
    if (!read || (length > 0 && m_Buffer.GetBuffer() == nullptr)) {
        (void)m_Buffer.Close();
        return false;
    }
    if (!m_Filter.Open(&m_Buffer)) {
        (void)m_Buffer.Close();
        return false;
    }
    m_Open = true;
    return true;
}

bool TIniFileScanner::Open(TFileObj *file) {
    if (m_Open || !m_Filter.Open(file))
        return false;
    m_Open = true;
    return true;
}

void TIniFileScanner::CloseLayer() {
    if (!m_Open)
        return;
    m_Filter.CloseLayer();
    m_Open = false;
}

void TIniFileScanner::Close() {
    if (!m_Open)
        return;
    (void)m_Filter.Close(); // closes the file beneath as well
    m_Open = false;
}

void TIniFileScanner::Reset() {
    if (m_Open)
        (void)m_Filter.Seek(0, TFileObj::SeekStart);
}

bool TIniFileScanner::SeekSection(const TString &name) {
    Reset();
    TString found;
    while (SeekNextSection(found))
        if (found.Compare(name.GetData(), false) == 0)
            return true;
    return false;
}

bool TIniFileScanner::SeekNextSection(TString &name) {
    if (!m_Open)
        return false;
    char line[MaxLineLength];
    for (;;) {
        const bool read = ReadLine(m_Filter, line);
        if (!read || m_Filter.AtEOF() != 0 || m_Filter.IsBad() != 0)
            return false;
        if (line[0] == '[' || std::strchr(line, ']') != nullptr)
            break;
    }
    // From the second character up to the first ']'; a header without one runs to the end.
    const char *close = std::strchr(line, ']');
    const size_t end = close != nullptr ? static_cast<size_t>(close - line) : std::strlen(line);
    name = end > 1 ? TString(line + 1, static_cast<unsigned>(end - 1)) : TString();
    return true;
}

bool TIniFileScanner::GetNextEntry(TIniNameValuePair &pair) {
    if (!m_Open)
        return false;
    char line[MaxLineLength];
    const char *equals = nullptr;
    for (;;) {
        const int position = m_Filter.GetPos();
        const bool read = ReadLine(m_Filter, line);
        if (read && line[0] == '[' && std::strchr(line, ']') != nullptr) {
            (void)m_Filter.Seek(position, TFileObj::SeekStart); // the header is read again
            return false;
        }
        equals = read ? std::strchr(line, '=') : nullptr;
        if (equals != nullptr)
            break;
        if (!read || m_Filter.AtEOF() != 0 || m_Filter.IsBad() != 0)
            return false;
    }
    if (equals == line)
        return true; // an empty key leaves the pair as it was
    return CallNoThrow(
        [&] {
            pair.name = TString(line, static_cast<unsigned>(equals - line));
            TrimEnd(pair.name);
            pair.value = equals + 1;
            TrimStart(pair.value);
            pair.intValue = pair.value.GetInteger();
            pair.floatValue = pair.value.GetFloat();
            return true;
        },
        false);
}

bool TIniFileScanner::GetEntry(const TString &name, TIniNameValuePair &pair) {
    TIniNameValuePair scratch;
    while (GetNextEntry(scratch)) {
        if (scratch.name.Compare(name.GetData(), false) == 0) {
            pair = scratch;
            return true;
        }
    }
    return false;
}

bool TIniFileScanner::GetEntry(const TString &section, const TString &name,
                               TIniNameValuePair &pair) {
    return SeekSection(section) && GetEntry(name, pair);
}
