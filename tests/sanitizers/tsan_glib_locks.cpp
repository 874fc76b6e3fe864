// What GLib's locks, thread pools and main context and GStreamer's bus watches order, made
// visible to ThreadSanitizer.
//
// Debian's GLib implements GMutex, GRecMutex, GRWLock and GCond with futexes in a library built
// without TSan, so TSan sees none of the locking that GStreamer does with them: the object lock,
// the pads' stream locks, the appsink's queue, the bus's message queue. Every hand-over between
// a streaming thread and the application looked like a race, and the only way out used to be
// suppressing whole libraries, which hid our own races as well.
//
// Linked into the executables of a TSan build, these definitions take the place of GLib's for
// every call from another library (GStreamer, GObject, ours): each one calls GLib's own function
// and tells TSan what it did. An unlock releases the lock's address, a lock acquires it, and a
// condition wait does both around the wait, so a lock taken in GStreamer orders the memory
// accesses around it exactly as the lock does. A thread pool's push is ordered before the
// worker's run of the item (GStreamer starts its streaming threads that way); the main
// context's poll and the removal of a source from another thread are ordered as the context's
// lock orders them; a bus watch's reading of a message is ordered before the message is freed.
// GLib's calls to its own functions stay unseen (they do not go through the symbol table);
// tests/sanitizers/tsan.supp names what is left, function by function.
//
// Only the happens-before edges are annotated, not lock identities: TSan's lock-order checks
// keep to the locks it sees itself (std::mutex and pthread).

#include <dlfcn.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>

extern "C" {
void __tsan_acquire(void* addr);
void __tsan_release(void* addr);
}

namespace {

/// GLib's own definition of `name`, looked up once.
template <typename Function>
Function glib_function(std::atomic<Function>& slot, const char* name) {
    Function function = slot.load(std::memory_order_acquire);
    if (function == nullptr) {
        function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
        slot.store(function, std::memory_order_release);
    }
    return function;
}

// The locks' types are opaque here: only their addresses matter.
using Lock = void;
using Condition = void;
using gboolean = int;

}  // namespace

// The project builds with hidden symbols; these must be seen by the libraries.
#define ZELT_GLIB_EXPORT __attribute__((visibility("default")))

#define ZELT_GLIB_LOCK(name)                                                          \
    extern "C" ZELT_GLIB_EXPORT void name(Lock* lock) {                                                \
        static std::atomic<void (*)(Lock*)> glib{nullptr};                            \
        glib_function(glib, #name)(lock);                                             \
        __tsan_acquire(lock);                                                         \
    }
// GLib's recursive mutex and reader-writer lock keep a pthread lock that their init (or their
// first use) allocates; TSan sees the pthread calls on it. The init releases the lock's
// address and every lock acquires it before the call too, so the allocation is ordered before
// every use. Acquiring before the call adds no order the lock itself does not give.
#define ZELT_GLIB_INIT(name)                                                          \
    extern "C" ZELT_GLIB_EXPORT void name(Lock* lock) {                               \
        static std::atomic<void (*)(Lock*)> glib{nullptr};                            \
        glib_function(glib, #name)(lock);                                             \
        __tsan_release(lock);                                                         \
    }
#define ZELT_GLIB_IMPL_LOCK(name)                                                     \
    extern "C" ZELT_GLIB_EXPORT void name(Lock* lock) {                               \
        static std::atomic<void (*)(Lock*)> glib{nullptr};                            \
        __tsan_acquire(lock);                                                         \
        glib_function(glib, #name)(lock);                                             \
        __tsan_acquire(lock);                                                         \
    }
#define ZELT_GLIB_TRYLOCK(name)                                                       \
    extern "C" ZELT_GLIB_EXPORT gboolean name(Lock* lock) {                                            \
        static std::atomic<gboolean (*)(Lock*)> glib{nullptr};                        \
        const gboolean taken = glib_function(glib, #name)(lock);                      \
        if (taken) __tsan_acquire(lock);                                              \
        return taken;                                                                 \
    }
#define ZELT_GLIB_UNLOCK(name)                                                        \
    extern "C" ZELT_GLIB_EXPORT void name(Lock* lock) {                                                \
        static std::atomic<void (*)(Lock*)> glib{nullptr};                            \
        __tsan_release(lock);                                                         \
        glib_function(glib, #name)(lock);                                             \
    }

ZELT_GLIB_LOCK(g_mutex_lock)
ZELT_GLIB_TRYLOCK(g_mutex_trylock)
ZELT_GLIB_UNLOCK(g_mutex_unlock)
ZELT_GLIB_INIT(g_rec_mutex_init)
ZELT_GLIB_IMPL_LOCK(g_rec_mutex_lock)
ZELT_GLIB_TRYLOCK(g_rec_mutex_trylock)
ZELT_GLIB_UNLOCK(g_rec_mutex_unlock)
ZELT_GLIB_INIT(g_rw_lock_init)
ZELT_GLIB_IMPL_LOCK(g_rw_lock_writer_lock)
ZELT_GLIB_TRYLOCK(g_rw_lock_writer_trylock)
ZELT_GLIB_UNLOCK(g_rw_lock_writer_unlock)
// Readers release as well: what a reader did is ordered before the next writer, which is what
// the lock guarantees.
ZELT_GLIB_IMPL_LOCK(g_rw_lock_reader_lock)
ZELT_GLIB_TRYLOCK(g_rw_lock_reader_trylock)
ZELT_GLIB_UNLOCK(g_rw_lock_reader_unlock)

// A condition wait gives the mutex up while it waits and has it again when it returns.
extern "C" ZELT_GLIB_EXPORT void g_cond_wait(Condition* condition, Lock* mutex) {
    static std::atomic<void (*)(Condition*, Lock*)> glib{nullptr};
    __tsan_release(mutex);
    glib_function(glib, "g_cond_wait")(condition, mutex);
    __tsan_acquire(mutex);
}

extern "C" ZELT_GLIB_EXPORT gboolean g_cond_wait_until(Condition* condition, Lock* mutex, std::int64_t end_time) {
    static std::atomic<gboolean (*)(Condition*, Lock*, std::int64_t)> glib{nullptr};
    __tsan_release(mutex);
    const gboolean signalled = glib_function(glib, "g_cond_wait_until")(condition, mutex, end_time);
    __tsan_acquire(mutex);
    return signalled;
}

// A thread pool hands each pushed item to a worker through GLib's own queue. The push releases
// the item's address and the worker acquires it before the pool's function runs, so whatever
// the pusher prepared for the item (GStreamer's task data) is ordered before the worker uses it.
namespace {

using PoolFunction = void (*)(void* data, void* user_data);

struct PoolWorker {
    PoolFunction function;
    void* user_data;
};

void run_pool_item(void* data, void* worker) {
    __tsan_acquire(data);
    const auto* pool_worker = static_cast<const PoolWorker*>(worker);
    pool_worker->function(data, pool_worker->user_data);
}

/// The workers' functions of every pool made, kept for the life of the process (a pool may
/// run items after g_thread_pool_free returns, when not asked to wait).
PoolWorker* keep_pool_worker(PoolFunction function, void* user_data) {
    static std::mutex mutex;
    static std::deque<PoolWorker> workers;
    std::lock_guard<std::mutex> lock(mutex);
    workers.push_back(PoolWorker{function, user_data});
    return &workers.back();
}

}  // namespace

extern "C" ZELT_GLIB_EXPORT void* g_thread_pool_new(PoolFunction function, void* user_data,
                                                    int max_threads, gboolean exclusive,
                                                    void** error) {
    static std::atomic<void* (*)(PoolFunction, void*, int, gboolean, void**)> glib{nullptr};
    return glib_function(glib, "g_thread_pool_new")(
        &run_pool_item, keep_pool_worker(function, user_data), max_threads, exclusive, error);
}

extern "C" ZELT_GLIB_EXPORT gboolean g_thread_pool_push(void* pool, void* data, void** error) {
    static std::atomic<gboolean (*)(void*, void*, void**)> glib{nullptr};
    __tsan_release(data);
    return glib_function(glib, "g_thread_pool_push")(pool, data, error);
}

// GLib's main context: its lock is GLib's own and unseen. The context is modelled as one lock
// that the loop's thread gives up while it polls and takes again afterwards (GLib releases
// the context's lock around the poll), and that a source's removal from another thread takes.
// Everything the loop's thread did with its sources before it went to poll is then ordered
// before another thread removes and frees one of them.
namespace {

char g_main_contexts;  // the address that stands for the contexts' lock

using PollFunction = int (*)(void* fds, unsigned n_fds, int timeout);

int annotated_poll(void* fds, unsigned n_fds, int timeout) {
    static std::atomic<PollFunction> glib{nullptr};
    __tsan_release(&g_main_contexts);
    const int ready = glib_function(glib, "g_poll")(fds, n_fds, timeout);
    __tsan_acquire(&g_main_contexts);
    return ready;
}

}  // namespace

extern "C" ZELT_GLIB_EXPORT void* g_main_loop_new(void* context, gboolean is_running) {
    static std::atomic<void* (*)(void*, gboolean)> glib{nullptr};
    static std::atomic<void* (*)(void)> default_context{nullptr};
    static std::atomic<void (*)(void*, PollFunction)> set_poll{nullptr};
    void* loop = glib_function(glib, "g_main_loop_new")(context, is_running);
    if (context == nullptr) context = glib_function(default_context, "g_main_context_default")();
    glib_function(set_poll, "g_main_context_set_poll_func")(context, &annotated_poll);
    return loop;
}

extern "C" ZELT_GLIB_EXPORT gboolean g_source_remove(unsigned tag) {
    static std::atomic<gboolean (*)(unsigned)> glib{nullptr};
    __tsan_acquire(&g_main_contexts);
    const gboolean removed = glib_function(glib, "g_source_remove")(tag);
    __tsan_release(&g_main_contexts);
    return removed;
}

extern "C" ZELT_GLIB_EXPORT void g_source_destroy(void* source) {
    static std::atomic<void (*)(void*)> glib{nullptr};
    __tsan_acquire(&g_main_contexts);
    glib_function(glib, "g_source_destroy")(source);
    __tsan_release(&g_main_contexts);
}

extern "C" ZELT_GLIB_EXPORT unsigned g_source_attach(void* source, void* context) {
    static std::atomic<unsigned (*)(void*, void*)> glib{nullptr};
    __tsan_acquire(&g_main_contexts);
    const unsigned id = glib_function(glib, "g_source_attach")(source, context);
    __tsan_release(&g_main_contexts);
    return id;
}

// A bus watch reads the messages it is given; the message is freed later by whichever thread
// drops the last reference (often the pipeline's, on the host's thread during a state change),
// ordered by GStreamer's atomic reference count, which TSan does not see. A watch installed
// through GStreamer gets a wrapper: each message is weakly referenced so that its freeing
// thread acquires the message's address just before the memory goes, and the watch releases
// that address when it returns.
namespace {

using BusFunction = gboolean (*)(void* bus, void* message, void* user_data);
using DestroyNotify = void (*)(void* data);
using WeakNotify = void (*)(void* data, void* object);

struct BusWatch {
    BusFunction function;
    void* user_data;
    DestroyNotify notify;
};

void acquire_at_free(void* /*data*/, void* message) { __tsan_acquire(message); }

gboolean watch_message(void* bus, void* message, void* watch) {
    static std::atomic<void (*)(void*, WeakNotify, void*)> weak_ref{nullptr};
    glib_function(weak_ref, "gst_mini_object_weak_ref")(message, &acquire_at_free, nullptr);
    const auto* bus_watch = static_cast<const BusWatch*>(watch);
    const gboolean keep = bus_watch->function(bus, message, bus_watch->user_data);
    __tsan_release(message);
    return keep;
}

void destroy_watch(void* watch) {
    auto* bus_watch = static_cast<BusWatch*>(watch);
    if (bus_watch->notify != nullptr) bus_watch->notify(bus_watch->user_data);
    delete bus_watch;
}

}  // namespace

extern "C" ZELT_GLIB_EXPORT void g_source_set_callback(void* source, BusFunction function,
                                                       void* data, DestroyNotify notify) {
    static std::atomic<void (*)(void*, BusFunction, void*, DestroyNotify)> glib{nullptr};
    static std::atomic<const char* (*)(void*)> source_name{nullptr};
    const char* name = glib_function(source_name, "g_source_get_name")(source);
    if (name != nullptr && std::strcmp(name, "GStreamer message bus watch") == 0) {
        glib_function(glib, "g_source_set_callback")(
            source, &watch_message, new BusWatch{function, data, notify}, &destroy_watch);
        return;
    }
    glib_function(glib, "g_source_set_callback")(source, function, data, notify);
}
