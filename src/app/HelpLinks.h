#pragma once

#include <QString>
#include <QUrl>
#include <QVariantMap>

// Every web address and document the Help menu opens, in one place.
class HelpLinks {
public:
    static QString makerHome() { return QStringLiteral("https://www.brightmoor.com"); }
    // The application's code in the maker's pages: "BMShortName" of its information
    // dictionary, "halvern" when it has none.
    static QString applicationCode();
    static QString applicationCode(const QVariantMap& info);
    // The application's information dictionary (its bundled Info.plist).
    static QVariantMap applicationInfo();
    static QString shortVersion();

    static QUrl bugReport();      // /halvern/bugreport?app=...&version=...
    static QUrl featureRequest(); // /halvern/featurerequest?app=...
    static QUrl support();
    static QUrl productHome();
    static QUrl brightmoorHome();
    // The family's manual in the computer-wide Library folder; it may be missing.
    static QString userManualPath();
};
