// The directory store and the packed store. A pack is appended to only: a rewritten or
// deleted file leaves a hole, and closing a pack with holes copies its live files into a
// fresh pack that then replaces the old one by an atomic rename.
#include "General/Resources/BankStore.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <unistd.h>

#include "General/Core/Detail/NoThrow.h"
#include "General/Resources/Detail/EntryIndex.h"
#include "General/Resources/Detail/PackIndex.h"
#include "General/Resources/Resource.h"
#include "General/Streams/FileBuf.h"
#include "General/Streams/FileSystem.h"

namespace {

constexpr unsigned long kModeRead = 2;
constexpr unsigned long kModeWrite = 4;
constexpr unsigned long kModeAppend = 0x20;
constexpr int kMaxEnumerateDepth = 64;
constexpr uint64_t kPackLimit = 0x80000000u;

// The directories of every pack of the process, shared by their records and kept to exit.
struct TDirectoryTable {
    std::mutex Lock;
    TLibVector<TDynamicString> Names;
};

TDirectoryTable &Directories() {
    static TDirectoryTable *table = new TDirectoryTable; // lives until exit, by design
    return *table;
}

uint32_t InternDirectory(const TDynamicString &name) {
    TDirectoryTable &table = Directories();
    std::lock_guard<std::mutex> guard(table.Lock);
    for (size_t i = 0; i < table.Names.size(); ++i) {
        if (table.Names[i] == name)
            return static_cast<uint32_t>(i);
    }
    table.Names.push_back(name);
    return static_cast<uint32_t>(table.Names.size() - 1);
}

TDynamicString DirectoryName(uint32_t index) {
    TDirectoryTable &table = Directories();
    std::lock_guard<std::mutex> guard(table.Lock);
    return index < table.Names.size() ? table.Names[index] : TDynamicString();
}

/// Splits at the last '/': "a/b/c" gives "a/b/" and "c".
void SplitPath(const TDynamicString &path, TDynamicString &directory, TDynamicString &name) {
    int slash = path.FindLastOccurence('/');
    directory = path.Left(slash + 1);
    name = path.From(slash + 1);
}

/// True when the directory's path holds all of `location` and ends in a separator: a copy
/// cut short by an exhausted heap would name another directory.
bool HasWholeDirectoryPath(const TDirectory &directory, const TDynamicString &location) {
    const TDynamicString path = directory.GetPath();
    return path.GetLength() >= location.GetLength() && path.GetLength() > 0 &&
           path.GetCharacter(path.GetLength() - 1) == '/';
}

enum class TWalk { Done, Stopped, Failed };

/// Walks one directory. A path that could not be built whole (the heap ran out) fails the
/// walk: a shortened path would name another directory, up to the file system's root.
TWalk EnumerateDirectory(TBankFileSystem_I &store, const TDynamicString &root,
                         const TDynamicString &sub, TBankFileVisitor_I &visitor, int depth) {
    const TDynamicString path = root + sub;
    if (path.GetLength() != root.GetLength() + sub.GetLength())
        return TWalk::Failed;
    TDirectory directory(path);
    if (directory.GetPath().GetLength() < path.GetLength()) // a separator may be added
        return TWalk::Failed;
    TLibVector<std::pair<TDynamicString, bool>> entries;
    bool listed = true;
    if (directory.GetFirstFile("*.*")) {
        do {
            const TDynamicString name = directory.GetFileName();
            listed = vlib::detail::CallNoThrow(
                [&] { entries.emplace_back(name, directory.IsADirectory()); });
            listed =
                listed && !name.IsEmpty() && entries.back().first.GetLength() == name.GetLength();
        } while (listed && directory.GetNextFile());
    }
    (void)directory.EndGetFile(); // ending a search cannot fail
    if (!listed)
        return TWalk::Failed;
    for (const auto &[name, isDirectory] : entries) {
        const TDynamicString child = sub + name;
        if (child.GetLength() != sub.GetLength() + name.GetLength())
            return TWalk::Failed;
        if (!isDirectory) {
            if (!visitor(store, child))
                return TWalk::Stopped;
        } else if (name.GetCharacter(0) != '.' && depth < kMaxEnumerateDepth) {
            // A subdirectory's early stop ends only that subdirectory's walk.
            const TDynamicString next = child + "/";
            if (next.GetLength() != child.GetLength() + 1 ||
                EnumerateDirectory(store, root, next, visitor, depth + 1) == TWalk::Failed)
                return TWalk::Failed;
        }
    }
    return TWalk::Done;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Interface defaults and factory

TFileObj *TBankFileSystem_I::OpenWindow(const TDynamicString &, unsigned long) {
    return nullptr;
}
void TBankFileSystem_I::AddFile(const TDynamicString &) {}
void TBankFileSystem_I::RemoveFile(const TDynamicString &) {}
TDynamicString TBankFileSystem_I::GetPathOfHash(unsigned long) {
    return TDynamicString();
}

TBankFileSystem_I *MakeBankStore(int kind) {
    if (kind == 1)
        return new (std::nothrow) TBankPackedFile;
    return new (std::nothrow) TBankDirectory;
}

// ---------------------------------------------------------------------------------------------
// Directory store

bool TBankDirectory::Open(const TDynamicString &location, bool readOnly) {
    m_Directory.SetPath(location);
    // A location shortened by an exhausted heap would name another directory.
    if (location.IsEmpty() || !HasWholeDirectoryPath(m_Directory, location))
        return false;
    m_Directory.MakeAbsolute();
    if (!HasWholeDirectoryPath(m_Directory, TDynamicString()))
        return false;
    m_ReadOnly = readOnly;
    return m_Directory.DirExists();
}

bool TBankDirectory::Create(const TDynamicString &location) {
    m_Directory.SetPath(location);
    return !location.IsEmpty() && HasWholeDirectoryPath(m_Directory, location);
}

TFileObj *TBankDirectory::OpenFile(unsigned long hash, unsigned long mode) {
    auto it = m_Names.find(static_cast<uint32_t>(hash));
    if (it == m_Names.end())
        return nullptr;
    return OpenFile(it->second, mode);
}

TFileObj *TBankDirectory::OpenFile(const TDynamicString &path, unsigned long mode) {
    if (m_ReadOnly && (mode & (kModeWrite | kModeAppend)) != 0)
        return nullptr;
    return vlib::detail::CallNoThrow(
        [&]() -> TFileObj * {
            TDynamicString full = m_Directory.FilePath(path);
            if (full.GetLength() != m_Directory.GetPath().GetLength() + path.GetLength())
                return nullptr; // a path cut short would name another file
            vlfs::path::MakeAbsolute(full);
            if ((mode & kModeWrite) != 0) {
                TDynamicString folder = vlfs::path::Split(full).first;
                if (!folder.IsEmpty() && !vlfs::IsDirectory(folder))
                    (void)vlfs::CreatePath(folder); // Open below reports a failure
            }
            auto *file = new TRealFile; // null without memory
            if (file == nullptr)
                return nullptr;
            if (!file->Open(full, mode)) {
                delete file;
                return nullptr;
            }
            return file;
        },
        static_cast<TFileObj *>(nullptr));
}

void TBankDirectory::AddFile(const TDynamicString &path) {
    m_Names[HashPathName(path.GetData())] = path;
}

void TBankDirectory::RemoveFile(const TDynamicString &path) {
    m_Names.erase(HashPathName(path.GetData()));
}

void TBankDirectory::CloseFile(TFileObj *file) {
    if (file == nullptr)
        return;
    if (file->IsOpen())
        (void)file->Close(); // the caller has nothing to do about a failed close
    delete file;
}

bool TBankDirectory::DeleteFile(const TDynamicString &path) {
    return m_Directory.Delete(path);
}

bool TBankDirectory::Exists(const TDynamicString &path) {
    return vlfs::IsFile(m_Directory.FilePath(path));
}

bool TBankDirectory::SetFileTime(const TDynamicString &path, TFileTime time) {
    return vlfs::SetFileTime(m_Directory.FilePath(path), time, vlfs::LastWrite);
}

bool TBankDirectory::GetFileTime(const TDynamicString &path, TFileTime &time) {
    return vlfs::FileTime(m_Directory.FilePath(path), time, vlfs::LastWrite);
}

int TBankDirectory::GetFileSize(const TDynamicString &path) {
    return static_cast<int>(m_Directory.GetFileSize(path));
}

bool TBankDirectory::Enumerate(TBankFileVisitor_I &visitor) {
    return EnumerateDirectory(*this, m_Directory.GetPath(), "./", visitor, 0) == TWalk::Done;
}

bool TBankDirectory::GetFileLocation(unsigned long hash, TDynamicString &path,
                                     unsigned long long &offset, unsigned long &size) {
    return GetFileLocation(GetPathOfHash(hash), path, offset, size);
}

bool TBankDirectory::GetFileLocation(const TDynamicString &path, TDynamicString &outPath,
                                     unsigned long long &offset, unsigned long &size) {
    outPath = m_Directory.GetPath() + path;
    offset = 0;
    size = 0xFFFFFFFFu;
    return true;
}

TDynamicString TBankDirectory::GetPathOfHash(unsigned long hash) {
    auto it = m_Names.find(static_cast<uint32_t>(hash));
    return it != m_Names.end() ? it->second : TDynamicString();
}

// ---------------------------------------------------------------------------------------------
// Packed store

TBankPackedFile::~TBankPackedFile() {
    if (m_IsOpen)
        (void)Close(); // a destructor cannot report
    delete m_Index;
    delete m_Spare;
}

bool TBankPackedFile::Open(const TDynamicString &location, bool readOnly) {
    m_Path = location;
    // A location shortened by an exhausted heap would name another file (".vrb" alone
    // would be made in the working directory).
    if (location.IsEmpty() || m_Path.GetLength() != location.GetLength())
        return false;
    if (m_Path.FindSubstring(".vrb") < 0)
        m_Path.Append(".vrb");
    if (m_Path.GetLength() < location.GetLength() + 4 && m_Path.FindSubstring(".vrb") < 0)
        return false;
    m_ReadOnly = readOnly;
    m_Dirty = false;
    m_NeedsCompacting = false;
    m_WriteFailed = false;
    m_Records.clear();
    DropIndex();
    if (!m_File.Open(m_Path, readOnly ? kModeRead : kModeRead | kModeWrite))
        return false;
    m_IsOpen = true;
    if (m_File.Length() < 1) {
        if (readOnly) {
            ReleaseAll();
            return false;
        }
        m_Version = kVersion;
        m_DataEnd = kHeaderSize;
        m_DirectorySize = 4;
        m_Dirty = true;
        if (!WriteHeader(kVersion) || !WriteDirectory()) {
            ReleaseAll();
            return false;
        }
        m_Dirty = false;
        BuildIndex();
        return true;
    }
    unsigned char header[kHeaderSize];
    const int fileLength = m_File.Length();
    bool ok = m_File.Seek(0, TFileObj::SeekStart) &&
              m_File.Read(header, sizeof header) == static_cast<int>(sizeof header);
    // Only what was read and found wrong is damage; a read that failed (a heap that ran out,
    // a failing disk) says nothing about the pack, which is then kept as it is.
    m_Damaged = !ok && fileLength < static_cast<int>(kHeaderSize);
    if (ok) {
        m_Version = static_cast<uint32_t>(vlib::detail::GetLE(header + 4, 4));
        m_DataEnd = vlib::detail::GetLE(header + 8, 8);
        m_Damaged = m_Version == kWriting;
        ok = !m_Damaged && ReadDirectory();
    }
    if (ok)
        return true;
    ReleaseAll();
    if (readOnly || !m_Damaged)
        return false;
    // The pack is unreadable and will be started afresh. Its bytes are kept beside it, so
    // that files still intact in it are not lost with the directory.
    TDynamicString aside = m_Path + ".damaged";
    (void)std::rename(m_Path.GetData(), aside.GetData()); // Create empties the pack anyway
    TDynamicString base = m_Path;
    if (base.GetLength() >= 4 && base.Right(4) == ".vrb")
        base = base.Left(base.GetLength() - 4);
    return Create(base);
}

bool TBankPackedFile::ReadDirectory() {
    // m_Damaged says whether a failure came from the bytes themselves: a read that failed or
    // a heap that ran out is no proof that the pack is bad.
    const int length = m_File.Length();
    m_Damaged = true;
    if (m_DataEnd < kHeaderSize || m_DataEnd > static_cast<uint64_t>(length))
        return false;
    const size_t size = static_cast<size_t>(static_cast<uint64_t>(length) - m_DataEnd);
    if (size < 4)
        return false;
    m_Damaged = false;
    auto read = [&]() {
        std::vector<unsigned char> bytes(size);
        if (!m_File.Seek(static_cast<int>(m_DataEnd), TFileObj::SeekStart) ||
            m_File.Read(bytes.data(), static_cast<int>(size)) != static_cast<int>(size))
            return false;
        std::vector<vlib::detail::TPackIndexEntry> entries;
        size_t consumed = 0;
        if (!vlib::detail::ParsePackIndex(bytes.data(), size, m_DataEnd, entries, consumed)) {
            m_Damaged = true;
            return false;
        }
        for (const auto &entry : entries) {
            TDynamicString path(entry.Path.c_str());
            TPackRecord record;
            TDynamicString directory;
            SplitPath(path, directory, record.FileName);
            // A string that could not be allocated comes out short: treat it as the
            // exhausted heap it is rather than keep a record under a wrong name.
            if (path.GetLength() != static_cast<int>(entry.Path.size()) ||
                directory.GetLength() + record.FileName.GetLength() != path.GetLength())
                return false;
            record.Directory = InternDirectory(directory);
            record.Size = entry.Size;
            record.Offset = entry.Offset;
            record.Time.SetValue(entry.Time);
            m_Records[HashPathName(path.GetData())] = std::move(record);
        }
        m_DirectorySize = consumed;
        BuildIndex();
        return true;
    };
    bool result = false;
    if (!vlib::detail::CallNoThrow([&] { result = read(); }))
        return false;
    return result;
}

bool TBankPackedFile::Create(const TDynamicString &location) {
    m_Version = kVersion;
    if (location.TestChar(-1, "/\\"))
        return false;
    TDynamicString path = location + ".vrb";
    if (location.IsEmpty() || path.GetLength() != location.GetLength() + 4)
        return false;
    if (m_IsOpen)
        ReleaseAll();
    TRealFile empty;
    if (!empty.Open(path, kModeWrite))
        return false;
    (void)empty.Close(); // nothing was written, so nothing can be lost
    return Open(path, false);
}

bool TBankPackedFile::WriteAt(uint64_t offset, const void *data, size_t size) {
    bool ok = offset < kPackLimit && m_File.Seek(static_cast<int>(offset), TFileObj::SeekStart) &&
              m_File.Write(data, static_cast<int>(size));
    if (!ok)
        m_WriteFailed = true;
    return ok;
}

bool TBankPackedFile::WriteHeader(uint32_t version) {
    std::vector<unsigned char> header;
    vlib::detail::PutLE(header, kMagic, 4);
    vlib::detail::PutLE(header, version, 4);
    vlib::detail::PutLE(header, m_DataEnd, 8);
    return WriteAt(0, header.data(), header.size());
}

void TBankPackedFile::MarkDirty() {
    if (m_Dirty)
        return;
    m_Dirty = true;
    (void)WriteHeader(kWriting); // a failure is remembered in m_WriteFailed
}

bool TBankPackedFile::WriteDirectory() {
    return vlib::detail::CallNoThrow(
        [&]() {
            std::vector<vlib::detail::TPackIndexEntry> entries;
            entries.reserve(m_Records.size());
            for (const auto &[hash, record] : m_Records) {
                vlib::detail::TPackIndexEntry entry;
                entry.Path = FullPath(record).GetData();
                entry.Size = record.Size;
                entry.Offset = record.Offset;
                entry.Time = record.Time.GetValue();
                entries.push_back(std::move(entry));
            }
            std::vector<unsigned char> bytes;
            vlib::detail::WritePackIndex(entries, bytes);
            m_DirectorySize = bytes.size();
            if (!WriteAt(m_DataEnd, bytes.data(), bytes.size()))
                return false;
            // The directory goes out before the header is marked clean, so a pack whose
            // header says version 2 always has its directory complete behind the data.
            if (!m_File.Flush()) {
                m_WriteFailed = true;
                return false;
            }
            return WriteHeader(kVersion);
        },
        false);
}

TDynamicString TBankPackedFile::FullPath(const TPackRecord &record) const {
    return DirectoryName(record.Directory) + record.FileName;
}

void TBankPackedFile::DropIndex() {
    if (m_Index != nullptr)
        m_Index->Clear();
    m_IndexValid = false;
}

void TBankPackedFile::BuildIndex() {
    // Without memory for the index, lookups simply go on through the ordered map.
    m_IndexValid = vlib::detail::CallNoThrow([&] {
        if (m_Index == nullptr)
            m_Index = new vlib::detail::TIdIndex<TPackRecord>;
        m_Index->Clear();
        for (auto &[hash, record] : m_Records)
            m_Index->Insert(hash, &record);
    });
}

void TBankPackedFile::IndexRecord(uint32_t hash, TPackRecord *record) {
    if (m_IndexValid && !vlib::detail::CallNoThrow([&] { m_Index->Insert(hash, record); }))
        DropIndex();
}

TPackRecord *TBankPackedFile::Find(uint32_t hash) {
    // A pack holds thousands of files, and every open looks one up: the hash index probes
    // a slot or two where the map would descend a deep tree.
    if (m_IndexValid)
        return m_Index->Find(hash);
    auto it = m_Records.find(hash);
    return it != m_Records.end() ? &it->second : nullptr;
}

TPackRecord *TBankPackedFile::Find(const TDynamicString &path) {
    return Find(HashPathName(path.GetData()));
}

TFileObj *TBankPackedFile::OpenWindow(const TPackRecord &record, unsigned long mode) {
    if (record.Offset == 0xFFFFFFFFu)
        return nullptr;
    return vlib::detail::CallNoThrow(
        [&]() -> TFileObj * {
            for (TWindow &window : m_Windows) {
                if (!window.InUse && window.File->IsOpen() &&
                    window.File->SetRange(static_cast<int>(record.Offset),
                                          static_cast<int>(record.Size))) {
                    window.InUse = true;
                    return window.File;
                }
            }
            m_Windows.reserve(m_Windows.size() + 1); // so the append below cannot throw
            auto *file = new TSubFile; // the library's objects give null without memory
            if (file == nullptr)
                return nullptr;
            if (!file->Open(m_Path, static_cast<int>(record.Offset), static_cast<int>(record.Size),
                            mode)) {
                delete file;
                return nullptr;
            }
            m_Windows.push_back(TWindow{true, file});
            return file;
        },
        static_cast<TFileObj *>(nullptr));
}

TFileObj *TBankPackedFile::OpenFile(unsigned long hash, unsigned long mode) {
    if (!m_IsOpen || (mode & (kModeWrite | kModeAppend)) != 0)
        return nullptr;
    TPackRecord *record = Find(static_cast<uint32_t>(hash));
    if (record == nullptr)
        return nullptr;
    if (m_ReadOnly)
        return OpenWindow(*record, mode);
    // The record is at hand: no path is rebuilt and hashed again to find it a second time.
    return OpenBuffer(static_cast<uint32_t>(hash), record, nullptr, mode);
}

TFileObj *TBankPackedFile::OpenFile(const TDynamicString &path, unsigned long mode) {
    if (!m_IsOpen)
        return nullptr;
    const uint32_t hash = HashPathName(path.GetData());
    TPackRecord *record = Find(hash);
    if (record == nullptr && (mode & kModeWrite) == 0)
        return nullptr;
    if (m_ReadOnly) {
        if ((mode & (kModeWrite | kModeAppend)) != 0)
            return nullptr;
        return OpenWindow(*record, mode);
    }
    return OpenBuffer(hash, record, &path, mode);
}

TFileObj *TBankPackedFile::OpenBuffer(uint32_t hash, TPackRecord *record,
                                      const TDynamicString *path, unsigned long mode) {
    // The lock keeps the list of open buffers, the spare and the pack's file position whole
    // while the importer thread opens and closes files beside the main thread.
    vlib::TCriticalSectionGuard guard(m_Lock);
    return vlib::detail::CallNoThrow(
        [&]() -> TFileObj * {
            m_OpenFiles.reserve(m_OpenFiles.size() + 1); // so the append below cannot throw
            TManagedFileBuf *buffer = m_Spare;
            m_Spare = nullptr;
            if (buffer == nullptr)
                buffer = new TManagedFileBuf; // null without memory
            if (buffer == nullptr)
                return nullptr;
            // Deleted on every way out but the last, a heap exhausted while a new record is
            // made included.
            struct TOwned {
                TManagedFileBuf *buffer;
                ~TOwned() { delete buffer; }
            } owned{buffer};
            if (!buffer->Open(mode, 0))
                return nullptr;
            buffer->Resize(0); // a spare still holds its last file's length
            if (record == nullptr) {
                TPackRecord fresh;
                TDynamicString directory;
                SplitPath(*path, directory, fresh.FileName);
                fresh.Directory = InternDirectory(directory);
                fresh.Time.SetValue(0);
                record = &m_Records.emplace(hash, std::move(fresh)).first->second;
                IndexRecord(hash, record);
            } else if ((mode & kModeRead) != 0 && record->Offset != 0xFFFFFFFFu) {
                buffer->Resize(static_cast<int>(record->Size));
                const int size = static_cast<int>(record->Size);
                if ((size > 0 && buffer->GetBuffer() == nullptr) || buffer->Length() != size ||
                    !m_File.Seek(static_cast<int>(record->Offset), TFileObj::SeekStart) ||
                    m_File.Read(buffer->GetBuffer(), size) != size)
                    return nullptr;
                (void)buffer->Seek(0, TFileObj::SeekStart); // a buffer seek cannot fail
            }
            m_OpenFiles.push_back(TOpenBuffer{buffer, hash});
            owned.buffer = nullptr;
            return buffer;
        },
        static_cast<TFileObj *>(nullptr));
}

TFileObj *TBankPackedFile::OpenWindow(const TDynamicString &path, unsigned long mode) {
    if (!m_ReadOnly || (mode & (kModeWrite | kModeAppend)) != 0)
        return nullptr;
    TPackRecord *record = Find(path);
    return record != nullptr ? OpenWindow(*record, mode) : nullptr;
}

void TBankPackedFile::CloseFile(TFileObj *file) {
    if (file == nullptr)
        return;
    vlib::TCriticalSectionGuard guard(m_Lock);
    for (TWindow &window : m_Windows) {
        if (window.File == file) {
            window.InUse = false;
            return;
        }
    }
    CloseFileLocked(static_cast<TManagedFileBuf *>(file));
}

void TBankPackedFile::CloseFileLocked(TManagedFileBuf *buffer) {
    // Few files are open at a time, and the last opened is the usual one to close.
    auto it = std::find_if(m_OpenFiles.rbegin(), m_OpenFiles.rend(),
                           [&](const TOpenBuffer &open) { return open.Buffer == buffer; });
    if (it == m_OpenFiles.rend())
        return;
    const uint32_t hash = it->Hash;
    m_OpenFiles.erase(std::next(it).base());
    TPackRecord *record = buffer->IsWriteable() ? Find(hash) : nullptr;
    if (record != nullptr) {
        const uint32_t size = static_cast<uint32_t>(buffer->Length());
        record->Size = size;
        record->Time = TFileTime::Now();
        // Beyond 2 GiB the new bytes are dropped: the pack's offsets are 32-bit.
        if (m_DirectorySize + size + m_DataEnd < kPackLimit) {
            if (record->Offset != 0xFFFFFFFFu)
                m_NeedsCompacting = true;
            record->Offset = static_cast<uint32_t>(m_DataEnd);
            m_DataEnd += size;
            MarkDirty();
            (void)WriteAt(record->Offset, buffer->GetBuffer(), size); // failure remembered
        }
    }
    (void)buffer->Close(); // a memory buffer closes without fail
    // One closed buffer is kept for the next open, which then allocates nothing for a file
    // no larger than this one; a large one is not held on to.
    if (m_Spare == nullptr && buffer->Length() <= kSpareLimit)
        m_Spare = buffer;
    else
        delete buffer;
}

bool TBankPackedFile::DeleteFile(const TDynamicString &path) {
    vlib::TCriticalSectionGuard guard(m_Lock);
    const uint32_t hash = HashPathName(path.GetData());
    for (const TOpenBuffer &open : m_OpenFiles) {
        if (open.Hash == hash)
            return false;
    }
    if (m_Records.erase(hash) == 0)
        return false;
    if (m_IndexValid)
        m_Index->Erase(hash);
    m_NeedsCompacting = true;
    MarkDirty();
    return true;
}

bool TBankPackedFile::Exists(const TDynamicString &path) {
    return Find(path) != nullptr;
}

bool TBankPackedFile::SetFileTime(const TDynamicString &path, TFileTime time) {
    TPackRecord *record = Find(path);
    if (record == nullptr)
        return false;
    record->Time = time;
    return true;
}

bool TBankPackedFile::GetFileTime(const TDynamicString &path, TFileTime &time) {
    TPackRecord *record = Find(path);
    if (record == nullptr)
        return false;
    time = record->Time;
    return true;
}

int TBankPackedFile::GetFileSize(const TDynamicString &path) {
    TPackRecord *record = Find(path);
    return record != nullptr ? static_cast<int>(record->Size) : 0;
}

bool TBankPackedFile::Enumerate(TBankFileVisitor_I &visitor) {
    // Paths are taken first, so a visitor may open and close files as it goes.
    TLibVector<TDynamicString> paths;
    if (!vlib::detail::CallNoThrow([&]() {
            for (const auto &[hash, record] : m_Records)
                paths.push_back(FullPath(record));
        }))
        return false;
    for (const TDynamicString &path : paths) {
        if (!visitor(*this, path))
            return false;
    }
    return true;
}

bool TBankPackedFile::GetFileLocation(unsigned long hash, TDynamicString &path,
                                      unsigned long long &offset, unsigned long &size) {
    TPackRecord *record = Find(static_cast<uint32_t>(hash));
    if (record == nullptr)
        return false;
    path = m_Path;
    offset = record->Offset;
    size = record->Size;
    return true;
}

bool TBankPackedFile::GetFileLocation(const TDynamicString &path, TDynamicString &outPath,
                                      unsigned long long &offset, unsigned long &size) {
    return GetFileLocation(HashPathName(path.GetData()), outPath, offset, size);
}

bool TBankPackedFile::Flush() {
    if (!m_IsOpen)
        return false;
    {
        vlib::TCriticalSectionGuard guard(m_Lock);
        while (!m_OpenFiles.empty())
            CloseFileLocked(m_OpenFiles.front().Buffer);
    }
    if (m_Dirty) {
        if (WriteDirectory())
            m_Dirty = false;
    }
    if (!m_ReadOnly && !m_WriteFailed) {
        const uint64_t total = m_DataEnd + m_DirectorySize;
        if (static_cast<uint64_t>(m_File.Length()) != total &&
            !m_File.SetLength(static_cast<int>(total)))
            m_WriteFailed = true;
    }
    return !m_WriteFailed;
}

void TBankPackedFile::ReleaseAll() {
    for (TWindow &window : m_Windows) {
        if (window.File->IsOpen())
            (void)window.File->Close(); // read-only windows have nothing to lose
        delete window.File;
    }
    m_Windows.clear();
    for (TOpenBuffer &open : m_OpenFiles)
        delete open.Buffer;
    m_OpenFiles.clear();
    delete m_Spare;
    m_Spare = nullptr;
    if (m_File.IsOpen())
        (void)m_File.Close(); // written bytes were flushed or are reported through Flush
    m_Records.clear();
    DropIndex();
    m_IsOpen = false;
}

bool TBankPackedFile::Close() {
    if (!m_IsOpen)
        return false;
    bool ok = Flush();
    if (ok && m_NeedsCompacting && !m_ReadOnly) {
        m_NeedsCompacting = false;
        ok = Compact();
    }
    ReleaseAll();
    return ok;
}

bool TBankPackedFile::Compact() {
    // The copy is made beside the pack, so the final rename stays on one file system and
    // replaces the pack in one step: a failure on the way leaves the old pack as it was.
    TDynamicString folder = vlfs::path::Split(m_Path).first;
    if (folder.IsEmpty())
        folder = ".";
    TDynamicString pattern = folder + "/TempStorageXXXXXX";
    int fd = ::mkstemp(pattern.begin());
    if (fd < 0)
        return false;
    ::close(fd);
    TDynamicString tempPack = pattern + ".vrb";
    bool ok = vlib::detail::CallNoThrow(
        [&]() {
            TBankPackedFile temp;
            if (!temp.Create(pattern))
                return false;
            TLibVector<TDynamicString> paths;
            for (const auto &[hash, record] : m_Records)
                paths.push_back(FullPath(record));
            for (const TDynamicString &path : paths) {
                TFileObj *from = OpenFile(path, kModeRead);
                if (from == nullptr)
                    return false;
                TFileObj *to = temp.OpenFile(path, kModeWrite);
                bool copied = to != nullptr;
                if (copied) {
                    auto *source = static_cast<TManagedFileBuf *>(from);
                    copied =
                        to->Write(source->GetBuffer(), source->Length()) || source->Length() == 0;
                    temp.CloseFile(to);
                }
                // The source buffer was opened for reading only, so closing writes nothing.
                CloseFile(from);
                if (!copied)
                    return false;
            }
            return temp.Close();
        },
        false);
    (void)std::remove(pattern.GetData()); // the name reservation only
    if (ok) {
        // The copy's final header is on the disk before the rename makes it the pack.
        TRealFile copy;
        ok = copy.Open(tempPack, kModeRead) && copy.Flush();
        (void)copy.Close(); // read-only: nothing to lose
    }
    if (ok && std::rename(tempPack.GetData(), m_Path.GetData()) == 0)
        return true;
    (void)std::remove(tempPack.GetData()); // the old pack stays in place
    return false;
}
