#pragma once

#include <QByteArrayView>
#include <QDateTime>

#include <optional>

// Samba keeps what Windows and Mac clients know of a file and the server's file system cannot
// hold in the extended attribute "user.DOSATTRIB": an NDR-encoded record (a hex text, a
// version, then that version's fields). From version 3 on it carries the creation time that
// the client gave the file, so a file a Mac copied to a share keeps its original date there
// while the server's own birth time is the day of the copy.
class DosAttrib {
public:
    static constexpr char attributeName[] = "user.DOSATTRIB";
    // The record is 40 to 70 bytes; anything larger is not one.
    static constexpr qsizetype maxSize = 256;

    // The creation time the record holds; nothing when it holds none (not marked valid, zero)
    // or is not a record of a known version.
    static std::optional<QDateTime> createTime(QByteArrayView record);

    // NT time: 100-nanosecond ticks since 1601-01-01 UTC. Nothing for 0 ("not set") and for
    // values beyond any date.
    static std::optional<QDateTime> fromNtTime(quint64 ticks);
};
