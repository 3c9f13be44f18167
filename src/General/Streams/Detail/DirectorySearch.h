// A running search over the entries of one directory whose names match a wildcard pattern,
// the state behind TDirectory's GetFirstFile / GetNextFile. Entry details (size, times) are
// read from the disk only when asked for, so a plain listing costs one readdir per entry.
#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "General/Core/LibAllocator.h"
#include "General/Streams/FileTime.h"

namespace vlib::detail {

/// True if `name` matches `pattern` without regard to ASCII case: `*` is any run, `?` any one
/// character, "*" and "*.*" match every name, and a pattern ending in ".*" also matches the
/// name without it ("name.*" matches "name").
bool MatchWildcard(const char *pattern, const char *name);

class TDirectorySearch : public TBaseAllocator {
public:
    enum TKind { File, Directory, Link };

    TDirectorySearch() = default;
    ~TDirectorySearch();
    TDirectorySearch(const TDirectorySearch &) = delete;
    TDirectorySearch &operator=(const TDirectorySearch &) = delete;

    /// Opens the directory part of `pattern` (a slash path, case resolved) and moves to the
    /// first entry the last part matches. False if the directory cannot be read or nothing
    /// matches.
    bool Begin(const std::string &pattern);
    /// Moves to the next match; false at the end, with no entry current.
    bool Next();
    /// True when the listing ended because the directory had no more entries, not on an error.
    bool EndedCleanly() const { return m_EndedCleanly; }

    bool HasEntry() const { return m_Name != nullptr; }
    /// The current entry's name; valid until the next move.
    const char *Name() const { return m_Name; }
    /// The directory searched, as given to the system, with a closing slash ("" for the
    /// current directory).
    const std::string &DirectoryPath() const { return m_Directory; }
    /// Follows symbolic links: a link to a directory is a directory.
    bool IsDirectory();
    /// The entry itself, links not followed; for walks that must not leave the tree.
    TKind GetKind();
    /// Size and last write time of the current entry (links followed); false without one.
    bool GetSize(uint64_t &size);
    bool GetWriteTime(TFileTime &time);

private:
    bool Advance();
    bool LoadStat();
    void Close();

    DIR *m_Dir = nullptr; // owned
    std::string m_Directory;
    std::string m_Pattern;
    bool m_MatchAll = false;
    const char *m_Name = nullptr; // not owned: the system's current entry
    unsigned char m_Type = 0;
    bool m_HaveStat = false;
    bool m_EndedCleanly = false;
    struct stat m_Stat {};
};

} // namespace vlib::detail
