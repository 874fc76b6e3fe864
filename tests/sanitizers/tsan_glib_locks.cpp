// What GLib and GStreamer order between threads, made visible to ThreadSanitizer.
//
// Debian's GLib and GStreamer are built without TSan. Their locks are futexes, their reference
// counts plain atomics, and TSan sees none of it: every hand-over between a streaming thread and
// the application looked like a race, and the only way out used to be suppressing whole
// libraries, which hid our own races as well (a streaming thread is created by GLib, so every
// report with one on either side matched).
//
// Linked into the executables of a TSan build, the definitions below take the place of GLib's
// and GStreamer's for every call from another library (GStreamer, GObject, GIO, ours): each
// calls the library's own function and tells TSan what it orders, with __tsan_release on the
// side that hands over and __tsan_acquire on the side that takes over.
//
// - Locks: an unlock releases the lock's address, a lock acquires it, a condition wait does both
//   around the wait. GRecMutex and GRWLock keep a pthread lock that their init (or first use)
//   allocates; the init releases and every lock acquires before the call as well.
// - Thread pools: a push releases the item, the worker acquires it before the pool's function
//   runs (GStreamer starts its streaming threads that way).
// - Main contexts: a context's lock is taken inside GLib. All contexts are modelled as one lock
//   that the loop's thread gives up while it polls and while it dispatches a bus watch or sets a
//   source's ready time (GLib releases the context around both), and that another thread takes
//   when it attaches, removes, destroys or drops a source or invokes a function in a context.
//   One lock for all contexts can only hide a race between two loop threads.
// - Quarks: GLib interns strings under a lock of its own; a quark call acquires before and
//   releases after.
// - Mini objects: an unref releases the object; an unref that drops the last reference acquires
//   it first. Messages a bus hands out (through a watch or a pop) are weakly referenced, so that
//   the thread that frees one acquires it even when the last unref happens inside GStreamer.
//
// GLib's and GStreamer's calls to their own functions do not go through the symbol table and stay
// unseen; tests/sanitizers/tsan.supp names what is left, function by function.

#include <gst/gst.h>

#include <cstring>
#include <deque>
#include <mutex>

#include "interposition.h"

extern "C" {
void __tsan_acquire(void* addr);
void __tsan_release(void* addr);
}

// ---- Locks -------------------------------------------------------------------------------

#define ZELT_LOCK(name, type)                      \
    ZELT_SHOWN void name(type* lock) {             \
        ZELT_REAL(name)(lock);                     \
        __tsan_acquire(lock);                      \
    }
#define ZELT_LOCK_ALLOCATED(name, type)            \
    ZELT_SHOWN void name(type* lock) {             \
        __tsan_acquire(lock);                      \
        ZELT_REAL(name)(lock);                     \
        __tsan_acquire(lock);                      \
    }
#define ZELT_TRYLOCK(name, type)                   \
    ZELT_SHOWN gboolean name(type* lock) {         \
        const gboolean taken = ZELT_REAL(name)(lock); \
        if (taken) __tsan_acquire(lock);           \
        return taken;                              \
    }
#define ZELT_UNLOCK(name, type)                    \
    ZELT_SHOWN void name(type* lock) {             \
        __tsan_release(lock);                      \
        ZELT_REAL(name)(lock);                     \
    }
#define ZELT_LOCK_INIT(name, type)                 \
    ZELT_SHOWN void name(type* lock) {             \
        ZELT_REAL(name)(lock);                     \
        __tsan_release(lock);                      \
    }

ZELT_LOCK(g_mutex_lock, GMutex)
ZELT_TRYLOCK(g_mutex_trylock, GMutex)
ZELT_UNLOCK(g_mutex_unlock, GMutex)
ZELT_LOCK_INIT(g_rec_mutex_init, GRecMutex)
ZELT_LOCK_ALLOCATED(g_rec_mutex_lock, GRecMutex)
ZELT_TRYLOCK(g_rec_mutex_trylock, GRecMutex)
ZELT_UNLOCK(g_rec_mutex_unlock, GRecMutex)
ZELT_LOCK_INIT(g_rw_lock_init, GRWLock)
ZELT_LOCK_ALLOCATED(g_rw_lock_writer_lock, GRWLock)
ZELT_TRYLOCK(g_rw_lock_writer_trylock, GRWLock)
ZELT_UNLOCK(g_rw_lock_writer_unlock, GRWLock)
// Readers release as well: what a reader did is ordered before the next writer.
ZELT_LOCK_ALLOCATED(g_rw_lock_reader_lock, GRWLock)
ZELT_TRYLOCK(g_rw_lock_reader_trylock, GRWLock)
ZELT_UNLOCK(g_rw_lock_reader_unlock, GRWLock)

ZELT_SHOWN void g_cond_wait(GCond* condition, GMutex* mutex) {
    __tsan_release(mutex);
    ZELT_REAL(g_cond_wait)(condition, mutex);
    __tsan_acquire(mutex);
}

ZELT_SHOWN gboolean g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 end_time) {
    __tsan_release(mutex);
    const gboolean signalled = ZELT_REAL(g_cond_wait_until)(condition, mutex, end_time);
    __tsan_acquire(mutex);
    return signalled;
}

// ---- Thread pools ------------------------------------------------------------------------

namespace {

struct PoolWorker {
    GFunc function;
    gpointer user_data;
};

void run_pool_item(gpointer data, gpointer worker) {
    __tsan_acquire(data);
    const auto* pool_worker = static_cast<const PoolWorker*>(worker);
    pool_worker->function(data, pool_worker->user_data);
}

/// The workers' functions of every pool made, kept for the life of the process (a pool may
/// run items after g_thread_pool_free returns, when not asked to wait).
PoolWorker* keep_pool_worker(GFunc function, gpointer user_data) {
    static std::mutex mutex;
    static std::deque<PoolWorker> workers;
    std::lock_guard<std::mutex> lock(mutex);
    workers.push_back(PoolWorker{function, user_data});
    return &workers.back();
}

}  // namespace

ZELT_SHOWN GThreadPool* g_thread_pool_new(GFunc function, gpointer user_data, gint max_threads,
                                          gboolean exclusive, GError** error) {
    return ZELT_REAL(g_thread_pool_new)(&run_pool_item, keep_pool_worker(function, user_data),
                                        max_threads, exclusive, error);
}

ZELT_SHOWN gboolean g_thread_pool_push(GThreadPool* pool, gpointer data, GError** error) {
    __tsan_release(data);
    return ZELT_REAL(g_thread_pool_push)(pool, data, error);
}

// ---- Main contexts -----------------------------------------------------------------------

namespace {

char g_main_contexts;  // the address that stands for the contexts' lock

/// The context's lock given up by the loop's thread (poll, dispatch).
void context_released() { __tsan_release(&g_main_contexts); }
/// ... and taken again.
void context_taken() { __tsan_acquire(&g_main_contexts); }

gint annotated_poll(GPollFD* fds, guint n_fds, gint timeout) {
    context_released();
    const gint ready = ZELT_REAL(g_poll)(fds, n_fds, timeout);
    context_taken();
    return ready;
}

/// Calls `call`, which takes `context`'s lock inside GLib, as one holding of the contexts' lock.
/// The loop's thread may hold the real lock right now (between a dispatch and its next poll it
/// unblocks the dispatched source, allocating its poll records); taking the annotation before
/// the call would miss what it does until it polls. So the context is first acquired and
/// released, which takes and gives back GLib's lock and so waits until the loop's thread has
/// let go of it.
template <typename Call>
auto under_context_lock(GMainContext* context, Call call) {
    if (context == nullptr) context = g_main_context_default();
    if (g_main_context_acquire(context)) g_main_context_release(context);
    context_taken();
    const auto result = call();
    context_released();
    return result;
}

}  // namespace

ZELT_SHOWN GMainLoop* g_main_loop_new(GMainContext* context, gboolean is_running) {
    GMainLoop* loop = ZELT_REAL(g_main_loop_new)(context, is_running);
    g_main_context_set_poll_func(g_main_loop_get_context(loop), &annotated_poll);
    return loop;
}

ZELT_SHOWN gboolean g_source_remove(guint tag) {
    return under_context_lock(nullptr, [&] { return ZELT_REAL(g_source_remove)(tag); });
}

ZELT_SHOWN void g_source_destroy(GSource* source) {
    under_context_lock(g_source_get_context(source), [&] {
        ZELT_REAL(g_source_destroy)(source);
        return 0;
    });
}

ZELT_SHOWN void g_source_unref(GSource* source) {
    under_context_lock(g_source_get_context(source), [&] {
        ZELT_REAL(g_source_unref)(source);
        return 0;
    });
}

ZELT_SHOWN guint g_source_attach(GSource* source, GMainContext* context) {
    return under_context_lock(context,
                              [&] { return ZELT_REAL(g_source_attach)(source, context); });
}

// Called by a dispatch on the loop's thread too, with the context given up.
ZELT_SHOWN void g_source_set_ready_time(GSource* source, gint64 ready_time) {
    under_context_lock(g_source_get_context(source), [&] {
        ZELT_REAL(g_source_set_ready_time)(source, ready_time);
        return 0;
    });
}

ZELT_SHOWN void g_main_context_invoke_full(GMainContext* context, gint priority,
                                           GSourceFunc function, gpointer data,
                                           GDestroyNotify notify) {
    under_context_lock(context, [&] {
        ZELT_REAL(g_main_context_invoke_full)(context, priority, function, data, notify);
        return 0;
    });
}

ZELT_SHOWN void g_main_context_invoke(GMainContext* context, GSourceFunc function,
                                      gpointer data) {
    under_context_lock(context, [&] {
        ZELT_REAL(g_main_context_invoke)(context, function, data);
        return 0;
    });
}

// ---- Quarks ------------------------------------------------------------------------------

namespace {
char g_quarks;  // the address that stands for GLib's quark lock
}  // namespace

#define ZELT_QUARK(result, name)                        \
    ZELT_SHOWN result name(const gchar* text) {         \
        __tsan_acquire(&g_quarks);                      \
        const auto value = ZELT_REAL(name)(text);       \
        __tsan_release(&g_quarks);                      \
        return value;                                   \
    }

ZELT_QUARK(GQuark, g_quark_from_string)
ZELT_QUARK(GQuark, g_quark_from_static_string)
ZELT_QUARK(GQuark, g_quark_try_string)
ZELT_QUARK(const gchar*, g_intern_string)
ZELT_QUARK(const gchar*, g_intern_static_string)

// ---- Mini objects and bus messages -------------------------------------------------------

namespace {

/// The object's reference count, read the way GStreamer reads it: unseen by TSan, which would
/// otherwise take this read for an access to memory that another thread frees.
__attribute__((no_sanitize_thread, noinline)) gint reference_count(const GstMiniObject* object) {
    return __atomic_load_n(&object->refcount, __ATOMIC_ACQUIRE);
}

}  // namespace

ZELT_SHOWN void gst_mini_object_unref(GstMiniObject* object) {
    if (object != nullptr) {
        if (reference_count(object) == 1) __tsan_acquire(object);
        __tsan_release(object);
    }
    ZELT_REAL(gst_mini_object_unref)(object);
}

namespace {

void acquire_at_free(gpointer /*data*/, GstMiniObject* message) { __tsan_acquire(message); }

/// A message the bus handed out: its freeing thread, whichever it is, acquires it.
GstMessage* handed_out(GstMessage* message) {
    if (message != nullptr)
        ZELT_REAL(gst_mini_object_weak_ref)(GST_MINI_OBJECT_CAST(message), &acquire_at_free,
                                            nullptr);
    return message;
}

struct BusWatch {
    GstBusFunc function;
    gpointer user_data;
    GDestroyNotify notify;
};

// A bus watch's dispatch, with the context given up for it as GLib does.
gboolean watch_message(GstBus* bus, GstMessage* message, gpointer watch) {
    context_released();
    handed_out(message);
    const auto* bus_watch = static_cast<const BusWatch*>(watch);
    const gboolean keep = bus_watch->function(bus, message, bus_watch->user_data);
    __tsan_release(message);
    context_taken();
    return keep;
}

void destroy_watch(gpointer watch) {
    auto* bus_watch = static_cast<BusWatch*>(watch);
    if (bus_watch->notify != nullptr) bus_watch->notify(bus_watch->user_data);
    delete bus_watch;
}

}  // namespace

// GStreamer installs a bus watch's callback through here.
ZELT_SHOWN void g_source_set_callback(GSource* source, GSourceFunc function, gpointer data,
                                      GDestroyNotify notify) {
    const char* name = g_source_get_name(source);
    if (name != nullptr && std::strcmp(name, "GStreamer message bus watch") == 0) {
        // A bus watch's callback is a GstBusFunc stored as a GSourceFunc (GLib's G_SOURCE_FUNC
        // casts through a function type without arguments, as here).
        using AnyFunction = void (*)();
        auto* watch = new BusWatch{
            reinterpret_cast<GstBusFunc>(reinterpret_cast<AnyFunction>(function)), data, notify};
        ZELT_REAL(g_source_set_callback)(
            source, reinterpret_cast<GSourceFunc>(reinterpret_cast<AnyFunction>(&watch_message)),
            watch, &destroy_watch);
        return;
    }
    ZELT_REAL(g_source_set_callback)(source, function, data, notify);
}

ZELT_SHOWN GstMessage* gst_bus_pop(GstBus* bus) { return handed_out(ZELT_REAL(gst_bus_pop)(bus)); }

ZELT_SHOWN GstMessage* gst_bus_pop_filtered(GstBus* bus, GstMessageType types) {
    return handed_out(ZELT_REAL(gst_bus_pop_filtered)(bus, types));
}

ZELT_SHOWN GstMessage* gst_bus_timed_pop(GstBus* bus, GstClockTime timeout) {
    return handed_out(ZELT_REAL(gst_bus_timed_pop)(bus, timeout));
}

ZELT_SHOWN GstMessage* gst_bus_timed_pop_filtered(GstBus* bus, GstClockTime timeout,
                                                  GstMessageType types) {
    return handed_out(ZELT_REAL(gst_bus_timed_pop_filtered)(bus, timeout, types));
}
