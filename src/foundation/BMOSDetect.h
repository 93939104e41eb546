#pragma once

#include "foundation/platform/Platform.h"

#include <QString>

// Operating-system version questions. The "...OrHigher" names are kept from the Mac
// releases they stand for; on other systems they compare the platform's own version.
class BMOSDetect {
public:
    static bool isLeopardOrHigher();
    static bool isSnowLeopardOrHigher();
    static bool isLionOrHigher();
    static bool isMountainLionOrHigher();
    static bool isMavericksOrHigher();
    static bool isYosemiteOrHigher();
    static bool isElCapitanOrHigher();
    // Despite the name an "at least" test.
    static bool isOSVersionHigherThan(int major, int minor, int bugfix);
    static QString osxVersion();
    static void getSystemVersion(int* major, int* minor, int* bugfix);

    // The Gestalt way of reading the version, kept as a pure function: the answer for a
    // selector is an error code (0 = success) and a value.
    struct GestaltAnswer {
        long error = 0;
        long value = 0;
    };
    using GestaltQuery = GestaltAnswer (*)(const char selector[5], void* context);
    struct GestaltResult {
        OSVersion version;
        long error = 0; // non-zero when the fallback 10.5.0 was used
    };
    static GestaltResult versionFromGestalt(GestaltQuery query, void* context);
    static bool versionAtLeast(const OSVersion& have, int major, int minor, int bugfix);
};
