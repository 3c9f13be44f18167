// TDirectory: the vlfs operations on path + name, moves up and down the tree, and searches
// through the platform's directory search.
#include "General/Streams/Directory.h"

#include <cstring>
#include <string>

#include "General/Streams/Detail/DirectorySearch.h"
#include "General/Streams/Detail/SystemPath.h"
#include "General/Streams/FileSystem.h"
#include "General/Streams/RealFile.h"

namespace {

/// The position of the separator that ends the component before the closing one; -1 if the
/// path has no component above its last.
int ParentCut(const TDynamicString &path) {
    int i = path.GetLength() - 2; // the closing separator is not the one sought
    while (i >= 0 && !vlfs::path::IsSep(path.GetCharacter(i)))
        --i;
    return i;
}

TRealFile *OpenRealFile(const std::string &path, unsigned long flags) {
    TRealFile *file = new TRealFile;
    if (file != nullptr && !file->Open(TDynamicString(path.c_str()), flags)) {
        delete file;
        file = nullptr;
    }
    return file;
}

} // namespace

TDirectory::TDirectory(const TDynamicString &path) : m_Path(path) {
    vlfs::path::Terminate(m_Path);
}

TDirectory::TDirectory(const TDirectory &other) : TBaseAllocator(), m_Path(other.m_Path) {}

TDirectory &TDirectory::operator=(const TDirectory &other) {
    if (this != &other) {
        (void)EndGetFile(); // ending a search cannot fail
        m_Path = other.m_Path;
    }
    return *this;
}

TDirectory::~TDirectory() {
    delete m_Search;
}

void TDirectory::SetPath(TDynamicString path) {
    (void)EndGetFile(); // ending a search cannot fail
    m_Path = path;
    vlfs::path::Terminate(m_Path);
}

TDirectory &TDirectory::MakeAbsolute() {
    vlfs::path::MakeAbsolute(m_Path);
    return *this;
}

TDynamicString &TDirectory::MakeAbsolute(TDynamicString &path) {
    return vlfs::path::MakeAbsolute(path);
}

bool TDirectory::Exists(const TDynamicString &name) const {
    return vlfs::Exists(m_Path + name);
}

bool TDirectory::IsReadOnly(const TDynamicString &name) const {
    return vlfs::IsReadOnly(m_Path + name);
}

bool TDirectory::Delete(const TDynamicString &name) const {
    return vlfs::Delete(m_Path + name);
}

bool TDirectory::Touch(const TDynamicString &name) const {
    return vlfs::Touch(m_Path + name);
}

bool TDirectory::DirExists() const {
    return vlfs::IsDirectory(m_Path);
}

bool TDirectory::CreatePath() const {
    return vlfs::CreatePath(m_Path);
}

bool TDirectory::Rename(const TDynamicString &oldName, const TDynamicString &newName) const {
    return vlfs::Rename(m_Path + oldName, m_Path + newName);
}

bool TDirectory::Copy(const TDirectory &source, const TDynamicString &sourceName,
                      const TDynamicString &destName) const {
    return vlfs::Copy(source.m_Path + sourceName, m_Path + destName, true);
}

bool TDirectory::SetWriteable(const TDynamicString &name) const {
    return vlfs::SetWriteable(m_Path + name, true);
}

bool TDirectory::SetHidden(const TDynamicString &name, bool hidden) const {
    return vlfs::SetHidden(m_Path + name, hidden);
}

bool TDirectory::IsNewerThan(const TDynamicString &name, const TDirectory &other,
                             const TDynamicString &otherName) const {
    return vlfs::IsNewerThan(m_Path + name, other.m_Path + otherName);
}

bool TDirectory::IsNewerThan(const TDynamicString &name, TFileTime &time) const {
    return vlfs::IsNewerThan(m_Path + name, time);
}

TError TDirectory::SetFileTime(const TDynamicString &name, TFileTime &time, int which) const {
    return vlfs::SetFileTime(m_Path + name, time, static_cast<vlfs::LTTimes>(which))
               ? TError::kSuccess
               : TError::kFailure;
}

TError TDirectory::GetFileTime(const TDynamicString &name, TFileTime &time) const {
    return vlfs::FileTime(m_Path + name, time, vlfs::LastWrite) ? TError::kSuccess
                                                                : TError::kFailure;
}

unsigned long TDirectory::GetFileSize(const TDynamicString &name) const {
    unsigned long size = 0;
    return vlfs::FileSize(m_Path + name, size) ? size : 0;
}

TRealFile *TDirectory::CreateReadHandle(const TDynamicString &name) const {
    return OpenRealFile(vlib::detail::ToSlashes((m_Path + name).GetData()), 0xA);
}

TRealFile *TDirectory::CreateWriteHandle(const TDynamicString &name) const {
    return OpenRealFile(vlib::detail::ToSlashes((m_Path + name).GetData()), 0xC);
}

TDirectory *TDirectory::OpenNewDirectory(const TDynamicString &path) const {
    return vlfs::IsDirectory(path) ? new TDirectory(path) : nullptr;
}

bool TDirectory::MoveToSubdirectory(const TDynamicString &name, bool create) {
    if (!create && !vlfs::IsDirectory(m_Path + name))
        return false;
    m_Path.Append(name.GetData());
    vlfs::path::Terminate(m_Path);
    return true;
}

bool TDirectory::MoveToParentDirectory() {
    TDynamicString leaf;
    return MoveToParentDirectory(leaf);
}

bool TDirectory::MoveToParentDirectory(TDynamicString &leaf) {
    const int cut = ParentCut(m_Path);
    if (cut < 0)
        return false;
    leaf = m_Path.From(cut + 1);
    m_Path = m_Path.Left(cut + 1);
    return true;
}

TDynamicString TDirectory::GetLeaf() const {
    const int cut = ParentCut(m_Path);
    if (cut < 0)
        return TDynamicString();
    TDynamicString leaf = m_Path.From(cut + 1);
    const int length = leaf.GetLength();
    if (length > 0 && vlfs::path::IsSep(leaf.GetCharacter(length - 1)))
        leaf = leaf.Left(length - 1);
    return leaf;
}

bool TDirectory::DeleteAllContents() const {
    vlib::detail::TDirectorySearch search;
    if (!search.Begin(vlib::detail::ToSlashes((m_Path + "*.*").GetData())))
        return false;
    // Gather first, delete afterwards: the listing is not disturbed by its own deletions.
    TLibVector<TDynamicString> files;
    TLibVector<TDynamicString> links;
    TLibVector<TDynamicString> directories;
    do {
        const char *name = search.Name();
        const TDynamicString path = TDynamicString(search.DirectoryPath().c_str()) + name;
        switch (search.GetKind()) {
        case vlib::detail::TDirectorySearch::Directory:
            if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0)
                directories.push_back(path);
            break;
        case vlib::detail::TDirectorySearch::Link: // the link goes, never what it points at
            links.push_back(path);
            break;
        case vlib::detail::TDirectorySearch::File:
            files.push_back(path);
            break;
        }
    } while (search.Next());
    bool ok = search.EndedCleanly();
    for (const TDynamicString &link : links)
        ok = vlfs::Delete(link) && ok;
    for (const TDynamicString &file : files) {
        if (vlfs::IsReadOnly(file))
            (void)vlfs::SetWriteable(file, true); // Delete below reports the outcome
        ok = vlfs::Delete(file) && ok;
    }
    for (const TDynamicString &directory : directories) {
        // Writeable first: the entries of a directory without write permission cannot go.
        if (vlfs::IsReadOnly(directory))
            (void)vlfs::SetWriteable(directory, true); // DeleteDirectory reports the outcome
        const TDirectory inner(directory);
        ok = inner.DeleteAllContents() && ok;
        ok = vlfs::DeleteDirectory(directory) && ok;
    }
    return ok;
}

int TDirectory::NumberOfFiles() {
    vlib::detail::TDirectorySearch search;
    if (!search.Begin(vlib::detail::ToSlashes((m_Path + "*").GetData())))
        return 0;
    int count = 1;
    while (search.Next())
        ++count;
    return count;
}

TDynamicString TDirectory::FilePath() const {
    return m_Path + GetFileName();
}

void TDirectory::GetFiles(const char *pattern, TLibVector<TDynamicString> &out) {
    if (!GetFirstFile(pattern))
        return;
    do {
        out.emplace_back(m_Search->Name());
    } while (GetNextFile());
}

bool TDirectory::GetFirstFile(const char *pattern) {
    (void)EndGetFile(); // ending a search cannot fail
    m_Search = new vlib::detail::TDirectorySearch;
    if (m_Search == nullptr)
        return false;
    TDynamicString full = m_Path + pattern;
    if (m_Search->Begin(vlib::detail::ToSlashes(full.GetData())))
        return true;
    (void)EndGetFile(); // nothing found: no search stays open
    return false;
}

bool TDirectory::GetNextFile() {
    return m_Search != nullptr && m_Search->Next();
}

bool TDirectory::EndGetFile() {
    delete m_Search;
    m_Search = nullptr;
    return true;
}

TDynamicString TDirectory::GetFileName() const {
    return m_Search != nullptr && m_Search->HasEntry() ? TDynamicString(m_Search->Name())
                                                       : TDynamicString();
}

TError TDirectory::GetFileSize(int &size) {
    uint64_t bytes;
    if (m_Search == nullptr || !m_Search->GetSize(bytes))
        return TError::kFailure;
    size = static_cast<int>(static_cast<uint32_t>(bytes));
    return TError::kSuccess;
}

void TDirectory::GetFileLatestWriteTime(TFileTime &time) const {
    if (m_Search != nullptr)
        (void)m_Search->GetWriteTime(time); // without an entry the time stays as it was
}

bool TDirectory::IsADirectory() const {
    return m_Search != nullptr && m_Search->IsDirectory();
}
