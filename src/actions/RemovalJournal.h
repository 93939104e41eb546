#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

struct RemovalReport;

// What the last removal took, so that it can be put back as a whole. A small file in the
// user's state folder names each autosave's path and when the removal ran; the Trash's own
// records are then matched by path and deletion date. Grouping the Trash by identical
// deletion dates alone would not do: one removal can span several seconds, two runs can
// share one, and other programs fill the same Trash.
class RemovalJournal {
public:
    struct Entry {
        QDateTime started;
        QDateTime finished;
        QStringList paths; // in the order removed
    };

    // ~/.local/state/Brightmoor/vestry-last-removal.json ($XDG_STATE_HOME where set).
    static QString filePath();
    // Nothing when no removal is recorded or the file is not one of ours (error says why).
    static std::optional<Entry> last(QString* error = nullptr);
    // Replaces the record, atomically; false with the cause.
    static bool write(const Entry& entry, QString* error);

    // Records a removal's report as it leaves scope (nothing when it removed nothing).
    class Recorder {
    public:
        explicit Recorder(const RemovalReport& report);
        ~Recorder();
        Recorder(const Recorder&) = delete;
        Recorder& operator=(const Recorder&) = delete;

    private:
        const RemovalReport& m_report;
        QDateTime m_started;
    };

    // While one lives on a thread, the removals made there are one removal (a helper run that
    // trashes autosave by autosave), recorded when it ends.
    class Batch {
    public:
        Batch();
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

    private:
        Entry m_entry;
        Batch* m_outer;
        friend class Recorder;
    };
};
