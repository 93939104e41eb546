// Opening files with an editor, launching editors and revealing items on a Linux desktop.
#include "LinuxPlatform.h"
#include "foundation/BMLog.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace {

constexpr int kFileManagerTimeoutMs = 5000;

// The value of a key in the "[Desktop Entry]" group, with the string escapes (\s, \n, \t,
// \r, \\) undone; null when the key is missing.
QString desktopEntryValue(const QByteArray& entry, const QByteArray& key) {
    bool inMainGroup = false;
    for (const QByteArray& rawLine : entry.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.startsWith('[')) {
            inMainGroup = line == "[Desktop Entry]";
            continue;
        }
        if (!inMainGroup || line.startsWith('#'))
            continue;
        const qsizetype equals = line.indexOf('=');
        if (equals < 0 || line.left(equals).trimmed() != key)
            continue;
        const QString raw = QString::fromUtf8(line.mid(equals + 1).trimmed());
        QString value;
        for (qsizetype i = 0; i < raw.size(); ++i) {
            if (raw[i] != QLatin1Char('\\') || i + 1 == raw.size()) {
                value += raw[i];
                continue;
            }
            const QChar next = raw[++i];
            if (next == QLatin1Char('s'))
                value += QLatin1Char(' ');
            else if (next == QLatin1Char('n'))
                value += QLatin1Char('\n');
            else if (next == QLatin1Char('t'))
                value += QLatin1Char('\t');
            else if (next == QLatin1Char('r'))
                value += QLatin1Char('\r');
            else if (next == QLatin1Char('\\'))
                value += QLatin1Char('\\');
            else
                value += QLatin1Char('\\') + next; // left for the Exec quoting rules
        }
        return value;
    }
    return QString();
}

QString fileUrl(const QString& path) {
    return QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
}

enum class FileCodes { None, One, List };

FileCodes fileCodesOf(const QStringList& arguments) {
    FileCodes codes = FileCodes::None;
    for (const QString& argument : arguments) {
        if (argument.contains(QLatin1String("%F")) || argument.contains(QLatin1String("%U")))
            return FileCodes::List;
        if (argument.contains(QLatin1String("%f")) || argument.contains(QLatin1String("%u")))
            codes = FileCodes::One;
    }
    return codes;
}

// One argument with its field codes filled in; a list code stands alone and becomes the
// whole list. Deprecated and unknown codes go, "%%" is a percent sign.
QStringList expandArgument(const QString& argument, const QStringList& files, const QString& oneFile,
                           const QString& icon, const QString& name, const QString& entryPath) {
    if (argument == QLatin1String("%F"))
        return files;
    if (argument == QLatin1String("%U")) {
        QStringList urls;
        for (const QString& file : files)
            urls << fileUrl(file);
        return urls;
    }
    if (argument == QLatin1String("%i"))
        return icon.isEmpty() ? QStringList() : QStringList{QStringLiteral("--icon"), icon};
    if ((argument == QLatin1String("%f") || argument == QLatin1String("%u")) && oneFile.isEmpty())
        return {};
    QString expanded;
    for (qsizetype i = 0; i < argument.size(); ++i) {
        if (argument[i] != QLatin1Char('%') || i + 1 == argument.size()) {
            expanded += argument[i];
            continue;
        }
        const QChar code = argument[++i];
        if (code == QLatin1Char('%'))
            expanded += QLatin1Char('%');
        else if (code == QLatin1Char('f'))
            expanded += oneFile;
        else if (code == QLatin1Char('u'))
            expanded += oneFile.isEmpty() ? QString() : fileUrl(oneFile);
        else if (code == QLatin1Char('c'))
            expanded += name;
        else if (code == QLatin1Char('k'))
            expanded += entryPath;
    }
    return {expanded};
}

} // namespace

std::optional<QStringList> LinuxPlatform::splitExec(const QString& exec) {
    QStringList arguments;
    QString current;
    bool started = false;
    bool quoted = false;
    static const QString escapable = QStringLiteral("\"`$\\");
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (quoted) {
            if (c == QLatin1Char('\\') && i + 1 < exec.size() && escapable.contains(exec[i + 1]))
                current += exec[++i];
            else if (c == QLatin1Char('"'))
                quoted = false;
            else
                current += c;
        } else if (c == QLatin1Char(' ') || c == QLatin1Char('\t')) {
            if (started)
                arguments << current;
            current.clear();
            started = false;
        } else if (c == QLatin1Char('"')) {
            quoted = true;
            started = true;
        } else {
            current += c;
            started = true;
        }
    }
    if (quoted)
        return std::nullopt;
    if (started)
        arguments << current;
    return arguments;
}

QList<QStringList> LinuxPlatform::desktopEntryCommands(const QByteArray& entry, const QString& entryPath,
                                                       const QStringList& files) {
    const std::optional<QStringList> exec = splitExec(desktopEntryValue(entry, "Exec"));
    if (!exec || exec->isEmpty())
        return {};
    const QString icon = desktopEntryValue(entry, "Icon");
    const QString name = desktopEntryValue(entry, "Name");
    auto build = [&](const QStringList& all, const QString& one) {
        QStringList command;
        for (const QString& argument : *exec)
            command += expandArgument(argument, all, one, icon, name, entryPath);
        return command;
    };
    switch (fileCodesOf(*exec)) {
    case FileCodes::List:
        return {build(files, QString())};
    case FileCodes::One: {
        if (files.isEmpty())
            return {build({}, QString())};
        QList<QStringList> commands;
        for (const QString& file : files)
            commands << build({file}, file);
        return commands;
    }
    case FileCodes::None:
        break;
    }
    return {build({}, QString()) + files};
}

bool LinuxPlatform::startDetached(const QStringList& command) const {
    if (command.isEmpty())
        return false;
    QString program = command.first();
    if (!program.startsWith(QLatin1Char('/')))
        program = QStandardPaths::findExecutable(program);
    if (program.isEmpty()) {
        BMLog::appendLog(QStringLiteral("Unable to start %1: no such program").arg(command.first()));
        return false;
    }
    return QProcess::startDetached(program, command.mid(1));
}

bool LinuxPlatform::openFiles(const QStringList& paths, const QString& bundleIdentifier) const {
    const QString entryPath = applicationPathForBundleIdentifier(bundleIdentifier);
    if (!entryPath.isEmpty()) {
        QFile file(entryPath);
        const QList<QStringList> commands = file.open(QIODevice::ReadOnly)
                                                ? desktopEntryCommands(file.readAll(), entryPath, paths)
                                                : QList<QStringList>();
        if (!commands.isEmpty()) {
            bool all = true;
            for (const QStringList& command : commands)
                all = startDetached(command) && all;
            return all;
        }
    }
    bool all = true;
    for (const QString& path : paths)
        all = startDetached({QStringLiteral("xdg-open"), path}) && all;
    return all;
}

bool LinuxPlatform::launchApplication(const QString& bundleIdentifier) const {
    const QString entryPath = applicationPathForBundleIdentifier(bundleIdentifier);
    QFile file(entryPath);
    if (entryPath.isEmpty() || !file.open(QIODevice::ReadOnly))
        return false;
    const QList<QStringList> commands = desktopEntryCommands(file.readAll(), entryPath, {});
    return !commands.isEmpty() && startDetached(commands.first());
}

bool LinuxPlatform::callFileManager(const QString& method, const QStringList& paths) const {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), method);
    QStringList urls;
    for (const QString& path : paths)
        urls << fileUrl(path);
    call << urls << QString(); // no start-up notification
    return bus.call(call, QDBus::Block, kFileManagerTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

bool LinuxPlatform::revealInFileManager(const QString& path, const QString& rootFolder) const {
    const bool folderItself = path == rootFolder;
    if (callFileManager(folderItself ? QStringLiteral("ShowFolders") : QStringLiteral("ShowItems"), {path}))
        return true;
    return startDetached({QStringLiteral("xdg-open"), rootFolder});
}
