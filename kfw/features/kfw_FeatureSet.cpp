#include "kfw/features/kfw_FeatureSet.h"

#include <utility>

#include "kfw/kfw_LogDomain.h"
#include "kutil/log.h"
#include "kutil/message.h"

namespace vel::kos::kfw {

using namespace fw;
using util::message;

namespace {

constexpr char SOURCE_NAME[] = "kfw_FeatureSet";

std::string_view textOf(const char* pText) { return pText ? pText : ""; }

std::string orName(std::string_view pText, std::string_view pName)
{
    return std::string(pText.empty() ? pName : pText);
}

} // namespace

uint32_t FeatureSet::init(IApplication* pApp, uint32_t pFlags)
{
    if (!pApp) return E_INVALIDARG;
    if (mApp) return E_WRONG_STATE;
    kom::Ref<IApplication5> tApp5;
    if (!(pFlags & FEATURE_NOT_ASKED)) {
        const uint32_t tRes = kom::queryInterface(pApp, tApp5);
        if (KFAILED(tRes) || !tApp5) {
            util::_queryInterfaceError(pApp, LOG_DOMAIN, pApp, IApplication5::IID, tRes);
            util::_kAssert(pApp, LOG_DOMAIN, "!KFAILED(tRes) && tApp5 != 0", SOURCE_NAME, __LINE__);
            return KFAILED(tRes) ? tRes : E_INTERNAL;
        }
    }
    mApp = kom::retain(pApp);
    mFlags = pFlags;
    mApp5 = std::move(tApp5);
    return 0;
}

std::string_view FeatureSet::checkedName(const char* pName)
{
    const std::string_view tName = textOf(pName);
    if (tName.empty()) assertion("!tName.empty()", __LINE__);
    return tName;
}

uint32_t FeatureSet::addFeature(const char* pName, const char* pKey, const char* pOptionName, uint32_t pFlags)
{
    if (!mApp) return E_WRONG_STATE;
    const std::string_view tName = checkedName(pName);
    if (tName.empty()) return E_INVALIDARG;
    const auto tIter = mFeatures.find(tName);
    if (tIter != mFeatures.end()) {
        assertion("tIter == mFeatures.end()", __LINE__);
        return E_WRONG_STATE;
    }
    const uint32_t tFlags = pFlags | mFlags;
    Feature tFeature{std::string(tName), {}, {}, pFlags, false, false};
    if (!(tFlags & FEATURE_NO_KEY)) tFeature.key = orName(textOf(pKey), tName);
    if (!(tFlags & FEATURE_NOT_ASKED)) tFeature.optionName = orName(textOf(pOptionName), tName);
    mFeatures.emplace(tName, std::move(tFeature));
    return 0;
}

uint32_t FeatureSet::isEnabled(const char* pName, uint32_t* pEnabled)
{
    if (!pEnabled) return E_INVALIDARG;
    if (!mApp) return E_WRONG_STATE;
    const std::string_view tName = checkedName(pName);
    if (tName.empty()) return E_INVALIDARG;
    const auto tIter = mFeatures.find(tName);
    bool tEnabled = false;
    const uint32_t tRes =
        tIter != mFeatures.end() ? evaluate(tIter->second, tEnabled) : learn(tName, tEnabled);
    if (KFAILED(tRes)) return tRes;
    *pEnabled = tEnabled ? 1 : 0;
    return 0;
}

uint32_t FeatureSet::evaluate(Feature& pFeature, bool& pEnabled)
{
    if (!pFeature.evaluated) {
        const uint32_t tFlags = pFeature.flags | mFlags;
        bool tEnabled = true;
        if (!(tFlags & FEATURE_NOT_ASKED)) {
            if (auto tRes = checkApp5(); KFAILED(tRes)) return tRes;
            const char* tOption = pFeature.optionName.c_str();
            bool tAnswer = false;
            const uint32_t tRes = tFlags & FEATURE_ASK_TRUE ? mApp5->isPropertyTrue(tOption, &tAnswer)
                                                            : mApp5->isPropertyFalse(tOption, &tAnswer);
            if (KFAILED(tRes)) return tRes;
            tEnabled = tFlags & FEATURE_ASK_TRUE ? tAnswer : !tAnswer;
        }
        pFeature.evaluated = true;
        pFeature.enabled = tEnabled;
    }
    pEnabled = pFeature.enabled;
    return 0;
}

uint32_t FeatureSet::learn(std::string_view pName, bool& pEnabled)
{
    if (auto tRes = checkApp5(); KFAILED(tRes)) return tRes;
    std::string tName(pName);
    kom::HeapString tProperty;
    if (auto tRes = mApp5->getProperty(tName.c_str(), tProperty.out()); KFAILED(tRes)) return tRes;
    if (tProperty.empty()) {
        pEnabled = false;
        if (mUnknownNames.insert(tName).second)
            util::kDebug(mApp.get(), LOG_DOMAIN, message("Unknown feature '%1' considered disabled.", tName));
        return 0;
    }
    const std::string_view tValue = tProperty.c_str();
    Feature tFeature{tName, {}, tName, FEATURE_NO_KEY, true, tValue != "false"};
    if (tValue != "true" && tValue != "false") {
        tFeature.flags = FEATURE_OTHER_VALUE;
        tFeature.key = tValue;
    }
    pEnabled = tFeature.enabled;
    mFeatures.emplace(std::move(tName), std::move(tFeature));
    return 0;
}

uint32_t FeatureSet::checkApp5()
{
    if (mApp5) return 0;
    assertion("mApp5 != 0", __LINE__);
    return E_INTERNAL;
}

void FeatureSet::assertion(const char* pExpression, int pLine)
{
    util::_kAssert(mApp.get(), LOG_DOMAIN, pExpression, SOURCE_NAME, pLine);
}

} // namespace vel::kos::kfw
