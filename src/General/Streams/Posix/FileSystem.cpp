// The file-system layer over POSIX: attributes from stat, times from statx, moves with
// renameat2 so nothing is overwritten, copies that keep the modification time, and the
// present time. Every path goes through SystemPath first: slashes only, case resolved.
#include "General/Streams/FileSystem.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "General/Streams/Detail/PathCase.h"
#include "General/Streams/Detail/SystemPath.h"

namespace {

constexpr const char *kHiddenAttribute = "user.vlib.hidden";
constexpr size_t kMaxPath = 4096;

bool StatPath(const std::string &path, struct stat &st) {
    return ::stat(path.c_str(), &st) == 0;
}

bool IsReadOnlyMode(mode_t mode) {
    return (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

/// The last component of a slash path, without closing slashes.
std::string LeafOf(const std::string &path) {
    size_t end = path.size();
    while (end > 1 && path[end - 1] == '/')
        --end;
    const size_t slash = path.rfind('/', end - 1);
    return path.substr(slash == std::string::npos ? 0 : slash + 1,
                       slash == std::string::npos ? end : end - slash - 1);
}

bool WriteAll(int fd, const char *data, size_t size) {
    while (size != 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

/// Copies the rest of `in` to `out`, in the kernel where it can.
bool CopyContent(int in, int out) {
    for (;;) {
        const ssize_t copied = ::copy_file_range(in, nullptr, out, nullptr, 1 << 30, 0);
        if (copied == 0)
            return true;
        if (copied > 0)
            continue;
        if (errno == EINTR)
            continue;
        if (errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP &&
            errno != EPERM)
            return false;
        break; // the file systems cannot copy in the kernel: go through a buffer
    }
    std::vector<char> buffer(1 << 16);
    for (;;) {
        const ssize_t got = ::read(in, buffer.data(), buffer.size());
        if (got == 0)
            return true;
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        if (!WriteAll(out, buffer.data(), static_cast<size_t>(got)))
            return false;
    }
}

/// CopyFile on system paths: content, permissions and modification time.
bool CopySystemFile(const std::string &from, const std::string &to, bool overwrite) {
    const int in = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return false;
    struct stat source;
    struct stat target;
    bool ok = ::fstat(in, &source) == 0 && S_ISREG(source.st_mode);
    const bool existed = ok && StatPath(to, target);
    if (existed) {
        // Never onto itself (the truncation would destroy the source), a directory or a
        // read-only file.
        ok = overwrite && !S_ISDIR(target.st_mode) && !IsReadOnlyMode(target.st_mode) &&
             !(target.st_dev == source.st_dev && target.st_ino == source.st_ino);
    }
    int out = -1;
    if (ok) {
        const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | (overwrite ? 0 : O_EXCL);
        out = ::open(to.c_str(), flags, 0600);
        ok = out >= 0;
    }
    if (ok)
        ok = CopyContent(in, out);
    if (ok) {
        const struct timespec times[2] = {{0, UTIME_OMIT}, source.st_mtim};
        ok = ::futimens(out, times) == 0 && ::fchmod(out, source.st_mode & 07777) == 0;
    }
    if (out >= 0 && ::close(out) != 0)
        ok = false;
    ::close(in);
    if (!ok && out >= 0 && !existed)
        ::unlink(to.c_str());
    return ok;
}

bool IsHiddenSystemPath(const std::string &path) {
    const std::string leaf = LeafOf(path);
    if (leaf.size() > 1 && leaf[0] == '.' && leaf != "..")
        return true;
    return ::getxattr(path.c_str(), kHiddenAttribute, nullptr, 0) >= 0;
}

/// "." and ".." removed, doubled slashes joined, with `prefix` (a drive or "") kept in front.
bool Normalise(const std::string &path, std::string &out) {
    size_t start = 0;
    std::string prefix;
    if (path.size() >= 2 && path[1] == ':') {
        prefix = path.substr(0, 2);
        start = 2;
    }
    std::vector<std::string> parts;
    size_t begin = start;
    while (begin <= path.size()) {
        size_t end = path.find('/', begin);
        if (end == std::string::npos)
            end = path.size();
        const std::string part = path.substr(begin, end - begin);
        begin = end + 1;
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
            continue;
        }
        parts.push_back(part);
    }
    out = prefix;
    for (const std::string &part : parts)
        out += "/" + part;
    if (parts.empty() || (!path.empty() && path.back() == '/'))
        out += "/";
    return out.size() < kMaxPath;
}

} // namespace

namespace vlib::detail {

std::string ToSlashes(const char *path) {
    std::string out(path != nullptr ? path : "");
    for (char &c : out) {
        if (c == '\\')
            c = '/';
    }
    return out;
}

std::string SystemPath(const char *path, bool forCreate) {
    const std::string slashes = ToSlashes(path);
    std::string resolved = ResolvePathCase(slashes, forCreate);
    // The resolver works on components; keep a closing slash, which asks for a directory.
    if (!slashes.empty() && slashes.back() == '/' && (resolved.empty() || resolved.back() != '/'))
        resolved += '/';
    return resolved;
}

} // namespace vlib::detail

using vlib::detail::SystemPath;

TFileTime TFileTime::Now() {
    struct timespec now;
    ::clock_gettime(CLOCK_REALTIME, &now);
    // To the millisecond, as the system time the stamp was taken from.
    return FromUnix(now.tv_sec, now.tv_nsec / 1000000 * 1000000);
}

bool TFileTime::GetBuildTimeAsciiString(TDynamicString &out) const {
    long long seconds;
    long nanoSeconds;
    if (!ToUnix(seconds, nanoSeconds))
        return false;
    const time_t when = static_cast<time_t>(seconds);
    struct tm local;
    if (::localtime_r(&when, &local) == nullptr)
        return false;
    out.SPrintf("on %d/%d/%d at %.2d:%.2d:%.2d", local.tm_mday, local.tm_mon + 1,
                local.tm_year + 1900, local.tm_hour, local.tm_min, local.tm_sec);
    return true;
}

namespace vlfs {

TDynamicString &path::MakeAbsolute(TDynamicString &path) {
    std::string text = vlib::detail::ToSlashes(path.GetData());
    if (!IsAbs(path)) {
        char cwd[kMaxPath];
        if (::getcwd(cwd, sizeof cwd) == nullptr)
            return path;
        text = std::string(cwd) + "/" + text;
    }
    std::string normal;
    if (Normalise(text, normal))
        path = normal.c_str();
    return path;
}

bool FileTime(const TDynamicString &path, TFileTime &time, LTTimes which) {
    struct statx st;
    if (::statx(AT_FDCWD, SystemPath(path).c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &st) != 0)
        return false;
    const struct statx_timestamp *stamp;
    switch (which) {
    case Creation:
        stamp = (st.stx_mask & STATX_BTIME) != 0 ? &st.stx_btime : &st.stx_mtime;
        break;
    case LastWrite:
        stamp = &st.stx_mtime;
        break;
    case LastAccess:
        stamp = &st.stx_atime;
        break;
    default:
        return false;
    }
    time = TFileTime::FromUnix(stamp->tv_sec, static_cast<long>(stamp->tv_nsec));
    return true;
}

bool FileSize(const TDynamicString &path, unsigned long &size) {
    struct stat st;
    if (!StatPath(SystemPath(path), st))
        return false;
    size = S_ISDIR(st.st_mode) ? 0 : static_cast<uint32_t>(st.st_size);
    return true;
}

bool Exists(const TDynamicString &path) {
    struct stat st;
    return StatPath(SystemPath(path), st);
}

bool IsDirectory(const TDynamicString &path) {
    struct stat st;
    return StatPath(SystemPath(path), st) && S_ISDIR(st.st_mode);
}

bool IsFile(const TDynamicString &path) {
    struct stat st;
    return StatPath(SystemPath(path), st) && !S_ISDIR(st.st_mode);
}

bool IsReadOnly(const TDynamicString &path) {
    struct stat st;
    return StatPath(SystemPath(path), st) && IsReadOnlyMode(st.st_mode);
}

bool IsHidden(const TDynamicString &path) {
    const std::string system = SystemPath(path);
    struct stat st;
    return StatPath(system, st) && IsHiddenSystemPath(system);
}

bool IsNewerThan(const TDynamicString &path, TFileTime &time) {
    TFileTime written;
    return FileTime(path, written, LastWrite) && written.IsNewerThan(time, 0);
}

bool IsNewerThan(const TDynamicString &a, const TDynamicString &b) {
    TFileTime timeA;
    TFileTime timeB;
    return FileTime(a, timeA, LastWrite) && FileTime(b, timeB, LastWrite) &&
           timeA.IsNewerThan(timeB, 0);
}

bool Rename(const TDynamicString &from, const TDynamicString &to) {
    const std::string source = SystemPath(from);
    const std::string target = SystemPath(to, true);
    struct stat st;
    if (::lstat(source.c_str(), &st) != 0)
        return false;
    if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno == EINVAL || errno == ENOSYS) {
        // The file system cannot refuse to replace by itself: look first.
        struct stat existing;
        return ::lstat(target.c_str(), &existing) != 0 &&
               ::rename(source.c_str(), target.c_str()) == 0;
    }
    if (errno == EXDEV && S_ISREG(st.st_mode)) {
        // Another file system: a file moves as a copy and a delete.
        if (!CopySystemFile(source, target, false))
            return false;
        if (::unlink(source.c_str()) == 0)
            return true;
        ::unlink(target.c_str());
    }
    return false;
}

bool Delete(const TDynamicString &path) {
    const std::string system = SystemPath(path);
    struct stat st;
    if (::lstat(system.c_str(), &st) != 0 || S_ISDIR(st.st_mode))
        return false;
    if (!S_ISLNK(st.st_mode) && IsReadOnlyMode(st.st_mode))
        return false;
    return ::unlink(system.c_str()) == 0;
}

bool DeleteDirectory(const TDynamicString &path) {
    const std::string system = SystemPath(path);
    struct stat st;
    if (::lstat(system.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || IsReadOnlyMode(st.st_mode))
        return false;
    return ::rmdir(system.c_str()) == 0;
}

bool Copy(const TDynamicString &from, const TDynamicString &to, bool overwrite) {
    return CopySystemFile(SystemPath(from), SystemPath(to, true), overwrite);
}

bool CreatePath(const TDynamicString &path) {
    if (IsDirectory(path))
        return true;
    const TDynamicString head = path::Split(path).first;
    if (head == path || !CreatePath(head))
        return false;
    if (::mkdir(SystemPath(path, true).c_str(), 0777) == 0)
        return true;
    // A path with a closing separator names the directory its head has just made.
    return errno == EEXIST && IsDirectory(path);
}

bool SetFileTime(const TDynamicString &path, const TFileTime &time, LTTimes which) {
    struct timespec stamp;
    if ((which != LastWrite && which != LastAccess) ||
        !vlib::detail::FileTimeToTimespec(time, stamp))
        return false;
    struct timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    times[which == LastAccess ? 0 : 1] = stamp;
    return ::utimensat(AT_FDCWD, SystemPath(path).c_str(), times, 0) == 0;
}

bool SetWriteable(const TDynamicString &path, bool writeable) {
    const std::string system = SystemPath(path);
    struct stat st;
    if (!StatPath(system, st))
        return false;
    const mode_t mode = writeable ? (st.st_mode | S_IWUSR) : (st.st_mode & ~mode_t(0222));
    return ::chmod(system.c_str(), mode & 07777) == 0;
}

bool SetHidden(const TDynamicString &path, bool hidden) {
    const std::string system = SystemPath(path);
    struct stat st;
    if (!StatPath(system, st))
        return false;
    if (hidden)
        (void)::setxattr(system.c_str(), kHiddenAttribute, "1", 1, 0);
    else
        (void)::removexattr(system.c_str(), kHiddenAttribute);
    // The result is whether the file now shows the state asked for: a dot name stays hidden,
    // and a file system without extended attributes cannot hide.
    return IsHiddenSystemPath(system) == hidden;
}

bool Touch(const TDynamicString &path, TFileTime *time) {
    const std::string system = SystemPath(path, true);
    struct stat st;
    if (StatPath(system, st) && (S_ISDIR(st.st_mode) || IsReadOnlyMode(st.st_mode)))
        return false;
    struct timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_NOW}};
    if (time != nullptr && !vlib::detail::FileTimeToTimespec(*time, times[1]))
        return false;
    const int fd = ::open(system.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0)
        return false;
    const bool ok = ::futimens(fd, times) == 0;
    return ::close(fd) == 0 && ok;
}

TDynamicString TempFilename() {
    char name[] = "./vltXXXXXX.tmp";
    const int fd = ::mkstemps(name, 4);
    if (fd < 0)
        return TDynamicString();
    ::close(fd);
    return TDynamicString(name);
}

} // namespace vlfs

TDynamicString GetDriveString(TDynamicString path) {
    vlfs::path::MakeAbsolute(path);
    // The nearest directory above the path that exists.
    std::string current = SystemPath(path);
    char real[PATH_MAX];
    while (::realpath(current.c_str(), real) == nullptr) {
        const size_t slash =
            current.find_last_of('/', current.size() > 1 ? current.size() - 2 : std::string::npos);
        if (slash == std::string::npos)
            return TDynamicString("/");
        current = current.substr(0, slash == 0 ? 1 : slash);
    }
    // Up the tree while the parent lies on the same device: the top is the mount point.
    std::string mount(real);
    struct stat st;
    if (!StatPath(mount, st))
        return TDynamicString("/");
    while (mount != "/") {
        const size_t slash = mount.rfind('/');
        const std::string parent = slash == 0 ? "/" : mount.substr(0, slash);
        struct stat up;
        if (!StatPath(parent, up) || up.st_dev != st.st_dev)
            break;
        mount = parent;
    }
    if (mount.back() != '/')
        mount += '/';
    return TDynamicString(mount.c_str());
}
