#include "HelperRun.h"

#include "actions/LocationLocks.h"
#include "actions/RemovalJournal.h"
#include "automation/HelperRunLog.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/SettingsKeys.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

constexpr std::chrono::milliseconds kTimeLimit{std::chrono::minutes(5)};

} // namespace

std::chrono::milliseconds HelperRun::defaultTimeLimit() {
    bool ok = false;
    const qint64 ms = qEnvironmentVariable("VESTRY_HELPER_TIME_LIMIT_MS").toLongLong(&ok, 10);
    return ok && ms >= 0 ? std::chrono::milliseconds(ms) : kTimeLimit;
}

HelperRun::HelperRun(QString job, Options options)
    : m_job(std::move(job)), m_options(options), m_deadline(options.timeLimit) {
}

QString HelperRun::timeLimitText() const {
    return QStringLiteral("%1 s").arg(double(m_options.timeLimit.count()) / 1000.0);
}

BMSettings& HelperRun::scanSettings() {
    static BMSettings* const settings = [] {
        auto* store = new BMSettings([] { return QString(); });
        const QString grouping = QLatin1String(SettingsKey::premiereGroupTimestampedCopies);
        QVariantMap values{{QLatin1String(SettingsKey::autosaveFolder), QStringLiteral("~")}};
        if (BMSettings::standard().hasValue(grouping))
            values.insert(grouping, BMSettings::standard().value(grouping));
        store->registerDefaults(values);
        return store;
    }();
    return *settings;
}

void HelperRun::tell(const QString& line) {
    BMLog::appendLog(line);
    std::fputs(line.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void HelperRun::tellChoice(const RuleChoice& choice, const QString& doing) const {
    const OutlineText text;
    const QDateTime created = choice.item->createdDate();
    tell(QStringLiteral("%1: %2 (%3, %4): %5")
             .arg(doing, FileName::displayText(choice.item->path()),
                  text.formatFileSize(choice.item->fileSize()),
                  created.isValid() ? QStringLiteral("created %1").arg(BMLog::dateDescription(created))
                                    : QStringLiteral("no creation date"),
                  choice.reason));
}

void HelperRun::tellKept(const RuleChoices& kept) const {
    for (const RuleChoice& choice : kept)
        tellChoice(choice, QStringLiteral("keep"));
}

std::optional<HelperRun::Outcome> HelperRun::stopWhenSwitchedOff(const char* switchKey, const QString& helper,
                                                                 const QString& nothingDone) const {
    if (BMSettings::standard().boolValue(QLatin1String(switchKey)))
        return std::nullopt;
    const QString key = QLatin1String(switchKey);
    if (dryRun()) {
        tell(QStringLiteral("The %1 helper is switched off (%2); this is what it would do when on")
                 .arg(helper, key));
        return std::nullopt;
    }
    tell(QStringLiteral("The %1 helper is switched off (%2): %3").arg(helper, key, nothingDone));
    return Outcome{true, QStringLiteral("nothing to do: the %1 helper is switched off").arg(helper)};
}

QString HelperRun::runLockKey(const QString& job, const QString& folder) {
    // Not a folder: a name of the run's own for LocationLock, so that the run lock never
    // meets the locks the removal takes on the locations themselves.
    if (folder.isEmpty())
        return QStringLiteral("vestry-helper -%1").arg(job);
    return QStringLiteral("vestry-helper -%1 %2").arg(job, LocationLock::canonicalLocation(folder));
}

std::optional<LocationLock> HelperRun::takeRunLock(QString* why, bool* anotherRun) const {
    const QString key = runLockKey(m_job, m_folder);
    if (const auto holder = LocationLock::currentHolder(key))
        tell(QStringLiteral("Another helper run (process %1) is busy; waiting up to %2 s for it")
                 .arg(holder->pid)
                 .arg(double(LocationLocks::wait().count()) / 1000.0));
    QString error;
    std::optional<LocationLock> lock = LocationLock::acquire(
        key, QStringLiteral("vestry-helper -%1").arg(m_job), LocationLocks::wait(), &error);
    if (!lock) {
        const auto holder = LocationLock::currentHolder(key);
        *anotherRun = holder.has_value();
        *why =
            holder ? QStringLiteral("another helper run (process %1) is still busy").arg(holder->pid) : error;
    }
    return lock;
}

HelperRun::Outcome HelperRun::run() {
    BMLog::appendLog(HelperRunLog::startedLine(m_job, m_folder));
    Outcome outcome;
    QString why;
    bool anotherRun = false;
    std::optional<LocationLock> lock = takeRunLock(&why, &anotherRun);
    if (!lock && anotherRun) {
        // The other run does the work; a change it missed starts another run after it.
        outcome = Outcome{true, QStringLiteral("skipped: %1").arg(why)};
    } else if (!lock) {
        // Every run would meet it: a failure, never a skip that looks like a success.
        outcome = Outcome{false, why};
    } else {
        try {
            outcome = work();
        } catch (const std::exception& e) {
            outcome = Outcome{
                false,
                QStringLiteral("stopped by an unexpected error: %1").arg(QString::fromLocal8Bit(e.what()))};
        }
    }
    if (dryRun() && !outcome.result.startsWith(QLatin1String("dry run")))
        outcome.result = QStringLiteral("dry run: %1").arg(outcome.result);
    BMLog::appendLog(HelperRunLog::finishedLine(m_job, outcome.ok, outcome.result));
    std::fputs(outcome.result.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
    return outcome;
}

QString HelperRun::autosavesText(qsizetype count, double bytes) {
    return QStringLiteral("%1 autosave%2 (%3)")
        .arg(count)
        .arg(count == 1 ? QString() : QStringLiteral("s"))
        .arg(OutlineText().formatFileSize(bytes));
}

void HelperRun::count(const RemovalReport& report, Tally& tally) const {
    tally.moved += report.removed.size();
    tally.bytes += report.bytes();
    tally.missing += report.missing.size();
    for (const QString& path : report.missing)
        BMLog::appendLog(
            QStringLiteral("Already gone (another run took it): %1").arg(FileName::displayText(path)));
    if (tally.failure.isEmpty() && !report.error.isEmpty())
        tally.failure = report.error;
    if (tally.failure.isEmpty() && !report.failed.isEmpty()) {
        const QString path = report.failed.first();
        const QString reason = report.reasons.value(path);
        const QString shown = FileName::displayText(path);
        if (reason.contains(shown))
            tally.failure = reason;
        else if (reason.isEmpty())
            tally.failure = QStringLiteral("%1 could not be moved to the Trash").arg(shown);
        else
            tally.failure = QStringLiteral("%1 could not be moved to the Trash: %2").arg(shown, reason);
    }
}

void HelperRun::moveToTrash(const RuleChoices& choices, Tally& tally) {
    // The run's autosaves go one by one, and are put back as one.
    const RemovalJournal::Batch batch;
    for (qsizetype i = 0; i < choices.size(); ++i) {
        const RuleChoice& choice = choices.at(i);
        if (dryRun()) {
            tellChoice(choice, QStringLiteral("would move to the Trash"));
            tally.moved += 1;
            tally.bytes += choice.item->fileSize();
            continue;
        }
        if (timeIsUp()) {
            tally.left += choices.size() - i;
            for (qsizetype j = i; j < choices.size(); ++j)
                BMLog::appendLog(
                    QStringLiteral("Left for the next run (time limit of %1): %2")
                        .arg(timeLimitText(), FileName::displayText(choices.at(j).item->path())));
            return;
        }
        tellChoice(choice, QStringLiteral("moving to the Trash"));
        count(AutosaveRemoval::removeChildren({choice.item}, {}, AutosaveRemoval::OnFailure::Stop), tally);
        if (!tally.failure.isEmpty())
            return;
    }
}

HelperRun::Outcome HelperRun::failedAfter(const Tally& tally, const QString& done) {
    QString failure = tally.failure;
    if (failure.endsWith(QLatin1Char('.')))
        failure.chop(1);
    return Outcome{false, QStringLiteral("%1; %2").arg(failure, done)};
}

QString HelperRun::tallyText(const Tally& tally) const {
    QString text = QStringLiteral("%1 %2 to the Trash")
                       .arg(dryRun() ? QStringLiteral("would move") : QStringLiteral("moved"),
                            autosavesText(tally.moved, tally.bytes));
    if (tally.missing > 0)
        text += QStringLiteral(", %1 already gone").arg(tally.missing);
    if (tally.left > 0)
        text += QStringLiteral("; stopped at the time limit of %1 with %2 left for the next run")
                    .arg(timeLimitText())
                    .arg(tally.left);
    return text;
}
