// The text filters. The input filter reads one character at a time from its lower file
// (the lower file's buffer makes that affordable) and keeps at most one character pending;
// the output filter formats into stack buffers and handles line ends on the way out.
#include "General/Streams/AsciiFilter.h"

#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "General/Core/NumberText.h"
#include "General/Maths/Matrix.h"
#include "General/Maths/Quaternion.h"
#include "General/Maths/Vector.h"
#include "General/Platform/Time.h"
#include "General/Streams/Detail/FileWindow.h"

namespace {

constexpr const char *kIntSet = "-0123456789";
constexpr const char *kUnsignedSet = "0123456789";
constexpr const char *kFloatSet = "-+.eE0123456789";
constexpr const char *kHexSet = "-0123456789aAbBcCdDeEfF";
constexpr int kStringBuffer = 256;
constexpr int kSeekLineBuffer = 256;
constexpr int kMaxSeekStrings = 32;
constexpr int kPrintfBuffer = 512;

bool IsLineEnd(char c) {
    return c == '\n' || c == '\r';
}

int CountLineFeeds(const void *buffer, int size) {
    const auto *bytes = static_cast<const unsigned char *>(buffer);
    int count = 0;
    for (int i = 0; i < size; ++i)
        count += bytes[i] == '\n';
    return count;
}

uint32_t ParseHexWord(const char *token, bool *ok) {
    const char *end = token;
    const uint32_t value = vlib::TextToUnsigned(token, &end, 16);
    *ok = end != token;
    return value;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// TAsciiInFilter

/// A set of characters as a table of 256 flags; the terminating zero is never a member.
struct TAsciiInFilter::TCharSet {
    bool has[256] = {};
    constexpr explicit TCharSet(const char *set) {
        for (; set != nullptr && *set != '\0'; ++set)
            has[static_cast<unsigned char>(*set)] = true;
    }
    bool Has(char c) const { return has[static_cast<unsigned char>(c)]; }
};

static constexpr const char *kWhiteSpace = " \t\n\r";

bool TAsciiInFilter::Open(TFileObj *file) {
    if (!ReadFilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | FlagReadable);
    m_Pending = false;
    m_Current = 0;
    m_LineNumber = 1;
    m_Dry = false;
    m_LowerKind = static_cast<uint8_t>(vlib::detail::TFileWindow::Classify(file));
    m_WindowStart = m_WindowNext = m_WindowEnd = nullptr;
    return true;
}

void TAsciiInFilter::OpenWindowSlow() {
    if (m_Lower == nullptr)
        return;
    vlib::detail::TFileWindow::Get(m_Lower, static_cast<vlib::detail::TWindowKind>(m_LowerKind),
                                   m_WindowStart, m_WindowEnd);
    m_WindowNext = m_WindowStart;
}

void TAsciiInFilter::CloseWindow() {
    if (m_WindowNext != m_WindowStart)
        vlib::detail::TFileWindow::Advance(m_Lower,
                                           static_cast<vlib::detail::TWindowKind>(m_LowerKind),
                                           static_cast<int>(m_WindowNext - m_WindowStart));
    m_WindowStart = m_WindowNext = m_WindowEnd = nullptr;
}

int TAsciiInFilter::LowLevelRead(void *buffer, int size) {
    CloseWindow();
    if (m_Lower == nullptr)
        return 0;
    const int got = m_Lower->Read(buffer, size);
    if (got > 0)
        m_LineNumber += CountLineFeeds(buffer, got);
    else if (size > 0)
        m_Dry = true;
    TakeBadFromLower();
    return got;
}

bool TAsciiInFilter::ReadCurrentSlow() {
    char c;
    const bool got = LowLevelRead(&c, 1) == 1;
    if (got)
        m_Current = c;
    OpenWindow();
    return got;
}

// Reached when the window is empty: a window never holds the last byte of the file.
bool TAsciiInFilter::AtEndSlow() {
    CloseWindow();
    return m_Dry || m_Lower == nullptr || m_Lower->AtEOF();
}

int TAsciiInFilter::Read(void *buffer, int size) {
    if (size < 1)
        return 0;
    if (!m_Pending)
        return LowLevelRead(buffer, size);
    auto *out = static_cast<char *>(buffer);
    out[0] = m_Current;
    m_Pending = false;
    if (size == 1)
        return 1;
    const int got = LowLevelRead(out + 1, size - 1);
    return (got > 0 ? got : 0) + 1;
}

bool TAsciiInFilter::Write(const void *buffer, int size) {
    (void)buffer;
    (void)size;
    return false;
}

bool TAsciiInFilter::Seek(int offset, TSeekMode mode) {
    m_Dry = false;
    return TFilter::Seek(offset, mode);
}

TDynamicString &TAsciiInFilter::GetFileName() {
    m_Name = m_Lower != nullptr ? m_Lower->GetFileName().GetData() : "";
    return m_Name;
}

char TAsciiInFilter::SetAppendChar(char c) {
    const char old = m_AppendChar;
    m_AppendChar = c;
    return old;
}

bool TAsciiInFilter::CharInSet(char c, const char *set) {
    return c != '\0' && std::strchr(set, c) != nullptr;
}

void TAsciiInFilter::EatAllIn(const TCharSet &set) {
    if (m_Pending && !set.Has(m_Current))
        return;
    m_Pending = true;
    for (;;) {
        // Straight from the window while it lasts; each character is taken as Read(1) would
        // take it. Locals keep the loop in registers.
        const char *p = m_WindowNext;
        const char *const end = m_WindowEnd;
        int lines = 0;
        while (p < end) {
            const char c = *p++;
            lines += c == '\n';
            if (!set.Has(c)) {
                m_WindowNext = p;
                m_LineNumber += lines;
                m_Current = c;
                return;
            }
        }
        if (p != m_WindowNext) {
            m_Current = p[-1];
            m_WindowNext = p;
            m_LineNumber += lines;
        }
        if (AtEnd() || !ReadCurrentSlow() || !set.Has(m_Current))
            return;
    }
}

void TAsciiInFilter::EatAll(const char *set) {
    OpenWindow();
    EatAllIn(TCharSet(set));
    CloseWindow();
}

void TAsciiInFilter::EatWhite() {
    static constexpr TCharSet kWhite(kWhiteSpace);
    OpenWindow();
    EatAllIn(kWhite);
    CloseWindow();
}

int TAsciiInFilter::ExtractInSet(char *buffer, const TCharSet &set) {
    static constexpr TCharSet kWhite(kWhiteSpace);
    OpenWindow();
    EatAllIn(kWhite);
    int count = 0;
    buffer[count++] = m_Current; // the first character of a token is taken untested
    // Line feeds inside a token are counted only if the set holds one; the stopping
    // character is counted on the way out.
    const int lineFeedInSet = set.Has('\n') ? 1 : 0;
    for (;;) {
        const char *p = m_WindowNext;
        const char *const end = m_WindowEnd;
        int lines = 0;
        bool stopped = false;
        while (p < end) {
            const char c = *p++;
            if (!set.Has(c)) {
                lines += c == '\n';
                stopped = true;
                break;
            }
            lines += lineFeedInSet & (c == '\n');
            if (count < kTokenSize - 1)
                buffer[count++] = c; // a longer token is read to its end and cut
        }
        if (p != m_WindowNext) {
            m_Current = p[-1];
            m_WindowNext = p;
            m_LineNumber += lines;
        }
        if (stopped || AtEnd() || !ReadCurrentSlow() || !set.Has(m_Current))
            break;
        if (count < kTokenSize - 1)
            buffer[count++] = m_Current;
    }
    buffer[count] = '\0';
    CloseWindow();
    return count;
}

int TAsciiInFilter::DoReadIn(char *buffer, int size, const TCharSet &stopSet, bool *truncated) {
    if (size < 1)
        return 0;
    if (AtEnd()) {
        if (truncated != nullptr)
            *truncated = false;
        if (m_Pending && size > 1) {
            buffer[0] = m_Current;
            buffer[1] = '\0';
            m_Pending = false;
            return 1;
        }
        m_Pending = false;
        buffer[0] = '\0';
        return 0;
    }
    OpenWindow();
    if (!m_Pending) {
        m_Pending = true;
        if (!ReadCurrent()) {
            m_Pending = false;
            if (truncated != nullptr)
                *truncated = false;
            buffer[0] = '\0';
            CloseWindow();
            return 0;
        }
    }
    int count = 0;
    while (count < size - 1) {
        if (stopSet.Has(m_Current))
            break;
        buffer[count++] = m_Current;
        if (AtEnd() || !ReadCurrent())
            break;
    }
    if (truncated != nullptr)
        *truncated = count == size - 1 && !stopSet.Has(m_Current);
    m_Pending = false;
    buffer[count] = '\0';
    CloseWindow();
    return count;
}

int TAsciiInFilter::DoRead(char *buffer, int size, const char *stopSet, bool *truncated) {
    return DoReadIn(buffer, size, TCharSet(stopSet), truncated);
}

int TAsciiInFilter::GetLine(char *buffer, int size, char delimiter, bool *truncated) {
    const char stopSet[2] = {delimiter, '\0'};
    int count = DoReadIn(buffer, size, TCharSet(stopSet), truncated);
    if (IsLineEnd(delimiter) && count > 0 && IsLineEnd(buffer[count - 1]))
        buffer[--count] = '\0';
    return count;
}

int TAsciiInFilter::ReadChars(char *buffer, int size, bool *truncated) {
    static constexpr TCharSet kWhite(kWhiteSpace);
    EatWhite();
    return DoReadIn(buffer, size, kWhite, truncated);
}

TAsciiInFilter &TAsciiInFilter::ReadCharsInl(char *buffer, int size) {
    ReadChars(buffer, size, nullptr);
    return *this;
}

void TAsciiInFilter::ReadHexInt(int &value) {
    static constexpr TCharSet kHex(kHexSet);
    char token[kTokenSize];
    ExtractInSet(token, kHex);
    bool ok;
    const uint32_t parsed = ParseHexWord(token, &ok);
    if (ok)
        value = static_cast<int>(parsed);
}

int TAsciiInFilter::SeekLines(char *lineBuffer, int count, const char *const *strings,
                              bool anywhere) {
    if (count > kMaxSeekStrings)
        count = kMaxSeekStrings;
    auto matches = [&]() {
        for (int i = 0; i < count; ++i) {
            const char *s = strings[i];
            if (s == nullptr)
                continue;
            if (anywhere ? std::strstr(lineBuffer, s) != nullptr
                         : std::strncmp(lineBuffer, s, std::strlen(s)) == 0)
                return i;
        }
        return -1;
    };
    while (!AtEnd()) {
        if (anywhere) {
            const int found = matches();
            if (found >= 0)
                return found;
        }
        GetLine(lineBuffer, kSeekLineBuffer, '\n', nullptr);
        if (!anywhere) {
            const int found = matches();
            if (found >= 0)
                return found;
        }
    }
    return -1;
}

int TAsciiInFilter::SeekString(char *lineBuffer, int count, ...) {
    const char *strings[kMaxSeekStrings] = {};
    va_list args;
    va_start(args, count);
    for (int i = 0; i < count && i < kMaxSeekStrings; ++i)
        strings[i] = va_arg(args, const char *);
    va_end(args);
    return SeekLines(lineBuffer, count, strings, false);
}

int TAsciiInFilter::SeekStringLine(char *lineBuffer, int count, ...) {
    const char *strings[kMaxSeekStrings] = {};
    va_list args;
    va_start(args, count);
    for (int i = 0; i < count && i < kMaxSeekStrings; ++i)
        strings[i] = va_arg(args, const char *);
    va_end(args);
    return SeekLines(lineBuffer, count, strings, true);
}

int TAsciiInFilter::ReadIntToken() {
    static constexpr TCharSet kInt(kIntSet);
    char token[kTokenSize];
    ExtractInSet(token, kInt);
    return vlib::TextToInt(token);
}

double TAsciiInFilter::ReadFloatToken() {
    static constexpr TCharSet kFloat(kFloatSet);
    char token[kTokenSize];
    const int length = ExtractInSet(token, kFloat);
    // The plain decimal forms (no sign '+', no blanks) take the correctly rounded fast path,
    // which gives strtod's value; everything else, and values out of range, go to atof.
    const char first = token[0];
    if (first == '-' || first == '.' || (first >= '0' && first <= '9')) {
        double value = 0.0;
        const auto r = std::from_chars(token, token + length, value);
        if (r.ec == std::errc())
            return value;
    }
    return vlib::TextToDouble(token);
}

TIOTypedInput &TAsciiInFilter::operator>>(int &value) {
    value = ReadIntToken();
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(unsigned int &value) {
    static constexpr TCharSet kUnsigned(kUnsignedSet);
    char token[kTokenSize];
    ExtractInSet(token, kUnsigned);
    value = static_cast<unsigned int>(vlib::TextToInt(token));
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(long &value) {
    value = ReadIntToken();
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(unsigned long &value) {
    value = static_cast<uint32_t>(ReadIntToken());
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(short &value) {
    value = static_cast<short>(ReadIntToken());
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(unsigned short &value) {
    value = static_cast<unsigned short>(ReadIntToken());
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(__int64 &value) {
    value = ReadIntToken();
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(VUInt64 &value) {
    value = static_cast<VUInt64>(static_cast<__int64>(ReadIntToken()));
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(bool &value) {
    value = ReadIntToken() == 1;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(char &value) {
    signed char c;
    if (Read(&c, 1) == 1)
        value = static_cast<char>(c);
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(signed char &value) {
    signed char c;
    if (Read(&c, 1) == 1)
        value = c;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(unsigned char &value) {
    unsigned char c;
    if (Read(&c, 1) == 1)
        value = c;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(double &value) {
    value = ReadFloatToken();
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(float &value) {
    value = static_cast<float>(ReadFloatToken());
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TDynamicString &value) {
    char text[kStringBuffer];
    const char stopSet[2] = {m_AppendChar, '\0'};
    EatWhite();
    int count = DoReadIn(text, kStringBuffer, TCharSet(stopSet), nullptr);
    if (IsLineEnd(m_AppendChar) && count > 0 && IsLineEnd(text[count - 1]))
        text[--count] = '\0';
    value = text;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TTime &value) {
    value.SetValue(ReadIntToken());
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TVector2 &value) {
    *this >> value.x >> value.y;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TVector3 &value) {
    *this >> value.x >> value.y >> value.z;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TVector4 &value) {
    *this >> value.x >> value.y >> value.z >> value.w;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TQuaternion &value) {
    *this >> value.w >> value.x >> value.y >> value.z;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TMatrix2 &value) {
    for (auto &row : value.m)
        for (float &f : row)
            *this >> f;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TMatrix3 &value) {
    for (auto &row : value.m)
        for (float &f : row)
            *this >> f;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TMatrix4 &value) {
    for (auto &row : value.m)
        for (float &f : row)
            *this >> f;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TMatrix43 &value) {
    for (auto &row : value.m)
        for (float &f : row)
            *this >> f;
    return *this;
}

TIOTypedInput &TAsciiInFilter::operator>>(TIOBinaryBlock &value) {
    int format = 0;
    unsigned long size = 0;
    *this >> format >> size;
    const uint32_t total = static_cast<uint32_t>(size);
    // The block grows as groups arrive, so a size that the text cannot back costs no more
    // memory than the text itself. Input that ends early fails with Bad set and no block.
    auto &heap = GetAllocatorInstance();
    uint32_t capacity = total < 65536 ? total : 65536;
    unsigned char *data = heap.Alloc(capacity);
    uint32_t filled = 0;
    bool ok = data != nullptr;
    while (ok && filled < total) {
        if (AtEnd()) {
            ok = false;
            break;
        }
        static constexpr TCharSet kHex(kHexSet);
        char token[kTokenSize];
        ExtractInSet(token, kHex);
        bool parsed;
        const uint32_t word = ParseHexWord(token, &parsed);
        const uint32_t take = total - filled < 4 ? total - filled : 4;
        if (filled + take > capacity) {
            const uint32_t grown = capacity > total / 2 ? total : capacity * 2;
            unsigned char *bigger = heap.Alloc(grown);
            if (bigger == nullptr) {
                ok = false;
                break;
            }
            std::memcpy(bigger, data, filled);
            heap.Unalloc(data);
            data = bigger;
            capacity = grown;
        }
        for (uint32_t i = 0; i < take; ++i)
            data[filled + i] = static_cast<unsigned char>(word >> (24 - 8 * i));
        filled += take;
    }
    if (!ok) {
        heap.Unalloc(data);
        value.data = nullptr;
        value.size = 0;
        MarkBad();
        return *this;
    }
    value.data = data;
    value.size = total;
    return *this;
}

// ---------------------------------------------------------------------------------------------
// TAsciiOutFilter

const char *const TAsciiOutFilter::ms_pszDelimEmpty = "";
const char *const TAsciiOutFilter::ms_pszDelimComma = ",";

bool TAsciiOutFilter::Open(TFileObj *file) {
    if (!WriteFilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | FlagWriteable);
    m_LastChar = 0;
    return true;
}

int TAsciiOutFilter::Read(void *buffer, int size) {
    (void)buffer;
    (void)size;
    return 0;
}

bool TAsciiOutFilter::Write(const void *buffer, int size) {
    return Write_WithLocalProcessing(buffer, size);
}

void TAsciiOutFilter::SetLinePrefix(const char *prefix) {
    m_LinePrefix = prefix;
}

char TAsciiOutFilter::SetAppendChar(char c) {
    const char old = m_AppendChar;
    m_AppendChar = c;
    return old;
}

bool TAsciiOutFilter::WriteLower(const void *buffer, int size) {
    if (m_Lower == nullptr || IsBad()) {
        SetBad();
        return false;
    }
    if (!m_Lower->Write(buffer, size)) {
        MarkBad();
        return false;
    }
    return true;
}

bool TAsciiOutFilter::Write_WithLocalProcessing(const void *buffer, int size) {
    if (size < 1)
        return true;
    const char *bytes = static_cast<const char *>(buffer);
    const int prefixLength = m_LinePrefix.GetLength();
    if (!m_WindowsLineEndings && prefixLength == 0) {
        const bool ok = WriteLower(bytes, size);
        m_LastChar = bytes[size - 1];
        return ok;
    }
    bool ok = true;
    const char *rest = bytes;
    const char *const end = bytes + size;
    for (;;) {
        // The first line feed that does not follow a carriage return; the byte before the
        // buffer is the last char written.
        const char *lf = nullptr;
        char previous = m_LastChar;
        for (const char *p = rest; p < end; previous = *p++) {
            if (*p == '\n' && previous != '\r') {
                lf = p;
                break;
            }
        }
        if (lf == nullptr) {
            ok = WriteLower(rest, static_cast<int>(end - rest)) && ok;
            m_LastChar = bytes[size - 1];
            return ok;
        }
        if (lf > rest)
            ok = WriteLower(rest, static_cast<int>(lf - rest)) && ok;
        ok = WriteLower("\r\n", 2) && ok;
        if (prefixLength != 0) {
            ok = WriteLower(m_LinePrefix.GetData(), prefixLength) && ok;
            m_LastChar = m_LinePrefix.GetData()[prefixLength - 1];
        } else {
            m_LastChar = '\n';
        }
        rest = lf + 1;
        if (rest == end) {
            m_LastChar = '\n';
            return ok;
        }
    }
}

void TAsciiOutFilter::WriteValue(const char *text, int length) {
    const bool append = m_AppendChar != static_cast<char>(-1);
    if (!append) {
        if (length > 0)
            Write_WithLocalProcessing(text, length);
        return;
    }
    char buffer[kPrintfBuffer];
    if (length >= kPrintfBuffer) { // a long string goes out in two writes, with the same bytes
        Write_WithLocalProcessing(text, length);
        Write_WithLocalProcessing(&m_AppendChar, 1);
        return;
    }
    if (length > 0)
        std::memcpy(buffer, text, static_cast<size_t>(length));
    buffer[length] = m_AppendChar;
    Write_WithLocalProcessing(buffer, length + 1);
}

void TAsciiOutFilter::WriteFloats(const float *values, int count) {
    char text[16 * (vlib::kFloatTextSize + 8)];
    int length = 0;
    const int delimiterLength = static_cast<int>(std::strlen(m_Delimiter));
    for (int i = 0; i < count; ++i) {
        if (i > 0 && length + delimiterLength < static_cast<int>(sizeof text)) {
            std::memcpy(text + length, m_Delimiter, static_cast<size_t>(delimiterLength));
            length += delimiterLength;
        }
        const int room = static_cast<int>(sizeof text) - length;
        const int n = vlib::FormatFloat(text + length, static_cast<size_t>(room), values[i], 'f');
        length += n < room ? n : room - 1;
    }
    WriteValue(text, length);
}

void TAsciiOutFilter::WriteHexInt(int value) {
    char text[16];
    const auto r = std::to_chars(text, text + sizeof text, static_cast<uint32_t>(value), 16);
    Write_WithLocalProcessing(text, static_cast<int>(r.ptr - text));
}

TAsciiOutFilter &TAsciiOutFilter::SPrintf(const char *format, ...) {
    char text[kPrintfBuffer];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    *this << static_cast<const char *>(text);
    return *this;
}

void TAsciiOutFilter::WriteString(TDynamicString &text) {
    if (m_AppendChar != static_cast<char>(-1))
        text.Append(m_AppendChar);
    if (text.GetLength() > 0)
        Write_WithLocalProcessing(text.GetData(), text.GetLength());
}

namespace {

template <class T> int FormatInteger(char (&text)[24], T value) {
    return static_cast<int>(std::to_chars(text, text + sizeof text, value).ptr - text);
}

} // namespace

TIOTypedOutput &TAsciiOutFilter::operator<<(int value) {
    char text[24];
    WriteValue(text, FormatInteger(text, value));
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(unsigned int value) {
    char text[24];
    WriteValue(text, FormatInteger(text, value));
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(short value) {
    return *this << int(value);
}

TIOTypedOutput &TAsciiOutFilter::operator<<(unsigned short value) {
    return *this << static_cast<unsigned int>(value);
}

// `long` is 32 bits in every stream, whatever its width in memory.
TIOTypedOutput &TAsciiOutFilter::operator<<(long value) {
    return *this << static_cast<int>(static_cast<int32_t>(value));
}

TIOTypedOutput &TAsciiOutFilter::operator<<(unsigned long value) {
    return *this << static_cast<unsigned int>(static_cast<uint32_t>(value));
}

// 64-bit values are written as their low 32 bits, as the text form always was.
TIOTypedOutput &TAsciiOutFilter::operator<<(__int64 value) {
    return *this << static_cast<int>(static_cast<int32_t>(static_cast<uint32_t>(value)));
}

TIOTypedOutput &TAsciiOutFilter::operator<<(VUInt64 value) {
    return *this << static_cast<unsigned int>(static_cast<uint32_t>(value));
}

TIOTypedOutput &TAsciiOutFilter::operator<<(bool value) {
    const char text = value ? '1' : '0';
    WriteValue(&text, 1);
    return *this;
}

// "%c": a zero byte ends the text at once, so only the append char (if any) goes out.
TIOTypedOutput &TAsciiOutFilter::operator<<(char value) {
    WriteValue(&value, value != '\0' ? 1 : 0);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(signed char value) {
    return *this << static_cast<char>(value);
}

TIOTypedOutput &TAsciiOutFilter::operator<<(unsigned char value) {
    return *this << static_cast<char>(value);
}

TIOTypedOutput &TAsciiOutFilter::operator<<(double value) {
    char text[vlib::kFloatTextSize];
    const int n = vlib::FormatFloat(text, sizeof text, value, 'g');
    WriteValue(text, n < int(sizeof text) ? n : int(sizeof text) - 1);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(float value) {
    char text[vlib::kFloatTextSize];
    const int n = vlib::FormatFloat(text, sizeof text, value, 'f');
    WriteValue(text, n < int(sizeof text) ? n : int(sizeof text) - 1);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const char *value) {
    const char *text = value != nullptr ? value : "";
    WriteValue(text, static_cast<int>(std::strlen(text)));
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TDynamicString &value) {
    WriteValue(value.GetData(), value.GetLength());
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(TTime value) {
    return *this << static_cast<__int64>(value.GetValue());
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TVector2 &value) {
    const float f[2] = {value.x, value.y};
    WriteFloats(f, 2);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TVector3 &value) {
    const float f[3] = {value.x, value.y, value.z};
    WriteFloats(f, 3);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TVector4 &value) {
    const float f[4] = {value.x, value.y, value.z, value.w};
    WriteFloats(f, 4);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TQuaternion &value) {
    const float f[4] = {value.w, value.x, value.y, value.z};
    WriteFloats(f, 4);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TMatrix2 &value) {
    WriteFloats(&value.m[0][0], 4);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TMatrix3 &value) {
    WriteFloats(&value.m[0][0], 9);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TMatrix4 &value) {
    WriteFloats(&value.m[0][0], 16);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TMatrix43 &value) {
    WriteFloats(&value.m[0][0], 12);
    return *this;
}

TIOTypedOutput &TAsciiOutFilter::operator<<(const TIOBinaryBlock &value) {
    char tabs[64];
    const int indent = value.indent < 0 ? 0 : (value.indent > 63 ? 63 : value.indent);
    std::memset(tabs, '\t', static_cast<size_t>(indent));
    char text[24];
    Write_WithLocalProcessing(tabs, indent);
    Write_WithLocalProcessing(text, FormatInteger(text, static_cast<int>(m_BinaryBlockFormat)));
    Write_WithLocalProcessing("\r\n", 2);
    Write_WithLocalProcessing(tabs, indent);
    Write_WithLocalProcessing(text, FormatInteger(text, value.size));
    Write_WithLocalProcessing("\r\n", 2);
    Write_WithLocalProcessing(tabs, indent);
    static const char kDigits[] = "0123456789abcdef";
    // Groups of four bytes: a blank between groups, a line end behind every sixteenth byte.
    const uint32_t size = value.data != nullptr ? value.size : 0;
    char line[64 + 64];
    int length = 0;
    for (uint32_t at = 0; at < size; at += 4) {
        const uint32_t group = size - at < 4 ? size - at : 4;
        for (uint32_t i = 0; i < group; ++i) {
            const unsigned char b = value.data[at + i];
            line[length++] = kDigits[b >> 4];
            line[length++] = kDigits[b & 15];
        }
        if (group < 4) {
            for (uint32_t i = group; i < 4; ++i) {
                line[length++] = '0';
                line[length++] = '0';
            }
            break;
        }
        const uint32_t behind = at + 4;
        if (behind % 16 == 0) {
            line[length++] = '\r';
            line[length++] = '\n';
            Write_WithLocalProcessing(line, length);
            length = 0;
            if (behind < size)
                Write_WithLocalProcessing(tabs, indent);
        } else {
            line[length++] = ' '; // also behind a last full group
        }
    }
    if (length > 0)
        Write_WithLocalProcessing(line, length);
    Write_WithLocalProcessing("\r\n", 2);
    return *this;
}

// ---------------------------------------------------------------------------------------------
// TLineFilter

bool TLineFilter::Open(TFileObj *file) {
    if (!ReadFilterOpenValid(file))
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | FlagReadable);
    m_LineNumber = 0;
    return true;
}

bool TLineFilter::Close() {
    if (!TFilter::Close())
        return false;
    m_LineNumber = 0;
    return true;
}

int TLineFilter::Read(void *buffer, int size) {
    if (size < 1)
        return 0;
    char *out = static_cast<char *>(buffer);
    int count = 0;
    while (count < size - 1) {
        char c;
        if (m_Lower == nullptr || m_Lower->Read(&c, 1) != 1) {
            TakeBadFromLower();
            out[count] = '\0';
            return count;
        }
        if (c == '\r') {
            out[count] = '\0';
            char dropped;
            (void)m_Lower->Read(&dropped, 1); // the LF of CR LF, unlooked at
            ++m_LineNumber;
            return count;
        }
        if (c == '\n') {
            out[count] = '\0';
            ++m_LineNumber;
            return count;
        }
        out[count++] = c;
    }
    out[count] = '\0';
    return size;
}

bool TLineFilter::Write(const void *buffer, int size) {
    (void)buffer;
    (void)size;
    return false;
}
