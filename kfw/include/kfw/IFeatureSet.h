// Whether a named feature of the application is enabled.
#pragma once

#include "kfw/IApplication.h"
#include "kom/adapter.h"

namespace vel::kos::fw {

/// Flags of a feature, and of a whole set (there they count for every feature).
enum FeatureFlags : uint32_t {
    FEATURE_NO_KEY = 1,     ///< the feature carries no key
    FEATURE_NOT_ASKED = 2,  ///< enabled without asking; of a set: init does not acquire IApplication5
    FEATURE_ASK_TRUE = 4,   ///< enabled when isPropertyTrue says so; else enabled unless isPropertyFalse does
    FEATURE_OTHER_VALUE = 8 ///< learnt from a property that was neither "true" nor "false"
};

/// Answers are worked out once and kept for the life of the object. For the application's main thread.
class IFeatureSet : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IFeatureSet:1.0";

    virtual uint32_t init(IApplication* pApp, uint32_t pFlags) = 0;
    /// Declares a feature. pKey and pOptionName may be null or empty: the name is taken.
    virtual uint32_t addFeature(const char* pName, const char* pKey, const char* pOptionName,
                                uint32_t pFlags) = 0;
    /// *pEnabled is 1 or 0; untouched on a failure.
    virtual uint32_t isEnabled(const char* pName, uint32_t* pEnabled) = 0;

protected:
    ~IFeatureSet() = default;
};

using IFeatureSet_Adapter = kom::Adapter<IFeatureSet>;

} // namespace vel::kos::fw
