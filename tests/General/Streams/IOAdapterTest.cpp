#include "General/Streams/IOAdapter.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "General/Streams/AsciiFilter.h"
#include "General/Streams/DeflateFilter.h"
#include "General/Streams/FileBuf.h"

using TString = TIOAdapter::TString;

namespace {

const char *kColours[] = {"Red", "Green", "Blue"};

/// One object with a field of every kind, streamed by one routine both ways.
struct TSample {
    int count = 0;
    unsigned int big = 0;
    unsigned long id = 0;
    unsigned short port = 0;
    signed char offset = 0;
    unsigned char level = 0;
    float ratio = 0.0f;
    bool enabled = false;
    __int64 stamp = 0;
    TString title;
    unsigned char raw[5] = {};
    unsigned long flags = 0;
    int colour = 0;
    TLibVector<int> ints;
    TLibVector<unsigned short> shorts;
    TLibVector<unsigned long> longs;
    TLibVector<float> floats;
    TLibVector<bool> bools;
    TLibVector<TString> strings;
    TLibMap<unsigned long, int> map;
    int unnamedBinaryOnly = 0;

    void Stream(TIOAdapter &io) {
        io.StreamInt(count, "Count");
        io.StreamUnsignedInt(big, "Big");
        io.StreamComment("; the identity follows");
        io.StreamLong(id, "Id");
        io.StreamShort(port, "Port");
        io.StreamSignedByte(offset, "Offset");
        io.StreamByte(level, "Level");
        io.StreamFloat(ratio, "Ratio");
        io.StreamBool(enabled, "Enabled");
        io.StreamInt64(stamp, "Stamp");
        io.StreamString(title, "Title");
        io.StreamRaw(raw, 5, "Raw");
        io.StreamBit(flags, 0x4, "Visible");
        io.StreamBits(flags, 0xF0, "Layer");
        io.StreamTaggedEnum(colour, kColours, 3, "Colour");
        io.StreamIntVector(ints, "Ints");
        io.StreamShortVector(shorts, "Shorts");
        io.StreamLongVector(longs, "Longs");
        io.StreamFloatVector(floats, "Floats");
        io.StreamBoolVector(bools, "Bools");
        io.StreamStringVector(strings, "Strings");
        io.StreamIntMap(map, "Map", "Key", "Value");
        if (io.GetBinaryFile() != nullptr)
            io.StreamUnnamedInteger(unnamedBinaryOnly);
    }

    static TSample Filled() {
        TSample s;
        s.count = -12;
        s.big = 0x80000005u;
        s.id = 0xDEADBEEFul;
        s.port = 65000;
        s.offset = -100;
        s.level = 200;
        s.ratio = 0.75f;
        s.enabled = true;
        s.stamp = 0x100000002ll;
        s.title = "A title, with = and blanks ";
        std::memcpy(s.raw, "r\naw\0", 5);
        s.flags = 0x4 | 0x30 | 0x1000;
        s.colour = 2;
        s.ints = {1, -2, 300000};
        s.shorts = {0, 65535};
        s.longs = {7, 0xFFFFFFFFul};
        s.floats = {1.5f, -0.25f};
        s.bools = {true, false, true};
        s.strings.push_back("first");
        s.strings.push_back("second one");
        s.map[3] = 30;
        s.map[1] = 10;
        s.unnamedBinaryOnly = 99;
        return s;
    }

    void ExpectEqual(const TSample &o) const {
        EXPECT_EQ(count, o.count);
        EXPECT_EQ(big, o.big);
        EXPECT_EQ(id, o.id);
        EXPECT_EQ(port, o.port);
        EXPECT_EQ(offset, o.offset);
        EXPECT_EQ(level, o.level);
        EXPECT_EQ(ratio, o.ratio);
        EXPECT_EQ(enabled, o.enabled);
        EXPECT_EQ(stamp, o.stamp);
        EXPECT_STREQ(title, o.title);
        EXPECT_EQ(std::memcmp(raw, o.raw, 5), 0);
        EXPECT_EQ(flags & 0xF4, o.flags & 0xF4);
        EXPECT_EQ(colour, o.colour);
        EXPECT_EQ(ints, o.ints);
        EXPECT_EQ(shorts, o.shorts);
        EXPECT_EQ(longs, o.longs);
        EXPECT_EQ(floats, o.floats);
        EXPECT_EQ(bools, o.bools);
        ASSERT_EQ(strings.size(), o.strings.size());
        for (size_t i = 0; i < strings.size(); ++i)
            EXPECT_STREQ(strings[i], o.strings[i]);
        EXPECT_EQ(map, o.map);
    }
};

std::string Bytes(TManagedFileBuf &file) {
    return std::string(reinterpret_cast<const char *>(file.GetBuffer()),
                       static_cast<size_t>(file.Length()));
}

/// A readable memory file over `bytes`.
struct TSource {
    explicit TSource(const std::string &bytes) {
        EXPECT_TRUE(file.Open(6, static_cast<int>(bytes.size())));
        if (!bytes.empty())
            std::memcpy(file.GetBuffer(), bytes.data(), bytes.size());
    }
    TManagedFileBuf file;
};

std::string WriteBinary(TSample &sample) {
    TManagedFileBuf file;
    EXPECT_TRUE(file.Open(4, 0));
    TIOAdapter io(&file, true);
    sample.Stream(io);
    EXPECT_FALSE(io.IsBad());
    return Bytes(file);
}

std::string WriteText(TSample &sample) {
    TManagedFileBuf file;
    EXPECT_TRUE(file.Open(4, 0));
    TAsciiOutFilter out;
    EXPECT_TRUE(out.Open(&file));
    TIOAdapter io(&out);
    sample.Stream(io);
    EXPECT_FALSE(io.IsBad());
    out.CloseLayer();
    return Bytes(file);
}

} // namespace

TEST(IOAdapter, OneRoutineReadsWhatItWroteInBothForms) {
    TSample written = TSample::Filled();
    {
        SCOPED_TRACE("binary");
        const std::string bytes = WriteBinary(written);
        TSource source(bytes);
        TSample read;
        TIOAdapter io(&source.file, false);
        read.Stream(io);
        read.ExpectEqual(written);
        EXPECT_EQ(read.unnamedBinaryOnly, 99);
        EXPECT_TRUE(io.AtEOF());
        EXPECT_EQ(WriteBinary(read), bytes);
    }
    {
        SCOPED_TRACE("text");
        const std::string text = WriteText(written);
        TSource source(text);
        TAsciiInFilter in;
        ASSERT_TRUE(in.Open(&source.file));
        TSample read;
        TIOAdapter io(&in);
        read.Stream(io);
        TSample expected = written;
        expected.title = "A title, with = and blanks ";
        read.ExpectEqual(expected);
        EXPECT_EQ(WriteText(read), text);
    }
}

TEST(IOAdapter, BinaryFormUnderDeflate) {
    TSample written = TSample::Filled();
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(6, 0));
    {
        TDeflateFilter deflate;
        ASSERT_TRUE(deflate.Open(&file, TDeflateFilter::DeflateDefault));
        TIOAdapter io(&deflate, true);
        written.Stream(io);
        deflate.CloseLayer();
    }
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    TInflateFilter inflate;
    ASSERT_TRUE(inflate.Open(&file));
    TIOAdapter io(&inflate, false);
    TSample read;
    read.Stream(io);
    read.ExpectEqual(written);
    inflate.CloseLayer();
}

TEST(IOAdapter, TextLines) {
    TSample sample = TSample::Filled();
    const std::string text = WriteText(sample);
    const std::string head = "Count=-12\nBig=-2147483643\n\n; the identity follows\n"
                             "Id=-559038737\nPort=65000\nOffset=-100\nLevel=200\n"
                             "Ratio=0.750000\nEnabled=true\nStamp(lo)=2\nStamp(hi)=1\n"
                             "Title=A title, with = and blanks \nRaw=Raw:\nr\naw";
    ASSERT_GE(text.size(), head.size() + 1);
    EXPECT_EQ(text.substr(0, head.size()), head);
    // The raw bytes end in a zero; the next value starts right behind them.
    const std::string tail = std::string("\0", 1) +
                             "Visible=true\nLayer=48\nColour=Blue\nInts=3\n{ 1 -2 300000 }\n"
                             "Shorts=2\nValue=0\nValue=65535\nLongs=2\nValue=7\nValue=-1\n"
                             "Floats=2\n{ 1.500000 -0.250000 }\nBools=3\nValue=true\n"
                             "Value=false\nValue=true\nStrings=2\nString=first\n"
                             "String=second one\nMap=2\nKey=1\nValue=10\nKey=3\nValue=30\n";
    EXPECT_EQ(text.substr(head.size()), tail);
}

TEST(IOAdapter, BinaryBytes) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4, 0));
    TIOAdapter io(&file, true);
    int i = 0x01020304;
    unsigned short s = 0xA1B2;
    bool b = true;
    __int64 w = 0x0102030405060708ll;
    TString empty;
    TString text("hi");
    float f = 1.0f;
    io.StreamInt(i, "i");
    io.StreamShort(s, "s");
    io.StreamBool(b, "b");
    io.StreamInt64(w, "w");
    io.StreamString(empty, "e");
    io.StreamString(text, "t");
    io.StreamFloat(f, "f");
    const std::string expected("\x04\x03\x02\x01"
                               "\xB2\xA1"
                               "\x01"
                               "\x08\x07\x06\x05\x04\x03\x02\x01"
                               "\x00\x00\x00\x00"
                               "\x02\x00\x00\x00hi"
                               "\x00\x00\x80\x3F",
                               29);
    EXPECT_EQ(Bytes(file), expected);
}

TEST(IOAdapter, ReadingEdgeCases) {
    // Blank lines and lines without '=' fall away; names are not compared.
    {
        TSource source("\n\nnot a value\nOther=12\n");
        TAsciiInFilter in;
        ASSERT_TRUE(in.Open(&source.file));
        TIOAdapter io(&in);
        int age = 0;
        io.StreamInt(age, "Age");
        EXPECT_EQ(age, 12);
        io.StreamInt(age, "Age"); // the input has ended: the field keeps its value
        EXPECT_EQ(age, 12);
        EXPECT_GT(io.GetLineNumber(), 1);
    }
    // An empty string on file leaves the old text; a stored bool of 2 is true.
    {
        TSource source(std::string("\0\0\0\0\x02", 5));
        TIOAdapter io(&source.file, false);
        TString kept("kept");
        io.StreamString(kept, "s");
        EXPECT_STREQ(kept, "kept");
        bool flag = false;
        io.StreamBool(flag, "b");
        EXPECT_TRUE(flag);
    }
    // A string with a line end does not survive text form.
    {
        TSample sample;
        sample.title = "two\nlines";
        TSample back;
        TSource source(WriteText(sample));
        TAsciiInFilter in;
        ASSERT_TRUE(in.Open(&source.file));
        TIOAdapter io(&in);
        back.Stream(io);
        EXPECT_STREQ(back.title, "two");
    }
    // An unknown tag leaves the value; a bool that is neither word leaves the value.
    {
        TSource source("Colour=Purple\nEnabled=yes\n");
        TAsciiInFilter in;
        ASSERT_TRUE(in.Open(&source.file));
        TIOAdapter io(&in);
        int colour = 1;
        io.StreamTaggedEnum(colour, kColours, 3, "Colour");
        EXPECT_EQ(colour, 1);
        bool enabled = true;
        io.StreamBool(enabled, "Enabled");
        EXPECT_TRUE(enabled);
    }
    // A short read keeps the old bytes.
    {
        TSource source(std::string("\x01\x02", 2));
        TIOAdapter io(&source.file, false);
        int value = 77;
        io.StreamInt(value, "v");
        EXPECT_EQ(value, 77);
    }
}

TEST(IOAdapter, DamagedCountsCostNoMoreThanTheData) {
    // Counts of two billion with a few bytes behind them.
    const std::string bytes("\xFF\xFF\xFF\x7F"
                            "\x01\x00\x00\x00",
                            8);
    {
        TSource source(bytes);
        TIOAdapter io(&source.file, false);
        TLibVector<int> ints;
        io.StreamIntVector(ints, "v");
        EXPECT_EQ(ints, TLibVector<int>{1});
    }
    {
        TSource source(bytes);
        TIOAdapter io(&source.file, false);
        TString text("old");
        io.StreamString(text, "s");
        EXPECT_STREQ(text, "old");
    }
    {
        TSource source(bytes);
        TIOAdapter io(&source.file, false);
        TLibVector<TString> strings;
        io.StreamStringVector(strings, "v");
        EXPECT_LE(strings.size(), 1u);
        TLibMap<unsigned long, int> map;
        TSource again(bytes);
        TIOAdapter io2(&again.file, false);
        io2.StreamIntMap(map, "m", "k", "v");
        EXPECT_LE(map.size(), 1u);
    }
}

TEST(IOAdapter, LongStringsArriveWhole) {
    TString text;
    text.CreateFilled(200000, 'q');
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(6, 0));
    TIOAdapter writer(&file, true);
    writer.StreamString(text, "s");
    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    TIOAdapter reader(&file, false);
    TString back;
    reader.StreamString(back, "s");
    EXPECT_EQ(back.GetLength(), 200000);
    EXPECT_TRUE(back == text);
}

TEST(IOAdapter, RawAndCommentsInText) {
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(6, 0));
    TAsciiOutFilter out;
    ASSERT_TRUE(out.Open(&file));
    TIOAdapter writer(&out);
    int a = 1, b = 2;
    unsigned char raw[3] = {'x', '=', 'y'};
    writer.StreamInt(a, "A");
    writer.StreamComment("comment = not a value");
    writer.StreamRaw(raw, 3, "Blob");
    writer.StreamInt(b, "B");
    int unnamed = 5;
    writer.StreamUnnamedInteger(unnamed); // writes nothing in text
    out.CloseLayer();
    EXPECT_EQ(Bytes(file), "A=1\n\ncomment = not a value\nBlob=Raw:\nx=yB=2\n");

    ASSERT_TRUE(file.Seek(0, TFileObj::SeekStart));
    TAsciiInFilter in;
    ASSERT_TRUE(in.Open(&file));
    TIOAdapter reader(&in);
    int a2 = 0, b2 = 0;
    unsigned char raw2[3] = {};
    reader.StreamInt(a2, "A");
    reader.StreamComment("");
    reader.StreamRaw(raw2, 3, "Blob");
    reader.StreamInt(b2, "B");
    EXPECT_EQ(a2, 1);
    EXPECT_EQ(std::memcmp(raw2, raw, 3), 0);
    EXPECT_EQ(b2, 2);
}

TEST(IOAdapter, PositionAndState) {
    TSource source("abcdefgh");
    TIOAdapter io(&source.file, false);
    io.SeekToMark(); // no mark: nothing happens
    unsigned char byte = 0;
    io.StreamByte(byte, "b");
    EXPECT_EQ(byte, 'a');
    io.SetMark();
    io.StreamByte(byte, "b");
    io.StreamByte(byte, "b");
    io.SeekToMark();
    io.StreamByte(byte, "b");
    EXPECT_EQ(byte, 'b');
    io.SeekToMark(5);
    EXPECT_FALSE(io.AtEOF(2)); // three bytes left: position + extra reaches the length
    EXPECT_TRUE(io.AtEOF(3));
    EXPECT_TRUE(io.AtEOF(4));
    io.SeekToMark(-1);
    EXPECT_FALSE(io.AtEOF(2));
    EXPECT_FALSE(io.IsBad());
    io.SetBad();
    EXPECT_TRUE(io.IsBad());
    EXPECT_TRUE(source.file.IsBad());
    EXPECT_STREQ(io.GetFileName(), "ManagedFileBuf");
    EXPECT_EQ(io.GetLineNumber(), 0);

    TIOAdapter none(static_cast<TFileObj *>(nullptr), false);
    int value = 3;
    none.StreamInt(value, "v");
    TLibVector<TString> strings;
    none.StreamStringVector(strings, "s");
    EXPECT_EQ(value, 3);
    EXPECT_TRUE(none.IsBad());
    EXPECT_TRUE(none.AtEOF());
    EXPECT_STREQ(none.GetFileName(), "");
}

TEST(RootTrack, CountsBinaryWritesByName) {
    TRootTrack track;
    TRootTrack::SetGlobalTracking(&track);
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4, 0));
    TIOAdapter io(&file, true);
    int i = 1;
    TString text("abc");
    TLibVector<float> floats{1, 2};
    unsigned char raw[6] = {};
    io.StreamInt(i, "Int");
    io.StreamInt(i, "Int");
    io.StreamString(text, "Text");
    io.StreamFloatVector(floats, "Floats");
    io.StreamRaw(raw, 6, "Raw");
    TRootTrack::SetGlobalTracking(nullptr);
    io.StreamInt(i, "Int"); // nobody counts any more
    EXPECT_EQ(track.GetEntries().at("Int"), 8);
    EXPECT_EQ(track.GetEntries().at("Text"), 7);
    EXPECT_EQ(track.GetEntries().at("Floats"), 12);
    EXPECT_EQ(track.GetEntries().at("Raw"), 6);

    TRootTrack other;
    other.Track("Int", 4);
    other.Track("New", 1);
    other.AddInstance(100);
    track.AddInstance(10);
    track.AddInstance(5);
    track.Combine(other);
    EXPECT_EQ(track.GetEntries().at("Int"), 12);
    EXPECT_EQ(track.GetEntries().at("New"), 1);
    EXPECT_EQ(track.GetInstances(), 2); // the summary figures stay
    EXPECT_EQ(track.GetTotal(), 15);

    TManagedFileBuf text_file;
    ASSERT_TRUE(text_file.Open(4, 0));
    TAsciiOutFilter out;
    ASSERT_TRUE(out.Open(&text_file));
    track.Output("Obj", out, false, false);
    EXPECT_EQ(text_file.Length(), 0);
    track.Output("Obj", out, true, true);
    EXPECT_EQ(Bytes(text_file), "Obj, 2, 15\nObj::Floats, 12\nObj::Int, 12\nObj::New, 1\n"
                                "Obj::Raw, 6\nObj::Text, 7\n");
}
