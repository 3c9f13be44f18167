// The result word of every fallible operation. One 32-bit value returned in a register:
// 0 is success, bit 16 marks failure, and 0x10000 is the general failure nearly every
// operation uses.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"

/// Single bits that CheckError masks the result word with.
enum TErrorBit : uint32_t {
    ErrorBitFailure = 0x10000,
    ErrorBitSystem = 0x20000,
    ErrorBitCodeMask = 0xFFFF,
};

/// A 32-bit result: success when bit 16 is clear.
class [[nodiscard]] TError {
public:
    static constexpr uint32_t kSuccess = 0;
    static constexpr uint32_t kFailure = 0x10000;
    static constexpr uint32_t kThreadResume = 0x30000;
    static constexpr uint32_t kWindowClass = 0x30001;
    static constexpr uint32_t kWindowCreate = 0x30002;

    TError() = default;
    constexpr TError(long code) : m_Code(static_cast<uint32_t>(code)) {}
    constexpr TError(const TError &) = default;
    constexpr TError &operator=(const TError &) = default;

    /// True when the operation went well, that is when the failure bit is clear.
    constexpr explicit operator bool() const { return (m_Code & ErrorBitFailure) == 0; }
    /// The whole word; non-zero means there is something to report.
    constexpr uint32_t Unsuccessful() const { return m_Code; }
    constexpr uint32_t CheckError(TErrorBit bit) const { return m_Code & bit; }
    constexpr uint32_t GetCode() const { return m_Code; }

private:
    uint32_t m_Code; // left undefined by the default constructor, as every path assigns it
};

static_assert(sizeof(TError) == 4);
