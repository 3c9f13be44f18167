// Lines for the split-string tests and the fuzz corpus, written from known fields by small
// writers of each syntax: plain joins at one delimiter, CSV quoting and command-line quoting.
// The round-trip tests check that the splitters give the fields back.
#pragma once

#include <string>
#include <vector>

namespace vlib::test {

struct TSplitLineSample {
    enum TKind { Plain, Csv, Command };
    TKind kind;
    char delimiter; // the plain split's delimiter; ',' or ' ' for the quoted syntaxes
    std::string line;
    std::vector<std::string> fields;
};

/// Joins fields with the delimiter, as the table and configuration writers do.
inline std::string JoinPlain(const std::vector<std::string> &fields, char delimiter) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (i != 0)
            line += delimiter;
        line += fields[i];
    }
    return line;
}

/// Writes one CSV line: a field with a comma or a quote is quoted, its quotes doubled.
inline std::string JoinCsv(const std::vector<std::string> &fields) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (i != 0)
            line += ',';
        const std::string &field = fields[i];
        if (field.find_first_of(",\"") == std::string::npos) {
            line += field;
            continue;
        }
        line += '"';
        for (char c : field) {
            if (c == '"')
                line += '"';
            line += c;
        }
        line += '"';
    }
    return line;
}

/// Writes one command line: an empty field or one with a blank is quoted; quotes and
/// backslashes are escaped, and so is a blank outside quotes.
inline std::string JoinCommand(const std::vector<std::string> &fields) {
    std::string line;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (i != 0)
            line += ' ';
        const std::string &field = fields[i];
        const bool quote = field.empty() || field.find(' ') != std::string::npos;
        if (quote)
            line += '"';
        for (char c : field) {
            if (c == '"' || c == '\\')
                line += '\\';
            line += c;
        }
        if (quote)
            line += '"';
    }
    return line;
}

/// Samples of every kind: lines as the configuration layer, the tables, the profiler output
/// and the command line produce them.
inline std::vector<TSplitLineSample> MakeSplitLineSamples() {
    using Fields = std::vector<std::string>;
    std::vector<TSplitLineSample> samples;
    const struct {
        char delimiter;
        Fields fields;
    } plain[] = {
        {',', {"1", "2", "3", "42", "-7"}},
        {',', {"Name", "Width", "Height", "Depth", ""}},
        {',', {"<Chunk", "name=Terrain", "version=3>"}},
        {',', {"</Chunk", "name=Terrain>"}},
        {',', {"Brick", " 0.5", "\t1.0 ", "", "", "end"}},
        {' ', {"key", "", "value", "with", "blanks"}},
        {'=', {"DebugOutputPath", "../temp/"}},
        {';', {"a", "b", "c:", ""}},
        {'|', {"", "", ""}},
        {',', Fields(140, "x")},
    };
    for (const auto &p : plain)
        samples.push_back(
            {TSplitLineSample::Plain, p.delimiter, JoinPlain(p.fields, p.delimiter), p.fields});

    const Fields csv[] = {
        {"File", "Size", "Reads", "Bytes", "Time"},
        {"../Resource/Terrain.vrb", "1048576", "12", "786432", "0.031"},
        {"a,b", "c\"d", "", "plain"},
        {"\"quoted\"", "", ""},
        {""},
        {"", ""},
        {" spaced ", "tab\there", "semi;colon"},
        {"He said \"hi, there\"", "x"},
        {"1,2,3", "4,5,6"},
        {"trailing", ""},
    };
    for (const Fields &fields : csv)
        samples.push_back({TSplitLineSample::Csv, ',', JoinCsv(fields), fields});

    const Fields command[] = {
        {"-cfg", "Section", "Key", "value"},
        {"game", "-window", "-width", "1024"},
        {"-data", "C:/Program Files/Game/data"},
        {"say", "\"quoted\" word"},
        {"back\\slash", "path\\to\\file"},
        {"", "empty", ""},
        {"tab\tinside", "x"},
        {"mixed \"all\\ of\" it"},
        {"a"},
        {"-cfg", "Debug", "LogFile", "../logs/run 1.txt"},
    };
    for (const Fields &fields : command)
        samples.push_back({TSplitLineSample::Command, ' ', JoinCommand(fields), fields});
    return samples;
}

} // namespace vlib::test
