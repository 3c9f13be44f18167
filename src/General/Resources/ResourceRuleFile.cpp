// Loading and querying rule files. Each rule line gives a pattern, a priority and key/value
// pairs; every pair becomes one compiled rule under its priority and key. A query formats the
// values of every matching rule, one parameter list per priority.
#include "General/Resources/ResourceRuleFile.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "General/Core/Detail/NoThrow.h"
#include "General/Resources/Detail/RulePattern.h"
#include "General/Streams/FileSystem.h"
#include "General/Streams/RealFile.h"

namespace {

constexpr const char *kWhiteSpace = " \t\r\n";

/// The literal text a wild-card pattern ends with, which every input it matches ends with
/// too; empty when that cannot be told simply (an alternation, non-ASCII text).
std::string LiteralTail(const char *pattern) {
    const std::string text(pattern);
    if (text.find('|') != std::string::npos)
        return std::string(); // "^a|b$" is anchored at one end per branch only
    size_t start = text.size();
    while (start > 0) {
        const unsigned char c = static_cast<unsigned char>(text[start - 1]);
        if (c >= 0x80 || std::strchr("*<>?\\", c) != nullptr)
            break;
        if (c == '.' && start >= 3 && text.compare(start - 3, 3, "...") == 0)
            break;
        --start;
    }
    // Dots in a run of three or more stop the walk, so every byte kept is literal text.
    return text.substr(start);
}

} // namespace

TRule::TRule() = default;
TRule::TRule(TRule &&other) noexcept = default;
TRule &TRule::operator=(TRule &&other) noexcept = default;
TRule::~TRule() = default;

TResourceRuleFile::TResourceRuleFile(const TDynamicString &keyword)
    : m_Keyword(keyword), m_KeywordLost(m_Keyword.GetLength() != keyword.GetLength()) {}
TResourceRuleFile::~TResourceRuleFile() = default;

namespace {

/// The regular expression a wild-card pattern stands for, without the anchors.
std::string WildcardToRegex(const char *pattern) {
    std::string out;
    for (const char *p = pattern; *p != '\0'; ++p) {
        const char c = *p;
        switch (c) {
        case '$':
        case '(':
        case ')':
        case '+':
        case '[':
        case ']':
        case '^':
        case '{':
        case '}':
            out += '\\';
            out += c;
            break;
        case '*':
            out += "[^/]*";
            break;
        case '.':
            if (p[1] == '.' && p[2] == '.') {
                out += ".*?";
                p += 2;
            } else {
                out += "\\.";
            }
            break;
        case '<':
            out += '(';
            break;
        case '>':
            out += ')';
            break;
        case '\\':
            out += '/';
            break;
        default:
            out += c;
            break;
        }
    }
    return out;
}

/// Copies text into a library string. A copy that came out short is the exhausted heap: it
/// is raised, so that the load it belongs to fails as a whole instead of losing a rule.
TDynamicString CopyWhole(const char *text, size_t length) {
    TDynamicString copy(text, static_cast<unsigned>(length));
    if (static_cast<size_t>(copy.GetLength()) != length)
        throw std::bad_alloc();
    return copy;
}

} // namespace

TDynamicString TResourceRuleFile::TranslateWildcard(const char *pattern) {
    return vlib::detail::CallNoThrow(
        [&] {
            const std::string regex = WildcardToRegex(pattern);
            return CopyWhole(regex.data(), regex.size());
        },
        TDynamicString());
}

void TResourceRuleFile::ParseLine(TDynamicString line) {
    line.Trim(kWhiteSpace);
    if (line.IsEmpty() || line.GetCharacter(0) == '#' || line.GetLength() >= kMaxLine)
        return;

    const char *rest = line.GetData();
    const bool bareRule = line.GetCharacter(0) == '"' && m_Keyword.Compare("PATHRULE", false) == 0;
    if (!bareRule) {
        const int end = line.FindAny(kWhiteSpace);
        const int wordLength = end < 0 ? line.GetLength() : end;
        if (m_Keyword.GetLength() != wordLength ||
            m_Keyword.Compare(line.GetData(), false, wordLength) != 0)
            return;
        rest = line.GetData() + wordLength + (end < 0 ? 0 : 1);
    }

    // Lines are shorter than kMaxLine, so no field can outgrow these buffers.
    char pattern[kMaxLine];
    char key[kMaxLine];
    char value[kMaxLine];
    int used = -1;
    std::string expression;
    std::string requiredSuffix;
    if (std::sscanf(rest, "\"\"%1023[^\"]\"\"%n", pattern, &used) == 1 && used >= 0) {
        expression = pattern;
    } else {
        used = -1;
        if (std::sscanf(rest, "\"%1023[^\"]\"%n", pattern, &used) != 1 || used < 0)
            return;
        expression = WildcardToRegex(pattern);
        requiredSuffix = LiteralTail(pattern);
    }
    rest += used;

    unsigned int priority = 0;
    used = -1;
    if (std::sscanf(rest, " :%u%n", &priority, &used) == 1 && used >= 0)
        rest += used;
    TRuleGroup &group = m_Groups[priority];

    const std::string anchored = "^" + expression + "$";
    for (;;) {
        used = -1;
        if (std::sscanf(rest, " %1023[^=]=\"%1023[^\"]\"%n", key, value, &used) != 2 || used < 0)
            break;
        rest += used;
        TRule rule;
        rule.Pattern = vlib::detail::TRulePattern::Compile(anchored, requiredSuffix);
        if (rule.Pattern == nullptr)
            continue; // a pattern that does not compile loses its pair
        rule.Format = CopyWhole(value, std::strlen(value));
        TDynamicString lowerKey = CopyWhole(key, std::strlen(key));
        lowerKey.LowerCase();
        auto [entry, added] = group.try_emplace(lowerKey);
        if (added && entry->first.GetLength() != lowerKey.GetLength()) {
            group.erase(entry); // the map's own copy of the name came out short
            throw std::bad_alloc();
        }
        TRuleKey &ruleKey = entry->second;
        ruleKey.Key = CopyWhole(lowerKey.GetData(), static_cast<size_t>(lowerKey.GetLength()));
        ruleKey.Rules.push_back(std::move(rule));
    }
}

bool TResourceRuleFile::LoadText(const char *text, size_t size) {
    if (m_KeywordLost)
        return false;
    return vlib::detail::CallNoThrow([&]() {
        size_t start = 0;
        while (start < size) {
            size_t end = start;
            while (end < size && text[end] != '\n')
                ++end;
            // Blanks at the ends do not count towards the limit; a line beyond it is skipped
            // without being copied.
            size_t first = start;
            size_t last = end;
            while (first < last && text[first] != '\0' &&
                   std::strchr(kWhiteSpace, text[first]) != nullptr)
                ++first;
            while (last > first && text[last - 1] != '\0' &&
                   std::strchr(kWhiteSpace, text[last - 1]) != nullptr)
                --last;
            if (last - first < static_cast<size_t>(kMaxLine))
                ParseLine(CopyWhole(text + first, last - first));
            start = end + 1;
        }
    }); // an exhausted heap leaves the rules read so far, and a false result
}

bool TResourceRuleFile::Load(const TDynamicString &path) {
    TRealFile file;
    if (!file.Open(path, 2))
        return false;
    const int length = file.Length();
    std::string bytes;
    if (length < 0 ||
        !vlib::detail::CallNoThrow([&] { bytes.resize(static_cast<size_t>(length)); }))
        return false;
    const int got = bytes.empty() ? 0 : file.Read(bytes.data(), static_cast<int>(bytes.size()));
    (void)file.Close(); // read-only: nothing to lose
    // A short read or a heap that ran out loses rules: the load is not reported as done.
    if (got != length || !LoadText(bytes.data(), bytes.size()))
        return false;
    return vlib::detail::CallNoThrow([&] {
        m_Paths.push_back(path);
        if (m_Paths.back().GetLength() != path.GetLength()) {
            m_Paths.pop_back(); // the copy of the name came out short
            throw std::bad_alloc();
        }
    });
}

bool TResourceRuleFile::Query(const TDynamicString &input, TLibVector<TParameterList> &out,
                              const char *key) const {
    const size_t length = static_cast<size_t>(input.GetLength());
    for (const auto &[priority, group] : m_Groups) {
        TParameterList list;
        for (const auto &[name, ruleKey] : group) {
            if (key != nullptr && name.Compare(key, false) != 0)
                continue;
            std::string result;
            for (const TRule &rule : ruleKey.Rules) {
                std::string formatted =
                    rule.Pattern->Format(input.GetData(), length, rule.Format.GetData());
                if (!formatted.empty())
                    result = std::move(formatted);
            }
            if (!result.empty())
                list.AddParameter(name, result.c_str(), nullptr);
        }
        if (list.GetParameterCount() > 0)
            out.push_back(std::move(list));
    }
    return true;
}

TDynamicString TResourceRuleFile::GetFileNames() const {
    return TDynamicString::Join(", ", m_Paths);
}

TFileTime TResourceRuleFile::GetNewestTime() const {
    TFileTime newest;
    newest.SetValue(0);
    for (const TDynamicString &path : m_Paths) {
        TFileTime time;
        if (vlfs::FileTime(path, time, vlfs::LastWrite) && time.GetValue() > newest.GetValue())
            newest = time;
    }
    return newest;
}
