#include "virtual_camera.h"

#include <json-glib/json-glib.h>

#include <atomic>
#include <cstdlib>

#include "vcam/vcam.h"

namespace zelt::vcam {
namespace {

// The modes of a default camera, in the order a real camera lists them: per format, the
// larger size first.
constexpr const char* kDefaultCaps =
    "video/x-raw, format=(string)YUY2, width=(int)1280, height=(int)720, "
    "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1; "
    "video/x-raw, format=(string)YUY2, width=(int)640, height=(int)480, "
    "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1; "
    "video/x-raw, format=(string)I420, width=(int)1280, height=(int)720, "
    "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1; "
    "video/x-raw, format=(string)I420, width=(int)640, height=(int)480, "
    "framerate=(fraction)30/1, pixel-aspect-ratio=(fraction)1/1";

// More cameras than any test or demo needs; a larger count is taken for a typing error.
constexpr unsigned long kMaxDefaultCameras = 64;

// Name of a described properties structure (the device monitor does not print it).
constexpr const char* kPropertiesName = "properties";

std::uint64_t next_serial() {
    static std::atomic<std::uint64_t> serial{0};
    return ++serial;
}

using JsonParserPtr = std::unique_ptr<JsonParser, gst_support::GObjectUnref>;

bool is_string(JsonNode* node) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_STRING;
}
bool is_boolean(JsonNode* node) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_BOOLEAN;
}
bool is_integer(JsonNode* node) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_INT64;
}

// A string member that may also be null (or absent): the property then yields NULL.
bool read_optional_string(JsonNode* node, const std::string& where, std::optional<std::string>& out,
                          std::string& error) {
    if (JSON_NODE_HOLDS_NULL(node)) {
        out.reset();
        return true;
    }
    if (!is_string(node)) {
        error = where + " must be a string or null";
        return false;
    }
    out = json_node_get_string(node);
    return true;
}

// What GLib accepts as a type name: a letter or '_' first, then letters, digits, '-', '_'
// or '+', three characters at least.
bool is_type_name(const std::string& name) {
    if (name.size() < 3 || !(g_ascii_isalpha(name[0]) || name[0] == '_')) return false;
    for (const char c : name) {
        if (!(g_ascii_isalnum(c) || c == '-' || c == '_' || c == '+')) return false;
    }
    return true;
}

bool read_boolean(JsonNode* node, const std::string& where, bool& out, std::string& error) {
    if (!is_boolean(node)) {
        error = where + " must be true or false";
        return false;
    }
    out = json_node_get_boolean(node) != FALSE;
    return true;
}

bool read_caps(JsonNode* node, const std::string& where, gst_support::CapsPtr& out,
               std::string& error) {
    // One text as the device monitor prints it, or an array of such texts.
    if (is_string(node)) {
        std::string bad_line;
        gst_support::CapsPtr caps(caps_from_monitor_text(json_node_get_string(node), bad_line));
        if (!caps) {
            error = where + " is not valid caps: '" + bad_line + "'";
            return false;
        }
        out = std::move(caps);
        return true;
    }
    if (!JSON_NODE_HOLDS_ARRAY(node)) {
        error = where + " must be a caps text or an array of caps strings";
        return false;
    }
    JsonArray* array = json_node_get_array(node);
    gst_support::CapsPtr caps(gst_caps_new_empty());
    for (guint i = 0; i < json_array_get_length(array); ++i) {
        JsonNode* entry = json_array_get_element(array, i);
        const std::string entry_where = where + "[" + std::to_string(i) + "]";
        if (!is_string(entry)) {
            error = entry_where + " must be a caps string";
            return false;
        }
        std::string bad_line;
        GstCaps* parsed = caps_from_monitor_text(json_node_get_string(entry), bad_line);
        if (parsed == nullptr) {
            error = entry_where + " is not valid caps: '" + bad_line + "'";
            return false;
        }
        // Appended, not merged: every structure stays as written, duplicates included.
        gst_caps_append(caps.get(), parsed);
    }
    out = std::move(caps);
    return true;
}

// The properties structure: an object whose members become its fields (strings, integers,
// booleans and numbers keep their JSON type), or null for a device without one.
bool read_properties(JsonNode* node, const std::string& where, gst_support::StructurePtr& out,
                     std::string& error) {
    if (JSON_NODE_HOLDS_NULL(node)) {
        out.reset();
        return true;
    }
    if (!JSON_NODE_HOLDS_OBJECT(node)) {
        error = where + " must be an object or null";
        return false;
    }
    JsonObject* object = json_node_get_object(node);
    gst_support::StructurePtr properties(gst_structure_new_empty(kPropertiesName));
    GList* members = json_object_get_members(object);
    bool ok = true;
    for (GList* item = members; item != nullptr && ok; item = item->next) {
        const gchar* key = static_cast<const gchar*>(item->data);
        JsonNode* value = json_object_get_member(object, key);
        if (!JSON_NODE_HOLDS_VALUE(value)) {
            error = where + "." + key + " must be a string, a number or a boolean";
            ok = false;
            break;
        }
        GValue field = G_VALUE_INIT;
        json_node_get_value(value, &field);
        gst_structure_set_value(properties.get(), key, &field);
        g_value_unset(&field);
    }
    g_list_free(members);
    if (ok) out = std::move(properties);
    return ok;
}

bool parse_camera(JsonNode* node, const std::string& where, VirtualCamera& camera,
                  std::string& error) {
    if (!JSON_NODE_HOLDS_OBJECT(node)) {
        error = where + " must be an object";
        return false;
    }
    JsonObject* object = json_node_get_object(node);
    bool has_name = false;
    std::optional<std::string> id;
    GList* members = json_object_get_members(object);
    bool ok = true;
    for (GList* item = members; item != nullptr && ok; item = item->next) {
        const std::string key = static_cast<const gchar*>(item->data);
        JsonNode* value = json_object_get_member(object, key.c_str());
        const std::string member = where + "." + key;
        if (key == "id") {
            ok = is_string(value);
            if (ok)
                id = json_node_get_string(value);
            else
                error = member + " must be a string";
        } else if (key == "name") {
            ok = is_string(value);
            if (ok)
                camera.name = json_node_get_string(value);
            else
                error = member + " must be a string";
            has_name = ok;
        } else if (key == "device_type") {
            const std::string type = is_string(value) ? json_node_get_string(value) : "";
            if (type == "default") {
                camera.device_type.clear();
            } else if (is_type_name(type)) {
                camera.device_type = type;
            } else {
                error = member + " must be \"default\" or a GObject type name";
                ok = false;
            }
        } else if (key == "class") {
            ok = is_string(value) && *json_node_get_string(value) != '\0';
            if (ok)
                camera.device_class = json_node_get_string(value);
            else
                error = member + " must be a non-empty string";
        } else if (key == "properties") {
            ok = read_properties(value, member, camera.properties, error);
            camera.default_properties = false;
        } else if (key == "provider") {
            const std::string role = is_string(value) ? json_node_get_string(value) : "";
            if (role == "main") {
                camera.provider = ProviderRole::Main;
            } else if (role == "hiding") {
                camera.provider = ProviderRole::Hiding;
            } else {
                error = member + " must be \"main\" or \"hiding\"";
                ok = false;
            }
        } else if (key == "path") {
            ok = read_optional_string(value, member, camera.path, error);
        } else if (key == "device_path") {
            ok = read_optional_string(value, member, camera.device_path, error);
        } else if (key == "caps") {
            ok = read_caps(value, member, camera.caps, error);
        } else if (key == "benchmark") {
            ok = read_boolean(value, member, camera.benchmark, error);
        } else if (key == "fail_link") {
            ok = read_boolean(value, member, camera.fail_link, error);
        } else if (key == "never_first_frame") {
            ok = read_boolean(value, member, camera.never_first_frame, error);
        } else if (key == "error_after_frames") {
            if (JSON_NODE_HOLDS_NULL(value)) {
                camera.error_after_frames = -1;
            } else if (is_integer(value) && json_node_get_int(value) >= 0) {
                camera.error_after_frames = json_node_get_int(value);
            } else {
                error = member + " must be a non-negative integer or null";
                ok = false;
            }
        } else {
            error = member + " is not a camera member";
            ok = false;
        }
    }
    g_list_free(members);
    if (!ok) return false;
    if (!has_name) {
        error = where + " has no \"name\"";
        return false;
    }
    camera.id = id.value_or(camera.name);
    if (!camera.caps) camera.caps.reset(default_camera_caps());
    return true;
}

}  // namespace

GstCaps* caps_from_monitor_text(const std::string& text, std::string& bad_line) {
    gst_support::CapsPtr caps(gst_caps_new_empty());
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        GstCaps* parsed = gst_caps_from_string(line.c_str());
        if (parsed == nullptr) {
            bad_line = line;
            return nullptr;
        }
        gst_caps_append(caps.get(), parsed);
    }
    return caps.release();
}

GstCaps* default_camera_caps() { return gst_caps_from_string(kDefaultCaps); }

CameraList default_cameras(unsigned count) {
    CameraList cameras;
    for (unsigned i = 0; i < count; ++i) {
        auto camera = std::make_shared<VirtualCamera>();
        camera->name = "Virtual Camera " + std::to_string(i);
        camera->id = camera->name;
        camera->device_path = "/dev/zelt-vcam" + std::to_string(i);
        camera->caps.reset(default_camera_caps());
        camera->serial = next_serial();
        cameras.push_back(std::move(camera));
    }
    return cameras;
}

bool parse_cameras_json(const std::string& text, bool allow_single, CameraList& out,
                        std::string& error) {
    JsonParserPtr parser(json_parser_new());
    GError* raw_error = nullptr;
    if (!json_parser_load_from_data(parser.get(), text.data(), static_cast<gssize>(text.size()),
                                    &raw_error)) {
        gst_support::GErrorPtr parse_error(raw_error);
        error = std::string("not valid JSON: ") + parse_error->message;
        return false;
    }
    JsonNode* root = json_parser_get_root(parser.get());
    if (root == nullptr || !JSON_NODE_HOLDS_OBJECT(root)) {
        error = "the description must be a JSON object";
        return false;
    }
    JsonObject* object = json_node_get_object(root);
    CameraList cameras;
    if (!json_object_has_member(object, "cameras")) {
        if (!allow_single) {
            error = "the description has no member \"cameras\"";
            return false;
        }
        auto camera = std::make_shared<VirtualCamera>();
        if (!parse_camera(root, "camera", *camera, error)) return false;
        camera->serial = next_serial();
        cameras.push_back(std::move(camera));
    } else {
        if (json_object_get_size(object) != 1) {
            error = "the description may hold only the member \"cameras\"";
            return false;
        }
        JsonNode* list = json_object_get_member(object, "cameras");
        if (!JSON_NODE_HOLDS_ARRAY(list)) {
            error = "\"cameras\" must be an array";
            return false;
        }
        JsonArray* array = json_node_get_array(list);
        for (guint i = 0; i < json_array_get_length(array); ++i) {
            auto camera = std::make_shared<VirtualCamera>();
            const std::string where = "cameras[" + std::to_string(i) + "]";
            if (!parse_camera(json_array_get_element(array, i), where, *camera, error)) {
                return false;
            }
            camera->serial = next_serial();
            cameras.push_back(std::move(camera));
        }
    }
    out = std::move(cameras);
    return true;
}

CameraList cameras_from_environment(std::string& error) {
    const gchar* value = g_getenv(ZELT_VCAM_ENVIRONMENT_VARIABLE);
    if (value == nullptr || *value == '\0') return {};
    const std::string text = value;
    if (text.find_first_not_of("0123456789") == std::string::npos) {
        const unsigned long count = std::strtoul(text.c_str(), nullptr, 10);
        if (text.size() > 3 || count > kMaxDefaultCameras) {
            error = ZELT_VCAM_ENVIRONMENT_VARIABLE "=" + text + " asks for more than " +
                    std::to_string(kMaxDefaultCameras) + " cameras";
            return {};
        }
        return default_cameras(static_cast<unsigned>(count));
    }
    gchar* contents = nullptr;
    gsize length = 0;
    GError* raw_error = nullptr;
    if (!g_file_get_contents(text.c_str(), &contents, &length, &raw_error)) {
        gst_support::GErrorPtr read_error(raw_error);
        error = "cannot read " + text + ": " + read_error->message;
        return {};
    }
    gst_support::GCharPtr owned(contents);
    CameraList cameras;
    std::string parse_error;
    if (!parse_cameras_json(std::string(contents, length), false, cameras, parse_error)) {
        error = text + ": " + parse_error;
        return {};
    }
    return cameras;
}

std::string unplug_device_text(const VirtualCamera& camera) {
    if (camera.device_path && !camera.device_path->empty()) return *camera.device_path;
    if (camera.path && !camera.path->empty()) return *camera.path;
    return camera.name;
}

}  // namespace zelt::vcam
