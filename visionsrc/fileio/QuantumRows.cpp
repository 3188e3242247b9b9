#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "fileio/QuantumRows.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>

#include "fileio/QuantumRows.h"

HWY_BEFORE_NAMESPACE();
namespace tirn::simd {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// (q * 255 + 32767) / 65535 equals floor((q + 128) / 257), and for every
// 16-bit q that is ((min(q + 128, 65535) * 65281) >> 16) >> 8: no lane
// leaves 16 bits. The tests hold it against the float export for every q.
// Returns the inexact bits of the pixels' red, green and blue quanta.
template <class D>
HWY_INLINE hn::Vec<D> quantaToBytes(D d, const std::uint16_t* pBGRA, std::uint8_t* pRed,
                                    std::uint8_t* pGreen, std::uint8_t* pBlue)
{
    const hn::RebindToSigned<D> di;
    const hn::Rebind<std::uint8_t, decltype(di)> d8;
    auto vInexact = hn::Zero(d);
    const auto toBytes = [&](hn::Vec<D> q) {
        vInexact = hn::Or(vInexact, hn::And(hn::Xor(q, hn::ShiftRight<8>(q)), hn::Set(d, 0xff)));
        const auto v = hn::ShiftRight<8>(
            hn::MulHigh(hn::SaturatedAdd(q, hn::Set(d, 128)), hn::Set(d, 65281)));
        return hn::DemoteTo(d8, hn::BitCast(di, v));
    };
    hn::Vec<D> vB, vG, vR, vA;
    hn::LoadInterleaved4(d, pBGRA, vB, vG, vR, vA);
    hn::StoreU(toBytes(vR), d8, pRed);
    hn::StoreU(toBytes(vG), d8, pGreen);
    hn::StoreU(toBytes(vB), d8, pBlue);
    return vInexact;
}

unsigned QuantaToBytes(const std::uint16_t* HWY_RESTRICT pBGRA, std::size_t n,
                       std::uint8_t* HWY_RESTRICT pRed, std::uint8_t* HWY_RESTRICT pGreen,
                       std::uint8_t* HWY_RESTRICT pBlue)
{
    const hn::ScalableTag<std::uint16_t> d;
    const std::size_t N = hn::Lanes(d);
    auto vInexact = hn::Zero(d);
    std::size_t x = 0;
    for (; x + N <= n; x += N)
        vInexact = hn::Or(vInexact,
                          quantaToBytes(d, pBGRA + 4 * x, pRed + x, pGreen + x, pBlue + x));
    const hn::CappedTag<std::uint16_t, 1> d1;
    auto vTailInexact = hn::Zero(d1);
    for (; x < n; ++x)
        vTailInexact = hn::Or(vTailInexact, quantaToBytes(d1, pBGRA + 4 * x, pRed + x,
                                                          pGreen + x, pBlue + x));
    return hn::AllTrue(d, hn::Eq(vInexact, hn::Zero(d))) && hn::GetLane(vTailInexact) == 0
               ? 0u
               : 1u;
}

// A pixel of the same colour as its left neighbour changes nothing, and in
// decoded photos most do (two in three in a JPEG). Those are sorted out
// first from the chunk's keys, without a branch (every key is stored, the
// end moves on only for a new one); the bitset is then written for the
// others. Its read-modify-writes are what the loop is bound by, and a run
// of equal colours would chain them one after the other.
void MarkColours(std::uint64_t* HWY_RESTRICT pSeen, const std::uint8_t* HWY_RESTRICT pRed,
                 const std::uint8_t* HWY_RESTRICT pGreen, const std::uint8_t* HWY_RESTRICT pBlue,
                 std::size_t n)
{
    const hn::ScalableTag<std::uint32_t> d;
    const hn::Rebind<std::uint8_t, decltype(d)> d8;
    const std::size_t N = hn::Lanes(d);
    constexpr std::size_t kChunk = 1024;
    HWY_ALIGN std::uint32_t aKeys[kChunk];
    std::uint32_t aChanged[kChunk];
    std::uint32_t uLast = ~0u; // no colour's key
    for (std::size_t x0 = 0; x0 < n; x0 += kChunk) {
        const std::size_t nHere = std::min(n - x0, kChunk);
        std::size_t i = 0;
        for (; i + N <= nHere; i += N) {
            const auto r = hn::PromoteTo(d, hn::LoadU(d8, pRed + x0 + i));
            const auto g = hn::PromoteTo(d, hn::LoadU(d8, pGreen + x0 + i));
            const auto b = hn::PromoteTo(d, hn::LoadU(d8, pBlue + x0 + i));
            hn::Store(hn::Or(hn::Or(hn::ShiftLeft<16>(r), hn::ShiftLeft<8>(g)), b), d,
                      aKeys + i);
        }
        for (; i < nHere; ++i)
            aKeys[i] = std::uint32_t(pRed[x0 + i]) << 16 | std::uint32_t(pGreen[x0 + i]) << 8 |
                       pBlue[x0 + i];
        std::size_t nChanged = 0;
        for (i = 0; i < nHere; ++i) {
            aChanged[nChanged] = aKeys[i];
            nChanged += aKeys[i] != uLast;
            uLast = aKeys[i];
        }
        for (std::size_t i = 0; i < nChanged; ++i)
            pSeen[aChanged[i] >> 6] |= std::uint64_t(1) << (aChanged[i] & 63);
    }
}

// Most words of a picture's bitset are empty; they are passed over without
// a write, so that the bitset's pages are not written back for nothing.
std::size_t CountAndClear(std::uint64_t* HWY_RESTRICT pSeen, std::size_t nWords)
{
    std::size_t nSet = 0;
    for (std::size_t i = 0; i < nWords; ++i)
        if (pSeen[i]) {
            nSet += hwy::PopCount(pSeen[i]);
            pSeen[i] = 0;
        }
    return nSet;
}

} // namespace HWY_NAMESPACE
} // namespace tirn::simd
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tirn::simd {

HWY_EXPORT(QuantaToBytes);
HWY_EXPORT(MarkColours);
HWY_EXPORT(CountAndClear);

unsigned quantaToBytes(const std::uint16_t* pBGRA, std::size_t n, std::uint8_t* pRed,
                       std::uint8_t* pGreen, std::uint8_t* pBlue)
{
    return HWY_DYNAMIC_DISPATCH(QuantaToBytes)(pBGRA, n, pRed, pGreen, pBlue);
}

void markColours(std::uint64_t* pSeen, const std::uint8_t* pRed, const std::uint8_t* pGreen,
                 const std::uint8_t* pBlue, std::size_t n)
{
    HWY_DYNAMIC_DISPATCH(MarkColours)(pSeen, pRed, pGreen, pBlue, n);
}

std::size_t countAndClear(std::uint64_t* pSeen, std::size_t nWords)
{
    return HWY_DYNAMIC_DISPATCH(CountAndClear)(pSeen, nWords);
}

} // namespace tirn::simd
#endif
