// Editors' applications and the name search on Linux.
#include "LinuxPlatform.h"
#include "foundation/BMTaskEx.h"
#include "foundation/FileName.h"
#include "foundation/PathText.h"
#include "foundation/PlistFile.h"

#include <QFileInfo>
#include <QMap>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Names under which an editor may have been installed by hand or through a compatibility
// layer. The reverse-DNS identifier itself is always tried first, as the desktop-entry rules
// recommend such names.
const QMap<QString, QStringList>& desktopEntryTable() {
    static const QMap<QString, QStringList> table{
        {QStringLiteral("com.adobe.AdobePremierePro"), {QStringLiteral("adobe-premiere-pro")}},
        {QStringLiteral("com.apple.FinalCutPro"), {QStringLiteral("final-cut-pro")}},
        {QStringLiteral("com.apple.FinalCutExpress"), {QStringLiteral("final-cut-express")}},
        {QStringLiteral("com.apple.FinalCut"), {QStringLiteral("final-cut-pro-x")}},
        {QStringLiteral("com.apple.motion"), {QStringLiteral("apple-motion")}},
        {QStringLiteral("com.avid.MediaComposer"), {QStringLiteral("avid-media-composer")}},
    };
    return table;
}

QString escapedForGlob(const QString& text) {
    QString escaped;
    escaped.reserve(text.size());
    for (const QChar c : text) {
        if (c == QLatin1Char('*') || c == QLatin1Char('?') || c == QLatin1Char('[') ||
            c == QLatin1Char(']') || c == QLatin1Char('\\'))
            escaped += QLatin1Char('\\');
        escaped += c;
    }
    return escaped;
}

bool matchesRule(const QString& path, const Platform::SpotlightQuery& query) {
    switch (query.rule) {
    case Platform::SpotlightQuery::PathRule::FolderNamed:
        return PathText::lastComponent(path).compare(query.text, Qt::CaseInsensitive) == 0;
    case Platform::SpotlightQuery::PathRule::EndsWith:
        return path.endsWith(query.text, Qt::CaseInsensitive);
    }
    return false;
}

} // namespace

QStringList LinuxPlatform::desktopEntryNames(const QString& identifier) {
    if (identifier.isEmpty())
        return {};
    return QStringList{identifier} + desktopEntryTable().value(identifier);
}

QString LinuxPlatform::applicationPathForBundleIdentifier(const QString& identifier) const {
    const QStringList folders = standardFolders(StandardFolder::Applications, Domain::User) +
                                standardFolders(StandardFolder::Applications, Domain::Local);
    for (const QString& name : desktopEntryNames(identifier)) {
        for (const QString& folder : folders) {
            const QString path = PathText::appendingComponent(folder, name + QStringLiteral(".desktop"));
            if (QFileInfo(path).isFile())
                return path;
        }
    }
    return QString();
}

std::optional<QVariantMap> LinuxPlatform::applicationInfo(const QString& applicationPath) const {
    // An application folder laid out as on a Mac (copied over, or on a Mac volume) carries
    // its own information; a desktop entry carries none of it.
    if (applicationPath.isEmpty())
        return std::nullopt;
    return PlistFile::readDictionary(
        PathText::appendingComponent(applicationPath, QStringLiteral("Contents/Info.plist")));
}

QString LinuxPlatform::locateDatabase() const {
    // Set for one run (a test's own index, an index of a mounted archive disk); the tool's
    // own index otherwise.
    return qEnvironmentVariable(locateDatabaseVariable);
}

QString LinuxPlatform::spotlightProblem() const {
    // Only an index named for the run: a missing index of the tool's own means no search yet,
    // and the tool then simply finds nothing.
    const QString database = qEnvironmentVariable(locateDatabaseVariable);
    if (database.isEmpty())
        return QString();
    // The search tool would say only that it found nothing.
    int error = 0;
    const int fd = ::open(FileName::encode(database).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = errno;
    } else {
        char byte = 0;
        if (::read(fd, &byte, 1) < 0)
            error = errno;
        ::close(fd);
    }
    if (error == 0)
        return QString();
    return QStringLiteral("the file name index %1 (named by %2) could not be read: %3")
        .arg(database, QLatin1String(locateDatabaseVariable), QString::fromLocal8Bit(std::strerror(error)));
}

bool LinuxPlatform::spotlightAvailable() const {
    return BMTaskEx::isExecutable(toolPath(Tool::Plocate)) || BMTaskEx::isExecutable(toolPath(Tool::Locate));
}

QStringList LinuxPlatform::locateArguments(const SpotlightQuery& query, const QString& database) {
    QStringList arguments;
    if (!database.isEmpty())
        arguments << QStringLiteral("-d") << database;
    // NUL-separated output, so that a name holding a line break stays one path.
    arguments << QStringLiteral("-i") << QStringLiteral("-0");
    switch (query.rule) {
    case SpotlightQuery::PathRule::FolderNamed:
        arguments << QStringLiteral("-b") << QStringLiteral("--")
                  << QLatin1Char('*') + escapedForGlob(query.text) + QLatin1Char('*');
        break;
    case SpotlightQuery::PathRule::EndsWith:
        arguments << QStringLiteral("--") << QLatin1Char('*') + escapedForGlob(query.text);
        break;
    }
    return arguments;
}

QStringList LinuxPlatform::spotlightQuery(const SpotlightQuery& query, double timeoutSeconds) const {
    QString tool = toolPath(Tool::Plocate);
    if (!BMTaskEx::isExecutable(tool))
        tool = toolPath(Tool::Locate);
    if (!BMTaskEx::isExecutable(tool) || query.text.isEmpty())
        return {};
    const std::optional<QByteArray> output =
        BMTaskEx::dataFromTaskWithTimeout(tool, locateArguments(query, locateDatabase()), timeoutSeconds);
    // Every path the tool prints ends in a NUL; anything else is its complaint on standard
    // error (no index yet, an unreadable index), which the runner hands back instead.
    if (!output || output->isEmpty() || !output->endsWith('\0'))
        return {};
    QStringList paths;
    for (const QByteArray& entry : output->split('\0')) {
        if (entry.isEmpty())
            continue;
        const QString path = FileName::decode(entry);
        if (!matchesRule(path, query))
            continue;
        // Spotlight's folders are real folders: a link to one is not reported.
        const std::optional<FileFacts> facts = fileFacts(path, false);
        if (facts && facts->isDirectory)
            paths << path;
    }
    return paths;
}
