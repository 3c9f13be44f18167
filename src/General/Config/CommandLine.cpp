// The command-line splitter: one pass over the text, tokens appended to the current switch.
#include "General/Config/CommandLine.h"

#include <cstring>
#include <utility>

void TCommandLine::Parse(const char *text, char switchChar, const char * /*delimiters*/) {
    if (text == nullptr)
        return;
    TCommandLineArg current;
    auto flush = [&] {
        if (!current.name.IsEmpty() || !current.parameters.empty())
            m_Args.push_back(std::move(current));
        current = TCommandLineArg();
    };

    const char *p = text;
    while (*p != '\0') {
        while (*p == ' ')
            ++p;
        if (*p == '\0')
            break;
        const char *start;
        const char *end;
        if (*p == '"') {
            start = ++p;
            const char *close = std::strchr(p, '"');
            end = close != nullptr ? close : p + std::strlen(p);
            p = close != nullptr ? close + 1 : end;
        } else {
            start = p;
            while (*p != '\0' && *p != ' ')
                ++p;
            end = p;
        }
        if (end == start)
            continue;
        TDynamicString token(start, static_cast<unsigned>(end - start));
        if (*start == switchChar) {
            flush();
            current.name = std::move(token);
        } else {
            current.parameters.push_back(std::move(token));
        }
    }
    flush();
}

TDynamicString TCommandLine::Join(int count, const char *const *args) {
    TDynamicString line;
    for (int i = 0; i < count; ++i) {
        const char *arg = args[i] != nullptr ? args[i] : "";
        const bool quote = arg[0] == '\0' || std::strchr(arg, ' ') != nullptr;
        if (i > 0)
            line.Append(' ');
        if (quote)
            line.Append('"');
        line.Append(arg);
        if (quote)
            line.Append('"');
    }
    return line;
}

const TCommandLineArg *TCommandLine::GetArg(const TDynamicString &name) const {
    for (const TCommandLineArg &arg : m_Args)
        if (arg.name.Compare(name.GetData(), false) == 0)
            return &arg;
    return nullptr;
}
