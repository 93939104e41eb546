#pragma once

#include "foundation/platform/Platform.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// A launch job as systemd takes it: "<label>.service" runs the program once, and
// "<label>.path" starts that service whenever a watched path changes. Pure text functions,
// so that the quoting can be checked on its own.
class SystemdUnits {
public:
    static QString serviceName(const QString& label) { return label + QStringLiteral(".service"); }
    static QString pathName(const QString& label) { return label + QStringLiteral(".path"); }

    // Both units; nothing, with the reason, when the label is not a unit name or a value is
    // not something a unit file can hold, except that a watched path after the first that a
    // unit cannot hold is only left out, with a line in the log and on the console.
    static std::optional<QList<LaunchJobFile>> units(const QString& label, const LaunchJobSettings& settings,
                                                     QString* error);
    static QList<LaunchJobCommand> commands(LaunchJobStep step, const QString& label, bool runAtLoad,
                                            bool computerWide);
    // The PathChanged= paths of a path unit's text, as the file names them.
    static QStringList watchedPaths(const QByteArray& pathUnit);

    // One ExecStart= word: quoted, with "%" doubled, and "$" too in an argument (variables are
    // not expanded in the program's path), so that neither specifiers nor variables are
    // expanded. Nothing, with the reason, for text a unit line cannot carry.
    static std::optional<QString> execWord(const QString& text, bool program, QString* error);
    // A path for a key that takes it unquoted (WorkingDirectory=, PathChanged=): "%" doubled.
    // Nothing, with the reason, for a path systemd cannot take.
    static std::optional<QString> pathValue(const QString& path, QString* error);
};
