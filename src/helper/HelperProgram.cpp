#include "HelperProgram.h"

#include "CleanRun.h"
#include "TrashRun.h"
#include "automation/HelperRunLog.h"
#include "foundation/BMAuthorization.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/Console.h"
#include "foundation/FileName.h"
#include "foundation/PathText.h"
#include "support/BMBugReporter.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdio>
#include <unistd.h>

std::optional<HelperProgram::Arguments> HelperProgram::parse(int argc, char** argv, QString* problem) {
    Arguments arguments;
    bool jobGiven = false;
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument(argv[i]);
        auto job = [&](Arguments::Job chosen) {
            if (jobGiven) {
                *problem = QStringLiteral("give one of -trash and -clean");
                return false;
            }
            jobGiven = true;
            arguments.job = chosen;
            return true;
        };
        if (argument == "--dry-run") {
            arguments.dryRun = true;
        } else if (argument == "-h" || argument == "--help") {
            return Arguments{};
        } else if (argument == "-trash") {
            if (!job(Arguments::Job::Trash))
                return std::nullopt;
        } else if (argument == "-clean") {
            if (!job(Arguments::Job::Clean))
                return std::nullopt;
            if (i + 1 >= argc || argv[i + 1][0] == '\0') {
                *problem = QStringLiteral("-clean needs the autosave folder");
                return std::nullopt;
            }
            arguments.folder = FileName::decode(QByteArray(argv[++i]));
            // The location rules read the path as text: "…/Avid Attic/" would be no location.
            arguments.folder =
                QDir::cleanPath(arguments.folder.startsWith(QLatin1Char('/'))
                                    ? arguments.folder
                                    : QDir::currentPath() + QLatin1Char('/') + arguments.folder);
        } else {
            *problem = QStringLiteral("unknown argument \"%1\"")
                           .arg(FileName::displayText(FileName::decode(argument)));
            return std::nullopt;
        }
    }
    if (!jobGiven) {
        *problem = QStringLiteral("give -trash or -clean FOLDER");
        return std::nullopt;
    }
    return arguments;
}

QString HelperProgram::usage() {
    return QStringLiteral(
        "Usage: vestry-helper -trash [--dry-run]\n"
        "       vestry-helper -clean FOLDER [--dry-run]\n"
        "\n"
        "  -trash         the projects whose project file is in the Trash lose their autosaves\n"
        "                 (all, or those over the removal limits of the preferences)\n"
        "  -clean FOLDER  the autosaves of FOLDER over the clean-up limits of the preferences go\n"
        "                 to the Trash, archived first when the preferences say so\n"
        "  --dry-run      print what would be done, with the reason, and change nothing\n");
}

int HelperProgram::main(int argc, char** argv) {
    QString problem;
    const std::optional<Arguments> arguments = parse(argc, argv, &problem);
    if (!arguments) {
        std::fprintf(stderr, "vestry-helper: %s\n\n%s", problem.toLocal8Bit().constData(),
                     usage().toLocal8Bit().constData());
        return 2;
    }
    if (arguments->job == Arguments::Job::Help) {
        std::fputs(usage().toLocal8Bit().constData(), stdout);
        return 0;
    }
    // A background run has nobody to answer: nothing may wait on the terminal it may not have.
    if (FILE* devNull = std::freopen("/dev/null", "r", stdin); !devNull)
        ::close(STDIN_FILENO);

    QCoreApplication app(argc, argv);
    // The run markers live in the settings file the window shares, through the settings
    // store; its crash reports are named "Vestry" too.
    const QString settingsFile =
        PathText::appendingComponent(BMLocalPaths::prefsDirectory(true), BMSettings::standardFileName());
    // The log is named before anything is logged: an application name would otherwise win.
    BMLog::setAppName(HelperRunLog::taskLogName());
    BMBugReporter::startBugReporter(QStringLiteral("Vestry"), settingsFile);
    BMLog::createNewLog(HelperRunLog::taskLogName());
    // Created without an interface before anything asks for it: a privileged step is then
    // refused, never asked about.
    BMAuthorization::sharedController(false);
    BMSettings::standard().registerDefaults(BMSettings::applicationDefaults());
    // What the program says to a person goes to standard error; standard output carries
    // what it chose and the result.
    Console::setStream(Console::Stream::StandardError);
    if (const QString settingsProblem = BMSettings::standard().userFileProblem(); !settingsProblem.isEmpty())
        BMLog::appendLogAndPrint(settingsProblem);

    HelperRun::Options options;
    options.dryRun = arguments->dryRun;
    HelperRun::Outcome outcome;
    if (arguments->job == Arguments::Job::Trash)
        outcome = TrashRun(options).run();
    else
        outcome = CleanRun(arguments->folder, options).run();
    BMBugReporter::stopBugReporter(settingsFile);
    BMLog::finishWriting();
    return outcome.ok ? 0 : 1;
}
