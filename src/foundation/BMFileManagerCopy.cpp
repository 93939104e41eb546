// The verified copy: one pass over the source to every destination, with read-back
// digests, progress and cancellation; and the older form on the background copy service.
#include "BMFileManager.h"
#include "BMFileOperation.h"
#include "Console.h"
#include "CopyStream.h"
#include "FileTree.h"
#include "MainThread.h"
#include "PathText.h"
#include "foundation/FileName.h"

#include <QElapsedTimer>
#include <QFile>
#include <QStringList>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <numeric>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kChunkSize = 0x8000;
// Chunks handed to the destinations' writers at a time, read by one system call: the
// chunk stays the unit of the copy (its own buffer, its digest update, its messages), while
// the calls into the system and the hand-overs between threads, which cost more than the
// copying on a cached file, are made for many at a time.
constexpr int kBatchChunks = 32;
// Chunks written by one system call: 128 KiB, the size cp writes in. Larger writes to two
// files side by side made the system's page cache erratic (runs of two to five times the
// usual time).
constexpr size_t kWriteChunks = 4;

void say(const QString& text) {
    Console::print(text);
}

// The folder a copy goes into: a bare name goes into the working folder, which is there.
QString destinationFolder(const QString& destination) {
    const QString parent = PathText::deletingLastComponent(destination);
    return parent.isEmpty() ? QStringLiteral(".") : parent;
}

// The buffers of the chunks, recycled within one copy: every chunk in flight has a buffer
// of its own, and a buffer goes back to the pool once its chunk is written and digested.
// Allocating each one afresh made the C library hand the memory back to the system and
// fault it in again for every round, which cost more than the copying itself.
class ChunkPool {
public:
    struct Return {
        ChunkPool* pool = nullptr;
        void operator()(char* buffer) const { pool->give(buffer); }
    };
    using Buffer = std::unique_ptr<char[], Return>;

    ChunkPool() = default;
    ChunkPool(const ChunkPool&) = delete;
    ChunkPool& operator=(const ChunkPool&) = delete;
    ~ChunkPool() {
        for (char* buffer : m_free)
            delete[] buffer;
    }

    // Null when out of memory.
    Buffer take() {
        {
            std::lock_guard lock(m_mutex);
            if (!m_free.empty()) {
                char* buffer = m_free.back();
                m_free.pop_back();
                return Buffer(buffer, Return{this});
            }
        }
        return Buffer(new (std::nothrow) char[kChunkSize], Return{this});
    }

private:
    void give(char* buffer) {
        std::lock_guard lock(m_mutex);
        m_free.push_back(buffer);
    }

    std::mutex m_mutex;
    std::vector<char*> m_free;
};

struct Chunk {
    ChunkPool::Buffer data;
    size_t size = 0;
};

// The chunks of one round, each read into a buffer of its own.
struct Batch {
    std::vector<Chunk> chunks;

    quint64 bytes() const {
        quint64 sum = 0;
        for (const Chunk& chunk : chunks)
            sum += chunk.size;
        return sum;
    }

    // Reads up to count chunks. The chunks are what reading them one by one would give:
    // full ones, then at the end of the file (or on an error) one with what was left,
    // which may be nothing. False when out of memory.
    bool read(ChunkPool& pool, CopyStream& input, int count, bool oneByOne) {
        chunks.resize(size_t(count));
        std::vector<iovec> buffers(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) {
            chunks[size_t(i)].data = pool.take();
            if (!chunks[size_t(i)].data)
                return false;
            buffers[size_t(i)] = {chunks[size_t(i)].data.get(), kChunkSize};
        }
        if (oneByOne) {
            chunks[0].size = input.read(chunks[0].data.get(), kChunkSize);
            return true;
        }
        size_t got = input.readv(buffers.data(), count);
        size_t used = 0;
        for (Chunk& chunk : chunks) {
            chunk.size = std::min(got, kChunkSize);
            got -= chunk.size;
            ++used;
            if (chunk.size < kChunkSize)
                break; // the end of the file, or an error: nothing follows this chunk
        }
        chunks.resize(used);
        return true;
    }
};

// Console lines of one batch, printed in the order of the chunk-by-chunk copy: for each
// chunk the source's line, then each destination's lines in destination order.
class ChunkMessages {
public:
    ChunkMessages(size_t chunks, size_t destinations)
        : m_source(chunks), m_destinations(chunks, std::vector<QStringList>(destinations)) {}
    void sourceLine(size_t chunk, const QString& line) { m_source[chunk] << line; }
    void line(size_t chunk, size_t destination, const QString& line) {
        m_destinations[chunk][destination] << line;
    }
    void print() const {
        for (size_t c = 0; c < m_source.size(); ++c) {
            for (const QString& line : m_source[c])
                say(line);
            for (const QStringList& lines : m_destinations[c]) {
                for (const QString& line : lines)
                    say(line);
            }
        }
    }

private:
    std::vector<QStringList> m_source;
    std::vector<std::vector<QStringList>> m_destinations;
};

// A digest fed on a thread of its own, so that the destinations' digests are computed
// while the copy goes on. Blocks arrive in order and are digested in that order.
class DigestWorker {
public:
    struct Block {
        ChunkPool::Buffer data;
        size_t size = 0;
    };

    explicit DigestWorker(BMDigestContext& context) : m_context(context), m_thread([this] { run(); }) {}
    ~DigestWorker() { finish(); }
    DigestWorker(const DigestWorker&) = delete;
    DigestWorker& operator=(const DigestWorker&) = delete;

    // Blocks of one batch are handed over together: one hand-over per batch, not per chunk.
    void add(std::vector<Block> blocks) {
        if (blocks.empty())
            return;
        std::unique_lock lock(m_mutex);
        // Bounded, so that a slow digest holds the copy back rather than filling memory.
        m_space.wait(lock, [this] { return m_queued < kMaxQueued; });
        m_queued += blocks.size();
        m_batches.push_back(std::move(blocks));
        m_ready.notify_one();
    }

    // Waits until every block has gone into the digest.
    void finish() {
        {
            std::lock_guard lock(m_mutex);
            m_finished = true;
        }
        m_ready.notify_one();
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    static constexpr size_t kMaxQueued = 512; // chunks: 16 MiB

    void run() {
        for (;;) {
            std::vector<Block> blocks;
            {
                std::unique_lock lock(m_mutex);
                m_ready.wait(lock, [this] { return !m_batches.empty() || m_finished; });
                if (m_batches.empty())
                    return;
                blocks = std::move(m_batches.front());
                m_batches.pop_front();
                m_queued -= blocks.size();
                m_space.notify_one();
            }
            for (const Block& block : blocks)
                m_context.update(block.data.get(), block.size);
        }
    }

    BMDigestContext& m_context;
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::condition_variable m_space;
    std::deque<std::vector<Block>> m_batches;
    size_t m_queued = 0;
    bool m_finished = false;
    std::thread m_thread;
};

// One destination's share of a batch.
struct DestinationStep {
    CopyStream& output;
    DigestWorker* digest; // null when not verifying
    ChunkPool& pool;
    ChunkMessages& messages;
    size_t index;
    quint64 totalBefore; // bytes of the source copied before the batch

    // The chunk as the copy has always treated it: write, then go back and read the
    // chunk again for the digest. False when out of memory.
    bool chunk(const Chunk& chunk, size_t c, quint64 totalBeforeChunk) {
        const quint64 position = output.position();
        if (output.write(chunk.data.get(), chunk.size) != chunk.size)
            messages.line(c, index,
                          QStringLiteral("Error writing file %1: %2").arg(output.path()).arg(output.error()));
        return readBack(chunk.size, c, position, totalBeforeChunk);
    }

    bool readBack(size_t size, size_t c, quint64 position, quint64 totalBeforeChunk) {
        if (!digest || size == 0)
            return true;
        // What the storage gives back, not what was sent, goes into the digest.
        ChunkPool::Buffer back = pool.take();
        if (!back)
            return false;
        if (!output.seek(position)) {
            const int savedErrno = errno;
            messages.line(c, index,
                          QStringLiteral("Error: unable to seek within file %1").arg(output.path()));
            messages.line(c, index, QStringLiteral("cur pos: %1").arg(totalBeforeChunk));
            messages.line(c, index, QStringLiteral("read size: %1").arg(size));
            messages.line(c, index, QStringLiteral("errno: %1").arg(savedErrno));
            messages.line(c, index, QStringLiteral("err: %1").arg(output.error()));
        }
        const size_t got = output.read(back.get(), size);
        std::vector<DigestWorker::Block> blocks;
        blocks.push_back({std::move(back), got});
        digest->add(std::move(blocks));
        return true;
    }

    bool chunkByChunk(const Batch& batch, size_t from) {
        quint64 before = totalBefore;
        for (size_t c = 0; c < batch.chunks.size(); ++c) {
            if (c >= from && !chunk(batch.chunks[c], c, before))
                return false;
            before += batch.chunks[c].size;
        }
        return true;
    }

    // The chunks in writes of kWriteChunks each, then one read-back. When a write falls short,
    // the chunks that were written whole are read back, the one that fell short is handled as a
    // short write, and the rest go chunk by chunk, as they would have; false then, so
    // that this destination goes chunk by chunk from here on.
    bool batched(const Batch& batch, bool* outOfMemory) {
        const quint64 start = output.position();
        std::vector<iovec> buffers;
        size_t wanted = 0;
        for (const Chunk& chunk : batch.chunks) {
            buffers.push_back({chunk.data.get(), chunk.size});
            wanted += chunk.size;
        }
        size_t written = 0;
        for (size_t first = 0; first < buffers.size(); first += kWriteChunks) {
            const size_t count = std::min(kWriteChunks, buffers.size() - first);
            const size_t part = std::accumulate(buffers.begin() + ptrdiff_t(first),
                                                buffers.begin() + ptrdiff_t(first + count), size_t(0),
                                                [](size_t sum, const iovec& b) { return sum + b.iov_len; });
            const size_t done = output.writev(buffers.data() + first, int(count));
            written += done;
            if (done < part)
                break;
        }
        size_t whole = 0;
        size_t covered = 0;
        while (whole < batch.chunks.size() && covered + batch.chunks[whole].size <= written) {
            covered += batch.chunks[whole].size;
            ++whole;
        }
        if (digest && covered > 0 && !readBackWhole(batch, whole, start)) {
            *outOfMemory = true;
            return false;
        }
        if (written == wanted)
            return true;

        // Chunk `whole` went down only in part, and the file now ends there.
        const Chunk& shortChunk = batch.chunks[whole];
        messages.line(whole, index,
                      QStringLiteral("Error writing file %1: %2").arg(output.path()).arg(output.error()));
        if (!readBack(shortChunk.size, whole, start + covered, totalBefore + covered)) {
            *outOfMemory = true;
            return false;
        }
        // The read-back leaves the position where the next chunk is written, as it did.
        if (!chunkByChunk(batch, whole + 1))
            *outOfMemory = true;
        return false;
    }

    // The chunks read back in one call, each into a fresh buffer, for the digest.
    bool readBackWhole(const Batch& batch, size_t chunks, quint64 start) {
        std::vector<ChunkPool::Buffer> backs;
        std::vector<iovec> buffers;
        for (size_t c = 0; c < chunks; ++c) {
            if (batch.chunks[c].size == 0)
                continue;
            backs.push_back(pool.take());
            if (!backs.back())
                return false;
            buffers.push_back({backs.back().get(), batch.chunks[c].size});
        }
        const quint64 end = output.position();
        output.seek(start);
        size_t got = output.readv(buffers.data(), int(buffers.size()));
        std::vector<DigestWorker::Block> blocks;
        for (size_t i = 0; i < buffers.size(); ++i) {
            const size_t part = std::min(got, buffers[i].iov_len);
            blocks.push_back({std::move(backs[i]), part});
            got -= part;
        }
        digest->add(std::move(blocks));
        output.seek(end);
        return true;
    }
};

// The source's attributes set onto a copy: permissions, dates, and owner where allowed.
bool copyMetadata(const struct stat& info, const QString& destination) {
    const QByteArray path = FileName::encode(destination);
    bool ok = ::chmod(path.constData(), info.st_mode & 07777) == 0;
    if (::geteuid() == 0 || info.st_uid == ::geteuid())
        ok = ::chown(path.constData(), info.st_uid, info.st_gid) == 0 && ok;
    const timespec times[2] = {info.st_atim, info.st_mtim};
    ok = ::utimensat(AT_FDCWD, path.constData(), times, 0) == 0 && ok;
    return ok;
}

void copySourceMetadata(const QString& source, const QStringList& destinations) {
    struct stat metadata {};
    if (::stat(FileName::encode(source).constData(), &metadata) != 0) {
        say(QStringLiteral("Error getting metadata for file %1").arg(source));
        return;
    }
    for (const QString& destination : destinations) {
        if (!copyMetadata(metadata, destination))
            say(QStringLiteral("Error setting metadata for file %1").arg(destination));
    }
}

// A batch on its way to every destination. When the last destination is done with it, its
// chunks go on into the source's digest: destinations take batches in order, so batches
// are let go of in order too.
struct SharedBatch {
    Batch batch;
    DigestWorker* sourceDigest = nullptr;

    ~SharedBatch() {
        if (!sourceDigest)
            return;
        std::vector<DigestWorker::Block> blocks;
        for (Chunk& chunk : batch.chunks)
            blocks.push_back({std::move(chunk.data), chunk.size});
        sourceDigest->add(std::move(blocks));
    }
};

// What the destinations do with one batch: their console lines, and how many of them are
// still at it.
struct Round {
    ChunkMessages messages;
    quint64 totalBefore = 0;
    std::atomic<int> remaining{0};

    Round(size_t chunks, size_t destinations, quint64 before)
        : messages(chunks, destinations), totalBefore(before), remaining(int(destinations)) {}
};

// One destination's work, on a thread of its own, so that the destinations are written
// side by side (on separate disks, at the same time). Rounds are taken in order.
class DestinationWriter {
public:
    DestinationWriter(CopyStream& output, DigestWorker* digest, ChunkPool& pool, size_t index)
        : m_output(output), m_digest(digest), m_pool(pool), m_index(index),
          m_chunkByChunk(output.oneChunkPerCall()), m_thread([this] { run(); }) {}
    ~DestinationWriter() {
        {
            std::lock_guard lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_one();
        m_thread.join();
    }
    DestinationWriter(const DestinationWriter&) = delete;
    DestinationWriter& operator=(const DestinationWriter&) = delete;

    // Each destination holds the batch of its own accord until it is done with it.
    void add(std::shared_ptr<Round> round, std::shared_ptr<SharedBatch> batch) {
        std::unique_lock lock(m_mutex);
        m_idle.wait(lock, [this] { return m_jobs.size() < kMaxQueued; });
        m_jobs.push_back({std::move(round), std::move(batch)});
        m_wake.notify_one();
    }

    // Until every round handed over is done.
    void waitUntilIdle() {
        std::unique_lock lock(m_mutex);
        m_idle.wait(lock, [this] { return m_jobs.empty() && !m_busy; });
    }

    bool outOfMemory() const { return m_outOfMemory.load(); }

private:
    static constexpr size_t kMaxQueued = 8; // rounds: 8 MiB

    struct Job {
        std::shared_ptr<Round> round;
        std::shared_ptr<SharedBatch> batch;
    };

    void run() {
        for (;;) {
            Job job;
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait(lock, [this] { return !m_jobs.empty() || m_stopping; });
                if (m_jobs.empty())
                    return;
                job = std::move(m_jobs.front());
                m_jobs.pop_front();
                m_busy = true;
                m_idle.notify_all();
            }
            work(*job.round, job.batch->batch);
            // The batch is let go of before the round counts as done.
            job.batch.reset();
            job.round->remaining.fetch_sub(1, std::memory_order_acq_rel);
            job.round.reset();
            {
                std::lock_guard lock(m_mutex);
                m_busy = false;
            }
            m_idle.notify_all();
        }
    }

    void work(Round& round, const Batch& batch) {
        if (m_outOfMemory.load())
            return; // the copy ends with an error; nothing more is written
        DestinationStep step{m_output, m_digest, m_pool, round.messages, m_index, round.totalBefore};
        bool outOfMemory = false;
        if (m_chunkByChunk)
            outOfMemory = !step.chunkByChunk(batch, 0);
        else if (!step.batched(batch, &outOfMemory))
            m_chunkByChunk = true;
        if (outOfMemory)
            m_outOfMemory.store(true);
    }

    CopyStream& m_output;
    DigestWorker* m_digest;
    ChunkPool& m_pool;
    const size_t m_index;
    bool m_chunkByChunk; // only the writer's own thread uses it once started
    std::atomic<bool> m_outOfMemory{false};
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<Job> m_jobs;
    bool m_busy = false;
    bool m_stopping = false;
    std::thread m_thread;
};

// The copy without a checksum to one destination, done by the kernel where that pays (it may
// share the blocks, or have a server copy them), else through one small buffer. With several
// destinations, each stretch of the source goes to every one in turn.
enum class KernelCopy {
    Done,
    NotHere,   // the file systems cannot: nothing was written, the copy goes through memory
    Failed,    // a destination could not be written (it is said which, and why)
    Cancelled, // the delegate asked to stop
};

// Whether the kernel's copy can do better than moving the bytes through memory: share the
// blocks (Btrfs, XFS) or have the server copy them (NFS 4.2, SMB, Ceph). Everywhere else (ext4,
// tmpfs, FAT and the rest) copy_file_range moves the data page by page through a pipe, which
// measured about a tenth slower than reading and writing 128 KiB at a time, as cp does.
bool kernelCopyPays(int destination) {
    struct statfs info {};
    if (::fstatfs(destination, &info) != 0)
        return true;
    switch (static_cast<unsigned long>(info.f_type)) {
    case 0x6969UL:     // NFS
    case 0xFE534D42UL: // SMB2
    case 0xFF534D42UL: // CIFS
    case 0x9123683EUL: // Btrfs
    case 0x58465342UL: // XFS
    case 0x00C36400UL: // Ceph
        return true;
    default:
        return false;
    }
}

// One stretch through a buffer the size cp uses, small enough to stay in the processor's
// cache between the read and the write; the result and errno as copy_file_range gives them.
// readFailed tells a failed read of the source from a failed write.
ssize_t copyThroughBuffer(int from, loff_t* offset, int to, size_t wanted, std::vector<char>& buffer,
                          bool* readFailed) {
    buffer.resize(size_t(1) << 17);
    const ssize_t n = ::pread(from, buffer.data(), std::min(wanted, buffer.size()), *offset);
    *readFailed = n < 0;
    if (n <= 0)
        return n;
    for (ssize_t done = 0; done < n;) {
        const ssize_t written = ::write(to, buffer.data() + done, size_t(n - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return -1;
        if (written == 0) {
            errno = EIO;
            return -1;
        }
        done += written;
    }
    *offset += n;
    return n;
}

KernelCopy copyInKernel(CopyStream& input, quint64 size,
                        const std::vector<std::unique_ptr<CopyStream>>& outputs, BMFileCopyDelegate* delegate,
                        QVariantMap& settings, quint64* total) {
    constexpr size_t kStretch = size_t(1) << 20;
    const bool throughBuffer = !kernelCopyPays(outputs.front()->descriptor());
    if (throughBuffer)
        outputs.front()->reserve(size);
    std::vector<char> buffer;
    bool readFailed = false;
    quint64 lastReport = 0;
    for (;;) {
        // Each stretch ends where the next report is due, so that reports fall where the
        // copy through memory puts them.
        size_t wanted = kStretch;
        if (delegate)
            wanted = size_t(std::min<quint64>(wanted, lastReport + BMFileManager::progressStep - *total));
        ssize_t stretch = -1;
        for (size_t d = 0; d < outputs.size(); ++d) {
            loff_t from = loff_t(*total);
            size_t want = d == 0 ? wanted : size_t(stretch);
            ssize_t moved = 0;
            while (want > 0) {
                const ssize_t n = throughBuffer
                                      ? copyThroughBuffer(input.descriptor(), &from, outputs[d]->descriptor(),
                                                          want, buffer, &readFailed)
                                      : ::copy_file_range(input.descriptor(), &from, outputs[d]->descriptor(),
                                                          nullptr, want, 0);
                if (n < 0 && errno == EINTR)
                    continue;
                if (n < 0 && *total == 0 && moved == 0 &&
                    (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP))
                    return KernelCopy::NotHere;
                if (n < 0) {
                    const int failure = errno;
                    say((readFailed ? QStringLiteral("Error reading file %1: %2")
                                    : QStringLiteral("Error writing file %1: %2"))
                            .arg(readFailed ? input.path() : outputs[d]->path(),
                                 QString::fromLocal8Bit(std::strerror(failure))));
                    return KernelCopy::Failed;
                }
                if (n == 0)
                    break;
                moved += n;
                want -= size_t(n);
                if (d > 0 && want > 0)
                    continue;
                if (d == 0)
                    break; // the first destination sets the stretch; a short one is fine
            }
            if (d == 0) {
                stretch = moved;
            } else if (moved != stretch) {
                say(QStringLiteral("Error writing file %1: %2")
                        .arg(outputs[d]->path(), QString::fromLocal8Bit(std::strerror(EIO))));
                return KernelCopy::Failed;
            }
        }
        if (stretch == 0) {
            // Some files (the kernel's own) show nothing to a kernel copy at all.
            return *total == 0 ? KernelCopy::NotHere : KernelCopy::Done;
        }
        *total += quint64(stretch);
        if (delegate && *total - lastReport >= BMFileManager::progressStep) {
            lastReport = *total;
            if (delegate->fileCopyBytesWritten)
                delegate->fileCopyBytesWritten(*total, settings);
            if (delegate->fileCopyShouldContinue && !delegate->fileCopyShouldContinue(settings))
                return KernelCopy::Cancelled;
        }
    }
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
        const QString parent = destinationFolder(destination);
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
    std::vector<QByteArray> madeHere; // destinations that did not exist before this copy
    for (const QString& destination : destinations) {
        if (!FileTree::exists(destination))
            madeHere.push_back(FileName::encode(destination));
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
    quint64 total = 0;
    bool cancelled = false;
    // Several destinations go through memory: the source is read once, and each is written
    // by a thread of its own at the same time, which the kernel's copy cannot do.
    if (!verifying && outputs.size() == 1 && !input->hasFaults() && sourceSize > 0) {
        switch (copyInKernel(*input, sourceSize, outputs, delegate, settings, &total)) {
        case KernelCopy::Done:
            outputs.clear();
            if (total < sourceSize) {
                say(QStringLiteral("Error: copied file size does not match original source %1").arg(source));
                return false;
            }
            if (delegate && delegate->fileCopyBytesWritten)
                delegate->fileCopyBytesWritten(total, settings);
            copySourceMetadata(source, destinations);
            if (delegate && delegate->fileCopyFinished)
                delegate->fileCopyFinished(settings);
            return true;
        case KernelCopy::NotHere:
            break;
        case KernelCopy::Failed:
            // Nothing that is only part of the source is left behind as if it were a copy.
            outputs.clear();
            for (const QByteArray& destination : madeHere)
                ::unlink(destination.constData());
            return false;
        case KernelCopy::Cancelled:
            return false;
        }
    }
    for (const auto& output : outputs)
        output->reserve(sourceSize);
    BMDigestContext sourceDigest(algorithm);
    ChunkPool pool; // outlives every chunk and every digest worker below
    // The digests are computed beside the copy, each on a thread of its own.
    std::unique_ptr<DigestWorker> sourceWorker =
        verifying ? std::make_unique<DigestWorker>(sourceDigest) : nullptr;
    std::vector<std::unique_ptr<DigestWorker>> digestWorkers;
    for (BMDigestContext& digest : destinationDigests)
        digestWorkers.push_back(std::make_unique<DigestWorker>(digest));

    quint64 lastReport = 0;
    // A source whose faults ask for it goes chunk by chunk, and so does one that failed.
    bool sourceChunkByChunk = input->oneChunkPerCall();
    std::deque<std::shared_ptr<Round>> unprinted;
    std::vector<std::unique_ptr<DestinationWriter>> writers;
    for (size_t d = 0; d < outputs.size(); ++d)
        writers.push_back(std::make_unique<DestinationWriter>(
            *outputs[d], verifying ? digestWorkers[d].get() : nullptr, pool, d));
    // Console lines come out in the order of the chunks, as soon as every destination is
    // done with a round.
    auto printDone = [&unprinted] {
        while (!unprinted.empty() && unprinted.front()->remaining.load(std::memory_order_acquire) == 0) {
            unprinted.front()->messages.print();
            unprinted.pop_front();
        }
    };
    auto waitForWriters = [&] {
        for (const auto& writer : writers)
            writer->waitUntilIdle();
        printDone();
        return std::none_of(writers.begin(), writers.end(), [](const auto& w) { return w->outOfMemory(); });
    };

    while (!input->atEnd()) {
        // A batch ends where the next progress report is due, so that reports and
        // cancellation fall after the same chunk as when going chunk by chunk.
        int count = sourceChunkByChunk ? 1 : kBatchChunks;
        if (delegate) {
            const quint64 untilReport = lastReport + progressStep - total;
            count = int(std::min<quint64>(quint64(count),
                                          std::max<quint64>(1, (untilReport + kChunkSize - 1) / kChunkSize)));
        }
        auto shared = std::make_shared<SharedBatch>();
        if (!shared->batch.read(pool, *input, count, sourceChunkByChunk)) {
            waitForWriters();
            say(QStringLiteral("Error copying file %1 - out of memory").arg(source));
            return false;
        }
        if (input->error())
            sourceChunkByChunk = true; // from here on as the chunk-by-chunk reads would go
        Batch& batch = shared->batch;
        bool stop = false;
        std::vector<size_t> emptyChunks;
        for (size_t c = 0; c < batch.chunks.size(); ++c) {
            if (batch.chunks[c].size == 0) {
                emptyChunks.push_back(c);
                // A failing source never reaches its end; the size check reports it.
                stop = input->error();
            }
        }
        const size_t chunksRead = batch.chunks.size();
        if (stop)
            batch.chunks.pop_back(); // nothing to write: only its line is left
        const quint64 batchBytes = batch.bytes();
        shared->sourceDigest = sourceWorker.get();
        auto round = std::make_shared<Round>(chunksRead, outputs.size(), total);
        for (size_t c : emptyChunks)
            round->messages.sourceLine(c, QStringLiteral("%1 returned 0 bytes").arg(source));
        unprinted.push_back(round);
        for (const auto& writer : writers)
            writer->add(round, shared);
        shared.reset();
        printDone();
        total += batchBytes;

        if (delegate && total - lastReport >= progressStep) {
            // The report says what is written: every destination is up to here first.
            if (!waitForWriters())
                break;
            lastReport = total;
            if (delegate->fileCopyBytesWritten)
                delegate->fileCopyBytesWritten(total, settings);
            if (delegate->fileCopyShouldContinue && !delegate->fileCopyShouldContinue(settings)) {
                cancelled = true;
                break;
            }
        }
        if (stop)
            break;
    }
    const bool enoughMemory = waitForWriters();
    writers.clear();
    unprinted.clear();
    input.reset();
    std::vector<QByteArray> failedHere; // destinations of this copy whose writing failed
    for (const auto& output : outputs) {
        const QByteArray path = FileName::encode(output->path());
        if (output->error() && std::find(madeHere.begin(), madeHere.end(), path) != madeHere.end())
            failedHere.push_back(path);
    }
    const bool writeFailed =
        std::any_of(outputs.begin(), outputs.end(), [](const auto& output) { return output->error() != 0; });
    outputs.clear();
    sourceWorker.reset(); // every chunk and every read-back is in its digest
    digestWorkers.clear();
    if (!enoughMemory) {
        say(QStringLiteral("Error copying file %1 - out of memory").arg(source));
        return false;
    }

    if (writeFailed && !verifying) {
        // Without a checksum nothing would tell a copy with a gap from a whole one.
        for (const QByteArray& destination : failedHere)
            ::unlink(destination.constData());
        return false;
    }
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

    copySourceMetadata(source, destinations);

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
    const QString parent = destinationFolder(destination);
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
