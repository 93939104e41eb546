#include "MainThread.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <atomic>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
std::atomic<MainThread::Dispatch> g_dispatch{MainThread::Dispatch::Inline};
}

void MainThread::setDispatch(Dispatch dispatch) {
    g_dispatch.store(dispatch);
}

MainThread::Dispatch MainThread::dispatch() {
    return g_dispatch.load();
}

bool MainThread::isCurrent() {
    if (QCoreApplication* app = QCoreApplication::instance())
        return QThread::currentThread() == app->thread();
    // Before an application object exists, the main thread is the process's first thread.
    return ::syscall(SYS_gettid) == ::getpid();
}

void MainThread::runAndWait(const std::function<void()>& work) {
    QCoreApplication* app = QCoreApplication::instance();
    if (isCurrent() || !app || dispatch() == Dispatch::Inline) {
        work();
        return;
    }
    QMetaObject::invokeMethod(app, work, Qt::BlockingQueuedConnection);
}

void MainThread::post(std::function<void()> work) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || dispatch() == Dispatch::Inline) {
        work();
        return;
    }
    QMetaObject::invokeMethod(app, std::move(work), Qt::QueuedConnection);
}
