#include "Platform.h"

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

// ---- Editors' applications and the name search ---------------------------------------------
Platform::SpotlightQuery Platform::SpotlightQuery::folderNamed(const QString& name)
{
    return {QStringLiteral("name:\"%1\" kind:folder").arg(name), PathRule::FolderNamed, name};
}

Platform::SpotlightQuery Platform::SpotlightQuery::pathsEndingWith(const QString& mdfindQuery, const QString& suffix)
{
    return {mdfindQuery, PathRule::EndsWith, suffix};
}
