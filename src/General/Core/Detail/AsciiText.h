// Case folding and case-blind comparison of 8-bit text in the C locale, where only A-Z and
// a-z have a case. These stand in for the runtime's _stricmp, _strnicmp, _strlwr and _strupr,
// which Linux lacks, and never consult the process locale.
#pragma once

#include <array>
#include <cstddef>

namespace vlib::detail {

/// `c` with A-Z mapped to a-z; every other byte unchanged.
constexpr unsigned char AsciiLower(unsigned char c) {
    return static_cast<unsigned char>(c - 'A') < 26u ? static_cast<unsigned char>(c + 32) : c;
}

/// `c` with a-z mapped to A-Z; every other byte unchanged.
/// AsciiLower of every byte, for loops where a load is cheaper than the range test.
inline constexpr std::array<unsigned char, 256> kAsciiLowerTable = [] {
    std::array<unsigned char, 256> table{};
    for (int c = 0; c < 256; ++c)
        table[static_cast<size_t>(c)] = AsciiLower(static_cast<unsigned char>(c));
    return table;
}();

constexpr unsigned char AsciiUpper(unsigned char c) {
    return static_cast<unsigned char>(c - 'a') < 26u ? static_cast<unsigned char>(c - 32) : c;
}

constexpr bool IsAsciiDigit(unsigned char c) {
    return static_cast<unsigned char>(c - '0') < 10u;
}

constexpr bool IsAsciiAlpha(unsigned char c) {
    return static_cast<unsigned char>((c | 32) - 'a') < 26u;
}

/// `_strnicmp`: compares at most `count` bytes after folding both to lower case; the
/// difference of the first unequal folded bytes, 0 when equal.
inline int AsciiCompareNoCase(const char *a, const char *b, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const int ca = kAsciiLowerTable[static_cast<unsigned char>(a[i])];
        const int cb = kAsciiLowerTable[static_cast<unsigned char>(b[i])];
        if (ca != cb)
            return ca - cb;
        if (ca == 0)
            break;
    }
    return 0;
}

/// `_stricmp`: AsciiCompareNoCase over the whole texts.
inline int AsciiCompareNoCase(const char *a, const char *b) {
    return AsciiCompareNoCase(a, b, static_cast<size_t>(-1));
}

/// `strncmp` on unsigned bytes, reduced to -1, 0 or 1.
inline int CompareBytes(const char *a, const char *b, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const unsigned char ca = static_cast<unsigned char>(a[i]);
        const unsigned char cb = static_cast<unsigned char>(b[i]);
        if (ca != cb)
            return ca < cb ? -1 : 1;
        if (ca == 0)
            break;
    }
    return 0;
}

/// `_strlwr`: folds a NUL-terminated text to lower case in place.
inline void AsciiLowerInPlace(char *text) {
    for (; *text != '\0'; ++text)
        *text = static_cast<char>(AsciiLower(static_cast<unsigned char>(*text)));
}

/// `_strupr`: folds a NUL-terminated text to upper case in place.
inline void AsciiUpperInPlace(char *text) {
    for (; *text != '\0'; ++text)
        *text = static_cast<char>(AsciiUpper(static_cast<unsigned char>(*text)));
}

} // namespace vlib::detail
