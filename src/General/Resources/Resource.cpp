// TResource: references, the tie to the bank entry, and the name hashes. Everything that
// concerns the bank goes through the installed bank link, so a resource that no bank knows
// behaves as the manager without banks would answer.
#include "General/Resources/Resource.h"

#include "General/Core/Detail/AsciiText.h"
#include "General/Core/StrToID.h"
#include "General/Maths/MTRand.h"
#include "General/Platform/DebugOutput.h"
#include "General/Resources/Detail/ResourceBankLink.h"
#include "General/Resources/ResourceFactory.h"

namespace {

constexpr uint32_t kFnvOffsetBasis = 0x811C9DC5u;
constexpr uint32_t kFnvPrime = 0x01000193u;
constexpr unsigned long long kFnv64OffsetBasis = 0xCBF29CE484222325ull;
constexpr unsigned long long kFnv64Prime = 0x00000100000001B3ull;

/// What the manager answers for an id that no bank holds.
const TStringInt<TDynamicStringAllocationStrategy> &UnknownTag() {
    static const TStringInt<TDynamicStringAllocationStrategy> tag("<unknown resource id>");
    return tag;
}

} // namespace

vlib::detail::TResourceBankLink *TResource::ms_BankLink = nullptr;

TResource::~TResource() {
    const uint16_t count = m_RefCount.load(std::memory_order_acquire);
    if (count == 0 || (count == 1 && m_Entry == nullptr))
        return;
    // Destroyed other than through ReleaseRef while a bank may still point at it.
    if (m_Entry == nullptr || ms_BankLink == nullptr)
        return;
    TResourceBank_I *bank = ms_BankLink->GetBank(m_Entry);
    if (bank != nullptr && ms_BankLink->HasEntry(bank, m_ID))
        ms_BankLink->DetachResource(bank, m_ID);
}

TError TResource::SaveAscii(TFileObj *file) {
    (void)file;
    return TError::kFailure;
}

TError TResource::ConvertFrom(TResource *source) {
    (void)source;
    return TError::kFailure;
}

void TResource::GetDependencies(TLibVector<TDependency> &out) {
    (void)out;
}

TResource *TResource::AcquireRef(const char *who) {
    (void)who;
    m_RefCount.fetch_add(1, std::memory_order_relaxed);
    return this;
}

TResource *TResource::ReleaseRef(const char *who) {
    (void)who;
    uint16_t count = m_RefCount.load(std::memory_order_relaxed);
    do {
        if (count == 0) {
            // Wrapping the count would keep the object alive for ever; refuse the extra
            // release.
            OutputDebugStringA("TResource::ReleaseRef on a resource without references\n");
            return this;
        }
    } while (!m_RefCount.compare_exchange_weak(count, static_cast<uint16_t>(count - 1),
                                               std::memory_order_acq_rel));
    if (count > 1)
        return this;
    if (m_Entry != nullptr && ms_BankLink != nullptr) {
        TResourceBank_I *bank = ms_BankLink->GetBank(m_Entry);
        if (bank != nullptr)
            ms_BankLink->DetachResource(bank, m_ID);
    }
    GetFactory()->Delete(this);
    return nullptr;
}

TResourceBank_I *TResource::GetBank() const {
    if (m_Entry == nullptr || ms_BankLink == nullptr)
        return nullptr;
    return ms_BankLink->GetBank(m_Entry);
}

const TStringInt<TDynamicStringAllocationStrategy> &TResource::GetTag() const {
    if (ms_BankLink == nullptr)
        return UnknownTag();
    if (m_Entry != nullptr)
        return ms_BankLink->GetTag(m_Entry);
    return ms_BankLink->GetManagerTag(m_ID);
}

TStringInt<TDynamicStringAllocationStrategy> TResource::GetResourceLocation() const {
    if (ms_BankLink == nullptr)
        return {};
    TResourceBankEntry_I *entry = m_Entry;
    if (entry == nullptr)
        entry = ms_BankLink->FindManagerEntry(m_ID);
    if (entry == nullptr)
        return {};
    return ms_BankLink->GetSourcePath(entry);
}

uint32_t TResource::StrToID(const char *name) {
    return ::StrToID(name);
}

uint32_t TResource::VarnelHash(const char *name) {
    if (name == nullptr)
        return 0;
    size_t length = 0;
    while (name[length] != '\0')
        ++length;
    // An odd length takes the terminating zero as the last byte of its final pair.
    const size_t pairs = (length + 1) / 2;
    TMTRand generator;
    uint32_t hash = 0;
    uint32_t previous = 0;
    for (size_t i = 0; i < pairs; ++i) {
        // Bytes are signed here: only A-Z fold, and bytes from 0x80 are sign-extended.
        auto lower = [](char c) -> int32_t {
            const signed char s = static_cast<signed char>(c);
            return (s >= 'A' && s <= 'Z') ? s + 32 : s;
        };
        const int32_t a = lower(name[2 * i]);
        const int32_t b = lower(name[2 * i + 1]);
        uint32_t seed = (static_cast<uint32_t>(b) << 8) + static_cast<uint32_t>(a);
        seed = seed ^ (previous >> 16) ^ (previous & 0xFFFFu);
        generator.SetSeed(seed);
        const uint32_t r = generator.iRand32();
        previous = r;
        hash ^= r;
    }
    return hash;
}

uint32_t TResource::HashFNV32(const char *name) {
    if (name == nullptr)
        return 0;
    uint32_t hash = kFnvOffsetBasis;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(name); *p != 0; ++p)
        hash = (hash * kFnvPrime) ^ *p;
    return hash;
}

unsigned long long TResource::HashFNV64(const char *name) {
    if (name == nullptr)
        return 0;
    unsigned long long hash = kFnv64OffsetBasis;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(name); *p != 0; ++p)
        hash = (hash * kFnv64Prime) ^ *p;
    return hash;
}

uint32_t HashPathName(const char *name) {
    uint32_t hash = kFnvOffsetBasis;
    if (name == nullptr)
        return hash;
    for (const char *p = name; *p != '\0'; ++p) {
        const char lower =
            static_cast<char>(vlib::detail::AsciiLower(static_cast<unsigned char>(*p)));
        // Sign extension is what sets this hash apart from StrToID on bytes from 0x80.
        hash = (hash * kFnvPrime) ^ static_cast<uint32_t>(static_cast<int32_t>(lower));
    }
    return hash;
}
