#include "CatalogueTestSupport.h"

#include "foundation/BMLog.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>

#include <sys/xattr.h>

namespace CatalogueTest {

QString writeFile(const QString& path, qint64 size) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(QByteArray(size, 'x'));
    return path;
}

QString makeFolder(const QString& path) {
    QDir().mkpath(path);
    return path;
}

bool setFileType(const QString& path, const QByteArray& type, FinderInfoForm form) {
    QByteArray info(32, 0);
    info.replace(0, 4, type.left(4));
    info.replace(4, 4, QByteArray("KeyG"));
    const QByteArray encoded = QFile::encodeName(path);
    if (form == FinderInfoForm::AppleAttribute)
        return ::setxattr(encoded.constData(), LinuxPlatform::finderInfoAttribute, info.constData(),
                          size_t(info.size()), 0) == 0;
    const QByteArray record = LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), info);
    return ::setxattr(encoded.constData(), LinuxPlatform::netatalkAttribute, record.constData(),
                      size_t(record.size()), 0) == 0;
}

bool userAttributesSupported(const QString& folder) {
    const QString probe = writeFile(folder + QStringLiteral("/.xattr-probe"));
    const bool supported =
        ::setxattr(QFile::encodeName(probe).constData(), "user.vestry.probe", "1", 1, 0) == 0;
    QFile::remove(probe);
    return supported;
}

QString logText() {
    BMLog::finishWriting();
    QFile file(BMLog::currentLogPath());
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

QDateTime at(qint64 seconds) {
    return QDateTime(QDate(2026, 11, 22), QTime(10, 0), Qt::UTC).addSecs(seconds);
}

BMAutoItemPtr item(const QString& name, double size, qint64 seconds, int type) {
    return BMAutoItem::autoItemType(type, name, QStringLiteral("/autosaves/") + name, at(seconds), size);
}

QStringList namesOf(const BMAutoItemList& items) {
    QStringList names;
    for (const BMAutoItemPtr& each : items)
        names << each->name();
    return names;
}

QStringList namesOf(const BMProjectList& projects) {
    QStringList names;
    for (const BMProjectPtr& each : projects)
        names << each->name();
    return names;
}

} // namespace CatalogueTest

void CatalogueHomeTest::SetUp() {
    TempHomeTest::SetUp();
    BMLog::createNewLog(QStringLiteral("VestryTests"));
}
