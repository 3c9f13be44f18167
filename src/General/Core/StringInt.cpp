// The code of the string template and its two storage strategies, instantiated here once for
// the dynamic strategy and each static capacity. Read and Write live with the streams, which
// own TFileObj.
#include "General/Core/StringInt.h"

#include <cstdio>

#include "General/Core/Detail/AsciiText.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/NumberText.h"

using vlib::detail::AsciiLower;

namespace {

int Length(const char *text) {
    return text != nullptr ? static_cast<int>(std::strlen(text)) : 0;
}

/// Length of `text` cut to `count` when count is not negative; `text` may then lack a
/// terminator within those bytes.
int CountedLength(const char *text, int count) {
    if (text == nullptr)
        return 0;
    if (count < 0)
        return static_cast<int>(std::strlen(text));
    return static_cast<int>(strnlen(text, static_cast<size_t>(count)));
}

/// True when `c` is one of the bytes of `set`; the terminator never is.
bool InSet(const char *set, char c) {
    return c != '\0' && set != nullptr && std::strchr(set, c) != nullptr;
}

char *AllocText(int length) {
    return reinterpret_cast<char *>(GetAllocatorInstance().Alloc(static_cast<size_t>(length) + 1));
}

void FreeText(char *text) {
    if (text != nullptr)
        GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(text));
}

/// A growable byte buffer that starts in `Inline` bytes on the stack and moves to the library
/// heap when it must grow, to a multiple of `Step` bytes.
template <size_t Inline, size_t Step> class TWorkBuffer {
public:
    TWorkBuffer() = default;
    TWorkBuffer(const TWorkBuffer &) = delete;
    TWorkBuffer &operator=(const TWorkBuffer &) = delete;
    ~TWorkBuffer() {
        if (m_Data != m_Inline)
            FreeText(m_Data);
    }

    /// Appends `count` bytes; false when memory ran out (the buffer is then unchanged).
    bool Put(const char *bytes, size_t count) {
        if (count == 0)
            return true;
        if (m_Length + count + 1 > m_Capacity && !Grow(m_Length + count + 1))
            return false;
        std::memcpy(m_Data + m_Length, bytes, count);
        m_Length += count;
        return true;
    }
    bool Fill(char c, size_t count) {
        if (m_Length + count + 1 > m_Capacity && !Grow(m_Length + count + 1))
            return false;
        std::memset(m_Data + m_Length, c, count);
        m_Length += count;
        return true;
    }
    /// The bytes so far, terminated.
    char *Data() {
        m_Data[m_Length] = '\0';
        return m_Data;
    }
    int Length() const { return static_cast<int>(m_Length); }

private:
    bool Grow(size_t needed) {
        // The next multiple of Step above what is needed.
        const size_t capacity = (needed / Step + 1) * Step;
        char *block = reinterpret_cast<char *>(GetAllocatorInstance().Alloc(capacity));
        if (block == nullptr)
            return false;
        std::memcpy(block, m_Data, m_Length);
        if (m_Data != m_Inline)
            FreeText(m_Data);
        m_Data = block;
        m_Capacity = capacity;
        return true;
    }

    alignas(alignof(std::max_align_t)) char m_Inline[Inline];
    char *m_Data = m_Inline; // owned when it is not m_Inline
    size_t m_Capacity = Inline;
    size_t m_Length = 0;
};

/// Case-blind strstr in the C locale. Candidates for the first byte are found with the
/// library's vectorised strchr or strpbrk, the rest is compared through the fold table.
const char *FindNoCase(const char *haystack, const char *needle) {
    if (needle[0] == '\0')
        return haystack;
    const unsigned char first = static_cast<unsigned char>(needle[0]);
    const char firstForms[3] = {static_cast<char>(vlib::detail::AsciiLower(first)),
                                static_cast<char>(vlib::detail::AsciiUpper(first)), '\0'};
    const bool letter = firstForms[0] != firstForms[1];
    const auto &fold = vlib::detail::kAsciiLowerTable;
    for (const char *p = haystack;; ++p) {
        p = letter ? std::strpbrk(p, firstForms) : std::strchr(p, needle[0]);
        if (p == nullptr)
            return nullptr;
        size_t i = 1;
        while (needle[i] != '\0' && fold[static_cast<unsigned char>(p[i])] ==
                                        fold[static_cast<unsigned char>(needle[i])])
            ++i;
        if (needle[i] == '\0')
            return p;
    }
}

/// Case-blind strpbrk in the C locale.
const char *FindAnyNoCase(const char *text, const char *set) {
    for (; *text != '\0'; ++text) {
        const unsigned char c = AsciiLower(static_cast<unsigned char>(*text));
        for (const char *s = set; *s != '\0'; ++s)
            if (AsciiLower(static_cast<unsigned char>(*s)) == c)
                return text;
    }
    return nullptr;
}

bool IsBlankOrTab(char c) {
    return c == ' ' || c == '\t';
}

} // namespace

// ---------------------------------------------------------------------------------------------
// TDynamicStringAllocationStrategy

char TDynamicStringAllocationStrategy::ms_EmptyText[1] = {'\0'};

TDynamicStringAllocationStrategy::TDynamicStringAllocationStrategy(
    const TDynamicStringAllocationStrategy &other)
    : m_Data(nullptr) {
    CopyDataToBuffer(other.m_Data, -1);
}

TDynamicStringAllocationStrategy &
TDynamicStringAllocationStrategy::operator=(const TDynamicStringAllocationStrategy &other) {
    if (this != &other)
        CopyDataToBuffer(other.m_Data, -1);
    return *this;
}

TDynamicStringAllocationStrategy &
TDynamicStringAllocationStrategy::operator=(TDynamicStringAllocationStrategy &&other) noexcept {
    if (this != &other) {
        FreeText(m_Data);
        m_Data = other.m_Data;
        other.m_Data = nullptr;
    }
    return *this;
}

TDynamicStringAllocationStrategy::~TDynamicStringAllocationStrategy() {
    FreeText(m_Data);
}

void TDynamicStringAllocationStrategy::Adopt(char *block) {
    FreeText(m_Data);
    m_Data = block;
}

void TDynamicStringAllocationStrategy::CopyDataToBuffer(const char *text, int count) {
    if (text != nullptr && text == m_Data && count < 0)
        return;
    const int length = CountedLength(text, count);
    if (length == 0) {
        Adopt(nullptr);
        return;
    }
    // The new block is filled before the old one goes, so `text` may lie inside it.
    char *block = AllocText(length);
    if (block == nullptr)
        return;
    std::memcpy(block, text, static_cast<size_t>(length));
    block[length] = '\0';
    Adopt(block);
}

void TDynamicStringAllocationStrategy::AppendDataToBuffer(const char *text) {
    ReplaceSubstring(-1, 0, text);
}

void TDynamicStringAllocationStrategy::PrependDataToBuffer(const char *text) {
    ReplaceSubstring(0, 0, text);
}

void TDynamicStringAllocationStrategy::InsertDataIntoBuffer(int pos, const char *text) {
    ReplaceSubstring(pos, 0, text);
}

void TDynamicStringAllocationStrategy::RemoveSubstring(int pos, int count) {
    ReplaceSubstring(pos, count, "");
}

void TDynamicStringAllocationStrategy::ReplaceSubstring(int pos, int count, const char *text) {
    const int oldLength = GetLength();
    const int textLength = Length(text);
    if (pos == -1)
        pos = oldLength;
    if (count == -1)
        count = textLength;
    // Positions outside the text are the caller's error; keep them inside it.
    if (pos < 0)
        pos = 0;
    if (pos > oldLength)
        pos = oldLength;
    if (count < 0)
        count = 0;
    if (count > oldLength - pos)
        count = oldLength - pos;

    const int newLength = textLength - count + oldLength;
    if (newLength == oldLength) {
        if (count > 0)
            std::memmove(m_Data + pos, text, static_cast<size_t>(count));
        return;
    }
    if (newLength == 0) {
        Adopt(nullptr);
        return;
    }
    char *block = AllocText(newLength);
    if (block == nullptr)
        return;
    if (pos > 0)
        std::memcpy(block, m_Data, static_cast<size_t>(pos));
    if (textLength > 0)
        std::memcpy(block + pos, text, static_cast<size_t>(textLength));
    const int tail = oldLength - pos - count;
    if (tail > 0)
        std::memcpy(block + pos + textLength, m_Data + pos + count, static_cast<size_t>(tail));
    block[newLength] = '\0';
    Adopt(block);
}

// ---------------------------------------------------------------------------------------------
// TStaticStringAllocationStrategy

template <int N>
void TStaticStringAllocationStrategy<N>::Splice(int pos, int count, const char *text, int length) {
    // `text` may point into m_Text; copy it aside before the tail moves over it.
    char saved[N];
    const auto at = reinterpret_cast<uintptr_t>(text);
    const auto base = reinterpret_cast<uintptr_t>(m_Text);
    if (at >= base && at < base + N) {
        if (length > N - 1)
            length = N - 1;
        std::memcpy(saved, text, static_cast<size_t>(length));
        text = saved;
    }
    const int oldLength = GetLength();
    const int tailFrom = pos + count;
    int tail = oldLength - tailFrom;
    int textEnd = pos + length;
    if (textEnd > N - 1) {
        length = N - 1 - pos;
        textEnd = N - 1;
    }
    if (textEnd + tail > N - 1)
        tail = N - 1 - textEnd;
    if (tail > 0)
        std::memmove(m_Text + textEnd, m_Text + tailFrom, static_cast<size_t>(tail));
    if (length > 0)
        std::memcpy(m_Text + pos, text, static_cast<size_t>(length));
    m_Text[textEnd + (tail > 0 ? tail : 0)] = '\0';
}

template <int N>
void TStaticStringAllocationStrategy<N>::CopyDataToBuffer(const char *text, int count) {
    int length = CountedLength(text, count);
    if (length > N - 1)
        length = N - 1;
    if (length > 0)
        std::memmove(m_Text, text, static_cast<size_t>(length));
    m_Text[length] = '\0';
}

template <int N> void TStaticStringAllocationStrategy<N>::AppendDataToBuffer(const char *text) {
    const int length = GetLength();
    Splice(length, 0, text != nullptr ? text : "", Length(text));
}

template <int N> void TStaticStringAllocationStrategy<N>::PrependDataToBuffer(const char *text) {
    char old[N];
    std::memcpy(old, m_Text, static_cast<size_t>(GetLength()) + 1);
    CopyDataToBuffer(text, -1);
    AppendDataToBuffer(old);
}

template <int N>
void TStaticStringAllocationStrategy<N>::InsertDataIntoBuffer(int pos, const char *text) {
    const int length = GetLength();
    if (pos < 0)
        pos = 0;
    if (pos > length)
        pos = length;
    Splice(pos, 0, text != nullptr ? text : "", Length(text));
}

template <int N> void TStaticStringAllocationStrategy<N>::RemoveSubstring(int pos, int count) {
    if (count <= 0)
        return;
    ReplaceSubstring(pos, count, "");
}

template <int N>
void TStaticStringAllocationStrategy<N>::ReplaceSubstring(int pos, int count, const char *text) {
    if (count <= 0)
        return;
    const int length = GetLength();
    if (pos < 0)
        pos = 0;
    if (pos > length)
        pos = length;
    if (count > length - pos)
        count = length - pos;
    Splice(pos, count, text != nullptr ? text : "", Length(text));
}

// ---------------------------------------------------------------------------------------------
// TStringInt: construction and editing

template <class S> TStringInt<S>::TStringInt(const char *text, unsigned count) {
    S::CopyDataToBuffer(text, count > 0x7FFFFFFFu ? -1 : static_cast<int>(count));
}

template <class S> TStringInt<S> &TStringInt<S>::SetText(const char *text) {
    if (text != S::GetData())
        S::CopyDataToBuffer(text, -1);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::CreateFilled(int count, char c) {
    TWorkBuffer<256, 256> buffer;
    if (count > 0 && c != '\0' && buffer.Fill(c, static_cast<size_t>(count)))
        Assign(buffer.Data(), buffer.Length());
    else
        Assign("", 0);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::Append(const char *text) {
    S::AppendDataToBuffer(text);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::Append(char c) {
    const char text[2] = {c, '\0'};
    S::AppendDataToBuffer(text);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::Append(int value) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    S::AppendDataToBuffer(text);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::Append(float value, int digits) {
    char text[vlib::kGcvtTextSize];
    vlib::FormatGcvt(text, sizeof text, value, digits);
    S::AppendDataToBuffer(text);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::AppendHex(unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", value);
    S::AppendDataToBuffer(text);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::Prepend(const char *text) {
    S::PrependDataToBuffer(text);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::Insert(int pos, const char *text) {
    S::InsertDataIntoBuffer(pos, text);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::Insert(int pos, char c) {
    const char text[2] = {c, '\0'};
    S::InsertDataIntoBuffer(pos, text);
    return *this;
}

template <class S>
TStringInt<S> &TStringInt<S>::ReplaceSubstring(int pos, int count, const char *text) {
    S::ReplaceSubstring(pos, count, text);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::ReplaceSubstring(int pos, int count, char c) {
    const char text[2] = {c, '\0'};
    S::ReplaceSubstring(pos, count, text);
    return *this;
}

template <class S> void TStringInt<S>::DeleteSubstring(int pos, int count) {
    S::RemoveSubstring(pos, count);
}

template <class S> TStringInt<S> &TStringInt<S>::LowerCase() {
    vlib::detail::AsciiLowerInPlace(S::GetData());
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::UpperCase() {
    vlib::detail::AsciiUpperInPlace(S::GetData());
    return *this;
}

// ---------------------------------------------------------------------------------------------
// Extraction

template <class S> TStringInt<S> TStringInt<S>::Plus(const char *text) const {
    TStringInt result(*this);
    result.Append(text);
    return result;
}

template <class S> TStringInt<S> TStringInt<S>::Left(int n) const {
    const int length = GetLength();
    if (n < 0 || n > length)
        n = length;
    return TStringInt(GetData(), static_cast<unsigned>(n));
}

template <class S> TStringInt<S> TStringInt<S>::Right(int n) const {
    const int length = GetLength();
    if (n < 0)
        n = 0;
    if (n > length)
        n = length;
    return TStringInt(GetData() + length - n);
}

template <class S> TStringInt<S> TStringInt<S>::Middle(int start, int count) const {
    const int length = GetLength();
    if (start < 0)
        start = 0;
    if (start > length)
        start = length;
    if (count < 0 || count > length - start)
        count = length - start;
    return TStringInt(GetData() + start, static_cast<unsigned>(count));
}

template <class S> TStringInt<S> TStringInt<S>::MiddleRange(int first, int last) const {
    const int length = GetLength();
    if (last > length - 1)
        last = length - 1;
    if (first < 0)
        first = 0;
    if (first > last)
        return TStringInt();
    return TStringInt(GetData() + first, static_cast<unsigned>(last - first + 1));
}

template <class S> TStringInt<S> TStringInt<S>::From(int pos) const {
    const int length = GetLength();
    if (pos < 0)
        pos += length;
    if (pos < 0 || pos >= length)
        return TStringInt();
    return TStringInt(GetData() + pos);
}

template <class S> TStringInt<S> TStringInt<S>::GetFirstWord(char delimiter) const {
    const char set[2] = {delimiter, '\0'};
    return GetFirstWord(set);
}

template <class S> TStringInt<S> TStringInt<S>::GetFirstWord(const char *delimiters) const {
    const char *text = GetData();
    bool inWord = false;
    int i = 0;
    for (; text[i] != '\0'; ++i) {
        if (InSet(delimiters, text[i]) || text[i] == '\n') {
            if (inWord)
                break;
        } else {
            inWord = true;
        }
    }
    return TStringInt(text, static_cast<unsigned>(i));
}

template <class S> void TStringInt<S>::RemoveFirstWord(char delimiter) {
    const char set[2] = {delimiter, '\0'};
    RemoveFirstWord(set);
}

template <class S> void TStringInt<S>::RemoveFirstWord(const char *delimiters) {
    const char *text = GetData();
    int i = 0;
    while (text[i] != '\0' && !InSet(delimiters, text[i]) && !(text[i] == '\n' && i > 0))
        ++i;
    if (text[i] == '\0' || text[i + 1] == '\0') {
        Assign("", 0);
        return;
    }
    S::RemoveSubstring(0, i + 1);
}

namespace {

/// Position of the last '/' or '\', -1 when there is neither.
int LastSeparator(const char *text) {
    const char *slash = std::strrchr(text, '/');
    const char *backslash = std::strrchr(text, '\\');
    const int slashAt = slash != nullptr ? static_cast<int>(slash - text) : -1;
    const int backslashAt = backslash != nullptr ? static_cast<int>(backslash - text) : -1;
    return slashAt > backslashAt ? slashAt : backslashAt;
}

} // namespace

template <class S> TStringInt<S> TStringInt<S>::ExtractFileName() const {
    return TStringInt(GetData() + LastSeparator(GetData()) + 1);
}

template <class S> TStringInt<S> TStringInt<S>::ExtractFilePath() const {
    return TStringInt(GetData(), static_cast<unsigned>(LastSeparator(GetData()) + 1));
}

template <class S> TStringInt<S> TStringInt<S>::MakePath() const {
    TStringInt result(*this);
    const int length = GetLength();
    if (length == 0 || (GetData()[length - 1] != '/' && GetData()[length - 1] != '\\'))
        result.Append('/');
    return result;
}

template <class S> TStringInt<S> TStringInt<S>::ReadValue() const {
    const char *text = GetData();
    const char *mark = std::strchr(text, '=');
    if (mark == nullptr)
        mark = std::strchr(text, ' ');
    return TStringInt(mark != nullptr ? mark + 1 : text);
}

template <class S> TStringInt<S> TStringInt<S>::ReadNextQuotedString(int *end, int start) const {
    const char *text = GetData();
    const int length = GetLength();
    const char *open = start >= 0 && start <= length ? std::strchr(text + start, '"') : nullptr;
    if (open == nullptr) {
        if (end != nullptr)
            *end = length;
        return TStringInt();
    }
    const char *close = std::strchr(open + 1, '"');
    if (close == nullptr) {
        if (end != nullptr)
            *end = -1;
        return TStringInt(open + 1);
    }
    if (end != nullptr)
        *end = static_cast<int>(close - text);
    return TStringInt(open + 1, static_cast<unsigned>(close - open - 1));
}

// ---------------------------------------------------------------------------------------------
// Splitting and joining

template <class S> TLibVector<TStringInt<S>> TStringInt<S>::Split(const char *delimiters) const {
    enum class TState { Start, Between, Word };
    TLibVector<TStringInt> fields;
    const char *text = GetData();
    const int length = GetLength();
    TState state = TState::Start;
    int mark = 0;
    // The terminator takes part, so the last field is closed by it.
    for (int i = 0; i <= length; ++i) {
        const bool terminator = i == length;
        const bool boundary = terminator || InSet(delimiters, text[i]);
        switch (state) {
        case TState::Start:
            if (boundary) {
                state = TState::Between;
            } else {
                state = TState::Word;
                mark = i;
            }
            break;
        case TState::Between:
            if (boundary) {
                fields.emplace_back();
            } else {
                state = TState::Word;
                mark = i;
            }
            break;
        case TState::Word:
            if (boundary) {
                fields.emplace_back(text + mark, static_cast<unsigned>(i - mark));
                state = TState::Between;
            }
            break;
        }
    }
    return fields;
}

template <class S>
TStringInt<S> TStringInt<S>::Join(const char *separator, const TLibVector<TStringInt> &items) {
    TWorkBuffer<1024, 1024> buffer;
    const size_t separatorLength = static_cast<size_t>(Length(separator));
    bool complete = true;
    for (size_t i = 0; i < items.size() && complete; ++i) {
        if (i > 0)
            complete = buffer.Put(separator, separatorLength);
        complete =
            complete && buffer.Put(items[i].GetData(), static_cast<size_t>(items[i].GetLength()));
    }
    return TStringInt(buffer.Data(), static_cast<unsigned>(buffer.Length()));
}

// ---------------------------------------------------------------------------------------------
// Trimming

template <class S> TStringInt<S> &TStringInt<S>::Trim(const char *set) {
    TrimLeft(set);
    return TrimRight(set);
}

template <class S> TStringInt<S> &TStringInt<S>::TrimLeft(const char *set) {
    const char *text = GetData();
    int first = 0;
    while (InSet(set, text[first]))
        ++first;
    if (first > 0)
        S::RemoveSubstring(0, first);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::TrimRight(const char *set) {
    const char *text = GetData();
    const int length = GetLength();
    int end = length;
    while (end > 0 && InSet(set, text[end - 1]))
        --end;
    if (end < length)
        S::RemoveSubstring(end, length - end);
    return *this;
}

// ---------------------------------------------------------------------------------------------
// Searching and replacing

template <class S>
int TStringInt<S>::FindSubstring(const char *needle, int start, bool caseSensitive) const {
    const char *text = GetData();
    if (needle == nullptr || start < 0 || start > GetLength())
        return -1;
    const char *found =
        caseSensitive ? std::strstr(text + start, needle) : FindNoCase(text + start, needle);
    return found != nullptr ? static_cast<int>(found - text) : -1;
}

template <class S>
int TStringInt<S>::FindAny(const char *set, int start, bool caseSensitive) const {
    const char *text = GetData();
    if (set == nullptr || start < 0 || start > GetLength())
        return -1;
    const char *found =
        caseSensitive ? std::strpbrk(text + start, set) : FindAnyNoCase(text + start, set);
    return found != nullptr ? static_cast<int>(found - text) : -1;
}

template <class S> int TStringInt<S>::FindLastOccurence(int character) const {
    const char *text = GetData();
    const char *found = std::strrchr(text, character);
    return found != nullptr ? static_cast<int>(found - text) : -1;
}

template <class S> bool TStringInt<S>::TestChar(int pos, const char *set) const {
    const int length = GetLength();
    if (pos < 0)
        pos += length;
    return pos >= 0 && pos < length && InSet(set, GetData()[pos]);
}

template <class S> bool TStringInt<S>::TestChar(int pos, char c) const {
    const int length = GetLength();
    if (pos < 0)
        pos += length;
    return pos >= 0 && pos < length && GetData()[pos] == c;
}

template <class S> int TStringInt<S>::Replace(char from, char to) {
    int replaced = 0;
    for (char *p = S::GetData(); *p != '\0'; ++p) {
        if (*p == from) {
            *p = to;
            ++replaced;
        }
    }
    return replaced;
}

template <class S> int TStringInt<S>::Replace(const char *from, const char *to) {
    const int fromLength = Length(from);
    if (fromLength == 0)
        return 0;
    // Knuth-Morris-Pratt failure table: the length of the longest proper border of each
    // prefix of `from`.
    TWorkBuffer<256 * sizeof(int32_t), 256 * sizeof(int32_t)> tableBuffer;
    if (!tableBuffer.Fill('\0', static_cast<size_t>(fromLength) * sizeof(int32_t)))
        return 0;
    int32_t *failure = reinterpret_cast<int32_t *>(tableBuffer.Data());
    failure[0] = 0;
    for (int i = 1, k = 0; i < fromLength; ++i) {
        while (k > 0 && from[i] != from[k])
            k = failure[k - 1];
        if (from[i] == from[k])
            ++k;
        failure[i] = k;
    }

    const char *text = GetData();
    const int length = GetLength();
    const size_t toLength = static_cast<size_t>(Length(to));
    TWorkBuffer<8192, 8192> result;
    int replaced = 0;
    int copied = 0;
    for (int i = 0, matched = 0; i < length; ++i) {
        while (matched > 0 && text[i] != from[matched])
            matched = failure[matched - 1];
        if (text[i] == from[matched])
            ++matched;
        if (matched == fromLength) {
            const int matchStart = i - fromLength + 1;
            if (!result.Put(text + copied, static_cast<size_t>(matchStart - copied)) ||
                !result.Put(to, toLength))
                return 0;
            copied = i + 1;
            ++replaced;
            // Matches do not overlap: the next one starts behind this one.
            matched = 0;
        }
    }
    if (replaced == 0)
        return 0;
    if (!result.Put(text + copied, static_cast<size_t>(length - copied)))
        return 0;
    Assign(result.Data(), result.Length());
    return replaced;
}

// ---------------------------------------------------------------------------------------------
// Comparing

template <class S> int TStringInt<S>::Compare(const char *text, bool caseSensitive) const {
    return Compare(text, caseSensitive, -1);
}

template <class S>
int TStringInt<S>::Compare(const char *text, bool caseSensitive, int count) const {
    if (text == nullptr)
        text = "";
    const size_t limit = count < 0 ? static_cast<size_t>(-1) : static_cast<size_t>(count);
    return caseSensitive ? vlib::detail::CompareBytes(GetData(), text, limit)
                         : vlib::detail::AsciiCompareNoCase(GetData(), text, limit);
}

template <class S> bool TStringInt<S>::operator==(const char *text) const {
    return text != nullptr && std::strcmp(GetData(), text) == 0;
}

template <class S> bool TStringInt<S>::operator==(const TStringInt &other) const {
    return std::strcmp(GetData(), other.GetData()) == 0;
}

// ---------------------------------------------------------------------------------------------
// Numbers

template <class S> int TStringInt<S>::GetInteger() const {
    return vlib::TextToInt(GetData());
}

template <class S> unsigned long TStringInt<S>::GetUnsignedInteger() const {
    return vlib::TextToUnsigned(GetData(), nullptr, 10);
}

template <class S> float TStringInt<S>::GetFloat() const {
    return static_cast<float>(vlib::TextToDouble(GetData()));
}

template <class S> bool TStringInt<S>::IsInteger() const {
    const char *p = GetData();
    while (IsBlankOrTab(*p))
        ++p;
    if (*p == '+' || *p == '-')
        ++p;
    if (!vlib::detail::IsAsciiDigit(static_cast<unsigned char>(*p)))
        return false;
    while (vlib::detail::IsAsciiDigit(static_cast<unsigned char>(*p)))
        ++p;
    while (IsBlankOrTab(*p))
        ++p;
    return *p == '\0';
}

template <class S> bool TStringInt<S>::IsFloat() const {
    const char *p = GetData();
    int digits = 0;
    while (IsBlankOrTab(*p))
        ++p;
    if (*p == '+' || *p == '-')
        ++p;
    while (vlib::detail::IsAsciiDigit(static_cast<unsigned char>(*p)))
        ++p, ++digits;
    if (*p == '.') {
        ++p;
        while (vlib::detail::IsAsciiDigit(static_cast<unsigned char>(*p)))
            ++p, ++digits;
        // Blanks may follow only a number that has a point.
        while (IsBlankOrTab(*p))
            ++p;
    }
    return *p == '\0' && digits > 0;
}

template <class S> bool TStringInt<S>::IsAlpha(int pos) const {
    return vlib::detail::IsAsciiAlpha(static_cast<unsigned char>(GetData()[pos]));
}

template <class S> bool TStringInt<S>::IsNumeric(int pos) const {
    return vlib::detail::IsAsciiDigit(static_cast<unsigned char>(GetData()[pos]));
}

template <class S> bool TStringInt<S>::IsAlphaNumeric(int pos) const {
    return IsAlpha(pos) || IsNumeric(pos);
}

namespace {

/// Where the number that ReadNextNumber looks for begins and ends: the first byte from
/// `start` in `firstBytes`, and the nearest blank, tab or comma behind it (or the end).
bool LocateNumber(const char *text, int length, int start, const char *firstBytes, int *first,
                  int *end) {
    if (start < 0 || start > length)
        return false;
    const char *begin = std::strpbrk(text + start, firstBytes);
    if (begin == nullptr)
        return false;
    *first = static_cast<int>(begin - text);
    *end = *first + static_cast<int>(std::strcspn(begin, " \t,"));
    return true;
}

constexpr const char *kDecimalFirstBytes = "0123456789-";
constexpr const char *kHexFirstBytes = "0123456789abcdefABCDEF-";

} // namespace

template <class S> bool TStringInt<S>::ReadNextNumber(int *value, int *next, int start) const {
    int first = 0;
    int end = 0;
    if (!LocateNumber(GetData(), GetLength(), start, kDecimalFirstBytes, &first, &end))
        return false;
    if (value != nullptr)
        *value = vlib::TextToInt(GetData() + first);
    if (next != nullptr)
        *next = end;
    return true;
}

template <class S>
bool TStringInt<S>::ReadNextNumber(unsigned long *value, int *next, int start) const {
    int first = 0;
    int end = 0;
    if (!LocateNumber(GetData(), GetLength(), start, kDecimalFirstBytes, &first, &end))
        return false;
    // Read by atoi, as the signed form, and kept to 32 bits.
    if (value != nullptr)
        *value = static_cast<uint32_t>(vlib::TextToInt(GetData() + first));
    if (next != nullptr)
        *next = end;
    return true;
}

template <class S> bool TStringInt<S>::ReadNextNumber(float *value, int *next, int start) const {
    int first = 0;
    int end = 0;
    if (!LocateNumber(GetData(), GetLength(), start, kDecimalFirstBytes, &first, &end)) {
        if (next != nullptr)
            *next = start;
        return false;
    }
    if (value != nullptr)
        *value = static_cast<float>(vlib::TextToDouble(GetData() + first));
    if (next != nullptr)
        *next = end;
    return true;
}

template <class S>
bool TStringInt<S>::ReadNextHexNumber(unsigned long *value, int *next, int start) const {
    int first = 0;
    int end = 0;
    if (!LocateNumber(GetData(), GetLength(), start, kHexFirstBytes, &first, &end))
        return false;
    // "%x" stores nothing when no hexadecimal digit follows (a lone '-').
    const char *digitsEnd = nullptr;
    const uint32_t parsed = vlib::TextToUnsigned(GetData() + first, &digitsEnd, 16);
    if (value != nullptr && digitsEnd != GetData() + first)
        *value = parsed;
    if (next != nullptr)
        *next = end;
    return true;
}

template <class S> bool TStringInt<S>::ReadCSV(TStringInt *out, int index, char startAfter) const {
    const char *p = GetData();
    if (startAfter != '\0') {
        p = std::strchr(p, startAfter);
        if (p == nullptr)
            return false;
        ++p;
    }
    bool inDouble = false;
    bool inSingle = false;
    // Advances over one byte, following the quote states; true at a field-ending comma.
    auto step = [&](char c) {
        if (c == '"' && !inSingle)
            inDouble = !inDouble;
        else if (c == '\'' && !inDouble)
            inSingle = !inSingle;
        else if (c == ',' && !inDouble && !inSingle)
            return true;
        return false;
    };
    for (int skipped = 0; skipped < index; ++p) {
        if (*p == '\0')
            return false;
        if (step(*p))
            ++skipped;
    }
    const char *fieldStart = p;
    while (*p != '\0' && !step(*p))
        ++p;
    if (out != nullptr)
        *out = TStringInt(fieldStart, static_cast<unsigned>(p - fieldStart));
    return true;
}

// ---------------------------------------------------------------------------------------------
// Formatting

template <class S> TStringInt<S> &TStringInt<S>::SetFormatted(const char *format, va_list args) {
    char text[16384];
    if (format == nullptr)
        format = "";
    std::vsnprintf(text, sizeof text, format, args);
    S::CopyDataToBuffer(text, -1);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::SPrintf(const char *format, ...) {
    va_list args;
    va_start(args, format);
    SetFormatted(format, args);
    va_end(args);
    return *this;
}

template <class S> TStringInt<S> &TStringInt<S>::CreateFormattedString(const char *format, ...) {
    va_list args;
    va_start(args, format);
    SetFormatted(format, args);
    va_end(args);
    return *this;
}

// ---------------------------------------------------------------------------------------------
// Instantiations

template class TStaticStringAllocationStrategy<16>;
template class TStaticStringAllocationStrategy<32>;
template class TStaticStringAllocationStrategy<64>;
template class TStaticStringAllocationStrategy<128>;
template class TStaticStringAllocationStrategy<256>;
template class TStaticStringAllocationStrategy<512>;
template class TStaticStringAllocationStrategy<1024>;
template class TStaticStringAllocationStrategy<2048>;
template class TStaticStringAllocationStrategy<4096>;
template class TStringInt<TDynamicStringAllocationStrategy>;
template class TStringInt<TStaticStringAllocationStrategy<16>>;
template class TStringInt<TStaticStringAllocationStrategy<32>>;
template class TStringInt<TStaticStringAllocationStrategy<64>>;
template class TStringInt<TStaticStringAllocationStrategy<128>>;
template class TStringInt<TStaticStringAllocationStrategy<256>>;
template class TStringInt<TStaticStringAllocationStrategy<512>>;
template class TStringInt<TStaticStringAllocationStrategy<1024>>;
template class TStringInt<TStaticStringAllocationStrategy<2048>>;
template class TStringInt<TStaticStringAllocationStrategy<4096>>;
