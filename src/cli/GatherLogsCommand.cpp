#include "GatherLogsCommand.h"

#include "StandardOutput.h"
#include "foundation/Console.h"
#include "support/BMTroubleshootingUtils.h"

CLI::App* GatherLogsCommand::define(CLI::App& parent) {
    return parent.add_subcommand("gather-logs",
                                 "Gathers the logs, crash reports and preference files of Vestry and "
                                 "Vestry Helper into \"Vestry Logs.zip\" on the desktop for support, "
                                 "and prints the archive's path.");
}

int GatherLogsCommand::run() {
    // What the window would show in an alert goes to standard error.
    BMTroubleshootingUtils::setAlertHook([](const QString& message, const QString& informative) {
        Console::print(QStringLiteral("vestry gather-logs: %1 %2").arg(message, informative));
    });
    const std::optional<QString> archive = BMTroubleshootingUtils::gatherLogs(
        {QStringLiteral("Vestry"), QStringLiteral("Vestry Helper")}, false);
    BMTroubleshootingUtils::setAlertHook(nullptr);
    if (!archive)
        return 1;
    writeStandardOutput(*archive + QLatin1Char('\n'));
    return 0;
}
