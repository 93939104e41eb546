// Times the catalogue scan of the synthetic tree made by catalogue_make_tree, the way the
// catalogue build scans its locations, against find(1) listing sizes and dates of the same
// tree. Each round runs find and then our scan, so both meet the same load and a warm cache.
// Usage: catalogue_scan_bench ROOT [ROUNDS]   (bench/catalogue-scan.sh makes the tree first)
#include "catalogue/AutosaveFolderScanner.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// find FOLDER -printf '%s %T@ %p\n' >/dev/null, timed from spawn to exit.
double timeFind(const QString& folder) {
    const QByteArray path = QFile::encodeName(folder);
    char* argv[] = {const_cast<char*>("find"), const_cast<char*>(path.constData()),
                    const_cast<char*>("-printf"), const_cast<char*>("%s %T@ %p\\n"), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    const Clock::time_point start = Clock::now();
    pid_t pid = 0;
    int status = 0;
    if (posix_spawnp(&pid, "find", &actions, nullptr, argv, environ) != 0 ||
        ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "find failed on %s\n", path.constData());
        std::exit(1);
    }
    const double seconds = secondsSince(start);
    posix_spawn_file_actions_destroy(&actions);
    return seconds;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

long residentKib() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s ROOT [ROUNDS]\n", argv[0]);
        return 2;
    }
    const QString root = QFile::decodeName(argv[1]);
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    const QString locations[2] = {root + QStringLiteral("/Adobe Premiere Pro Auto-Save"),
                                  root + QStringLiteral("/Avid Attic")};
    const char* labels[2] = {"Premiere folders", "Avid Attic"};
    AutosaveFolderScanner scanner;

    // One pass of each warms the cache; the first scan's catalogue is measured while held.
    const long before = residentKib();
    qsizetype projects = 0, items = 0;
    long holding = 0;
    timeFind(root);
    {
        BMProjectList catalogue;
        for (const QString& location : locations)
            catalogue += scanner.projectsFromFolder(location).value_or(BMProjectList());
        holding = residentKib();
        projects = catalogue.size();
        for (const BMProjectPtr& project : catalogue)
            items += project->childCount();
    }

    std::vector<double> ours[3], find[3];
    for (int r = 0; r < rounds; ++r) {
        find[2].push_back(timeFind(root));
        BMProjectList catalogue;
        double total = 0;
        for (int l = 0; l < 2; ++l) {
            find[l].push_back(timeFind(locations[l]));
            const Clock::time_point start = Clock::now();
            catalogue += scanner.projectsFromFolder(locations[l]).value_or(BMProjectList());
            ours[l].push_back(secondsSince(start));
            total += ours[l].back();
        }
        ours[2].push_back(total);
    }
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);

    std::printf("catalogue scan: %lld autosaves in %lld projects (median of %d rounds, warm cache)\n",
                qlonglong(items), qlonglong(projects), rounds);
    std::printf("  %-18s %9s %9s %7s\n", "layout", "ours ms", "find ms", "ratio");
    for (int l = 0; l < 3; ++l) {
        const double o = median(ours[l]), f = median(find[l]);
        std::printf("  %-18s %9.1f %9.1f %7.2f%s\n", l < 2 ? labels[l] : "whole tree", o * 1000, f * 1000,
                    o / f, l == 2 ? "   (target: at most 2.0)" : "");
    }
    std::printf("peak memory: %.1f MiB (target: under 100 MiB); the catalogue itself holds %.1f MiB\n",
                double(usage.ru_maxrss) / 1024, double(holding - before) / 1024);
    return items > 0 ? 0 : 1;
}
