// The library's 8-bit, NUL-terminated string: one template of editing, searching and parsing
// operations over a small storage strategy. The dynamic strategy keeps an exact-fit block in
// the library heap and is the everyday string; the static strategies hold N bytes inside the
// object for bounded texts that must not allocate.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstring>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"

class TFileObj;

/// Text in an exact-fit block from the library heap, or no block at all for the empty text.
class VLIB_API TDynamicStringAllocationStrategy {
public:
    TDynamicStringAllocationStrategy() noexcept : m_Data(nullptr) {}
    TDynamicStringAllocationStrategy(const TDynamicStringAllocationStrategy &other);
    TDynamicStringAllocationStrategy(TDynamicStringAllocationStrategy &&other) noexcept
        : m_Data(other.m_Data) {
        other.m_Data = nullptr;
    }
    TDynamicStringAllocationStrategy &operator=(const TDynamicStringAllocationStrategy &other);
    TDynamicStringAllocationStrategy &operator=(TDynamicStringAllocationStrategy &&other) noexcept;
    ~TDynamicStringAllocationStrategy();

    int GetLength() const { return m_Data != nullptr ? static_cast<int>(std::strlen(m_Data)) : 0; }
    /// The text; the shared empty text when no block is held.
    const char *GetData() const { return m_Data != nullptr ? m_Data : ms_EmptyText; }
    char *GetData() { return m_Data != nullptr ? m_Data : ms_EmptyText; }

    /// Makes the text the whole of `text` (count < 0 or >= its length) or its first `count`
    /// bytes; null is the empty text.
    void CopyDataToBuffer(const char *text, int count);
    void AppendDataToBuffer(const char *text);
    void PrependDataToBuffer(const char *text);
    void InsertDataIntoBuffer(int pos, const char *text);
    void RemoveSubstring(int pos, int count);
    /// Replaces `count` bytes at `pos` with `text`: pos -1 is the end, count -1 the length
    /// of `text`. Each change of length is one allocation, one copy and one release; when
    /// memory runs out the text stays as it was.
    void ReplaceSubstring(int pos, int count, const char *text);

private:
    void Adopt(char *block);

    char *m_Data; // owned; null for the empty text

    static char ms_EmptyText[1];
};

/// Text in N bytes inside the object, terminator included. Operations that would pass
/// N - 1 bytes cut the text there.
template <int N> class VLIB_API TStaticStringAllocationStrategy {
    static_assert(N >= 16 && N <= 4096 && (N & (N - 1)) == 0, "N is a power of two, 16 to 4096");

public:
    TStaticStringAllocationStrategy() noexcept { m_Text[0] = '\0'; }
    TStaticStringAllocationStrategy(const TStaticStringAllocationStrategy &other) noexcept {
        std::memcpy(m_Text, other.m_Text, std::strlen(other.m_Text) + 1);
    }
    TStaticStringAllocationStrategy &operator=(const TStaticStringAllocationStrategy &other) {
        if (this != &other)
            std::memcpy(m_Text, other.m_Text, std::strlen(other.m_Text) + 1);
        return *this;
    }

    int GetLength() const { return static_cast<int>(std::strlen(m_Text)); }
    const char *GetData() const { return m_Text; }
    char *GetData() { return m_Text; }

    void CopyDataToBuffer(const char *text, int count);
    void AppendDataToBuffer(const char *text);
    /// Saves the old text, writes `text`, and appends the saved copy.
    void PrependDataToBuffer(const char *text);
    /// `pos` is clamped to 0..length; the whole tail moves to make room.
    void InsertDataIntoBuffer(int pos, const char *text);
    /// A count of 0 (or less) does nothing.
    void RemoveSubstring(int pos, int count);
    /// A count of 0 (or less) does nothing, so this never inserts; there is no -1 form.
    void ReplaceSubstring(int pos, int count, const char *text);

private:
    /// Puts `length` bytes of `text` in place of `count` bytes at `pos`, cutting at N - 1.
    void Splice(int pos, int count, const char *text, int length);

    char m_Text[N];
};

/// The string: value semantics, and the operations every part of the library edits and
/// parses text with. Positions and counts are signed; -1 means "not found".
template <class Strategy> class VLIB_API TStringInt : public Strategy {
public:
    TStringInt() noexcept = default;
    TStringInt(const TStringInt &other) = default;
    TStringInt(TStringInt &&other) noexcept = default;
    /// Null gives the empty text.
    TStringInt(const char *text) { Strategy::CopyDataToBuffer(text, -1); }
    /// Takes at most `count` bytes of `text`.
    TStringInt(const char *text, unsigned count);
    ~TStringInt() = default;

    TStringInt &operator=(const TStringInt &other) {
        if (this != &other)
            Strategy::operator=(other);
        return *this;
    }
    TStringInt &operator=(TStringInt &&other) noexcept {
        if (this != &other)
            Strategy::operator=(static_cast<Strategy &&>(other));
        return *this;
    }
    TStringInt &operator=(const char *text) { return SetText(text); }
    TStringInt &SetText(const char *text);
    /// Replaces the text with `count` copies of `c`.
    TStringInt &CreateFilled(int count, char c);

    // Access. GetCharacter and GetCharacterAddress do not check the position.
    using Strategy::GetData;
    using Strategy::GetLength;
    operator const char *() const { return Strategy::GetData(); }
    const char *begin() const { return Strategy::GetData(); }
    const char *end() const { return Strategy::GetData() + Strategy::GetLength(); }
    char *begin() { return Strategy::GetData(); }
    char *end() { return Strategy::GetData() + Strategy::GetLength(); }
    char GetCharacter(int pos) const { return Strategy::GetData()[pos]; }
    const char *GetCharacterAddress(int pos) const { return Strategy::GetData() + pos; }
    char *GetCharacterAddress(int pos) { return Strategy::GetData() + pos; }
    bool IsEmpty() const { return Strategy::GetData()[0] == '\0'; }

    // Editing; each returns the string itself.
    TStringInt &Append(const char *text);
    TStringInt &Append(char c);
    /// Decimal.
    TStringInt &Append(int value);
    /// `_gcvt` with `digits` significant digits (see NumberText.h).
    TStringInt &Append(float value, int digits);
    /// Lower-case hexadecimal, no prefix, no padding.
    TStringInt &AppendHex(unsigned value);
    TStringInt &Prepend(const char *text);
    TStringInt &Insert(int pos, const char *text);
    TStringInt &Insert(int pos, char c);
    TStringInt &ReplaceSubstring(int pos, int count, const char *text);
    TStringInt &ReplaceSubstring(int pos, int count, char c);
    void DeleteSubstring(int pos, int count);
    /// A-Z to a-z in place; no other byte changes.
    TStringInt &LowerCase();
    TStringInt &UpperCase();

    // Extraction; each returns a new string.
    TStringInt Plus(const char *text) const;
    /// The first min(n, length) bytes; a negative n gives the whole text.
    TStringInt Left(int n) const;
    /// The last min(n, length) bytes.
    TStringInt Right(int n) const;
    /// min(count, length - start) bytes from `start`; a negative count takes the rest.
    TStringInt Middle(int start, int count) const;
    /// Bytes `first` to `last`, both included, `last` clamped to the text.
    TStringInt MiddleRange(int first, int last) const;
    /// From `pos` to the end; a negative `pos` counts from the end. Outside the text: empty.
    TStringInt From(int pos) const;
    /// The first word, with any delimiters (or line feeds) that lead the text kept in front.
    TStringInt GetFirstWord(char delimiter) const;
    TStringInt GetFirstWord(const char *delimiters) const;
    /// Removes up to and including the first delimiter (or a line feed after position 0); a
    /// leading delimiter ends an empty first word.
    void RemoveFirstWord(char delimiter);
    void RemoveFirstWord(const char *delimiters);
    /// Behind the last '/' or '\'; the whole text without either.
    TStringInt ExtractFileName() const;
    /// Up to and including the last '/' or '\'; empty without either.
    TStringInt ExtractFilePath() const;
    /// The text with '/' added unless it ends in '/' or '\'.
    TStringInt MakePath() const;
    /// Behind the first '='; else behind the first blank; else the whole text.
    TStringInt ReadValue() const;
    /// The text between the first double quote from `start` and the next. `*end` becomes the
    /// closing quote's position, the length when there is no opening quote, -1 when the
    /// closing one is missing (the result then runs to the end).
    TStringInt ReadNextQuotedString(int *end, int start = 0) const;

    /// Fields between single-character delimiters: "a,,b" gives a, "", b; "a," gives a and
    /// ""; a lone leading delimiter gives nothing (",a" is just a); the empty text no field.
    TLibVector<TStringInt> Split(const char *delimiters) const;
    /// The items with `separator` between them.
    static TStringInt Join(const char *separator, const TLibVector<TStringInt> &items);

    // Trimming: removes bytes of `set` (null or empty removes nothing).
    TStringInt &Trim(const char *set);
    TStringInt &TrimLeft(const char *set);
    TStringInt &TrimRight(const char *set);
    TStringInt &RemoveLeadingWhiteSpace(const char *set) { return TrimLeft(set); }
    TStringInt &RemoveTrailingWhiteSpace(const char *set) { return TrimRight(set); }

    // Searching; positions, -1 when not found. A case-blind search folds A-Z only.
    int FindSubstring(const char *needle, int start = 0, bool caseSensitive = true) const;
    int FindSubstring(const TStringInt &needle, int start = 0, bool caseSensitive = true) const {
        return FindSubstring(needle.GetData(), start, caseSensitive);
    }
    /// The first byte that is in `set`.
    int FindAny(const char *set, int start = 0, bool caseSensitive = true) const;
    int FindAny(const TStringInt &set, int start = 0, bool caseSensitive = true) const {
        return FindAny(set.GetData(), start, caseSensitive);
    }
    int FindLastOccurence(int character) const;
    /// Tests the byte at `pos` (negative counts from the end); false outside the text.
    bool TestChar(int pos, const char *set) const;
    bool TestChar(int pos, char c) const;

    // Replacing; each returns how many replacements were made.
    int Replace(char from, char to);
    /// Non-overlapping matches from the left; an empty `from` replaces nothing.
    int Replace(const char *from, const char *to);

    // Comparing. Case-sensitive comparisons are on unsigned bytes; null is the empty text.
    /// -1, 0 or 1 when case-sensitive; else the difference of the first unequal folded bytes.
    int Compare(const char *text, bool caseSensitive = true) const;
    /// The same over at most `count` bytes (a negative count compares everything).
    int Compare(const char *text, bool caseSensitive, int count) const;
    /// False for null, also when this text is empty.
    bool operator==(const char *text) const;
    bool operator==(const TStringInt &other) const;
    bool operator!=(const char *text) const { return !(*this == text); }
    bool operator!=(const TStringInt &other) const { return !(*this == other); }
    bool operator<(const char *text) const { return Compare(text, true) < 0; }
    bool operator<(const TStringInt &other) const { return Compare(other.GetData(), true) < 0; }
    bool operator>(const char *text) const { return Compare(text, true) > 0; }
    bool operator>(const TStringInt &other) const { return Compare(other.GetData(), true) > 0; }
    /// Comparisons with a string of another strategy.
    template <class Other> bool operator==(const TStringInt<Other> &other) const {
        return *this == other.GetData();
    }
    template <class Other> bool operator!=(const TStringInt<Other> &other) const {
        return !(*this == other.GetData());
    }
    template <class Other> bool operator<(const TStringInt<Other> &other) const {
        return Compare(other.GetData(), true) < 0;
    }
    template <class Other> bool operator>(const TStringInt<Other> &other) const {
        return Compare(other.GetData(), true) > 0;
    }
    friend bool operator==(const char *text, const TStringInt &s) { return s == text; }
    friend bool operator!=(const char *text, const TStringInt &s) { return !(s == text); }
    friend bool operator<(const char *text, const TStringInt &s) { return s.Compare(text) > 0; }
    friend bool operator>(const char *text, const TStringInt &s) { return s.Compare(text) < 0; }

    /// Concatenation, the same as Plus.
    TStringInt operator+(const char *text) const { return Plus(text); }
    TStringInt operator+(const TStringInt &other) const { return Plus(other.GetData()); }
    friend TStringInt operator+(const char *text, const TStringInt &s) {
        TStringInt result(text);
        result.Append(s.GetData());
        return result;
    }

    // Numbers, read as the original runtime read them (see NumberText.h).
    /// `atoi`.
    int GetInteger() const;
    /// `strtoul` in base 10, on 32 bits.
    unsigned long GetUnsignedInteger() const;
    /// `atof`, narrowed to float.
    float GetFloat() const;
    /// Blanks and tabs, an optional sign, at least one digit, blanks and tabs.
    bool IsInteger() const;
    /// Like IsInteger with an optional point among or after the digits; no exponent, and
    /// trailing blanks only after a point.
    bool IsFloat() const;
    /// ASCII tests of the byte at `pos`, which is not checked.
    bool IsAlpha(int pos) const;
    bool IsNumeric(int pos) const;
    bool IsAlphaNumeric(int pos) const;
    /// Finds the next number from `start` (its first byte a digit or '-'), converts it and
    /// sets `*next` to the blank, tab or comma that ends it (or the length). False when there
    /// is none; the float form then sets `*next` to `start`, the integer forms leave it.
    bool ReadNextNumber(int *value, int *next = nullptr, int start = 0) const;
    bool ReadNextNumber(unsigned long *value, int *next = nullptr, int start = 0) const;
    bool ReadNextNumber(float *value, int *next = nullptr, int start = 0) const;
    /// The same with hexadecimal digits and "%x" conversion (on 32 bits).
    bool ReadNextHexNumber(unsigned long *value, int *next = nullptr, int start = 0) const;
    /// Field `index` of comma-separated text, quotes and blanks kept; commas inside single
    /// or double quotes do not count. With `startAfter`, the text begins behind its first
    /// occurrence (false when it does not occur). False when there are too few fields.
    bool ReadCSV(TStringInt *out, int index, char startAfter = '\0') const;

    // Formatting and streams.
    /// Formats into 16384 bytes (longer output is cut) and makes that the text.
    TStringInt &SPrintf(const char *format, ...) __attribute__((format(printf, 2, 3)));
    TStringInt &CreateFormattedString(const char *format, ...)
        __attribute__((format(printf, 2, 3)));
    /// Reads one token: blanks and line ends skipped, then either a double-quoted text (the
    /// quotes dropped) or up to the next blank or line end. Empty at end of file.
    void Read(TFileObj &file);
    /// Writes the text in double quotes, unescaped.
    void Write(TFileObj &file) const;

private:
    TStringInt &SetFormatted(const char *format, va_list args);
    /// Replaces the text with `length` bytes of `text`.
    void Assign(const char *text, int length) { Strategy::CopyDataToBuffer(text, length); }
};

/// The everyday string.
using TDynamicString = TStringInt<TDynamicStringAllocationStrategy>;

// The library holds the code of every instantiation; hosts link against it.
extern template class TStaticStringAllocationStrategy<16>;
extern template class TStaticStringAllocationStrategy<32>;
extern template class TStaticStringAllocationStrategy<64>;
extern template class TStaticStringAllocationStrategy<128>;
extern template class TStaticStringAllocationStrategy<256>;
extern template class TStaticStringAllocationStrategy<512>;
extern template class TStaticStringAllocationStrategy<1024>;
extern template class TStaticStringAllocationStrategy<2048>;
extern template class TStaticStringAllocationStrategy<4096>;
extern template class TStringInt<TDynamicStringAllocationStrategy>;
extern template class TStringInt<TStaticStringAllocationStrategy<16>>;
extern template class TStringInt<TStaticStringAllocationStrategy<32>>;
extern template class TStringInt<TStaticStringAllocationStrategy<64>>;
extern template class TStringInt<TStaticStringAllocationStrategy<128>>;
extern template class TStringInt<TStaticStringAllocationStrategy<256>>;
extern template class TStringInt<TStaticStringAllocationStrategy<512>>;
extern template class TStringInt<TStaticStringAllocationStrategy<1024>>;
extern template class TStringInt<TStaticStringAllocationStrategy<2048>>;
extern template class TStringInt<TStaticStringAllocationStrategy<4096>>;
