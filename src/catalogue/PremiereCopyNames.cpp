#include "PremiereCopyNames.h"

#include "NamePattern.h"
#include "foundation/PathText.h"

#include <QSet>

namespace {

// "-YYYY-MM-DD_HH-MM-SS"
constexpr qsizetype kTimestampLength = 20;

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
        return names;
    }
    // The emergency copy of "my-film" holds a "-" too: it is known by the timestamped copies
    // beside it, wherever the listing puts them.
    QList<std::optional<QString>> stamped;
    stamped.reserve(fileNames.size());
    QSet<QString> timestampedProjects;
    for (const QString& fileName : fileNames) {
        stamped.append(timestampedProjectName(fileName));
        if (stamped.last())
            timestampedProjects.insert(*stamped.last());
    }
    for (qsizetype i = 0; i < fileNames.size(); ++i) {
        if (stamped[i]) {
            names.append(*stamped[i]);
            continue;
        }
        const QString base = PathText::deletingExtension(fileNames[i]);
        const bool emergencyCopy = timestampedProjects.contains(base) || !base.contains(QLatin1Char('-'));
        names.append(emergencyCopy ? base : ringProjectName(fileNames[i]));
    }
    return names;
}
