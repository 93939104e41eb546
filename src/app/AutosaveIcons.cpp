#include "AutosaveIcons.h"

#include "catalogue/AutosaveType.h"

#include <QHash>
#include <QMimeDatabase>

namespace {

QString ownImage(int type) {
    switch (AutosaveType::normalized(type)) {
    case AutosaveType::Motion:
        return QStringLiteral(":/vestry/icons/motion.svg");
    case AutosaveType::Premiere:
        return QStringLiteral(":/vestry/icons/premiere.svg");
    case AutosaveType::Avid:
        return QStringLiteral(":/vestry/icons/avid.svg");
    case AutosaveType::FinalCutX:
        return QStringLiteral(":/vestry/icons/fcpx_event.svg");
    default:
        return QStringLiteral(":/vestry/icons/fcp.svg");
    }
}

// The file extension the system would know the type by; none for kinds that only a Mac
// names (Avid's bins go by an HFS type code, events are our own image).
QString extensionFor(int type) {
    switch (AutosaveType::normalized(type)) {
    case AutosaveType::Motion:
        return QStringLiteral("motn");
    case AutosaveType::Premiere:
        return QStringLiteral("prproj");
    case AutosaveType::FinalCut:
        return QStringLiteral("fcp");
    default:
        return QString();
    }
}

} // namespace

QIcon AutosaveIcons::ownIconForType(int type) {
    return QIcon(ownImage(type));
}

QIcon AutosaveIcons::iconForType(int type) {
    static QHash<int, QIcon> cache;
    const int kind = AutosaveType::normalized(type);
    if (auto it = cache.constFind(kind); it != cache.cend())
        return *it;
    QIcon icon;
    const QString extension = extensionFor(kind);
    if (!extension.isEmpty()) {
        const QMimeType mime = QMimeDatabase().mimeTypeForFile(QStringLiteral("autosave.") + extension,
                                                               QMimeDatabase::MatchExtension);
        if (!mime.isDefault())
            icon = QIcon::fromTheme(mime.iconName(), QIcon::fromTheme(mime.genericIconName()));
    }
    if (icon.isNull())
        icon = ownIconForType(kind);
    cache.insert(kind, icon);
    return icon;
}
