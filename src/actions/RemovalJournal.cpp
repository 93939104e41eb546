#include "RemovalJournal.h"

#include "AutosaveRemoval.h"
#include "foundation/AtomicFile.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

thread_local RemovalJournal::Batch* currentBatch = nullptr;

constexpr char kKind[] = "vestry-removal";

void add(RemovalJournal::Entry& entry, const RemovalReport& report, const QDateTime& started) {
    if (!entry.started.isValid())
        entry.started = started;
    entry.finished = QDateTime::currentDateTimeUtc();
    for (const RemovedAutosave& each : report.removed)
        entry.paths << each.path;
}

void record(const RemovalJournal::Entry& entry) {
    if (entry.paths.isEmpty())
        return;
    QString error;
    if (!RemovalJournal::write(entry, &error))
        BMLog::appendLog(QStringLiteral("The last removal could not be recorded: %1").arg(error));
}

} // namespace

QString RemovalJournal::filePath() {
    QString state = qEnvironmentVariable("XDG_STATE_HOME");
    if (!state.startsWith(QLatin1Char('/')) || BMLocalPaths::isActingForConsoleUser())
        state = PathText::appendingComponent(BMLocalPaths::userDirectory(), QStringLiteral(".local/state"));
    return PathText::appendingComponent(state, QStringLiteral("Brightmoor/vestry-last-removal.json"));
}

std::optional<RemovalJournal::Entry> RemovalJournal::last(QString* error) {
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.exists() ? FileTree::errorDescription(file.fileName(), EACCES)
                                   : QStringLiteral("no removal is recorded");
        return std::nullopt;
    }
    const QJsonObject object = QJsonDocument::fromJson(file.read(16 * 1024 * 1024)).object();
    Entry entry;
    entry.started = QDateTime::fromString(object.value(QStringLiteral("started")).toString(), Qt::ISODate);
    entry.finished = QDateTime::fromString(object.value(QStringLiteral("finished")).toString(), Qt::ISODate);
    for (const QJsonValue& path : object.value(QStringLiteral("paths")).toArray())
        entry.paths << path.toString();
    if (object.value(QStringLiteral("kind")).toString() != QLatin1String(kKind) || !entry.started.isValid() ||
        !entry.finished.isValid()) {
        if (error)
            *error = QStringLiteral("%1 is not a record of a removal").arg(file.fileName());
        return std::nullopt;
    }
    return entry;
}

bool RemovalJournal::write(const Entry& entry, QString* error) {
    const QString path = filePath();
    if (!FileTree::createDirectories(PathText::deletingLastComponent(path), error))
        return false;
    QJsonObject object{{QStringLiteral("kind"), QLatin1String(kKind)},
                       {QStringLiteral("started"), entry.started.toUTC().toString(Qt::ISODateWithMs)},
                       {QStringLiteral("finished"), entry.finished.toUTC().toString(Qt::ISODateWithMs)},
                       {QStringLiteral("paths"), QJsonArray::fromStringList(entry.paths)}};
    QString cause;
    if (!AtomicFile::write(path, QJsonDocument(object).toJson(), &cause)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, cause);
        return false;
    }
    return true;
}

RemovalJournal::Recorder::Recorder(const RemovalReport& report)
    : m_report(report), m_started(QDateTime::currentDateTimeUtc()) {
}

RemovalJournal::Recorder::~Recorder() {
    if (m_report.removed.isEmpty())
        return;
    if (currentBatch) {
        add(currentBatch->m_entry, m_report, m_started);
        return;
    }
    Entry entry;
    add(entry, m_report, m_started);
    record(entry);
}

RemovalJournal::Batch::Batch() : m_outer(currentBatch) {
    currentBatch = this;
}

RemovalJournal::Batch::~Batch() {
    currentBatch = m_outer;
    if (m_outer) {
        m_outer->m_entry.paths << m_entry.paths;
        if (!m_outer->m_entry.started.isValid())
            m_outer->m_entry.started = m_entry.started;
        m_outer->m_entry.finished = m_entry.finished;
        return;
    }
    record(m_entry);
}
