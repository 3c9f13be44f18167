// INI documents. TIniFile holds a whole document as its verbatim lines with an index of the
// section headers, so it can be edited and saved without losing a byte of what it does not
// understand; it is also a resource. Beside it stand the static one-entry readers and writers
// used by other text formats, and TIniFileScanner, which walks a file section by section
// without building a document.
//
// The format has no comments, escapes, quoting or trimming: a line "[name]" opens a section,
// any other line with '=' is an entry whose key is everything before the first '=', and all
// other lines are kept and ignored. Section names and keys compare with A-Z folded.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Resources/Resource.h"
#include "General/Resources/ResourceFactory.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Streams/FileBuf.h"

class TVector2;

/// One record of the section table.
struct TIniSection {
    /// The name between the brackets, at most 255 characters (longer names are cut).
    char name[256];
    /// Index in the line table of the first line after the header.
    int32_t firstLine;
};

/// The resource factory of TIniFile.
class VLIB_API TIniFileFactory : public TResourceFactory {
public:
    TResource *New() override;
    void Delete(TResource *resource) override;
    uint32_t GetID() override;
    TStringInt<TDynamicStringAllocationStrategy> GetName() override;
    /// 1 for the binary form, 0 for the text form.
    uint32_t GetVersion(bool ascii) override { return ascii ? 0 : 1; }
    bool HasVersionedSource() override { return false; }
    bool CanLoadSource() override { return true; }
    bool CanCompile() override { return false; }
    bool HasDependencies() override { return false; }
};

/// An INI document as verbatim lines. It can be filled once, by LoadAscii or LoadBinary;
/// SetFilename makes a document built in memory saveable.
class VLIB_API TIniFile : public TResource {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// Every line read is cut to this many characters, less one for the terminator.
    static constexpr int kMaxLineLength = 4095;

    /// Set by every LoadAscii attempt; nothing in this library reads it.
    static bool AllowMissing;
    /// A version has been given through AcceptVersion.
    static bool GotVersion;
    static int GivenAsciiVersion;
    static int GivenBinaryVersion;
    static TIniFileFactory mFactory;

    TIniFile();
    /// Copies every line, the section table and the file name; the copy owns its own.
    TIniFile(const TIniFile &other);
    TIniFile &operator=(const TIniFile &other);
    ~TIniFile() override;

    /// Reads the text form once; a second load fails and leaves the document alone. No
    /// input makes the load fail once the text filter is open on the file.
    TError LoadAscii(TFileObj *file) override;
    /// Writes every line behind an LF, with a blank line before each header but the first
    /// line. Fails at once if a write comes up short; what was written stays.
    TError SaveAscii(TFileObj *file) override;
    /// The text form under inflate. Fails, leaving the document as it was, when the
    /// compressed data is damaged or ends early.
    TError LoadBinary(TFileObj *file) override;
    /// The text form under deflate at level 6. Fails if any write, the final flush included,
    /// comes up short.
    TError SaveBinary(TFileObj *file) override;
    /// Binary version 1; text version 0, or 1 as well unless AcceptVersion was called.
    bool IsValidVersion(uint32_t version, bool ascii) override;
    TResourceFactory *GetFactory() override { return &mFactory; }
    /// An INI document has no dependencies.
    void GetDependencies(TLibVector<TDependency> &out) override;

    /// Rewrites the document to its own file name in text form. Fails when nothing was loaded
    /// and no name was set, or when the file cannot be written.
    TError Save();
    /// Stores a copy of the name and marks the document loaded.
    void SetFilename(const char *name);
    const char *GetFilename() const { return m_FileName; }
    /// Frees every line and the name and empties both tables. The line cursor and the loaded
    /// flag stay, so a later load still fails.
    void FreeMemory();

    // Lines by index.
    int GetNumLines() const { return static_cast<int>(m_Lines.size()); }
    /// Null outside the table.
    char *GetLine(int index) const;
    void ResetPos() { m_LinePos = 0; }
    void Next() { ++m_LinePos; }
    void SetPos(int pos) { m_LinePos = pos; }
    int GetPos() const { return m_LinePos; }
    /// Null when the cursor is outside the table.
    char *GetCurrentLine() const { return GetLine(m_LinePos); }
    /// Replaces the line at the cursor with a copy of `text`. The section table stays.
    void SetCurrentLine(const char *text);
    /// Appends a copy of `text`. The section table stays: an appended header is no section
    /// until the document is loaded again.
    void AppendLine(const char *text);

    // Sections.
    /// Moves the section cursor on and returns that section's name; null past the last.
    char *GetNextSection();
    /// Renames the first header line "[old]" (case ignored) and the first record of that name.
    void RenameSection(const char *oldName, const char *newName);
    /// Keeps only the sections named in the comma-separated list (nothing trimmed) and the
    /// lines before the first header.
    void RemoveUnneededSections(const char *names);
    void RemoveUnneededSections(const TLibVector<char *> &names);

    // Reading by key. A read moves the section cursor to the section, even when the key is
    // absent, so runs of reads in one section skip the section search.
    /// True with the value, or false with `out` unchanged.
    bool GetIniString(const char *section, const char *key, TString &out);
    /// The value or `defaultValue`.
    void GetIniString(const char *section, const char *key, const char *defaultValue, TString &out);
    /// strncpy of the value or `defaultValue`, padding and all: a text that fills the buffer
    /// is not terminated.
    void GetIniString(const char *section, const char *key, const char *defaultValue, char *out,
                      int size);
    /// atoi of at most the first 20 characters of the value, or `defaultValue`.
    int GetIniInt(const char *section, const char *key, int defaultValue);

    /// Replaces the key's line with "key=value" (the key taking the caller's case), or inserts
    /// it at the end of the section, making the section at the end of the document if needed.
    /// Key and value together must fit in 4095 characters; longer lines are cut.
    void WriteIniString(const char *section, const char *key, const char *value);

    /// Sets GotVersion and the two given versions.
    static void AcceptVersion(int ascii, int binary);

    // One entry at a time on an open text filter. The readers take the next line that holds
    // '=', passing over all others (section headers included), and fail at the end of the
    // file or when the filter is bad. A name buffer, when given, receives the text before
    // the '=' and must hold a whole line (kMaxLineLength bytes).
    static void WriteNextIniString(const char *name, const char *value, TAsciiOutFilter &out);
    static void WriteNextIniInt(const char *name, int value, TAsciiOutFilter &out);
    static void WriteNextIniFloat(const char *name, float value, TAsciiOutFilter &out);
    static void WriteNextIniBool(const char *name, bool value, TAsciiOutFilter &out);
    /// name={a, b, c} on one line.
    static void WriteNextIniStringVec(const char *name, const TLibVector<TString> &values,
                                      TAsciiOutFilter &out);
    /// name=count, then "{ " and each value followed by a blank, then "}".
    static void WriteNextIniIntVec(const char *name, const TLibVector<int> &values,
                                   TAsciiOutFilter &out);
    static void WriteNextIniFloatVec(const char *name, const TLibVector<float> &values,
                                     TAsciiOutFilter &out);
    /// An empty line, then [name]. Fails when the filter is bad.
    static TError WriteNextSectionHeader(const char *name, TAsciiOutFilter &out);

    static TError GetNextIniString(TString &value, TAsciiInFilter &in, char *name = nullptr);
    static TError GetNextIniString(char *value, int size, TAsciiInFilter &in, char *name = nullptr);
    static TError GetNextIniInt(int &value, TAsciiInFilter &in, char *name = nullptr);
    static TError GetNextIniFloat(float &value, TAsciiInFilter &in, char *name = nullptr);
    /// Exactly "true" or "false"; anything else fails and leaves `value` alone.
    static TError GetNextIniBool(bool &value, TAsciiInFilter &in, char *name = nullptr);
    /// Appends the items between the separators '{', ',' and '}', trimmed of blanks, tabs and
    /// line feeds; the vector is not cleared first.
    static TError GetNextIniStringVec(TLibVector<TString> &values, TAsciiInFilter &in,
                                      char *name = nullptr);
    /// Clears the vector and reads the count, then the values between the braces.
    static TError GetNextIniIntVec(TLibVector<int> &values, TAsciiInFilter &in,
                                   char *name = nullptr);
    static TError GetNextIniFloatVec(TLibVector<float> &values, TAsciiInFilter &in,
                                     char *name = nullptr);
    /// x by atof behind the '=', y behind the first ','.
    static TError GetNextIniVector2(TVector2 *value, TAsciiInFilter &in, char *name = nullptr);
    /// The name between '[' and ']' of the next line holding either. A header on the last
    /// line of the file counts as the end of the file.
    static TError GetNextSectionHeader(TString &name, TAsciiInFilter &in);

    // The same reads with the expected name first; the name read is not compared with it.
    static TError CheckNextIniString(const char *expected, TString &value, TAsciiInFilter &in);
    static TError CheckNextIniString(const char *expected, char *value, int size,
                                     TAsciiInFilter &in);
    static TError CheckNextIniInt(const char *expected, int &value, TAsciiInFilter &in);
    static TError CheckNextIniFloat(const char *expected, float &value, TAsciiInFilter &in);
    static TError CheckNextIniBool(const char *expected, bool &value, TAsciiInFilter &in);
    static TError CheckNextIniStringVec(const char *expected, TLibVector<TString> &values,
                                        TAsciiInFilter &in);
    static TError CheckNextIniIntVec(const char *expected, TLibVector<int> &values,
                                     TAsciiInFilter &in);
    static TError CheckNextIniFloatVec(const char *expected, TLibVector<float> &values,
                                       TAsciiInFilter &in);
    static TError CheckNextSectionHeader(const char *expected, TAsciiInFilter &in);

    // Over standard streams: the stream's bad, fail and end-of-file bits stand in for the
    // filter's end of file and bad state.
    static TError GetNextIniString(TString &value, std::ifstream &in, char *name = nullptr);
    static TError GetNextIniInt(int &value, std::ifstream &in, char *name = nullptr);
    static TError GetNextIniFloat(float &value, std::ifstream &in, char *name = nullptr);
    static void WriteNextIniString(const char *name, const char *value, std::ofstream &out);
    static void WriteNextIniInt(const char *name, int value, std::ofstream &out);
    static void WriteNextIniFloat(const char *name, float value, std::ofstream &out);

private:
    /// The section that a lookup of `section` uses: the one under the cursor if its name is
    /// equal, else the first of that name. Moves the cursor; -1 (cursor unmoved) if none.
    int FindSection(const char *section);
    /// The line of `key` in section `index`, or -1. `*end`, if given, becomes the index of
    /// the line that ends the section.
    int FindKey(int index, const char *key, int *end) const;
    /// A copy of `text` from the library heap; null when memory runs out.
    static char *CopyLine(const char *text, size_t length);
    void AddSection(const char *name, size_t length, int firstLine);
    /// Rebuilds the section table from the header lines.
    void RebuildSections();
    void CopyFrom(const TIniFile &other);
    /// Frees the lines from `lines` on and drops the sections from `sections` on: what a
    /// failed load had added.
    void TruncateTo(size_t lines, size_t sections);
    /// The name index: the first section of each name, by folded hash. Built on demand.
    void BuildIndex();
    void DropIndex() { m_IndexBuilt = false; }

    bool m_SkipBlankLines = true;
    TLibVector<char *> m_Lines; // the lines are owned, from the library heap
    char *m_FileName = nullptr; // owned, from the library heap
    bool m_Loaded = false;
    int32_t m_LinePos = 0;
    TLibVector<TIniSection> m_Sections;
    int32_t m_SectionPos = -1;

    bool m_IndexBuilt = false;
    TLibVector<int32_t> m_Index; // open addressing over section indices; -1 marks empty
};

/// Walks an INI file section by section without building a document.
class VLIB_API TIniFileScanner {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// The buffer size of every line read.
    static constexpr int MaxLineLength = 0xFFF;

    /// One entry: name and value trimmed at their inner ends, and the value as numbers.
    class VLIB_API TIniNameValuePair {
    public:
        TString name;
        TString value;
        int32_t intValue = 0;
        float floatValue = 0.0f;
    };

    TIniFileScanner() = default;
    /// Does what Close does.
    ~TIniFileScanner();
    TIniFileScanner(const TIniFileScanner &) = delete;
    TIniFileScanner &operator=(const TIniFileScanner &) = delete;

    /// Reads the whole file into memory and scans that. False if any step fails.
    bool Open(const TString &fileName);
    /// Scans a file that the caller owns and has opened for reading.
    bool Open(TFileObj *file);
    /// Closes only the text filter.
    void CloseLayer();
    /// Closes the filter and the files beneath it.
    void Close();
    /// Back to the start of the file.
    void Reset();
    /// From the start, the first section of that name (case ignored).
    bool SeekSection(const TString &name);
    /// The next section header; a header on the last line of the file is not found.
    bool SeekNextSection(TString &name);
    /// The next entry of the section; false at the next header, which is then read again.
    bool GetNextEntry(TIniNameValuePair &pair);
    /// The next entry of that name (case ignored) in the section.
    bool GetEntry(const TString &name, TIniNameValuePair &pair);
    /// The entry of that name in that section.
    bool GetEntry(const TString &section, const TString &name, TIniNameValuePair &pair);

private:
    bool m_Open = false;
    TManagedFileBuf m_Buffer; // the file's bytes when the scanner opened it itself
    TAsciiInFilter m_Filter;
};
