#include "ActionTexts.h"

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

} // namespace ActionTexts
