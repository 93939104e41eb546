#include "Tmpfs.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

Tmpfs::Tmpfs(const QString& folder, const QByteArray& options) : m_folder(QFile::encodeName(folder)) {
    QDir().mkpath(folder);
    m_mounted = ::mount("tmpfs", m_folder.constData(), "tmpfs", 0, options.constData()) == 0;
    if (!m_mounted)
        m_why = QStringLiteral("mounting a tmpfs is not permitted here: %1").arg(std::strerror(errno));
}

Tmpfs::~Tmpfs() {
    if (m_mounted && ::umount(m_folder.constData()) != 0)
        ::umount2(m_folder.constData(), MNT_DETACH);
}

bool Tmpfs::remountReadOnly() {
    return ::mount("tmpfs", m_folder.constData(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

void Tmpfs::fill() const {
    const int fd =
        ::open((m_folder + "/filler").constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    const QByteArray chunk(4096, 'f');
    while (::write(fd, chunk.constData(), size_t(chunk.size())) > 0) {
    }
    ::close(fd);
}
