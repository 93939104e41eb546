#include "HelpLinks.h"

#include "foundation/BMLocalPaths.h"
#include "foundation/PathText.h"
#include "foundation/PlistFile.h"

#include <QCoreApplication>
#include <QUrlQuery>

QVariantMap HelpLinks::applicationInfo() {
    return PlistFile::readDictionary(QStringLiteral(":/vestry/Info.plist")).value_or(QVariantMap());
}

QString HelpLinks::applicationCode(const QVariantMap& info) {
    const QString code = info.value(QStringLiteral("BMShortName")).toString();
    return code.isEmpty() ? QStringLiteral("halvern") : code;
}

QString HelpLinks::applicationCode() {
    return applicationCode(applicationInfo());
}

QString HelpLinks::shortVersion() {
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty() ? QStringLiteral(VESTRY_VERSION) : version;
}

QUrl HelpLinks::bugReport() {
    QUrl url(makerHome() + QStringLiteral("/halvern/bugreport"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("app"), applicationCode());
    query.addQueryItem(QStringLiteral("version"), shortVersion());
    url.setQuery(query);
    return url;
}

QUrl HelpLinks::featureRequest() {
    QUrl url(makerHome() + QStringLiteral("/halvern/featurerequest"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("app"), applicationCode());
    url.setQuery(query);
    return url;
}

QUrl HelpLinks::support() {
    return QUrl(makerHome() + QStringLiteral("/support"));
}

QUrl HelpLinks::productHome() {
    return QUrl(makerHome() + QStringLiteral("/halvern"));
}

QUrl HelpLinks::brightmoorHome() {
    return QUrl(makerHome());
}

QString HelpLinks::userManualPath() {
    const QString library = BMLocalPaths::libraryDirectory(false);
    if (library.isEmpty())
        return QString();
    return PathText::appendingComponent(library,
                                        QStringLiteral("Documentation/Brightmoor/Halvern User Manual.pdf"));
}
