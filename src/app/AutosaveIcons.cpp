#include "AutosaveIcons.h"

#include "catalogue/AutosaveType.h"

#include <QCoreApplication>
#include <QHash>
#include <QMimeDatabase>
#include <QPainter>
#include <QPixmap>

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

QIcon AutosaveIcons::withPinBadge(const QIcon& icon, bool pinned) {
    if (!pinned)
        return icon;
    // Cached by the base icon: every pinned row of a kind shares one badged icon.
    static QHash<qint64, QIcon> cache;
    if (auto it = cache.constFind(icon.cacheKey()); it != cache.cend())
        return *it;
    static const QIcon pin(QStringLiteral(":/vestry/icons/pin.svg"));
    QIcon badged;
    for (int side : {16, 22, 32, 44, 64}) {
        QPixmap pixmap = icon.pixmap(side, side);
        if (pixmap.isNull()) {
            pixmap = QPixmap(side, side);
            pixmap.fill(Qt::transparent);
        }
        QPainter painter(&pixmap);
        const int badge = side * 5 / 8;
        painter.drawPixmap(side - badge, side - badge, pin.pixmap(badge, badge));
        painter.end();
        badged.addPixmap(pixmap);
    }
    cache.insert(icon.cacheKey(), badged);
    return badged;
}

QString AutosaveIcons::pinnedToolTip(const QString& path) {
    return path + QLatin1Char('\n') +
           QCoreApplication::translate("AutosaveIcons",
                                       "Pinned: no rule, helper or archive moves it to the Trash.");
}
