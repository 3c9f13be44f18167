// The text filters. TAsciiInFilter tokenises what its lower file delivers and counts lines;
// TAsciiOutFilter formats values and looks after line endings and line prefixes; TLineFilter
// delivers whole lines. Every text format of the library is read and written through them.
#pragma once

#include <cstdint>

#include "General/Core/StringInt.h"
#include "General/Streams/FileObj.h"
#include "General/Streams/TypedIO.h"

/// Reads text: raw bytes, tokens, lines and typed values. It holds at most one character
/// that it has read from the lower file and not yet consumed (the pending character).
/// Values that do not parse come out as atoi and atof give them, usually 0; trouble shows as
/// the end of file or as the Bad flag.
class VLIB_API TAsciiInFilter : public TFilter, public TIOTypedInput {
public:
    TAsciiInFilter() = default;
    TAsciiInFilter(const TAsciiInFilter &) = delete;
    TAsciiInFilter &operator=(const TAsciiInFilter &) = delete;

    /// Opens on a readable file: nothing pending, line number 1.
    virtual bool Open(TFileObj *file);

    /// Raw bytes, the pending character first.
    int Read(void *buffer, int size) override;
    /// Refused: returns false.
    bool Write(const void *buffer, int size) override;
    bool Seek(int offset, TSeekMode mode) override;
    /// A copy of the lower file's name (empty with no lower file).
    TDynamicString &GetFileName() override;

    /// Sets the character that ends a string read by operator>>; returns the old one.
    char SetAppendChar(char c);
    /// Skips characters of `set`; the first other character stays pending.
    void EatAll(const char *set);
    /// Skips blanks, tabs and line ends.
    void EatWhite();
    /// True if `c` is in `set`; the terminating zero is not a member.
    static bool CharInSet(char c, const char *set);
    /// Skips white space, then reads up to the next white space into `buffer` of `size`.
    int ReadChars(char *buffer, int size, bool *truncated = nullptr);
    TAsciiInFilter &ReadCharsInl(char *buffer, int size);
    /// Reads up to `delimiter`, which is consumed and not stored. With a line end as the
    /// delimiter a last CR or LF is dropped, so CR LF text reads as lines without the CR.
    int GetLine(char *buffer, int size, char delimiter, bool *truncated = nullptr);
    /// Reads into `buffer` until a character of `stopSet` (consumed, not stored) or until
    /// size - 1 characters are stored; the character read last is then dropped.
    int DoRead(char *buffer, int size, const char *stopSet, bool *truncated = nullptr);
    /// A hexadecimal token; the value is left alone when the token holds no digits.
    void ReadHexInt(int &value);
    /// Reads lines until one begins with one of `count` (at most 32) strings; its index, or
    /// -1 at end of file. `lineBuffer` must hold 256 bytes.
    int SeekString(char *lineBuffer, int count, ...);
    /// Like SeekString, but a string may stand anywhere in the line, and the test comes
    /// before each read: the first looks at what `lineBuffer` already holds.
    int SeekStringLine(char *lineBuffer, int count, ...);
    int GetLineNumber() const { return m_LineNumber; }

    TIOTypedInput &operator>>(TIOBinaryBlock &value) override;
    TIOTypedInput &operator>>(TMatrix43 &value) override;
    TIOTypedInput &operator>>(TMatrix4 &value) override;
    TIOTypedInput &operator>>(TMatrix3 &value) override;
    TIOTypedInput &operator>>(TMatrix2 &value) override;
    TIOTypedInput &operator>>(TVector4 &value) override;
    TIOTypedInput &operator>>(TVector3 &value) override;
    TIOTypedInput &operator>>(TVector2 &value) override;
    TIOTypedInput &operator>>(TQuaternion &value) override;
    TIOTypedInput &operator>>(TTime &value) override;
    TIOTypedInput &operator>>(TDynamicString &value) override;
    TIOTypedInput &operator>>(float &value) override;
    TIOTypedInput &operator>>(double &value) override;
    TIOTypedInput &operator>>(bool &value) override;
    TIOTypedInput &operator>>(VUInt64 &value) override;
    TIOTypedInput &operator>>(__int64 &value) override;
    TIOTypedInput &operator>>(long &value) override;
    TIOTypedInput &operator>>(unsigned long &value) override;
    TIOTypedInput &operator>>(short &value) override;
    TIOTypedInput &operator>>(unsigned short &value) override;
    TIOTypedInput &operator>>(unsigned char &value) override;
    TIOTypedInput &operator>>(signed char &value) override;
    TIOTypedInput &operator>>(char &value) override;
    TIOTypedInput &operator>>(unsigned int &value) override;
    TIOTypedInput &operator>>(int &value) override;
    bool IsAscii() override { return true; }

    /// Longest numeric token kept; longer ones are read to their end and cut.
    static constexpr int kTokenSize = 64;

private:
    struct TCharSet;

    /// Reads from the lower file and counts the line feeds that came.
    int LowLevelRead(void *buffer, int size);
    /// One character into the current one; false when nothing came.
    bool ReadCurrent() {
        if (m_WindowNext < m_WindowEnd) {
            m_Current = *m_WindowNext++;
            m_LineNumber += m_Current == '\n';
            return true;
        }
        return ReadCurrentSlow();
    }
    bool ReadCurrentSlow();
    /// The lower file is at its end, or has stopped delivering.
    bool AtEnd() { return m_WindowNext < m_WindowEnd ? false : AtEndSlow(); }
    bool AtEndSlow();
    /// Looks into the lower file's buffer, when it has one the filter can read directly.
    void OpenWindow() {
        if (m_LowerKind != 0)
            OpenWindowSlow();
    }
    void OpenWindowSlow();
    /// Moves the lower file past what was taken from the window, and closes it. Every public
    /// operation ends with this, so the lower file is always up to date between calls.
    void CloseWindow();
    void EatAllIn(const TCharSet &set);
    /// The token reader: skips white space, stores the current character untested, then
    /// every following character of `set`. The stopping character stays pending.
    int ExtractInSet(char *buffer, const TCharSet &set);
    int DoReadIn(char *buffer, int size, const TCharSet &stopSet, bool *truncated);
    /// A decimal token through atoi.
    int ReadIntToken();
    double ReadFloatToken();
    int SeekLines(char *lineBuffer, int count, const char *const *strings, bool anywhere);

    bool m_Pending = false;
    char m_AppendChar = static_cast<char>(-1);
    const char *m_WhiteSpace = " \t\n\r"; // not owned: a literal
    char m_Current = 0;
    int m_LineNumber = 0;
    TDynamicString m_Name;
    bool m_Dry = false;                  // a read of the lower file delivered nothing
    uint8_t m_LowerKind = 0;             // which of the library's files the lower one is
    const char *m_WindowStart = nullptr; // not owned: bytes of the lower file's buffer
    const char *m_WindowNext = nullptr;
    const char *m_WindowEnd = nullptr;
};

/// Writes text: values in their text forms, with optional CR LF line ends and a prefix
/// written behind each line end.
class VLIB_API TAsciiOutFilter : public TFilter, public TIOTypedOutput {
public:
    /// The value written at the head of a binary block; only 1 is in use.
    enum TBinaryBlockFormat { BinaryBlockHex = 1 };

    /// Separators between the values of a vector or matrix.
    static const char *const ms_pszDelimEmpty;
    static const char *const ms_pszDelimComma;

    TAsciiOutFilter() = default;
    TAsciiOutFilter(const TAsciiOutFilter &) = delete;
    TAsciiOutFilter &operator=(const TAsciiOutFilter &) = delete;

    /// Opens on a writeable file; options set before survive, the last char becomes 0.
    virtual bool Open(TFileObj *file);

    /// Refused: returns 0.
    int Read(void *buffer, int size) override;
    /// The bytes with line-end processing. False (with Bad set here and below) when the
    /// lower file refused them.
    bool Write(const void *buffer, int size) override;

    void SetWindowsStyleLineEndings(bool on) { m_WindowsLineEndings = on; }
    void SetLinePrefix(const char *prefix);
    const char *GetLinePrefix() const { return m_LinePrefix.GetData(); }
    void SetBinaryBlockFormat(const TBinaryBlockFormat &format) { m_BinaryBlockFormat = format; }
    /// Sets the character written after each value (0xFF for none); returns the old one.
    char SetAppendChar(char c);
    const char *Delimiter() const { return m_Delimiter; }
    /// Kept as a pointer, not copied: the text must outlive the filter's use of it.
    void SetDelimiter(const char *delimiter) { m_Delimiter = delimiter; }
    /// "%x", without the append char.
    void WriteHexInt(int value);
    /// printf into 512 bytes, then written as a string value (with the append char).
    TAsciiOutFilter &SPrintf(const char *format, ...) __attribute__((format(printf, 2, 3)));
    /// Adds the append char to `text` itself, then writes it.
    void WriteString(TDynamicString &text);

    TIOTypedOutput &operator<<(const TIOBinaryBlock &value) override;
    TIOTypedOutput &operator<<(const TMatrix43 &value) override;
    TIOTypedOutput &operator<<(const TMatrix4 &value) override;
    TIOTypedOutput &operator<<(const TMatrix3 &value) override;
    TIOTypedOutput &operator<<(const TMatrix2 &value) override;
    TIOTypedOutput &operator<<(const TVector4 &value) override;
    TIOTypedOutput &operator<<(const TVector3 &value) override;
    TIOTypedOutput &operator<<(const TVector2 &value) override;
    TIOTypedOutput &operator<<(const TQuaternion &value) override;
    TIOTypedOutput &operator<<(TTime value) override;
    TIOTypedOutput &operator<<(const TDynamicString &value) override;
    TIOTypedOutput &operator<<(float value) override;
    TIOTypedOutput &operator<<(double value) override;
    TIOTypedOutput &operator<<(bool value) override;
    TIOTypedOutput &operator<<(VUInt64 value) override;
    TIOTypedOutput &operator<<(__int64 value) override;
    TIOTypedOutput &operator<<(long value) override;
    TIOTypedOutput &operator<<(unsigned long value) override;
    TIOTypedOutput &operator<<(short value) override;
    TIOTypedOutput &operator<<(unsigned short value) override;
    TIOTypedOutput &operator<<(unsigned char value) override;
    TIOTypedOutput &operator<<(signed char value) override;
    TIOTypedOutput &operator<<(char value) override;
    TIOTypedOutput &operator<<(unsigned int value) override;
    TIOTypedOutput &operator<<(int value) override;
    TIOTypedOutput &operator<<(const char *value) override;
    bool IsAscii() override { return true; }

private:
    /// Writes `length` bytes of a value's text followed by the append char.
    void WriteValue(const char *text, int length);
    /// Writes the floats of a vector or matrix with the delimiter between them.
    void WriteFloats(const float *values, int count);
    bool Write_WithLocalProcessing(const void *buffer, int size);
    /// Writes to the lower file, marking Bad here and below on failure.
    bool WriteLower(const void *buffer, int size);

    TDynamicString m_Scratch; // kept for layout; values are formatted on the stack
    char m_AppendChar = static_cast<char>(-1);
    const char *m_Delimiter = ms_pszDelimEmpty; // not owned
    bool m_WindowsLineEndings = false;
    char m_LastChar = 0;
    TBinaryBlockFormat m_BinaryBlockFormat = BinaryBlockHex;
    TDynamicString m_LinePrefix;
};

/// Delivers whole lines of a readable file, counting them.
class VLIB_API TLineFilter : public TFilter {
public:
    TLineFilter() = default;
    TLineFilter(const TLineFilter &) = delete;
    TLineFilter &operator=(const TLineFilter &) = delete;

    /// Opens on a readable file; line number 0.
    virtual bool Open(TFileObj *file);
    /// Closes the stack; the line number restarts when that worked.
    bool Close() override;
    /// One line of at most size - 1 characters, terminated, without its line end (CR and
    /// the byte after it, or LF). Returns the count, or `size` when the line filled the
    /// buffer.
    int Read(void *buffer, int size) override;
    /// Refused: returns false.
    bool Write(const void *buffer, int size) override;
    int GetLineNumber() const { return m_LineNumber; }

private:
    int m_LineNumber = 0;
};
