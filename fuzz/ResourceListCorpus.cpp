// Writes the seed corpus of the list-file fuzz target with the bank's own list writer: lists
// of a few to a few hundred entries with sources, compiled files, second-store files,
// parameters and odd names.
#include <cstdio>
#include <string>

#include "General/Resources/Detail/ResourceBank.h"
#include "General/Streams/FileBuf.h"

namespace {

TResourceBankEntryData Record(TResourceBank &bank, const std::string &directory,
                              const std::string &name, const char *type, int index) {
    TResourceBankEntryData record;
    record.Bank = &bank;
    record.Tag = (name + std::to_string(index)).c_str();
    record.SourceDirectory = bank.InternString(directory.c_str());
    record.SourceName = (name + ".txt").c_str();
    record.SourceHash = HashPathName((directory + name + ".txt").c_str());
    record.Type = bank.InternString(type);
    record.Flags = TResourceBankEntryData::kHasSource;
    switch (index % 5) {
    case 1: // a compiled file beside the source
        bank.SetCompiledName(record, (directory + name + ".txt." + type + ".bin").c_str());
        record.Flags |= TResourceBankEntryData::kHasCompiled;
        break;
    case 2: { // parameters
        TParameterList list;
        list.AddParameter("convertfrom", "base", nullptr);
        list.AddParameter("donotcompile", index % 2 ? "true" : "false", nullptr);
        record.Parameters = bank.InternParameters(list);
        break;
    }
    case 3: // a compiled file in the second store
        bank.SetCompiledName(record, (directory + name + ".txt." + type + ".bin").c_str());
        record.Flags |=
            TResourceBankEntryData::kHasCompiled | TResourceBankEntryData::kInSecondStore;
        break;
    case 4: // compiled only
        record.SourceName = "";
        record.SourceDirectory = bank.InternString("");
        bank.SetCompiledName(record, (directory + name + "." + type + ".bin").c_str());
        record.Flags = TResourceBankEntryData::kHasCompiled;
        break;
    default:
        break;
    }
    return record;
}

bool WriteList(const std::string &path, int seed) {
    TResourceBank bank;
    const char *types[] = {"TIniFile", "TXMLFile", "testtext", "TStringDatabase"};
    const char *folders[] = {"./", "./data/", "./data/deep/er/", "./odd name/", "./UPPER/"};
    const int count = seed < 4 ? seed : (seed * seed * 3) % 300;
    for (int i = 0; i < count; ++i) {
        const std::string name = seed % 7 == 3 ? "x" : "res_" + std::to_string(seed);
        (void)bank.InsertEntry(
            Record(bank, folders[(i + seed) % 5], name, types[(i * 7 + seed) % 4], i), nullptr);
    }
    TManagedFileBuf file;
    if (!file.Open(6, 0) || !bank.WriteList(&file))
        return false;
    std::FILE *out = std::fopen(path.c_str(), "wb");
    if (out == nullptr)
        return false;
    const bool ok = std::fwrite(file.GetBuffer(), 1, static_cast<size_t>(file.Length()), out) ==
                    static_cast<size_t>(file.Length());
    return std::fclose(out) == 0 && ok;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus-dir>\n", argv[0]);
        return 2;
    }
    for (int seed = 0; seed < 24; ++seed) {
        const std::string path =
            std::string(argv[1]) + "/ResourceList/list" + std::to_string(seed) + ".vrl";
        if (!WriteList(path, seed)) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
