// zelt-camera list [--json]
#include <iostream>

#include "camera_catalog.h"
#include "commands.h"
#include "json_writer.h"
#include "plugin_session.h"

namespace zelt::cli {
namespace {

void writeJson(const PluginSession& session, const std::vector<CameraEntry>& cameras) {
    JsonWriter json;
    json.beginObject();
    json.key("plugin").value(session.pluginPath());
    json.key("virtual").value(session.usesVirtualCameras());
    json.key("cameras").beginArray();
    for (const CameraEntry& camera : cameras) {
        json.beginObject();
        json.key("id").value(camera.id);
        json.key("name").value(camera.name);
        json.key("device_path").value(camera.device_path);
        json.key("valid").value(camera.valid);
        json.key("default_setting").value(camera.current_setting);
        json.key("settings").beginArray();
        for (const std::string& setting : camera.settings) {
            json.beginObject();
            json.key("text").value(setting);
            json.key("default").value(camera.current_setting == setting);
            json.endObject();
        }
        json.endArray();
        json.key("counter_channel");
        if (camera.counter_id) {
            json.beginObject();
            json.key("id").value(*camera.counter_id);
            json.key("name").value(camera.counter_name);
            json.endObject();
        } else {
            json.null();
        }
        json.endObject();
    }
    json.endArray();
    json.endObject();
    std::cout << json.text();
}

void writeText(const std::vector<CameraEntry>& cameras) {
    for (const CameraEntry& camera : cameras) {
        std::cout << camera.id << "  " << camera.name;
        if (!camera.device_path.empty()) std::cout << "  " << camera.device_path;
        if (!camera.valid) std::cout << "  (has posted an error)";
        std::cout << "\n";
        if (camera.settings.empty()) std::cout << "    settings: none\n";
        for (std::size_t i = 0; i < camera.settings.size(); ++i) {
            std::cout << (i == 0 ? "    settings: " : "              ") << camera.settings[i]
                      << (camera.current_setting == camera.settings[i] ? "  (default)" : "")
                      << "\n";
        }
        if (camera.counter_id) {
            std::cout << "    counter:  " << *camera.counter_id << "  " << camera.counter_name
                      << "\n";
        }
    }
}

}  // namespace

void reportPluginErrors(PluginSession& session) {
    for (const std::string& text : session.newErrors()) {
        std::cerr << "zelt-camera: warning: " << text << std::endl;
    }
}

ExitCode runList(const CommandLine& command_line) {
    PluginSession session(command_line.global);
    reportPluginErrors(session);
    const std::vector<CameraEntry> cameras = listCameras(session.host());
    if (command_line.list.json) {
        writeJson(session, cameras);
    } else {
        writeText(cameras);
    }
    // An empty list is an answer, not a failure; the hint goes to standard error.
    if (cameras.empty()) {
        std::cerr << "zelt-camera: no camera found"
                  << (session.usesVirtualCameras() ? "" : " (use --virtual for a virtual camera)")
                  << std::endl;
    }
    return ExitCode::kOk;
}

}  // namespace zelt::cli
