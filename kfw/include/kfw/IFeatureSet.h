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

/// Tells whether features are enabled: features declared beforehand, and others, which are learnt from the
/// application property of the same name. Each result is worked out once and kept for the life of the object;
/// a failure is not kept, and an unset property is asked for again. For the application's main thread.
///
/// Names are compared byte by byte. Before init all operations return E_WRONG_STATE.
class IFeatureSet : public kom::IUnknown {
public:
    using Parent = kom::IUnknown;
    static constexpr char IID[] = "IDL:vel/kos/fw/IFeatureSet:1.0";

    /// Binds the set to the application, once, and acquires its IApplication5 unless FEATURE_NOT_ASKED is
    /// given: its failure code when it refuses, E_INTERNAL when it returns null. After a failure init may be
    /// tried again. pFlags count for every feature.
    virtual uint32_t init(IApplication* pApp, uint32_t pFlags) = 0;
    /// Declares a feature (FeatureFlags). pKey and pOptionName may be null or empty: the name is taken.
    /// E_INVALIDARG for an empty name; E_WRONG_STATE, changing nothing, for one declared or learnt before.
    virtual uint32_t addFeature(const char* pName, const char* pKey, const char* pOptionName,
                                uint32_t pFlags) = 0;
    /// *pEnabled is 1 or 0; untouched on a failure. A feature that nobody declared is enabled when its
    /// property is set to anything but "false" (exactly so), and disabled when it is unset or empty.
    /// E_INTERNAL for one whose property cannot be asked for, the set having been told not to; else a failure
    /// of the application.
    virtual uint32_t isEnabled(const char* pName, uint32_t* pEnabled) = 0;

protected:
    ~IFeatureSet() = default;
};

using IFeatureSet_Adapter = kom::Adapter<IFeatureSet>;

} // namespace vel::kos::fw
