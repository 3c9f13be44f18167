// The header at the front of every compiled resource file: when the source it was made from
// was last written and which other resources it rests on, with their source times. A bank
// reads it to decide whether a compiled file can still be trusted.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibContainers.h"
#include "General/Streams/FileTime.h"

class TFileObj;
class TResource;
class TResourceBank_I;
class TResourceBankEntry_I;

/// One resource a compiled file rests on: its id and its source time when the file was made.
struct TCompiledDependency {
    uint32_t id = 0;
    TFileTime time;

    bool operator==(const TCompiledDependency &other) const {
        return id == other.id && time == other.time;
    }
};

/// Source time and dependency list of a compiled file. A plain value.
class VLIB_API TCompiledResourceFileHeader {
public:
    /// "CRES" read as a little-endian word.
    static const uint32_t sm_uiMagicNumberForCompiledResource;
    /// The complete flag of a finished file.
    static const uint32_t sm_uiCompiledResourceHeaderVersion;
    /// "BSRC" read as a little-endian word: the first word of a binary source file.
    static const uint32_t sm_uiMagicNumberForBinarySource;
    /// The complete flag while the file is still being written.
    static const uint32_t sm_uiIncompleteFlag;
    /// Bytes before the dependency records: magic, flag, source time, count.
    static constexpr int kFixedSize = 20;
    /// Bytes of one dependency record: id and time.
    static constexpr int kDependencySize = 12;

    TCompiledResourceFileHeader() = default;
    TCompiledResourceFileHeader(const TCompiledResourceFileHeader &other) = default;
    TCompiledResourceFileHeader &operator=(const TCompiledResourceFileHeader &other) = default;
    ~TCompiledResourceFileHeader() = default;

    /// Writes magic, the incomplete flag, source time and dependencies at the file's position.
    /// False when the file cannot be written.
    bool SaveBinary(TFileObj *file);
    /// Marks a file written by SaveBinary as complete: seeks to offset 4 and writes 1.
    bool WriteFileCompleteFlag(TFileObj *file);
    /// Reads a header written by SaveBinary and completed. False for a file that cannot be
    /// read, a wrong magic, a flag other than 1, or a file shorter than its header claims;
    /// the dependency list is then left empty.
    bool LoadBinary(TFileObj *file);

    /// Adds every dependency of kind 1 the resource reports, found through the manager.
    void CopyDependenciesFromResource(TResource *resource);
    /// Records the entry, keyed by the id of its tag, with the bank's source time for it.
    /// An id already in the list is left as it is.
    void AddDependency(TResourceBank_I *bank, TResourceBankEntry_I *entry);
    /// Whether the list holds `id`.
    bool HasDependency(uint32_t id) const;
    /// Inserts a record in id order; false, with the list unchanged, if the id is present.
    bool InsertDependency(uint32_t id, const TFileTime &time);

    const TFileTime &GetSourceTime() const { return m_SourceTime; }
    void SetSourceTime(const TFileTime &time) { m_SourceTime = time; }
    const TLibVector<TCompiledDependency> &GetDependencies() const { return m_Dependencies; }
    void ClearDependencies() { m_Dependencies.clear(); }

private:
    TFileTime m_SourceTime;
    TLibVector<TCompiledDependency> m_Dependencies; // sorted by id, each id once
};
