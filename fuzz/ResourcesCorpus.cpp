// Writes the seed corpora of the resource fuzz targets, so the fuzzers start from real packs
// (written by the packed store) and rule files (of the kinds the library reads):
// ResourcesCorpusTool <corpus-dir>. Its output is committed under fuzz/corpus/; run it again after
// a format change.
#include <cstdio>
#include <random>
#include <string>

#include <sys/stat.h>

#include "General/Resources/BankStore.h"

namespace {

constexpr int kSeeds = 24;

void Put(TBankPackedFile &pack, const std::string &path, const std::string &bytes) {
    TFileObj *file = pack.OpenFile(TDynamicString(path.c_str()), 4);
    if (file == nullptr)
        return;
    if (!bytes.empty())
        (void)file->Write(bytes.data(), static_cast<int>(bytes.size())); // seeds only
    pack.CloseFile(file);
}

/// Pack `index`: a growing number of files in nested folders, some rewritten or deleted so
/// that both plain and compacted packs are among the seeds.
void WritePack(const std::string &folder, int index) {
    char name[48];
    std::snprintf(name, sizeof name, "/seed-%02d", index);
    const std::string base = folder + name;
    std::mt19937 random(static_cast<unsigned>(index));
    TBankPackedFile pack;
    if (!pack.Create(base.c_str()))
        return;
    const int files = index % 8 == 0 ? 0 : 1 + index * 2;
    for (int i = 0; i < files; ++i) {
        std::string path;
        for (int depth = static_cast<int>(random() % 3); depth > 0; --depth)
            path += "dir" + std::to_string(random() % 4) + "/";
        path += "file" + std::to_string(i) + (i % 2 != 0 ? ".txt" : ".bin");
        std::string bytes(random() % 64, '\0');
        for (char &c : bytes)
            c = static_cast<char>(random());
        Put(pack, path, bytes);
        if (index % 3 == 1 && i % 4 == 0)
            Put(pack, path, bytes + "rewritten");
        if (index % 5 == 2 && i % 3 == 0)
            (void)pack.DeleteFile(path.c_str()); // the result carries nothing
    }
    (void)pack.Close();
    // Create added ".vrb"; the corpus keeps the plain seed name.
    std::rename((base + ".vrb").c_str(), base.c_str());
}

/// Rule file `index`: rules of every kind, wild-card and raw patterns, priorities, group
/// references, comments and lines that are skipped, in growing numbers.
void WriteRules(const std::string &folder, int index) {
    static const char *const kLines[] = {
        "PATHRULE \"...<*>.ini\" :10 tag=\"$1\" type=\"TIniFile\" donotcompile=\"true\"",
        "PATHRULE \"textures/<*>.tga\" tag=\"$1\" type=\"TTexture\"",
        "\"models\\<...>.x\" :3 tag=\"$1\" type=\"TMesh\" sourcefiletype=\"TXFile\"",
        "TAGRULE \"\"^wall_(\\d+)$\"\" default=\"wall_0\" tag=\"wall$1\"",
        "TYPERULE \"TMesh\" :1 default=\"TBox\"",
        "# a comment line",
        "PATHRULE \"data/*.{txt}\" :2 usebinaryassource=\"TRUE\" NoDependencyChecking=\"true\"",
        "PATHRULE \"\"(a|b)+[0-9]?\"\" :7 k=\"$1$1\"",
        "PATHRULE \"sounds/*.wav\" dontaddfilestobank=\"true\" tag=\"$0\"",
        "TAGRULE \"*\" :4294967295 tag=\"any\"",
        "",
        "PATHRULE \"\"[unclosed\"\" k=\"never\"",
    };
    constexpr int kCount = sizeof kLines / sizeof kLines[0];
    std::mt19937 random(static_cast<unsigned>(100 + index));
    std::string text;
    for (int i = 0; i <= index % 12 + index / 12; ++i) {
        text += kLines[random() % kCount];
        text += (random() % 2 != 0) ? "\r\n" : "\n";
    }
    char name[48];
    std::snprintf(name, sizeof name, "/seed-%02d.rre", index);
    FILE *f = std::fopen((folder + name).c_str(), "wb");
    if (f == nullptr)
        return;
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus-dir>\n", argv[0]);
        return 2;
    }
    const std::string folder = std::string(argv[1]) + "/PackIndex";
    ::mkdir(folder.c_str(), 0777);
    for (int i = 0; i < kSeeds; ++i)
        WritePack(folder, i);
    const std::string rules = std::string(argv[1]) + "/RuleFile";
    ::mkdir(rules.c_str(), 0777);
    for (int i = 0; i < kSeeds; ++i)
        WriteRules(rules, i);
    return 0;
}
