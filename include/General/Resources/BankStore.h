// The stores under a resource bank: one interface over a directory tree of the operating
// system (used while a game is made) and a packed ".vrb" file holding many small files (used
// when it ships). Files are addressed by a path relative to the store or by its HashPathName.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Core/StringInt.h"
#include "General/Platform/CriticalSection.h"
#include "General/Streams/Directory.h"
#include "General/Streams/FileTime.h"
#include "General/Streams/RealFile.h"

class TBankFileSystem_I;
class TManagedFileBuf;
namespace vlib::detail {
template <class T> class TIdIndex;
}

/// Called by TBankFileSystem_I::Enumerate with each file; false stops the walk.
class VLIB_API TBankFileVisitor_I {
public:
    virtual ~TBankFileVisitor_I() = default;
    virtual bool operator()(TBankFileSystem_I &store, const TDynamicString &path) = 0;
};

/// The store interface. Open modes are TRealFile's: 2 read, 4 write, 0x20 append.
class VLIB_API TBankFileSystem_I {
public:
    TBankFileSystem_I() = default;
    TBankFileSystem_I(const TBankFileSystem_I &) = delete;
    TBankFileSystem_I &operator=(const TBankFileSystem_I &) = delete;

    /// 0 for a directory store, 1 for a packed store.
    virtual int GetType() = 0;
    virtual TDynamicString GetRoot() = 0;
    virtual bool Open(const TDynamicString &location, bool readOnly) = 0;
    virtual bool Create(const TDynamicString &location) = 0;
    virtual bool Flush() = 0;
    virtual bool Close() = 0;
    /// The file of that hash; null if unknown or on failure. Give it back with CloseFile.
    virtual TFileObj *OpenFile(unsigned long hash, unsigned long mode) = 0;
    virtual TFileObj *OpenFile(const TDynamicString &path, unsigned long mode) = 0;
    /// A read window straight on the medium; null where the store has none.
    virtual TFileObj *OpenWindow(const TDynamicString &path, unsigned long mode);
    virtual void AddFile(const TDynamicString &path);
    virtual void RemoveFile(const TDynamicString &path);
    /// Closes and deletes a file that OpenFile or OpenWindow gave.
    virtual void CloseFile(TFileObj *file) = 0;
    virtual bool DeleteFile(const TDynamicString &path) = 0;
    virtual bool Exists(const TDynamicString &path) = 0;
    virtual bool SetFileTime(const TDynamicString &path, TFileTime time) = 0;
    virtual bool GetFileTime(const TDynamicString &path, TFileTime &time) = 0;
    virtual int GetFileSize(const TDynamicString &path) = 0;
    /// Calls the visitor with every file; false when the visitor stopped the walk.
    virtual bool Enumerate(TBankFileVisitor_I &visitor) = 0;
    /// Where the file's bytes lie on disk; a size of 0xFFFFFFFF means the whole file.
    virtual bool GetFileLocation(unsigned long hash, TDynamicString &path,
                                 unsigned long long &offset, unsigned long &size) = 0;
    virtual bool GetFileLocation(const TDynamicString &path, TDynamicString &outPath,
                                 unsigned long long &offset, unsigned long &size) = 0;
    virtual TDynamicString GetPathOfHash(unsigned long hash);
    virtual ~TBankFileSystem_I() = default;
};

/// Makes the store of a kind (1 packed, anything else a directory); null without memory.
VLIB_API TBankFileSystem_I *MakeBankStore(int kind);

/// A store over a directory tree of the operating system.
class VLIB_API TBankDirectory : public TBankFileSystem_I {
public:
    int GetType() override { return 0; }
    TDynamicString GetRoot() override { return m_Directory.GetPath(); }
    bool Open(const TDynamicString &location, bool readOnly) override;
    bool Create(const TDynamicString &location) override;
    bool Flush() override { return true; }
    bool Close() override { return true; }
    TFileObj *OpenFile(unsigned long hash, unsigned long mode) override;
    TFileObj *OpenFile(const TDynamicString &path, unsigned long mode) override;
    void AddFile(const TDynamicString &path) override;
    void RemoveFile(const TDynamicString &path) override;
    void CloseFile(TFileObj *file) override;
    bool DeleteFile(const TDynamicString &path) override;
    bool Exists(const TDynamicString &path) override;
    bool SetFileTime(const TDynamicString &path, TFileTime time) override;
    bool GetFileTime(const TDynamicString &path, TFileTime &time) override;
    int GetFileSize(const TDynamicString &path) override;
    bool Enumerate(TBankFileVisitor_I &visitor) override;
    bool GetFileLocation(unsigned long hash, TDynamicString &path, unsigned long long &offset,
                         unsigned long &size) override;
    bool GetFileLocation(const TDynamicString &path, TDynamicString &outPath,
                         unsigned long long &offset, unsigned long &size) override;
    TDynamicString GetPathOfHash(unsigned long hash) override;

private:
    TLibMap<uint32_t, TDynamicString> m_Names;
    TDirectory m_Directory;
    bool m_ReadOnly = false;
};

/// One file inside a pack.
struct TPackRecord {
    uint32_t Size = 0;
    uint32_t Offset = 0xFFFFFFFFu; ///< 0xFFFFFFFF until first written
    TFileTime Time;
    TDynamicString FileName;
    uint32_t Directory = 0; ///< index into the process-wide table of directories
};

/// A store in one packed ".vrb" file. Writable packs hand out memory copies that reach the
/// file in CloseFile; read-only packs hand out pooled windows on the file.
class VLIB_API TBankPackedFile : public TBankFileSystem_I {
public:
    static constexpr uint32_t kMagic = 0x5041434B;
    static constexpr uint32_t kVersion = 2;
    static constexpr uint32_t kWriting = 0xFFFFFFFFu;
    static constexpr uint32_t kHeaderSize = 16;

    TBankPackedFile() = default;
    TBankPackedFile(const TBankPackedFile &) = delete;
    TBankPackedFile &operator=(const TBankPackedFile &) = delete;
    /// Closes the store if it is still open.
    ~TBankPackedFile() override;

    int GetType() override { return 1; }
    TDynamicString GetRoot() override { return m_Path; }
    bool Open(const TDynamicString &location, bool readOnly) override;
    bool Create(const TDynamicString &location) override;
    bool Flush() override;
    /// Flushes, closes, and compacts a pack with holes through a temporary file that
    /// replaces the pack only once it is complete. False when any write failed.
    bool Close() override;
    TFileObj *OpenFile(unsigned long hash, unsigned long mode) override;
    TFileObj *OpenFile(const TDynamicString &path, unsigned long mode) override;
    TFileObj *OpenWindow(const TDynamicString &path, unsigned long mode) override;
    void CloseFile(TFileObj *file) override;
    bool DeleteFile(const TDynamicString &path) override;
    bool Exists(const TDynamicString &path) override;
    bool SetFileTime(const TDynamicString &path, TFileTime time) override;
    bool GetFileTime(const TDynamicString &path, TFileTime &time) override;
    int GetFileSize(const TDynamicString &path) override;
    bool Enumerate(TBankFileVisitor_I &visitor) override;
    bool GetFileLocation(unsigned long hash, TDynamicString &path, unsigned long long &offset,
                         unsigned long &size) override;
    bool GetFileLocation(const TDynamicString &path, TDynamicString &outPath,
                         unsigned long long &offset, unsigned long &size) override;

    bool GetNeedsCompacting() const { return m_NeedsCompacting; }
    uint64_t GetDataEnd() const { return m_DataEnd; }
    int GetRecordCount() const { return static_cast<int>(m_Records.size()); }

private:
    struct TWindow {
        bool InUse = false;
        TSubFile *File = nullptr; // owned
    };
    static constexpr int kSpareLimit = 64 * 1024;
    struct TOpenBuffer {
        TManagedFileBuf *Buffer = nullptr; // owned
        uint32_t Hash = 0;
    };

    TPackRecord *Find(uint32_t hash);
    TPackRecord *Find(const TDynamicString &path);
    TDynamicString FullPath(const TPackRecord &record) const;
    TFileObj *OpenWindow(const TPackRecord &record, unsigned long mode);
    /// A memory copy of a record of a writable pack; `path` names a record made for writing.
    TFileObj *OpenBuffer(uint32_t hash, TPackRecord *record, const TDynamicString *path,
                         unsigned long mode);
    /// Fills the hash index from the records; on failure lookups use the map alone.
    void BuildIndex();
    /// Adds a new record to the hash index, or gives the index up when that fails.
    void IndexRecord(uint32_t hash, TPackRecord *record);
    void DropIndex();
    bool WriteHeader(uint32_t version);
    bool WriteDirectory();
    bool ReadDirectory();
    void MarkDirty();
    bool WriteAt(uint64_t offset, const void *data, size_t size);
    void CloseFileLocked(TManagedFileBuf *buffer);
    void ReleaseAll();
    bool Compact();

    TRealFile m_File;
    TDynamicString m_Path;
    bool m_ReadOnly = false;
    bool m_Dirty = false;
    uint32_t m_Version = kVersion;
    uint64_t m_DataEnd = kHeaderSize;
    uint64_t m_DirectorySize = 4;
    TLibMap<uint32_t, TPackRecord> m_Records;
    vlib::detail::TIdIndex<TPackRecord> *m_Index = nullptr; // owned; points into m_Records
    bool m_IndexValid = false; // false: m_Index may lag behind m_Records, so it is not used
    TLibVector<TOpenBuffer> m_OpenFiles;
    TManagedFileBuf *m_Spare = nullptr; // owned; a closed buffer kept for the next open
    TCriticalSection m_Lock;
    bool m_NeedsCompacting = false;
    TLibVector<TWindow> m_Windows;
    bool m_WriteFailed = false; // a write to the pack failed since Open
    bool m_IsOpen = false;
    bool m_Damaged = false; // the last Open read the pack and found it wrong
};
