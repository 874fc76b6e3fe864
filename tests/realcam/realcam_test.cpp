// Real cameras as users published their device-monitor outputs (tests/data/real-cameras): each
// file's cameras are offered by the virtual cameras with the published type name, class,
// properties and caps, found by the real device monitor, and the plug-in is checked for what it
// offers (channels, frame settings and their default) and for frames from every offered camera.
#include <glib/gstdio.h>
#include <json-glib/json-glib.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "e2e_fixture.h"

namespace zelt_e2e {
namespace {

using zelt::host::Acquisition;

// What one corpus file says the plug-in offers for one camera.
struct ExpectedChannel {
    std::string name;
    std::string path;
    std::string format;
    std::vector<std::string> frame_settings;
    std::string default_setting;
};

struct RealCamera {
    std::string file;
    std::string source;
    std::string cameras_document;  // {"cameras": [...]} for the virtual cameras
    std::vector<ExpectedChannel> offered;
};

std::string member_string(JsonObject* object, const char* name) {
    return json_object_has_member(object, name) ? json_object_get_string_member(object, name)
                                                : std::string();
}

RealCamera read_corpus_file(const std::filesystem::path& path) {
    RealCamera camera;
    camera.file = path.filename().string();
    std::unique_ptr<JsonParser, gst_support::GObjectUnref> parser(json_parser_new());
    GError* raw_error = nullptr;
    if (!json_parser_load_from_file(parser.get(), path.c_str(), &raw_error)) {
        const gst_support::GErrorPtr error(raw_error);
        throw std::runtime_error(path.string() + ": " + error->message);
    }
    JsonObject* root = json_node_get_object(json_parser_get_root(parser.get()));
    camera.source = member_string(root, "source");

    JsonObject* document = json_object_new();
    json_object_set_member(document, "cameras",
                           json_node_copy(json_object_get_member(root, "cameras")));
    JsonNode* document_node = json_node_init_object(json_node_alloc(), document);
    json_object_unref(document);
    const gst_support::GCharPtr text(json_to_string(document_node, TRUE));
    json_node_unref(document_node);
    camera.cameras_document = text.get();

    JsonArray* offered = json_object_get_array_member(root, "offered");
    for (guint i = 0; i < json_array_get_length(offered); ++i) {
        JsonObject* entry = json_array_get_object_element(offered, i);
        ExpectedChannel channel{member_string(entry, "name"),
                                member_string(entry, "path"),
                                member_string(entry, "format"),
                                {},
                                member_string(entry, "default")};
        JsonArray* settings = json_object_get_array_member(entry, "frame_settings");
        for (guint j = 0; j < json_array_get_length(settings); ++j)
            channel.frame_settings.push_back(json_array_get_string_element(settings, j));
        camera.offered.push_back(std::move(channel));
    }
    return camera;
}

std::vector<std::filesystem::path> corpus_files() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(ZELT_REAL_CAMERAS_DIR))
        if (entry.path().extension() == ".json") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

std::string test_name(const ::testing::TestParamInfo<std::filesystem::path>& info) {
    std::string name = info.param.stem().string();
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

std::vector<std::string> frame_settings_of(channel_config::IfChannelConfig& channel) {
    std::vector<std::string> texts;
    for (const auto& constraint : channel.getConstraints("CAMERA/FrameSetting")) {
        const auto* option =
            dynamic_cast<config_items::OptionConstraint<config_items::StringConfigItem>*>(
                constraint.get());
        if (option != nullptr) texts.push_back(option->item().m_value);
    }
    return texts;
}

// Width and height of a frame-setting text "W x H @ R fps".
std::pair<std::uint32_t, std::uint32_t> size_of(const std::string& setting) {
    unsigned width = 0;
    unsigned height = 0;
    if (std::sscanf(setting.c_str(), "%u x %u", &width, &height) != 2)
        throw std::runtime_error("not a frame setting: " + setting);
    return {width, height};
}

std::uint32_t fourcc(const std::string& name) {
    std::uint32_t code = 0;
    for (std::size_t i = 0; i < name.size() && i < 4; ++i)
        code |= static_cast<std::uint32_t>(static_cast<unsigned char>(name[i])) << (8 * i);
    return code;
}

class RealCameraTest : public CameraE2eTest,
                       public ::testing::WithParamInterface<std::filesystem::path> {
protected:
    void openDocument(const std::string& document) {
        m_camera_file =
            std::string(g_get_tmp_dir()) + "/zelt-realcam-" + std::to_string(::getpid()) + ".json";
        ASSERT_TRUE(g_file_set_contents(m_camera_file.c_str(), document.c_str(),
                                        static_cast<gssize>(document.size()), nullptr));
        zelt::vcam::useCameraFile(m_camera_file);
        m_host = std::make_unique<zelt::host::Host>();
        m_host->open(ZELT_CAMERA_MODULE_PATH, 5);
    }
};

TEST_P(RealCameraTest, OffersWhatThePublishedDeviceAllowsAndDeliversItsDefaultMode) {
    const RealCamera camera = read_corpus_file(GetParam());
    ASSERT_FALSE(camera.source.empty()) << camera.file << " names no source address";
    SCOPED_TRACE(camera.file + " from " + camera.source);
    openDocument(camera.cameras_document);
    ASSERT_EQ(zelt::vcam::ProviderControl().lastError(), "");

    std::vector<std::uint32_t> expected_ids;
    for (std::uint32_t i = 0; i < camera.offered.size(); ++i) expected_ids.push_back(i);
    for (std::uint32_t i = 0; i < camera.offered.size(); ++i) expected_ids.push_back(0x10000 | i);
    ASSERT_EQ(m_host->channelIds(), expected_ids);

    for (std::uint32_t i = 0; i < camera.offered.size(); ++i) {
        const ExpectedChannel& expected = camera.offered[i];
        SCOPED_TRACE("channel " + std::to_string(i));
        EXPECT_EQ(text(i, "DefaultName"), expected.name);
        EXPECT_EQ(text(i, "ID:CAMERA/ChannelIndex"), expected.path);
        EXPECT_EQ(frame_settings_of(*m_host->requireChannel(i)), expected.frame_settings);
        EXPECT_EQ(text(i, "CAMERA/FrameSetting"), expected.default_setting);

        const auto [width, height] = size_of(expected.default_setting);
        auto sink = attachSink(i);
        {
            Acquisition acquisition(*m_host, {i});
            ASSERT_TRUE(sink->waitForSamples(3, 10s)) << "no frames from " << expected.name;
        }
        const auto samples = sink->samples();
        ASSERT_TRUE(samples.front().header.has_value());
        EXPECT_EQ(samples.front().header->format, fourcc(expected.format));
        EXPECT_EQ(samples.front().header->width, width);
        EXPECT_EQ(samples.front().header->height, height);
        EXPECT_EQ(text(i, "FrameFormat"), expected.format);
    }
    EXPECT_TRUE(m_host->exceptions().history().empty());
}

INSTANTIATE_TEST_SUITE_P(Corpus, RealCameraTest, ::testing::ValuesIn(corpus_files()), test_name);

TEST(RealCameraCorpus, HoldsAtLeastTwelveCamerasEachWithItsSourceAddress) {
    const auto files = corpus_files();
    EXPECT_GE(files.size(), 12u);
    for (const auto& file : files) {
        const RealCamera camera = read_corpus_file(file);
        EXPECT_EQ(camera.source.rfind("https://", 0), 0u) << camera.file;
    }
}

}  // namespace
}  // namespace zelt_e2e
