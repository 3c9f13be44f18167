// The XML text reader. Every routine that does not match puts the index back and returns
// false; lines are counted on every step forward and are not taken back, so after
// backtracking over line feeds the count runs ahead. The start of an element is scanned once
// and then judged both as an empty tag and as an open tag, with the line count and error
// text that two separate scans would have left.
#include "General/Text/XMLParser.h"

#include <cstring>

#include "General/Core/Detail/NoThrow.h"
#include "General/Text/StringDict.h"

namespace {

inline bool IsWhite(uint32_t c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/// Bytes that may stand in a name: all but the terminator and `<>.=*+/` and white space.
struct TNameTable {
    bool allowed[256];
    constexpr TNameTable() : allowed() {
        for (int i = 1; i < 256; ++i)
            allowed[i] = true;
        for (const char *p = "<>.=*+/ \t\n\r"; *p != '\0'; ++p)
            allowed[static_cast<unsigned char>(*p)] = false;
    }
};
constexpr TNameTable kNameTable;

inline bool IsNameChar(uint32_t c) {
    return kNameTable.allowed[c & 0xFF];
}

inline unsigned char FoldCase(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

/// Equal ignoring the case of A-Z.
bool EqualNoCase(const char *a, int aLength, const char *b, int bLength) {
    if (aLength != bLength)
        return false;
    for (int i = 0; i < aLength; ++i)
        if (FoldCase(static_cast<unsigned char>(a[i])) !=
            FoldCase(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace

TXMLParser::~TXMLParser() = default;

TXMLTag *TXMLParser::DoParse(TString &fileName, TString &text, TStringDict *dictionary,
                             int *unused) {
    TXMLParser parser;
    return parser.Parse(fileName, text, dictionary, unused);
}

TXMLTag *TXMLParser::Parse(TString &fileName, TString &text, TStringDict *dictionary, int *unused) {
    (void)unused;
    return Parse(fileName, text.GetData(), text.GetLength(), dictionary);
}

TXMLTag *TXMLParser::Parse(const TString &fileName, const char *text, int length,
                           TStringDict *dictionary) {
    m_Dictionary = dictionary;
    m_FileName = fileName;
    m_Data = text != nullptr ? text : "";
    m_Length = text != nullptr && length > 0 ? length : 0;
    m_Result = nullptr;
    m_CurrentTag = nullptr;
    m_PendingAttributes.clear();
    ResetParseIndex(0);

    const bool parsed = vlib::detail::CallNoThrow(
        [&] {
            if (m_Dictionary == nullptr)
                return false;
            for (;;) {
                ParseEatWhite();
                if (!ParseXMLHeaderTag() && !ParseXMLDocType() && !ParseXMLComment())
                    break;
            }
            return ParseXMLTagPair();
        },
        false);
    m_PendingAttributes.clear();
    m_CurrentTag = nullptr;
    if (!parsed) {
        delete m_Result; // the part built so far
        m_Result = nullptr;
        ResetParseIndex(0);
        ReportError("Error Processing XML Document");
    }
    return m_Result;
}

void TXMLParser::ReportError(const char *message) {
    m_Error.SPrintf("XML error in %s at line %d: %s\n", m_FileName.GetData(), m_Line, message);
    m_LastMessage = message;
    m_LastMessageLine = m_Line;
}

// The step forward is the parser's inner loop: the end-of-text report stays out of line.
inline bool TXMLParser::IncParse() {
    if (__builtin_expect(m_Index + 1 >= m_Length, 0)) {
        ReportEOF();
        return false;
    }
    m_Current = static_cast<unsigned char>(m_Data[++m_Index]);
    m_Line += m_Current == '\n';
    return true;
}

__attribute__((noinline)) void TXMLParser::ReportEOF() {
    ReportError("Unexpected EOF");
}

void TXMLParser::ResetParseIndex(int index) {
    m_Index = index;
    m_Current = index >= 0 && index < m_Length ? static_cast<unsigned char>(m_Data[index]) : 0;
}

bool TXMLParser::ParseEatWhite() {
    while (IsWhite(m_Current)) {
        if (m_Index + 1 >= m_Length) {
            ReportError("EOF on eating whitespace - possible incomplete file");
            return false;
        }
        m_Current = static_cast<unsigned char>(m_Data[++m_Index]);
        m_Line += m_Current == '\n';
    }
    return true;
}

bool TXMLParser::ParseXMLTagName(const char *&name, int &length) {
    const int start = m_Index;
    while (IsNameChar(m_Current))
        if (!IncParse()) {
            ResetParseIndex(start);
            return false;
        }
    length = m_Index - start;
    if (length == 0)
        return false;
    name = m_Data + start;
    return true;
}

const TXMLParser::TString *TXMLParser::Intern(const char *text, int length) {
    return m_Dictionary->Insert(text, length);
}

bool TXMLParser::ParseXMLAttr() {
    const int start = m_Index;
    const char *name;
    int nameLength;
    if (!ParseXMLTagName(name, nameLength))
        return false;
    ParseEatWhite();
    if (m_Current != '=') {
        ResetParseIndex(start); // a name without a value ends the list quietly
        return false;
    }
    if (!IncParse()) {
        ResetParseIndex(start);
        return false;
    }
    ParseEatWhite();
    if (m_Current != '"' || !IncParse()) {
        ReportError("Expected '\"'");
        ResetParseIndex(start);
        return false;
    }
    const int valueStart = m_Index;
    while (m_Current != '"')
        if (!IncParse()) {
            ReportError("Expected '\"'");
            ResetParseIndex(start);
            return false;
        }
    const int valueLength = m_Index - valueStart;
    if (!IncParse()) {
        ResetParseIndex(start);
        return false;
    }
    ParseEatWhite();
    const TString *internedName = Intern(name, nameLength);
    const TString *internedValue = Intern(m_Data + valueStart, valueLength);
    if (internedName == nullptr || internedValue == nullptr) {
        ResetParseIndex(start);
        return false;
    }
    m_PendingAttributes.push_back(TXMLAttr{internedName, internedValue});
    return true;
}

bool TXMLParser::ParseXMLTagStart(const char *&name, int &length) {
    if (m_Current != '<' || !IncParse())
        return false;
    ParseEatWhite();
    if (!ParseXMLTagName(name, length))
        return false;
    ParseEatWhite();
    while (ParseXMLAttr()) {
    }
    ParseEatWhite();
    return true;
}

bool TXMLParser::ParseXMLHeaderTag() {
    const int start = m_Index;
    const size_t pending = m_PendingAttributes.size();
    const char *name;
    int length;
    bool ok = m_Current == '<' && IncParse() && m_Current == '?' && IncParse();
    if (ok) {
        ParseEatWhite();
        ok = ParseXMLTagName(name, length);
    }
    if (ok) {
        ParseEatWhite();
        while (ParseXMLAttr()) {
        }
        ParseEatWhite();
        if (m_Current != '?') {
            ReportError("Expected '?'");
            ok = false;
        } else if (!IncParse()) {
            ok = false;
        } else if (m_Current != '>') {
            ReportError("Expected '>'");
            ok = false;
        } else {
            ok = IncParse();
        }
    }
    if (!ok) {
        m_PendingAttributes.resize(pending);
        ResetParseIndex(start);
    }
    return ok;
}

bool TXMLParser::ParseXMLDocType() {
    const int start = m_Index;
    const char *name;
    int length;
    auto fail = [&] {
        ResetParseIndex(start);
        return false;
    };
    if (m_Current != '<' || !IncParse() || !ParseXMLTagName(name, length) || length != 8 ||
        std::memcmp(name, "!DOCTYPE", 8) != 0)
        return fail();
    ParseEatWhite();
    if (!ParseXMLTagName(name, length))
        return fail();
    while (m_Current != '>') {
        ParseEatWhite();
        if (!ParseXMLTagName(name, length))
            return fail();
        if (!(length == 6 &&
              (std::memcmp(name, "SYSTEM", 6) == 0 || std::memcmp(name, "PUBLIC", 6) == 0)))
            return fail();
        ParseEatWhite();
        if (m_Current == '"') {
            do {
                if (!IncParse())
                    return fail();
            } while (m_Current != '"');
            if (!IncParse())
                return fail();
        }
    }
    if (!IncParse())
        return fail();
    return true;
}

bool TXMLParser::ParseXMLComment() {
    const int start = m_Index;
    auto fail = [&] {
        ResetParseIndex(start);
        return false;
    };
    if (m_Current != '<' || !IncParse() || m_Current != '!' || !IncParse() || m_Current != '-' ||
        !IncParse() || m_Current != '-' || !IncParse())
        return fail();
    for (;;) {
        if (m_Current != '-') {
            if (!IncParse())
                return fail();
            continue;
        }
        if (!IncParse())
            return fail();
        if (m_Current != '-')
            continue;
        if (!IncParse())
            return fail();
        if (m_Current != '>') {
            ReportError("Expected '-->'");
            return fail();
        }
        if (!IncParse())
            return fail();
        return true;
    }
}

bool TXMLParser::ParseXMLOpenTag(const char *&name, int &length) {
    const int start = m_Index;
    if (ParseXMLTagStart(name, length) && m_Current == '>' && IncParse())
        return true;
    m_PendingAttributes.clear();
    ResetParseIndex(start);
    return false;
}

bool TXMLParser::ParseXMLCloseTag(const char *&name, int &length) {
    const int start = m_Index;
    if (m_Current == '<' && IncParse() && m_Current == '/' && IncParse()) {
        ParseEatWhite();
        if (ParseXMLTagName(name, length)) {
            ParseEatWhite();
            if (m_Current == '>' && IncParse())
                return true;
        }
    }
    ResetParseIndex(start);
    return false;
}

TXMLParser::TElement TXMLParser::ParseXMLElementStart(const char *&name, int &length) {
    // A scan as the empty-tag routine makes it, then the open-tag routine's scan of the same
    // bytes: it would cross the same line feeds and report the same last error again.
    const int start = m_Index;
    const int lineBefore = m_Line;
    m_LastMessage = nullptr;
    const bool started = ParseXMLTagStart(name, length);
    const int crossed = m_Line - lineBefore;
    const char *message = m_LastMessage;
    const int messageOffset = m_LastMessageLine - lineBefore;
    auto rescan = [&] {
        m_Line += crossed;
        if (message != nullptr) {
            const int line = m_Line;
            m_Line = lineBefore + crossed + messageOffset;
            ReportError(message);
            m_Line = line;
        }
    };
    if (started && m_Current == '/') {
        const int slash = m_Index;
        if (IncParse() && m_Current == '>' && IncParse()) {
            if (MakeTag(name, length, false) == nullptr) {
                ResetParseIndex(start);
                return TElement::None;
            }
            return TElement::Empty;
        }
        ResetParseIndex(slash);
        rescan(); // the open tag stops at the same slash
    } else if (started) {
        rescan();
        if (m_Current == '>' && IncParse())
            return TElement::Open;
    } else {
        rescan();
    }
    m_PendingAttributes.clear();
    ResetParseIndex(start);
    return TElement::None;
}

TXMLTag *TXMLParser::MakeTag(const char *name, int length, bool becomesCurrent) {
    const TString *interned = Intern(name, length);
    if (interned == nullptr)
        return nullptr;
    auto *tag = new TXMLTag;
    if (tag == nullptr)
        return nullptr;
    tag->SetLineNo(m_Line);
    tag->SetName(interned);
    tag->Attributes().swap(m_PendingAttributes);
    m_PendingAttributes.clear();
    if (m_CurrentTag != nullptr) {
        tag->SetParent(m_CurrentTag);
        if (!m_CurrentTag->PushChild(tag))
            return nullptr; // out of memory: PushChild has deleted the tag
    }
    if (becomesCurrent)
        m_CurrentTag = tag;
    return tag;
}

bool TXMLParser::ParseXMLText() {
    const int start = m_Index;
    bool content = false;
    while (m_Current != '<') {
        content |= !IsWhite(m_Current);
        if (!IncParse()) {
            ResetParseIndex(start);
            return false;
        }
    }
    if (!content)
        return true;
    int first = start;
    int last = m_Index;
    if (m_StripWhitespace) {
        while (IsWhite(static_cast<unsigned char>(m_Data[first])))
            ++first;
        while (IsWhite(static_cast<unsigned char>(m_Data[last - 1])))
            --last;
    }
    auto *node = new TXMLText(TString(m_Data + first, static_cast<unsigned>(last - first)));
    if (node == nullptr)
        return false;
    node->SetLineNo(m_Line);
    node->SetParent(m_CurrentTag);
    return m_CurrentTag->PushChild(node);
}

bool TXMLParser::ParseXMLTagPair() {
    const char *name;
    int length;
    const int rootStart = m_Index;
    if (!ParseXMLOpenTag(name, length))
        return false;
    TXMLTag *root = MakeTag(name, length, true);
    if (root == nullptr)
        return false;
    if (m_Result == nullptr)
        m_Result = root;
    // The start of every open element's open tag, innermost last: the descent's stack.
    TLibVector<int> open;
    open.push_back(rootStart);
    bool afterFailedPair = false;
    while (!open.empty()) {
        bool more = true;
        if (afterFailedPair) {
            // The inner pair failed where it began; the content goes on if a comment is there.
            more = ParseXMLComment();
            afterFailedPair = false;
        }
        while (more) {
            if (m_Current != '<') {
                more = ParseXMLText();
                continue;
            }
            ParseEatWhite();
            int start = m_Index;
            const TElement element = ParseXMLElementStart(name, length);
            if (element == TElement::Empty)
                continue;
            if (element == TElement::Open) {
                if (MakeTag(name, length, true) == nullptr)
                    return false;
                open.push_back(start);
                continue;
            }
            more = ParseXMLComment();
        }
        ParseEatWhite();
        if (!ParseXMLCloseTag(name, length)) {
            ResetParseIndex(open.back());
            ReportError("Close Tag missing");
            open.pop_back();
            if (open.empty())
                return false;
            afterFailedPair = true;
            continue;
        }
        const TString *currentName = m_CurrentTag->GetName();
        if (!EqualNoCase(currentName->GetData(), currentName->GetLength(), name, length))
            ReportError("Unknown Close Tag"); // the current tag stays open
        else if (m_CurrentTag->GetParent() != nullptr)
            m_CurrentTag = static_cast<TXMLTag *>(m_CurrentTag->GetParent());
        open.pop_back();
    }
    return true;
}
