#include "FileOpsFixture.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMFileOperation.h"
#include "foundation/CopyStream.h"
#include "foundation/MainThread.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

constexpr quint64 kStep = 41943040;
using Hash = QCryptographicHash;

// What the delegate heard, in order.
struct Recorder {
    QList<quint64> progress;
    QStringList failures;
    QList<QVariantMap> failureSettings;
    int finished = 0;
    int questions = 0;
    bool stopAtFirstQuestion = false;
    QVariantMap finalSettings;
    BMFileCopyDelegate delegate;

    Recorder() {
        delegate.fileCopyBytesWritten = [this](quint64 bytes, QVariantMap&) { progress << bytes; };
        delegate.fileCopyShouldContinue = [this](QVariantMap&) {
            return ++questions > 1 || !stopAtFirstQuestion;
        };
        delegate.fileCopyVerificationFailed = [this](QVariantMap& settings, const QString& file) {
            failures << file;
            failureSettings << settings;
        };
        delegate.fileCopyFinished = [this](QVariantMap& settings) {
            ++finished;
            finalSettings = settings;
        };
    }
    QString checksum(const char* key) const { return finalSettings.value(QLatin1String(key)).toString(); }
};

QByteArray pattern(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char((i * 131 + i / 4099) & 0xFF);
    return bytes;
}

QString md5Of(const QByteArray& bytes) {
    return QString::fromLatin1(Hash::hash(bytes, Hash::Md5).toHex());
}

QString md5OfFile(const QString& path) {
    QFile file(path);
    Hash hash(Hash::Md5);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? QString::fromLatin1(hash.result().toHex())
                                                                 : QString();
}

// Storage that misbehaves for one path: it reads back one byte flipped, refuses its first
// reposition, or puts down (or delivers) only `allowed` bytes in write (or read) call
// number `shortCall`, a failing source failing every call after that one too.
struct Faults : CopyStreamFaults {
    QString path;
    bool chunkByChunk = true;
    bool flip = false;
    bool failSeek = false;
    int shortCall = -1;
    bool shortRead = false;
    size_t allowed = 0;
    int calls = 0;

    bool oneChunkPerCall() const override { return chunkByChunk; }
    void afterRead(const QString& p, char* data, size_t size) override {
        if (p == path && flip && size > 0) {
            data[size / 2] = char(data[size / 2] ^ 0x5A);
            flip = false;
        }
    }
    bool allowSeek(const QString& p) override { return p != path || !std::exchange(failSeek, false); }
    size_t readableBytes(const QString& p, size_t size) override {
        if (p != path || !shortRead)
            return size;
        const int call = calls++;
        return call < shortCall ? size : call == shortCall ? std::min(size, allowed) : 0;
    }
    size_t writableBytes(const QString& p, size_t size) override {
        return p != path || shortRead || calls++ != shortCall ? size : std::min(size, allowed);
    }
};

std::shared_ptr<Faults> faults(const QString& path, bool chunkByChunk) {
    auto f = std::make_shared<Faults>();
    f->path = path;
    f->chunkByChunk = chunkByChunk;
    return f;
}

using VerifiedCopy = FileOpsTest;

// The copy goes one chunk per system call where faults ask for it, and several chunks per
// call otherwise; both must come to the same.
class ReadBackFault : public FileOpsTest, public ::testing::WithParamInterface<bool> {};

TEST_P(ReadBackFault, OneDestinationReadingBackOtherBytesIsTheOnlyFailureAndTheCopySucceeds) {
    const QByteArray contents = pattern(200000);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString good = work(QStringLiteral("a/Cut.fcp"));
    const QString bad = work(QStringLiteral("b/Cut.fcp"));
    auto flip = faults(bad, GetParam());
    flip->flip = true;
    CopyStream::installFaults(flip);
    Recorder recorder;

    EXPECT_TRUE(BMFileManager::copyFileWithProgress(source, {good, bad}, BMFileManager::Verification::MD5,
                                                    &recorder.delegate, QStringLiteral("first"), 7));
    EXPECT_EQ(recorder.failures, QStringList{bad});
    EXPECT_EQ(recorder.finished, 1);
    // The bytes on disk are right in both: only the read-back was disturbed.
    EXPECT_EQ(readFile(good), contents);
    EXPECT_EQ(readFile(bad), contents);
    const QVariantMap& settings = recorder.finalSettings;
    EXPECT_EQ(recorder.checksum("sourceChecksum"), md5Of(contents));
    const QStringList checksums = settings.value(QStringLiteral("destChecksums")).toStringList();
    ASSERT_EQ(checksums.size(), 2);
    EXPECT_EQ(checksums[0], md5Of(contents));
    EXPECT_NE(checksums[1], md5Of(contents));
    EXPECT_EQ(recorder.failureSettings[0].value(QStringLiteral("destChecksum")).toString(), checksums[1]);
    EXPECT_EQ(settings.value(QStringLiteral("source")).toString(), source);
    EXPECT_EQ(settings.value(QStringLiteral("destinations")).toStringList(), (QStringList{good, bad}));
    EXPECT_EQ(settings.value(QStringLiteral("operationtype")).toString(), QStringLiteral("copy"));
    EXPECT_EQ(settings.value(QStringLiteral("object")).toString(), QStringLiteral("first"));
    EXPECT_EQ(settings.value(QStringLiteral("object2")).toInt(), 7);
    EXPECT_EQ(recorder.progress, QList<quint64>{quint64(contents.size())});
}

INSTANTIATE_TEST_SUITE_P(Paths, ReadBackFault, ::testing::Bool(), [](const auto& info) {
    return info.param ? "OneChunkPerCall" : "SeveralChunksPerCall";
});

// ---- Several chunks per call and one chunk per call agree -------------------------------

struct Outcome {
    bool result = false;
    QStringList console;
    QList<quint64> progress;
    int questions = 0;
    QStringList failures;
    QString sourceChecksum;
    QStringList checksums;
    QStringList files; // the digests of the destinations as they are on disk
    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& o, std::ostream* out) {
    *out << "result " << o.result << ", progress " << ::testing::PrintToString(o.progress) << ", console "
         << o.console.join(QLatin1Char('|')).toStdString() << ", failures " << o.failures.size();
}

Outcome copyWith(const QString& source, const QStringList& destinations,
                 std::shared_ptr<CopyStreamFaults> faults, bool stopAtFirstQuestion = false) {
    for (const QString& destination : destinations)
        QFile::remove(destination);
    CopyStream::installFaults(std::move(faults));
    Recorder recorder;
    recorder.stopAtFirstQuestion = stopAtFirstQuestion;
    Outcome outcome;
    {
        ConsoleCapture console;
        outcome.result = BMFileManager::copyFileWithProgress(
            source, destinations, BMFileManager::Verification::MD5, &recorder.delegate);
        outcome.console = console.lines();
    }
    CopyStream::installFaults(nullptr);
    outcome.progress = recorder.progress;
    outcome.questions = recorder.questions;
    outcome.failures = recorder.failures;
    outcome.sourceChecksum = recorder.checksum("sourceChecksum");
    outcome.checksums = recorder.finalSettings.value(QStringLiteral("destChecksums")).toStringList();
    for (const QString& destination : destinations)
        outcome.files << md5OfFile(destination);
    return outcome;
}

struct SizeCase {
    const char* name;
    qint64 size;
    bool stopAtFirstReport;
};

class BothPaths : public FileOpsTest, public ::testing::WithParamInterface<SizeCase> {};

TEST_P(BothPaths, CopyEveryByteAndReportEveryFortyMebibytes) {
    const qint64 size = GetParam().size;
    const QString source = writeWork(QStringLiteral("Cut.fcp"));
    {
        // The pattern at the start and end, a hole in between: big sizes stay quick.
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        const QByteArray edge = pattern(std::min<qint64>(size, 300000));
        file.write(edge);
        if (size > edge.size()) {
            file.resize(size - edge.size());
            file.seek(size - edge.size());
            file.write(edge);
        }
    }
    ASSERT_EQ(QFileInfo(source).size(), size);
    const QStringList destinations{work(QStringLiteral("a.fcp")), work(QStringLiteral("b.fcp"))};
    const Outcome several = copyWith(source, destinations, nullptr, GetParam().stopAtFirstReport);
    const Outcome one =
        copyWith(source, destinations, std::make_shared<CopyStreamFaults>(), GetParam().stopAtFirstReport);
    EXPECT_EQ(several, one);

    // A report after each full step (the copy is asked whether to go on after each), one at
    // the end; a stop at the first question leaves the copy as far as it got.
    QList<quint64> progress;
    for (quint64 at = kStep; at <= quint64(size) && !(GetParam().stopAtFirstReport && !progress.isEmpty());
         at += kStep)
        progress << at;
    EXPECT_EQ(one.questions, progress.size());
    if (GetParam().stopAtFirstReport) {
        EXPECT_FALSE(one.result);
        EXPECT_EQ(one.progress, progress);
        EXPECT_EQ(QFileInfo(destinations[0]).size(), qint64(kStep));
        return;
    }
    EXPECT_TRUE(one.result);
    EXPECT_EQ(one.progress, progress << quint64(size));
    const QString digest = md5OfFile(source);
    EXPECT_EQ(one.sourceChecksum, digest);
    EXPECT_EQ(one.checksums, (QStringList{digest, digest}));
    EXPECT_EQ(one.files, (QStringList{digest, digest}));
    EXPECT_TRUE(one.failures.isEmpty());
    // A read that comes back empty says so: the end of a source of whole chunks.
    EXPECT_EQ(one.console, size % 32768 == 0 ? QStringList{QStringLiteral("%1 returned 0 bytes").arg(source)}
                                             : QStringList());
}

INSTANTIATE_TEST_SUITE_P(Sizes, BothPaths,
                         ::testing::Values(SizeCase{"Empty", 0, false}, SizeCase{"OneByte", 1, false},
                                           SizeCase{"OneChunk", 32768, false},
                                           SizeCase{"ChunkAndOne", 32769, false},
                                           SizeCase{"FourChunks", 4 * 32768, false},
                                           SizeCase{"OddSize", 13 * 32768 + 5, false},
                                           SizeCase{"ExactlyOneStep", qint64(kStep), false},
                                           SizeCase{"TwoStepsAndABit", 2 * qint64(kStep) + 12345, false},
                                           SizeCase{"StoppedAtTheFirstReport", 2 * qint64(kStep) + 7, true}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(VerifiedCopy, AShortVectoredWriteFallsBackToChunksAsTheyWouldHaveGone) {
    const QByteArray contents = pattern(5 * 32768 + 100);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString copy = work(QStringLiteral("copy.fcp"));
    // Chunk by chunk, the second chunk's write puts down 7232 bytes; several per call, the
    // first call (four chunks) stops at the same byte.
    auto oneFault = faults(copy, true), severalFault = faults(copy, false);
    std::tie(oneFault->shortCall, oneFault->allowed, severalFault->shortCall, severalFault->allowed) =
        std::tuple(1, 7232, 0, 40000);
    const Outcome one = copyWith(source, {copy}, oneFault);
    EXPECT_EQ(copyWith(source, {copy}, severalFault), one);
    EXPECT_TRUE(one.console.contains(QStringLiteral("Error writing file %1: 1").arg(copy)));
    // What follows the short write lands right after it, as the stream's position says.
    EXPECT_EQ(readFile(copy), contents.left(40000) + contents.mid(65536));
    EXPECT_EQ(one.failures, QStringList{copy});
    EXPECT_TRUE(one.result);
}

TEST_F(VerifiedCopy, AFailingSourceStopsAndReportsTheShortCopyTheSameWayOnBothPaths) {
    const QByteArray contents = pattern(5 * 32768 + 100);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString copy = work(QStringLiteral("copy.fcp"));
    auto oneFault = faults(source, true), severalFault = faults(source, false);
    oneFault->shortRead = severalFault->shortRead = true;
    std::tie(oneFault->shortCall, oneFault->allowed, severalFault->shortCall, severalFault->allowed) =
        std::tuple(1, 7232, 0, 40000);
    const Outcome one = copyWith(source, {copy}, oneFault);
    EXPECT_EQ(copyWith(source, {copy}, severalFault), one);
    EXPECT_FALSE(one.result);
    EXPECT_EQ(one.console,
              (QStringList{
                  QStringLiteral("%1 returned 0 bytes").arg(source),
                  QStringLiteral("Error: copied file size does not match original source %1").arg(source)}));
    EXPECT_EQ(readFile(copy), contents.left(40000));
    EXPECT_TRUE(one.progress.isEmpty());
}

TEST_F(VerifiedCopy, AFailedRepositionIsReportedAndStillReadBack) {
    const QByteArray contents = pattern(50000);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString copy = work(QStringLiteral("copy.fcp"));
    auto seek = faults(copy, true);
    seek->failSeek = true;
    const Outcome outcome = copyWith(source, {copy}, seek);
    const qsizetype at =
        outcome.console.indexOf(QStringLiteral("Error: unable to seek within file %1").arg(copy));
    ASSERT_GE(at, 0) << outcome.console.join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(outcome.console.mid(at + 1, 4),
              (QStringList{QStringLiteral("cur pos: 0"), QStringLiteral("read size: 32768"),
                           QStringLiteral("errno: %1").arg(EIO), QStringLiteral("err: 1")}));
    // The first chunk was read back from the wrong place: the digest cannot match.
    EXPECT_EQ(outcome.failures, QStringList{copy});
    EXPECT_EQ(readFile(copy), contents);
}

TEST_F(VerifiedCopy, Sha1CopyCreatesMissingFoldersAndKeepsModeAndDate) {
    const QString source = writeWork(QStringLiteral("Cut.fcp"), "autosave");
    ASSERT_TRUE(QFile::setPermissions(source, QFile::ReadOwner | QFile::WriteOwner));
    const QDateTime old(QDate(2011, 1, 2), QTime(3, 4, 5), Qt::UTC);
    ASSERT_TRUE(BMFileManager::setModificationDate(old, source));
    const QString copy = work(QStringLiteral("deep/er/Cut.fcp"));
    Recorder recorder;
    EXPECT_TRUE(BMFileManager::copyFileWithProgress(source, {copy}, BMFileManager::Verification::SHA1,
                                                    &recorder.delegate));
    EXPECT_EQ(recorder.checksum("sourceChecksum"),
              QString::fromLatin1(Hash::hash("autosave", Hash::Sha1).toHex()));
    EXPECT_TRUE(recorder.failures.isEmpty());
    EXPECT_EQ(readFile(copy), "autosave");
    EXPECT_EQ(QFileInfo(copy).lastModified().toUTC(), old);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(copy).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
}

TEST_F(VerifiedCopy, RefusalsSayWhyAndStopBeforeWriting) {
    const QString source = writeWork(QStringLiteral("Cut.fcp"), "x");
    const QString blocker = writeWork(QStringLiteral("file-not-folder"), "x");
    const QString folderInTheWay = home().makeFolder(QStringLiteral("work/taken"));
    const QString first = work(QStringLiteral("first.fcp"));
    const auto none = BMFileManager::Verification::None;
    ConsoleCapture console;
    EXPECT_FALSE(
        BMFileManager::copyFileWithProgress(work(QStringLiteral("missing")), {first}, none, nullptr));
    EXPECT_FALSE(BMFileManager::copyFileWithProgress(source, QStringList(), none, nullptr));
    EXPECT_FALSE(
        BMFileManager::copyFileWithProgress(source, {blocker + QStringLiteral("/sub/c")}, none, nullptr));
    EXPECT_FALSE(BMFileManager::copyFileWithProgress(source, {first, folderInTheWay}, none, nullptr));
    EXPECT_EQ(console.lines(),
              (QStringList{
                  QStringLiteral("Error: File %1 doesn't exist. Aborting copy process...")
                      .arg(work(QStringLiteral("missing"))),
                  QStringLiteral("Error: You must have at least one destination. Aborting copy process..."),
                  QStringLiteral("Unable to copy file %1 - destination directory %2 doesn't exist. Aborting "
                                 "copy process...")
                      .arg(source, blocker + QStringLiteral("/sub")),
                  QStringLiteral("Error: Unable to open destination file %1. Aborting copy process...")
                      .arg(folderInTheWay)}));
    EXPECT_EQ(QFileInfo(first).size(), 0);
}

// ---- The older form ---------------------------------------------------------------------

class OlderForm : public FileOpsTest {
protected:
    void SetUp() override {
        FileOpsTest::SetUp();
        MainThread::setDispatch(MainThread::Dispatch::EventLoop);
    }
    void TearDown() override {
        MainThread::setDispatch(MainThread::Dispatch::Inline);
        FileOpsTest::TearDown();
    }

    struct Heard {
        QList<int> stages;
        bool offMainThread = false;
        QVariantMap last;
        bool done = false;
    };

    // Starts the copy (cancelling it at once when asked) and serves events until it reports
    // completion, for at most 10 s. The delegate takes the forms with the operation or not.
    bool copy(const QString& source, const QString& destination, Heard& heard, bool withOperation,
              bool cancel = false) {
        auto delegate = std::make_shared<BMFileCopyDelegate>();
        auto note = [&heard](const QVariantMap& status) {
            heard.stages << status.value(QStringLiteral("stage")).toInt();
            heard.offMainThread |= QThread::currentThread() != QCoreApplication::instance()->thread();
            heard.last = status;
        };
        auto finish = [note, &heard](const QVariantMap& status) {
            note(status);
            heard.done = true;
        };
        if (withOperation) {
            delegate->fileOperationProgressWithOperation = [note](const QVariantMap& s, BMFileOperation&) {
                note(s);
            };
            delegate->fileOperationFinishedWithOperation = [finish](const QVariantMap& s,
                                                                    BMFileOperation& op) {
                EXPECT_EQ(op.stage(), BMFileOperation::Complete);
                finish(s);
            };
        } else {
            delegate->fileOperationProgress = note;
            delegate->fileOperationFinished = finish;
        }
        std::shared_ptr<BMFileOperation> operation;
        if (!BMFileManager::copyFileWithProgressOld(source, destination, delegate, QStringLiteral("o1"),
                                                    QStringLiteral("o2"), &operation))
            return false;
        if (cancel)
            BMFileManager::cancelFileOperation(operation);
        QElapsedTimer clock;
        clock.start();
        while (!heard.done && clock.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        return heard.done;
    }
};

TEST_F(OlderForm, ReportsRunningThenCompleteOnTheMainThread) {
    const QByteArray contents = pattern(300000);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString destination = work(QStringLiteral("new/Cut copy.fcp"));
    Heard heard;
    ASSERT_TRUE(copy(source, destination, heard, true));
    EXPECT_EQ(heard.stages.first(), int(BMFileOperation::Running));
    EXPECT_EQ(heard.stages.last(), int(BMFileOperation::Complete));
    EXPECT_EQ(heard.stages.count(int(BMFileOperation::Complete)), 1);
    EXPECT_FALSE(heard.offMainThread);
    EXPECT_EQ(heard.last.value(QStringLiteral("error")).toInt(), 0);
    EXPECT_EQ(heard.last.value(QStringLiteral("bytesCompleted")).toULongLong(), quint64(contents.size()));
    EXPECT_EQ(heard.last.value(QStringLiteral("totalBytes")).toULongLong(), quint64(contents.size()));
    EXPECT_EQ(heard.last.value(QStringLiteral("destination")).toString(), destination);
    EXPECT_EQ(heard.last.value(QStringLiteral("object2")).toString(), QStringLiteral("o2"));
    EXPECT_EQ(readFile(destination), contents);
}

TEST_F(OlderForm, AnExistingDestinationCompletesWithAnErrorAndAMissingSourceDoesNotStart) {
    const QString source = writeWork(QStringLiteral("Cut.fcp"), "new");
    const QString destination = writeWork(QStringLiteral("Cut copy.fcp"), "old");
    Heard heard;
    ASSERT_TRUE(copy(source, destination, heard, false));
    EXPECT_EQ(heard.last.value(QStringLiteral("error")).toInt(), EEXIST);
    EXPECT_EQ(readFile(destination), "old");
    ConsoleCapture console;
    Heard none;
    EXPECT_FALSE(copy(work(QStringLiteral("missing")), work(QStringLiteral("x")), none, false));
    EXPECT_TRUE(none.stages.isEmpty());
}

TEST_F(OlderForm, ACancelledOperationRemovesWhatItWrote) {
    const QString source = writeWork(QStringLiteral("big.mov"));
    ASSERT_TRUE(QFile::resize(source, qint64(1) << 30));
    const QString destination = work(QStringLiteral("big copy.mov"));
    Heard heard;
    ASSERT_TRUE(copy(source, destination, heard, false, true));
    const int error = heard.last.value(QStringLiteral("error")).toInt();
    // A machine fast enough to copy a gibibyte before the request arrives finishes instead.
    if (error == 0)
        GTEST_SKIP() << "the copy finished before it could be cancelled";
    EXPECT_EQ(error, ECANCELED);
    EXPECT_FALSE(QFileInfo::exists(destination));
}

} // namespace
