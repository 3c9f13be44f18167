// Fuzz target of the INI text form. The input is loaded as a document, read and edited by
// key, saved and loaded again; then the same bytes go through the scanner and the one-entry
// readers. Nothing may crash or leak, and the document must keep the invariants that lookups
// rely on: every section record points into the line table, behind a header line.
#include <cstdint>
#include <cstring>

#include "General/Config/IniFile.h"
#include "General/Streams/FileBuf.h"

#include "FuzzCheck.h"

namespace {

using vlib::fuzz::Check;

/// A read-only memory file over the input.
class TInput {
public:
    TInput(const uint8_t *data, size_t size) {
        m_Size = static_cast<int>(size < (1u << 30) ? size : (1u << 30));
        Check(m_File.Open(const_cast<unsigned char *>(data), m_Size, 2));
    }
    TFileObj *File() { return &m_File; }

private:
    TFixedFileBuf m_File;
    int m_Size = 0;
};

void CheckSections(TIniFile &ini) {
    int count = 0;
    const int lines = ini.GetNumLines();
    for (int i = 0; i < lines; ++i) {
        const char *line = ini.GetLine(i);
        const size_t length = std::strlen(line);
        Check(length < TIniFile::kMaxLineLength);
        if (length >= 2 && line[0] == '[' && line[length - 1] == ']')
            ++count;
    }
    int sections = 0;
    while (ini.GetNextSection() != nullptr)
        ++sections;
    Check(sections == count);
}

void FuzzDocument(const uint8_t *data, size_t size) {
    TInput input(data, size);
    TIniFile ini;
    Check(static_cast<bool>(ini.LoadAscii(input.File())));
    CheckSections(ini);

    // Look up a section and key taken from the input itself, then edit it.
    char section[64] = "s";
    char key[64] = "k";
    if (const char *first = ini.GetLine(0)) {
        std::strncpy(section, first[0] == '[' ? first + 1 : first, sizeof section - 1);
        section[std::strcspn(section, "]")] = '\0';
    }
    if (const char *second = ini.GetLine(1)) {
        std::strncpy(key, second, sizeof key - 1);
        key[std::strcspn(key, "=")] = '\0';
    }
    TIniFile::TString value;
    (void)ini.GetIniString(section, key, value);
    (void)ini.GetIniInt(section, key, 0);
    ini.WriteIniString(section, key, "fuzz");
    ini.WriteIniString("new section", key, "1");
    // A key line that begins with '[' ends its section, so such a key is never found.
    Check(ini.GetIniInt("new section", key, 0) == 1 || key[0] == '[');
    ini.RenameSection(section, "renamed");
    ini.RemoveUnneededSections("renamed,new section");
    CheckSections(ini);

    TManagedFileBuf saved;
    Check(saved.Open(6, 0));
    Check(static_cast<bool>(ini.SaveAscii(&saved)));
    Check(saved.Seek(0, TFileObj::SeekStart) || saved.Length() == 0);
    TIniFile again;
    Check(static_cast<bool>(again.LoadAscii(&saved)));
    CheckSections(again);
}

void FuzzScanner(const uint8_t *data, size_t size) {
    TInput input(data, size);
    TIniFileScanner scanner;
    Check(scanner.Open(input.File()));
    TIniFileScanner::TString name;
    TIniFileScanner::TIniNameValuePair pair;
    int steps = 0;
    while (scanner.SeekNextSection(name) && ++steps < 10000)
        while (scanner.GetNextEntry(pair) && ++steps < 10000) {
        }
    (void)scanner.GetEntry(TIniFileScanner::TString("a"), TIniFileScanner::TString("b"), pair);
    scanner.CloseLayer();
}

void FuzzStreamReaders(const uint8_t *data, size_t size) {
    TInput input(data, size);
    TAsciiInFilter in;
    Check(in.Open(input.File()));
    TIniFile::TString text;
    TLibVector<TIniFile::TString> strings;
    TLibVector<int> ints;
    TLibVector<float> floats;
    int number = 0;
    float real = 0;
    bool flag = false;
    for (int round = 0; round < 64; ++round) {
        bool any = false;
        any |= static_cast<bool>(TIniFile::GetNextIniString(text, in));
        any |= static_cast<bool>(TIniFile::GetNextIniInt(number, in));
        any |= static_cast<bool>(TIniFile::GetNextIniFloat(real, in));
        any |= static_cast<bool>(TIniFile::GetNextIniBool(flag, in));
        any |= static_cast<bool>(TIniFile::GetNextIniStringVec(strings, in));
        any |= static_cast<bool>(TIniFile::GetNextIniIntVec(ints, in));
        any |= static_cast<bool>(TIniFile::GetNextIniFloatVec(floats, in));
        any |= static_cast<bool>(TIniFile::GetNextSectionHeader(text, in));
        if (!any)
            break;
    }
    in.CloseLayer();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzDocument(data, size);
    FuzzScanner(data, size);
    FuzzStreamReaders(data, size);
    return 0;
}
