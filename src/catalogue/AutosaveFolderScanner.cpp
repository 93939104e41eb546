#include "AutosaveFolderScanner.h"

#include "AutosaveType.h"
#include "NamePattern.h"
#include "PremiereCopyNames.h"
#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/OpenFolder.h"
#include "foundation/PathText.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

const QString kVaultSuffix = QStringLiteral("Autosave Vault");
const QString kPremiereSuffix = QStringLiteral("Adobe Premiere Pro Auto-Save");
const QString kAvidSuffix = QStringLiteral("Avid Attic");
const QString kUnitySuffix = QStringLiteral("Unity Attic"); // Avid's shared storage
const QString kLibrarySuffix = QStringLiteral(".fcpbundle");
const QString kBackupFolderMarker = QStringLiteral("/Final Cut Backups.localized");

bool isHidden(QStringView name) {
    return name.startsWith(u'.');
}

// What a Mac keeps beside a file on a drive or share without room for its metadata: the Mac
// itself never shows it, and it is not an autosave even where the name says ".prproj".
bool isAppleDouble(QStringView name) {
    return name.startsWith(u"._");
}

using WarningHook = AutosaveFolderScanner::WarningHook;

void warn(const WarningHook& hook, const QString& text) {
    BMLog::appendLog(text);
    if (hook)
        hook(text);
}

// What looking at one entry of a location has to say, kept until it is said: an entry may be
// looked at ahead, on another thread, and still speaks in the order of the listing.
class Messages {
public:
    void warning(const QString& text) { m_lines.push_back({true, text}); }
    void error(const QString& text) { m_lines.push_back({false, text}); }
    // Warnings to the log and the hook, errors to the log and the console.
    void deliver(const WarningHook& hook) {
        for (const auto& [isWarning, text] : m_lines) {
            if (isWarning)
                warn(hook, text);
            else
                BMLog::appendLogAndPrint(text);
        }
        m_lines.clear();
    }

private:
    std::vector<std::pair<bool, QString>> m_lines;
};

void warnLink(const QString& path, Messages& messages) {
    messages.warning(QStringLiteral("%1: a symbolic link, skipped (links are not followed)")
                         .arg(FileName::displayText(path)));
}

// One readlink, the link itself: whatever it points to is never looked at.
bool isLinkWarned(const QString& path, Messages& messages) {
    if (!BMFileManager::isSymbolicLinkAtPath(path))
        return false;
    warnLink(path, messages);
    return true;
}

// A folder's entries that are not links, each link named in a warning. A folder that is
// there but cannot be read is reported, not taken for empty in silence.
QStringList entriesWithoutLinks(OpenFolder& folder, Messages& messages, bool* listed = nullptr,
                                QString* error = nullptr) {
    QStringList names;
    QStringList links;
    const bool ok = folder.list(&names, &links);
    const QString reason = ok ? QString() : QString::fromLocal8Bit(std::strerror(folder.error()));
    if (!ok && !listed && BMFileManager::isDirectoryAtPath(folder.path()))
        messages.warning(QStringLiteral("%1: the folder could not be read (%2)")
                             .arg(FileName::displayText(folder.path()), reason));
    for (const QString& link : links)
        warnLink(PathText::appendingComponent(folder.path(), link), messages);
    if (listed)
        *listed = ok;
    if (error)
        *error = reason;
    return names;
}

QStringList visibleEntries(OpenFolder& folder, Messages& messages) {
    QStringList names = entriesWithoutLinks(folder, messages);
    names.removeIf([](const QString& name) { return isHidden(name); });
    return names;
}

// What a path's extension would be compared as, lower-cased: the text after the last "."
// of a name that does not start with it.
bool hasExtension(QStringView name, QLatin1StringView extension) {
    const qsizetype dot = name.size() - extension.size() - 1;
    return dot > 0 && name[dot] == u'.' && name.endsWith(extension, Qt::CaseInsensitive);
}

bool hasFinalCutFileType(const OpenFolder& folder, const QString& name) {
    const std::optional<QByteArray> info = folder.finderInfo(name);
    return info && info->size() >= 4 && std::memcmp(info->constData(), "FCPF", 4) == 0;
}

struct Attributes {
    QDateTime created;
    double size = 0.0;
    qint64 modified = BMAutoItem::noDate;
    // Every editor's autosave is one file. A folder named like one, or one a user made in a
    // bin to keep older backups, is not: listed, it would count 4 KB and take its whole
    // contents to the Trash with it.
    bool isFolder = false;
    quint32 sharedFile = 0; // see BMAutoItem::sharedFile
};

// The seam answers "nothing" on failure; the reason is the errno of its status call.
std::optional<Attributes> attributesOf(const OpenFolder& folder, const QString& name,
                                       QString* error = nullptr) {
    errno = 0;
    const std::optional<FileFacts> facts = folder.facts(name);
    if (!facts) {
        const int code = errno;
        if (error)
            *error = code ? QString::fromLocal8Bit(std::strerror(code))
                          : QStringLiteral("The file could not be examined");
        return std::nullopt;
    }
    return Attributes{
        facts->created, double(facts->size), BMAutoItem::msecsOf(facts->modified), facts->isDirectory,
        facts->links > 1 && !facts->isDirectory ? BMAutoItem::sharedFileOf(facts->device, facts->inode) : 0};
}

// Attributes for the layouts that list a file even when its attributes cannot be read.
Attributes attributesOrEmpty(const OpenFolder& folder, const QString& name) {
    return attributesOf(folder, name).value_or(Attributes{QDateTime(), 0.0});
}

std::optional<Attributes> attributesOrLog(const OpenFolder& folder, const QString& name, const QString& path,
                                          Messages& messages) {
    QString error;
    std::optional<Attributes> attributes = attributesOf(folder, name, &error);
    if (!attributes)
        messages.error(QStringLiteral("Error getting attributes of file %1 - %2").arg(path, error));
    return attributes;
}

// folder + "/" + name in a string of exactly that size: a catalogue keeps one path per autosave,
// and the spare capacity of a grown string would cost it a third more memory.
QString childPath(const QString& folder, const QString& name) {
    QString path;
    path.reserve(folder.size() + 1 + name.size());
    path.append(folder).append(QLatin1Char('/')).append(name);
    return path;
}

// Listed all the same, by its real bytes; people see them escaped.
void warnInvalidName(const QString& path, const WarningHook& hook) {
    warn(hook, QStringLiteral("%1: the name is not valid UTF-8 (shown with its bytes escaped)")
                   .arg(FileName::displayText(path)));
}

BMAutoItemPtr makeItem(int type, const QString& name, const QString& path, const Attributes& attributes) {
    BMAutoItemPtr item = BMAutoItem::autoItemType(type, name, path, attributes.created, attributes.size);
    item->setModifiedMsecs(attributes.modified);
    item->setSharedFile(attributes.sharedFile);
    return item;
}

// The projects of one scan, with the Premiere projects indexed by name so that a loose file
// finds its project without walking the whole list. With a sink, each project leaves in
// order as soon as no loose file still to come is named like it.
class Results {
public:
    explicit Results(const AutosaveFolderScanner::ProjectSink& sink) : m_sink(sink) {}
    void expectLooseFile(const QString& projectName) { ++m_looseToCome[projectName]; }
    void looseFileDone(const QString& projectName) {
        auto it = m_looseToCome.find(projectName);
        if (it != m_looseToCome.end() && --it.value() == 0)
            m_looseToCome.erase(it);
        handOver();
    }
    void add(const BMProjectPtr& project) {
        m_projects.append(project);
        if (project->type() == AutosaveType::Premiere && (!m_sink || m_looseToCome.contains(project->name())))
            m_premiereByName[project->name()].append(project);
        handOver();
    }
    QList<BMProjectPtr> premiereProjectsNamed(const QString& name) const {
        return m_premiereByName.value(name);
    }
    BMProjectList take() {
        m_looseToCome.clear();
        handOver();
        return std::move(m_projects);
    }

private:
    bool isOpen(const BMProject& project) const {
        return project.type() == AutosaveType::Premiere && m_looseToCome.contains(project.name());
    }
    void handOver() {
        if (!m_sink)
            return;
        qsizetype done = 0;
        while (done < m_projects.size() && !isOpen(*m_projects[done])) {
            m_premiereByName.remove(m_projects[done]->name());
            m_sink(m_projects[done]);
            ++done;
        }
        m_projects.remove(0, done);
    }

    const AutosaveFolderScanner::ProjectSink& m_sink;
    BMProjectList m_projects;
    QHash<QString, QList<BMProjectPtr>> m_premiereByName;
    QHash<QString, int> m_looseToCome;
};

// Where the entries of one location are: what every entry's scan may read, from any thread.
struct Location {
    const QString& path;
    const OpenFolder& folder;
    // Only Final Cut's vault tells its autosaves by their Finder type; reading it costs an
    // extended-attribute query per file, which no other layout needs.
    bool readsFinderTypes;
};

BMProjectPtr keptIfAny(BMProjectPtr project, BMAutoItemList items) {
    project->setChildren(std::move(items));
    return project->childCount() > 0 ? project : nullptr;
}

BMProjectPtr scanAvidEntry(const QString& entryName, const QString& entryPath, Messages& messages) {
    const QString bins = entryPath + QStringLiteral("/Bins");
    if (isLinkWarned(bins, messages))
        return nullptr;
    BMAutoItemList items;
    OpenFolder binsFolder(bins);
    for (const QString& bin : visibleEntries(binsFolder, messages)) {
        const QString binPath = childPath(bins, bin);
        OpenFolder binFolder(binsFolder, bin, binPath);
        for (const QString& file : visibleEntries(binFolder, messages)) {
            const Attributes attributes = attributesOrEmpty(binFolder, file);
            if (!attributes.isFolder)
                items.append(makeItem(AutosaveType::Avid, file, childPath(binPath, file), attributes));
        }
    }
    return keptIfAny(BMProject::projectType(AutosaveType::Avid, entryName, entryPath), std::move(items));
}

BMProjectPtr scanLibraryEntry(const QString& folder, const QString& entryName, const QString& entryPath,
                              Messages& messages) {
    // A backup library holds the event backups themselves; a live library keeps them in each
    // event's Backups folder.
    const bool backupLibrary = folder.contains(kBackupFolderMarker);
    const QString backups = backupLibrary ? entryPath : entryPath + QStringLiteral("/Backups");
    if (!backupLibrary && isLinkWarned(backups, messages))
        return nullptr;
    BMAutoItemList items;
    OpenFolder backupsFolder(backups);
    for (const QString& name : entriesWithoutLinks(backupsFolder, messages)) {
        if (!BMFileManager::matchesLikePattern(name, QStringLiteral("*.fcpevent")))
            continue;
        const Attributes attributes = attributesOrEmpty(backupsFolder, name);
        if (!attributes.isFolder)
            items.append(makeItem(AutosaveType::FinalCutX, name, childPath(backups, name), attributes));
    }
    return keptIfAny(BMProject::projectType(
                         AutosaveType::FinalCutX, entryName,
                         PathText::appendingComponent(entryPath, QStringLiteral("CurrentVersion.fcpevent"))),
                     std::move(items));
}

void scanLoosePremiereFile(const QString& entryName, const QString& entryPath, const QString& projectName,
                           const Location& location, Results& results, Messages& messages) {
    bool failed = false;
    for (const BMProjectPtr& project : results.premiereProjectsNamed(projectName)) {
        if (std::optional<Attributes> attributes =
                attributesOrLog(location.folder, entryName, entryPath, messages)) {
            if (!attributes->isFolder)
                project->addChild(makeItem(AutosaveType::Premiere, entryName, entryPath, *attributes));
            return;
        }
        failed = true;
    }
    if (failed)
        return;
    // A project of its own, standing for the file itself.
    std::optional<Attributes> attributes = attributesOrLog(location.folder, entryName, entryPath, messages);
    if (!attributes || attributes->isFolder)
        return;
    BMProjectPtr project = BMProject::projectType(AutosaveType::Premiere, projectName, entryPath);
    project->addChild(makeItem(AutosaveType::Premiere, entryName, entryPath, *attributes));
    results.add(project);
}

BMProjectPtr scanProjectFolder(const QString& entryName, const QString& entryPath, const Location& location,
                               Messages& messages) {
    // Anything but a folder is no project; a folder that cannot be read is said.
    OpenFolder folder(location.folder, entryName, entryPath);
    const QStringList names = visibleEntries(folder, messages);
    if (names.isEmpty())
        return nullptr;

    const NamePattern& vaultPattern = AutosaveFolderScanner::vaultNamePattern();
    const NamePattern& motionPattern = AutosaveFolderScanner::motionNamePattern();
    // The project ends as the kind of the last file recognised, whether or not that file
    // became an item.
    int projectType = AutosaveType::FinalCut;
    BMAutoItemList items;
    items.reserve(names.size());
    for (const QString& name : names) {
        const QString path = childPath(entryPath, name);
        int itemType = -1;
        if (location.readsFinderTypes && hasFinalCutFileType(folder, name)) {
            projectType = AutosaveType::FinalCut;
            if (vaultPattern.matches(name))
                itemType = AutosaveType::FinalCut;
        } else if (hasExtension(name, QLatin1StringView("motn"))) {
            projectType = AutosaveType::Motion;
            if (motionPattern.matches(name))
                itemType = AutosaveType::Motion;
        } else if (hasExtension(name, QLatin1StringView("prproj"))) {
            projectType = AutosaveType::Premiere;
            itemType = AutosaveType::Premiere;
        }
        if (itemType < 0)
            continue;
        const std::optional<Attributes> attributes = attributesOrLog(folder, name, path, messages);
        if (attributes && !attributes->isFolder)
            items.append(makeItem(itemType, name, path, *attributes));
    }
    return keptIfAny(BMProject::projectType(projectType, entryName, entryPath), std::move(items));
}

// What one entry of a location came to: its project, if it is one, and what was said on the way.
struct ScannedEntry {
    BMProjectPtr project;
    Messages messages;
    std::exception_ptr failure;
};

// The entries that stand on their own (every one but Premiere's loose files, which join
// projects met elsewhere in the listing) are looked at by this many threads ahead of the one
// that hands the projects over, in listing order. Most of a scan is waiting for the file
// system's answers, one file at a time, which other processors can do meanwhile.
class EntriesAhead {
public:
    using Scan = std::function<BMProjectPtr(qsizetype index, Messages& messages)>;

    EntriesAhead(qsizetype count, std::function<bool(qsizetype)> standsAlone, Scan scan)
        : m_count(count), m_standsAlone(std::move(standsAlone)), m_scan(std::move(scan)),
          m_slots(size_t(kWindow)) {
        const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
        const int threads = count < kFewEntries ? 0 : int(std::min(processors, kMostThreads));
        for (int i = 0; i < threads; ++i)
            m_threads.emplace_back([this] { work(); });
    }
    ~EntriesAhead() {
        {
            std::lock_guard lock(m_mutex);
            m_stopping = true;
        }
        m_changed.notify_all();
        for (std::thread& thread : m_threads)
            thread.join();
    }
    EntriesAhead(const EntriesAhead&) = delete;
    EntriesAhead& operator=(const EntriesAhead&) = delete;

    // Entry index's result, in turn: indexes asked for go up one by one, each once.
    ScannedEntry take(qsizetype index) {
        if (m_threads.empty())
            return scanned(index);
        std::unique_lock lock(m_mutex);
        Slot& slot = m_slots[size_t(index % kWindow)];
        m_changed.wait(lock, [&] { return slot.index == index && slot.done; });
        ScannedEntry entry = std::move(slot.entry);
        slot = Slot();
        m_taken = index + 1;
        m_changed.notify_all();
        return entry;
    }

private:
    // Entries held ahead at most, for a scan that hands projects over as it goes to hold
    // little more than one at a time.
    static constexpr qsizetype kWindow = 64;
    static constexpr qsizetype kFewEntries = 8;
    static constexpr unsigned kMostThreads = 4;

    struct Slot {
        qsizetype index = -1;
        bool done = false;
        ScannedEntry entry;
    };

    ScannedEntry scanned(qsizetype index) {
        ScannedEntry entry;
        if (!m_standsAlone(index))
            return entry;
        try {
            entry.project = m_scan(index, entry.messages);
        } catch (...) {
            entry.failure = std::current_exception();
        }
        return entry;
    }

    void work() {
        for (;;) {
            qsizetype index = 0;
            {
                std::unique_lock lock(m_mutex);
                m_changed.wait(
                    lock, [&] { return m_stopping || (m_next < m_count && m_next < m_taken + kWindow); });
                if (m_stopping)
                    return;
                index = m_next++;
                m_slots[size_t(index % kWindow)].index = index;
            }
            ScannedEntry entry = scanned(index);
            {
                std::lock_guard lock(m_mutex);
                Slot& slot = m_slots[size_t(index % kWindow)];
                slot.entry = std::move(entry);
                slot.done = true;
            }
            m_changed.notify_all();
        }
    }

    const qsizetype m_count;
    const std::function<bool(qsizetype)> m_standsAlone;
    const Scan m_scan;
    std::vector<Slot> m_slots;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    qsizetype m_next = 0;
    qsizetype m_taken = 0;
    bool m_stopping = false;
    std::vector<std::thread> m_threads;
};

} // namespace

AutosaveFolderScanner::AutosaveFolderScanner(BMSettings& settings) : m_settings(settings) {
}

AutosaveFolderScanner::AutosaveFolderScanner() : AutosaveFolderScanner(BMSettings::standard()) {
}

QStringList AutosaveFolderScanner::acceptedSuffixes() {
    return {kVaultSuffix, kPremiereSuffix, kAvidSuffix, kUnitySuffix, kLibrarySuffix};
}

AutosaveFolderScanner::Layout AutosaveFolderScanner::layoutForFolder(const QString& folder) {
    if (folder.endsWith(kAvidSuffix) || folder.endsWith(kUnitySuffix))
        return Layout::Avid;
    if (folder.endsWith(kLibrarySuffix))
        return Layout::Library;
    if (folder.endsWith(kVaultSuffix) || folder.endsWith(kPremiereSuffix))
        return Layout::Folder;
    return Layout::None;
}

QString AutosaveFolderScanner::looseProjectName(const QString& fileName) {
    return PremiereCopyNames::ringProjectName(fileName);
}

bool AutosaveFolderScanner::groupsTimestampedCopies() const {
    // Where no defaults were registered (the helper, the command line) the setting is on too.
    const QString key = QLatin1String(SettingsKey::premiereGroupTimestampedCopies);
    return !m_settings.hasValue(key) || m_settings.boolValue(key);
}

const NamePattern& AutosaveFolderScanner::vaultNamePattern() {
    static const NamePattern pattern(
        QStringLiteral("*_[0-3][0-9]-[0-3][0-9]-[0-9][0-9]_[0-9][0-9][0-9][0-9]"));
    return pattern;
}

const NamePattern& AutosaveFolderScanner::motionNamePattern() {
    static const NamePattern pattern(
        QStringLiteral("*_[0-9][0-9][0-9][0-9]-[0-1][0-9]-[0-3][0-9]_[0-9][0-9][0-9][0-9].motn"));
    return pattern;
}

std::optional<BMProjectList> AutosaveFolderScanner::projectsFromFolder(const QString& folder,
                                                                       ScanStatus* status) const {
    return scan(folder, nullptr, status);
}

bool AutosaveFolderScanner::scanFolder(const QString& folder, const ProjectSink& sink,
                                       ScanStatus* status) const {
    return scan(folder, sink, status).has_value();
}

std::optional<BMProjectList> AutosaveFolderScanner::scan(const QString& folder, const ProjectSink& sink,
                                                         ScanStatus* status) const {
    auto report = [status](ScanStatus value) {
        if (status)
            *status = value;
    };
    try {
        BMLog::appendLog(QStringLiteral("Checking %1 for autosaves...").arg(folder));
        const Layout layout = layoutForFolder(folder);
        if (layout == Layout::None) {
            report(ScanStatus::UnknownSuffix);
            return BMProjectList();
        }
        const std::optional<FileFacts> facts = Platform::current().fileFacts(folder);
        if (!facts || !facts->isDirectory) {
            report(facts ? ScanStatus::NotAFolder : ScanStatus::Missing);
            return BMProjectList();
        }
        bool listed = false;
        QString error;
        OpenFolder locationFolder(folder, true);
        Messages messages;
        const QStringList entries = entriesWithoutLinks(locationFolder, messages, &listed, &error);
        messages.deliver(m_warningHook);
        if (!listed) {
            BMLog::appendLogAndPrint(
                QStringLiteral("Error getting contents of folder %1 - %2").arg(folder, error));
            report(ScanStatus::ListingFailed);
            return BMProjectList();
        }
        // A path that is not UTF-8 would be stored with "?" for its bytes, naming no folder
        // for the clean-up job: the next folder is stored instead.
        if (!m_settings.hasValue(QLatin1String(SettingsKey::autosaveFolder)) &&
            !FileName::hasInvalidBytes(folder)) {
            const QString abbreviated =
                PathText::abbreviatingHome(folder, Platform::current().homeDirectory());
            m_settings.setValue(QLatin1String(SettingsKey::autosaveFolder), abbreviated);
            if (m_hook)
                m_hook(abbreviated);
        }

        QStringList looseFiles;
        if (layout == Layout::Folder) {
            for (const QString& entry : entries) {
                if (hasExtension(entry, QLatin1StringView("prproj")) && !isAppleDouble(entry))
                    looseFiles.append(entry);
            }
        }
        // Looked up by name, so that an entry skipped below cannot shift the others' names.
        QHash<QString, QString> looseProjects;
        const QStringList names = PremiereCopyNames::projectNames(looseFiles, groupsTimestampedCopies());
        for (qsizetype i = 0; i < looseFiles.size() && i < names.size(); ++i)
            looseProjects.insert(looseFiles[i], names[i]);

        QSet<QString> warned; // a loose file is its project's path and its item's
        auto checkName = [&](const QString& name, const QString& path) {
            if (FileName::hasInvalidBytes(name) && !warned.contains(path)) {
                warned.insert(path);
                warnInvalidName(path, m_warningHook);
            }
        };
        auto finish = [&](const BMProjectPtr& project) {
            project->setLocation(folder);
            checkName(project->name(), project->path());
            for (const BMAutoItemPtr& item : project->children())
                checkName(item->name(), item->path());
        };
        ProjectSink handOver;
        if (sink) {
            handOver = [&](const BMProjectPtr& project) {
                finish(project);
                warned.clear();
                sink(project);
            };
        }
        Results results(handOver);
        for (const QString& entry : looseFiles)
            results.expectLooseFile(looseProjects.value(entry, looseProjectName(entry)));
        const Location location{folder, locationFolder, folder.endsWith(kVaultSuffix)};
        auto isLoose = [&](const QString& entry) {
            return layout == Layout::Folder && hasExtension(entry, QLatin1StringView("prproj"));
        };
        EntriesAhead ahead(
            entries.size(), [&](qsizetype i) { return !isAppleDouble(entries[i]) && !isLoose(entries[i]); },
            [&](qsizetype i, Messages& said) -> BMProjectPtr {
                const QString& entry = entries[i];
                const QString entryPath = PathText::appendingComponent(folder, entry);
                switch (layout) {
                case Layout::Avid:
                    return scanAvidEntry(entry, entryPath, said);
                case Layout::Library:
                    return scanLibraryEntry(folder, entry, entryPath, said);
                case Layout::Folder:
                    return scanProjectFolder(entry, entryPath, location, said);
                case Layout::None:
                    break;
                }
                return nullptr;
            });
        for (qsizetype i = 0; i < entries.size(); ++i) {
            const QString& entry = entries[i];
            ScannedEntry scanned = ahead.take(i);
            if (isAppleDouble(entry))
                continue;
            if (isLoose(entry)) {
                const QString projectName = looseProjects.value(entry, looseProjectName(entry));
                scanLoosePremiereFile(entry, PathText::appendingComponent(folder, entry), projectName,
                                      location, results, scanned.messages);
                scanned.messages.deliver(m_warningHook);
                results.looseFileDone(projectName);
                continue;
            }
            scanned.messages.deliver(m_warningHook);
            if (scanned.failure)
                std::rethrow_exception(scanned.failure);
            if (scanned.project)
                results.add(scanned.project);
        }
        report(ScanStatus::Scanned);
        BMProjectList projects = results.take();
        for (const BMProjectPtr& project : projects)
            finish(project);
        return projects;
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController projectsFromFolder:]");
        report(ScanStatus::Failed);
        return std::nullopt;
    }
}
