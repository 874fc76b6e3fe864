#include "camera_catalog.h"

#include <algorithm>
#include <exception>

#include "cli_error.h"
#include "config_items/config_item_constraints.h"

namespace zelt::cli {
namespace {

std::string textOrEmpty(const zelt::host::Host& host, std::uint32_t id, const std::string& key) {
    return itemTextOrNothing(host, id, key).value_or("");
}

bool isSubChannel(const zelt::host::Host& host, std::uint32_t id) {
    const auto channel = host.channel(id);
    return channel == nullptr || channel->hasKey(keys::kSubChannelId);
}

std::vector<std::string> offeredSettings(const channel_config::IfChannelConfig& channel) {
    std::vector<std::string> settings;
    for (const auto& constraint : channel.getConstraints(keys::kFrameSetting)) {
        const auto* option =
            dynamic_cast<const config_items::OptionConstraint<config_items::StringConfigItem>*>(
                constraint.get());
        if (option != nullptr) settings.push_back(option->item().m_value);
    }
    return settings;
}

std::string cameraListText(const std::vector<CameraEntry>& cameras) {
    std::string text;
    for (const CameraEntry& camera : cameras) {
        text += "\n  " + std::to_string(camera.id) + "  " + camera.name;
        if (!camera.device_path.empty()) text += "  " + camera.device_path;
    }
    return text;
}

bool isDecimal(const std::string& text) {
    return !text.empty() && text.size() <= 10 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

std::optional<std::string> itemTextOrNothing(const zelt::host::Host& host, std::uint32_t id,
                                             const std::string& key) {
    try {
        return host.itemText(id, key);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::vector<CameraEntry> listCameras(const zelt::host::Host& host) {
    const std::vector<std::uint32_t> ids = host.channelIds();
    std::vector<CameraEntry> cameras;
    for (const std::uint32_t id : ids) {
        if (isSubChannel(host, id)) continue;
        const auto channel = host.requireChannel(id);
        CameraEntry camera;
        camera.id = id;
        camera.name = textOrEmpty(host, id, keys::kDefaultName);
        camera.device_path = textOrEmpty(host, id, keys::kChannelIndex);
        camera.valid = textOrEmpty(host, id, keys::kValid) != "0";
        camera.settings = offeredSettings(*channel);
        camera.current_setting = itemTextOrNothing(host, id, keys::kFrameSetting);
        const std::uint32_t counter = counterChannelId(id);
        if (std::find(ids.begin(), ids.end(), counter) != ids.end() && counter != id) {
            camera.counter_id = counter;
            camera.counter_name = textOrEmpty(host, counter, keys::kDefaultName);
        }
        cameras.push_back(std::move(camera));
    }
    return cameras;
}

void throwNoCamera(bool virtual_cameras) {
    throw CliError(ExitCode::kNoCamera,
                   virtual_cameras
                       ? "no camera found (--virtual offered none)"
                       : "no camera found; attach one, or use --virtual to record from a "
                         "virtual camera");
}

std::uint32_t resolveChannel(const zelt::host::Host& host, const std::vector<CameraEntry>& cameras,
                             const std::string& wanted) {
    const std::vector<std::uint32_t> ids = host.channelIds();
    if (isDecimal(wanted)) {
        const auto id = static_cast<std::uint32_t>(std::stoull(wanted));
        if (std::stoull(wanted) <= 0xFFFFFFFFull &&
            std::find(ids.begin(), ids.end(), id) != ids.end()) {
            return id;
        }
    }
    for (const CameraEntry& camera : cameras) {
        if (!camera.device_path.empty() && camera.device_path == wanted) return camera.id;
    }
    std::vector<const CameraEntry*> named;
    for (const CameraEntry& camera : cameras) {
        if (camera.name == wanted) named.push_back(&camera);
    }
    if (named.size() == 1) return named.front()->id;
    if (named.size() > 1) {
        // Two cameras of one model share their name: which one is meant cannot be guessed.
        std::string ids;
        for (const CameraEntry* camera : named) {
            ids += (ids.empty() ? "" : ", ") + std::to_string(camera->id);
        }
        throw CliError(ExitCode::kUnknownChannel, "more than one camera is called '" + wanted +
                                                      "' (channels " + ids +
                                                      "); name one by its id or device path");
    }
    if (cameras.empty()) {
        throw CliError(ExitCode::kUnknownChannel,
                       "unknown channel '" + wanted + "': the plug-in offers no camera");
    }
    throw CliError(ExitCode::kUnknownChannel,
                   "unknown channel '" + wanted + "'; the cameras are:" + cameraListText(cameras));
}

const CameraEntry& resolveCamera(const zelt::host::Host& host,
                                 const std::vector<CameraEntry>& cameras,
                                 const std::string& wanted) {
    const std::uint32_t id = resolveChannel(host, cameras, wanted);
    for (const CameraEntry& camera : cameras) {
        if (camera.id == id) return camera;
    }
    throw CliError(
        ExitCode::kUnknownChannel,
        "channel " + std::to_string(id) +
            " is a frame counter, not a camera; the cameras are:" + cameraListText(cameras));
}

}  // namespace zelt::cli
