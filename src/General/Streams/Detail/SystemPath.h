// Helpers shared by the file-system layer: the text handed to the system for a library path
// (slashes only, case resolved against the disk), and file times from and to the system's
// time stamps.
#pragma once

#include <sys/stat.h>

#include <ctime>
#include <string>

#include "General/Core/StringInt.h"
#include "General/Streams/FileTime.h"

namespace vlib::detail {

/// `path` with every `\` turned into `/`.
std::string ToSlashes(const char *path);

/// The path to give the system for a library path: slashes only, and where the path does
/// not exist as written, each component matched without regard to case. With `forCreate` a
/// last component that matches nothing is kept as given.
std::string SystemPath(const char *path, bool forCreate = false);
inline std::string SystemPath(const TDynamicString &path, bool forCreate = false) {
    return SystemPath(path.GetData(), forCreate);
}

inline TFileTime FileTimeFromTimespec(const struct timespec &time) {
    return TFileTime::FromUnix(time.tv_sec, time.tv_nsec);
}

/// False for a time the system's stamps cannot hold.
inline bool FileTimeToTimespec(const TFileTime &time, struct timespec &out) {
    long long seconds;
    long nanoSeconds;
    if (!time.ToUnix(seconds, nanoSeconds))
        return false;
    out.tv_sec = static_cast<time_t>(seconds);
    out.tv_nsec = nanoSeconds;
    return true;
}

} // namespace vlib::detail
