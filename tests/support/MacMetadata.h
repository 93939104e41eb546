#pragma once

#include <QByteArray>
#include <QDateTime>

// Mac metadata as drives and file servers keep it, built byte by byte from the published
// layouts (not with the code under test).

// A 32-byte FinderInfo of a file type ("FCPF") and creator.
QByteArray finderInfoOfType(const char type[4]);

// An AppleDouble "._NAME" file as a Mac writes it on exFAT: the FinderInfo entry (9) at 50,
// long enough to hold the extended-attribute area after it, and an empty resource fork (2)
// at the end of 4096 bytes.
QByteArray appleDoubleFile(const QByteArray& finderInfo);

// What Samba (fruit:metadata=netatalk, its default) and netatalk keep in the attribute
// "user.org.netatalk.Metadata": an AppleDouble header of 402 bytes with eight entries, the
// FinderInfo (9) first at 122, then the comment of 200 bytes (whose text is given), dates,
// AFP file info and netatalk's private ones.
QByteArray netatalkMetadata(const QByteArray& finderInfo, const QByteArray& comment = {});

// Samba's "user.DOSATTRIB" record of a version (3: Samba 3.5 to 4.10, with the attributes as
// hex text, "0x20" unless given; 4: 4.11 on; 5: later), its creation time marked valid or not.
QByteArray dosAttribRecord(int version, const QDateTime& created, bool createTimeValid = true,
                           const char* hexText = "0x20");
// Sets it on a file; false where the file system refuses user extended attributes.
bool setDosAttrib(const QString& path, const QByteArray& record);
// Gives a file the modification time of the original it was copied from, as the Finder
// does: born on the share now, modified long before.
bool keepOriginalModificationTime(const QString& path, const QDateTime& modified);
