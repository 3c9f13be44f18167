// StrToID: the published FNV-1 values, case folding of A-Z only, the 255-byte cut and null.
// Expectations beyond the pinned literals come from a plain reference loop written here.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "General/Core/StrToID.h"

namespace {

/// FNV-1 over `text` as given, no folding and no cut: the reference the tests compare with.
uint32_t ReferenceFnv1(const std::string &text) {
    uint32_t hash = 0x811C9DC5u;
    for (unsigned char c : text)
        hash = (hash * 0x01000193u) ^ c;
    return hash;
}

TEST(StrToID, MatchesPublishedFnv1Values) {
    struct Case {
        const char *Name;
        uint32_t Id;
    };
    // FNV-1 (not FNV-1a) 32-bit values of lower-case texts.
    constexpr Case kCases[] = {
        {"", 0x811C9DC5u},
        {"a", 0x050C5D7Eu},
        {"abc", 0x439C2F4Bu},
        {"foobar", 0x31F0B262u},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.Name);
        EXPECT_EQ(StrToID(c.Name), c.Id);
        EXPECT_EQ(ReferenceFnv1(c.Name), c.Id);
    }
}

TEST(StrToID, NullIsTheEmptyName) {
    EXPECT_EQ(StrToID(nullptr), 0x811C9DC5u);
}

TEST(StrToID, IgnoresCaseOfLatinLettersOnly) {
    EXPECT_EQ(StrToID("Foo.INI"), StrToID("foo.ini"));
    EXPECT_EQ(StrToID("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), StrToID("abcdefghijklmnopqrstuvwxyz"));
    EXPECT_EQ(StrToID("Textures/Characters/HERO_Diffuse.DDS"),
              ReferenceFnv1("textures/characters/hero_diffuse.dds"));
    // Bytes beside the A-Z range and bytes above 0x7F keep their value.
    struct Case {
        const char *Name;
    };
    constexpr Case kUnfolded[] = {{"@"}, {"["}, {"`"}, {"{"}, {"\xC4"}, {"\xE4"}, {"\xFF"}};
    for (const Case &c : kUnfolded) {
        SCOPED_TRACE(static_cast<int>(static_cast<unsigned char>(c.Name[0])));
        EXPECT_EQ(StrToID(c.Name), ReferenceFnv1(c.Name));
    }
    EXPECT_NE(StrToID("\xC4"), StrToID("\xE4"));
}

TEST(StrToID, AgreesWithReferenceOnResourceNames) {
    const char *const kNames[] = {
        "textures/characters/hero_diffuse.dds",
        "levels/harbour/props/crate_03.mesh",
        "sounds/ui/click.wav",
        "TComponent",
        "config/game.ini",
        "a/b/c/d/e/f/g/h/i/j/k/l/m/n/o/p/q/r/s/t/u/v/w/x/y/z.bin",
    };
    for (const char *name : kNames) {
        SCOPED_TRACE(name);
        std::string lower(name);
        for (char &c : lower)
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
        EXPECT_EQ(StrToID(name), ReferenceFnv1(lower));
    }
}

TEST(StrToID, HashesOnlyTheFirst255Bytes) {
    const std::string base(254, 'x');
    // 254 and 255 bytes still differ; from 255 on only the prefix counts.
    EXPECT_NE(StrToID(base.c_str()), StrToID((base + "y").c_str()));
    const std::string full = base + "y";
    EXPECT_EQ(StrToID((full + "z").c_str()), StrToID(full.c_str()));
    EXPECT_EQ(StrToID((full + std::string(300, 'q')).c_str()), ReferenceFnv1(full));
}

} // namespace
