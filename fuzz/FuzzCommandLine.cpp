// Fuzz target of the command-line parser and the "--cfg" source built on it. The input is one
// command line. Every arg must have a name or a parameter, names must start with the switch
// character, no token may be empty, and an unquoted token holds no blank; every "--cfg"
// triple must be found again through the source.
#include <cstdint>
#include <cstring>
#include <string>

#include "General/Config/CommandLine.h"
#include "General/Config/ConfigInfo.h"

#include "FuzzCheck.h"

using vlib::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    // The parser reads C text: everything behind a zero byte is not part of it.
    const std::string text(reinterpret_cast<const char *>(data), size);
    const char *line = text.c_str();

    TCommandLine parsed;
    parsed.Parse(line, '-', " \t");
    size_t tokens = 0;
    for (int i = 0; i < parsed.GetNumArgs(); ++i) {
        const TCommandLineArg &arg = parsed.GetArg(i);
        Check(!arg.name.IsEmpty() || !arg.parameters.empty());
        Check(arg.name.IsEmpty() || arg.name.GetCharacter(0) == '-');
        Check(i == 0 || !arg.name.IsEmpty()); // only the first arg can be unnamed
        tokens += (arg.name.IsEmpty() ? 0 : 1) + arg.parameters.size();
        for (const TDynamicString &parameter : arg.parameters) {
            Check(!parameter.IsEmpty());
            Check(parameter.GetCharacter(0) != '-');
        }
        Check(parsed.GetArg(arg.name) != nullptr || arg.name.IsEmpty());
    }
    Check(tokens <= std::strlen(line)); // each token takes at least one byte of the text

    // Parsing the same text again appends the same args behind the first ones.
    const int first = parsed.GetNumArgs();
    parsed.Parse(line, '-', " \t");
    Check(parsed.GetNumArgs() == 2 * first);

    TConfigFileCommandLine source(line);
    for (int i = 0; i < first; ++i) {
        const TCommandLineArg &arg = parsed.GetArg(i);
        if (arg.name.Compare("--cfg", false) != 0 || arg.parameters.size() < 3)
            continue;
        TDynamicString value;
        Check(source.Read(arg.parameters[0], arg.parameters[1], value));
    }
    TDynamicString value("unchanged");
    if (!source.Read(TDynamicString("no such"), TDynamicString("section"), value))
        Check(value == "unchanged");
    return 0;
}
