// Case-insensitive path resolution. Data authored on Windows names its files with whatever
// case the author typed ("../Resource" beside "../resource"); when an exact path does not
// exist, it is matched component by component against the directory listings.
#pragma once

#include <string>

namespace vlib::detail {

/// The path to open for `path`: `path` itself when it exists (or, with `forCreate`, when the
/// directory it names exists), else the first case-insensitive match of each component in
/// turn. With `forCreate` a last component that matches nothing is kept as given. When no
/// match is found `path` comes back unchanged, and opening it fails as it would have.
std::string ResolvePathCase(const std::string &path, bool forCreate);

/// Forgets the cached listings (after a test changes a directory within one clock tick).
void ClearPathCaseCache();

} // namespace vlib::detail
