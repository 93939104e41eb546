// Starts the bug reporter as Vestry does, then ends as asked: "segv" dereferences null,
// "throw" dies of an uncaught exception (the log's terminate handler, then SIGABRT), "quit"
// stops the reporter and exits normally.
#include "foundation/BMLog.h"
#include "support/BMBugReporter.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstring>
#include <stdexcept>

// A real invalid access. The undefined-behaviour checker of the sanitizer build would stop at
// it first and exit normally; without it that build crashes as the release build does.
__attribute__((noinline, no_sanitize_undefined)) int readNowhere() {
    volatile int* nowhere = nullptr;
    return *nowhere;
}

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Vestry"));
    const char* mode = argc > 1 ? argv[1] : "";
    BMBugReporter::startBugReporter();
    BMLog::createNewLog(QStringLiteral("Vestry"));
    BMLog::appendLog(QStringLiteral("probe started"));
    BMLog::finishWriting();
    if (std::strcmp(mode, "segv") == 0)
        return readNowhere();
    if (std::strcmp(mode, "throw") == 0)
        throw std::runtime_error("the probe's reason");
    BMBugReporter::stopBugReporter();
    return 0;
}
