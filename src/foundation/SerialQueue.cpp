#include "SerialQueue.h"

SerialQueue::SerialQueue() : m_worker([this] { run(); }) {
}

SerialQueue::~SerialQueue() {
    stop();
}

void SerialQueue::stop() {
    {
        std::lock_guard lock(m_mutex);
        if (m_stopped)
            return;
        m_stopping = true;
        m_suspended = false;
    }
    m_wake.notify_all();
    if (!isWorkerThread())
        m_worker.join();
    else
        m_worker.detach();
    std::lock_guard lock(m_mutex);
    m_stopped = true;
    m_items.clear();
    m_idle.notify_all();
}

void SerialQueue::add(std::function<void()> work) {
    {
        std::lock_guard lock(m_mutex);
        if (m_stopping)
            return;
        m_items.push_back(std::move(work));
    }
    m_wake.notify_one();
}

int SerialQueue::count() const {
    std::lock_guard lock(m_mutex);
    return int(m_items.size()) + (m_running ? 1 : 0);
}

void SerialQueue::setSuspended(bool suspended) {
    {
        std::lock_guard lock(m_mutex);
        m_suspended = suspended;
    }
    m_wake.notify_all();
}

void SerialQueue::cancelAll() {
    {
        std::lock_guard lock(m_mutex);
        m_items.clear();
    }
    m_idle.notify_all();
}

void SerialQueue::waitUntilAllDone() {
    if (isWorkerThread())
        return;
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_stopped || (m_items.empty() && !m_running); });
}

bool SerialQueue::isWorkerThread() const {
    return std::this_thread::get_id() == m_worker.get_id();
}

void SerialQueue::run() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || (!m_suspended && !m_items.empty()); });
        // Items still queued at destruction run first, so that nothing accepted is lost.
        if (m_items.empty() && m_stopping)
            return;
        std::function<void()> work = std::move(m_items.front());
        m_items.pop_front();
        m_running = true;
        lock.unlock();
        work();
        lock.lock();
        m_running = false;
        if (m_items.empty())
            m_idle.notify_all();
    }
}
