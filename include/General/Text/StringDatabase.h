// The string database: a resource that maps 32-bit ids to texts. A string "${0000ABCD}" in a
// data file stands for entry 0xABCD; with a database set on TIOAdapter, binary string reads
// are translated through it, and a missing entry shows as its id text.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Resources/Resource.h"
#include "General/Resources/ResourceFactory.h"

class TAsciiInFilter;
class TIOAdapter;

/// The resource factory of TStringDatabase.
class VLIB_API TStringDatabaseFactory : public TResourceFactory {
public:
    TResource *New() override;
    void Delete(TResource *resource) override;
    uint32_t GetID() override;
    TStringInt<TDynamicStringAllocationStrategy> GetName() override;
    /// 0 for both forms: neither carries a version of its own.
    uint32_t GetVersion(bool ascii) override { return ascii ? 0 : 0; }
    bool HasVersionedSource() override { return false; }
    bool CanLoadSource() override { return true; }
    bool CanCompile() override { return true; }
    bool HasDependencies() override { return false; }
};

/// Texts by 32-bit id.
class VLIB_API TStringDatabase : public TResource {
public:
    using TString = TStringInt<TDynamicStringAllocationStrategy>;

    static const char *const StrNotAStringID;   ///< "[Not an ID]"
    static const char *const StrStringNotFound; ///< "[ID Not Found]"
    static TStringDatabaseFactory mFactory;

    TStringDatabase() = default;
    TStringDatabase(const TStringDatabase &) = delete;
    TStringDatabase &operator=(const TStringDatabase &) = delete;
    ~TStringDatabase() override;

    /// `text` itself unless it is an id text; else the entry, or the normalised id text. A
    /// result for a missing id is shared scratch: valid until the next such lookup.
    const TString &LookupString(const TString &text);
    const TString &LookupString(uint32_t id);
    void LookupString(const char *text, TString &out);
    /// `text` becomes the entry of `id`, or its id text.
    void ReplaceString(uint32_t id, TString &text);
    /// Replaces an id text by its entry or its normalised id text; other texts stay.
    void ReplaceString(TString &text);
    /// The same on a C string, through strncpy into `size` bytes.
    void ReplaceString(char *buffer, int size);
    /// "${%08X}".
    static void MakeStringIDString(uint32_t id, TString &out);
    /// True, with the id, when `text` is an id text.
    static bool ExtractStringID(const char *text, uint32_t &id);

    /// The number of entries, then id and text per entry in ascending id order; reading
    /// clears the table first.
    void Stream(TIOAdapter &adapter);

    /// Records of id text, line count and text lines; stops at the first record that isn't
    /// one. Fails only when the file can't be read as text.
    TError LoadAscii(TFileObj *file) override;
    TError LoadBinary(TFileObj *file) override;
    TError SaveBinary(TFileObj *file) override;
    bool IsValidVersion(uint32_t version, bool ascii) override;
    TResourceFactory *GetFactory() override { return &mFactory; }

    /// Adds or replaces one entry.
    void SetString(uint32_t id, const TString &text);
    size_t GetCount() const { return m_Strings.size(); }
    const TLibMap<uint32_t, TString> &GetStrings() const { return m_Strings; }

protected:
    /// One line of at most 4096 bytes into `out`; false at the end of the file, or when the
    /// filter went bad.
    bool GetLine(TAsciiInFilter &in, TString &out);

private:
    TLibMap<uint32_t, TString> m_Strings;
};
