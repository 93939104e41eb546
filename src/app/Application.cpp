#include "Application.h"

#include "AppController.h"
#include "foundation/BMLog.h"
#include "foundation/MainThread.h"
#include "support/BMBugReporter.h"

#include <QApplication>
#include <QIcon>
#include <QTimer>

int runApplication(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vestry"));
    QApplication::setApplicationVersion(QStringLiteral(VESTRY_VERSION));
    QApplication::setOrganizationName(QStringLiteral("Brightmoor"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/vestry/icons/vestry.svg")));
    QApplication::setQuitOnLastWindowClosed(true);
    // Workers reach the window through the main thread's loop from now on.
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);

    BMBugReporter::startBugReporter();
    BMLog::createNewLog(QStringLiteral("Vestry"));
    AppController controller;
    if (!controller.awakeFromNib()) {
        BMBugReporter::stopBugReporter();
        return 1;
    }
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &controller,
                     &AppController::applicationWillTerminate);
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &controller,
                     [] { BMBugReporter::stopBugReporter(); });
    QTimer::singleShot(0, &controller, &AppController::applicationDidFinishLaunching);
    return app.exec();
}
