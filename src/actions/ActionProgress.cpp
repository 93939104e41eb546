#include "ActionProgress.h"

#include <QLocale>

QString ActionProgress::text() const {
    QString doing;
    bool bytes = false;
    switch (stage) {
    case Stage::Trashing:
        doing = QStringLiteral("Moving autosaves to the Trash");
        break;
    case Stage::Gathering:
        doing = QStringLiteral("Gathering autosaves");
        bytes = true;
        break;
    case Stage::Compressing:
        return QStringLiteral("Compressing the archive");
    case Stage::Copying:
        doing = QStringLiteral("Copying autosaves");
        break;
    case Stage::Moving:
        doing = QStringLiteral("Moving autosaves");
        break;
    case Stage::Restoring:
        doing = QStringLiteral("Restoring events");
        break;
    }
    if (total <= 0)
        return doing;
    if (bytes) {
        const int percent = int(done * 100 / total);
        return QStringLiteral("%1 (%2%)").arg(doing).arg(percent);
    }
    const QLocale locale;
    return QStringLiteral("%1 (%2 of %3)").arg(doing, locale.toString(done), locale.toString(total));
}
