// The abstract file through which every byte of the library passes, and the filter: a file
// object layered on a lower file object. Opening a filter takes the lower file over and marks
// it layered; Close runs down the whole stack; CloseLayer takes off one level and leaves the
// file beneath it open.
#pragma once

#include <cstdint>

#include "General/Core/Error.h"
#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Core/StringInt.h"

/// A file: flags, an optional lower file, and the byte operations.
class VLIB_API TFileObj : public TBaseAllocator {
public:
    // A fixed underlying type: callers may pass other values, which each class treats as stated.
    enum TSeekMode : int { SeekStart = 0, SeekCurrent = 1, SeekEnd = 2 };

    /// Public flag bits; the high 16 bits of the flags word belong to the concrete class.
    enum TFileFlag : uint32_t {
        FlagOpen = 0x0001,
        FlagReadable = 0x0002,
        FlagWriteable = 0x0004,
        FlagSeekable = 0x0008,
        FlagLayered = 0x0010,
        FlagAppend = 0x0020,
        FlagBad = 0x0040,
        FlagAsync = 0x0080,
        FlagSequential = 0x0100,
        FlagRandomAccess = 0x0200,
    };

    /// Reset to no-error when the module loads; the library does not write it otherwise.
    static TError LastFileError;

    TFileObj() = default;
    virtual ~TFileObj();

    virtual bool Close() = 0;
    virtual bool Flush() = 0;
    /// Bytes delivered; fewer than `size` at the end of the data or on failure.
    virtual int Read(void *buffer, int size) = 0;
    /// True when every byte was taken.
    virtual bool Write(const void *buffer, int size) = 0;
    /// With SeekEnd the offset counts back from the end: the target is length - offset.
    virtual bool Seek(int offset, TSeekMode mode) = 0;
    virtual int GetPos() = 0;
    virtual int Length() = 0;
    /// Non-zero at end of file.
    virtual int AtEOF() = 0;
    /// Takes this level off the stack: flushes it if it writes, clears Layered on the lower
    /// file, clears Open here and forgets the lower file.
    virtual void CloseLayer();
    /// The lower file's name; the empty string for a file without one.
    virtual TDynamicString &GetFileName();
    /// Sets Layered; `upper` is not kept.
    virtual void MarkLayered(TFileObj *upper);

    // Flag queries return the masked bit; setters and clearers return the object.
    int IsOpen() const { return static_cast<int>(m_Flags & FlagOpen); }
    int IsReadable() const { return static_cast<int>(m_Flags & FlagReadable); }
    int IsWriteable() const { return static_cast<int>(m_Flags & FlagWriteable); }
    int IsSeekable() const { return static_cast<int>(m_Flags & FlagSeekable); }
    int IsLayered() const { return static_cast<int>(m_Flags & FlagLayered); }
    int IsAppend() const { return static_cast<int>(m_Flags & FlagAppend); }
    int IsBad() const { return static_cast<int>(m_Flags & FlagBad); }
    int IsAsync() const { return static_cast<int>(m_Flags & FlagAsync); }
    int IsSequential() const { return static_cast<int>(m_Flags & FlagSequential); }
    int IsRandomAccess() const { return static_cast<int>(m_Flags & FlagRandomAccess); }
    TFileObj &SetOpen() { return SetFlag(FlagOpen); }
    TFileObj &SetReadable() { return SetFlag(FlagReadable); }
    TFileObj &SetWriteable() { return SetFlag(FlagWriteable); }
    TFileObj &SetSeekable() { return SetFlag(FlagSeekable); }
    TFileObj &SetLayered() { return SetFlag(FlagLayered); }
    TFileObj &SetAppend() { return SetFlag(FlagAppend); }
    TFileObj &SetBad() { return SetFlag(FlagBad); }
    TFileObj &SetAsync() { return SetFlag(FlagAsync); }
    TFileObj &SetSequential() { return SetFlag(FlagSequential); }
    TFileObj &SetRandomAccess() { return SetFlag(FlagRandomAccess); }
    TFileObj &ClearOpen() { return ClearFlag(FlagOpen); }
    TFileObj &ClearReadable() { return ClearFlag(FlagReadable); }
    TFileObj &ClearWriteable() { return ClearFlag(FlagWriteable); }
    TFileObj &ClearSeekable() { return ClearFlag(FlagSeekable); }
    TFileObj &ClearLayered() { return ClearFlag(FlagLayered); }
    TFileObj &ClearAppend() { return ClearFlag(FlagAppend); }
    TFileObj &ClearBad() { return ClearFlag(FlagBad); }
    TFileObj &ClearAsync() { return ClearFlag(FlagAsync); }
    TFileObj &ClearSequential() { return ClearFlag(FlagSequential); }
    TFileObj &ClearRandomAccess() { return ClearFlag(FlagRandomAccess); }
    TFileObj &ClearAll() {
        m_Flags = 0;
        return *this;
    }

    uint32_t GetFlags() const { return m_Flags; }
    /// The high 16 bits, 0 to 0xFFFF.
    uint32_t GetPrivateFlags() const { return m_Flags >> 16; }
    /// Stores `value` in the high 16 bits, keeps the low ones; returns the whole word.
    uint32_t SetPrivateFlags(uint32_t value) {
        m_Flags = (m_Flags & 0xFFFFu) | (value << 16);
        return m_Flags;
    }
    /// The file this one stands on; null for a file that is not a filter.
    TFileObj *GetLowerFile() const { return m_Lower; }

protected:
    // Memory files copy as values; other file objects are not copied.
    TFileObj(const TFileObj &) = default;
    TFileObj &operator=(const TFileObj &) = default;

    TFileObj &SetFlag(uint32_t bit) {
        m_Flags |= bit;
        return *this;
    }
    TFileObj &ClearFlag(uint32_t bit) {
        m_Flags &= ~bit;
        return *this;
    }

    uint32_t m_Flags = 0;
    TFileObj *m_Lower = nullptr; // not owned: the caller owns every level of a stack
};

/// A file object layered on a lower one. Flush, Seek, GetPos, Length and AtEOF go to the
/// lower file. A filter that never opened, or was taken off its file, refuses every
/// operation instead of touching a null lower file.
class VLIB_API TFilter : public TFileObj {
public:
    /// Closes the lower file (and so the whole stack beneath) and, if that worked, this one.
    bool Close() override;
    bool Flush() override;
    bool Seek(int offset, TSeekMode mode) override;
    int GetPos() override;
    int Length() override;
    int AtEOF() override;

protected:
    /// Non-null, open and not yet layered.
    static bool FilterOpenValid(TFileObj *file);
    static bool ReadFilterOpenValid(TFileObj *file);
    static bool WriteFilterOpenValid(TFileObj *file);
    /// Closes `file` when it is not null; always false, so an Open can return it.
    static bool HandleOpenFailed(TFileObj *file);
    /// The last step of every Open: the flags word becomes `flags`, the lower file is kept
    /// and marked layered.
    void Layer(TFileObj *lower, uint32_t flags);
    /// Marks a failed read or write here and on the lower file, so that whoever looks at
    /// either level learns of it.
    void MarkBad();
    /// Sets Bad here when the lower file went bad during the last call.
    void TakeBadFromLower() {
        if (m_Lower != nullptr && m_Lower->IsBad())
            SetBad();
    }
};

/// The path with every `/` turned into `\`; backslashes stay.
VLIB_API TDynamicString ConvertPath(const TDynamicString &path);
