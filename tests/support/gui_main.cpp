#include "foundation/MainThread.h"

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("VestryTests"));
    // As in the application: workers reach the window through the main thread's loop.
    MainThread::setDispatch(MainThread::Dispatch::EventLoop);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
