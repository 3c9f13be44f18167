// Directory searches over opendir/readdir, with Windows-style wildcard matching that ignores
// case. Entry details come from the listing's type field where it suffices, else from stat.
#include "General/Streams/Detail/DirectorySearch.h"

#include <cerrno>
#include <cstring>

#include "General/Streams/Detail/SystemPath.h"

namespace vlib::detail {

namespace {

char Fold(char c) {
    const unsigned char u = static_cast<unsigned char>(c);
    return u >= 'A' && u <= 'Z' ? static_cast<char>(u - 'A' + 'a') : c;
}

/// Glob matching with one backtrack point for the latest `*`; linear in practice.
bool Glob(const char *pattern, const char *patternEnd, const char *name) {
    const char *star = nullptr;
    const char *resume = nullptr;
    while (*name != '\0') {
        if (pattern != patternEnd && (*pattern == '?' || Fold(*pattern) == Fold(*name))) {
            ++pattern;
            ++name;
        } else if (pattern != patternEnd && *pattern == '*') {
            star = ++pattern;
            resume = name;
        } else if (star != nullptr) {
            pattern = star;
            name = ++resume;
        } else {
            return false;
        }
    }
    while (pattern != patternEnd && *pattern == '*')
        ++pattern;
    return pattern == patternEnd;
}

} // namespace

bool MatchWildcard(const char *pattern, const char *name) {
    const size_t length = std::strlen(pattern);
    if (Glob(pattern, pattern + length, name))
        return true;
    // "name.*" also stands for the name without any extension.
    return length >= 2 && pattern[length - 2] == '.' && pattern[length - 1] == '*' &&
           std::strchr(name, '.') == nullptr && Glob(pattern, pattern + length - 2, name);
}

TDirectorySearch::~TDirectorySearch() {
    Close();
}

void TDirectorySearch::Close() {
    if (m_Dir != nullptr)
        ::closedir(m_Dir);
    m_Dir = nullptr;
    m_Name = nullptr;
}

bool TDirectorySearch::Begin(const std::string &pattern) {
    Close();
    m_EndedCleanly = false;
    const size_t slash = pattern.rfind('/');
    m_Pattern = slash == std::string::npos ? pattern : pattern.substr(slash + 1);
    if (m_Pattern.empty())
        return false;
    m_MatchAll = m_Pattern == "*" || m_Pattern == "*.*";
    m_Directory = slash == std::string::npos ? std::string()
                                             : SystemPath(pattern.substr(0, slash + 1).c_str());
    m_Dir = ::opendir(m_Directory.empty() ? "." : m_Directory.c_str());
    if (m_Dir == nullptr)
        return false;
    return Advance();
}

bool TDirectorySearch::Next() {
    if (m_Dir == nullptr)
        return false;
    return Advance();
}

bool TDirectorySearch::Advance() {
    m_HaveStat = false;
    for (;;) {
        errno = 0;
        const struct dirent *entry = ::readdir(m_Dir);
        if (entry == nullptr) {
            m_EndedCleanly = errno == 0;
            Close();
            return false;
        }
        if (m_MatchAll || MatchWildcard(m_Pattern.c_str(), entry->d_name)) {
            m_Name = entry->d_name;
            m_Type = entry->d_type;
            return true;
        }
    }
}

bool TDirectorySearch::LoadStat() {
    if (m_Name == nullptr)
        return false;
    if (!m_HaveStat)
        m_HaveStat = ::stat((m_Directory + m_Name).c_str(), &m_Stat) == 0;
    return m_HaveStat;
}

bool TDirectorySearch::IsDirectory() {
    if (m_Name == nullptr)
        return false;
    if (m_Type == DT_DIR)
        return true;
    if (m_Type != DT_UNKNOWN && m_Type != DT_LNK)
        return false;
    return LoadStat() && S_ISDIR(m_Stat.st_mode);
}

TDirectorySearch::TKind TDirectorySearch::GetKind() {
    unsigned char type = m_Type;
    if (type == DT_UNKNOWN) {
        struct stat st;
        if (::lstat((m_Directory + m_Name).c_str(), &st) == 0)
            type = S_ISDIR(st.st_mode) ? DT_DIR : (S_ISLNK(st.st_mode) ? DT_LNK : DT_REG);
    }
    return type == DT_DIR ? Directory : (type == DT_LNK ? Link : File);
}

bool TDirectorySearch::GetSize(uint64_t &size) {
    if (!LoadStat())
        return false;
    size = S_ISDIR(m_Stat.st_mode) ? 0 : static_cast<uint64_t>(m_Stat.st_size);
    return true;
}

bool TDirectorySearch::GetWriteTime(TFileTime &time) {
    if (!LoadStat())
        return false;
    time = FileTimeFromTimespec(m_Stat.st_mtim);
    return true;
}

} // namespace vlib::detail
