// The copy without a checksum: done by the kernel within a volume to one destination, through
// memory between volumes or to several; a full volume keeps no partial copy.
#include "FileOpsFixture.h"
#include "Tmpfs.h"
#include "foundation/BMFileManager.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

QByteArray pattern(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char((i * 131 + i / 4099) & 0xFF);
    return bytes;
}

struct Copied {
    bool result = false;
    QList<quint64> progress;
    QStringList console;
};

Copied copy(const QString& source, const QStringList& destinations) {
    Copied c;
    BMFileCopyDelegate delegate;
    delegate.fileCopyBytesWritten = [&](quint64 bytes, QVariantMap&) { c.progress << bytes; };
    ConsoleCapture console;
    c.result = BMFileManager::copyFileWithProgress(source, destinations, BMFileManager::Verification::None,
                                                   &delegate);
    c.console = console.lines();
    return c;
}

using KernelCopy = FileOpsTest;

TEST_F(KernelCopy, WithinAVolumeAndAcrossVolumesEveryDestinationGetsEveryByte) {
    Tmpfs volume(work("volume"), "size=320m");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    // Two reports' worth and a bit: the kernel's copy reports where the copy through memory
    // does.
    const qint64 size = 2 * qint64(BMFileManager::progressStep) + 12345;
    const QByteArray contents = pattern(size);
    const QStringList one{work("volume/a/Cut.mov")}, two{work("volume/a/Cut.mov"), work("volume/b/Cut.mov")};
    for (const QString& source : {writeWork("Cut.mov", contents), writeWork("volume/Cut.mov", contents)})
        for (const QStringList& destinations : {one, two}) {
            const Copied c = copy(source, destinations);
            EXPECT_TRUE(c.result) << source.toStdString();
            EXPECT_EQ(c.progress, (QList<quint64>{BMFileManager::progressStep,
                                                  2 * BMFileManager::progressStep, quint64(size)}));
            for (const QString& destination : destinations) {
                EXPECT_TRUE(readFile(destination) == contents) << destination.toStdString();
                QFile::remove(destination);
            }
        }
}

TEST_F(KernelCopy, AFullVolumeKeepsNoPartialCopyAndSaysWhichFile) {
    Tmpfs volume(work("small"), "size=1m");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    const QByteArray contents = pattern(700 * 1024);
    // Within the full volume (the kernel's copy) and into it from another (through memory).
    for (const QString& source : {writeWork("small/Cut.mov", contents), writeWork("Cut.mov", contents)}) {
        const QString destination = work("small/copy.mov");
        const Copied c = copy(source, {destination});
        EXPECT_FALSE(c.result) << source.toStdString();
        EXPECT_FALSE(QFileInfo::exists(destination)) << source.toStdString();
        EXPECT_TRUE(c.console.join('\n').contains("Error writing file " + destination))
            << c.console.join('\n').toStdString();
        EXPECT_EQ(readFile(source), contents);
    }
    // Of two destinations, only the one that filled up goes; the whole copy stays.
    const QString whole = work("whole.mov"), partial = work("small/copy.mov");
    EXPECT_FALSE(copy(work("Cut.mov"), {whole, partial}).result);
    EXPECT_FALSE(QFileInfo::exists(partial));
    EXPECT_EQ(readFile(whole), contents);
}

} // namespace
