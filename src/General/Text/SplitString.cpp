// The two line cutters: the in-place split at one delimiter, and the two quoting state
// machines (CSV and command line) of the quoted split.
#include "General/Text/SplitString.h"

#include <cstring>

void TSplitString::FillBuffer(const unsigned char *text) {
    const char *source = reinterpret_cast<const char *>(text);
    const size_t length = source != nullptr ? strnlen(source, kBufferSize - 1) : 0;
    if (length != 0)
        std::memcpy(m_Buffer, source, length);
    m_Buffer[length] = '\0';
}

void TSplitString::Split(int length) {
    if (length < 0)
        length = 0;
    if (length > kBufferSize - 1) {
        // Beyond the buffer's contract: keep the last field terminated inside the block.
        length = kBufferSize - 1;
        m_Buffer[length] = '\0';
    }
    m_Offsets[0] = 0;
    int fields = 1;
    int filled = 0;
    const char delimiter = m_Delimiter;
    for (int i = 0; i < length; ++i) {
        if (m_Buffer[i] != delimiter)
            continue;
        if (m_Offsets[fields - 1] != i)
            ++filled;
        m_Buffer[i] = '\0';
        if (fields == kMaxFields) {
            // The block has room for 128 fields: the last one ends here, the rest is dropped.
            m_Offsets[fields] = i + 1;
            m_Fields = fields;
            m_Filled = filled;
            return;
        }
        m_Offsets[fields] = i + 1;
        ++fields;
    }
    if (m_Offsets[fields - 1] != length)
        ++filled;
    m_Offsets[fields] = length + 1;
    m_Fields = fields;
    m_Filled = filled;
}

TQuotedSplitString::TQuotedSplitString(TSyntax syntax, unsigned int reserveChars,
                                       unsigned int reserveFields)
    : m_Syntax(syntax) {
    m_Text.reserve(reserveChars);
    m_Offsets.reserve(reserveFields);
}

unsigned int TQuotedSplitString::GetFieldLength(unsigned int field) const {
    const size_t end = field + 1 < m_Offsets.size() ? m_Offsets[field + 1] : m_Text.size();
    return static_cast<unsigned int>(end - m_Offsets[field] - 1);
}

bool TQuotedSplitString::Split(const char *line) {
    m_Text.clear();
    m_Offsets.clear();
    m_Filled = 0;
    if (line == nullptr)
        line = "";

    // Every input byte, the terminator included, adds at most one byte to the text, and
    // every field starts at a separator or at the start; reserving both bounds up front keeps
    // the machines free of reallocation.
    const char separator = m_Syntax == Command ? ' ' : ',';
    size_t length = 0;
    size_t separators = 0;
    for (; line[length] != '\0'; ++length)
        separators += line[length] == separator;
    m_Text.reserve(length + 1);
    m_Offsets.reserve(separators + 1);

    bool ok;
    switch (m_Syntax) {
    case CSV:
        ok = SplitCSV(line);
        break;
    case Command:
        ok = SplitCommand(line);
        break;
    default:
        m_LastError.SPrintf("Code error. syntax %d not in enum.", static_cast<int>(m_Syntax));
        return false;
    }
    if (!ok) {
        // Every failing state lies inside an open field: close it, so that the fields made
        // so far stay readable as NUL-terminated texts.
        End();
        return false;
    }
    for (size_t i = 0; i < m_Offsets.size(); ++i)
        m_Filled += GetFieldLength(static_cast<unsigned int>(i)) != 0;
    return true;
}

bool TQuotedSplitString::SplitCSV(const char *line) {
    enum { FieldStart, Unquoted, Quoted, QuoteSeen } state = FieldStart;
    for (size_t i = 0;; ++i) {
        const char c = line[i];
        switch (state) {
        case FieldStart:
            Open();
            if (c == '"') {
                state = Quoted;
            } else if (c == ',') {
                End();
            } else {
                Push(c);
                if (c == '\0')
                    return true;
                state = Unquoted;
            }
            break;
        case Unquoted:
            if (c == ',') {
                End();
                state = FieldStart;
            } else {
                Push(c);
                if (c == '\0')
                    return true;
            }
            break;
        case Quoted:
            if (c == '"') {
                state = QuoteSeen;
            } else if (c == '\0') {
                m_LastError = "Unterminated quote in CSV line.";
                return false;
            } else {
                Push(c);
            }
            break;
        case QuoteSeen:
            if (c == '"') {
                Push(c);
                state = Quoted;
            } else if (c == ',') {
                End();
                state = FieldStart;
            } else if (c == '\0') {
                End();
                return true;
            } else {
                // The quote that closed the field stands one column before this byte.
                m_LastError.SPrintf("Stray quote in csv line at column %d.",
                                    static_cast<int>(i - 1));
                return false;
            }
            break;
        }
    }
}

bool TQuotedSplitString::SplitCommand(const char *line) {
    enum { Between, InField, Quoted, Escape, QuotedEscape } state = Between;
    for (size_t i = 0;; ++i) {
        const char c = line[i];
        switch (state) {
        case Between:
            if (c == ' ')
                break;
            if (c == '\0')
                return true;
            Open();
            if (c == '"') {
                state = Quoted;
            } else if (c == '\\') {
                state = Escape;
            } else {
                Push(c);
                state = InField;
            }
            break;
        case InField:
            if (c == ' ') {
                End();
                state = Between;
            } else if (c == '\0') {
                End();
                return true;
            } else if (c == '"') {
                state = Quoted;
            } else if (c == '\\') {
                state = Escape;
            } else {
                Push(c);
            }
            break;
        case Quoted:
            if (c == '"') {
                state = InField;
            } else if (c == '\\') {
                state = QuotedEscape;
            } else if (c == '\0') {
                m_LastError = "Unterminated quote";
                return false;
            } else {
                Push(c);
            }
            break;
        case Escape:
        case QuotedEscape:
            if (c == '"' || c == '\\' || (c == ' ' && state == Escape)) {
                Push(c);
                state = state == Escape ? InField : Quoted;
            } else if (c == '\0') {
                m_LastError = "Unterminated escape";
                return false;
            } else {
                m_LastError.SPrintf("Unrecognised escape character: '%c'", c);
                return false;
            }
            break;
        }
    }
}
