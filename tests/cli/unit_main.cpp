// The tool's pieces, tested in process. GStreamer is initialised once for the writers.
#include <gst/gst.h>
#include <gtest/gtest.h>

namespace {

class GstEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        gst_registry_fork_set_enabled(FALSE);
#endif
        gst_init(nullptr, nullptr);
    }
};

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new GstEnvironment());
    return RUN_ALL_TESTS();
}
