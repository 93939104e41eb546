// Times the catalogue scan of the synthetic tree made by catalogue_make_tree, the way the
// catalogue build scans its locations, and reports the memory the finished catalogue holds.
// Usage: catalogue_scan_bench ROOT [REPEAT]
// Run it through bench/catalogue-scan.sh, which also times find(1) on the same tree.
#include "catalogue/AutosaveFolderScanner.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <vector>

namespace {

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

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Pass {
    double premiereSeconds = 0;
    double avidSeconds = 0;
    qsizetype projects = 0;
    qsizetype items = 0;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s ROOT [REPEAT]\n", argv[0]);
        return 2;
    }
    const QString root = QFile::decodeName(argv[1]);
    const int repeat = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    const QString locations[] = {root + QStringLiteral("/Adobe Premiere Pro Auto-Save"),
                                 root + QStringLiteral("/Avid Attic")};
    AutosaveFolderScanner scanner;

    const long before = residentKib();
    long holding = 0;
    std::vector<double> premiere, avid, total;
    Pass last;
    for (int r = 0; r < repeat; ++r) {
        Pass pass;
        BMProjectList catalogue;
        for (int l = 0; l < 2; ++l) {
            const auto start = std::chrono::steady_clock::now();
            catalogue += scanner.projectsFromFolder(locations[l]).value_or(BMProjectList());
            const double seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            (l == 0 ? pass.premiereSeconds : pass.avidSeconds) = seconds;
        }
        pass.projects = catalogue.size();
        for (const BMProjectPtr& project : catalogue)
            pass.items += project->childCount();
        if (r == 0)
            holding = residentKib();
        premiere.push_back(pass.premiereSeconds);
        avid.push_back(pass.avidSeconds);
        total.push_back(pass.premiereSeconds + pass.avidSeconds);
        last = pass;
    }
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    std::printf("projects=%lld items=%lld\n", qlonglong(last.projects), qlonglong(last.items));
    std::printf("premiere_seconds=%.4f avid_seconds=%.4f total_seconds=%.4f\n", median(premiere),
                median(avid), median(total));
    std::printf("rss_before_kib=%ld rss_holding_catalogue_kib=%ld peak_rss_kib=%ld\n", before, holding,
                usage.ru_maxrss);
    return last.items > 0 ? 0 : 1;
}
