#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

// One worker thread running queued work in order, one item at a time. Work can be held
// back (suspended), dropped before it starts (cancelled) and waited for.
class SerialQueue {
public:
    SerialQueue();
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void add(std::function<void()> work);
    // Items queued or running.
    int count() const;
    void setSuspended(bool suspended);
    // Drops every item that has not started; a running item finishes.
    void cancelAll();
    // Blocks until nothing is queued or running. From the worker itself it returns at once:
    // everything queued before the running item has already run, and waiting for the rest
    // would wait on itself.
    void waitUntilAllDone();
    bool isWorkerThread() const;
    // Runs what is queued, then ends the worker. Later work is dropped and waits return at
    // once: for the end of the process, when nothing may run past the statics' destruction.
    void stop();

private:
    void run();

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<std::function<void()>> m_items;
    bool m_running = false;
    bool m_suspended = false;
    bool m_stopping = false;
    bool m_stopped = false;
    std::thread m_worker;
};
