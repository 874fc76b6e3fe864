// The thread that iterates GLib's default main context for the host.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

typedef struct _GMainContext GMainContext;
typedef struct _GMainLoop GMainLoop;
typedef struct _GSource GSource;

namespace zelt::host {

/// Owns GLib's default main context on a thread of its own and runs a main loop on it.
///
/// A camera plug-in adds its bus watches (the device monitor's and each pipeline's) to the
/// default main context and relies on the host to dispatch them: that is how device changes
/// and pipeline errors reach it. This thread is that dispatcher. It acquires the default
/// context for its whole life (g_main_context_acquire), so no other thread of the process may
/// iterate the default context meanwhile: one MainContextThread per process at a time.
///
/// Sources attached from other threads are dispatched without further help: attaching a
/// source (gst_bus_add_watch, g_idle_add, g_timeout_add) wakes the context when another
/// thread owns it. wakeup() is there for code that changes a source's readiness by other
/// means.
///
/// Started by the constructor, stopped by stop() or the destructor. Never stop it from its
/// own thread (a function passed to invoke()).
class MainContextThread {
public:
    /// Starts the thread and returns once it owns the default context. Throws HostError when
    /// another thread already owns the default context.
    MainContextThread();
    /// stop().
    ~MainContextThread();

    MainContextThread(const MainContextThread&) = delete;
    MainContextThread& operator=(const MainContextThread&) = delete;

    /// Quits the loop and joins the thread; the default context is released. Functions queued
    /// by invoke() before the call still run. Idempotent.
    void stop();

    /// Whether the loop thread is running (started and not stopped).
    bool isRunning() const;
    /// How many functions (and the quit that stop() queues) wait for the loop thread to take
    /// them: those queued while it runs a function stay here until that one returns.
    std::size_t queuedCount() const;
    /// Whether the caller is the loop thread.
    bool isCurrentThread() const noexcept;
    /// The id of the loop thread.
    std::thread::id threadId() const noexcept { return m_thread_id; }

    /// Runs `function` on the loop thread and waits until it has returned; an exception it
    /// throws is rethrown here. Called on the loop thread itself, it runs `function` at once.
    /// Throws HostError once the thread is stopping.
    void invoke(std::function<void()> function);

    /// Wakes the default context so that it re-checks its sources now.
    static void wakeup() noexcept;
    /// GLib's default main context. (transfer none)
    static GMainContext* context() noexcept;

private:
    void run(std::function<void(bool)> started);
    void enqueue(std::function<void()> job);
    static int dispatchJobs(void* self);

    std::thread m_thread;
    std::thread::id m_thread_id;
    GSource* m_job_source = nullptr;  // owned; attached to the default context while running
    GMainLoop* m_loop = nullptr;      // owned by the loop thread

    mutable std::mutex m_mutex;  // guards the members below
    std::vector<std::function<void()>> m_jobs;
    bool m_accepting = false;
};

}  // namespace zelt::host
