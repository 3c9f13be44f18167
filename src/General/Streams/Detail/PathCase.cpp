// Listings are cached per directory together with the directory's modification time, so a
// directory is read again only after something in it was created, renamed or removed.
#include "General/Streams/Detail/PathCase.h"

#include <dirent.h>
#include <sys/stat.h>

#include <map>
#include <mutex>
#include <unordered_map>

namespace vlib::detail {
namespace {

struct TListing {
    struct timespec modified {};
    std::map<std::string, std::string> byLowerName; // lower-cased name -> name on disk
};

std::string Lower(const std::string &text) {
    std::string out(text);
    for (char &c : out) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u >= 'A' && u <= 'Z')
            c = static_cast<char>(u - 'A' + 'a');
    }
    return out;
}

bool SameTime(const struct timespec &a, const struct timespec &b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

class TListingCache {
public:
    /// The name in `directory` that equals `name` without regard to case; empty if none.
    std::string Find(const std::string &directory, const std::string &name) {
        struct stat st;
        if (::stat(directory.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
            return std::string();
        std::lock_guard<std::mutex> lock(m_Mutex);
        TListing &listing = m_Listings[directory];
        if (!SameTime(listing.modified, st.st_mtim) || listing.byLowerName.empty()) {
            listing.byLowerName.clear();
            listing.modified = st.st_mtim;
            if (DIR *dir = ::opendir(directory.c_str())) {
                while (const struct dirent *entry = ::readdir(dir)) {
                    const std::string entryName(entry->d_name);
                    if (entryName == "." || entryName == "..")
                        continue;
                    // Of names that differ only in case, the smallest wins, so the choice
                    // does not depend on the order of the listing.
                    auto [it, added] = listing.byLowerName.emplace(Lower(entryName), entryName);
                    if (!added && entryName < it->second)
                        it->second = entryName;
                }
                ::closedir(dir);
            }
        }
        auto it = listing.byLowerName.find(Lower(name));
        return it != listing.byLowerName.end() ? it->second : std::string();
    }

    void Clear() {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Listings.clear();
    }

private:
    std::mutex m_Mutex;
    std::unordered_map<std::string, TListing> m_Listings;
};

TListingCache &Cache() {
    static TListingCache cache;
    return cache;
}

bool Exists(const std::string &path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

std::string Join(const std::string &base, const std::string &name) {
    if (base.empty())
        return name;
    if (base.back() == '/')
        return base + name;
    return base + "/" + name;
}

} // namespace

std::string ResolvePathCase(const std::string &path, bool forCreate) {
    if (path.empty() || Exists(path))
        return path;
    const size_t slash = path.find_last_of('/');
    if (forCreate) {
        if (slash == std::string::npos)
            return path; // a new file in the current directory
        if (Exists(slash == 0 ? std::string("/") : path.substr(0, slash)))
            return path;
    }

    std::string resolved = path[0] == '/' ? "/" : "";
    size_t begin = 0;
    while (begin <= path.size()) {
        size_t end = path.find('/', begin);
        if (end == std::string::npos)
            end = path.size();
        const std::string component = path.substr(begin, end - begin);
        const bool last = end >= path.size();
        begin = end + 1;
        if (component.empty())
            continue;
        const std::string exact = Join(resolved, component);
        if (component == "." || component == ".." || Exists(exact)) {
            resolved = exact;
            continue;
        }
        const std::string match = Cache().Find(resolved.empty() ? "." : resolved, component);
        if (!match.empty())
            resolved = Join(resolved, match);
        else if (last && forCreate)
            resolved = exact;
        else
            return path;
    }
    return resolved;
}

void ClearPathCaseCache() {
    Cache().Clear();
}

} // namespace vlib::detail
