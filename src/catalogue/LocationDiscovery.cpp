#include "LocationDiscovery.h"

#include "CatalogueLocations.h"
#include "editorprefs/BMFCPPrefParser.h"
#include "editorprefs/BMPremierePrefParser.h"
#include "editorprefs/InputFile.h"
#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/MainThread.h"
#include "foundation/PathText.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"

#include <QUrl>

namespace {

const QString kVaultKey = QStringLiteral("autoSaveVault");

// Whether a candidate's path is logged before it is scanned.
enum class Announce { No, Yes };

// The test every candidate must pass, in its order, over one search's working list.
class Candidates {
public:
    Candidates(QStringList& locations, QStringList& found, QStringList& unstorable,
               const AutosaveFolderScanner& scanner)
        : m_locations(locations), m_found(found), m_unstorable(unstorable), m_scanner(scanner) {}

    void consider(const QString& path, Announce announce) {
        if (path.isEmpty())
            return;
        // A damaged preference file can name "Autosave Vault" or "Media/Auto-Save": tested as
        // it is, that is a folder of whatever directory the search was started in.
        if (!path.startsWith(QLatin1Char('/'))) {
            BMLog::appendLog(QStringLiteral("Ignored %1: a folder must be given by its absolute path")
                                 .arg(FileName::displayText(path)));
            return;
        }
        if (!BMFileManager::isDirectoryAtPath(path))
            return;
        // Exact text: "~", a trailing slash or a link make a different entry.
        if (m_locations.contains(path))
            return;
        if (announce == Announce::Yes)
            BMLog::appendLog(QStringLiteral("Found: %1").arg(path));
        const std::optional<BMProjectList> projects = m_scanner.projectsFromFolder(path);
        if (!projects || projects->isEmpty())
            return;
        // The settings file holds text: such a path would come back with "?" for its bytes,
        // naming no folder, and be added again by every search.
        if (FileName::hasInvalidBytes(path)) {
            if (!m_unstorable.contains(path)) {
                BMLog::appendLog(QStringLiteral("%1 is not stored: %2")
                                     .arg(FileName::displayText(path), LocationDiscovery::unstorableReason));
                m_unstorable.append(path);
            }
            return;
        }
        // At once, so that the same folder from a later source is a duplicate.
        m_locations.append(path);
        m_found.append(path);
    }

private:
    QStringList& m_locations;
    QStringList& m_found;
    QStringList& m_unstorable;
    const AutosaveFolderScanner& m_scanner;
};

struct NameSearch {
    Platform::SpotlightQuery query;
    QString suffix; // kept lines end with it, in any case
};

QList<NameSearch> nameSearches() {
    return {
        {Platform::SpotlightQuery::folderNamed(QStringLiteral("Autosave Vault")),
         QStringLiteral("/Autosave Vault")},
        {Platform::SpotlightQuery::folderNamed(QStringLiteral("Adobe Premiere Pro Auto-Save")),
         QStringLiteral("/Adobe Premiere Pro Auto-Save")},
        // Every Final Cut Pro X library is a location of its own.
        {Platform::SpotlightQuery::pathsEndingWith(QStringLiteral("\"Final Cut Pro Library\""),
                                                   QStringLiteral(".fcpbundle")),
         QStringLiteral(".fcpbundle")},
        {Platform::SpotlightQuery::folderNamed(QStringLiteral("Unity Attic")),
         QStringLiteral("/Unity Attic")},
    };
}

bool isInstalled(const char* bundleIdentifier) {
    return !Platform::current()
                .applicationPathForBundleIdentifier(QString::fromLatin1(bundleIdentifier))
                .isEmpty();
}

void onMainThread(const std::function<void()>& work) {
    if (work)
        MainThread::runAndWait(work);
}

bool askOnMainThread(const std::function<bool()>& question) {
    if (!question)
        return false;
    bool answer = false;
    MainThread::runAndWait([&] { answer = question(); });
    return answer;
}

} // namespace

LocationDiscovery::LocationDiscovery(BMSettings& settings)
    : LocationDiscovery(settings, std::make_shared<BMFCPPrefParser>(BMFCPPrefParser::Edition::FinalCutPro),
                        std::make_shared<BMFCPPrefParser>(BMFCPPrefParser::Edition::FinalCutExpress)) {
}

LocationDiscovery::LocationDiscovery(BMSettings& settings, std::shared_ptr<BMFCPPrefParser> fcpPrefs,
                                     std::shared_ptr<BMFCPPrefParser> fcePrefs)
    : m_settings(settings), m_fcpPrefs(std::move(fcpPrefs)), m_fcePrefs(std::move(fcePrefs)) {
}

LocationDiscovery::~LocationDiscovery() = default;

void LocationDiscovery::setWindowHooks(WindowHooks hooks) {
    std::lock_guard lock(m_hooksMutex);
    m_hooks = std::move(hooks);
}

void LocationDiscovery::setVolumeSearchBounds(VolumeSearch::Bounds bounds) {
    std::lock_guard lock(m_volumesMutex);
    m_volumeBounds = bounds;
}

QStringList LocationDiscovery::searchVolume(const QString& volume,
                                            const QList<Platform::SpotlightQuery>& queries,
                                            SearchedVolume& searched) {
    searched.path = volume;
    VolumeSearch::Bounds bounds;
    {
        std::lock_guard lock(m_volumesMutex);
        const auto walked = m_walked.constFind(volume);
        if (walked != m_walked.cend() &&
            walked->when.secsTo(QDateTime::currentDateTimeUtc()) < volumeRewalkSeconds)
            return walked->paths;
        bounds = m_volumeBounds;
    }
    BMLog::appendLog(QStringLiteral("Searching the volume %1 for autosave folders...").arg(volume));
    const VolumeSearch::Result result = VolumeSearch::search(volume, queries, bounds);
    searched.cutOff = result.cutOff;
    searched.problem = result.problem;
    if (!result.problem.isEmpty())
        BMLog::appendLog(
            QStringLiteral("The volume %1 could not be searched: %2").arg(volume, result.problem));
    else if (result.cutOff)
        BMLog::appendLog(QStringLiteral("The search of the volume %1 was cut off after %2 seconds.")
                             .arg(volume)
                             .arg(bounds.seconds));
    else {
        std::lock_guard lock(m_volumesMutex);
        m_walked.insert(volume, {QDateTime::currentDateTimeUtc(), result.paths});
    }
    return result.paths;
}

LocationDiscovery::WindowHooks LocationDiscovery::windowHooks() const {
    std::lock_guard lock(m_hooksMutex);
    return m_hooks;
}

QString LocationDiscovery::motionAutosavePath() {
    const QString preferences = BMLocalPaths::prefsDirectory(true);
    if (preferences.isEmpty())
        return QString();
    // Another program's file, read as the other editors' are: a named pipe or a device in its
    // place would block or never end.
    const std::optional<QByteArray> bytes = InputFile::readAll(
        PathText::appendingComponent(preferences, QStringLiteral("com.apple.motion.plist")),
        PlistFile::maximumSize);
    const std::optional<QVariant> motion = bytes ? PlistFile::parse(*bytes) : std::nullopt;
    if (!motion || motion->typeId() != QMetaType::QVariantMap)
        return QString();
    const QVariant path = motion->toMap().value(QStringLiteral("OZPreferenceManager::AutosaveVaultPath"));
    if (path.typeId() != QMetaType::QString)
        return QString();
    const QString text = path.toString();
    // A folder chosen in a panel can be kept as its URL: "file:///Volumes/M%C3%A9dia/Autosave%20Vault/".
    if (text.startsWith(QLatin1String("file:"), Qt::CaseInsensitive)) {
        const QUrl url(text, QUrl::StrictMode);
        if (!url.isValid() || !url.isLocalFile() ||
            !(url.host().isEmpty() || url.host() == QLatin1String("localhost")))
            return QString();
        // The path itself: toLocalFile() would make "localhost" the first folder.
        return PathText::appendingComponent(QStringLiteral("/"), url.path(QUrl::FullyDecoded));
    }
    return PathText::expandingTilde(text, Platform::current().homeDirectory());
}

LocationDiscovery::Outcome LocationDiscovery::searchForNewPaths() {
    // A copy: the window may set its hooks again while this search runs.
    const WindowHooks hooks = windowHooks();
    Outcome outcome;
    try {
        BMLog::appendLog(QStringLiteral("Searching for new autosave paths..."));
        outcome.locations =
            CatalogueLocations::storedPaths(m_settings, QLatin1String(SettingsKey::autosavePaths));
        // The first search of a new user can take a while; the sheet says so.
        if (outcome.locations.isEmpty() && askOnMainThread(hooks.isMainWindowKey))
            onMainThread(hooks.showProgress);

        AutosaveFolderScanner scanner(m_settings);
        scanner.setAutosaveFolderHook(hooks.autosaveFolderStored);
        Candidates candidates(outcome.locations, outcome.found, outcome.unstorable, scanner);

        if (isInstalled("com.apple.FinalCutPro")) {
            BMLog::appendLog(QStringLiteral("Loading autosave path from FCP preference file..."));
            m_fcpPrefs->loadDataForTypes(QStringList{kVaultKey});
            candidates.consider(m_fcpPrefs->autosavePath(), Announce::No);
        }
        if (isInstalled("com.apple.FinalCutExpress")) {
            BMLog::appendLog(QStringLiteral("Loading autosave path from FCE preference file..."));
            // The Final Cut Pro reader loads, the Express reader answers with whatever it last
            // loaded. The application has always done this; it is kept.
            m_fcpPrefs->loadDataForTypes(QStringList{kVaultKey});
            candidates.consider(m_fcePrefs->autosavePath(), Announce::No);
        }
        BMLog::appendLog(QStringLiteral("Loading autosave path from Motion preference file..."));
        candidates.consider(motionAutosavePath(), Announce::No);
        for (const QString& path : BMPremierePrefParser::recentAutosavePaths())
            candidates.consider(path, Announce::Yes);

        Platform& platform = Platform::current();
        const bool indexAvailable = platform.spotlightAvailable();
        const QStringList volumes = platform.removableAndNetworkVolumes();
        {
            // A drive taken out may come back as another drive at the same mount point (drives
            // of one make share a label): the first one's walk tells nothing of the second.
            std::lock_guard lock(m_volumesMutex);
            m_walked.removeIf(
                [&](decltype(m_walked)::iterator walked) { return !volumes.contains(walked.key()); });
        }
        // The walk of the volumes needs no tool: it is a name search of its own.
        outcome.nameSearchAvailable = indexAvailable || !volumes.isEmpty();
        outcome.nameSearchProblem = platform.spotlightProblem();
        if (!outcome.nameSearchProblem.isEmpty())
            BMLog::appendLog(QStringLiteral("Spotlight search skipped: %1").arg(outcome.nameSearchProblem));
        else if (outcome.nameSearchAvailable) {
            if (indexAvailable) {
                BMLog::appendLog(QStringLiteral("Running a Spotlight search for autosave folders..."));
                for (const NameSearch& search : nameSearches()) {
                    for (const QString& line :
                         platform.spotlightQuery(search.query, nameSearchTimeoutSeconds)) {
                        if (line.endsWith(search.suffix, Qt::CaseInsensitive))
                            candidates.consider(line, Announce::Yes);
                    }
                }
            }
            QList<Platform::SpotlightQuery> queries;
            for (const NameSearch& search : nameSearches())
                queries << search.query;
            for (const QString& volume : volumes) {
                SearchedVolume searched;
                for (const QString& path : searchVolume(volume, queries, searched))
                    candidates.consider(path, Announce::Yes);
                outcome.volumes << searched;
            }
            // Only here: without the name search nothing is remembered.
            if (!outcome.found.isEmpty()) {
                // Added to the list as it is now: while this search ran, another (the window's,
                // `vestry discover`) or the preferences may have stored or taken away a location.
                outcome.stored =
                    m_settings.update(QStringLiteral("storing the autosave locations found"), [&] {
                        QStringList now = CatalogueLocations::storedPaths(
                            m_settings, QLatin1String(SettingsKey::autosavePaths));
                        for (const QString& path : std::as_const(outcome.found)) {
                            if (!now.contains(path))
                                now << path;
                        }
                        outcome.locations = now;
                        return m_settings.setValue(QLatin1String(SettingsKey::autosavePaths),
                                                   CatalogueLocations::storablePaths(now));
                    });
                if (hooks.populateDataNoSave)
                    hooks.populateDataNoSave();
            }
        }
    } catch (const std::exception& e) {
        BMException::logException(e, exceptionMethod);
        outcome.failed = true;
    }
    try {
        onMainThread(hooks.endProgress);
    } catch (const std::exception& e) {
        BMException::logException(e, exceptionMethod);
        outcome.failed = true;
    }
    return outcome;
}
