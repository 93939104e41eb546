#include "VolumeSearch.h"

#include "foundation/BMLocalPaths.h"
#include "foundation/FileName.h"
#include "foundation/UniqueFd.h"

#include <QSet>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

QString errorText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// What Windows, macOS and Linux keep at the top of a volume; hidden names are skipped anyway.
bool isSystemFolderName(const QByteArray& name) {
    static const QSet<QByteArray> names = {"lost+found", "System Volume Information", "$RECYCLE.BIN",
                                           "RECYCLER", "$Recycle.Bin"};
    return name.startsWith('.') || names.contains(name);
}

bool matches(const QString& name, const QString& path, const Platform::SpotlightQuery& query) {
    switch (query.rule) {
    case Platform::SpotlightQuery::PathRule::FolderNamed:
        return name.compare(query.text, Qt::CaseInsensitive) == 0;
    case Platform::SpotlightQuery::PathRule::EndsWith:
        return path.endsWith(query.text, Qt::CaseInsensitive);
    }
    return false;
}

// Shared by the caller and the walking thread, which may outlive the call.
struct Walk {
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    bool stop = false;
    VolumeSearch::Result result;

    bool stopped() {
        std::lock_guard lock(mutex);
        return stop;
    }
    void add(const QString& path) {
        std::lock_guard lock(mutex);
        result.paths << path;
    }
};

void walk(Walk& state, const QByteArray& volume, const QList<Platform::SpotlightQuery>& queries, int maxDepth,
          Clock::time_point deadline) {
    struct Folder {
        QByteArray path;
        int depth;
    };
    const UniqueFd root(::open(volume.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat rootInfo {};
    if (root.fd < 0 || ::fstat(root.fd, &rootInfo) != 0) {
        const int error = errno;
        std::lock_guard lock(state.mutex);
        state.result.problem = errorText(error);
        return;
    }
    const auto outOfTime = [&] {
        if (Clock::now() < deadline && !state.stopped())
            return false;
        std::lock_guard lock(state.mutex);
        state.result.cutOff = true;
        return true;
    };
    std::deque<Folder> pending{{volume, 0}};
    while (!pending.empty()) {
        if (outOfTime())
            return;
        const Folder folder = std::move(pending.front());
        pending.pop_front();
        // A link, or a folder of another file system (a bind mount of the system's root, a
        // share mounted inside the drive: a volume of its own), is left alone.
        const int fd = ::open(folder.path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0)
            continue;
        struct stat info {};
        if (::fstat(fd, &info) != 0 || info.st_dev != rootInfo.st_dev) {
            ::close(fd);
            continue;
        }
        DIR* listing = ::fdopendir(fd);
        if (!listing) {
            ::close(fd);
            continue;
        }
        unsigned seen = 0;
        while (const dirent* entry = ::readdir(listing)) {
            // A folder of a hundred thousand clips on a slow share takes a while by itself.
            if (++seen % 1024 == 0 && outOfTime()) {
                ::closedir(listing);
                return;
            }
            const QByteArray name(entry->d_name);
            if (name == "." || name == ".." || isSystemFolderName(name))
                continue;
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN) {
                struct stat child {};
                isFolder = ::fstatat(::dirfd(listing), entry->d_name, &child, AT_SYMLINK_NOFOLLOW) == 0 &&
                           S_ISDIR(child.st_mode);
            }
            if (!isFolder)
                continue;
            QByteArray path = folder.path;
            if (!path.endsWith('/'))
                path += '/';
            path += name;
            const QString decodedPath = FileName::decode(path);
            const QString decodedName = FileName::decode(name);
            bool found = false;
            for (const Platform::SpotlightQuery& query : queries)
                found = found || matches(decodedName, decodedPath, query);
            if (found)
                state.add(decodedPath);
            else if (folder.depth + 1 < maxDepth)
                pending.push_back({std::move(path), folder.depth + 1});
        }
        ::closedir(listing);
    }
}

} // namespace

VolumeSearch::Result VolumeSearch::search(const QString& volume,
                                          const QList<Platform::SpotlightQuery>& queries,
                                          const Bounds& bounds) {
    if (!volume.startsWith(QLatin1Char('/')) || BMLocalPaths::isPathSystemDirectory(volume))
        return {{}, false, QStringLiteral("a system folder is not searched")};
    const auto budget =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(bounds.seconds));
    const Clock::time_point deadline = Clock::now() + budget;
    auto state = std::make_shared<Walk>();
    std::thread([state, path = FileName::encode(volume), queries, depth = bounds.depth, deadline] {
        walk(*state, path, queries, depth, deadline);
        std::lock_guard lock(state->mutex);
        state->done = true;
        state->finished.notify_all();
    }).detach();

    std::unique_lock lock(state->mutex);
    // A moment beyond the deadline for the walk to notice it between two folders.
    if (!state->finished.wait_until(lock, deadline + std::chrono::milliseconds(500),
                                    [&] { return state->done; })) {
        // Stuck in the kernel (a server that went away): it finishes, or not, on its own.
        state->stop = true;
        state->result.cutOff = true;
    }
    return state->result;
}
