// The resource system's part of the configuration: which kinds of resources to use, the rule
// files, and one record per resource bank, read from the "ResourceSystem" section. The
// resource manager and the rule files read it through TResourceConfig::GetSingleton().
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"

class TConfigInfo;

/// Where one resource bank lives, as a "ResourceBank<i>" line gives it.
struct VLIB_API TResourceBankConfig {
    /// Store kinds; -1 (kNone) for none.
    enum : int { kNone = -1, FileSystem = 0, PackedFile = 1, ZipFile = 2 };

    int Type = kNone;
    TDynamicString Location;
    int SecondType = kNone;
    TDynamicString SecondLocation;
    TDynamicString RuleFile;
    TDynamicString ListFile;
    unsigned Index = 0;
    bool ReadOnly = false;

    /// The kind named `name` ("FileSystem", "PackedFile", "ZipFile", any case), or kNone.
    static int KindFromName(const char *name);
    /// Reads one bank line. False for a bad line; `name` receives the bank's name (empty
    /// when the line gives none). `Index` is left alone.
    static bool ParseLine(const char *line, TResourceBankConfig &out, TDynamicString &name);
};

/// The resource settings and the banks by name. One at a time: the constructor makes it the
/// singleton and the destructor clears that.
class VLIB_API TResourceConfig : public TBaseAllocator {
public:
    /// Dependency checking of compiled resources.
    enum : int { DependenciesNever = 0, DependenciesCached = 1, DependenciesAlways = 2 };

    TResourceConfig();
    TResourceConfig(const TResourceConfig &) = delete;
    TResourceConfig &operator=(const TResourceConfig &) = delete;
    ~TResourceConfig();

    /// Reads the "ResourceSystem" settings and the bank lines through `config`, whose
    /// current section must be "ResourceSystem". Bad bank lines are skipped.
    void Initialise(TConfigInfo *config);

    unsigned GetNumResourceBanks() const { return static_cast<unsigned>(m_Banks.size()); }
    /// The bank whose Index is `index`, which must be below GetNumResourceBanks().
    const TResourceBankConfig &GetResBankSpecification(unsigned index) const;
    /// The Index of the bank named `name`, or -1.
    int GetResBankIndexFromName(const char *name) const;
    /// The living object; it must exist.
    static TResourceConfig &GetSingleton() { return *m_pMe; }
    /// The living object or null.
    static TResourceConfig *GetSingletonPtr() { return m_pMe; }

    bool StoreAutocompiledResources = true;
    bool UsePrecompiledResources = true;
    bool UseSourceResources = true;
    int DependencyMode = DependenciesCached;
    TDynamicString DefaultRuleFilePath;
    TDynamicString DefResourceListLocation;
    TDynamicString TagRuleFile;
    TDynamicString TypeRuleFile;

private:
    static TResourceConfig *m_pMe;                    // not owned
    TLibMap<uint32_t, TResourceBankConfig *> m_Banks; // owned records, by StrToID of the name
};
