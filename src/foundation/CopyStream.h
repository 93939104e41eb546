#pragma once

#include <QString>

#include <memory>
#include <sys/uio.h>

// Where a test makes the verified copy's storage misbehave: a destination that reads back
// other bytes than were written, a reposition that fails, a read or write that falls
// short. The defaults change nothing. Each stream calls these from the thread that works
// on it; streams of different files may be worked on at the same time.
class CopyStreamFaults {
public:
    virtual ~CopyStreamFaults();
    // Bytes just read from the stream of that path (by each buffer of a vectored read),
    // before anybody sees them.
    virtual void afterRead(const QString& path, char* data, size_t size);
    // False makes a reposition of that stream fail (EIO).
    virtual bool allowSeek(const QString& path);
    // How many of the bytes of one read call (a vectored one counting as one) arrive before
    // the read fails (EIO); all of them by default.
    virtual size_t readableBytes(const QString& path, size_t size);
    // How many of the bytes of one write call (a vectored one counting as one) are put
    // down; fewer makes a short write (ENOSPC).
    virtual size_t writableBytes(const QString& path, size_t size);
    // Whether the streams' user should go one chunk per call, the way it always did, or
    // use its vectored calls (which these faults then affect as described above).
    virtual bool oneChunkPerCall() const;
};

// A file opened for the verified copy, with the stdio stream's rules: an end-of-file
// indicator set by a read that reached the end, an error indicator set by a failed
// operation, and the current position. Reads and writes go straight to the file.
class CopyStream {
public:
    enum class Mode {
        Read,              // "rb"
        ReadWriteTruncate, // "w+"
    };

    // Nothing when the file cannot be opened (errno tells why).
    static std::unique_ptr<CopyStream> open(const QString& path, Mode mode);
    ~CopyStream();
    CopyStream(const CopyStream&) = delete;
    CopyStream& operator=(const CopyStream&) = delete;

    // Up to size bytes; fewer only at the end of the file or on an error.
    size_t read(char* buffer, size_t size);
    // Several buffers filled in order by as few system calls as possible, with the rules of
    // read: the total is short only at the end of the file or on an error.
    size_t readv(const iovec* buffers, int count);
    // Several buffers written in order from the current position; fewer bytes than they
    // hold means an error.
    size_t writev(const iovec* buffers, int count);
    // The bytes put down; fewer means an error.
    size_t write(const char* data, size_t size);
    bool seek(quint64 position);
    quint64 position() const { return m_position; }
    bool atEnd() const { return m_atEnd; }
    // 1 after a failed operation, as the stdio indicator reads; 0 otherwise.
    int error() const { return m_error ? 1 : 0; }
    const QString& path() const { return m_path; }
    // Streams whose faults ask for it take the chunk-by-chunk path of their users.
    bool oneChunkPerCall() const { return m_faults && m_faults->oneChunkPerCall(); }
    int descriptor() const { return m_fd; }
    // Room on the disk for a file of that size, asked for before the first write, the size
    // unchanged: a file system that places the blocks once writes the pages measurably faster
    // than one that finds room for each as it comes (ext4: about a third less time), and the
    // copy lies in one piece. Where the disk is short of room, or the file system cannot,
    // nothing stays reserved and the writes find out for themselves. What was reserved and
    // not written is given back when the stream closes.
    void reserve(quint64 size);
    // Whether a test's faults apply to this stream (which then only moves through memory).
    bool hasFaults() const { return m_faults != nullptr; }

    // The faults in force for streams opened from now on (none by default); returns the
    // previous ones.
    static std::shared_ptr<CopyStreamFaults> installFaults(std::shared_ptr<CopyStreamFaults> faults);

private:
    CopyStream(int fd, QString path, std::shared_ptr<CopyStreamFaults> faults);
    enum class Direction { Read, Write };
    // Up to wanted of the requested bytes of the buffers moved at the current position,
    // resumed after partial transfers; stops at the end of the file or the first failure.
    size_t transfer(Direction direction, const iovec* buffers, int count, size_t requested, size_t wanted);

    int m_fd = -1;
    QString m_path;
    std::shared_ptr<CopyStreamFaults> m_faults;
    quint64 m_position = 0;
    bool m_atEnd = false;
    bool m_error = false;
    bool m_reserved = false;
};
