#include "CommandLine.h"

#include "foundation/BMLog.h"
#include "foundation/Console.h"

#include <QCoreApplication>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>

namespace {

QString versionText()
{
    return QStringLiteral("Vestry %1").arg(QStringLiteral(VESTRY_VERSION));
}

} // namespace

std::optional<int> runCommandLine(int argc, char** argv)
{
    if (argc <= 1)
        return std::nullopt;

    CLI::App app{"Vestry finds the autosaves of video editing applications and keeps their folders tidy.\n"
                 "Without arguments it opens its window.",
                 "vestry"};
    app.set_version_flag("--version", versionText().toStdString());
    app.require_subcommand(0, 1);

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

    QCoreApplication core(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vestry"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VESTRY_VERSION));
    // Standard output carries results; what the program says to a person goes to stderr.
    Console::setStream(Console::Stream::StandardError);
    BMLog::createNewLog(QStringLiteral("Vestry"));
    BMLog::willTerminate();
    return 0;
}
