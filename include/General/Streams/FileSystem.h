// The library's thin layer over the file system: `vlfs` queries and changes files, and
// `vlfs::path` does path arithmetic on text alone. Paths may use either separator; the library
// writes `/`. On Linux the Windows behaviour callers rely on is kept:
//  - A path that does not exist as written is matched without regard to case, component by
//    component, so data authored on Windows ("../Resource" beside "../resource") is found; an
//    exact match always wins, and among names that differ only in case the smallest is taken.
//    A new name (made by Touch, Copy, Rename or CreatePath) is taken as given once its
//    directory exists, so it can stand beside a name that differs from it only in case.
//  - A backslash counts as a separator, so a name that contains one cannot be reached.
//  - Read-only means no write permission bit is set; a read-only file cannot be deleted,
//    overwritten by Copy or touched. SetWriteable(true) adds the owner's write bit.
//  - Hidden means a name that starts with a dot, or the extended attribute "user.vlib.hidden"
//    that SetHidden sets and clears (false where the file system keeps no such attributes).
//  - Rename never overwrites; Copy keeps the source's modification time and permissions.
//  - The creation time is the birth time where the file system records one, else the last
//    write time; it cannot be set.
#pragma once

#include <utility>

#include "General/Core/Export.h"
#include "General/Core/StringInt.h"
#include "General/Streams/FileTime.h"

namespace vlfs {

/// Which of a file's three times is meant.
enum LTTimes { Creation = 0, LastWrite = 1, LastAccess = 2 };

/// Path arithmetic on text: nothing here looks at the disk except MakeAbsolute, which reads
/// the current directory.
namespace path {

/// True for `/` and `\`.
inline bool IsSep(char c) {
    return c == '/' || c == '\\';
}
/// True if the path, less its drive, begins with a separator: "/foo" and "c:/foo" are
/// absolute, "c:foo" is not.
VLIB_API bool IsAbs(const TDynamicString &path);
/// "c:" and the rest when the second character is a colon; else "" and the whole path.
VLIB_API std::pair<TDynamicString, TDynamicString> SplitDrive(const TDynamicString &path);
/// Directory and last component: "a/b/c" gives "a/b" and "c", "a/b/" gives "a/b" and "",
/// "/a" gives "/" and "a", "a" gives "" and "a".
VLIB_API std::pair<TDynamicString, TDynamicString> Split(const TDynamicString &path);
/// `b` relative to `a`; an absolute `b` replaces `a` unless `a` is a bare drive ("c:" or
/// "c:/") and `b` has none.
VLIB_API TDynamicString Join(const TDynamicString &a, const TDynamicString &b);
/// Appends "/" unless the path ends in a separator; the empty path becomes "/".
VLIB_API TDynamicString &Terminate(TDynamicString &path);
/// Makes the path absolute against the current directory and removes "." and ".."
/// components and doubled separators, with `/` throughout; a trailing separator stays. A
/// path with a drive ("c:/x") counts as absolute already. On failure (no current directory,
/// a result of 4096 characters or more) the path stays as it was.
VLIB_API TDynamicString &MakeAbsolute(TDynamicString &path);

} // namespace path

/// Reads one of the file's times; false if the path does not exist.
VLIB_API bool FileTime(const TDynamicString &path, TFileTime &time, LTTimes which);
/// The low 32 bits of the file's size; 0 for a directory. False if the path does not exist.
VLIB_API bool FileSize(const TDynamicString &path, unsigned long &size);
VLIB_API bool Exists(const TDynamicString &path);
VLIB_API bool IsDirectory(const TDynamicString &path);
/// Existence, not as a directory.
VLIB_API bool IsFile(const TDynamicString &path);
VLIB_API bool IsReadOnly(const TDynamicString &path);
VLIB_API bool IsHidden(const TDynamicString &path);
/// The file's last write is later than `time`; false if the file does not exist.
VLIB_API bool IsNewerThan(const TDynamicString &path, TFileTime &time);
/// `a` was last written later than `b`; false if either does not exist.
VLIB_API bool IsNewerThan(const TDynamicString &a, const TDynamicString &b);
/// Moves a file or directory; false if `to` exists. Across file systems a file is copied and
/// the original deleted.
VLIB_API bool Rename(const TDynamicString &from, const TDynamicString &to);
/// Deletes a file (a symbolic link itself, not its target); false for a directory or a
/// read-only file.
VLIB_API bool Delete(const TDynamicString &path);
/// Removes an empty directory; false for a read-only one.
VLIB_API bool DeleteDirectory(const TDynamicString &path);
/// Copies a file with its modification time and permissions. Without `overwrite` an existing
/// `to` makes it fail; with it, a read-only `to` still does.
VLIB_API bool Copy(const TDynamicString &from, const TDynamicString &to, bool overwrite);
/// Makes the directory and any missing parents; true if it is a directory afterwards. A
/// relative path whose first component does not exist makes nothing and gives false.
VLIB_API bool CreatePath(const TDynamicString &path);
/// Sets one of the file's times; false if the file is not there or the time cannot be set
/// (the creation time never can).
VLIB_API bool SetFileTime(const TDynamicString &path, const TFileTime &time, LTTimes which);
/// Clears the read-only state (adds the owner's write bit), or sets it with false (removes
/// every write bit). False if the path does not exist.
VLIB_API bool SetWriteable(const TDynamicString &path, bool writeable);
/// Sets or clears the hidden attribute; false if the path does not exist or the file stays
/// as it was (a dot name cannot be unhidden).
VLIB_API bool SetHidden(const TDynamicString &path, bool hidden);
/// Makes the file if it is missing, and sets its last write time to `time`, or to the present
/// if that is null. False for a directory or a read-only file.
VLIB_API bool Touch(const TDynamicString &path, TFileTime *time = nullptr);
/// Makes a new empty file "./vltXXXXXX.tmp" in the current directory and returns its name;
/// the empty string on failure.
VLIB_API TDynamicString TempFilename();

} // namespace vlfs

/// The root of the volume that holds `path`: the mount point of its file system (of the
/// nearest existing directory above it), with a closing `/`. "/" when nothing can be found.
VLIB_API TDynamicString GetDriveString(TDynamicString path);
