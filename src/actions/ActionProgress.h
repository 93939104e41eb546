#pragma once

#include <QString>

#include <atomic>
#include <functional>

// How far a long action has come. Actions report on the thread they run on; whoever shows
// the progress moves it to where it is shown.
struct ActionProgress {
    enum class Stage {
        Trashing,    // moving autosaves to the Trash; counted in autosaves
        Gathering,   // copying autosaves into the archive's folder; counted in bytes
        Compressing, // writing the archive; no count
        Copying,     // counted in autosaves
        Moving,      // counted in autosaves
        Restoring,   // putting event backups in place; counted in backups
    };
    Stage stage = Stage::Trashing;
    qint64 done = 0;
    qint64 total = 0; // 0 when the amount is not known

    // "Moving autosaves to the Trash (3 of 40)", "Compressing the archive", ...
    QString text() const;
    bool operator==(const ActionProgress&) const = default;
};

using ProgressCallback = std::function<void(const ActionProgress&)>;

// Set from any thread (a Cancel button, an interrupt) to stop a long action. Actions look at
// it only between two files, so that each file is either wholly handled or left untouched.
using CancelFlag = std::atomic<bool>;

inline bool isCancelled(const CancelFlag* flag) {
    return flag && flag->load();
}

// Calls the callback when there is one.
inline void reportProgress(const ProgressCallback& callback, ActionProgress::Stage stage, qint64 done,
                           qint64 total) {
    if (callback)
        callback(ActionProgress{stage, done, total});
}
