#pragma once

#include <functional>

// Runs work on the main thread and waits for it, from any thread. The desktop application
// switches to event-loop dispatch once its loop runs; programs without a loop (the
// command-line tool, the helper) keep the default, which runs the work on the calling
// thread, because a main thread that never returns to an event loop would never serve it.
class MainThread {
public:
    enum class Dispatch { Inline, EventLoop };
    static void setDispatch(Dispatch dispatch);
    static Dispatch dispatch();
    static bool isCurrent();
    static void runAndWait(const std::function<void()>& work);
    // Queues the work for the main thread without waiting (inline dispatch runs it now).
    static void post(std::function<void()> work);
};
