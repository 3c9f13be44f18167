// Rule files (".rre"): lines that map a path or resource name, by a wild-card or regular
// pattern, to named values such as the resource's tag and type. A bank runs file names
// through its PATHRULE rules, the manager runs names through TAGRULE and TYPERULE rules.
#pragma once

#include <cstddef>
#include <memory>

#include "General/Components/ParameterList.h"
#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Streams/FileTime.h"

namespace vlib::detail {
class TRulePattern;
}

/// One pattern and the format text its matches give.
struct VLIB_API TRule {
    TRule();
    TRule(TRule &&other) noexcept;
    TRule &operator=(TRule &&other) noexcept;
    ~TRule();

    std::unique_ptr<vlib::detail::TRulePattern> Pattern;
    TDynamicString Format;
};

/// The rules of one key, in the order of their lines.
struct VLIB_API TRuleKey {
    TDynamicString Key;
    TLibVector<TRule> Rules;
};

/// The keys of one priority, lower-cased and in key order.
using TRuleGroup = TLibMap<TDynamicString, TRuleKey>;

/// The rules of one keyword, merged from any number of loaded files.
class VLIB_API TResourceRuleFile {
public:
    /// Lines longer than this (1,024 characters or more) are skipped.
    static constexpr int kMaxLine = 1024;

    explicit TResourceRuleFile(const TDynamicString &keyword);
    ~TResourceRuleFile();
    TResourceRuleFile(const TResourceRuleFile &) = delete;
    TResourceRuleFile &operator=(const TResourceRuleFile &) = delete;

    /// Reads the rules of a file; false when it cannot be opened or read whole, or the heap
    /// ran out (the rules read so far stay). Bad lines and patterns that do not compile are
    /// skipped without a word.
    bool Load(const TDynamicString &path);
    /// Reads rules from text, as Load does from a file's contents; false if the heap ran out.
    bool LoadText(const char *text, size_t size);
    /// Appends one list per priority (lowest first) whose keys matched `input`; with a
    /// `key`, only that key (ignoring case) is asked. `out` is not cleared. Always true.
    bool Query(const TDynamicString &input, TLibVector<TParameterList> &out, const char *key) const;
    /// The loaded paths, joined with ", ".
    TDynamicString GetFileNames() const;
    /// The newest modification time of the loaded files; zero without one.
    TFileTime GetNewestTime() const;

    /// The regular expression a wild-card pattern stands for (without the anchors).
    static TDynamicString TranslateWildcard(const char *pattern);

private:
    void ParseLine(TDynamicString line);

    TLibMap<uint32_t, TRuleGroup> m_Groups;
    TLibVector<TDynamicString> m_Paths;
    TDynamicString m_Keyword;
    bool m_KeywordLost = false; // the heap ran out copying the keyword: no line can match
};
