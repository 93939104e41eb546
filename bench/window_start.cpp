// The window's start on a big catalogue: from the start of the process until the outline holds
// every project of the locations given, under the offscreen platform. While it waits it checks
// at every turn of the event loop that the outline is never blank: before the rows come, the
// placeholder says what is being scanned. Usage: window_start_bench LOCATION... (HOME must be a
// scratch folder: the settings written there name the locations).
#include "app/AppController.h"
#include "app/AutosaveOutlineModel.h"
#include "app/BMOutlineView.h"
#include "app/MainWindow.h"
#include "foundation/BMLog.h"
#include "foundation/BMSettings.h"
#include "foundation/MainThread.h"
#include "foundation/SettingsKeys.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdio>

int main(int argc, char** argv) {
    QElapsedTimer sinceStart;
    sinceStart.start();
    if (argc < 2) {
        std::fprintf(stderr, "usage: window_start_bench LOCATION...\n");
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vestry"));
    QApplication::setOrganizationName(QStringLiteral("Brightmoor"));
    QStringList locations;
    for (int i = 1; i < argc; ++i)
        locations << QString::fromLocal8Bit(argv[i]);
    BMSettings::standard().setValue(SettingsKey::manualPaths, locations);
    BMSettings::standard().synchronize();
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);
    BMLog::createNewLog(QStringLiteral("Vestry"));

    AppController controller;
    if (!controller.awakeFromNib())
        return 1;
    qint64 shownAt = -1;
    int blankTurns = 0;
    QObject::connect(&controller, &AppController::catalogueRebuilt, &app, [&] {
        if (shownAt < 0 && controller.model()->rowCount() > 0) {
            shownAt = sinceStart.elapsed();
            QTimer::singleShot(0, &app, &QCoreApplication::quit);
        }
    });
    // A blank outline is one with no rows and nothing written over it.
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &app, [&] {
        BMOutlineView* view = controller.mainWindow()->outlineView();
        if (controller.mainWindow()->isVisible() && controller.model()->rowCount() == 0 &&
            view->placeholderText().isEmpty())
            ++blankTurns;
    });
    watch.start(0);
    QTimer::singleShot(0, &controller, &AppController::applicationDidFinishLaunching);
    QTimer::singleShot(60000, &app, &QCoreApplication::quit);
    app.exec();
    qint64 autosaves = 0;
    for (int row = 0; row < controller.model()->rowCount(); ++row)
        autosaves += controller.model()->rowCount(controller.model()->index(row, 0));
    std::printf("projects %d autosaves %lld shown_ms %lld blank_turns %d\n", controller.model()->rowCount(),
                static_cast<long long>(autosaves), static_cast<long long>(shownAt), blankTurns);
    controller.applicationWillTerminate();
    return shownAt < 0 ? 1 : 0;
}
