// Cutting one line of text into fields. TSplitString is the fast form: a fixed block that can
// live on the stack, one delimiter, fields cut in place without allocation; the configuration
// layer and the formatted tables use it. TQuotedSplitString follows a quoting syntax (CSV or a
// command line) and copies the fields into growing vectors, with a message for malformed input.
#pragma once

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

/// A line cut into at most 128 fields at one delimiter, in place, in a fixed 8 KB block.
/// The text with its terminator must fit the buffer. A line of more than 128 fields keeps its
/// first 128: the 128th ends at the next delimiter and the rest of the line is dropped.
class VLIB_API TSplitString {
public:
    static constexpr int kBufferSize = 8192;
    static constexpr int kMaxFields = 128;

    TSplitString() : TSplitString('\0') {}
    explicit TSplitString(char delimiter) : m_Delimiter(delimiter) {}

    /// Copies a NUL-terminated text, terminator included, into the buffer. A text too long
    /// for the buffer is cut to its first kBufferSize - 1 bytes.
    void FillBuffer(const unsigned char *text);
    void FillBuffer(const char *text) { FillBuffer(reinterpret_cast<const unsigned char *>(text)); }
    /// The buffer, for callers that fill it themselves.
    char *GetBufferPtr() { return m_Buffer; }

    /// Sets the delimiter, then splits the first `length` bytes.
    void Init(int length, char delimiter) {
        m_Delimiter = delimiter;
        Split(length);
    }
    /// Splits the first `length` bytes of the buffer; each delimiter among them becomes a NUL.
    void Split(int length);

    /// Number of fields, at least 1 after a split; -1 before the first.
    int GetNumFields() const { return m_Fields; }
    /// Number of fields that are not empty.
    int GetNumFilled() const { return m_Filled; }
    /// The field's text; NUL-terminated as long as the text's own terminator is in the buffer.
    /// `field` must be below GetNumFields().
    char *StrPtr(int field) { return m_Buffer + m_Offsets[field]; }
    const char *StrPtr(int field) const { return m_Buffer + m_Offsets[field]; }
    int StrLen(int field) const { return m_Offsets[field + 1] - m_Offsets[field] - 1; }

private:
    char m_Delimiter;
    char m_Buffer[kBufferSize];
    int m_Offsets[kMaxFields + 1];
    int m_Fields = -1;
    int m_Filled = 0;
};

/// A line cut into fields by a quoting syntax: comma-separated values or a command line.
/// Field pointers stand until the next Split.
class VLIB_API TQuotedSplitString {
public:
    // A fixed underlying type, so that a value outside the enumeration is still a value.
    enum TSyntax : int { CSV = 0, Command = 1 };

    /// Reserves room for `reserveChars` characters and `reserveFields` fields.
    TQuotedSplitString(TSyntax syntax, unsigned int reserveChars, unsigned int reserveFields);
    TQuotedSplitString(const TQuotedSplitString &) = default;
    TQuotedSplitString &operator=(const TQuotedSplitString &) = default;

    /// Cuts `line` (null counts as empty). False on malformed input, with GetLastError()
    /// telling why; the fields made so far stay readable and GetNumFilled() is 0. A later
    /// success leaves the old message in place.
    bool Split(const char *line);

    unsigned int GetNumFields() const { return static_cast<unsigned int>(m_Offsets.size()); }
    unsigned int GetNumFilled() const { return m_Filled; }
    /// The field's NUL-terminated text; `field` must be below GetNumFields().
    const char *GetField(unsigned int field) const { return m_Text.data() + m_Offsets[field]; }
    /// The field's length without its terminator.
    unsigned int GetFieldLength(unsigned int field) const;
    const TDynamicString &GetLastError() const { return m_LastError; }

private:
    bool SplitCSV(const char *line);
    bool SplitCommand(const char *line);
    void Open() { m_Offsets.push_back(static_cast<unsigned int>(m_Text.size())); }
    void Push(char c) { m_Text.push_back(c); }
    void End() { m_Text.push_back('\0'); }

    TSyntax m_Syntax;
    TLibVector<char> m_Text;
    TLibVector<unsigned int> m_Offsets;
    TDynamicString m_LastError;
    unsigned int m_Filled = 0;
};
