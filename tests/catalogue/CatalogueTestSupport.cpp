#include "CatalogueTestSupport.h"

#include "foundation/BMLog.h"
#include "foundation/platform/linux/LinuxPlatform.h"
#include "support/MacMetadata.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/xattr.h>

namespace CatalogueTest {

bool makeTree(const QString& root, const QStringList& entries) {
    for (const QString& entry : entries) {
        const QStringList fields = entry.split('|');
        const QString path = root + '/' + fields[0];
        const QString kind = fields.value(2);
        QDir().mkpath(QFileInfo(path).path());
        if (kind == "LINK") {
            QFile::link(root + "/nowhere", path);
            continue;
        }
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(QByteArray(fields.value(1).toInt(), 'x'));
        file.close();
        if (kind.startsWith("._")) { // what a Mac leaves on an exFAT drive
            QFile companion(QFileInfo(path).path() + "/._" + QFileInfo(path).fileName());
            if (!companion.open(QIODevice::WriteOnly) ||
                !companion.write(appleDoubleFile(finderInfoOfType(kind.mid(2, 4).toLatin1().constData()))))
                return false;
            continue;
        }
        const bool afp = kind == "AFP";
        if (kind.size() != 4 && !afp)
            continue;
        const QByteArray info = (afp ? QByteArray("FCPF") : kind.toLatin1()) + "KeyG" + QByteArray(24, 0);
        const QByteArray value = afp ? LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), info) : info;
        if (::setxattr(QFile::encodeName(path).constData(),
                       afp ? LinuxPlatform::netatalkAttribute : LinuxPlatform::finderInfoAttribute,
                       value.constData(), size_t(value.size()), 0) != 0)
            return false;
    }
    return true;
}

QString describe(const BMProjectList& projects, const QString& root) {
    auto relative = [&](const QString& path) {
        return path.startsWith(root + '/') ? path.mid(root.size() + 1) : path;
    };
    QStringList parts;
    for (const BMProjectPtr& project : projects) {
        QString text =
            project->name() + QStringLiteral("(%1)@").arg(project->type()) + relative(project->path()) + ':';
        for (const BMAutoItemPtr& child : project->children()) {
            const bool plain = child->path() == project->path() + '/' + child->name();
            text += ' ' + (plain ? child->name() : relative(child->path())) +
                    QStringLiteral(":%1").arg(child->type()) + (child->createdDate().isValid() ? "" : "?");
        }
        parts << text;
    }
    return parts.join("; ");
}

QDateTime at(qint64 seconds) {
    return QDateTime(QDate(2026, 11, 22), QTime(10, 0), Qt::UTC).addSecs(seconds);
}

BMAutoItemPtr item(const QString& name, double size, qint64 seconds) {
    return BMAutoItem::autoItemType(0, name, "/autosaves/" + name, at(seconds), size);
}

void LoggedHomeTest::SetUp() {
    TempHomeTest::SetUp();
    BMLog::createNewLog();
}

} // namespace CatalogueTest
