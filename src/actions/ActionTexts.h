#pragma once

#include <QString>

// A question an action asks before it starts: the window shows it as a sheet with these
// texts, the default button answering yes.
struct ActionQuestion {
    QString message;
    QString defaultButton;
    QString alternateButton;
    QString informative;
};

// A failure an action reports to the user: a bold message and an informative text. The log
// line is written by the action itself.
struct ActionError {
    QString message;
    QString informative;

    bool isError() const { return !message.isEmpty(); }
};

namespace ActionTexts {

// "Are you sure you wish to remove this autosave?" for one, "... remove 3 autosaves?" for
// any other count, zero included. The informative text says the removal cannot be undone
// although the files go to the Trash: the wording stays as users know it.
ActionQuestion removeQuestion(qsizetype count);
// "Are you sure you wish to open 2 items?", "... open 1 item?".
ActionQuestion openQuestion(qsizetype count);

// What a stopped action did, for the window and the command line: "Cancelled: 12 of 40
// autosaves were moved to the Trash; the other 28 are untouched." The verb is "moved to the
// Trash", "copied" or "moved".
QString cancelled(const QString& verb, qint64 done, qint64 total);
// An archive stopped before it was complete: "Cancelled: no archive was made and no
// autosaves were moved to the Trash."
QString cancelledArchive();

} // namespace ActionTexts
