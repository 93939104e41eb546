// The verified copy: one pass over the source to every destination, with read-back
// digests, progress and cancellation; and the older form on the background copy service.
#include "BMFileManager.h"
#include "BMFileOperation.h"
#include "Console.h"
#include "CopyStream.h"
#include "FileTree.h"
#include "MainThread.h"
#include "PathText.h"

#include <QElapsedTimer>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kChunkSize = 0x8000;

void say(const QString& text) {
    Console::print(text);
}

// The source's attributes set onto a copy: permissions, dates, and owner where allowed.
bool copyMetadata(const struct stat& info, const QString& destination) {
    const QByteArray path = QFile::encodeName(destination);
    bool ok = ::chmod(path.constData(), info.st_mode & 07777) == 0;
    if (::geteuid() == 0 || info.st_uid == ::geteuid())
        ok = ::chown(path.constData(), info.st_uid, info.st_gid) == 0 && ok;
    const timespec times[2] = {info.st_atim, info.st_mtim};
    ok = ::utimensat(AT_FDCWD, path.constData(), times, 0) == 0 && ok;
    return ok;
}

} // namespace

bool BMFileManager::copyFileWithProgress(const QString& source, const QString& destination,
                                         BMFileCopyDelegate* delegate, const QVariant& object,
                                         const QVariant& object2) {
    return copyFileWithProgress(source, QStringList{destination}, Verification::None, delegate, object,
                                object2);
}

bool BMFileManager::copyFileWithProgress(const QString& source, const QString& destination,
                                         BMFileCopyDelegate* delegate, const QVariant& object) {
    return copyFileWithProgress(source, QStringList{destination}, Verification::None, delegate, object,
                                QVariant());
}

bool BMFileManager::copyFileWithProgress(const QString& source, const QStringList& destinations,
                                         Verification verification, BMFileCopyDelegate* delegate,
                                         const QVariant& object, const QVariant& object2) {
    if (!fileExistsAtPath(source)) {
        say(QStringLiteral("Error: File %1 doesn't exist. Aborting copy process...").arg(source));
        return false;
    }
    if (destinations.isEmpty()) {
        say(QStringLiteral("Error: You must have at least one destination. Aborting copy process..."));
        return false;
    }
    for (const QString& destination : destinations) {
        const QString parent = PathText::deletingLastComponent(destination);
        if (!fileExistsAtPath(parent) && !createDirectoryWithTimeout(parent, 10)) {
            say(QStringLiteral("Unable to copy file %1 - destination directory %2 doesn't exist. Aborting "
                               "copy process...")
                    .arg(source, parent));
            return false;
        }
    }

    QVariantMap settings;
    settings.insert(QStringLiteral("source"), source);
    settings.insert(QStringLiteral("destinations"), destinations);
    settings.insert(QStringLiteral("operationtype"), QStringLiteral("copy"));
    if (delegate)
        settings.insert(QStringLiteral("delegate"), QVariant::fromValue(static_cast<void*>(delegate)));
    if (object.isValid())
        settings.insert(QStringLiteral("object"), object);
    if (object2.isValid())
        settings.insert(QStringLiteral("object2"), object2);

    std::unique_ptr<CopyStream> input = CopyStream::open(source, CopyStream::Mode::Read);
    if (!input) {
        say(QStringLiteral("Error: Unable to read source file %1. Aborting copy process...").arg(source));
        return false;
    }
    struct stat sourceInfo {};
    const bool haveSourceInfo = ::fstat(input->descriptor(), &sourceInfo) == 0;
    const quint64 sourceSize = haveSourceInfo ? quint64(sourceInfo.st_size) : 0;

    const bool verifying = verification != Verification::None;
    const BMDigestContext::Algorithm algorithm = verification == Verification::SHA1
                                                     ? BMDigestContext::Algorithm::SHA1
                                                     : BMDigestContext::Algorithm::MD5;
    std::vector<std::unique_ptr<CopyStream>> outputs;
    std::vector<BMDigestContext> destinationDigests;
    for (const QString& destination : destinations) {
        std::unique_ptr<CopyStream> output =
            CopyStream::open(destination, CopyStream::Mode::ReadWriteTruncate);
        if (!output) {
            say(QStringLiteral("Error: Unable to open destination file %1. Aborting copy process...")
                    .arg(destination));
            return false;
        }
        outputs.push_back(std::move(output));
        if (verifying)
            destinationDigests.emplace_back(algorithm);
    }
    BMDigestContext sourceDigest(algorithm);

    quint64 total = 0;
    quint64 lastReport = 0;
    bool cancelled = false;
    while (!input->atEnd()) {
        // A fresh buffer for every chunk.
        std::unique_ptr<char[]> buffer(new (std::nothrow) char[kChunkSize]);
        if (!buffer) {
            say(QStringLiteral("Error copying file %1 - out of memory").arg(source));
            return false;
        }
        const size_t read = input->read(buffer.get(), kChunkSize);
        if (read == 0)
            say(QStringLiteral("%1 returned 0 bytes").arg(source));
        if (read == 0 && input->error())
            break; // a failing source never reaches its end; the size check reports it
        if (verifying)
            sourceDigest.update(buffer.get(), read);

        for (size_t i = 0; i < outputs.size(); ++i) {
            CopyStream& output = *outputs[i];
            const quint64 position = output.position();
            if (output.write(buffer.get(), read) != read)
                say(QStringLiteral("Error writing file %1: %2").arg(output.path()).arg(output.error()));
            if (!verifying || read == 0)
                continue;
            // What the storage gives back, not what was sent, goes into the digest.
            std::unique_ptr<char[]> readBack(new (std::nothrow) char[read]);
            if (!readBack) {
                say(QStringLiteral("Error copying file %1 - out of memory").arg(source));
                return false;
            }
            if (!output.seek(position)) {
                const int savedErrno = errno;
                say(QStringLiteral("Error: unable to seek within file %1").arg(output.path()));
                say(QStringLiteral("cur pos: %1").arg(total));
                say(QStringLiteral("read size: %1").arg(read));
                say(QStringLiteral("errno: %1").arg(savedErrno));
                say(QStringLiteral("err: %1").arg(output.error()));
            }
            const size_t back = output.read(readBack.get(), read);
            destinationDigests[i].update(readBack.get(), back);
        }
        buffer.reset();
        total += read;

        if (delegate && total - lastReport >= progressStep) {
            lastReport = total;
            if (delegate->fileCopyBytesWritten)
                delegate->fileCopyBytesWritten(total, settings);
            if (delegate->fileCopyShouldContinue && !delegate->fileCopyShouldContinue(settings)) {
                cancelled = true;
                break;
            }
        }
    }
    input.reset();
    outputs.clear();

    if (cancelled)
        return false;
    if (total < sourceSize) {
        say(QStringLiteral("Error: copied file size does not match original source %1").arg(source));
        return false;
    }
    if (delegate && delegate->fileCopyBytesWritten)
        delegate->fileCopyBytesWritten(total, settings);

    if (verifying) {
        const QString sourceChecksum = verification == Verification::SHA1 ? sha1HashWithContext(sourceDigest)
                                                                          : md5HashWithContext(sourceDigest);
        settings.insert(QStringLiteral("sourceChecksum"), sourceChecksum);
        QStringList checksums;
        for (qsizetype i = 0; i < destinations.size(); ++i) {
            const BMDigestContext& digest = destinationDigests[size_t(i)];
            const QString checksum =
                verification == Verification::SHA1 ? sha1HashWithContext(digest) : md5HashWithContext(digest);
            checksums << checksum;
            if (checksum != sourceChecksum && delegate && delegate->fileCopyVerificationFailed) {
                settings.insert(QStringLiteral("destChecksum"), checksum);
                delegate->fileCopyVerificationFailed(settings, destinations[i]);
            }
        }
        settings.insert(QStringLiteral("destChecksums"), checksums);
    }

    struct stat metadata {};
    if (::stat(QFile::encodeName(source).constData(), &metadata) != 0) {
        say(QStringLiteral("Error getting metadata for file %1").arg(source));
    } else {
        for (const QString& destination : destinations) {
            if (!copyMetadata(metadata, destination))
                say(QStringLiteral("Error setting metadata for file %1").arg(destination));
        }
    }

    if (delegate && delegate->fileCopyFinished)
        delegate->fileCopyFinished(settings);
    return true;
}

// ---- The background copy service ----------------------------------------------------------

BMFileOperation::BMFileOperation(QString source, QString destination,
                                 std::shared_ptr<BMFileCopyDelegate> delegate, QVariantMap settings)
    : m_source(std::move(source)), m_destination(std::move(destination)), m_delegate(std::move(delegate)),
      m_settings(std::move(settings)) {
}

BMFileOperation::~BMFileOperation() {
    // The worker holds a reference of its own, so the last one to go may be the worker.
    std::lock_guard lock(m_threadMutex);
    if (m_thread.joinable()) {
        if (m_thread.get_id() == std::this_thread::get_id())
            m_thread.detach();
        else
            m_thread.join();
    }
}

bool BMFileOperation::start(QString* error) {
    std::lock_guard lock(m_threadMutex);
    try {
        m_thread = std::thread([self = shared_from_this()] { self->run(); });
    } catch (const std::system_error& e) {
        if (error)
            *error = QString::number(e.code().value());
        return false;
    }
    return true;
}

void BMFileOperation::waitUntilCopied() {
    std::thread worker;
    {
        std::lock_guard lock(m_threadMutex);
        if (!m_thread.joinable() || m_thread.get_id() == std::this_thread::get_id())
            return;
        worker = std::move(m_thread);
    }
    worker.join();
}

void BMFileOperation::report(Stage stage, const QVariantMap& status) {
    m_stage.store(stage);
    QVariantMap merged = m_settings;
    merged.insert(QStringLiteral("stage"), int(stage));
    for (auto it = status.cbegin(); it != status.cend(); ++it)
        merged.insert(it.key(), it.value());
    // The operation and the delegate stay alive until the report has been delivered.
    MainThread::post([self = shared_from_this(), stage, merged] {
        BMFileCopyDelegate* delegate = self->m_delegate.get();
        if (!delegate)
            return;
        if (stage == Running) {
            if (delegate->fileOperationProgressWithOperation)
                delegate->fileOperationProgressWithOperation(merged, *self);
            else if (delegate->fileOperationProgress)
                delegate->fileOperationProgress(merged);
        } else if (stage == Complete) {
            if (delegate->fileOperationFinishedWithOperation)
                delegate->fileOperationFinishedWithOperation(merged, *self);
            else if (delegate->fileOperationFinished)
                delegate->fileOperationFinished(merged);
        }
    });
}

void BMFileOperation::run() {
    const quint64 totalBytes = FileTree::contentSize(m_source);
    QElapsedTimer clock;
    clock.start();
    qint64 lastReport = 0;
    auto status = [&](quint64 done) {
        const double seconds = double(clock.elapsed()) / 1000.0;
        return QVariantMap{{QString::fromLatin1(bytesCompletedKey), done},
                           {QString::fromLatin1(totalBytesKey), totalBytes},
                           {QString::fromLatin1(throughputKey), seconds > 0 ? double(done) / seconds : 0.0}};
    };
    report(Running, status(0));

    FileTree::CopyControl control;
    control.cancelled = &m_cancelled;
    control.progress = [&](quint64 done) {
        if (clock.elapsed() - lastReport >= statusInterval * 1000) {
            lastReport = clock.elapsed();
            report(Running, status(done));
        }
    };
    QString error;
    const bool copied = FileTree::copyItem(m_source, m_destination, &error, &control);
    const int failure = copied ? 0 : (m_cancelled.load() ? ECANCELED : errno);
    QVariantMap finalStatus = status(copied ? totalBytes : 0);
    finalStatus.insert(QString::fromLatin1(errorKey), failure);
    if (!copied)
        finalStatus.insert(QString::fromLatin1(errorDescriptionKey), error);
    report(Complete, finalStatus);
}

bool BMFileManager::copyFileWithProgressOld(const QString& source, const QString& destination,
                                            std::shared_ptr<BMFileCopyDelegate> delegate,
                                            const QVariant& object, const QVariant& object2,
                                            std::shared_ptr<BMFileOperation>* operation) {
    if (!fileExistsAtPath(source)) {
        say(QStringLiteral("Error: File %1 doesn't exist. Aborting copy process...").arg(source));
        return false;
    }
    const QString parent = PathText::deletingLastComponent(destination);
    if (!fileExistsAtPath(parent) && !createDirectoryWithTimeout(parent, 10)) {
        say(QStringLiteral(
                "Unable to copy file %1 - destination directory %2 doesn't exist. Aborting copy process...")
                .arg(source, parent));
        return false;
    }
    QVariantMap settings;
    settings.insert(QStringLiteral("source"), source);
    settings.insert(QStringLiteral("destination"), destination);
    settings.insert(QStringLiteral("operationtype"), QStringLiteral("copy"));
    if (delegate)
        settings.insert(QStringLiteral("delegate"), QVariant::fromValue(static_cast<void*>(delegate.get())));
    if (object.isValid())
        settings.insert(QStringLiteral("object"), object);
    if (object2.isValid())
        settings.insert(QStringLiteral("object2"), object2);

    auto started = std::make_shared<BMFileOperation>(source, destination, std::move(delegate), settings);
    QString error;
    if (!started->start(&error)) {
        say(QStringLiteral("Failed to begin asynchronous object copy: %1").arg(error));
        return false;
    }
    if (operation)
        *operation = started;
    return true;
}

void BMFileManager::cancelFileOperation(const std::shared_ptr<BMFileOperation>& operation) {
    if (operation)
        operation->cancel();
}
