#include "kom/identity.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "kom/ref.h"

namespace {

#define KOM_ROW(pName, pValue, pText) KomResultCode{pValue, #pName, pText},
constexpr std::array RESULT_CODES = {KPR_RESULT_CODES(KOM_ROW)};
#undef KOM_ROW

static_assert(std::is_sorted(RESULT_CODES.begin(), RESULT_CODES.end(),
                             [](const auto& pA, const auto& pB) { return pA.code < pB.code; }));

const KomResultCode* find(uint32_t pCode)
{
    const auto tRow =
        std::lower_bound(RESULT_CODES.begin(), RESULT_CODES.end(), pCode,
                         [](const auto& pRow, uint32_t pWanted) { return pRow.code < pWanted; });
    return tRow != RESULT_CODES.end() && tRow->code == pCode ? &*tRow : nullptr;
}

int compare(const char* pA, const char* pB) { return pA && pB ? std::strcmp(pA, pB) : 1; }

} // namespace

int komCompareIID(const char* pA, const char* pB) { return compare(pA, pB); }

int komCompareCLSID(const char* pA, const char* pB) { return compare(pA, pB); }

uint32_t komSameObject(kom::IUnknown* pA, kom::IUnknown* pB)
{
    if (!pA || !pB) return E_INVALIDARG;
    kom::Ref<kom::IUnknown> tA, tB;
    if (auto tRes = kom::queryInterface(pA, tA); KFAILED(tRes)) return tRes;
    if (auto tRes = kom::queryInterface(pB, tB); KFAILED(tRes)) return tRes;
    return tA.get() == tB.get() ? 0 : 1;
}

const char* komStrError(uint32_t pCode)
{
    const KomResultCode* tRow = find(pCode);
    return tRow ? tRow->text : "unknown result code";
}

const KomResultCode* komGetResultCodes(uint32_t* pCount)
{
    *pCount = static_cast<uint32_t>(RESULT_CODES.size());
    return RESULT_CODES.data();
}

const char* komGetResultName(uint32_t pCode)
{
    const KomResultCode* tRow = find(pCode);
    return tRow ? tRow->name : "";
}
