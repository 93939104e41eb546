#include "SystemdUnits.h"

#include "LinuxPlatform.h"
#include "foundation/BMLog.h"
#include "foundation/FileName.h"

#include <QFile>

namespace {

QVariant valueOf(const LaunchJobSettings& settings, const char* key) {
    for (const auto& [name, value] : settings) {
        if (name == QLatin1String(key))
            return value;
    }
    return {};
}

bool fail(QString* error, const QString& reason) {
    if (error)
        *error = reason;
    return false;
}

// What no unit line can carry: a line break ends the line, other control characters and
// bytes that are not UTF-8 make systemd ignore it.
bool checkCharacters(const QString& text, QString* error) {
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return fail(error, QStringLiteral("%1 holds a line break or another control character, which a "
                                              "systemd unit cannot hold")
                                   .arg(FileName::displayText(text)));
    }
    if (FileName::hasInvalidBytes(text))
        return fail(error, QStringLiteral("%1 is not valid UTF-8, which a systemd unit cannot hold")
                               .arg(FileName::displayText(text)));
    return true;
}

// Unit names take letters, digits and ":_.-\"; "@" would make the job a template.
bool isUnitLabel(const QString& label) {
    if (label.isEmpty() || label.size() > 200)
        return false;
    for (const QChar c : label) {
        if (!(c.isLetterOrNumber() && c.unicode() < 0x80) && !QStringLiteral(":_.-").contains(c))
            return false;
    }
    return true;
}

QString escapedSpecifiers(QString text) {
    return text.replace(QLatin1Char('%'), QStringLiteral("%%"));
}

} // namespace

std::optional<QString> SystemdUnits::execWord(const QString& text, bool program, QString* error) {
    if (!checkCharacters(text, error))
        return std::nullopt;
    QString word = QStringLiteral("\"");
    for (const QChar c : text) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('"'))
            word += QLatin1Char('\\');
        else if (c == QLatin1Char('%') || (c == QLatin1Char('$') && !program))
            word += c; // "%%" and "$$" are the literal characters
        word += c;
    }
    return word + QLatin1Char('"');
}

std::optional<QString> SystemdUnits::pathValue(const QString& path, QString* error) {
    if (!path.startsWith(QLatin1Char('/'))) {
        fail(error, QStringLiteral("%1 is not an absolute path, which systemd needs").arg(path));
        return std::nullopt;
    }
    if (!checkCharacters(path, error))
        return std::nullopt;
    // The unit parser strips white space from the end of a value and joins a line that ends
    // in a backslash with the next.
    if (path.back().isSpace() || path.endsWith(QLatin1Char('\\'))) {
        fail(error,
             QStringLiteral("%1 ends in a space or a backslash, which a systemd unit cannot hold").arg(path));
        return std::nullopt;
    }
    return escapedSpecifiers(path);
}

std::optional<QList<LaunchJobFile>> SystemdUnits::units(const QString& label,
                                                        const LaunchJobSettings& settings, QString* error) {
    if (!isUnitLabel(label)) {
        fail(error, QStringLiteral("%1 cannot name a systemd unit").arg(label));
        return std::nullopt;
    }
    const QString program = valueOf(settings, "Program").toString();
    if (!program.startsWith(QLatin1Char('/'))) {
        fail(error,
             QStringLiteral("the program %1 is not an absolute path, which systemd needs").arg(program));
        return std::nullopt;
    }
    // systemd refuses to run a program whose own path holds these, however quoted.
    if (program.contains(QLatin1Char('"')) || program.contains(QLatin1Char('\'')) ||
        program.contains(QLatin1Char('\\'))) {
        fail(error, QStringLiteral("the program %1 holds a quote or a backslash, which systemd does not run")
                        .arg(program));
        return std::nullopt;
    }
    // ProgramArguments starts with the name the program is given, as launchd takes it;
    // systemd gives the program its path as that name itself.
    QStringList command{program};
    command << valueOf(settings, "ProgramArguments").toStringList().mid(1);
    QStringList words;
    for (const QString& argument : command) {
        const auto word = execWord(argument, words.isEmpty(), error);
        if (!word)
            return std::nullopt;
        words << *word;
    }
    const QString description =
        QStringLiteral("Description=Vestry background job %1\n").arg(escapedSpecifiers(label));

    QString service = QStringLiteral("[Unit]\n") + description +
                      QStringLiteral("\n[Service]\nType=oneshot\n") + QStringLiteral("ExecStart=") +
                      words.join(QLatin1Char(' ')) + QLatin1Char('\n');
    if (const QString folder = valueOf(settings, "WorkingDirectory").toString(); !folder.isEmpty()) {
        const auto value = pathValue(folder, error);
        if (!value)
            return std::nullopt;
        service += QStringLiteral("WorkingDirectory=") + *value + QLatin1Char('\n');
    }
    if (const QVariant nice = valueOf(settings, "Nice"); nice.isValid())
        service += QStringLiteral("Nice=%1\n").arg(nice.toInt());
    if (valueOf(settings, "LowPriorityIO").toBool())
        service += QStringLiteral("IOSchedulingClass=idle\n");

    QString path = QStringLiteral("[Unit]\n") + description + QStringLiteral("\n[Path]\n");
    const QStringList watchPaths = valueOf(settings, "WatchPaths").toStringList();
    for (qsizetype i = 0; i < watchPaths.size(); ++i) {
        QString reason;
        const auto value = pathValue(watchPaths[i], &reason);
        if (value) {
            path += QStringLiteral("PathChanged=") + *value + QLatin1Char('\n');
            continue;
        }
        // The first path is what the job is for. A later one (a project folder whose name a
        // unit cannot carry) must not keep the job from watching all the others: it is left
        // out, and the job still cleans it whenever it runs.
        if (i == 0) {
            fail(error, reason);
            return std::nullopt;
        }
        BMLog::appendLogAndPrint(QStringLiteral("Not watched by %1: %2").arg(label, reason));
    }
    path += QStringLiteral("Unit=") + serviceName(label) +
            QStringLiteral("\n\n[Install]\nWantedBy=default.target\n");
    return QList<LaunchJobFile>{{serviceName(label), service.toUtf8()}, {pathName(label), path.toUtf8()}};
}

QList<LaunchJobCommand> SystemdUnits::commands(LaunchJobStep step, const QString& label, bool runAtLoad,
                                               bool computerWide) {
    const auto systemctl = [computerWide](QStringList arguments) {
        if (!computerWide)
            arguments.prepend(QStringLiteral("--user"));
        return LaunchJobCommand{Tool::Systemctl, arguments};
    };
    // "enable" and "start" apart: "enable --now" gives up on everything when the manager
    // cannot be reached, while "enable" alone still links the path unit into the session's
    // start, so the job runs from the next login on.
    switch (step) {
    case LaunchJobStep::Unload:
        return {systemctl({QStringLiteral("stop"), pathName(label)}),
                systemctl({QStringLiteral("disable"), pathName(label)})};
    case LaunchJobStep::Forget:
        return {systemctl({QStringLiteral("stop"), serviceName(label)})};
    case LaunchJobStep::Load: {
        QList<LaunchJobCommand> commands{systemctl({QStringLiteral("daemon-reload")}),
                                         systemctl({QStringLiteral("enable"), pathName(label)}),
                                         systemctl({QStringLiteral("start"), pathName(label)})};
        // The first run may take long; systemctl must not wait for it.
        if (runAtLoad)
            commands << systemctl(
                {QStringLiteral("start"), QStringLiteral("--no-block"), serviceName(label)});
        return commands;
    }
    case LaunchJobStep::FilesRemoved:
        return {systemctl({QStringLiteral("daemon-reload")})};
    }
    return {};
}

QStringList SystemdUnits::watchedPaths(const QByteArray& pathUnit) {
    QStringList paths;
    for (const QByteArray& line : pathUnit.split('\n')) {
        if (line.startsWith("PathChanged="))
            paths << QString::fromUtf8(line.mid(12)).replace(QStringLiteral("%%"), QStringLiteral("%"));
    }
    return paths;
}

// ---- LinuxPlatform's launch jobs ----------------------------------------------------------

QStringList LinuxPlatform::launchJobFileNames(const QString& label) const {
    return {SystemdUnits::serviceName(label), SystemdUnits::pathName(label)};
}

std::optional<QList<LaunchJobFile>> LinuxPlatform::launchJobFiles(const QString& label,
                                                                  const LaunchJobSettings& settings, bool,
                                                                  QString* error) const {
    return SystemdUnits::units(label, settings, error);
}

QList<LaunchJobCommand> LinuxPlatform::launchJobCommands(LaunchJobStep step, const QString& label,
                                                         const QString&, bool runAtLoad,
                                                         bool computerWide) const {
    return SystemdUnits::commands(step, label, runAtLoad, computerWide);
}

QStringList LinuxPlatform::launchJobWatchedPaths(const QString& label, const QString& folder) const {
    QFile unit(folder + QLatin1Char('/') + SystemdUnits::pathName(label));
    if (!unit.open(QIODevice::ReadOnly))
        return {};
    return SystemdUnits::watchedPaths(unit.read(1 << 20));
}
