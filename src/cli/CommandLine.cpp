#include "CommandLine.h"

#include "StandardOutput.h"
#include "Subcommand.h"
#include "foundation/BMLog.h"
#include "foundation/Console.h"

#include <QCoreApplication>

namespace {

QString versionText() {
    return QStringLiteral("Vestry %1").arg(QStringLiteral(VESTRY_VERSION));
}

} // namespace

std::optional<int> runCommandLine(int argc, char** argv) {
    if (argc <= 1)
        return std::nullopt;

    CLI::App app{"Vestry finds the autosaves of video editing applications and keeps their folders tidy.\n"
                 "Without arguments it opens its window.",
                 "vestry"};
    app.set_version_flag("--version", versionText().toStdString());
    app.require_subcommand(0, 1);
    std::vector<std::unique_ptr<Subcommand>> commands = makeSubcommands();
    std::vector<CLI::App*> parsers;
    for (auto& command : commands)
        parsers.push_back(command->define(app));

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return 2;
    }

    Subcommand* chosen = nullptr;
    std::string name;
    for (size_t i = 0; i < commands.size(); ++i) {
        if (parsers[i]->parsed()) {
            chosen = commands[i].get();
            name = parsers[i]->get_name();
        }
    }
    if (!chosen) {
        std::fputs(app.help().c_str(), stderr);
        return 2;
    }

    QCoreApplication core(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vestry"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VESTRY_VERSION));
    // Standard output carries results; what the program says to a person goes to stderr.
    Console::setStream(Console::Stream::StandardError);
    // A log of the command line's own: a few runs must not rotate the window's log away.
    BMLog::setAppName(QStringLiteral("Vestry.cli"));
    BMLog::createNewLog(QStringLiteral("Vestry.cli"));
    int status = chosen->run();
    // Results that did not all arrive (a full disk under "> file") are no success, even when
    // the work itself went well.
    flushOutput(stdout);
    if (const QString problem = outputProblem(); !problem.isEmpty()) {
        Console::print(QStringLiteral("vestry %1: the results could not be written to standard output: %2")
                           .arg(QString::fromStdString(name), problem));
        if (status == 0)
            status = 1;
    }
    BMLog::willTerminate();
    return status;
}
