#include "fileio/CCompressedIFStream.h"

#include <cstdint>
#include <cstdio>

#include "fileio/ByteSwap.h"

namespace {

// Decoder state of the classic `compress` program, shared by the whole
// process (see the class comment).
constexpr int kMaxBits = 16;
constexpr int kTableSize = 69001; // 95 % occupancy prime of the classic table
constexpr int kClearCode = 256;
constexpr int kFirstCode = 257;

int maxbits = kMaxBits;
std::int64_t maxmaxcode = std::int64_t(1) << kMaxBits;
int block_compress = 0x80;
int n_bits = 9;
std::int64_t maxcode = 511;
std::int64_t free_ent = 0;
int clear_flg = 0;
unsigned short codetab[kTableSize];
// Suffix bytes of the entries in the first 2^16 bytes, the decoding stack
// behind them.
std::int64_t htab[kTableSize];
[[maybe_unused]] std::int64_t hsize = kTableSize;
const unsigned char rmask[9] = {0x00, 0x01, 0x03, 0x07, 0x0f, 0x1f, 0x3f, 0x7f, 0xff};
[[maybe_unused]] const unsigned char lmask[9] = {0xff, 0xfe, 0xfc, 0xf8, 0xf0,
                                                 0xe0, 0xc0, 0x80, 0x00};

unsigned char* suffixTable() { return reinterpret_cast<unsigned char*>(htab); }
unsigned char* stackBegin() { return suffixTable() + (1 << kMaxBits); }
unsigned char* stackEnd() { return reinterpret_cast<unsigned char*>(htab + kTableSize); }

// Hands decoded bytes on: the first `offset` are dropped, the next `nbytes`
// stored.
struct OutputWindow
{
    char* dst;
    std::int64_t skip;
    std::int64_t wanted;
    std::int64_t stored = 0;

    bool full() const { return stored >= wanted; }
    void put(unsigned char byte)
    {
        if (skip > 0)
            --skip;
        else if (stored < wanted)
            dst[stored++] = char(byte);
    }
};

} // namespace

CCompressedIFStream::CCompressedIFStream() : iSwap(swapping()) {}

CCompressedIFStream::CCompressedIFStream(const char* pcName, std::ios::openmode mode)
    : std::ifstream(pcName, mode), iSwap(swapping())
{
}

int CCompressedIFStream::getcode(int reset)
{
    static char buf[kMaxBits];
    static int offset = 0;
    static int size = 0;

    if (reset) {
        offset = 0;
        size = 0;
    }
    if (clear_flg > 0 || offset >= size || free_ent > maxcode) {
        if (free_ent > maxcode) {
            ++n_bits;
            maxcode = n_bits == maxbits ? maxmaxcode : (std::int64_t(1) << n_bits) - 1;
        }
        if (clear_flg > 0) {
            n_bits = 9;
            maxcode = 511;
            clear_flg = 0;
        }
        read(buf, n_bits);
        const int nRead = int(gcount());
        if (nRead < 1)
            return -1;
        offset = 0;
        size = (nRead << 3) - (n_bits - 1);
    }

    int r_off = offset;
    int bits = n_bits;
    const char* bp = buf + (r_off >> 3);
    r_off &= 7;
    // Kept so on purpose: the first and the middle byte are taken as signed
    // and sign-extended, so a code starting in a byte of 0x80 or above comes
    // out negative and ends decoding early. Shifts go through unsigned so
    // that the negative values shift without undefined behaviour.
    int code = int(*bp++) >> r_off;
    bits -= 8 - r_off;
    r_off = 8 - r_off;
    if (bits >= 8) {
        code |= int(unsigned(int(*bp++)) << r_off);
        r_off += 8;
        bits -= 8;
    }
    if (bits > 0) // a code ending on a byte boundary needs no last byte
        code |= int(unsigned(static_cast<unsigned char>(*bp) & rmask[bits]) << r_off);
    offset += n_bits;
    return code;
}

int CCompressedIFStream::CRead(char* dst, int offset, int nbytes)
{
    // Each read stands alone: an earlier read past the end must not
    // poison this one.
    nLastRead = 0;
    clear();
    seekg(0);
    unsigned char magic[2] = {0, 0};
    read(reinterpret_cast<char*>(magic), 2);
    if (gcount() != 2 || magic[0] != 0x1f || magic[1] != 0x9d) {
        clear();
        seekg(offset);
        read(dst, nbytes);
        nLastRead = int(gcount());
        return 1;
    }

    const int iFlags = get();
    block_compress = iFlags & 0x80;
    maxbits = iFlags & 0x1f;
    maxmaxcode = std::int64_t(1) << maxbits;
    if (maxbits > kMaxBits) {
        std::fprintf(stderr, "compressed with %d bits, can only handle %d bits\n", maxbits,
                     kMaxBits);
        return 0;
    }
    n_bits = 9;
    maxcode = 511;
    unsigned char* suffix = suffixTable();
    for (int code = 255; code >= 0; --code) {
        codetab[code] = 0;
        suffix[code] = static_cast<unsigned char>(code);
    }
    free_ent = block_compress ? kFirstCode : kClearCode;
    clear_flg = 0;

    OutputWindow out{dst, offset, nbytes};
    // Whichever way decoding ends, the count of stored bytes is kept.
    struct StoredCount
    {
        int& nCount;
        const OutputWindow& window;
        ~StoredCount() { nCount = int(window.stored); }
    } storedCount{nLastRead, out};
    int oldcode = getcode(1);
    if (oldcode == -1)
        return 0;
    if (oldcode < 0)
        return 1; // sign-extended first code: no data
    int finchar = oldcode;
    out.put(static_cast<unsigned char>(finchar));

    unsigned char* const stack = stackBegin();
    for (;;) {
        int code = getcode(0);
        if (code < 0 || out.full())
            return 1;
        if (code == kClearCode && block_compress) {
            for (int i = 255; i >= 0; --i)
                codetab[i] = 0;
            clear_flg = 1;
            free_ent = kClearCode;
            code = getcode(0);
            if (code == -1)
                return 0;
            if (code < 0)
                return 1;
        }
        const int incode = code;
        unsigned char* sp = stack;
        if (code >= free_ent) { // KwKwK: the code being defined right now
            *sp++ = static_cast<unsigned char>(finchar);
            code = oldcode;
        }
        while (code >= 256) {
            // Only corrupt data can build a chain longer than the table;
            // the stack's end stops it instead of memory behind it.
            if (sp == stackEnd()) {
                std::fprintf(stderr, "CCompressedIFStream: corrupt compressed data\n");
                return 0;
            }
            *sp++ = suffix[code];
            code = codetab[code];
        }
        if (sp == stackEnd()) {
            std::fprintf(stderr, "CCompressedIFStream: corrupt compressed data\n");
            return 0;
        }
        finchar = suffix[code];
        *sp++ = static_cast<unsigned char>(finchar);
        while (sp > stack && !out.full())
            out.put(*--sp);

        if (free_ent < maxmaxcode) {
            codetab[free_ent] = static_cast<unsigned short>(oldcode);
            suffix[free_ent] = static_cast<unsigned char>(finchar);
            ++free_ent;
        }
        oldcode = incode;
    }
}

namespace {

// Reads count values of V and, when the stream swaps, reverses each one's
// bytes; single bytes have nothing to reverse.
template <class V> int readSwapped(CCompressedIFStream& stream, V* dst, int count, int offset)
{
    char* p = reinterpret_cast<char*>(dst);
    const int nBytes = int(sizeof(V)) * count;
    stream.CRead(p, offset, nBytes);
    if (stream.swapFlag())
        tirn::swapElements(p, p, count, int(sizeof(V)));
    return nBytes;
}

} // namespace

int CCompressedIFStream::CReadAsChar(char* dst, int count, int offset)
{
    return readSwapped(*this, dst, count, offset);
}

int CCompressedIFStream::CReadAsUChar(unsigned char* dst, int count, int offset)
{
    return readSwapped(*this, dst, count, offset);
}

int CCompressedIFStream::CReadAsShort(short* dst, int count, int offset)
{
    return readSwapped(*this, dst, count, offset);
}

int CCompressedIFStream::CReadAsUShort(unsigned short* dst, int count, int offset)
{
    return readSwapped(*this, dst, count, offset);
}

int CCompressedIFStream::CReadAsInt(int* dst, int count, int offset)
{
    return readSwapped(*this, dst, count, offset);
}

int CCompressedIFStream::CReadAsUInt(unsigned int* dst, int count, int offset)
{
    return readSwapped(*this, dst, count, offset);
}

int CCompressedIFStream::CReadAsFloat(float* dst, int count, int offset)
{
    return readSwapped(*this, dst, count, offset);
}

int CCompressedIFStream::CReadAsDouble(double* dst, int count, int offset)
{
    return readSwapped(*this, dst, count, offset);
}

void CCompressedIFStream::swap16(char* a, char* b, int count)
{
    if (iSwap)
        tirn::swapElements(a, b, count, 2);
}

void CCompressedIFStream::swap32(char* a, char* b, int count)
{
    if (iSwap)
        tirn::swapElements(a, b, count, 4);
}

void CCompressedIFStream::swap64(char* a, char* b, int count)
{
    if (iSwap)
        tirn::swapElements(a, b, count, 8);
}
