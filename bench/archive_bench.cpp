// Archiving 1 GiB of autosaves (8 Premiere projects of 16 autosaves of 8 MiB; half of them
// as compressible as project XML, half as incompressible as the gzipped files Premiere
// writes) with the window's Archive action, against `bsdtar -a -cf ARCHIVE.zip` over the same
// project folders, taking turns round by round, page cache warm.
//
// Ours does everything the action does: the copy into the temporary folder, the zip archive
// (libarchive, deflate), the autosaves moved to the Trash. The reference only writes the zip
// archive of the same folders with the same library. After each of our rounds the autosaves
// are put back from the Trash, untimed. Target: at most 1.2x the reference's time.
//
// Usage: vestry_archive_bench [folder] [rounds]   (folder: where the 2.5 GiB of files go,
// default the temporary folder; rounds: default 3). HOME and the XDG folders are pointed into
// that folder, so the Trash used is the benchmark's own.
#include "actions/AutosaveArchiver.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "foundation/BMLog.h"
#include "foundation/ChildProcess.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kProjects = 8;
constexpr int kAutosavesPerProject = 16;
constexpr qint64 kAutosaveSize = qint64(8) << 20;

bool writeAutosave(const QString& path, bool compressible, std::mt19937_64& random) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QByteArray block(1 << 20, '\0');
    for (qint64 written = 0; written < kAutosaveSize; written += block.size()) {
        if (compressible) {
            // Element names repeat, the numbers in them do not: deflate takes it to about a third.
            QByteArray text;
            text.reserve(block.size() + 128);
            while (text.size() < block.size()) {
                text += "<ClipItem ObjectID=\"" + QByteArray::number(quint32(random())) + "\"><Start>" +
                        QByteArray::number(quint32(random() % 100000)) + "</Start></ClipItem>\n";
            }
            block = text.left(block.size());
        } else {
            auto* words = reinterpret_cast<quint64*>(block.data());
            for (qsizetype i = 0; i < block.size() / qsizetype(sizeof(quint64)); ++i)
                words[i] = random();
        }
        if (file.write(block) != block.size())
            return false;
    }
    return file.flush();
}

QString makeLocation(const QString& home) {
    const QString location = home + QStringLiteral("/Documents/Adobe Premiere Pro Auto-Save");
    std::mt19937_64 random(20261122);
    for (int p = 0; p < kProjects; ++p) {
        const QString project = QStringLiteral("%1/Project %2").arg(location).arg(p + 1);
        QDir().mkpath(project);
        for (int a = 0; a < kAutosavesPerProject; ++a) {
            const QString path = QStringLiteral("%1/Project %2-%3.prproj").arg(project).arg(p + 1).arg(a + 1);
            if (!writeAutosave(path, p % 2 == 0, random))
                return QString();
        }
    }
    return location;
}

void warm(const QString& folder) {
    std::vector<char> buffer(1 << 20);
    for (const QFileInfo& info : QDir(folder).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        for (const QFileInfo& autosave : QDir(info.filePath()).entryInfoList(QDir::Files)) {
            QFile file(autosave.filePath());
            if (file.open(QIODevice::ReadOnly)) {
                while (file.read(buffer.data(), qint64(buffer.size())) > 0) {
                }
            }
        }
    }
}

// Puts everything in the Trash back where its record says it came from.
int restoreFromTrash(const QString& trash) {
    int restored = 0;
    const QDir info(trash + QStringLiteral("/info"));
    for (const QString& name : info.entryList({QStringLiteral("*.trashinfo")}, QDir::Files)) {
        QFile record(info.filePath(name));
        if (!record.open(QIODevice::ReadOnly))
            continue;
        const QString original = LinuxPlatform::originalPathFromTrashRecord(record.readAll());
        const QString inTrash = trash + QStringLiteral("/files/") + name.chopped(10);
        QDir().mkpath(QFileInfo(original).path());
        if (!original.isEmpty() && QFile::rename(inTrash, original)) {
            QFile::remove(info.filePath(name));
            ++restored;
        }
    }
    return restored;
}

bool bsdtar(const QString& archive, const QString& location, const QStringList& projects) {
    ChildProcess::Options options;
    options.path = QStringLiteral("/usr/bin/bsdtar");
    options.arguments =
        QStringList{QStringLiteral("-a"), QStringLiteral("-cf"), archive, QStringLiteral("-C"), location} +
        projects;
    ChildProcess child(options);
    return child.launch() && child.waitForExit() == 0;
}

double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    const QString base = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    QTemporaryDir folder(base + QStringLiteral("/vestry-archive-bench-XXXXXX"));
    if (!folder.isValid()) {
        std::fprintf(stderr, "cannot make a folder under %s\n", qPrintable(base));
        return 2;
    }
    const QString home = folder.filePath(QStringLiteral("home"));
    QDir().mkpath(home);
    qputenv("HOME", QFile::encodeName(home));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home + QStringLiteral("/.config")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home + QStringLiteral("/.local/share")));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home + QStringLiteral("/.cache")));
    qputenv("XDG_STATE_HOME", QFile::encodeName(home + QStringLiteral("/.local/state")));
    QCoreApplication app(argc, argv);
    BMLog::createNewLog(QStringLiteral("VestryBench"));
    if (!QFileInfo(QStringLiteral("/usr/bin/bsdtar")).isExecutable()) {
        std::fprintf(stderr, "bsdtar is missing (Debian: libarchive-tools)\n");
        return 2;
    }

    std::printf("writing 1 GiB of autosaves in %s ...\n", qPrintable(home));
    std::fflush(stdout);
    const QString location = makeLocation(home);
    if (location.isEmpty())
        return 2;
    ::sync();
    const QString trash = home + QStringLiteral("/.local/share/Trash");
    const QString ours = folder.filePath(QStringLiteral("ours.zip"));
    const QString reference = folder.filePath(QStringLiteral("reference.zip"));
    const QStringList projects = QDir(location).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);

    std::vector<double> oursTimes;
    std::vector<double> referenceTimes;
    std::map<ActionProgress::Stage, std::vector<double>> stageTimes;
    auto runOurs = [&]() -> bool {
        const BMProjectList catalogue =
            AutosaveFolderScanner().projectsFromFolder(location).value_or(BMProjectList());
        SelectedRows rows = AutosaveSelection::allProjects(catalogue);
        QElapsedTimer clock;
        std::vector<std::pair<ActionProgress::Stage, qint64>> started; // each stage's first report
        clock.start();
        const AutosaveArchiver::Result result =
            AutosaveArchiver::archiveSelectionToFile(rows, ours, [&](const ActionProgress& progress) {
                if (started.empty() || started.back().first != progress.stage)
                    started.emplace_back(progress.stage, clock.nsecsElapsed());
            });
        const double seconds = double(clock.nsecsElapsed()) / 1e9;
        if (!result.archived || !result.removal.ok() ||
            result.autosaves != kProjects * kAutosavesPerProject) {
            std::fprintf(stderr, "our archive failed: %s\n", qPrintable(result.error.message));
            return false;
        }
        oursTimes.push_back(seconds);
        for (size_t i = 0; i < started.size(); ++i) {
            const qint64 end = i + 1 < started.size() ? started[i + 1].second : clock.nsecsElapsed();
            stageTimes[started[i].first].push_back(double(end - started[i].second) / 1e9);
        }
        // Untimed: the autosaves back in place, the archive gone, written pages out.
        restoreFromTrash(trash);
        QFile::remove(ours);
        ::sync();
        warm(location);
        return true;
    };
    auto runReference = [&]() -> bool {
        QElapsedTimer clock;
        clock.start();
        const bool ok = bsdtar(reference, location, projects);
        referenceTimes.push_back(double(clock.nsecsElapsed()) / 1e9);
        QFile::remove(reference);
        ::sync();
        warm(location);
        return ok;
    };

    // One untimed run of each first: the files' pages in the cache, the library loaded.
    warm(location);
    if (!runReference() || !runOurs())
        return 2;
    oursTimes.clear();
    referenceTimes.clear();
    stageTimes.clear();
    for (int round = 0; round < rounds; ++round) {
        const bool ok = round % 2 == 0 ? runOurs() && runReference() : runReference() && runOurs();
        if (!ok)
            return 2;
    }

    const double oursMedian = median(oursTimes);
    const double referenceMedian = median(referenceTimes);
    const double ratio = oursMedian / referenceMedian;
    std::printf("%d rounds, taking turns, medians:\n", rounds);
    std::printf("  bsdtar -a -cf           %7.2f s\n", referenceMedian);
    std::printf("  Archive (whole action)  %7.2f s   ratio %.2fx   target <= 1.20x %s\n", oursMedian, ratio,
                ratio <= 1.2 ? "met" : "MISSED");
    const std::pair<ActionProgress::Stage, const char*> stages[] = {
        {ActionProgress::Stage::Gathering, "gathering (copy)"},
        {ActionProgress::Stage::Compressing, "compressing"},
        {ActionProgress::Stage::Trashing, "moving to the Trash"}};
    for (const auto& [stage, name] : stages) {
        if (stageTimes.count(stage))
            std::printf("    %-21s %7.2f s\n", name, median(stageTimes[stage]));
    }
    return ratio <= 1.2 ? 0 : 1;
}
