#include "Application.h"

#include "AppController.h"
#include "MainWindow.h"
#include "SingleInstance.h"
#include "foundation/BMLog.h"
#include "foundation/MainThread.h"
#include "support/BMBugReporter.h"

#include <QApplication>
#include <QIcon>
#include <QTimer>

#include <cstdio>

int runApplication(int argc, char** argv) {
    if (!hasDisplay(argc, argv)) {
        std::fputs("vestry: no display; the window needs a graphical session. Run 'vestry --help' "
                   "for the commands that work without one.\n",
                   stderr);
        return 1;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vestry"));
    QApplication::setApplicationVersion(QStringLiteral(VESTRY_VERSION));
    QApplication::setOrganizationName(QStringLiteral("Brightmoor"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/vestry/icons/vestry.svg")));
    QApplication::setQuitOnLastWindowClosed(true);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.brightmoor.Vestry"));

    SingleInstance instance;
    if (instance.notifyRunning())
        return 0;
    const bool listening = instance.listen();
    if (!listening && instance.notifyRunning())
        return 0;
    // Workers reach the window through the main thread's loop from now on.
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);

    BMBugReporter::startBugReporter();
    BMLog::createNewLog(QStringLiteral("Vestry"));
    if (!listening)
        BMLog::appendLog(
            QStringLiteral("A second start will not find this window: %1").arg(instance.error()));
    AppController controller;
    if (!controller.awakeFromNib()) {
        BMBugReporter::stopBugReporter();
        return 1;
    }
    QObject::connect(&instance, &SingleInstance::activationRequested, &controller, [&controller] {
        MainWindow* window = controller.mainWindow();
        BMLog::appendLogAndPrint(QStringLiteral("Another start of Vestry brought this window forward."));
        window->showNormal();
        window->raise();
        window->activateWindow();
    });
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &controller,
                     &AppController::applicationWillTerminate);
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &controller,
                     [] { BMBugReporter::stopBugReporter(); });
    QTimer::singleShot(0, &controller, &AppController::applicationDidFinishLaunching);
    return app.exec();
}
