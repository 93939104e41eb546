// The Final Cut preference scan on large synthetic files, against strings(1), the tool that
// does the nearest thing (finding runs of text in binary). Prints each throughput, their
// ratio, the peak memory, and the time per MiB of the largest file against the smallest
// (1.00 means the scan is linear in the file size).
//
// Usage: vestry_bench_fcset_scan [MiB ...]   (default 25 50 100)
#include "editorprefs/FcsetScanner.h"
#include "editorprefs/InputFile.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sys/resource.h>

namespace {

// Random bytes with a key and a path every 512 bytes: keys close enough that the scan never
// stops early, so it reads, skips and gathers through the whole file.
void writeFile(const QString& path, qint64 mebibytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        std::exit(2);
    QRandomGenerator generator(42);
    QByteArray block(64 * 1024, 0);
    const QByteArray record("\x0d"
                            "autoSaveVault\x01\x02Macintosh HD:Users:jo:Autosave Vault\x01\x02");
    for (qint64 written = 0; written < mebibytes * 1024 * 1024; written += block.size()) {
        generator.fillRange(reinterpret_cast<quint32*>(block.data()), block.size() / 4);
        for (qsizetype at = 100; at + record.size() < block.size(); at += 512)
            std::memcpy(block.data() + at, record.constData(), size_t(record.size()));
        file.write(block);
    }
}

double bestOf3(const std::function<void()>& run) {
    double best = 1e100;
    for (int i = 0; i < 3; ++i) {
        QElapsedTimer timer;
        timer.start();
        run();
        best = std::min(best, double(timer.nsecsElapsed()) / 1e6);
    }
    return best;
}

long peakKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QList<qint64> sizes;
    for (int i = 1; i < argc; ++i)
        sizes << QByteArray(argv[i]).toLongLong();
    if (sizes.isEmpty())
        sizes = {25, 50, 100};
    QTemporaryDir folder;
    const QString path = folder.path() + QStringLiteral("/Final Cut Pro 7.0 Prefs.fcset");
    std::printf("%8s %10s %10s %12s %12s %8s %10s\n", "MiB", "scan ms", "scan MiB/s", "strings ms",
                "strings MiB/s", "ratio", "peak MiB");
    double firstPerMiB = 0;
    double lastPerMiB = 0;
    for (const qint64 mebibytes : sizes) {
        writeFile(path, mebibytes);
        int keys = 0;
        const double scan = bestOf3([&] {
            keys = 0;
            FcsetScanner scanner(std::nullopt,
                                 [&](const FcsetScanner::Key&, const QList<QByteArrayView>&) { ++keys; });
            InputFile::readPieces(path, qint64(1) << 40,
                                  [&](QByteArrayView piece) { return scanner.feed(piece); });
            scanner.finish();
        });
        const double strings = bestOf3([&] {
            QProcess tool;
            tool.setStandardOutputFile(QProcess::nullDevice());
            tool.start(QStringLiteral("strings"),
                       {QStringLiteral("-a"), QStringLiteral("-n"), QStringLiteral("4"), path});
            tool.waitForFinished(-1);
        });
        std::printf("%8lld %10.1f %10.1f %12.1f %12.1f %8.2f %10.1f   (%d keys)\n", mebibytes, scan,
                    double(mebibytes) / scan * 1000, strings, double(mebibytes) / strings * 1000,
                    scan / strings, double(peakKilobytes()) / 1024, keys);
        if (firstPerMiB == 0)
            firstPerMiB = scan / double(mebibytes);
        lastPerMiB = scan / double(mebibytes);
    }
    std::printf("time per MiB, largest against smallest: %.2f\n", lastPerMiB / firstPerMiB);
    return 0;
}
