#include "HelperRunLog.h"

#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <QTimeZone>

namespace {

constexpr char kFinished[] = "Helper run finished";
constexpr char kFailed[] = "Helper run failed";

// Logs are capped well below this; a larger file is not one of ours.
constexpr qint64 kLargestLog = 16 * 1024 * 1024;

} // namespace

QString HelperRunLog::taskLogName() {
    return QStringLiteral("Vestry.task");
}

QString HelperRunLog::startedLine(const QString& job, const QString& folder) {
    if (folder.isEmpty())
        return QStringLiteral("Helper run started: -%1").arg(job);
    return QStringLiteral("Helper run started: -%1 %2").arg(job, folder);
}

QString HelperRunLog::finishedLine(const QString& job, bool ok, const QString& result) {
    return QStringLiteral("%1: -%2: %3").arg(QLatin1String(ok ? kFinished : kFailed), job, result);
}

std::optional<HelperRunLog::Run> HelperRunLog::lastRunIn(const QString& logText, const QString& job) {
    // "<yyyy-MM-dd HH:mm:ss ±hhmm> - Helper run finished: -clean: <result>"
    static const QRegularExpression line(
        QStringLiteral(
            "^(\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d [+-]\\d{4}) - Helper run (finished|failed): "
            "-([a-z]+): (.*)$"),
        QRegularExpression::MultilineOption);
    std::optional<Run> last;
    for (auto it = line.globalMatch(logText); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        if (match.captured(3) != job)
            continue;
        Run run;
        run.job = job;
        const QString stamp = match.captured(1);
        const int sign = stamp.at(20) == QLatin1Char('-') ? -1 : 1;
        const int offset = sign * (stamp.mid(21, 2).toInt() * 3600 + stamp.mid(23, 2).toInt() * 60);
        run.finished =
            QDateTime(QDate::fromString(stamp.left(10), QStringLiteral("yyyy-MM-dd")),
                      QTime::fromString(stamp.mid(11, 8), QStringLiteral("HH:mm:ss")), QTimeZone(offset));
        run.ok = match.captured(2) == QLatin1String("finished");
        run.result = match.captured(4).trimmed();
        last = run;
    }
    return last;
}

std::optional<HelperRunLog::Run> HelperRunLog::lastRun(const QString& logFolder, const QString& job) {
    for (int generation = 1; generation <= 5; ++generation) {
        QFile file(QStringLiteral("%1/%2.%3.log").arg(logFolder, taskLogName()).arg(generation));
        if (!file.open(QIODevice::ReadOnly) || file.size() > kLargestLog)
            continue;
        if (auto run = lastRunIn(QString::fromUtf8(file.readAll()), job))
            return run;
    }
    return std::nullopt;
}
