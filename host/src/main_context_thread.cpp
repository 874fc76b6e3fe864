#include "zelt_host/main_context_thread.h"

#include <glib.h>
#include <pthread.h>

#include <future>
#include <utility>

#include "zelt_host/host_error.h"

namespace zelt::host {
namespace {

// A source that is ready whenever its ready time is set to 0, and makes itself not ready
// again on dispatch. g_source_set_ready_time wakes the owning context from any thread, which
// is how functions queued by other threads reach the loop thread.
gboolean dispatchReadySource(GSource* source, GSourceFunc callback, gpointer user_data) {
    g_source_set_ready_time(source, -1);
    return callback != nullptr ? callback(user_data) : G_SOURCE_CONTINUE;
}

GSourceFuncs job_source_funcs = {
    nullptr,              // prepare: readiness comes from the ready time alone
    nullptr,              // check
    dispatchReadySource,  // dispatch
    nullptr,              // finalize
    nullptr,
    nullptr,
};

}  // namespace

MainContextThread::MainContextThread() {
    m_job_source = g_source_new(&job_source_funcs, sizeof(GSource));
    g_source_set_callback(m_job_source, &MainContextThread::dispatchJobs, this, nullptr);
    g_source_set_name(m_job_source, "zelt-host jobs");
    g_source_set_ready_time(m_job_source, -1);

    std::promise<bool> started;
    auto acquired = started.get_future();
    m_thread =
        std::thread(&MainContextThread::run, this, [&started](bool ok) { started.set_value(ok); });
    if (!acquired.get()) {
        m_thread.join();
        g_source_unref(m_job_source);
        m_job_source = nullptr;
        throw HostError(
            "cannot run GLib's default main context: another thread of this process owns it");
    }
}

MainContextThread::~MainContextThread() {
    stop();
    if (m_job_source != nullptr) g_source_unref(m_job_source);
}

void MainContextThread::run(std::function<void(bool)> started) {
    pthread_setname_np(pthread_self(), "zelt-host-glib");
    GMainContext* context = g_main_context_default();
    if (!g_main_context_acquire(context)) {
        started(false);
        return;
    }
    m_thread_id = std::this_thread::get_id();
    m_loop = g_main_loop_new(context, FALSE);
    g_source_attach(m_job_source, context);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_accepting = true;
    }
    started(true);

    g_main_loop_run(m_loop);

    g_source_destroy(m_job_source);
    g_main_loop_unref(m_loop);
    m_loop = nullptr;
    g_main_context_release(context);
}

void MainContextThread::stop() {
    if (!m_thread.joinable()) return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_accepting) {
            // The quit is queued behind every function already queued, so those still run.
            m_jobs.emplace_back([this] { g_main_loop_quit(m_loop); });
            m_accepting = false;
        }
    }
    g_source_set_ready_time(m_job_source, 0);
    m_thread.join();
}

bool MainContextThread::isRunning() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_accepting;
}

std::size_t MainContextThread::queuedCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_jobs.size();
}

bool MainContextThread::isCurrentThread() const noexcept {
    return std::this_thread::get_id() == m_thread_id;
}

void MainContextThread::invoke(std::function<void()> function) {
    if (isCurrentThread()) {
        function();
        return;
    }
    std::packaged_task<void()> task(std::move(function));
    auto done = task.get_future();
    enqueue([&task] { task(); });
    done.get();
}

void MainContextThread::enqueue(std::function<void()> job) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_accepting) {
            throw HostError("the GLib main-context thread is not running");
        }
        m_jobs.push_back(std::move(job));
    }
    g_source_set_ready_time(m_job_source, 0);
}

int MainContextThread::dispatchJobs(void* self) {
    auto* thread = static_cast<MainContextThread*>(self);
    std::vector<std::function<void()>> jobs;
    {
        std::lock_guard<std::mutex> lock(thread->m_mutex);
        jobs.swap(thread->m_jobs);
    }
    for (auto& job : jobs) job();
    return G_SOURCE_CONTINUE;
}

void MainContextThread::wakeup() noexcept { g_main_context_wakeup(g_main_context_default()); }

GMainContext* MainContextThread::context() noexcept { return g_main_context_default(); }

}  // namespace zelt::host
