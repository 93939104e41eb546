#include "MainThread.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::atomic<MainThread::Dispatch> g_dispatch{MainThread::Dispatch::Inline};

// Work for the main thread waits in a queue of our own; Qt's event loop only wakes the main
// thread to drain it. The hand-over is thus made with our mutex, which the thread sanitizer
// sees, instead of inside Qt's event queue, which it cannot see into.
std::mutex g_queueMutex;
std::deque<std::function<void()>> g_queue;

class Dispatcher : public QObject {
    Q_OBJECT
public:
    Q_INVOKABLE void drain() {
        for (;;) {
            std::function<void()> work;
            {
                std::lock_guard lock(g_queueMutex);
                if (g_queue.empty())
                    return;
                work = std::move(g_queue.front());
                g_queue.pop_front();
            }
            work();
        }
    }
};

Dispatcher* dispatcher(QCoreApplication* app) {
    static Dispatcher* instance = [app] {
        auto* made = new Dispatcher;
        made->moveToThread(app->thread());
        return made;
    }();
    return instance;
}

void enqueue(QCoreApplication* app, std::function<void()> work) {
    {
        std::lock_guard lock(g_queueMutex);
        g_queue.push_back(std::move(work));
    }
    QMetaObject::invokeMethod(dispatcher(app), "drain", Qt::QueuedConnection);
}

} // namespace

void MainThread::setDispatch(Dispatch dispatch) {
    // Made here, on the main thread, when it can be: an object first made by a worker would
    // reach the main thread through Qt's queue only.
    if (QCoreApplication* app = QCoreApplication::instance();
        app && dispatch == Dispatch::EventLoop && isCurrent())
        dispatcher(app);
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
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    enqueue(app, [&] {
        work();
        std::lock_guard lock(mutex);
        done = true;
        finished.notify_one();
    });
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
}

void MainThread::post(std::function<void()> work) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || dispatch() == Dispatch::Inline) {
        work();
        return;
    }
    enqueue(app, std::move(work));
}

#include "MainThread.moc"
