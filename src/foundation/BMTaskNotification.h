#pragma once

#include <QString>

// Tells a listening client of the Brightmoor family about task progress and errors over
// the session bus. With no bus, or nobody listening under either client name, nothing
// happens.
class BMTaskNotification {
public:
    static void postIncrementProgress();
    static void postTaskFinished();
    static void postTaskError(const QString& error);
    static void postTaskErrorString(const QString& text);
    static void postDisconnect();

    // The bus names tried, in this order.
    static QString halvernService() { return QStringLiteral("com.brightmoor.BMHalvernClientCallback"); }
    static QString ostrandService() { return QStringLiteral("com.brightmoor.BMOstrandClientCallback"); }
    static QString interfaceName() { return QStringLiteral("com.brightmoor.BMOstrandErrorCallbackProtocol"); }
};
