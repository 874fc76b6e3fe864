// Reading memory that another thread handed over through GStreamer, under ThreadSanitizer.
//
// GLib's GMutex and GCond are futex-based and GStreamer's atomic queues are built in a library
// without TSan instrumentation, so TSan sees neither the appsink's queue that hands a frame from
// the streaming thread to the thread that pulls it, nor a buffer pool that hands the buffer
// back. A test that maps a pulled frame and reads it on its own thread therefore looks like a
// race with the streaming thread that wrote the frame. Such reads go inside a
// HandedOverReads scope: TSan skips this thread's reads while it lives. Outside TSan it does
// nothing.
#pragma once

#if defined(__SANITIZE_THREAD__)
#define ZELT_TEST_UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ZELT_TEST_UNDER_TSAN 1
#endif
#endif

#ifdef ZELT_TEST_UNDER_TSAN
extern "C" void AnnotateIgnoreReadsBegin(const char* file, int line);
extern "C" void AnnotateIgnoreReadsEnd(const char* file, int line);
#endif

namespace zelt_test {

/// While alive, ThreadSanitizer does not check this thread's reads. Keep it to the reads of a
/// handed-over frame; writes stay checked.
class HandedOverReads {
public:
    // User-provided in every build: a guard that does nothing outside TSan is still a guard,
    // not an unused variable.
    HandedOverReads() {
#ifdef ZELT_TEST_UNDER_TSAN
        AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
#endif
    }
    ~HandedOverReads() {
#ifdef ZELT_TEST_UNDER_TSAN
        AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
#endif
    }
    HandedOverReads(const HandedOverReads&) = delete;
    HandedOverReads& operator=(const HandedOverReads&) = delete;
};

}  // namespace zelt_test
