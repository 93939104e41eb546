#include "FileOpsFixture.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMFileOperation.h"
#include "foundation/CopyStream.h"
#include "foundation/MainThread.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr quint64 kStep = 41943040;

// What the delegate heard, in order.
struct Recorder {
    QList<quint64> progress;
    QStringList failures;
    QList<QVariantMap> failureSettings;
    int finished = 0;
    int continueAnswers = -1; // answer "stop" once this many questions were asked; -1: never
    int questions = 0;
    QVariantMap finalSettings;

    BMFileCopyDelegate delegate() {
        BMFileCopyDelegate d;
        d.fileCopyBytesWritten = [this](quint64 bytes, QVariantMap&) { progress << bytes; };
        d.fileCopyShouldContinue = [this](QVariantMap&) {
            ++questions;
            return continueAnswers < 0 || questions <= continueAnswers;
        };
        d.fileCopyVerificationFailed = [this](QVariantMap& settings, const QString& file) {
            failures << file;
            failureSettings << settings;
        };
        d.fileCopyFinished = [this](QVariantMap& settings) {
            ++finished;
            finalSettings = settings;
        };
        return d;
    }
};

QByteArray pattern(qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char((i * 131 + i / 4099) & 0xFF);
    return bytes;
}

QString md5Of(const QByteArray& bytes) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex());
}

// A destination whose storage gives back one byte different from what was written.
class FlipOneByte : public CopyStreamFaults {
public:
    explicit FlipOneByte(QString path, bool oneChunkPerCall = true)
        : m_path(std::move(path)), m_oneChunkPerCall(oneChunkPerCall) {}
    bool oneChunkPerCall() const override { return m_oneChunkPerCall; }
    void afterRead(const QString& path, char* data, size_t size) override {
        if (path == m_path && size > 0 && !m_done) {
            data[size / 2] = char(data[size / 2] ^ 0x5A);
            m_done = true;
        }
    }

private:
    QString m_path;
    bool m_oneChunkPerCall;
    bool m_done = false;
};

// One write call of a destination put down only in part.
class LimitOneWrite : public CopyStreamFaults {
public:
    LimitOneWrite(QString path, int call, size_t allowed, bool oneChunkPerCall)
        : m_path(std::move(path)), m_call(call), m_allowed(allowed), m_oneChunkPerCall(oneChunkPerCall) {}
    bool oneChunkPerCall() const override { return m_oneChunkPerCall; }
    size_t writableBytes(const QString& path, size_t size) override {
        if (path != m_path || m_calls++ != m_call)
            return size;
        return std::min(size, m_allowed);
    }

private:
    QString m_path;
    int m_call;
    size_t m_allowed;
    bool m_oneChunkPerCall;
    int m_calls = 0;
};

class FailingSeek : public CopyStreamFaults {
public:
    explicit FailingSeek(QString path) : m_path(std::move(path)) {}
    bool allowSeek(const QString& path) override { return path != m_path || m_failures++ > 0; }

private:
    QString m_path;
    int m_failures = 0;
};

// A source that fails part way through one read call, and on every call after it.
class FailingRead : public CopyStreamFaults {
public:
    FailingRead(QString path, int call, size_t allowed, bool oneChunkPerCall)
        : m_path(std::move(path)), m_call(call), m_allowed(allowed), m_oneChunkPerCall(oneChunkPerCall) {}
    bool oneChunkPerCall() const override { return m_oneChunkPerCall; }
    size_t readableBytes(const QString& path, size_t size) override {
        if (path != m_path)
            return size;
        const int call = m_calls++;
        return call < m_call ? size : call == m_call ? std::min(size, m_allowed) : 0;
    }

private:
    QString m_path;
    int m_call;
    size_t m_allowed;
    bool m_oneChunkPerCall;
    int m_calls = 0;
};

using VerifiedCopy = FileOpsTest;

// The copy goes one chunk per system call where faults ask for it, and several chunks per
// call otherwise; both must come to the same.
class ReadBackFault : public FileOpsTest, public ::testing::WithParamInterface<bool> {};

TEST_P(ReadBackFault, OneDestinationReadingBackOtherBytesIsTheOnlyFailureAndTheCopySucceeds) {
    const QByteArray contents = pattern(200000);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString good = work(QStringLiteral("a/Cut.fcp"));
    const QString bad = work(QStringLiteral("b/Cut.fcp"));
    CopyStream::installFaults(std::make_shared<FlipOneByte>(bad, GetParam()));
    Recorder recorder;
    BMFileCopyDelegate delegate = recorder.delegate();

    EXPECT_TRUE(BMFileManager::copyFileWithProgress(source, {good, bad}, BMFileManager::Verification::MD5,
                                                    &delegate, QStringLiteral("first"), 7));
    EXPECT_EQ(recorder.failures, QStringList{bad});
    EXPECT_EQ(recorder.finished, 1);
    // The bytes on disk are right in both: only the read-back was disturbed.
    EXPECT_EQ(readFile(good), contents);
    EXPECT_EQ(readFile(bad), contents);
    const QVariantMap& settings = recorder.finalSettings;
    EXPECT_EQ(settings.value(QStringLiteral("sourceChecksum")).toString(), md5Of(contents));
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
    EXPECT_EQ(settings.value(QStringLiteral("delegate")).value<void*>(), static_cast<void*>(&delegate));
    EXPECT_EQ(recorder.progress, QList<quint64>{quint64(contents.size())});
}

INSTANTIATE_TEST_SUITE_P(Paths, ReadBackFault, ::testing::Bool(), [](const auto& info) {
    return info.param ? "OneChunkPerCall" : "SeveralChunksPerCall";
});

TEST_F(VerifiedCopy, Sha1DigestsAreFortyCharacters) {
    const QByteArray contents = pattern(70000);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    Recorder recorder;
    BMFileCopyDelegate delegate = recorder.delegate();
    EXPECT_TRUE(BMFileManager::copyFileWithProgress(source, {work(QStringLiteral("copy.fcp"))},
                                                    BMFileManager::Verification::SHA1, &delegate));
    EXPECT_EQ(recorder.finalSettings.value(QStringLiteral("sourceChecksum")).toString(),
              QString::fromLatin1(QCryptographicHash::hash(contents, QCryptographicHash::Sha1).toHex()));
    EXPECT_TRUE(recorder.failures.isEmpty());
    EXPECT_FALSE(recorder.finalSettings.contains(QStringLiteral("object")));
}

TEST_F(VerifiedCopy, AnEmptySourceReadsNothingOnceAndVerifiesAsEmpty) {
    const QString source = writeWork(QStringLiteral("empty.fcp"));
    Recorder recorder;
    BMFileCopyDelegate delegate = recorder.delegate();
    ConsoleCapture console;
    EXPECT_TRUE(BMFileManager::copyFileWithProgress(source, {work(QStringLiteral("out/empty.fcp"))},
                                                    BMFileManager::Verification::MD5, &delegate));
    EXPECT_EQ(console.lines(), QStringList{QStringLiteral("%1 returned 0 bytes").arg(source)});
    EXPECT_EQ(recorder.finalSettings.value(QStringLiteral("sourceChecksum")).toString(),
              QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
    EXPECT_EQ(recorder.finalSettings.value(QStringLiteral("destChecksums")).toStringList(),
              QStringList{QStringLiteral("d41d8cd98f00b204e9800998ecf8427e")});
    EXPECT_EQ(recorder.progress, QList<quint64>{0});
    EXPECT_TRUE(QFileInfo(work(QStringLiteral("out/empty.fcp"))).isFile());
}

TEST_F(VerifiedCopy, ProgressComesEveryFortyMebibytesAndOnceAtTheEnd) {
    const QString source = writeWork(QStringLiteral("big.mov"));
    const qint64 size = 2 * qint64(kStep) + 12345;
    ASSERT_TRUE(QFile::resize(source, size)); // holes read as zeros
    Recorder recorder;
    BMFileCopyDelegate delegate = recorder.delegate();
    const QString copy = work(QStringLiteral("copy.mov"));
    EXPECT_TRUE(BMFileManager::copyFileWithProgress(source, copy, &delegate, QVariant()));
    EXPECT_EQ(recorder.progress, (QList<quint64>{kStep, 2 * kStep, quint64(size)}));
    EXPECT_EQ(recorder.questions, 2); // after each intermediate report, not after the final one
    EXPECT_EQ(QFileInfo(copy).size(), size);
    EXPECT_FALSE(recorder.finalSettings.contains(QStringLiteral("sourceChecksum")));
}

TEST_F(VerifiedCopy, StoppingAtTheFirstReportLeavesThePartialCopy) {
    const QString source = writeWork(QStringLiteral("big.mov"));
    ASSERT_TRUE(QFile::resize(source, 3 * qint64(kStep)));
    Recorder recorder;
    recorder.continueAnswers = 0;
    BMFileCopyDelegate delegate = recorder.delegate();
    const QString copy = work(QStringLiteral("copy.mov"));
    EXPECT_FALSE(
        BMFileManager::copyFileWithProgress(source, {copy}, BMFileManager::Verification::MD5, &delegate));
    EXPECT_EQ(recorder.progress, QList<quint64>{kStep});
    EXPECT_EQ(recorder.questions, 1);
    EXPECT_EQ(recorder.finished, 0);
    EXPECT_EQ(QFileInfo(copy).size(), qint64(kStep));
}

TEST_F(VerifiedCopy, MissingFoldersAreCreatedAndAttributesCopied) {
    const QString source = writeWork(QStringLiteral("Cut.fcp"), "autosave");
    ASSERT_EQ(::chmod(QFile::encodeName(source).constData(), 0600), 0);
    const QDateTime old(QDate(2011, 1, 2), QTime(3, 4, 5), Qt::UTC);
    ASSERT_TRUE(BMFileManager::setModificationDate(old, source));
    const QString copy = work(QStringLiteral("deep/er/Cut.fcp"));
    EXPECT_TRUE(BMFileManager::copyFileWithProgress(source, copy, nullptr, QVariant(), QVariant()));
    EXPECT_EQ(readFile(copy), "autosave");
    EXPECT_EQ(QFileInfo(copy).lastModified().toUTC(), old);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(copy).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
}

TEST_F(VerifiedCopy, RefusalsSayWhy) {
    const QString source = writeWork(QStringLiteral("Cut.fcp"), "x");
    const QString blocker = writeWork(QStringLiteral("file-not-folder"), "x");
    ConsoleCapture console;
    EXPECT_FALSE(BMFileManager::copyFileWithProgress(work(QStringLiteral("missing")),
                                                     {work(QStringLiteral("c"))},
                                                     BMFileManager::Verification::None, nullptr));
    EXPECT_FALSE(BMFileManager::copyFileWithProgress(source, QStringList(), BMFileManager::Verification::None,
                                                     nullptr));
    EXPECT_FALSE(BMFileManager::copyFileWithProgress(source, {blocker + QStringLiteral("/sub/c")},
                                                     BMFileManager::Verification::None, nullptr));
    const QStringList lines = console.lines();
    EXPECT_TRUE(lines.contains(QStringLiteral("Error: File %1 doesn't exist. Aborting copy process...")
                                   .arg(work(QStringLiteral("missing")))));
    EXPECT_TRUE(lines.contains(
        QStringLiteral("Error: You must have at least one destination. Aborting copy process...")));
    EXPECT_TRUE(lines.contains(
        QStringLiteral(
            "Unable to copy file %1 - destination directory %2 doesn't exist. Aborting copy process...")
            .arg(source, blocker + QStringLiteral("/sub"))));
}

TEST_F(VerifiedCopy, AnUnopenableDestinationStopsBeforeWriting) {
    const QString source = writeWork(QStringLiteral("Cut.fcp"), "x");
    const QString folderInTheWay = home().makeFolder(QStringLiteral("work/taken"));
    const QString first = work(QStringLiteral("first.fcp"));
    ConsoleCapture console;
    EXPECT_FALSE(BMFileManager::copyFileWithProgress(source, {first, folderInTheWay},
                                                     BMFileManager::Verification::None, nullptr));
    EXPECT_TRUE(console.lines().contains(
        QStringLiteral("Error: Unable to open destination file %1. Aborting copy process...")
            .arg(folderInTheWay)));
    EXPECT_EQ(QFileInfo(first).size(), 0);
}

TEST_F(VerifiedCopy, AFailedRepositionIsReportedAndStillReadBack) {
    const QByteArray contents = pattern(50000);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString copy = work(QStringLiteral("copy.fcp"));
    CopyStream::installFaults(std::make_shared<FailingSeek>(copy));
    Recorder recorder;
    BMFileCopyDelegate delegate = recorder.delegate();
    ConsoleCapture console;
    EXPECT_TRUE(
        BMFileManager::copyFileWithProgress(source, {copy}, BMFileManager::Verification::MD5, &delegate));
    const QStringList lines = console.lines();
    const qsizetype at = lines.indexOf(QStringLiteral("Error: unable to seek within file %1").arg(copy));
    ASSERT_GE(at, 0) << console.text().toStdString();
    ASSERT_GE(lines.size(), at + 5);
    EXPECT_EQ(lines.mid(at + 1, 4),
              (QStringList{QStringLiteral("cur pos: 0"), QStringLiteral("read size: 32768"),
                           QStringLiteral("errno: %1").arg(EIO), QStringLiteral("err: 1")}));
    // The first chunk was read back from the wrong place: the digest cannot match.
    EXPECT_EQ(recorder.failures, QStringList{copy});
    EXPECT_EQ(readFile(copy), contents);
}

// ---- Several chunks per call and one chunk per call agree -------------------------------

struct Outcome {
    QStringList console;
    QList<quint64> progress;
    int questions = 0;
    QStringList failures;
    QString sourceChecksum;
    QStringList checksums;
    bool result = false;
    QList<QByteArray> files;
};

Outcome copyWith(FileOpsTest& test, const QString& source, const QStringList& destinations,
                 std::shared_ptr<CopyStreamFaults> faults, int continueAnswers = -1) {
    for (const QString& destination : destinations)
        QFile::remove(destination);
    CopyStream::installFaults(std::move(faults));
    Recorder recorder;
    recorder.continueAnswers = continueAnswers;
    BMFileCopyDelegate delegate = recorder.delegate();
    Outcome outcome;
    {
        ConsoleCapture console;
        outcome.result = BMFileManager::copyFileWithProgress(source, destinations,
                                                             BMFileManager::Verification::MD5, &delegate);
        outcome.console = console.lines();
    }
    CopyStream::installFaults(nullptr);
    outcome.progress = recorder.progress;
    outcome.questions = recorder.questions;
    outcome.failures = recorder.failures;
    outcome.sourceChecksum = recorder.finalSettings.value(QStringLiteral("sourceChecksum")).toString();
    outcome.checksums = recorder.finalSettings.value(QStringLiteral("destChecksums")).toStringList();
    for (const QString& destination : destinations)
        outcome.files << test.readFileAt(destination);
    return outcome;
}

void expectSame(const Outcome& several, const Outcome& one) {
    EXPECT_EQ(several.result, one.result);
    EXPECT_EQ(several.console, one.console);
    EXPECT_EQ(several.progress, one.progress);
    EXPECT_EQ(several.questions, one.questions);
    EXPECT_EQ(several.failures, one.failures);
    EXPECT_EQ(several.sourceChecksum, one.sourceChecksum);
    EXPECT_EQ(several.checksums, one.checksums);
    EXPECT_TRUE(several.files == one.files);
}

struct SizeCase {
    const char* name;
    qint64 size;
    int continueAnswers;
};

class BothPaths : public FileOpsTest, public ::testing::WithParamInterface<SizeCase> {};

TEST_P(BothPaths, GiveTheSameMessagesProgressDigestsAndFiles) {
    const QString source = writeWork(QStringLiteral("Cut.fcp"));
    {
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        // The pattern at the start and end, a hole in between: big sizes stay quick.
        const QByteArray edge = pattern(std::min<qint64>(GetParam().size, 300000));
        file.write(edge);
        if (GetParam().size > edge.size()) {
            file.resize(GetParam().size - edge.size());
            file.seek(GetParam().size - edge.size());
            file.write(edge);
        }
    }
    ASSERT_EQ(QFileInfo(source).size(), GetParam().size);
    const QStringList destinations{work(QStringLiteral("a.fcp")), work(QStringLiteral("b.fcp"))};
    const Outcome several = copyWith(*this, source, destinations, nullptr, GetParam().continueAnswers);
    const Outcome one = copyWith(*this, source, destinations, std::make_shared<CopyStreamFaults>(),
                                 GetParam().continueAnswers);
    expectSame(several, one);
    EXPECT_TRUE(several.failures.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, BothPaths,
    ::testing::Values(SizeCase{"Empty", 0, -1}, SizeCase{"OneByte", 1, -1},
                      SizeCase{"ChunkLessOne", 32767, -1}, SizeCase{"OneChunk", 32768, -1},
                      SizeCase{"ChunkAndOne", 32769, -1}, SizeCase{"FourChunks", 4 * 32768, -1},
                      SizeCase{"OddSize", 13 * 32768 + 5, -1}, SizeCase{"ExactlyOneStep", qint64(kStep), -1},
                      SizeCase{"StepAndABit", qint64(kStep) + 40000, -1},
                      SizeCase{"StoppedAtTheFirstReport", 2 * qint64(kStep) + 7, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(VerifiedCopy, AShortVectoredWriteFallsBackToChunksAsTheyWouldHaveGone) {
    const QByteArray contents = pattern(5 * 32768 + 100);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString copy = work(QStringLiteral("copy.fcp"));
    // Chunk by chunk, the second chunk's write puts down 7232 bytes; several per call, the
    // first call (four chunks) stops at the same byte.
    const Outcome one = copyWith(*this, source, {copy}, std::make_shared<LimitOneWrite>(copy, 1, 7232, true));
    const Outcome several =
        copyWith(*this, source, {copy}, std::make_shared<LimitOneWrite>(copy, 0, 40000, false));
    expectSame(several, one);
    EXPECT_TRUE(one.console.contains(QStringLiteral("Error writing file %1: 1").arg(copy)));
    // What follows the short write lands right after it, as the stream's position says.
    EXPECT_EQ(one.files.first(), contents.left(40000) + contents.mid(65536));
    EXPECT_EQ(one.failures, QStringList{copy});
    EXPECT_TRUE(one.result);
}

TEST_F(VerifiedCopy, AFailingSourceStopsAndReportsTheShortCopyTheSameWayOnBothPaths) {
    const QByteArray contents = pattern(5 * 32768 + 100);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString copy = work(QStringLiteral("copy.fcp"));
    const Outcome one = copyWith(*this, source, {copy}, std::make_shared<FailingRead>(source, 1, 7232, true));
    const Outcome several =
        copyWith(*this, source, {copy}, std::make_shared<FailingRead>(source, 0, 40000, false));
    expectSame(several, one);
    EXPECT_FALSE(one.result);
    EXPECT_EQ(one.console,
              (QStringList{
                  QStringLiteral("%1 returned 0 bytes").arg(source),
                  QStringLiteral("Error: copied file size does not match original source %1").arg(source)}));
    EXPECT_EQ(one.files.first(), contents.left(40000));
    EXPECT_TRUE(one.progress.isEmpty());
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
        QList<bool> onMainThread;
        QVariantMap last;
        bool done = false;
    };

    // Runs the event loop until the copy reports completion (at most 10 s).
    static void waitFor(Heard& heard) {
        QEventLoop loop;
        QTimer guard;
        guard.setSingleShot(true);
        QObject::connect(&guard, &QTimer::timeout, &loop, &QEventLoop::quit);
        guard.start(10000);
        while (!heard.done && guard.isActive())
            loop.processEvents(QEventLoop::WaitForMoreEvents);
    }

    std::shared_ptr<BMFileCopyDelegate> delegateFor(Heard& heard, bool withOperation) {
        auto delegate = std::make_shared<BMFileCopyDelegate>();
        auto note = [&heard](const QVariantMap& status) {
            heard.stages << status.value(QStringLiteral("stage")).toInt();
            heard.onMainThread << (QThread::currentThread() == QCoreApplication::instance()->thread());
            heard.last = status;
        };
        if (withOperation) {
            delegate->fileOperationProgressWithOperation = [note](const QVariantMap& s, BMFileOperation&) {
                note(s);
            };
            delegate->fileOperationFinishedWithOperation = [note, &heard](const QVariantMap& s,
                                                                          BMFileOperation& op) {
                note(s);
                EXPECT_EQ(op.stage(), BMFileOperation::Complete);
                heard.done = true;
            };
        } else {
            delegate->fileOperationProgress = note;
            delegate->fileOperationFinished = [note, &heard](const QVariantMap& s) {
                note(s);
                heard.done = true;
            };
        }
        return delegate;
    }
};

TEST_F(OlderForm, ReportsRunningThenCompleteOnTheMainThread) {
    const QByteArray contents = pattern(300000);
    const QString source = writeWork(QStringLiteral("Cut.fcp"), contents);
    const QString destination = work(QStringLiteral("new/Cut copy.fcp"));
    Heard heard;
    std::shared_ptr<BMFileOperation> operation;
    ASSERT_TRUE(BMFileManager::copyFileWithProgressOld(source, destination, delegateFor(heard, true),
                                                       QStringLiteral("o1"), QStringLiteral("o2"),
                                                       &operation));
    ASSERT_TRUE(operation);
    waitFor(heard);
    ASSERT_TRUE(heard.done);
    EXPECT_EQ(heard.stages.first(), int(BMFileOperation::Running));
    EXPECT_EQ(heard.stages.last(), int(BMFileOperation::Complete));
    EXPECT_EQ(heard.stages.count(int(BMFileOperation::Complete)), 1);
    EXPECT_FALSE(heard.onMainThread.contains(false));
    EXPECT_EQ(heard.last.value(QStringLiteral("error")).toInt(), 0);
    EXPECT_EQ(heard.last.value(QStringLiteral("bytesCompleted")).toULongLong(), quint64(contents.size()));
    EXPECT_EQ(heard.last.value(QStringLiteral("totalBytes")).toULongLong(), quint64(contents.size()));
    EXPECT_EQ(heard.last.value(QStringLiteral("destination")).toString(), destination);
    EXPECT_EQ(heard.last.value(QStringLiteral("source")).toString(), source);
    EXPECT_EQ(heard.last.value(QStringLiteral("operationtype")).toString(), QStringLiteral("copy"));
    EXPECT_EQ(heard.last.value(QStringLiteral("object2")).toString(), QStringLiteral("o2"));
    EXPECT_EQ(readFile(destination), contents);
}

TEST_F(OlderForm, AnExistingDestinationCompletesWithAnError) {
    const QString source = writeWork(QStringLiteral("Cut.fcp"), "new");
    const QString destination = writeWork(QStringLiteral("Cut copy.fcp"), "old");
    Heard heard;
    ASSERT_TRUE(BMFileManager::copyFileWithProgressOld(source, destination, delegateFor(heard, false)));
    waitFor(heard);
    ASSERT_TRUE(heard.done);
    EXPECT_EQ(heard.last.value(QStringLiteral("error")).toInt(), EEXIST);
    EXPECT_EQ(readFile(destination), "old");
}

TEST_F(OlderForm, AMissingSourceDoesNotStart) {
    Heard heard;
    ConsoleCapture console;
    EXPECT_FALSE(BMFileManager::copyFileWithProgressOld(
        work(QStringLiteral("missing")), work(QStringLiteral("x")), delegateFor(heard, false)));
    EXPECT_EQ(console.lines(),
              QStringList{QStringLiteral("Error: File %1 doesn't exist. Aborting copy process...")
                              .arg(work(QStringLiteral("missing")))});
}

TEST_F(OlderForm, ACancelledOperationRemovesWhatItWrote) {
    const QString source = writeWork(QStringLiteral("big.mov"));
    ASSERT_TRUE(QFile::resize(source, qint64(1) << 30));
    const QString destination = work(QStringLiteral("big copy.mov"));
    Heard heard;
    std::shared_ptr<BMFileOperation> operation;
    ASSERT_TRUE(BMFileManager::copyFileWithProgressOld(source, destination, delegateFor(heard, false),
                                                       QVariant(), QVariant(), &operation));
    BMFileManager::cancelFileOperation(operation);
    waitFor(heard);
    ASSERT_TRUE(heard.done);
    const int error = heard.last.value(QStringLiteral("error")).toInt();
    // A machine fast enough to copy a gibibyte before the request arrives finishes instead.
    if (error == 0)
        GTEST_SKIP() << "the copy finished before it could be cancelled";
    EXPECT_EQ(error, ECANCELED);
    EXPECT_FALSE(QFileInfo::exists(destination));
}

} // namespace
