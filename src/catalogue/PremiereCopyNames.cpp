#include "PremiereCopyNames.h"

#include "NamePattern.h"
#include "foundation/PathText.h"

#include <QHash>
#include <QSet>

namespace {

// "-YYYY-MM-DD_HH-MM-SS"
constexpr qsizetype kTimestampLength = 20;

// A Mac drive gives names decomposed ("e" and a combining accent), most other places composed:
// copies of one project that came by both ways look the same and are the same project.
QString comparable(const QString& name) {
    return name.normalized(QString::NormalizationForm_C);
}

// Each name given in one form per project: the smallest of the forms met, whatever the order.
QStringList inOneForm(QStringList names) {
    QHash<QString, QString> shown;
    for (const QString& name : std::as_const(names)) {
        auto it = shown.find(comparable(name));
        if (it == shown.end())
            shown.insert(comparable(name), name);
        else if (name < it.value())
            it.value() = name;
    }
    for (QString& name : names)
        name = shown.value(comparable(name));
    return names;
}

} // namespace

const NamePattern& PremiereCopyNames::timestampPattern() {
    static const NamePattern pattern(
        QStringLiteral("*-[0-9][0-9][0-9][0-9]-[0-1][0-9]-[0-3][0-9]_[0-2][0-9]-[0-5][0-9]-[0-5][0-9]"));
    return pattern;
}

QString PremiereCopyNames::ringProjectName(const QString& fileName) {
    QStringList pieces = PathText::deletingExtension(fileName).split(QLatin1Char('-'));
    pieces.removeLast();
    return pieces.join(QLatin1Char('-'));
}

std::optional<QString> PremiereCopyNames::timestampedProjectName(const QString& fileName) {
    const QString base = PathText::deletingExtension(fileName);
    if (!timestampPattern().matches(base))
        return std::nullopt;
    return base.chopped(kTimestampLength);
}

QStringList PremiereCopyNames::projectNames(const QStringList& fileNames, bool groupTimestampedCopies) {
    QStringList names;
    names.reserve(fileNames.size());
    if (!groupTimestampedCopies) {
        for (const QString& fileName : fileNames)
            names.append(ringProjectName(fileName));
        return inOneForm(names);
    }
    // The emergency copy of "my-film" holds a "-" too: it is known by the timestamped copies
    // beside it, wherever the listing puts them.
    QList<std::optional<QString>> stamped;
    stamped.reserve(fileNames.size());
    QSet<QString> timestampedProjects;
    for (const QString& fileName : fileNames) {
        stamped.append(timestampedProjectName(fileName));
        if (stamped.last())
            timestampedProjects.insert(comparable(*stamped.last()));
    }
    for (qsizetype i = 0; i < fileNames.size(); ++i) {
        if (stamped[i]) {
            names.append(*stamped[i]);
            continue;
        }
        const QString base = PathText::deletingExtension(fileNames[i]);
        const bool emergencyCopy =
            timestampedProjects.contains(comparable(base)) || !base.contains(QLatin1Char('-'));
        names.append(emergencyCopy ? base : ringProjectName(fileNames[i]));
    }
    return inOneForm(names);
}
