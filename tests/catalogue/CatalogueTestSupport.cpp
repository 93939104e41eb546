#include "CatalogueTestSupport.h"

#include "foundation/BMLog.h"
#include "foundation/platform/linux/LinuxPlatform.h"

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
        if (kind.size() != 4 && kind != "AFP")
            continue;
        const QByteArray info =
            (kind == "AFP" ? QByteArray("FCPF") : kind.toLatin1()) + "KeyG" + QByteArray(24, 0);
        const QByteArray value =
            kind == "AFP" ? LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), info) : info;
        const char* name =
            kind == "AFP" ? LinuxPlatform::netatalkAttribute : LinuxPlatform::finderInfoAttribute;
        if (::setxattr(QFile::encodeName(path).constData(), name, value.constData(), size_t(value.size()),
                       0) != 0)
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
        QString text = QStringLiteral("%1(%2)@%3:")
                           .arg(project->name())
                           .arg(project->type())
                           .arg(relative(project->path()));
        for (const BMAutoItemPtr& child : project->children()) {
            const bool plain = child->path() == project->path() + '/' + child->name();
            text += QStringLiteral(" %1:%2%3")
                        .arg(plain ? child->name() : relative(child->path()))
                        .arg(child->type())
                        .arg(child->createdDate().isValid() ? "" : "?");
        }
        parts << text;
    }
    return parts.join("; ");
}

QString logText() {
    BMLog::finishWriting();
    QFile file(BMLog::currentLogPath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QDateTime at(qint64 seconds) {
    return QDateTime(QDate(2026, 11, 22), QTime(10, 0), Qt::UTC).addSecs(seconds);
}

BMAutoItemPtr item(const QString& name, double size, qint64 seconds) {
    return BMAutoItem::autoItemType(0, name, "/autosaves/" + name, at(seconds), size);
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
