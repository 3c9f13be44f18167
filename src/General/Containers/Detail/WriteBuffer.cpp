// The write-behind layer of container saves.
#include "WriteBuffer.h"

#include <cstring>

#include "General/Core/LibAllocator.h"

namespace vlib::detail {

TWriteBuffer::~TWriteBuffer() {
    GetAllocatorInstance().Unalloc(m_Block);
}

bool TWriteBuffer::Open(TFileObj *file) {
    if (!WriteFilterOpenValid(file))
        return HandleOpenFailed(file);
    m_Block = GetAllocatorInstance().Alloc(kSize);
    if (m_Block == nullptr)
        return HandleOpenFailed(file);
    Layer(file, FlagOpen | FlagWriteable);
    return true;
}

bool TWriteBuffer::Drain() {
    if (m_Used == 0)
        return IsBad() == 0;
    const bool written = m_Lower->Write(m_Block, m_Used);
    m_Used = 0;
    if (!written)
        SetBad();
    return written;
}

bool TWriteBuffer::Write(const void *buffer, int size) {
    if (IsBad() != 0 || m_Lower == nullptr)
        return false;
    if (size <= 0)
        return size == 0;
    if (m_Used + size > kSize && !Drain())
        return false;
    if (size >= kSize) {
        if (!m_Lower->Write(buffer, size)) {
            SetBad();
            return false;
        }
        return true;
    }
    std::memcpy(m_Block + m_Used, buffer, static_cast<size_t>(size));
    m_Used += size;
    return true;
}

bool TWriteBuffer::Flush() {
    return Drain() && TFilter::Flush();
}

bool TWriteBuffer::Close() {
    const bool drained = m_Lower != nullptr ? Drain() : true;
    return TFilter::Close() && drained;
}

} // namespace vlib::detail
