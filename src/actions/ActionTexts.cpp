#include "ActionTexts.h"

#include <algorithm>

namespace ActionTexts {

ActionQuestion removeQuestion(qsizetype count) {
    const QString what =
        count == 1 ? QStringLiteral("this autosave?") : QStringLiteral("%1 autosaves?").arg(qint64(count));
    return ActionQuestion{QStringLiteral("Are you sure you wish to remove %1").arg(what),
                          QStringLiteral("Remove"), QStringLiteral("Cancel"),
                          QStringLiteral("This cannot be undone.")};
}

ActionQuestion openQuestion(qsizetype count) {
    return ActionQuestion{
        QStringLiteral("Are you sure you wish to open %1 item%2?")
            .arg(qint64(count))
            .arg(count == 1 ? QString() : QStringLiteral("s")),
        QStringLiteral("Open"), QStringLiteral("Cancel"),
        QStringLiteral("Opening a large number of autosaves at once could slow down your computer.")};
}

QString cancelled(const QString& verb, qint64 done, qint64 total) {
    const qint64 other = std::max<qint64>(total - done, 0);
    const QString rest = other == 1 ? QStringLiteral("the other one is untouched")
                                    : QStringLiteral("the other %1 are untouched").arg(other);
    return QStringLiteral("Cancelled: %1 of %2 %3 %4; %5.")
        .arg(done)
        .arg(total)
        .arg(total == 1 ? QStringLiteral("autosave was") : QStringLiteral("autosaves were"), verb, rest);
}

QString cancelledArchive() {
    return QStringLiteral("Cancelled: no archive was made and no autosaves were moved to the Trash.");
}

} // namespace ActionTexts
