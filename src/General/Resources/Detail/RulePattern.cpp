// Boost.Regex behind the rule files. Patterns use the Perl syntax and ignore case; matches
// are formatted with "$n" group references and only the matched text is kept.
#include "General/Resources/Detail/RulePattern.h"

#include <iterator>
#include <new>

#include <boost/regex.hpp>

namespace vlib::detail {

struct TRulePattern::TImpl {
    boost::regex Expression;
    std::string RequiredSuffix;
};

namespace {

char AsciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// False when the input cannot match: it lacks the suffix. An input ending in a line feed is
/// left to the engine, since "$" also matches before a final line feed.
bool MayMatch(const char *input, size_t length, const std::string &suffix) {
    if (suffix.empty() || (length > 0 && input[length - 1] == '\n'))
        return true;
    if (length < suffix.size())
        return false;
    const char *tail = input + length - suffix.size();
    for (size_t i = 0; i < suffix.size(); ++i) {
        if (AsciiLower(tail[i]) != suffix[i])
            return false;
    }
    return true;
}

} // namespace

TRulePattern::TRulePattern(std::unique_ptr<TImpl> impl) : m_Impl(std::move(impl)) {}
TRulePattern::~TRulePattern() = default;

std::unique_ptr<TRulePattern> TRulePattern::Compile(const std::string &pattern,
                                                    const std::string &requiredSuffix) {
    try {
        auto impl = std::make_unique<TImpl>();
        for (char c : requiredSuffix)
            impl->RequiredSuffix += AsciiLower(c);
        impl->Expression.assign(pattern, boost::regex::perl | boost::regex::icase);
        return std::unique_ptr<TRulePattern>(new TRulePattern(std::move(impl)));
    } catch (const std::bad_alloc &) {
        throw; // the caller's load fails as a whole rather than quietly losing the rule
    } catch (const std::exception &) {
        return nullptr; // regex_error for a bad pattern
    }
}

std::string TRulePattern::Format(const char *input, size_t length,
                                 const std::string &format) const {
    if (!MayMatch(input, length, m_Impl->RequiredSuffix))
        return std::string();
    try {
        std::string out;
        boost::regex_replace(std::back_inserter(out), input, input + length, m_Impl->Expression,
                             format, boost::match_default | boost::format_no_copy);
        return out;
    } catch (const std::exception &) {
        // The engine's complexity limit (an exponential pattern) or an exhausted heap: a
        // search that cannot finish counts as no match.
        return std::string();
    }
}

} // namespace vlib::detail
