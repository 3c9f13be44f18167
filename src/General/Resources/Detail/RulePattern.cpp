// Boost.Regex behind the rule files. Patterns use the Perl syntax and ignore case; matches
// are formatted with "$n" group references and only the matched text is kept.
#include "General/Resources/Detail/RulePattern.h"

#include <iterator>

#include <boost/regex.hpp>

namespace vlib::detail {

struct TRulePattern::TImpl {
    boost::regex Expression;
};

TRulePattern::TRulePattern(std::unique_ptr<TImpl> impl) : m_Impl(std::move(impl)) {}
TRulePattern::~TRulePattern() = default;

std::unique_ptr<TRulePattern> TRulePattern::Compile(const std::string &pattern) {
    try {
        auto impl = std::make_unique<TImpl>();
        impl->Expression.assign(pattern, boost::regex::perl | boost::regex::icase);
        return std::unique_ptr<TRulePattern>(new TRulePattern(std::move(impl)));
    } catch (const std::exception &) {
        return nullptr; // regex_error for a bad pattern, bad_alloc
    }
}

std::string TRulePattern::Format(const char *input, size_t length,
                                 const std::string &format) const {
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
