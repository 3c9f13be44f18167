// The block compressor: greedy, longest match first and nearest among the longest, over a
// 1,024-byte window. Chains of earlier positions with equal three-byte hashes stand in for a
// scan of every distance; they find the same match.
#include "General/Streams/CompressRaw.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

int TCompressRaw::CompSizeIn = 0;
int TCompressRaw::CompSizeOut = 0;
int TCompressRaw::DecompSizeOut = 0;

namespace {

constexpr int kWindow = 1024;
constexpr int kMinMatch = 3;
constexpr int kMaxMatch = 65;

/// Buckets of the match finder's chains of earlier positions with equal three-byte hashes.
constexpr int kChainBuckets = 4096;

inline int ChainKey(const unsigned char *at) {
    const uint32_t v = static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 |
                       static_cast<uint32_t>(at[2]) << 16;
    return static_cast<int>((v * 2654435761u) >> 20);
}

/// Finds, for each position, the longest match within the window (up to `limit` bytes) and
/// among the longest the nearest one. That is exactly what a plain scan of every distance
/// from 1 upwards gives when a candidate must be strictly longer to replace the best; but
/// only earlier positions that share the first three bytes can give a match of 3 or more,
/// so the finder walks chains of those, nearest first, instead of every distance.
class TMatchFinder {
public:
    TMatchFinder(const unsigned char *source, int size) : m_Source(source), m_Size(size) {
        for (int &h : m_Head)
            h = -1;
    }

    /// Records position `q` (in increasing order, each once).
    void Insert(int q) {
        if (q + 2 >= m_Size)
            return; // too near the end to start a match
        const int key = ChainKey(m_Source + q);
        m_Prev[q & (kWindow - 1)] = m_Head[key];
        m_Head[key] = q;
    }

    /// The best length at `p` (2 when there is no match of 3) and its distance.
    int Find(int p, int window, int limit, int *distance) const {
        const unsigned char *current = m_Source + p;
        int best = kMinMatch - 1;
        for (int q = m_Head[ChainKey(current)]; q >= 0 && q >= p - window;
             q = m_Prev[q & (kWindow - 1)]) {
            const unsigned char *candidate = m_Source + q;
            if (candidate[best] != current[best] || std::memcmp(candidate, current, best) != 0)
                continue;
            int k = best + 1;
            while (k + 4 <= limit) {
                uint32_t a, b;
                std::memcpy(&a, candidate + k, 4);
                std::memcpy(&b, current + k, 4);
                if (a != b)
                    break;
                k += 4;
            }
            while (k < limit && candidate[k] == current[k])
                ++k;
            best = k;
            *distance = p - q;
            if (best >= limit)
                break;
        }
        return best;
    }

private:
    const unsigned char *m_Source; // not owned
    int m_Size;
    int m_Head[kChainBuckets];
    int m_Prev[kWindow];
};

/// Writes groups of a control byte and up to eight items. A new group is opened as soon as
/// one is full, so a block whose items fill the last group exactly ends with a further
/// control byte whose first bit flags the end marker.
class TGroupWriter {
public:
    explicit TGroupWriter(unsigned char *out) : m_Out(out) { Open(); }

    void Literal(unsigned char byte) {
        *m_Out++ = byte;
        Next();
    }
    void Match(int length, int distance) {
        const unsigned word =
            static_cast<unsigned>(length - 2) << 10 | static_cast<unsigned>(distance - 1);
        *m_Out++ = static_cast<unsigned char>(word);
        *m_Out++ = static_cast<unsigned char>(word >> 8);
        *m_Control |= static_cast<unsigned char>(1u << m_Items);
        Next();
    }
    unsigned char *Finish() {
        *m_Control |= static_cast<unsigned char>(1u << m_Items);
        *m_Out++ = 0;
        *m_Out++ = 0;
        return m_Out;
    }

private:
    void Open() {
        m_Control = m_Out++;
        *m_Control = 0;
        m_Items = 0;
    }
    void Next() {
        if (++m_Items == 8)
            Open();
    }

    unsigned char *m_Out;     // not owned
    unsigned char *m_Control; // not owned
    int m_Items = 0;
};

/// The decoder behind both Decompress forms. `sourceSize` and `destinationSize` of SIZE_MAX
/// mean "trust the block".
const unsigned char *DecodeBlock(const unsigned char *source, size_t sourceSize,
                                 unsigned char *destination, size_t destinationSize) {
    if (sourceSize < 4)
        return nullptr;
    const uint32_t declared = static_cast<uint32_t>(TCompressRaw::GetDecompSize(source));
    if (declared > static_cast<uint32_t>(INT_MAX) || declared > destinationSize)
        return nullptr;
    size_t in = 4;
    size_t out = 0;
    for (;;) {
        if (in >= sourceSize)
            return nullptr;
        const unsigned control = source[in++];
        if (control == 0) {
            if (sourceSize - in < 8 || declared - out < 8)
                return nullptr;
            std::memcpy(destination + out, source + in, 8);
            in += 8;
            out += 8;
            continue;
        }
        for (int bit = 0; bit < 8; ++bit) {
            if ((control & (1u << bit)) == 0) {
                if (in >= sourceSize || out >= declared)
                    return nullptr;
                destination[out++] = source[in++];
                continue;
            }
            if (sourceSize - in < 2)
                return nullptr;
            const unsigned word = source[in] | static_cast<unsigned>(source[in + 1]) << 8;
            in += 2;
            if (word == 0) {
                if (out != declared)
                    return nullptr;
                TCompressRaw::DecompSizeOut += static_cast<int>(declared);
                return source + in;
            }
            const size_t length = (word >> 10) + 2;
            const size_t distance = (word & 0x3FF) + 1;
            if (distance > out || declared - out < length)
                return nullptr;
            // Byte by byte: a match may overlap the bytes it produces.
            unsigned char *to = destination + out;
            const unsigned char *from = to - distance;
            for (size_t i = 0; i < length; ++i)
                to[i] = from[i];
            out += length;
        }
    }
}

} // namespace

unsigned char *TCompressRaw::Compress(const unsigned char *source, int size,
                                      unsigned char *destination) {
    if (size < 1)
        return nullptr;
    CompSizeIn += size;
    const uint32_t stored = static_cast<uint32_t>(size);
    destination[0] = static_cast<unsigned char>(stored);
    destination[1] = static_cast<unsigned char>(stored >> 8);
    destination[2] = static_cast<unsigned char>(stored >> 16);
    destination[3] = static_cast<unsigned char>(stored >> 24);

    TMatchFinder finder(source, size);
    TGroupWriter writer(destination + 4);
    int p = 0;
    while (p < size) {
        const int limit = size - p < kMaxMatch ? size - p : kMaxMatch;
        const int window = p < kWindow ? p : kWindow;
        int length = 1;
        int distance = 0;
        if (limit >= kMinMatch && window != 0)
            length = finder.Find(p, window, limit, &distance);
        if (length >= kMinMatch) {
            writer.Match(length, distance);
        } else {
            writer.Literal(source[p]);
            length = 1;
        }
        for (int q = p; q < p + length; ++q)
            finder.Insert(q);
        p += length;
    }
    unsigned char *end = writer.Finish();
    CompSizeOut += static_cast<int>(end - destination);
    return end;
}

unsigned char *TCompressRaw::Decompress(const unsigned char *source, unsigned char *destination) {
    return const_cast<unsigned char *>(DecodeBlock(source, SIZE_MAX, destination, SIZE_MAX));
}

const unsigned char *TCompressRaw::Decompress(const unsigned char *source, int sourceSize,
                                              unsigned char *destination, int destinationSize) {
    if (source == nullptr || sourceSize < 0 || destinationSize < 0)
        return nullptr;
    return DecodeBlock(source, static_cast<size_t>(sourceSize), destination,
                       static_cast<size_t>(destinationSize));
}
