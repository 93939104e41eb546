#include "BMOSDetect.h"

#include "Console.h"

bool BMOSDetect::versionAtLeast(const OSVersion& have, int major, int minor, int bugfix) {
    if (have.major < major)
        return false;
    if (have.major == major && have.minor < minor)
        return false;
    if (have.major != major || have.minor != minor)
        return true;
    return have.bugfix >= bugfix;
}

BMOSDetect::GestaltResult BMOSDetect::versionFromGestalt(GestaltQuery query, void* context) {
    GestaltResult result;
    const GestaltAnswer whole = query("sysv", context);
    if (whole.error == 0 && whole.value < 0x1040) {
        const long v = whole.value;
        result.version.major = int(((v >> 12) & 0xF) * 10 + ((v >> 8) & 0xF));
        result.version.minor = int((v >> 4) & 0xF);
        result.version.bugfix = int(v & 0xF);
        return result;
    }
    const char* selectors[] = {"sys1", "sys2", "sys3"};
    int* fields[] = {&result.version.major, &result.version.minor, &result.version.bugfix};
    for (int i = 0; i < 3; ++i) {
        const GestaltAnswer part = query(selectors[i], context);
        if (part.error != 0) {
            result.error = part.error;
            result.version = OSVersion{10, 5, 0};
            return result;
        }
        *fields[i] = int(part.value);
    }
    return result;
}

void BMOSDetect::getSystemVersion(int* major, int* minor, int* bugfix) {
    OSVersion version{10, 5, 0};
    if (const auto platformVersion = Platform::current().osVersion())
        version = *platformVersion;
    else
        Console::print(QStringLiteral("Unable to obtain system version: %1").arg(-1));
    if (major)
        *major = version.major;
    if (minor)
        *minor = version.minor;
    if (bugfix)
        *bugfix = version.bugfix;
}

bool BMOSDetect::isOSVersionHigherThan(int major, int minor, int bugfix) {
    OSVersion have;
    getSystemVersion(&have.major, &have.minor, &have.bugfix);
    return versionAtLeast(have, major, minor, bugfix);
}

QString BMOSDetect::osxVersion() {
    OSVersion have;
    getSystemVersion(&have.major, &have.minor, &have.bugfix);
    return QStringLiteral("%1.%2.%3").arg(have.major).arg(have.minor).arg(have.bugfix);
}

bool BMOSDetect::isLeopardOrHigher() {
    return isOSVersionHigherThan(10, 5, 0);
}
bool BMOSDetect::isSnowLeopardOrHigher() {
    return isOSVersionHigherThan(10, 6, 0);
}
bool BMOSDetect::isLionOrHigher() {
    return isOSVersionHigherThan(10, 7, 0);
}
bool BMOSDetect::isMountainLionOrHigher() {
    return isOSVersionHigherThan(10, 8, 0);
}
bool BMOSDetect::isMavericksOrHigher() {
    return isOSVersionHigherThan(10, 9, 0);
}
bool BMOSDetect::isYosemiteOrHigher() {
    return isOSVersionHigherThan(10, 10, 0);
}
bool BMOSDetect::isElCapitanOrHigher() {
    return isOSVersionHigherThan(10, 11, 0);
}
