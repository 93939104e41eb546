// The verified copy against the system's own tools, on a 1 GiB file whose pages are in
// the cache:
//   one destination           against  cp --reflink=never                      (target <= 1.05x)
//   two destinations          against  two cp runs                             (target <= 0.60x)
//   one destination with MD5  against  cp, then md5sum of the source and copy  (target <= 1.10x)
// Usage: vestry_copy_bench [folder] [rounds], or vestry_copy_bench --once SOURCE DESTINATION...   (folder:
// where the 3 GiB of files go, default the temporary folder; rounds: timings of each case, default 5). The
// copy's own console lines ("... returned 0 bytes" for a source whose size is a multiple of the chunk) go to
// standard output with the results; 2>/dev/null does not hide them, grep -v does. Each case
// also prints a ROW line for bench/run.
#include "foundation/BMFileManager.h"
#include "foundation/ChildProcess.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <random>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr qint64 kFileSize = qint64(1) << 30;

bool run(const QString& tool, const QStringList& arguments) {
    ChildProcess::Options options;
    options.path = tool;
    options.arguments = arguments;
    ChildProcess child(options);
    return child.launch() && child.waitForExit() == 0;
}

bool makeSource(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    std::mt19937_64 random(20260101);
    std::vector<quint64> block(1 << 17); // 1 MiB of data that no file system can compress
    for (qint64 written = 0; written < kFileSize; written += qint64(block.size() * sizeof(quint64))) {
        for (quint64& word : block)
            word = random();
        if (file.write(reinterpret_cast<const char*>(block.data()), qint64(block.size() * sizeof(quint64))) <
            0)
            return false;
    }
    return file.flush();
}

void warm(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    std::vector<char> buffer(1 << 20);
    while (file.read(buffer.data(), qint64(buffer.size())) > 0) {
    }
}

// The destinations go, and their dirty pages are written out, before every timing: each
// case starts from the same state of the cache.
void settle(const QStringList& leftovers) {
    for (const QString& path : leftovers)
        QFile::remove(path);
    ::sync();
}

double timed(const QStringList& leftovers, const std::function<bool()>& work) {
    settle(leftovers);
    // Each run on a thread of its own, as each cp is a process of its own: the kernel paces a
    // thread's writes by what that thread has dirtied before, so one thread that had written
    // every earlier round's gigabytes was made to wait where a fresh cp was not.
    QElapsedTimer clock;
    clock.start();
    bool ok = false;
    std::thread([&] { ok = work(); }).join();
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    settle(leftovers);
    if (!ok)
        std::fprintf(stderr, "a timed run failed\n");
    return ok ? seconds : -1;
}

struct Timing {
    double best = 0; // the run least disturbed by whatever else the machine does
    double median = 0;
    std::vector<double> runs; // in the order they ran
};

Timing summary(const std::vector<double>& runs) {
    std::vector<double> sorted = runs;
    std::sort(sorted.begin(), sorted.end());
    return {sorted.front(), sorted[sorted.size() / 2], runs};
}

void printRuns(const char* who, const Timing& timing) {
    std::printf("    %-9s", who);
    for (double seconds : timing.runs)
        std::printf(" %6.3f", seconds);
    std::printf("\n");
}

// Ours and the reference take turns, first one then the other leading, so that whatever
// else the machine does weighs on both alike.
std::pair<Timing, Timing> compare(int rounds, const QStringList& leftovers, const std::function<bool()>& ours,
                                  const std::function<bool()>& reference) {
    std::vector<double> oursTimes;
    std::vector<double> referenceTimes;
    for (int i = 0; i < rounds; ++i) {
        if (i % 2 == 0) {
            oursTimes.push_back(timed(leftovers, ours));
            referenceTimes.push_back(timed(leftovers, reference));
        } else {
            referenceTimes.push_back(timed(leftovers, reference));
            oursTimes.push_back(timed(leftovers, ours));
        }
    }
    return {summary(oursTimes), summary(referenceTimes)};
}

bool report(const char* name, const char* referenceName, const std::pair<Timing, Timing>& timings,
            double target) {
    const auto& [ours, reference] = timings;
    const double best = ours.best / reference.best;
    const double median = ours.median / reference.median;
    const bool met = ours.median > 0 && reference.median > 0 && median <= target;
    std::printf("%-32s best: ours %6.3f s, reference %6.3f s, ratio %5.2fx | median: %6.3f s, %6.3f s, "
                "ratio %5.2fx | target <= %.2fx %s\n",
                name, ours.best, reference.best, best, ours.median, reference.median, median, target,
                met ? "met" : "MISSED");
    std::printf("ROW\t%s\t%.3f\t%s\t%.3f\t%.2f\t%.2f\n", name, ours.median, referenceName, reference.median,
                median, target);
    printRuns("ours", ours);
    printRuns("reference", reference);
    std::fflush(stdout);
    return met;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    // One copy without a checksum and nothing else, for timing whole runs side by side with cp:
    // vestry_copy_bench --once SOURCE DESTINATION...
    if (argc > 3 && std::string_view(argv[1]) == "--once") {
        QStringList destinations;
        for (int i = 3; i < argc; ++i)
            destinations << QString::fromLocal8Bit(argv[i]);
        return BMFileManager::copyFileWithProgress(QString::fromLocal8Bit(argv[2]), destinations,
                                                   BMFileManager::Verification::None, nullptr)
                   ? 0
                   : 1;
    }
    const QString base = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    QTemporaryDir folder(base + QStringLiteral("/vestry-copy-bench-XXXXXX"));
    if (!folder.isValid()) {
        std::fprintf(stderr, "cannot make a folder under %s\n", qPrintable(base));
        return 2;
    }
    const QString source = folder.filePath(QStringLiteral("source.mov"));
    const QString a = folder.filePath(QStringLiteral("a.mov"));
    const QString b = folder.filePath(QStringLiteral("b.mov"));
    const QString cp = QStringLiteral("/bin/cp");
    const QString md5sum = QStringLiteral("/usr/bin/md5sum");
    std::printf("writing a 1 GiB source in %s ...\n", qPrintable(folder.path()));
    std::fflush(stdout);
    if (!makeSource(source))
        return 2;
    ::sync();
    warm(source);

    const QStringList both{a, b};
    auto ours = [&](const QStringList& destinations, BMFileManager::Verification verification) {
        return [&, destinations, verification] {
            return BMFileManager::copyFileWithProgress(source, destinations, verification, nullptr);
        };
    };
    auto cpTo = [&](const QString& destination) {
        return run(cp, {QStringLiteral("--reflink=never"), source, destination});
    };

    bool allMet = true;
    std::printf("%d runs of each, taking turns with the reference, page cache warm; the targets apply to "
                "the medians\n",
                rounds);
    allMet &= report(
        "copy 1 GiB, one destination", "cp --reflink=never",
        compare(rounds, both, ours({a}, BMFileManager::Verification::None), [&] { return cpTo(a); }), 1.05);
    allMet &= report("copy 1 GiB, two destinations", "two cp",
                     compare(rounds, both, ours(both, BMFileManager::Verification::None),
                             [&] { return cpTo(a) && cpTo(b); }),
                     0.60);
    allMet &= report("copy 1 GiB with MD5", "cp + 2x md5sum",
                     compare(rounds, both, ours({a}, BMFileManager::Verification::MD5),
                             [&] { return cpTo(a) && run(md5sum, {source}) && run(md5sum, {a}); }),
                     1.10);
    return allMet ? 0 : 1;
}
