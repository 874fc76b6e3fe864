#include "record_plan.h"

#include <algorithm>
#include <numeric>

#include "camera_catalog.h"
#include "cli_error.h"
#include "frame_setting.h"

namespace zelt::cli {
namespace {

std::string offeredList(const CameraEntry& camera) {
    if (camera.settings.empty()) return "it offers none";
    std::string text = "it offers:";
    for (const std::string& setting : camera.settings) text += "\n  " + setting;
    return text;
}

std::string cameraLabel(const CameraEntry& camera) {
    return zelt::cli::cameraLabel(camera.id, camera.name);
}

// Applies --setting, or checks that the camera has a setting selected; returns the setting.
std::string applySetting(zelt::host::Host& host, const CameraEntry& camera,
                         const std::optional<std::string>& wanted) {
    if (!wanted) {
        if (camera.current_setting) return *camera.current_setting;
        throw CliError(
            ExitCode::kSettingNotOffered,
            cameraLabel(camera) + " has no frame setting selected; " + offeredList(camera));
    }
    if (!parseFrameSetting(*wanted)) {
        throw CliError(ExitCode::kUsage, "--setting '" + *wanted +
                                             "' is not a frame setting; write it as "
                                             "\"640 x 480 @ 30 fps\"");
    }
    const auto offered = findOfferedSetting(camera.settings, *wanted);
    if (!offered) {
        throw CliError(ExitCode::kSettingNotOffered, cameraLabel(camera) +
                                                         " does not offer the frame setting '" +
                                                         *wanted + "'; " + offeredList(camera));
    }
    if (!host.setItem(camera.id, keys::kFrameSetting, config_items::StringConfigItem(*offered))) {
        throw CliError(ExitCode::kFailure,
                       cameraLabel(camera) + " refused the frame setting '" + *offered + "'");
    }
    return *offered;
}

// The --setting meant for `camera`: its own "CHANNEL=TEXT" (the last one given), else the
// last plain one; nothing keeps the camera's selected setting.
std::optional<std::string> settingFor(const zelt::host::Host& host,
                                      const std::vector<CameraEntry>& cameras,
                                      const CameraEntry& camera, const RecordOptions& options) {
    std::optional<std::string> own;
    std::optional<std::string> plain;
    for (const SettingRequest& request : options.settings) {
        if (!request.channel) {
            plain = request.text;
        } else if (resolveCamera(host, cameras, *request.channel).id == camera.id) {
            own = request.text;
        }
    }
    return own ? own : plain;
}

}  // namespace

std::vector<CameraPlan> planCameras(PluginSession& session, const RecordOptions& options) {
    zelt::host::Host& host = session.host();
    const std::vector<CameraEntry> cameras = listCameras(host);
    if (cameras.empty()) throwNoCamera(session.usesVirtualCameras());

    std::vector<const CameraEntry*> chosen;
    if (options.cameras.empty()) {
        for (const CameraEntry& camera : cameras) chosen.push_back(&camera);
    }
    for (const std::string& wanted : options.cameras) {
        const CameraEntry* camera = &resolveCamera(host, cameras, wanted);
        if (std::find(chosen.begin(), chosen.end(), camera) == chosen.end()) {
            chosen.push_back(camera);
        }
    }

    // A per-camera setting for a camera that is not recorded is a mistake worth saying.
    for (const SettingRequest& request : options.settings) {
        if (!request.channel) continue;
        const CameraEntry& named = resolveCamera(host, cameras, *request.channel);
        if (std::find(chosen.begin(), chosen.end(), &named) == chosen.end()) {
            throw CliError(ExitCode::kUsage, "--setting " + *request.channel + "=" + request.text +
                                                 " names a camera that is not recorded");
        }
    }

    const double frequency = host.timeSource() ? host.timeSource()->getFrequency() : 1e9;
    std::vector<CameraPlan> plans;
    for (const CameraEntry* camera : chosen) {
        CameraPlan plan;
        plan.id = camera->id;
        plan.counter_id = camera->counter_id;
        plan.name = camera->name;
        plan.device_path = camera->device_path;
        plan.setting = applySetting(host, *camera, settingFor(host, cameras, *camera, options));
        if (options.subsampling) {
            if (!host.setItem(
                    camera->id, keys::kFrameSubsampling,
                    config_items::SingleValueConfigItem<unsigned int>(*options.subsampling))) {
                throw CliError(ExitCode::kFailure, cameraLabel(*camera) +
                                                       " refused the subsampling " +
                                                       std::to_string(*options.subsampling));
            }
            plan.subsampling = *options.subsampling;
        }
        if (const auto setting = parseFrameSetting(plan.setting)) {
            const std::int64_t denominator = setting->rate_denominator * plan.subsampling;
            const std::int64_t divisor = std::gcd(setting->rate_numerator, denominator);
            if (divisor > 0 && setting->rate_numerator / divisor <= 0x7FFFFFFF &&
                denominator / divisor <= 0x7FFFFFFF) {
                plan.rate_numerator = static_cast<int>(setting->rate_numerator / divisor);
                plan.rate_denominator = static_cast<int>(denominator / divisor);
            }
        }
        plan.base_name = "camera" + std::to_string(camera->id);
        plan.frame_limit = options.frames;
        plan.frequency = frequency;
        plans.push_back(std::move(plan));
    }
    return plans;
}

std::string cameraLabel(std::uint32_t id, const std::string& name) {
    return "camera " + std::to_string(id) + " ('" + name + "')";
}

}  // namespace zelt::cli
