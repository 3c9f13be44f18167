// Work relative to one directory: its files by name, moving up and down the tree, and a
// search over its entries with a wildcard pattern. Names are joined to the path by plain
// concatenation, so the path keeps a closing separator.
// Searches match their pattern without regard to case, as Windows does: "*" and "?" are the
// wildcards, "*.*" matches every name, and "name.*" also matches "name". A search lists "."
// and ".." where the system gives them, as Linux always does.
#pragma once

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Streams/FileTime.h"

class TRealFile;

namespace vlib::detail {
class TDirectorySearch;
}

/// A directory and an optional running search in it. One thread at a time.
class VLIB_API TDirectory : public TBaseAllocator {
public:
    /// Empty path, so that names stand for themselves; no search.
    TDirectory() = default;
    /// The path, terminated: "" becomes "/", the root.
    explicit TDirectory(const TDynamicString &path);
    /// Copies the path. The copy has no running search: a search belongs to one object.
    TDirectory(const TDirectory &other);
    TDirectory &operator=(const TDirectory &other);
    /// Ends a running search.
    ~TDirectory();

    /// Stores and terminates the path; ends a running search.
    void SetPath(TDynamicString path);
    TDynamicString GetPath() const { return m_Path; }
    TDirectory &MakeAbsolute();
    static TDynamicString &MakeAbsolute(TDynamicString &path);

    // The vlfs operations on path + name.
    bool Exists(const TDynamicString &name) const;
    bool IsReadOnly(const TDynamicString &name) const;
    bool Delete(const TDynamicString &name) const;
    /// Makes the file if missing and sets its last write time to the present.
    bool Touch(const TDynamicString &name) const;
    bool DirExists() const;
    bool CreatePath() const;
    /// Renames within this directory.
    bool Rename(const TDynamicString &oldName, const TDynamicString &newName) const;
    /// Copies `sourceName` of `source` to `destName` here, overwriting.
    bool Copy(const TDirectory &source, const TDynamicString &sourceName,
              const TDynamicString &destName) const;
    /// Clears the read-only state.
    bool SetWriteable(const TDynamicString &name) const;
    bool SetHidden(const TDynamicString &name, bool hidden) const;
    bool IsNewerThan(const TDynamicString &name, const TDirectory &other,
                     const TDynamicString &otherName) const;
    bool IsNewerThan(const TDynamicString &name, TFileTime &time) const;
    /// Sets time `which` (a vlfs::LTTimes); 0 or 0x10000.
    TError SetFileTime(const TDynamicString &name, TFileTime &time, int which) const;
    /// The last write time; 0 or 0x10000.
    TError GetFileTime(const TDynamicString &name, TFileTime &time) const;
    /// The size, 0 if it cannot be had.
    unsigned long GetFileSize(const TDynamicString &name) const;
    /// A new file opened for reading; null if it does not open. The caller owns it.
    TRealFile *CreateReadHandle(const TDynamicString &name) const;
    /// A new file opened for writing (made or emptied); null if it does not open.
    TRealFile *CreateWriteHandle(const TDynamicString &name) const;
    /// A new TDirectory on `path`, taken as it stands, if it is a directory; else null. The
    /// caller owns it.
    TDirectory *OpenNewDirectory(const TDynamicString &path) const;

    /// Moves into the subdirectory `name`; false if it does not exist and `create` is false.
    /// Nothing is made on disk.
    bool MoveToSubdirectory(const TDynamicString &name, bool create);
    /// Cuts the last component: "a/b/" becomes "a/"; false, with the path unchanged, when
    /// there is no component above.
    bool MoveToParentDirectory();
    /// The same; `leaf` receives what was cut off, with its closing separator.
    bool MoveToParentDirectory(TDynamicString &leaf);
    /// The last component without its closing separator; "" if no separator stands before it.
    TDynamicString GetLeaf() const;
    /// Deletes everything inside the directory, read-only files and subdirectories too;
    /// symbolic links are removed, not followed. The directory itself stays. False if the
    /// directory cannot be read or anything could not be deleted.
    bool DeleteAllContents() const;
    /// The number of entries a search for "*" finds; 0 if it fails.
    int NumberOfFiles();
    TDynamicString FilePath(const TDynamicString &name) const { return m_Path + name; }
    /// The path and the current entry's name.
    TDynamicString FilePath() const;
    /// Appends the name of every entry that `pattern` matches, directories too. The finished
    /// search stays until EndGetFile.
    void GetFiles(const char *pattern, TLibVector<TDynamicString> &out);

    /// Starts a search for `pattern` (which may hold directories) below the path; true if an
    /// entry was found. A running search is ended first.
    bool GetFirstFile(const char *pattern);
    bool GetNextFile();
    /// Ends the search; true also when none runs.
    bool EndGetFile();
    /// The current entry's name; "" when no entry is current.
    TDynamicString GetFileName() const;
    /// The low 32 bits of the current entry's size; 0x10000 without one.
    TError GetFileSize(int &size);
    /// The current entry's last write time; left as it was without one.
    void GetFileLatestWriteTime(TFileTime &time) const;
    bool IsADirectory() const;

private:
    TDynamicString m_Path;
    vlib::detail::TDirectorySearch *m_Search = nullptr; // owned; null when no search runs
};
