// A small block compressor of the library's own, unrelated to zlib: literals and matches of
// 3 to 65 bytes within a 1,024-byte window, eight items to a control byte. It is made for
// small blocks and needs no heap memory.
#pragma once

#include "General/Core/Export.h"

/// Compresses and decompresses whole blocks. The block starts with its decompressed size (4
/// bytes, little-endian) and ends with a zero match word.
class VLIB_API TCompressRaw {
public:
    /// Bytes given to Compress since start-up.
    static int CompSizeIn;
    /// Bytes produced by Compress since start-up, size fields included.
    static int CompSizeOut;
    /// Bytes produced by Decompress since start-up.
    static int DecompSizeOut;

    /// Compresses `size` bytes (at least 1) into `destination`, which must hold
    /// GetMaxCompSize(size) bytes. Returns the position behind the output.
    static unsigned char *Compress(const unsigned char *source, int size,
                                   unsigned char *destination);
    /// Decompresses a trusted block into `destination`, which must hold GetDecompSize(source)
    /// bytes. Returns the position behind the input, or null when the block is corrupt in a
    /// way that would write outside the destination.
    static unsigned char *Decompress(const unsigned char *source, unsigned char *destination);
    /// The checked form for untrusted data: never reads past `sourceSize` bytes nor writes
    /// past `destinationSize`. Returns the position behind the input, or null when the block
    /// is truncated, corrupt, or does not produce exactly its declared size.
    static const unsigned char *Decompress(const unsigned char *source, int sourceSize,
                                           unsigned char *destination, int destinationSize);
    /// The largest block Compress can produce for `size` bytes: size * 9 / 8 + 8.
    static int GetMaxCompSize(int size) { return size * 9 / 8 + 8; }
    /// The decompressed size stored in the first four bytes of a block.
    static int GetDecompSize(const unsigned char *source) {
        return static_cast<int>(
            static_cast<unsigned>(source[0]) | static_cast<unsigned>(source[1]) << 8 |
            static_cast<unsigned>(source[2]) << 16 | static_cast<unsigned>(source[3]) << 24);
    }
};
