#include "FileOpsFixture.h"
#include "Tmpfs.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMFileOperation.h"
#include "foundation/CopyStream.h"
#include "foundation/MainThread.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>
#include <QThread>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr quint64 kStep = 41943040;
using Hash = QCryptographicHash;

QByteArray pattern(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char((i * 131 + i / 4099) & 0xFF);
    return bytes;
}

QString md5OfFile(const QString& path) {
    return QFile::exists(path) ? Hash::hash(readFile(path), Hash::Md5).toHex() : QString();
}

// Storage that misbehaves for one path: a byte read back flipped, a refused first reposition, or
// only `allowed` bytes in write (or read) call `shortCall`, a failing source failing from then on.
struct Faults : CopyStreamFaults {
    Faults(QString p, bool chunks, int call = -1, size_t bytes = 0)
        : path(std::move(p)), chunkByChunk(chunks), shortCall(call), allowed(bytes) {}
    bool oneChunkPerCall() const override { return chunkByChunk; }
    void afterRead(const QString& p, char* data, size_t size) override {
        if (p == path && size > 0 && std::exchange(flip, false))
            data[size / 2] = char(data[size / 2] ^ 0x5A);
    }
    bool allowSeek(const QString& p) override { return p != path || !std::exchange(failSeek, false); }
    size_t readableBytes(const QString& p, size_t size) override { return limit(p, size, true); }
    size_t writableBytes(const QString& p, size_t size) override { return limit(p, size, false); }
    size_t limit(const QString& p, size_t size, bool reading) {
        if (p != path || reading != shortRead)
            return size;
        const int call = calls++;
        return call < shortCall ? size : call == shortCall ? std::min(size, allowed) : reading ? 0 : size;
    }

    QString path;
    bool chunkByChunk, flip = false, failSeek = false, shortRead = false;
    int shortCall, calls = 0;
    size_t allowed;
};

// What the delegate and the console heard, and the destinations' digests as they are on disk.
struct Outcome {
    bool result = false;
    QStringList console;
    QList<quint64> progress;
    int questions = 0;
    QStringList failures, failureChecksums;
    QString sourceChecksum;
    QStringList checksums, files;
    bool operator==(const Outcome&) const = default;
};

Outcome copyWith(const QString& source, const QStringList& destinations,
                 std::shared_ptr<CopyStreamFaults> faults, bool stopAtFirstQuestion = false,
                 BMFileManager::Verification verification = BMFileManager::Verification::MD5) {
    for (const QString& destination : destinations)
        QFile::remove(destination);
    CopyStream::installFaults(std::move(faults));
    Outcome o;
    BMFileCopyDelegate delegate;
    delegate.fileCopyBytesWritten = [&](quint64 bytes, QVariantMap&) { o.progress << bytes; };
    delegate.fileCopyShouldContinue = [&](QVariantMap&) { return ++o.questions > 1 || !stopAtFirstQuestion; };
    delegate.fileCopyVerificationFailed = [&](QVariantMap& settings, const QString& file) {
        o.failures << file;
        o.failureChecksums << settings.value("destChecksum").toString();
    };
    delegate.fileCopyFinished = [&](QVariantMap& settings) {
        o.sourceChecksum = settings.value("sourceChecksum").toString();
        o.checksums = settings.value("destChecksums").toStringList();
    };
    {
        ConsoleCapture console;
        o.result = BMFileManager::copyFileWithProgress(source, destinations, verification, &delegate);
        o.console = console.lines();
    }
    CopyStream::installFaults(nullptr);
    for (const QString& destination : destinations)
        o.files << md5OfFile(destination);
    return o;
}

using VerifiedCopy = FileOpsTest;

// One chunk per system call where faults ask for it, several otherwise: both come to the same.
TEST_F(VerifiedCopy, OneDestinationReadingBackOtherBytesIsTheOnlyFailureAndTheCopySucceeds) {
    const QByteArray contents = pattern(200000);
    const QString source = writeWork("Cut.fcp", contents), good = work("a/Cut.fcp"), bad = work("b/Cut.fcp");
    const QString digest = md5OfFile(source);
    for (const bool chunkByChunk : {true, false}) {
        auto flip = std::make_shared<Faults>(bad, chunkByChunk);
        flip->flip = true;
        const Outcome o = copyWith(source, {good, bad}, flip);
        EXPECT_TRUE(o.result);
        EXPECT_EQ(o.failures, QStringList{bad});
        EXPECT_EQ(o.sourceChecksum, digest);
        EXPECT_EQ(o.checksums.value(0), digest);
        EXPECT_NE(o.checksums.value(1), digest);
        EXPECT_EQ(o.failureChecksums, QStringList{o.checksums.value(1)});
        // The bytes on disk are right in both: only the read-back was disturbed.
        EXPECT_EQ(o.files, (QStringList{digest, digest}));
        EXPECT_EQ(o.progress, QList<quint64>{quint64(contents.size())});
    }
}

struct SizeCase {
    const char* name;
    qint64 size;
    bool stopAtFirstReport;
};

class BothPaths : public FileOpsTest, public ::testing::WithParamInterface<SizeCase> {};

TEST_P(BothPaths, CopyEveryByteAndReportEveryFortyMebibytes) {
    const qint64 size = GetParam().size;
    const QString source = writeWork("Cut.fcp");
    {
        // The pattern at the start and end, a hole in between: big sizes stay quick.
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        const QByteArray edge = pattern(std::min<qint64>(size, 300000));
        file.write(edge);
        if (size > edge.size() && file.resize(size - edge.size()) && file.seek(size - edge.size()))
            file.write(edge);
    }
    ASSERT_EQ(QFileInfo(source).size(), size);
    const bool stop = GetParam().stopAtFirstReport;
    const QStringList destinations{work("a.fcp"), work("b.fcp")};
    const Outcome one = copyWith(source, destinations, std::make_shared<CopyStreamFaults>(), stop);
    EXPECT_EQ(copyWith(source, destinations, nullptr, stop), one);

    // A report (and a question) after each full step, one at the end; a stop leaves the copy there.
    QList<quint64> progress;
    for (quint64 at = kStep; at <= quint64(size) && !(stop && !progress.isEmpty()); at += kStep)
        progress << at;
    EXPECT_EQ(one.questions, progress.size());
    EXPECT_EQ(one.result, !stop);
    EXPECT_EQ(one.progress, stop ? progress : progress << quint64(size));
    if (stop) {
        EXPECT_EQ(QFileInfo(destinations[0]).size(), qint64(kStep));
        return;
    }
    const QString digest = md5OfFile(source);
    EXPECT_EQ(one.sourceChecksum, digest);
    EXPECT_EQ(one.checksums, (QStringList{digest, digest}));
    EXPECT_EQ(one.files, (QStringList{digest, digest}));
    EXPECT_TRUE(one.failures.isEmpty());
    // A read that comes back empty says so: the end of a source of whole chunks.
    EXPECT_EQ(one.console, size % 32768 ? QStringList() : QStringList{source + " returned 0 bytes"});
}

INSTANTIATE_TEST_SUITE_P(Sizes, BothPaths,
                         ::testing::Values(SizeCase{"Empty", 0, false}, SizeCase{"OneByte", 1, false},
                                           SizeCase{"OneChunk", 32768, false},
                                           SizeCase{"OddSize", 13 * 32768 + 5, false},
                                           SizeCase{"ExactlyOneStep", qint64(kStep), false},
                                           SizeCase{"TwoStepsAndABit", 2 * qint64(kStep) + 12345, false},
                                           SizeCase{"StoppedAtTheFirstReport", 2 * qint64(kStep) + 7, true}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(VerifiedCopy, AShortWriteOrAFailingSourceGoesTheSameWayOnBothPathsAndAFailedRepositionIsReadBack) {
    const QByteArray contents = pattern(5 * 32768 + 100);
    const QString source = writeWork("Cut.fcp", contents), copy = work("copy.fcp");
    // Chunk by chunk, the second call puts down 7232 bytes; four chunks a call, the first stops there.
    Outcome one = copyWith(source, {copy}, std::make_shared<Faults>(copy, true, 1, 7232));
    EXPECT_EQ(copyWith(source, {copy}, std::make_shared<Faults>(copy, false, 0, 40000)), one);
    EXPECT_TRUE(one.console.contains(QString("Error writing file %1: 1").arg(copy)));
    // What follows the short write lands right after it, as the stream's position says.
    EXPECT_EQ(readFile(copy), contents.left(40000) + contents.mid(65536));
    EXPECT_EQ(one.failures, QStringList{copy});
    EXPECT_TRUE(one.result);

    auto failingSource = [&](bool chunkByChunk, int call, size_t allowed) {
        auto f = std::make_shared<Faults>(source, chunkByChunk, call, allowed);
        f->shortRead = true;
        return copyWith(source, {copy}, f);
    };
    one = failingSource(true, 1, 7232);
    EXPECT_EQ(failingSource(false, 0, 40000), one);
    EXPECT_FALSE(one.result);
    EXPECT_EQ(one.console, (QStringList{source + " returned 0 bytes",
                                        "Error: copied file size does not match original source " + source}));
    EXPECT_EQ(readFile(copy), contents.left(40000));
    EXPECT_TRUE(one.progress.isEmpty());

    // A failed reposition is reported, and the first chunk read back from the wrong place.
    auto seek = std::make_shared<Faults>(copy, true);
    seek->failSeek = true;
    one = copyWith(source, {copy}, seek);
    const qsizetype at = one.console.indexOf("Error: unable to seek within file " + copy);
    ASSERT_GE(at, 0) << one.console.join('\n').toStdString();
    EXPECT_EQ(one.console.mid(at + 1, 4),
              (QStringList{"cur pos: 0", "read size: 32768", QString("errno: %1").arg(EIO), "err: 1"}));
    EXPECT_EQ(one.failures, QStringList{copy});
    EXPECT_EQ(one.files, QStringList{md5OfFile(source)});
}

TEST_F(VerifiedCopy, Sha1CopyCreatesMissingFoldersAndKeepsModeAndDateAndABareNameIsInTheWorkingFolder) {
    const QString source = writeWork("Cut.fcp", "autosave"), copy = work("deep/er/Cut.fcp");
    ASSERT_TRUE(QFile::setPermissions(source, QFile::ReadOwner | QFile::WriteOwner));
    const QDateTime old(QDate(2011, 1, 2), QTime(3, 4, 5), Qt::UTC);
    ASSERT_TRUE(BMFileManager::setModificationDate(old, source));
    const Outcome o = copyWith(source, {copy}, nullptr, false, BMFileManager::Verification::SHA1);
    EXPECT_EQ(o.sourceChecksum, Hash::hash("autosave", Hash::Sha1).toHex());
    EXPECT_EQ(o.checksums, QStringList{o.sourceChecksum});
    EXPECT_EQ(readFile(copy), "autosave");
    EXPECT_EQ(QFileInfo(copy).lastModified().toUTC(), old);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(copy).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
    // A bare name is copied into the working folder.
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(work("")));
    const bool copied = BMFileManager::copyFileWithProgress(source, QStringList{"Cut copy.fcp"},
                                                            BMFileManager::Verification::None, nullptr);
    QDir::setCurrent(before);
    EXPECT_TRUE(copied);
    EXPECT_EQ(readFile(work("Cut copy.fcp")), "autosave");
}

TEST_F(VerifiedCopy, RefusalsSayWhyAndStopBeforeWriting) {
    const QString source = writeWork("Cut.fcp", "x"), blocker = writeWork("file-not-folder", "x");
    const QString first = work("first.fcp"), taken = home().makeFolder("work/taken");
    const std::pair<QString, QStringList> calls[] = {
        {work("missing"), {first}}, {source, {}}, {source, {blocker + "/sub/c"}}, {source, {first, taken}}};
    QStringList said;
    for (const auto& [from, to] : calls) {
        const Outcome o = copyWith(from, to, nullptr);
        EXPECT_FALSE(o.result);
        said += o.console;
    }
    EXPECT_EQ(said, (QStringList{
                        "Error: File " + work("missing") + " doesn't exist. Aborting copy process...",
                        "Error: You must have at least one destination. Aborting copy process...",
                        QString("Unable to copy file %1 - destination directory %2 doesn't exist. "
                                "Aborting copy process...")
                            .arg(source, blocker + "/sub"),
                        "Error: Unable to open destination file " + taken + ". Aborting copy process..."}));
    EXPECT_EQ(QFileInfo(first).size(), 0);
}

// Without a checksum: the kernel copies within a volume to one destination, memory otherwise.
using KernelCopy = FileOpsTest;

TEST_F(KernelCopy,
       WithinAVolumeAndAcrossVolumesEveryDestinationGetsEveryByteAndAFullVolumeKeepsNoPartialCopy) {
    Tmpfs volume(work("volume"), "size=320m");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    // The kernel's copy reports where the copy through memory does.
    const qint64 size = 2 * qint64(BMFileManager::progressStep) + 12345;
    QByteArray contents = pattern(size);
    const QString digest = Hash::hash(contents, Hash::Md5).toHex();
    const QStringList one{work("volume/a/Cut.mov")}, two{work("volume/a/Cut.mov"), work("volume/b/Cut.mov")};
    for (const QString& source : {writeWork("Cut.mov", contents), writeWork("volume/Cut.mov", contents)})
        for (const QStringList& destinations : {one, two}) {
            const Outcome c =
                copyWith(source, destinations, nullptr, false, BMFileManager::Verification::None);
            EXPECT_TRUE(c.result) << source.toStdString();
            EXPECT_EQ(c.progress, (QList<quint64>{BMFileManager::progressStep,
                                                  2 * BMFileManager::progressStep, quint64(size)}));
            EXPECT_EQ(c.files, QStringList(destinations.size(), digest)) << source.toStdString();
        }

    // A full volume keeps no partial copy, and the message says which file.
    Tmpfs small(work("small"), "size=1m");
    ASSERT_TRUE(small.mounted()) << small.why().toStdString();
    contents = pattern(700 * 1024);
    const QString destination = work("small/copy.mov"), whole = work("whole.mov");
    // Within the full volume (the kernel's copy) and into it from another (through memory).
    for (const QString& source : {writeWork("small/Cut.mov", contents), writeWork("Cut.mov", contents)}) {
        const Outcome c = copyWith(source, {destination}, nullptr, false, BMFileManager::Verification::None);
        EXPECT_FALSE(c.result) << source.toStdString();
        EXPECT_FALSE(QFileInfo::exists(destination)) << source.toStdString();
        EXPECT_TRUE(c.console.join('\n').contains("Error writing file " + destination))
            << c.console.join('\n').toStdString();
        EXPECT_EQ(readFile(source), contents);
    }
    // Of two destinations, only the one that filled up goes; the whole copy stays.
    EXPECT_FALSE(
        copyWith(work("Cut.mov"), {whole, destination}, nullptr, false, BMFileManager::Verification::None)
            .result);
    EXPECT_FALSE(QFileInfo::exists(destination));
    EXPECT_EQ(readFile(whole), contents);
}

// Room for the whole copy is taken before the first write, while the size still says what is
// written; a copy stopped short gives back the room it did not use.
TEST_F(KernelCopy, RoomForTheWholeCopyIsHeldWhileItRunsAndAStoppedCopyGivesBackTheRest) {
    const qint64 size = 2 * qint64(BMFileManager::progressStep) + 7;
    const QString source = writeWork("Cut.mov");
    ASSERT_TRUE(QFile::resize(source, size));
    const QString probe = writeWork("probe");
    {
        QFile file(probe);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        if (::fallocate(file.handle(), FALLOC_FL_KEEP_SIZE, 0, 4096) != 0)
            GTEST_SKIP() << "this file system reserves no room";
    }
    auto onDisk = [](const QString& path) {
        struct stat info {};
        EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0) << path.toStdString();
        return std::pair<qint64, qint64>(info.st_size, qint64(info.st_blocks) * 512);
    };
    const qint64 step = qint64(BMFileManager::progressStep);
    // One destination goes through a buffer of its own, two through the shared chunks.
    for (const QStringList& destinations :
         {QStringList{work("one/Cut.mov")}, QStringList{work("two/a.mov"), work("two/b.mov")}}) {
        int questions = 0;
        BMFileCopyDelegate delegate;
        delegate.fileCopyShouldContinue = [&](QVariantMap&) {
            ++questions;
            for (const QString& destination : destinations) {
                const auto [length, room] = onDisk(destination);
                EXPECT_EQ(length, step) << destination.toStdString();
                EXPECT_GE(room, size) << destination.toStdString();
            }
            return false;
        };
        EXPECT_FALSE(BMFileManager::copyFileWithProgress(source, destinations,
                                                         BMFileManager::Verification::None, &delegate));
        EXPECT_EQ(questions, 1);
        for (const QString& destination : destinations) {
            const auto [length, room] = onDisk(destination);
            EXPECT_EQ(length, step) << destination.toStdString();
            EXPECT_LT(room, step + (1 << 20)) << destination.toStdString();
        }
    }
}

// The older form: a copy on the background copy service.
using OlderForm = FileOpsTest;

// Serves events until the copy reports completion (at most 10 s); every report on the main thread.
QList<QVariantMap> copyOnTheService(const QString& source, const QString& destination) {
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);
    QList<QVariantMap> heard;
    auto delegate = std::make_shared<BMFileCopyDelegate>();
    delegate->fileOperationProgress = delegate->fileOperationFinished = [&](const QVariantMap& status) {
        EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
        heard << status;
    };
    std::shared_ptr<BMFileOperation> operation;
    BMFileManager::copyFileWithProgressOld(source, destination, delegate, "o1", "o2", &operation);
    const auto complete = [&] {
        return !heard.isEmpty() && heard.last().value("stage").toInt() == BMFileOperation::Complete;
    };
    EXPECT_TRUE(!operation || QTest::qWaitFor(complete, 10000));
    MainThread::setDispatch(MainThread::Dispatch::Inline);
    return heard;
}

TEST_F(OlderForm, ReportsRunningThenCompleteOnTheMainThreadAndNeverReplaces) {
    const QByteArray contents = pattern(300000);
    const QString source = writeWork("Cut.fcp", contents), destination = work("new/Cut copy.fcp");
    QList<QVariantMap> heard = copyOnTheService(source, destination);
    ASSERT_FALSE(heard.isEmpty());
    for (const QVariantMap& report : heard.mid(0, heard.size() - 1))
        EXPECT_EQ(report.value("stage").toInt(), int(BMFileOperation::Running));
    const QVariantMap& last = heard.last();
    EXPECT_EQ(last.value("error").toInt(), 0);
    EXPECT_EQ(last.value("bytesCompleted").toULongLong(), quint64(contents.size()));
    EXPECT_EQ(last.value("totalBytes").toULongLong(), quint64(contents.size()));
    EXPECT_EQ(last.value("object2").toString(), "o2");
    EXPECT_EQ(readFile(destination), contents);

    heard = copyOnTheService(writeWork("other.fcp", "other"), destination);
    ASSERT_FALSE(heard.isEmpty());
    EXPECT_EQ(heard.last().value("error").toInt(), EEXIST);
    EXPECT_EQ(readFile(destination), contents);
    ConsoleCapture console;
    EXPECT_TRUE(copyOnTheService(work("missing"), work("x")).isEmpty()); // does not start
}

} // namespace
