// The one door to Boost.Regex for rule files: compiling a pattern and formatting a match.
// Every exception the engine raises (a pattern that does not compile, a search that exceeds
// the engine's match limits, an exhausted heap) stops here and becomes a failure value.
#pragma once

#include <memory>
#include <string>

namespace vlib::detail {

/// A compiled, case-insensitive Perl-style pattern.
class TRulePattern {
public:
    /// Null when the pattern does not compile; throws std::bad_alloc when memory runs out, for
    /// the caller's CallNoThrow to turn into a failed load. `requiredSuffix`, when not
    /// empty, is ASCII text that every whole-input match must end with (ignoring case): an
    /// input without it is known not to match before the engine is asked.
    static std::unique_ptr<TRulePattern> Compile(const std::string &pattern,
                                                 const std::string &requiredSuffix = {});
    ~TRulePattern();
    TRulePattern(const TRulePattern &) = delete;
    TRulePattern &operator=(const TRulePattern &) = delete;

    /// The format text expanded for each match in `input`, nothing of the unmatched text.
    /// Empty when nothing matches, and when the search gives up at the engine's limits.
    std::string Format(const char *input, size_t length, const std::string &format) const;

private:
    struct TImpl;
    explicit TRulePattern(std::unique_ptr<TImpl> impl);
    std::unique_ptr<TImpl> m_Impl;
};

} // namespace vlib::detail
