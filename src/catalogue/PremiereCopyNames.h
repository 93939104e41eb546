#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

class NamePattern;

// Which project each Premiere auto-save copy lying loose in one folder belongs to, from the
// names alone.
//
// Up to 2018 Premiere names a copy "<Project>-N.prproj", N going round a ring: the project is
// the name without its last "-" piece. Since 2019 a copy is "<Project>-YYYY-MM-DD_HH-MM-SS.prproj"
// and the folder also keeps the emergency copy "<Project>.prproj", overwritten at each save.
// With timestamped grouping on, the whole date-and-time suffix is dropped, and a name without
// one that is exactly the project name of timestamped copies in the same folder (or that holds
// no "-" at all) is that project's emergency copy. Anything else keeps the ring rule.
class PremiereCopyNames {
public:
    // One project name per file name, in the order given; the result does not depend on that
    // order.
    static QStringList projectNames(const QStringList& fileNames, bool groupTimestampedCopies);

    // The ring rule alone: "My-Cut-12.prproj" gives "My-Cut", "Untitled.prproj" gives "".
    static QString ringProjectName(const QString& fileName);
    // "video-2019-11-04_15-04-08.prproj" gives "video"; a name without the suffix, nothing.
    static std::optional<QString> timestampedProjectName(const QString& fileName);
    // "*-YYYY-MM-DD_HH-MM-SS", matched against the name without its extension.
    static const NamePattern& timestampPattern();
};
