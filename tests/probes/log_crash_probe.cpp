// Creates a log, queues an entry and dies of an uncaught exception; the log test checks
// that the exception's reason reached the file.
#include "foundation/BMLog.h"

#include <QCoreApplication>

#include <stdexcept>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    BMLog::setAppName(QStringLiteral("VestryCrashProbe"));
    BMLog::createNewLog();
    BMLog::fastAppendLog(QStringLiteral("before the crash"));
    throw std::runtime_error("the probe's reason");
}
