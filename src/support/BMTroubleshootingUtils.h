#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

// Gathers the application's logs, crash reports and preference files into one zip archive on
// the desktop for sending to support, and opens the application's log for viewing.
class BMTroubleshootingUtils {
public:
    // Shows one message with a single default button: the window as an alert, the command
    // line on standard error (the default).
    using AlertHook = std::function<void(const QString& message, const QString& informative)>;
    static void setAlertHook(AlertHook hook);
    // Opens a file with its default application: the desktop's (the default) or the
    // window's own.
    using Opener = std::function<bool(const QUrl&)>;

    static bool gatherLogsForAppWithName(const QString& name) { return gatherLogsForAppsWithNames({name}); }
    static bool gatherLogsForAppsWithNames(const QStringList& names, bool silent = false,
                                           const QStringList& additionalFiles = {}) {
        return gatherLogs(names, silent, additionalFiles).has_value();
    }
    // The archive made; nothing when there was nothing to gather or it failed.
    static std::optional<QString> gatherLogs(const QStringList& names, bool silent,
                                             const QStringList& additionalFiles = {});

    // The log a name writes ("<folder>/<name>.1.log") and the log of its background runs
    // ("<folder>/<name>.task.1.log"), in the log folder.
    static QString logPath(const QString& name);
    static QString taskLogPath(const QString& name);
    // Open the log, or say that there is none; false when nothing was opened.
    static bool viewLogForApp(const QString& name, const Opener& open = {});
    static bool viewTaskLogForApp(const QString& name, const Opener& open = {});
};
