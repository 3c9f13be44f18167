// The XML document tree and the resource that holds one. Tags carry interned names and
// attributes (the file's TStringDict owns every such string); text nodes own their text. The
// tree is written back as indented text or in a compact binary form of markers and
// zero-terminated strings. Walks over the tree are iterative, so any depth is safe.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Resources/Resource.h"
#include "General/Resources/ResourceFactory.h"
#include "General/Text/StringDict.h"

class TFileObj;
class TXMLFile;

/// The kinds of node, as GetType gives them.
enum TXMLNodeType { XMLNodeTag = 0, XMLNodeText = 1 };

/// A node of the tree.
class VLIB_API TXMLNode : public TBaseAllocator {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    TXMLNode() = default;
    TXMLNode(const TXMLNode &) = delete;
    TXMLNode &operator=(const TXMLNode &) = delete;
    virtual ~TXMLNode();
    /// Reads the node's record behind its marker.
    virtual bool LoadSubBinary(TFileObj *file, TXMLFile *owner) = 0;
    /// Writes the node's record, marker first.
    virtual void SaveSubBinary(TFileObj *file) = 0;
    virtual void DebugOutput(TString *out);
    /// Appends the node's text form, each line behind `indent`.
    virtual void OutputXML(TString *out, TString &indent) = 0;
    virtual TXMLNodeType GetType() = 0;
    virtual bool HasChildren();

    TXMLNode *GetParent() const { return m_Parent; }
    void SetParent(TXMLNode *parent) { m_Parent = parent; }
    int GetLineNo() const { return m_Line; }
    void SetLineNo(int line) { m_Line = line; }

private:
    TXMLNode *m_Parent = nullptr; // not owned
    int32_t m_Line = 0;
};

/// An attribute: interned name and value.
struct TXMLAttr {
    const TStringInt<TDynamicStringAllocationStrategy> *name;  // not owned: the dictionary's
    const TStringInt<TDynamicStringAllocationStrategy> *value; // not owned: the dictionary's
};

/// An element: name, attributes and children in document order.
class VLIB_API TXMLTag : public TXMLNode {
public:
    TXMLTag() = default;
    /// Deletes the whole subtree, without recursion.
    ~TXMLTag() override;
    /// Reads attributes and the whole subtree, without recursion.
    bool LoadSubBinary(TFileObj *file, TXMLFile *owner) override;
    void SaveSubBinary(TFileObj *file) override;
    /// The name and "( Attr[n]: Name = \"..\", Value = \"..\" ) " per attribute.
    void DebugOutput(TString *out) override;
    void OutputXML(TString *out, TString &indent) override;
    TXMLNodeType GetType() override { return XMLNodeTag; }
    bool HasChildren() override { return true; }

    const TString *GetName() const { return m_Name; }
    void SetName(const TString *name) { m_Name = name; }
    int GetNumChildren() const { return static_cast<int>(m_Children.size()); }
    /// Null outside 0 .. count - 1.
    TXMLNode *GetChild(int index) const;
    /// Appends a child, which the tag owns from then on. Without memory to hold it the child
    /// is deleted and the result is false.
    bool PushChild(TXMLNode *child);
    int GetNumAttrs() const { return static_cast<int>(m_Attributes.size()); }
    /// Null outside 0 .. count - 1.
    TXMLAttr *GetAttr(int index);
    /// Appends a copy of `attr`; false, and no change, without memory.
    bool PushAttr(TXMLAttr &attr);
    /// The value of the first attribute of exactly `name`; null if none.
    const TString *GetAttrVal(const char *name) const;
    /// This tag if its name equals `name` ignoring case, else the first match among the
    /// children, depth first; a text child ends the search of its tag.
    TXMLTag *RecurseTo(const char *name);

    /// The attributes, for the parser to move its pending list in.
    TLibVector<TXMLAttr> &Attributes() { return m_Attributes; }
    /// True when no tag of the subtree has more than 127 attributes or children, the
    /// limit of the binary form's signed counts.
    bool FitsBinaryForm() const;

private:
    const TString *m_Name = nullptr;   // not owned: interned
    TLibVector<TXMLNode *> m_Children; // owned
    TLibVector<TXMLAttr> m_Attributes;
};

/// Character data between tags.
class VLIB_API TXMLText : public TXMLNode {
public:
    TXMLText() = default;
    explicit TXMLText(const TString &text) : m_Text(text) {}
    bool LoadSubBinary(TFileObj *file, TXMLFile *owner) override;
    void SaveSubBinary(TFileObj *file) override;
    void DebugOutput(TString *out) override;
    void OutputXML(TString *out, TString &indent) override;
    TXMLNodeType GetType() override { return XMLNodeText; }

    const TString &GetText() const { return m_Text; }
    TString &GetText() { return m_Text; }
    void SetText(const TString &text) { m_Text = text; }

private:
    TString m_Text;
};

/// The resource factory of TXMLFile.
class VLIB_API TXMLFileFactory : public TResourceFactory {
public:
    TResource *New() override;
    void Delete(TResource *resource) override;
    uint32_t GetID() override;
    TStringInt<TDynamicStringAllocationStrategy> GetName() override;
    /// 1 for the binary form, 0 for the text form.
    uint32_t GetVersion(bool ascii) override { return ascii ? 0 : 1; }
    bool HasVersionedSource() override { return false; }
    bool CanLoadSource() override { return true; }
    bool CanCompile() override { return true; }
    bool HasDependencies() override { return false; }
};

/// An XML document as a resource.
class VLIB_API TXMLFile : public TResource {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    /// The binary form's version word.
    static constexpr uint32_t kBinaryVersion = 1;
    static constexpr unsigned char kTagMarker = 0xFE;
    static constexpr unsigned char kTextMarker = 0xFD;
    static TXMLFileFactory mFactory;

    TXMLFile() = default;
    TXMLFile(const TXMLFile &) = delete;
    TXMLFile &operator=(const TXMLFile &) = delete;
    ~TXMLFile() override;

    /// Parses the text; fails on a second load, and when no root element could be read.
    TError LoadAscii(TFileObj *file) override;
    /// The tree as indented text, without a header.
    TError SaveAscii(TFileObj *file) override;
    /// Replaces the tree with the binary form's; fails on a bad marker or a short file.
    TError LoadBinary(TFileObj *file) override;
    /// Fails, writing nothing, without a root or with a tag beyond the form's counts.
    TError SaveBinary(TFileObj *file) override;
    /// Versions below 2.
    bool IsValidVersion(uint32_t version, bool ascii) override;
    TResourceFactory *GetFactory() override { return &mFactory; }
    void GetDependencies(TLibVector<TDependency> &out) override;

    TXMLTag *GetRootTag() const { return m_Root; }
    bool IsOpen() const { return m_Open; }
    TStringDict &GetDict() { return m_Dictionary; }
    /// Whether text nodes lose the white space at their ends; true unless set.
    void SetStripWhitespace(bool strip) { m_StripWhitespace = strip; }

private:
    bool m_Open = false;
    TXMLTag *m_Root = nullptr; // owned
    TStringDict m_Dictionary;
    bool m_StripWhitespace = true;
};
