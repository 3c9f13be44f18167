// The reader of XML text: a descent over the document held in memory, byte by byte, that
// builds TXMLTag and TXMLText nodes and interns names and values in a dictionary. It accepts
// the small grammar that the library's definition files use: no entities, no single quotes,
// no internal subsets. Nesting is kept on an explicit stack, so depth costs no machine stack.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Text/XMLFile.h"

class TStringDict;

/// The state of one parse.
class VLIB_API TXMLParser {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    TXMLParser() = default;
    TXMLParser(const TXMLParser &) = delete;
    TXMLParser &operator=(const TXMLParser &) = delete;
    ~TXMLParser();

    /// The root element of `text`, or null. The caller owns the tree; `text` and
    /// `dictionary` must outlive the call, and the interned strings live in `dictionary`.
    TXMLTag *Parse(TString &fileName, TString &text, TStringDict *dictionary, int *unused);
    /// The same over `length` bytes at `text`, which need no terminator.
    TXMLTag *Parse(const TString &fileName, const char *text, int length, TStringDict *dictionary);
    /// The same with a parser of its own.
    static TXMLTag *DoParse(TString &fileName, TString &text, TStringDict *dictionary, int *unused);
    void SetStripWhitespace(bool strip) { m_StripWhitespace = strip; }
    /// The last error, "XML error in <file> at line <n>: <message>\n"; empty if none.
    const TString &GetError() const { return m_Error; }
    int GetLine() const { return m_Line; }

private:
    /// What the start of an element turned out to be.
    enum class TElement { None, Empty, Open };

    bool ParseXMLHeaderTag();
    bool ParseXMLDocType();
    bool ParseXMLComment();
    /// The element tree from an open tag at the index to its close tag.
    bool ParseXMLTagPair();
    bool ParseXMLOpenTag(const char *&name, int &length);
    bool ParseXMLCloseTag(const char *&name, int &length);
    /// `<`, name, attributes and white space: what open and empty tags share.
    bool ParseXMLTagStart(const char *&name, int &length);
    /// An empty tag (made and appended to the current tag) or an open tag, judged from one
    /// scan of their common start.
    TElement ParseXMLElementStart(const char *&name, int &length);
    bool ParseXMLAttr();
    /// The text up to the next `<`; false at the end of the document.
    bool ParseXMLText();
    bool ParseXMLTagName(const char *&name, int &length);
    bool ParseEatWhite();
    bool IncParse();
    void ReportEOF();
    void ResetParseIndex(int index);
    void ReportError(const char *message);
    /// Makes a tag with the pending attributes, child of the current tag if there is one.
    TXMLTag *MakeTag(const char *name, int length, bool becomesCurrent);
    const TString *Intern(const char *text, int length);

    TStringDict *m_Dictionary = nullptr; // not owned
    TString m_FileName;
    TString m_Error;
    int32_t m_Line = 1;
    int32_t m_Index = 0;
    uint32_t m_Current = 0;
    TXMLTag *m_Result = nullptr;     // not owned once returned
    TXMLTag *m_CurrentTag = nullptr; // not owned
    TLibVector<TXMLAttr> m_PendingAttributes;
    bool m_StripWhitespace = true;

    const char *m_Data = nullptr; // not owned: the text's bytes
    int32_t m_Length = 0;
    const char *m_LastMessage = nullptr; // not owned: a literal
    int32_t m_LastMessageLine = 0;
};
