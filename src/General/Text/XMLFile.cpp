// The XML tree, its text and binary writers and the binary reader, and the resource that
// holds a document. Every walk keeps its own stack of tags, so a tree of any depth is
// written, read, searched and deleted without recursion.
#include "General/Text/XMLFile.h"

#include <algorithm>
#include <cstring>

#include "General/Core/Detail/NoThrow.h"
#include "General/Core/LibAllocator.h"
#include "General/Streams/AsciiFilter.h"
#include "General/Text/Detail/ByteIO.h"
#include "General/Text/XMLParser.h"

using vlib::detail::CallNoThrow;

namespace {

using TString = TXMLNode::TString;

/// Bytes gathered in memory and handed on in large pieces.
class TByteSink {
public:
    explicit TByteSink(TFileObj *file = nullptr) : m_File(file) {}
    void Put(const char *text, size_t length) {
        m_Bytes.insert(m_Bytes.end(), text, text + length);
        if (m_File != nullptr && m_Bytes.size() >= kFlushSize)
            Flush();
    }
    void Put(const TString &text) { Put(text.GetData(), static_cast<size_t>(text.GetLength())); }
    void Put(char c) { m_Bytes.push_back(c); }
    /// The string with its terminating zero.
    void PutCString(const TString *text) {
        if (text != nullptr)
            Put(*text);
        Put('\0');
    }
    void Flush() {
        if (m_File != nullptr && !m_Bytes.empty())
            m_File->Write(m_Bytes.data(), static_cast<int>(m_Bytes.size()));
        m_Bytes.clear();
    }
    TLibVector<char> &Bytes() { return m_Bytes; }

private:
    static constexpr size_t kFlushSize = 1 << 16;
    TFileObj *m_File; // not owned
    TLibVector<char> m_Bytes;
};

/// A signed byte count of the binary form; the caller has checked the limit.
char BinaryCount(size_t count) {
    return static_cast<char>(count > 127 ? 127 : count);
}

inline unsigned char FoldCase(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

bool EqualNoCase(const char *a, const char *b) {
    for (; *a != '\0' && *b != '\0'; ++a, ++b)
        if (FoldCase(static_cast<unsigned char>(*a)) != FoldCase(static_cast<unsigned char>(*b)))
            return false;
    return *a == *b;
}

/// The text form of `tag`'s subtree, each line behind `indent` and one tab per level.
void WriteTagText(TXMLTag *tag, const TString &indent, TByteSink &sink) {
    struct TFrame {
        TXMLTag *tag;
        int next;
    };
    TLibVector<TFrame> stack;
    TString scratch;
    auto putIndent = [&](size_t depth) {
        sink.Put(indent);
        for (size_t i = 0; i < depth; ++i)
            sink.Put('\t');
    };
    auto open = [&](TXMLTag *t) {
        putIndent(stack.size());
        sink.Put('<');
        if (t->GetName() != nullptr)
            sink.Put(*t->GetName());
        for (int i = 0; i < t->GetNumAttrs(); ++i) {
            const TXMLAttr *attr = t->GetAttr(i);
            sink.Put(' ');
            if (attr->name != nullptr)
                sink.Put(*attr->name);
            sink.Put("=\"", 2);
            if (attr->value != nullptr)
                sink.Put(*attr->value);
            sink.Put('"');
        }
        if (t->GetNumChildren() == 0) {
            sink.Put("/>\n", 3);
            return;
        }
        sink.Put(">\n", 2);
        stack.push_back(TFrame{t, 0});
    };
    open(tag);
    while (!stack.empty()) {
        TFrame &top = stack.back();
        if (top.next == top.tag->GetNumChildren()) {
            TXMLTag *done = top.tag;
            stack.pop_back();
            putIndent(stack.size());
            sink.Put("</", 2);
            if (done->GetName() != nullptr)
                sink.Put(*done->GetName());
            sink.Put(">\n", 2);
            continue;
        }
        TXMLNode *child = top.tag->GetChild(top.next++);
        if (child->GetType() == XMLNodeTag) {
            open(static_cast<TXMLTag *>(child));
        } else if (child->GetType() == XMLNodeText) {
            putIndent(stack.size());
            sink.Put(static_cast<TXMLText *>(child)->GetText());
            sink.Put('\n');
        } else { // a node class of a client: it writes itself
            TString childIndent(indent);
            for (size_t i = 0; i < stack.size(); ++i)
                childIndent.Append('\t');
            scratch = "";
            child->OutputXML(&scratch, childIndent);
            sink.Put(scratch);
        }
    }
}

/// The binary records of `tag`'s subtree, marker first.
void WriteTagBinary(TXMLTag *tag, TByteSink &sink, TFileObj *file) {
    struct TFrame {
        TXMLTag *tag;
        int next;
    };
    TLibVector<TFrame> stack;
    auto open = [&](TXMLTag *t) {
        sink.Put(static_cast<char>(TXMLFile::kTagMarker));
        sink.PutCString(t->GetName());
        sink.Put(BinaryCount(static_cast<size_t>(t->GetNumAttrs())));
        for (int i = 0; i < t->GetNumAttrs() && i < 127; ++i) {
            sink.PutCString(t->GetAttr(i)->name);
            sink.PutCString(t->GetAttr(i)->value);
        }
        sink.Put(BinaryCount(static_cast<size_t>(t->GetNumChildren())));
        stack.push_back(TFrame{t, 0});
    };
    open(tag);
    while (!stack.empty()) {
        TFrame &top = stack.back();
        if (top.next == top.tag->GetNumChildren() || top.next == 127) {
            stack.pop_back();
            continue;
        }
        TXMLNode *child = top.tag->GetChild(top.next++);
        if (child->GetType() == XMLNodeTag) {
            open(static_cast<TXMLTag *>(child));
        } else if (child->GetType() == XMLNodeText) {
            sink.Put(static_cast<char>(TXMLFile::kTextMarker));
            sink.Put(static_cast<TXMLText *>(child)->GetText());
            sink.Put('\0');
        } else {
            sink.Flush();
            child->SaveSubBinary(file);
        }
    }
    sink.Flush();
}

/// Interns a zero-terminated string of the binary form.
const TString *ReadInterned(vlib::detail::TByteReader &reader, TStringDict &dictionary,
                            TString &scratch) {
    int length = 0;
    if (const char *text = reader.TakeCStringInWindow(length))
        return dictionary.Insert(text, length);
    if (!reader.ReadCString(scratch))
        return nullptr;
    return dictionary.Insert(scratch);
}

/// Name, attributes and child count of one tag record, behind its marker.
bool ReadTagHead(vlib::detail::TByteReader &reader, TStringDict &dictionary, TXMLTag *tag,
                 int &children, TString &scratch) {
    const TString *name = ReadInterned(reader, dictionary, scratch);
    unsigned char count;
    if (name == nullptr || !reader.ReadByte(count))
        return false;
    tag->SetName(name);
    for (int i = 0; i < static_cast<signed char>(count); ++i) {
        TXMLAttr attr;
        attr.name = ReadInterned(reader, dictionary, scratch);
        if (attr.name == nullptr)
            return false;
        attr.value = ReadInterned(reader, dictionary, scratch);
        if (attr.value == nullptr)
            return false;
        if (!tag->PushAttr(attr))
            return false;
    }
    if (!reader.ReadByte(count))
        return false;
    children = static_cast<signed char>(count);
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// TXMLNode

TXMLNode::~TXMLNode() = default;

void TXMLNode::DebugOutput(TString *out) {
    (void)out;
}

bool TXMLNode::HasChildren() {
    return false;
}

// ---------------------------------------------------------------------------------------------
// TXMLTag

TXMLTag::~TXMLTag() {
    // Each tag's children join the work list before it goes, so no destructor recurses.
    TLibVector<TXMLNode *> work;
    work.swap(m_Children);
    while (!work.empty()) {
        TXMLNode *node = work.back();
        work.pop_back();
        if (node != nullptr && node->GetType() == XMLNodeTag) {
            auto *tag = static_cast<TXMLTag *>(node);
            (void)CallNoThrow([&] {
                work.insert(work.end(), tag->m_Children.begin(), tag->m_Children.end());
                tag->m_Children.clear();
            });
        }
        delete node;
    }
}

TXMLNode *TXMLTag::GetChild(int index) const {
    return index >= 0 && index < GetNumChildren() ? m_Children[static_cast<size_t>(index)]
                                                  : nullptr;
}

bool TXMLTag::PushChild(TXMLNode *child) {
    if (child == nullptr)
        return false;
    if (CallNoThrow([&] { m_Children.push_back(child); }))
        return true;
    delete child; // the tag could not take it over
    return false;
}

TXMLAttr *TXMLTag::GetAttr(int index) {
    return index >= 0 && index < GetNumAttrs() ? &m_Attributes[static_cast<size_t>(index)]
                                               : nullptr;
}

bool TXMLTag::PushAttr(TXMLAttr &attr) {
    return CallNoThrow([&] { m_Attributes.push_back(attr); });
}

const TXMLNode::TString *TXMLTag::GetAttrVal(const char *name) const {
    if (name == nullptr)
        return nullptr;
    for (const TXMLAttr &attr : m_Attributes)
        if (attr.name != nullptr && std::strcmp(attr.name->GetData(), name) == 0)
            return attr.value;
    return nullptr;
}

TXMLTag *TXMLTag::RecurseTo(const char *name) {
    if (name == nullptr)
        return nullptr;
    struct TFrame {
        TXMLTag *tag;
        int next;
    };
    TLibVector<TFrame> stack;
    auto matches = [&](TXMLTag *t) {
        return t->m_Name != nullptr && EqualNoCase(t->m_Name->GetData(), name);
    };
    if (matches(this))
        return this;
    if (!CallNoThrow([&] { stack.push_back(TFrame{this, 0}); }))
        return nullptr;
    while (!stack.empty()) {
        TFrame &top = stack.back();
        if (top.next == top.tag->GetNumChildren()) {
            stack.pop_back();
            continue;
        }
        TXMLNode *child = top.tag->m_Children[static_cast<size_t>(top.next++)];
        if (child->GetType() != XMLNodeTag) {
            stack.pop_back(); // a text child ends the search of this tag
            continue;
        }
        auto *tag = static_cast<TXMLTag *>(child);
        if (matches(tag))
            return tag;
        if (!CallNoThrow([&] { stack.push_back(TFrame{tag, 0}); }))
            return nullptr;
    }
    return nullptr;
}

bool TXMLTag::FitsBinaryForm() const {
    TLibVector<const TXMLTag *> work;
    work.push_back(this);
    while (!work.empty()) {
        const TXMLTag *tag = work.back();
        work.pop_back();
        if (tag->m_Attributes.size() > 127 || tag->m_Children.size() > 127)
            return false;
        for (TXMLNode *child : tag->m_Children)
            if (child->GetType() == XMLNodeTag)
                work.push_back(static_cast<const TXMLTag *>(child));
    }
    return true;
}

void TXMLTag::DebugOutput(TString *out) {
    if (out == nullptr)
        return;
    if (m_Name != nullptr)
        out->Append(m_Name->GetData());
    for (size_t i = 0; i < m_Attributes.size(); ++i) {
        out->Append("( Attr[");
        out->Append(static_cast<int>(i + 1));
        out->Append("]: Name = \"");
        out->Append(m_Attributes[i].name != nullptr ? m_Attributes[i].name->GetData() : "");
        out->Append("\", Value = \"");
        out->Append(m_Attributes[i].value != nullptr ? m_Attributes[i].value->GetData() : "");
        out->Append("\" ) ");
    }
}

void TXMLTag::OutputXML(TString *out, TString &indent) {
    if (out == nullptr)
        return;
    (void)CallNoThrow([&] {
        TByteSink sink;
        WriteTagText(this, indent, sink);
        sink.Put('\0');
        out->Append(sink.Bytes().data());
    });
}

bool TXMLTag::LoadSubBinary(TFileObj *file, TXMLFile *owner) {
    if (file == nullptr || owner == nullptr)
        return false;
    return CallNoThrow(
        [&] {
            vlib::detail::TByteReader reader(file);
            TStringDict &dictionary = owner->GetDict();
            TString scratch;
            struct TFrame {
                TXMLTag *tag;
                int left;
            };
            TLibVector<TFrame> stack;
            int children = 0;
            if (!ReadTagHead(reader, dictionary, this, children, scratch))
                return false;
            stack.push_back(TFrame{this, children});
            while (!stack.empty()) {
                TFrame &top = stack.back();
                if (top.left <= 0) {
                    stack.pop_back();
                    continue;
                }
                --top.left;
                TXMLTag *parent = top.tag;
                unsigned char marker;
                if (!reader.ReadByte(marker))
                    return false;
                if (marker == TXMLFile::kTagMarker) {
                    auto *tag = new TXMLTag;
                    if (tag == nullptr)
                        return false;
                    // Owned by the tree at once, whatever follows; deleted if it can't be.
                    if (!parent->PushChild(tag) ||
                        !ReadTagHead(reader, dictionary, tag, children, scratch))
                        return false;
                    stack.push_back(TFrame{tag, children});
                } else if (marker == TXMLFile::kTextMarker) {
                    auto *text = new TXMLText;
                    if (text == nullptr)
                        return false;
                    if (!parent->PushChild(text) || !reader.ReadCString(text->GetText()))
                        return false;
                } else {
                    return false; // not a record of this format
                }
            }
            return true;
        },
        false);
}

void TXMLTag::SaveSubBinary(TFileObj *file) {
    if (file == nullptr)
        return;
    (void)CallNoThrow([&] {
        TByteSink sink(file);
        WriteTagBinary(this, sink, file);
    });
}

// ---------------------------------------------------------------------------------------------
// TXMLText

bool TXMLText::LoadSubBinary(TFileObj *file, TXMLFile *owner) {
    (void)owner;
    if (file == nullptr)
        return false;
    vlib::detail::TByteReader reader(file);
    return CallNoThrow([&] { return reader.ReadCString(m_Text); }, false);
}

void TXMLText::SaveSubBinary(TFileObj *file) {
    if (file == nullptr)
        return;
    const char marker = static_cast<char>(TXMLFile::kTextMarker);
    file->Write(&marker, 1);
    file->Write(m_Text.GetData(), m_Text.GetLength() + 1);
}

void TXMLText::DebugOutput(TString *out) {
    if (out != nullptr)
        out->Append(m_Text.GetData());
}

void TXMLText::OutputXML(TString *out, TString &indent) {
    if (out == nullptr)
        return;
    out->Append(indent.GetData());
    out->Append(m_Text.GetData());
    out->Append('\n');
}

// ---------------------------------------------------------------------------------------------
// TXMLFile

TXMLFileFactory TXMLFile::mFactory;

namespace {
// After mFactory in this file, so the factory exists when it is registered.
TResourceFactoryRegistration gXMLFileRegistration(&TXMLFile::mFactory);
} // namespace

TResource *TXMLFileFactory::New() {
    return new TXMLFile;
}

void TXMLFileFactory::Delete(TResource *resource) {
    delete resource;
}

uint32_t TXMLFileFactory::GetID() {
    static const uint32_t id = TResource::StrToID("TXMLFile");
    return id;
}

TStringInt<TDynamicStringAllocationStrategy> TXMLFileFactory::GetName() {
    return "TXMLFile";
}

TXMLFile::~TXMLFile() {
    delete m_Root;
}

bool TXMLFile::IsValidVersion(uint32_t version, bool ascii) {
    (void)ascii;
    return version < 2;
}

void TXMLFile::GetDependencies(TLibVector<TDependency> &out) {
    (void)out;
}

namespace {

/// Everything the filter delivers, with a line feed and a terminator behind it; false when
/// memory ran out.
bool ReadWholeText(TAsciiInFilter &in, TLibVector<char> &text) {
    return CallNoThrow(
        [&] {
            const int length = in.Length();
            const int position = in.GetPos();
            size_t capacity = length > position && position >= 0
                                  ? static_cast<size_t>(length - position) + 3
                                  : 4096;
            size_t used = 0;
            for (;;) {
                if (text.size() < capacity)
                    text.resize(capacity);
                if (capacity - used < 3) {
                    capacity *= 2;
                    continue;
                }
                const size_t room = std::min<size_t>(capacity - used - 2, 1u << 30);
                const int got = in.Read(text.data() + used, static_cast<int>(room));
                if (got <= 0)
                    break;
                used += static_cast<size_t>(got);
            }
            text.resize(used + 2);
            text[used] = '\n';
            text[used + 1] = '\0';
            return true;
        },
        false);
}

} // namespace

TError TXMLFile::LoadAscii(TFileObj *file) {
    if (m_Open)
        return TError(0x10000);
    // The parser and the strings get round a failed allocation by leaving something out.
    TAllocationFailureWatch watch;
    TAsciiInFilter in;
    if (!in.Open(file))
        return TError(0x10000);
    TLibVector<char> text;
    const bool read = ReadWholeText(in, text);
    TString name = in.GetFileName();
    in.CloseLayer();
    if (!read)
        return TError(0x10000);
    TXMLParser parser;
    parser.SetStripWhitespace(m_StripWhitespace);
    m_Root =
        parser.Parse(name, text.data(), static_cast<int>(std::strlen(text.data())), &m_Dictionary);
    if (m_Root != nullptr && watch.Failed()) {
        delete m_Root; // a name or text came out short
        m_Root = nullptr;
    }
    if (m_Root == nullptr)
        return TError(0x10000);
    m_Open = true;
    return TError(0);
}

TError TXMLFile::SaveAscii(TFileObj *file) {
    if (m_Root == nullptr)
        return TError(0x10000);
    TAsciiOutFilter out;
    if (!out.Open(file))
        return TError(0x10000);
    bool written = CallNoThrow(
        [&] {
            TByteSink sink;
            WriteTagText(m_Root, TString(), sink);
            return out.Write(sink.Bytes().data(), static_cast<int>(sink.Bytes().size()));
        },
        false);
    out.CloseLayer();
    return written ? TError(0) : TError(0x10000);
}

TError TXMLFile::LoadBinary(TFileObj *file) {
    if (file == nullptr)
        return TError(0x10000);
    {
        vlib::detail::TByteReader reader(file);
        int32_t version;
        unsigned char marker;
        if (!reader.ReadInt32(version) || !reader.ReadByte(marker) || marker != kTagMarker)
            return TError(0x10000);
    }
    delete m_Root;
    m_Open = false;
    m_Root = new TXMLTag;
    if (m_Root == nullptr)
        return TError(0x10000);
    TAllocationFailureWatch watch;
    if (!m_Root->LoadSubBinary(file, this) || watch.Failed()) {
        delete m_Root;
        m_Root = nullptr;
        return TError(0x10000);
    }
    m_Open = true;
    return TError(0);
}

TError TXMLFile::SaveBinary(TFileObj *file) {
    if (file == nullptr || m_Root == nullptr)
        return TError(0x10000);
    if (!CallNoThrow([&] { return m_Root->FitsBinaryForm(); }, false))
        return TError(0x10000);
    vlib::detail::WriteInt32(file, static_cast<int32_t>(kBinaryVersion));
    m_Root->SaveSubBinary(file);
    return file->IsBad() ? TError(0x10000) : TError(0);
}
