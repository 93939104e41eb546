#pragma once

#include <QString>

#include <optional>

// A folder that one run makes for itself and takes away when it is done: a unique name made
// with mkdtemp (mode 0700) in the given parent, so that two runs never share one. Removal
// works from the descriptor opened when the folder was made, so it deletes inside that
// folder only: links in it are removed, never followed, and whatever is later put in its
// place under the same name (an older version's folder, a link) is left alone.
class ScratchFolder {
public:
    // "<parent>/<prefix>XXXXXX", the parent made first when missing. Nothing, with a message
    // naming the folder and the cause, when it cannot be made.
    static std::optional<ScratchFolder> create(const QString& parent, const QString& prefix, QString* error);

    ScratchFolder(ScratchFolder&& other) noexcept;
    ScratchFolder& operator=(ScratchFolder&& other) noexcept;
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    // Removes the folder when that has not been done yet.
    ~ScratchFolder();

    const QString& path() const { return m_path; }
    // The folder and everything in it; false, with the first problem, when something stays.
    bool remove(QString* error = nullptr);

private:
    ScratchFolder(int parentFd, int fd, QString path);
    void close();

    int m_parentFd = -1;
    int m_fd = -1;
    QString m_path;
};
