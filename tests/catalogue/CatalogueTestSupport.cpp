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
        // As a Samba or netatalk share keeps a Mac's FinderInfo: "AFP" netatalk's metadata,
        // "SMB" the AfpInfo stream with the nul streams_xattr adds.
        const bool afp = kind == "AFP", smb = kind == "SMB";
        if (kind.size() != 4 && !afp && !smb)
            continue;
        const QByteArray info = finderInfoOfType(afp || smb ? "FCPF" : kind.toLatin1().constData());
        const QByteArray value = afp   ? netatalkMetadata(info)
                                 : smb ? LinuxPlatform::afpInfoWithFinderInfo(QByteArray(), info) + '\0'
                                       : info;
        const char* attribute = afp   ? LinuxPlatform::netatalkAttribute
                                : smb ? LinuxPlatform::afpStreamAttribute
                                      : LinuxPlatform::finderInfoAttribute;
        if (::setxattr(QFile::encodeName(path).constData(), attribute, value.constData(),
                       size_t(value.size()), 0) != 0)
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

void DiscoveryHomeTest::SetUp() {
    LoggedHomeTest::SetUp();
    home().platform().setToolPath(Tool::Plocate, home().root() + "/missing/plocate");
    home().platform().setToolPath(Tool::Locate, home().root() + "/missing/locate");
}

} // namespace CatalogueTest
