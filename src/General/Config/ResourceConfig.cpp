// The resource settings and the bank lines of the "ResourceSystem" section.
#include "General/Config/ResourceConfig.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "General/Config/ConfigInfo.h"
#include "General/Platform/DebugOutput.h"
#include "General/Resources/Resource.h"

TResourceConfig *TResourceConfig::m_pMe = nullptr;

namespace {

// More bank keys than this are not read: a wrong count must not make start-up spin through
// billions of absent keys.
constexpr unsigned kMaxBanks = 65536;

const char *const kKindNames[] = {"FileSystem", "PackedFile", "ZipFile"};

} // namespace

int TResourceBankConfig::KindFromName(const char *name) {
    for (int kind = 0; kind < 3; ++kind)
        if (strcasecmp(name, kKindNames[kind]) == 0)
            return kind;
    return kNone;
}

bool TResourceBankConfig::ParseLine(const char *line, TResourceBankConfig &out,
                                    TDynamicString &name) {
    // Each field holds at most 255 characters and its terminator.
    char kind[256] = {}, location[256] = {}, secondKind[256] = {}, secondLocation[256] = {};
    char ruleFile[256] = {}, listFile[256] = {}, bankName[256] = {};
    const int fields = std::sscanf(
        line, " %255s \"%255[^\"]\" %255s \"%255[^\"]\" \"%255[^\"]\" \"%255[^\"]\" \"%255[^\"]\"",
        kind, location, secondKind, secondLocation, ruleFile, listFile, bankName);
    if (fields < 2)
        return false;

    bool readOnly = false;
    const size_t kindLength = std::strlen(kind);
    constexpr size_t kSuffix = 8; // "ReadOnly"
    if (kindLength > kSuffix && strcasecmp(kind + kindLength - kSuffix, "ReadOnly") == 0) {
        readOnly = true;
        kind[kindLength - kSuffix] = '\0';
    }
    const int type = KindFromName(kind);
    const int secondType = KindFromName(secondKind);
    if (type == kNone || location[0] == '\0')
        return false;
    if ((secondLocation[0] != '\0') != (secondType != kNone))
        return false;

    out.Type = type;
    out.Location = location;
    out.SecondType = secondType;
    out.SecondLocation = secondLocation;
    out.RuleFile = ruleFile;
    out.ListFile = listFile;
    out.ReadOnly = readOnly;
    name = bankName;
    return true;
}

TResourceConfig::TResourceConfig() {
    m_pMe = this;
}

TResourceConfig::~TResourceConfig() {
    for (auto &entry : m_Banks)
        delete entry.second;
    if (m_pMe == this)
        m_pMe = nullptr;
}

void TResourceConfig::Initialise(TConfigInfo *config) {
    StoreAutocompiledResources = config->ReadBool("StoreAutocompiledResources", "true");
    UsePrecompiledResources = config->ReadBool("UsePrecompiledResources", "true");
    UseSourceResources = config->ReadBool("UseSourceResources", "true");
    const TDynamicString check = config->ReadString("CheckDependencies", "Cached");
    if (check.Compare("Always", false) == 0)
        DependencyMode = DependenciesAlways;
    else if (check.Compare("Never", false) == 0 || check.Compare("false", false) == 0)
        DependencyMode = DependenciesNever;
    else
        DependencyMode = DependenciesCached;
    DefaultRuleFilePath =
        config->ReadString("DefaultRuleFilePath", "../resource/prog/config/library_resources.rre");
    DefResourceListLocation = config->ReadString("DefResourceListLocation", "ResourceList.vrl");
    TagRuleFile = config->ReadString("TagRuleFile", "");
    TypeRuleFile = config->ReadString("TypeRuleFile", TagRuleFile.GetData());

    const int count = config->ReadInt("NumberOfResourceBanks", "0");
    const unsigned banks = count <= 0 ? 0u : static_cast<unsigned>(count);
    for (unsigned i = 0; i < banks && i < kMaxBanks; ++i) {
        char key[32];
        std::snprintf(key, sizeof key, "ResourceBank%u", i);
        const TDynamicString line = config->ReadString(key, "");
        TResourceBankConfig record;
        TDynamicString name;
        if (!TResourceBankConfig::ParseLine(line.GetData(), record, name))
            continue; // a bad line is skipped and takes no index
        record.Index = static_cast<unsigned>(m_Banks.size());
        if (name.IsEmpty()) {
            char number[16];
            std::snprintf(number, sizeof number, "%u", record.Index);
            name = number;
        }
        const uint32_t id = TResource::StrToID(name.GetData());
        if (m_Banks.count(id) != 0) {
            // A second bank of one name would leave a gap in the indices: keep the first.
            char message[400];
            std::snprintf(message, sizeof message, "Resource bank \"%s\" given twice; %s skipped\n",
                          name.GetData(), key);
            OutputDebugStringA(message);
            continue;
        }
        auto *stored = new TResourceBankConfig(record);
        m_Banks[id] = stored;
    }
}

const TResourceBankConfig &TResourceConfig::GetResBankSpecification(unsigned index) const {
    static const TResourceBankConfig kNoBank;
    for (const auto &entry : m_Banks)
        if (entry.second->Index == index)
            return *entry.second;
    return kNoBank; // only reached for an index that is out of range
}

int TResourceConfig::GetResBankIndexFromName(const char *name) const {
    const auto found = m_Banks.find(TResource::StrToID(name));
    return found == m_Banks.end() ? -1 : static_cast<int>(found->second->Index);
}
