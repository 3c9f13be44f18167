// A write-behind layer for container saves: the disk file writes each call straight to the
// system, and a save makes several small writes per object, so they are gathered here into
// blocks first.
#pragma once

#include "General/Streams/FileObj.h"

namespace vlib::detail {

/// Gathers writes into 64 KB blocks for the file beneath; Close and Flush pass the rest on.
class TWriteBuffer : public TFilter {
public:
    static constexpr int kSize = 0x10000;

    TWriteBuffer() = default;
    ~TWriteBuffer() override;
    TWriteBuffer(const TWriteBuffer &) = delete;
    TWriteBuffer &operator=(const TWriteBuffer &) = delete;

    /// Opens on a writeable file; false (and the file closed) if there is no block.
    bool Open(TFileObj *file);
    int Read(void *, int) override { return 0; }
    bool Write(const void *buffer, int size) override;
    bool Flush() override;
    bool Close() override;
    int GetPos() override { return m_Lower != nullptr ? m_Lower->GetPos() + m_Used : m_Used; }

private:
    bool Drain();

    unsigned char *m_Block = nullptr; // owned
    int m_Used = 0;
};

} // namespace vlib::detail
