// Whether named features are enabled, from declarations and from the application's properties.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "kfw/IFeatureSet.h"
#include "kom/implements.h"

namespace vel::kos::kfw {

/// See IFeatureSet for the contract. A cached result costs one lookup and no allocation. For one thread.
class FeatureSet : public kom::Implements<FeatureSet, fw::IFeatureSet> {
    friend Implements;

public:
    FeatureSet() = default;
    virtual ~FeatureSet() = default;

    uint32_t init(fw::IApplication* pApp, uint32_t pFlags) override;
    uint32_t addFeature(const char* pName, const char* pKey, const char* pOptionName,
                        uint32_t pFlags) override;
    uint32_t isEnabled(const char* pName, uint32_t* pEnabled) override;

private:
    struct Feature {
        std::string name;
        std::string key;
        std::string optionName; ///< what the application is asked about
        uint32_t flags;         ///< its own; those of the set are added at each test
        bool evaluated;
        bool enabled; ///< valid once evaluated
    };

    /// Returns in pEnabled the cached result of a declared feature, or evaluates it by asking the
    /// application. A failure of the application is returned and caches nothing.
    uint32_t evaluate(Feature& pFeature, bool& pEnabled);
    /// Evaluates a feature that was not declared by reading its property, and caches it when that has a
    /// value.
    uint32_t learn(std::string_view pName, bool& pEnabled);
    /// Returns E_INTERNAL, with an assertion, when init did not acquire IApplication5; else 0.
    uint32_t checkApp5();
    /// A feature's name; the empty one is reported.
    std::string_view checkedName(const char* pName);
    /// Reports a failed internal check to the application.
    void assertion(const char* pExpression, int pLine);

    kom::RefCount mRefCount;
    kom::Ref<fw::IApplication> mApp; ///< null: not initialised
    uint32_t mFlags = 0;
    kom::Ref<fw::IApplication5> mApp5;
    /// In the order of their bytes, unsigned; a name before those that it begins.
    std::map<std::string, Feature, std::less<>> mFeatures;
    std::set<std::string, std::less<>> mUnknownNames; ///< those that have been logged
};

} // namespace vel::kos::kfw
