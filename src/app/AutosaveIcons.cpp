#include "AutosaveIcons.h"

#include "catalogue/AutosaveType.h"

#include <QCoreApplication>
#include <QHash>
#include <QMimeDatabase>
#include <QPainter>
#include <QPainterPath>
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

// A padlock over the lower right quarter, dark on a light disc so that it reads on any icon.
QPixmap withLockBadge(const QPixmap& base) {
    QPixmap pixmap = base;
    const qreal side = std::min(pixmap.width(), pixmap.height()) / pixmap.devicePixelRatio();
    const qreal badge = side / 2;
    const QRectF area(side - badge, side - badge, badge, badge);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, 230));
    painter.drawEllipse(area);
    const QRectF body(area.left() + badge * 0.25, area.top() + badge * 0.45, badge * 0.5, badge * 0.35);
    QPainterPath shackle;
    const QRectF loop(body.left() + badge * 0.08, area.top() + badge * 0.18, body.width() - badge * 0.16,
                      badge * 0.5);
    shackle.arcMoveTo(loop, 0);
    shackle.arcTo(loop, 0, 180);
    painter.setPen(QPen(QColor(60, 60, 60), std::max<qreal>(1.0, badge * 0.1)));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(shackle);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(60, 60, 60));
    painter.drawRoundedRect(body, badge * 0.05, badge * 0.05);
    return pixmap;
}

} // namespace

QIcon AutosaveIcons::lockedIconForType(int type) {
    static QHash<int, QIcon> cache;
    const int kind = AutosaveType::normalized(type);
    if (auto it = cache.constFind(kind); it != cache.cend())
        return *it;
    QIcon locked;
    const QIcon plain = iconForType(kind);
    for (const int side : {16, 32, 64}) {
        QPixmap base = plain.pixmap(side, side);
        if (base.isNull()) { // no image engine for the type's picture: the lock alone
            base = QPixmap(side, side);
            base.fill(Qt::transparent);
        }
        locked.addPixmap(withLockBadge(base));
    }
    cache.insert(kind, locked);
    return locked;
}

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
        // Top right, as a pin sits on a page: the lower right is the recent-write lock's.
        const int badge = side * 5 / 8;
        painter.drawPixmap(side - badge, 0, pin.pixmap(badge, badge));
        painter.end();
        badged.addPixmap(pixmap);
    }
    cache.insert(icon.cacheKey(), badged);
    return badged;
}

QString AutosaveIcons::pinnedToolTip(const QString& toolTip) {
    return toolTip + QLatin1Char('\n') +
           QCoreApplication::translate("AutosaveIcons",
                                       "Pinned: no rule, helper or archive moves it to the Trash.");
}
