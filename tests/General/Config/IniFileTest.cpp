#include "General/Config/IniFile.h"

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "General/Maths/Vector.h"
#include "General/Streams/RealFile.h"
#include "Support/FileFaults.h"
#include "Support/TempDir.h"

using TString = TIniFile::TString;

namespace {

/// A readable memory file holding `text`.
struct TTextFile {
    explicit TTextFile(const std::string &text) {
        EXPECT_TRUE(file.Open(6, static_cast<int>(text.size())));
        if (!text.empty())
            std::memcpy(file.GetBuffer(), text.data(), text.size());
    }
    TManagedFileBuf file;
};

void Load(TIniFile &ini, const std::string &text) {
    TTextFile source(text);
    ASSERT_TRUE(ini.LoadAscii(&source.file));
}

std::string SaveText(TIniFile &ini) {
    TManagedFileBuf out;
    EXPECT_TRUE(out.Open(4, 0));
    EXPECT_TRUE(ini.SaveAscii(&out));
    return std::string(reinterpret_cast<const char *>(out.GetBuffer()),
                       static_cast<size_t>(out.Length()));
}

std::vector<std::string> Lines(const TIniFile &ini) {
    std::vector<std::string> lines;
    for (int i = 0; i < ini.GetNumLines(); ++i)
        lines.emplace_back(ini.GetLine(i));
    return lines;
}

std::vector<std::string> Sections(TIniFile &ini) {
    std::vector<std::string> names;
    while (const char *name = ini.GetNextSection())
        names.emplace_back(name);
    return names;
}

std::string Get(TIniFile &ini, const char *section, const char *key) {
    TString value;
    if (!ini.GetIniString(section, key, value))
        return "<absent>";
    return value.GetData();
}

} // namespace

TEST(IniFile, LinesAndSectionsOfAText) {
    const std::string longLine(5000, 'x');
    struct Case {
        const char *title;
        std::string text;
        std::vector<std::string> lines;
        std::vector<std::string> sections;
    };
    const Case cases[] = {
        {"LF endings", "[a]\nk=v\n", {"[a]", "k=v"}, {"a"}},
        {"CRLF endings", "[a]\r\nk=v\r\n\r\n[b]\r\n", {"[a]", "k=v", "[b]"}, {"a", "b"}},
        {"no final newline", "[a]\nk=v", {"[a]", "k=v"}, {"a"}},
        {"header on the last line", "k=v\n[end]", {"k=v", "[end]"}, {"end"}},
        {"blank lines vanish, blanks stay", "\n\n \n[a]\n\n", {" ", "[a]"}, {"a"}},
        {"only blank lines", "\n\r\n\n", {}, {}},
        {"empty file", "", {}, {}},
        {"names are not trimmed", "[ a b ]\n", {"[ a b ]"}, {" a b "}},
        {"empty section name", "[]\n", {"[]"}, {""}},
        {"missing bracket", "[abc\n[abc] \n]x[\n", {"[abc", "[abc] ", "]x["}, {}},
        {"byte-order mark is text",
         "\xEF\xBB\xBF[a]\nk=v\n[b]\n",
         {"\xEF\xBB\xBF[a]", "k=v", "[b]"},
         {"b"}},
        {"zero byte ends a line", std::string("ab\0cd\n[s]\n", 10), {"ab", "[s]"}, {"s"}},
        {"lone CR stays inside", "a\rb\n", {"a\rb"}, {}},
        {"overlong line",
         longLine + "\n[s]\n",
         {std::string(4094, 'x'), std::string(5000 - 4095, 'x'), "[s]"},
         {"s"}},
        {"line of 4094 and its LF",
         std::string(4094, 'y') + "\nk=v\n",
         {std::string(4094, 'y'), "k=v"},
         {}},
        {"line of 4095 loses its last character",
         std::string(4095, 'z') + "\nk=v\n",
         {std::string(4094, 'z'), "k=v"},
         {}},
        {"4094 characters at the very end", std::string(4094, 'w'), {std::string(4094, 'w')}, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        TIniFile ini;
        Load(ini, c.text);
        EXPECT_EQ(Lines(ini), c.lines);
        EXPECT_EQ(Sections(ini), c.sections);
    }
}

TEST(IniFile, KeyLookupRules) {
    TIniFile ini;
    Load(ini, "before=0\n[s]\nkey=\na=1\nb =2\n c=3\n;x=4\n# comment\nd=x=y\n=empty\nA=5\n"
              "[t]\nkey=t\n");
    struct Case {
        const char *section;
        const char *key;
        const char *value;
    };
    constexpr Case kCases[] = {
        {"s", "key", ""},            // an empty value is found, not defaulted
        {"S", "A", "1"},             // sections and keys fold case; the first a wins over A
        {"s", "a ", "<absent>"},     // keys must have the same length
        {"s", "b", "<absent>"},      // "b " is the key
        {"s", "b ", "2"},            //
        {"s", " c", "3"},            //
        {"s", ";x", "4"},            // no comment syntax
        {"s", "d", "x=y"},           // a later '=' is part of the value
        {"s", "", "empty"},          // the empty key
        {"t", "key", "t"},           //
        {"s", "before", "<absent>"}, // lines before the first header are out of reach
        {"nowhere", "key", "<absent>"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(std::string(c.section) + "/" + c.key);
        EXPECT_EQ(Get(ini, c.section, c.key), c.value);
    }

    TString out("unchanged");
    EXPECT_FALSE(ini.GetIniString("s", "missing", out));
    EXPECT_STREQ(out, "unchanged");
    ini.GetIniString("s", "missing", "fallback", out);
    EXPECT_STREQ(out, "fallback");
    EXPECT_EQ(ini.GetIniInt("s", "a", -1), 1);
    EXPECT_EQ(ini.GetIniInt("s", "none", -1), -1);

    char buffer[4] = {'Q', 'Q', 'Q', 'Q'};
    ini.GetIniString("s", "d", "", buffer, 3); // strncpy: fills without a terminator
    EXPECT_EQ(std::string(buffer, 4), "x=yQ");
    ini.GetIniString("s", "missing", "ab", buffer, 4);
    EXPECT_EQ(std::string(buffer, 4), std::string("ab\0\0", 4)); // and pads
}

TEST(IniFile, IntReadsTheFirstTwentyCharacters) {
    TIniFile ini;
    Load(ini, "[n]\nbig=12345678901234567890123\nneg=-42xyz\nhex=0x10\n");
    EXPECT_EQ(ini.GetIniInt("n", "neg", 0), -42);
    EXPECT_EQ(ini.GetIniInt("n", "hex", 7), 0);
    // atoi of a 20-digit text saturates; what matters is that nothing past 20 is read.
    EXPECT_EQ(ini.GetIniInt("n", "big", 0), ini.GetIniInt("n", "big", 1));
}

TEST(IniFile, DuplicatesFirstOneWins) {
    TIniFile ini;
    std::string text;
    for (int i = 0; i < 40; ++i) // enough sections for the name index to take over
        text += "[s" + std::to_string(i) + "]\nk=" + std::to_string(i) + "\n";
    text += "[S7]\nk=late\nonly=here\n[dup]\nk=1\nk=2\n";
    Load(ini, text);
    EXPECT_EQ(Get(ini, "s7", "k"), "7");
    EXPECT_EQ(Get(ini, "s7", "only"), "<absent>"); // the second [S7] is never reached
    EXPECT_EQ(Get(ini, "dup", "k"), "1");
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(Get(ini, ("S" + std::to_string(i)).c_str(), "K"), std::to_string(i));
}

TEST(IniFile, SectionCursorFollowsReads) {
    TIniFile ini;
    Load(ini, "[a]\nx=1\n[b]\nx=2\n[c]\nx=3\n");
    EXPECT_EQ(Get(ini, "b", "x"), "2");
    // A missing section leaves the cursor on b; a missing key in c moves it to c.
    EXPECT_EQ(Get(ini, "zz", "x"), "<absent>");
    EXPECT_STREQ(ini.GetNextSection(), "c");
    EXPECT_EQ(Get(ini, "b", "missing"), "<absent>");
    EXPECT_STREQ(ini.GetNextSection(), "c");
    EXPECT_EQ(ini.GetNextSection(), nullptr);
    EXPECT_EQ(ini.GetNextSection(), nullptr);
}

TEST(IniFile, WriteIniStringPlacesLines) {
    TIniFile ini;
    Load(ini, "top=1\n[a]\nx=1\n[b]\ny=2\n[c]\nz=3\n");
    ini.WriteIniString("b", "new", "v");  // middle section: before the next header
    ini.WriteIniString("c", "last", "w"); // last section: at the end
    ini.WriteIniString("A", "X", "9");    // existing key: replaced, caller's case
    ini.WriteIniString("d", "k", "v");    // a new section at the end
    EXPECT_EQ(Lines(ini), (std::vector<std::string>{"top=1", "[a]", "X=9", "[b]", "y=2", "new=v",
                                                    "[c]", "z=3", "last=w", "[d]", "k=v"}));
    // Later sections are still found after the insertions.
    EXPECT_EQ(Get(ini, "c", "z"), "3");
    EXPECT_EQ(Get(ini, "c", "last"), "w");
    EXPECT_EQ(Get(ini, "d", "k"), "v");
    EXPECT_EQ(Get(ini, "b", "new"), "v");

    TIniFile empty;
    empty.WriteIniString("s", "k", "v");
    EXPECT_EQ(Lines(empty), (std::vector<std::string>{"[s]", "k=v"}));

    // An empty section takes its first entry right behind its header.
    TIniFile gaps;
    Load(gaps, "[e]\n[f]\nq=1\n");
    gaps.WriteIniString("e", "k", "v");
    EXPECT_EQ(Lines(gaps), (std::vector<std::string>{"[e]", "k=v", "[f]", "q=1"}));
    EXPECT_EQ(Get(gaps, "f", "q"), "1");
}

TEST(IniFile, SavedTextAndRoundTrip) {
    TIniFile ini;
    Load(ini, "[first]\n[second]\nk=v\n\n\nplain\n[third]\n");
    EXPECT_EQ(SaveText(ini), "[first]\n\n[second]\nk=v\nplain\n\n[third]\n");

    // What our writer makes loads back and saves byte for byte the same.
    const std::string canonical = "head\n\n[s1]\na=1\n\n[S2]\nb = 2\n;c=3\n";
    TIniFile first;
    Load(first, canonical);
    EXPECT_EQ(SaveText(first), canonical);
    TIniFile second;
    Load(second, SaveText(first));
    EXPECT_EQ(SaveText(second), canonical);
}

TEST(IniFile, LoadsOnlyOnce) {
    TIniFile ini;
    Load(ini, "[a]\nk=1\n");
    TTextFile again("[b]\n");
    EXPECT_FALSE(ini.LoadAscii(&again.file));
    EXPECT_EQ(Lines(ini), (std::vector<std::string>{"[a]", "k=1"}));
    ini.FreeMemory();
    EXPECT_EQ(ini.GetNumLines(), 0);
    TTextFile third("[c]\n");
    EXPECT_FALSE(ini.LoadAscii(&third.file)); // loaded stays set
    EXPECT_FALSE(ini.LoadAscii(nullptr));

    TIniFile fresh;
    EXPECT_FALSE(fresh.LoadAscii(nullptr));
    EXPECT_EQ(fresh.GetNumLines(), 0);
}

TEST(IniFile, LineEditing) {
    TIniFile ini;
    Load(ini, "[a]\nx=1\n");
    EXPECT_EQ(ini.GetLine(2), nullptr);
    EXPECT_EQ(ini.GetLine(-1), nullptr);
    ini.ResetPos();
    ini.Next();
    EXPECT_STREQ(ini.GetCurrentLine(), "x=1");
    ini.SetCurrentLine("x=2");
    EXPECT_EQ(Get(ini, "a", "x"), "2");
    ini.AppendLine("[b]");
    ini.AppendLine("y=3");
    EXPECT_EQ(Get(ini, "b", "y"), "<absent>"); // not a section until loaded again
    ini.SetPos(99);
    EXPECT_EQ(ini.GetCurrentLine(), nullptr);
    ini.SetCurrentLine("ignored");
    EXPECT_EQ(ini.GetNumLines(), 4);
}

TEST(IniFile, RenameAndRemoveSections) {
    TIniFile ini;
    Load(ini, "top\n[Keep]\na=1\n[drop]\nb=2\n[other]\nc=3\n[KEEP2]\nd=4\n");
    ini.RenameSection("DROP", "gone");
    EXPECT_STREQ(ini.GetLine(ini.GetPos()), "[gone]");
    EXPECT_EQ(Get(ini, "gone", "b"), "2");
    ini.RenameSection("absent", "x");
    EXPECT_STREQ(ini.GetLine(3), "[gone]");

    ini.RemoveUnneededSections("keep,Keep2");
    EXPECT_EQ(Lines(ini), (std::vector<std::string>{"top", "[Keep]", "a=1", "[KEEP2]", "d=4"}));
    EXPECT_EQ(Sections(ini), (std::vector<std::string>{"Keep", "KEEP2"}));
    EXPECT_EQ(Get(ini, "keep2", "d"), "4");

    TLibVector<char *> none;
    ini.RemoveUnneededSections(none);
    EXPECT_EQ(Lines(ini), (std::vector<std::string>{"top"}));
}

TEST(IniFile, SaveNeedsANameAndWritesIt) {
    vlib::test::TTempDir dir;
    TIniFile memory;
    memory.WriteIniString("s", "k", "v");
    EXPECT_FALSE(memory.Save());
    const std::string path = dir.File("saved.ini");
    memory.SetFilename(path.c_str());
    EXPECT_STREQ(memory.GetFilename(), path.c_str());
    TIniFile::AcceptVersion(0, 1);
    ASSERT_TRUE(memory.Save());
    EXPECT_FALSE(TIniFile::GotVersion);
    EXPECT_EQ(TIniFile::GivenAsciiVersion, -1);
    std::ifstream in(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "[s]\nk=v\n");

    TIniFile unwritable;
    unwritable.SetFilename((dir.Path() + "/no/such/dir.ini").c_str());
    EXPECT_FALSE(unwritable.Save());
}

TEST(IniFile, ShortWritesAreFailures) {
    vlib::test::TTempDir dir;
    std::string text;
    for (int i = 0; i < 3000; ++i)
        text += "[section" + std::to_string(i) + "]\nkey=value " + std::to_string(i) + "\n";
    TIniFile ini;
    Load(ini, text);
    struct Case {
        const char *title;
        bool shortWrite;
        uint64_t call;
    };
    constexpr Case kCases[] = {
        {"first write refused", false, 1},
        {"a later write refused", false, 3},
        {"a write half done", true, 2},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.title);
        TRealFile file;
        ASSERT_TRUE(file.Open(TString(dir.File("short.ini").c_str()), 4));
        vlib::test::TFileFaultGuard faults;
        (c.shortWrite ? faults->ShortWrite : faults->Write).Arm(c.call);
        EXPECT_FALSE(ini.SaveAscii(&file));
        (void)file.Close();
    }
    // The same through Save.
    ini.SetFilename(dir.File("save.ini").c_str());
    {
        vlib::test::TFileFaultGuard faults;
        faults->Write.Arm(2);
        EXPECT_FALSE(ini.Save());
    }
    EXPECT_TRUE(ini.Save());
}

TEST(IniFile, FailedAllocationsLeakNothing) {
    // Few sections: the name index, which has a fallback of its own, is not involved.
    std::string text;
    for (int i = 0; i < 6; ++i)
        text += "[s" + std::to_string(i) + "]\nk=" + std::to_string(i) + "\n";
    TTextFile source(text);
    const int attempts = vlib::test::RunUntilAllocationsSucceed([&] {
        EXPECT_TRUE(source.file.Seek(0, TFileObj::SeekStart));
        auto *ini = new TIniFile;
        if (ini == nullptr)
            return false;
        const bool loaded = static_cast<bool>(ini->LoadAscii(&source.file));
        const bool complete = loaded && ini->GetNumLines() == 12;
        if (loaded)
            EXPECT_TRUE(complete);
        // An edit that ran out of memory leaves the document as it was.
        ini->WriteIniString("s3", "added", "1");
        const bool added = ini->GetIniInt("s3", "added", 0) == 1;
        EXPECT_EQ(ini->GetNumLines(), (loaded ? 12 : 0) + (added ? (loaded ? 1 : 2) : 0));
        delete ini;
        return loaded && added;
    });
    EXPECT_GT(attempts, 1);
}

TEST(IniFile, LookupWithoutMemoryForTheIndexSearchesLinearly) {
    std::string text;
    for (int i = 0; i < 50; ++i)
        text += "[s" + std::to_string(i) + "]\nk=" + std::to_string(i) + "\n";
    TIniFile ini;
    Load(ini, text);
    {
        vlib::test::TAllocatorFaultGuard guard;
        GetAllocatorInstance().Faults().Arm(1, true);
        EXPECT_EQ(ini.GetIniInt("S42", "K", -1), 42);
        EXPECT_EQ(ini.GetIniInt("s7", "k", -1), 7);
    }
    EXPECT_EQ(ini.GetIniInt("s43", "k", -1), 43);
}

TEST(IniFile, CopyOwnsItsLines) {
    TIniFile ini;
    Load(ini, "[a]\nk=1\n");
    ini.SetFilename("x.ini");
    TIniFile copy(ini);
    ini.WriteIniString("a", "k", "2");
    EXPECT_EQ(Get(copy, "a", "k"), "1");
    EXPECT_STREQ(copy.GetFilename(), "x.ini");
    TIniFile assigned;
    assigned = ini;
    EXPECT_EQ(Get(assigned, "a", "k"), "2");
}

TEST(IniFile, VersionsAndFactory) {
    struct Case {
        bool gotVersion;
        bool ascii;
        uint32_t version;
        bool valid;
    };
    constexpr Case kCases[] = {
        {false, false, 1, true}, {false, false, 0, false}, {true, false, 1, true},
        {false, true, 0, true},  {false, true, 1, true},   {false, true, 2, false},
        {true, true, 0, true},   {true, true, 1, false},
    };
    TIniFile ini;
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.gotVersion << c.ascii << c.version);
        TIniFile::GotVersion = c.gotVersion;
        EXPECT_EQ(ini.IsValidVersion(c.version, c.ascii), c.valid);
    }
    // A load outside a resource list forgets the version given.
    TIniFile::AcceptVersion(3, 4);
    EXPECT_EQ(TIniFile::GivenBinaryVersion, 4);
    Load(ini, "");
    EXPECT_FALSE(TIniFile::GotVersion);
    EXPECT_EQ(TIniFile::GivenAsciiVersion, -1);
    EXPECT_TRUE(TIniFile::AllowMissing);

    TResourceFactory *factory = ini.GetFactory();
    EXPECT_EQ(factory, &TIniFile::mFactory);
    EXPECT_STREQ(factory->GetName(), "TIniFile");
    EXPECT_EQ(factory->GetID(), TResource::StrToID("TIniFile"));
    EXPECT_EQ(factory->GetVersion(true), 0u);
    EXPECT_EQ(factory->GetVersion(false), 1u);
    EXPECT_FALSE(factory->HasVersionedSource() || factory->CanCompile() ||
                 factory->HasDependencies());
    EXPECT_TRUE(factory->CanLoadSource());
    EXPECT_EQ(TResourceFactoryRegistry::Find(TResource::StrToID("tinifile")), factory);
    TResource *made = factory->New();
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->GetRefCount(), 1u);
    EXPECT_EQ(made->ReleaseRef(), nullptr);
    TLibVector<TDependency> dependencies;
    ini.GetDependencies(dependencies);
    EXPECT_TRUE(dependencies.empty());
}

namespace {

/// A memory file that a text output filter writes into; Text() gives what it holds.
struct TOutput {
    TOutput() {
        EXPECT_TRUE(file.Open(4, 0));
        EXPECT_TRUE(filter.Open(&file));
    }
    std::string Text() {
        return std::string(reinterpret_cast<const char *>(file.GetBuffer()),
                           static_cast<size_t>(file.Length()));
    }
    TManagedFileBuf file;
    TAsciiOutFilter filter;
};

/// A text input filter over `text`.
struct TInput {
    explicit TInput(const std::string &text) : source(text) {
        EXPECT_TRUE(filter.Open(&source.file));
    }
    TTextFile source;
    TAsciiInFilter filter;
};

} // namespace

TEST(IniFileStream, WritersProduceTheirShapes) {
    TOutput out;
    TLibVector<TString> strings;
    strings.push_back("a");
    strings.push_back("b c");
    TLibVector<int> ints{3, -4};
    TLibVector<float> floats{0.5f};
    TIniFile::WriteNextIniString("name", "value", out.filter);
    TIniFile::WriteNextIniInt("count", -12, out.filter);
    TIniFile::WriteNextIniFloat("ratio", 1.25f, out.filter);
    TIniFile::WriteNextIniBool("on", true, out.filter);
    TIniFile::WriteNextIniBool("off", false, out.filter);
    TIniFile::WriteNextIniStringVec("list", strings, out.filter);
    TIniFile::WriteNextIniIntVec("ints", ints, out.filter);
    TIniFile::WriteNextIniFloatVec("floats", floats, out.filter);
    EXPECT_TRUE(TIniFile::WriteNextSectionHeader("Next", out.filter));
    EXPECT_EQ(out.Text(), "name=value\ncount=-12\nratio=1.250000\non=true\noff=false\n"
                          "list={a, b c}\nints=2\n{ 3 -4 }\nfloats=1\n{ 0.500000 }\n\n[Next]\n");
}

TEST(IniFileStream, ReadersTakeEntriesInOrder) {
    TInput in("# a comment\n[section headers are passed over]\nname=value=more\n\n"
              "count=-12\nratio=1.250000\non=true\nlist={a, b c}\nints=2\n{ 3 -4 }\n"
              "floats=1\n{ 0.500000 }\npos=1.5,-2\n");
    char name[TIniFile::kMaxLineLength];
    TString text;
    ASSERT_TRUE(TIniFile::GetNextIniString(text, in.filter, name));
    EXPECT_STREQ(name, "name");
    EXPECT_STREQ(text, "value=more");
    int count = 0;
    ASSERT_TRUE(TIniFile::CheckNextIniInt("whatever", count, in.filter));
    EXPECT_EQ(count, -12);
    float ratio = 0;
    ASSERT_TRUE(TIniFile::GetNextIniFloat(ratio, in.filter, name));
    EXPECT_EQ(ratio, 1.25f);
    bool on = false;
    ASSERT_TRUE(TIniFile::GetNextIniBool(on, in.filter));
    EXPECT_TRUE(on);
    TLibVector<TString> list;
    list.push_back("kept");
    ASSERT_TRUE(TIniFile::GetNextIniStringVec(list, in.filter));
    ASSERT_EQ(list.size(), 3u);
    EXPECT_STREQ(list[1], "a");
    EXPECT_STREQ(list[2], "b c");
    TLibVector<int> ints{99};
    ASSERT_TRUE(TIniFile::GetNextIniIntVec(ints, in.filter));
    EXPECT_EQ(ints, (TLibVector<int>{3, -4}));
    TLibVector<float> floats;
    ASSERT_TRUE(TIniFile::CheckNextIniFloatVec("floats", floats, in.filter));
    EXPECT_EQ(floats, (TLibVector<float>{0.5f}));
    TVector2 position(0, 0);
    ASSERT_TRUE(TIniFile::GetNextIniVector2(&position, in.filter));
    EXPECT_EQ(position.x, 1.5f);
    EXPECT_EQ(position.y, -2.0f);
    // The file is used up: every reader fails and leaves its value.
    EXPECT_FALSE(TIniFile::GetNextIniString(text, in.filter));
    EXPECT_FALSE(TIniFile::GetNextIniInt(count, in.filter));
    EXPECT_EQ(count, -12);
    TLibVector<int> none{1};
    EXPECT_FALSE(TIniFile::GetNextIniIntVec(none, in.filter));
    EXPECT_TRUE(none.empty());
}

TEST(IniFileStream, BoolIsExact) {
    struct Case {
        const char *line;
        bool ok;
        bool value;
    };
    constexpr Case kCases[] = {
        {"b=true", true, true},   {"b=false", true, false}, {"b=True", false, true},
        {"b=true ", false, true}, {"b=1", false, true},     {"b=", false, true},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.line);
        TInput in(std::string(c.line) + "\n");
        bool value = true;
        EXPECT_EQ(static_cast<bool>(TIniFile::GetNextIniBool(value, in.filter)), c.ok);
        EXPECT_EQ(value, c.value);
    }
}

TEST(IniFileStream, StringVectorSeparators) {
    struct Case {
        const char *value;
        std::vector<std::string> items;
    };
    const Case cases[] = {
        {"{a,,b}", {"a", ",b"}},
        {"{}", {}},
        {"{ a , b\t}", {"a", "b"}},
        {"{a, ,b}", {"a", "", "b"}},
        {"{a,b", {"a"}},  // nothing stands behind a last separator
        {"a,b}", {",b"}}, // the first character counts as a separator unseen
        {"", {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.value);
        TInput in(std::string("v=") + c.value + "\n");
        TLibVector<TString> items;
        EXPECT_TRUE(TIniFile::GetNextIniStringVec(items, in.filter));
        std::vector<std::string> got;
        for (const TString &item : items)
            got.emplace_back(item.GetData());
        EXPECT_EQ(got, c.items);
    }
}

TEST(IniFileStream, NumberVectorWithAnOverstatedCount) {
    TInput in("v=2000000000\n{ 1 2 3 }\n");
    TLibVector<int> values;
    EXPECT_TRUE(TIniFile::GetNextIniIntVec(values, in.filter));
    EXPECT_LE(values.size(), 5u); // stops at the end of the data, allocates nothing more
    EXPECT_EQ(values[0], 1);
}

TEST(IniFileStream, SectionHeaders) {
    {
        TInput in("a=1\n[First]\nx\nb]c\n[Last]");
        TString name;
        ASSERT_TRUE(TIniFile::GetNextSectionHeader(name, in.filter));
        EXPECT_STREQ(name, "First");
        ASSERT_TRUE(TIniFile::GetNextSectionHeader(name, in.filter));
        EXPECT_STREQ(name, "b"); // no '[': from the start up to ']'
        // A header on the last line counts as the end of the file.
        EXPECT_FALSE(TIniFile::CheckNextSectionHeader("Last", in.filter));
    }
    {
        TInput in("[open\nmore\n");
        TString name;
        ASSERT_TRUE(TIniFile::GetNextSectionHeader(name, in.filter));
        EXPECT_STREQ(name, "open");
    }
}

TEST(IniFileStream, StandardStreams) {
    vlib::test::TTempDir dir;
    const std::string path = dir.File("std.ini");
    {
        std::ofstream out(path, std::ios::binary);
        TIniFile::WriteNextIniString("s", "text", out);
        TIniFile::WriteNextIniInt("i", 42, out);
        TIniFile::WriteNextIniFloat("f", 2.5f, out);
        out << "last=no newline";
    }
    std::ifstream in(path, std::ios::binary);
    TString text;
    int i = 0;
    float f = 0;
    char name[TIniFile::kMaxLineLength];
    ASSERT_TRUE(TIniFile::GetNextIniString(text, in, name));
    EXPECT_STREQ(name, "s");
    EXPECT_STREQ(text, "text");
    ASSERT_TRUE(TIniFile::GetNextIniInt(i, in));
    EXPECT_EQ(i, 42);
    ASSERT_TRUE(TIniFile::GetNextIniFloat(f, in));
    EXPECT_EQ(f, 2.5f);
    // The last line hits the end of the stream: the state is not clean after it.
    EXPECT_FALSE(TIniFile::GetNextIniString(text, in));
    EXPECT_STREQ(text, "no newline");
    EXPECT_FALSE(TIniFile::GetNextIniInt(i, in));
}

TEST(IniFileScanner, WalksSectionsAndEntries) {
    TTextFile source("top=0\n[ Alpha ]\n name \t= value \n=skipped\nn=7\n[beta]\nf=2.5\nlast=1");
    TIniFileScanner scanner;
    ASSERT_TRUE(scanner.Open(&source.file));
    TString name;
    ASSERT_TRUE(scanner.SeekNextSection(name));
    EXPECT_STREQ(name, " Alpha ");
    TIniFileScanner::TIniNameValuePair pair;
    ASSERT_TRUE(scanner.GetNextEntry(pair));
    EXPECT_STREQ(pair.name, " name"); // trailing blanks go, leading ones stay
    EXPECT_STREQ(pair.value, "value ");
    ASSERT_TRUE(scanner.GetNextEntry(pair)); // an empty key leaves the pair alone
    EXPECT_STREQ(pair.name, " name");
    ASSERT_TRUE(scanner.GetNextEntry(pair));
    EXPECT_EQ(pair.intValue, 7);
    EXPECT_FALSE(scanner.GetNextEntry(pair)); // the next header, read again next time
    ASSERT_TRUE(scanner.SeekNextSection(name));
    EXPECT_STREQ(name, "beta");

    ASSERT_TRUE(scanner.GetEntry(TString("LAST"), pair)); // an entry on the last line is found
    EXPECT_EQ(pair.intValue, 1);
    ASSERT_TRUE(scanner.GetEntry(TString("BETA"), TString("F"), pair));
    EXPECT_EQ(pair.floatValue, 2.5f);
    EXPECT_FALSE(scanner.GetEntry(TString("beta"), TString("none"), pair));
    EXPECT_FALSE(scanner.SeekSection(TString("gamma")));
    scanner.CloseLayer();
    EXPECT_TRUE(source.file.IsOpen()); // only the filter went
}

TEST(IniFileScanner, HeaderOnTheLastLineIsNotFound) {
    TTextFile source("[a]\nk=v\n[z]");
    TIniFileScanner scanner;
    ASSERT_TRUE(scanner.Open(&source.file));
    TString name;
    EXPECT_TRUE(scanner.SeekNextSection(name));
    EXPECT_FALSE(scanner.SeekNextSection(name));
    EXPECT_FALSE(scanner.SeekSection(TString("z")));
    scanner.Close();
    EXPECT_FALSE(source.file.IsOpen()); // Close takes the file with it
}

TEST(IniFileScanner, OpensAFileByName) {
    vlib::test::TTempDir dir;
    const std::string path = dir.File("scan.ini");
    std::ofstream(path, std::ios::binary) << "[video]\nwidth=1024\nheight=768\n[audio]\nvol=0.5\n";
    TIniFileScanner scanner;
    EXPECT_FALSE(scanner.Open(TString(dir.File("missing.ini").c_str())));
    ASSERT_TRUE(scanner.Open(TString(path.c_str())));
    TIniFileScanner::TIniNameValuePair pair;
    ASSERT_TRUE(scanner.GetEntry(TString("video"), TString("height"), pair));
    EXPECT_EQ(pair.intValue, 768);
    ASSERT_TRUE(scanner.GetEntry(TString("audio"), TString("vol"), pair));
    EXPECT_EQ(pair.floatValue, 0.5f);
}

namespace {

std::string SaveBinary(TIniFile &ini) {
    TManagedFileBuf out;
    EXPECT_TRUE(out.Open(4, 0));
    EXPECT_TRUE(ini.SaveBinary(&out));
    return std::string(reinterpret_cast<const char *>(out.GetBuffer()),
                       static_cast<size_t>(out.Length()));
}

std::string SampleText() {
    std::string text = "; settings of the demo\n\n[video]\nwidth=1280\nheight=720\n";
    for (int i = 0; i < 400; ++i)
        text += "\n[level" + std::to_string(i) + "]\nname=Level " + std::to_string(i) +
                "\nscore=" + std::to_string(i * 37) + "\n";
    return text;
}

} // namespace

TEST(IniFileBinary, RoundTripsByteForByte) {
    TIniFile ini;
    Load(ini, SampleText());
    const std::string packed = SaveBinary(ini);
    EXPECT_LT(packed.size(), SampleText().size() / 4);

    TIniFile back;
    TTextFile source(packed);
    ASSERT_TRUE(back.LoadBinary(&source.file));
    EXPECT_TRUE(source.file.IsOpen()); // only the inflate layer was taken off
    EXPECT_EQ(Lines(back), Lines(ini));
    EXPECT_EQ(SaveText(back), SampleText());
    EXPECT_EQ(SaveBinary(back), packed);
    EXPECT_EQ(Get(back, "level399", "score"), std::to_string(399 * 37));
}

TEST(IniFileBinary, DamagedDataFailsAndLeavesNothing) {
    TIniFile ini;
    Load(ini, SampleText());
    const std::string packed = SaveBinary(ini);
    std::string flipped = packed;
    flipped[flipped.size() / 2] = static_cast<char>(flipped[flipped.size() / 2] ^ 0x55);
    const std::string cases[] = {
        packed.substr(0, packed.size() / 2), // cut in the middle
        packed.substr(0, packed.size() - 3), // the checksum cut short
        packed.substr(0, 1),
        "not a deflate stream at all",
        flipped,
    };
    for (const std::string &bytes : cases) {
        SCOPED_TRACE(bytes.size());
        TIniFile broken;
        TTextFile source(bytes);
        EXPECT_FALSE(broken.LoadBinary(&source.file));
        EXPECT_EQ(broken.GetNumLines(), 0);
        EXPECT_EQ(broken.GetNextSection(), nullptr);
        // Not loaded: a good load may follow.
        TTextFile good(packed);
        EXPECT_TRUE(broken.LoadBinary(&good.file));
    }
    TIniFile empty;
    TTextFile nothing("");
    EXPECT_FALSE(empty.LoadBinary(&nothing.file));
    EXPECT_FALSE(empty.LoadBinary(nullptr));
}

TEST(IniFileBinary, ShortWritesAreFailures) {
    vlib::test::TTempDir dir;
    TIniFile ini;
    Load(ini, SampleText() + SampleText() + SampleText());
    // Every write of the compressed stream in turn comes up short; past the last one the
    // save succeeds.
    for (uint64_t call = 1;; ++call) {
        SCOPED_TRACE(call);
        TRealFile file;
        ASSERT_TRUE(file.Open(TString(dir.File("packed.bin").c_str()), 4));
        vlib::test::TFileFaultGuard faults;
        faults->ShortWrite.Arm(call);
        const bool saved = static_cast<bool>(ini.SaveBinary(&file));
        const bool hit = faults->ShortWrite.GetFailures() != 0;
        (void)file.Close();
        EXPECT_NE(saved, hit);
        if (!hit) {
            EXPECT_GT(call, 1u);
            break;
        }
    }
    // A failing flush at the end of the stream is caught as well.
    TRealFile file;
    ASSERT_TRUE(file.Open(TString(dir.File("flush.bin").c_str()), 4));
    vlib::test::TFileFaultGuard faults;
    faults->Flush.Arm(1);
    EXPECT_FALSE(ini.SaveBinary(&file));
    (void)file.Close();
}

TEST(IniFileBinary, FailedAllocationsLeakNothing) {
    TIniFile ini;
    Load(ini, "[a]\nk=1\n[b]\nk=2\n");
    const std::string packed = SaveBinary(ini);
    TTextFile source(packed);
    const int attempts = vlib::test::RunUntilAllocationsSucceed([&] {
        EXPECT_TRUE(source.file.Seek(0, TFileObj::SeekStart));
        TIniFile back;
        const bool loaded = static_cast<bool>(back.LoadBinary(&source.file));
        if (!loaded)
            EXPECT_EQ(back.GetNumLines(), 0);
        return loaded && back.GetIniInt("b", "k", 0) == 2;
    });
    EXPECT_GT(attempts, 1);
}

namespace {

/// Document number `n` of the fuzz seeds: sections, entries and kept lines of many shapes,
/// built through the editing interface and the one-entry writers.
void BuildSeed(TIniFile &ini, int n) {
    if (n % 3 == 0)
        ini.AppendLine("; a line before every section");
    const int sections = 1 + n % 5;
    for (int s = 0; s < sections; ++s) {
        const std::string section = (n % 4 == 1 ? " Spaced " : "Section") + std::to_string(s);
        for (int k = 0; k <= (n + s) % 6; ++k)
            ini.WriteIniString(section.c_str(), ("key" + std::to_string(k)).c_str(),
                               std::string(static_cast<size_t>(k * n % 17), 'v').c_str());
    }
    if (n % 2 == 0)
        ini.WriteIniString("Empty", "", "empty key");
    if (n % 5 == 0)
        ini.AppendLine("[NoClose");
    if (n % 7 == 0)
        ini.AppendLine(std::string(300 + n * 10, 'L').c_str());
    // A block of one-entry writer output kept as lines of its own section.
    TOutput out;
    TLibVector<int> ints{n, -n, 7};
    TLibVector<float> floats{0.25f * static_cast<float>(n)};
    TLibVector<TString> strings;
    strings.push_back("alpha");
    strings.push_back("beta");
    TIniFile::WriteNextSectionHeader("Streamed", out.filter);
    TIniFile::WriteNextIniInt("int", n * 1000 - 7, out.filter);
    TIniFile::WriteNextIniFloat("float", 1.5f * static_cast<float>(n), out.filter);
    TIniFile::WriteNextIniBool("bool", n % 2 == 0, out.filter);
    TIniFile::WriteNextIniStringVec("strings", strings, out.filter);
    TIniFile::WriteNextIniIntVec("ints", ints, out.filter);
    TIniFile::WriteNextIniFloatVec("floats", floats, out.filter);
    TIniFile streamed;
    Load(streamed, out.Text());
    for (int i = 0; i < streamed.GetNumLines(); ++i)
        ini.AppendLine(streamed.GetLine(i));
}

void WriteSeed(const char *directory, const char *format, int n, const std::string &bytes) {
    const std::string path =
        std::string(directory) + "/" + format + "/seed_" + (n < 10 ? "0" : "") + std::to_string(n);
    std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace

// Builds the seed corpora of the two INI fuzz targets from our own writers, and proves each
// seed round-trips. With VLIB_FUZZ_CORPUS_DIR set (to the repository's fuzz/corpus) it also
// writes them there.
TEST(IniFile, WriterOutputSeedsTheFuzzCorpus) {
    const char *directory = std::getenv("VLIB_FUZZ_CORPUS_DIR");
    for (int n = 0; n < 24; ++n) {
        SCOPED_TRACE(n);
        TIniFile ini;
        BuildSeed(ini, n);
        const std::string text = SaveText(ini);
        const std::string packed = SaveBinary(ini);
        TIniFile fromText;
        Load(fromText, text);
        EXPECT_EQ(SaveText(fromText), text);
        TIniFile fromBinary;
        TTextFile source(packed);
        ASSERT_TRUE(fromBinary.LoadBinary(&source.file));
        EXPECT_EQ(SaveText(fromBinary), text);
        if (directory != nullptr) {
            WriteSeed(directory, "IniText", n, text);
            WriteSeed(directory, "IniBinary", n, packed);
        }
    }
}

// The loader cuts lines in blocks for speed; it must give exactly what a loop over the text
// filter's line reader gives, on awkward and on random text.
TEST(IniFile, LoaderCutsLinesAsTheLineReaderDoes) {
    auto reference = [](const std::string &text) {
        TTextFile source(text);
        TAsciiInFilter in;
        EXPECT_TRUE(in.Open(&source.file));
        std::vector<std::string> lines;
        std::vector<char> buffer(TIniFile::kMaxLineLength);
        while (in.AtEOF() == 0) {
            in.GetLine(buffer.data(), TIniFile::kMaxLineLength, '\n');
            if (buffer[0] != '\0')
                lines.emplace_back(buffer.data());
        }
        in.CloseLayer();
        return lines;
    };
    std::vector<std::string> texts = {
        std::string(4093, 'a') + "\r\n" + std::string(4094, 'b') + "\r\n",
        std::string(4094, 'c') + "\r" + std::string(8200, 'd'),
        std::string("x\0y\r\nz\r\0\n\r\r\n", 12),
        std::string(4095, 'e') + "\n\n" + std::string(4096, 'f'),
    };
    uint32_t seed = 2024;
    const char alphabet[] = "ab[]=\n\n\r ;\0";
    for (int n = 0; n < 200; ++n) {
        std::string text;
        const int length = static_cast<int>((seed >> 7) % 9000);
        for (int i = 0; i < length; ++i) {
            seed = seed * 1664525u + 1013904223u;
            // Mostly short lines, now and then a run long enough to be cut.
            if ((seed >> 24) == 7)
                text.append(4000 + (seed >> 12) % 200, 'L');
            else
                text.push_back(alphabet[(seed >> 16) % (sizeof alphabet - 1)]);
        }
        texts.push_back(text);
    }
    for (size_t i = 0; i < texts.size(); ++i) {
        SCOPED_TRACE(i);
        TIniFile ini;
        Load(ini, texts[i]);
        EXPECT_EQ(Lines(ini), reference(texts[i]));
    }
}
