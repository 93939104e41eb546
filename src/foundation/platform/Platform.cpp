#include "Platform.h"

#include "foundation/FileName.h"
#include "foundation/PlistFile.h"

#include <atomic>

namespace {
std::unique_ptr<Platform>& installedPlatform() {
    static std::unique_ptr<Platform> platform;
    return platform;
}
std::atomic<Platform*> g_current{nullptr};
std::mutex g_installMutex;
} // namespace

Platform::~Platform() = default;

std::optional<FileFacts> Platform::fileFactsAt(int, const QString& folderPath, const QByteArray& name) const {
    return fileFacts(folderPath + QLatin1Char('/') + FileName::decode(name), false);
}

std::optional<QByteArray> Platform::finderInfoAt(int, const QString& folderPath,
                                                 const QByteArray& name) const {
    return finderInfo(folderPath + QLatin1Char('/') + FileName::decode(name));
}

Platform& Platform::current() {
    if (Platform* platform = g_current.load(std::memory_order_acquire))
        return *platform;
    std::lock_guard lock(g_installMutex);
    if (!installedPlatform()) {
        installedPlatform() = makeNative();
        g_current.store(installedPlatform().get(), std::memory_order_release);
    }
    return *installedPlatform();
}

std::unique_ptr<Platform> Platform::install(std::unique_ptr<Platform> platform) {
    std::lock_guard lock(g_installMutex);
    auto previous = std::move(installedPlatform());
    installedPlatform() = std::move(platform);
    g_current.store(installedPlatform().get(), std::memory_order_release);
    return previous;
}

QString Platform::toolPath(Tool tool) const {
    std::lock_guard lock(m_toolMutex);
    auto it = m_toolPaths.find(tool);
    return it == m_toolPaths.end() ? QString() : it->second;
}

void Platform::setToolPath(Tool tool, const QString& path) {
    std::lock_guard lock(m_toolMutex);
    m_toolPaths[tool] = path;
}

void Platform::setDefaultToolPaths(std::map<Tool, QString> paths) {
    std::lock_guard lock(m_toolMutex);
    m_toolPaths = std::move(paths);
}

// ---- Launch jobs ----------------------------------------------------------------------------
QStringList Platform::launchJobFileNames(const QString& label) const {
    return {label + QStringLiteral(".plist")};
}

std::optional<QList<LaunchJobFile>>
Platform::launchJobFiles(const QString& label, const LaunchJobSettings& settings, bool, QString*) const {
    QVariantMap dictionary;
    for (const auto& [key, value] : settings) {
        if (value.typeId() == QMetaType::QStringList) {
            QVariantList array;
            for (const QString& item : value.toStringList())
                array << item;
            dictionary.insert(key, array);
        } else {
            dictionary.insert(key, value);
        }
    }
    return QList<LaunchJobFile>{{launchJobFileNames(label).first(), PlistFile::toXml(dictionary)}};
}

QList<LaunchJobCommand> Platform::launchJobCommands(LaunchJobStep step, const QString& label,
                                                    const QString& folder, bool, bool) const {
    const QString path = folder + QLatin1Char('/') + launchJobFileNames(label).first();
    switch (step) {
    case LaunchJobStep::Unload:
        return {{Tool::Launchctl, {QStringLiteral("unload"), path}}};
    case LaunchJobStep::Forget:
        return {{Tool::Launchctl, {QStringLiteral("remove"), label}}};
    case LaunchJobStep::Load:
        return {{Tool::Launchctl, {QStringLiteral("load"), path}}};
    case LaunchJobStep::FilesRemoved:
        break;
    }
    return {};
}

QStringList Platform::launchJobWatchedPaths(const QString& label, const QString& folder) const {
    const auto job = PlistFile::readDictionary(folder + QLatin1Char('/') + launchJobFileNames(label).first());
    return job ? job->value(QStringLiteral("WatchPaths")).toStringList() : QStringList();
}

// ---- Editors' applications and the name search ---------------------------------------------
Platform::SpotlightQuery Platform::SpotlightQuery::folderNamed(const QString& name) {
    return {QStringLiteral("name:\"%1\" kind:folder").arg(name), PathRule::FolderNamed, name};
}

Platform::SpotlightQuery Platform::SpotlightQuery::pathsEndingWith(const QString& mdfindQuery,
                                                                   const QString& suffix) {
    return {mdfindQuery, PathRule::EndsWith, suffix};
}
