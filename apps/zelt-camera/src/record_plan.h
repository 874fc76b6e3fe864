// Choosing and configuring the cameras of a recording.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "camera_recorder.h"
#include "cli_options.h"
#include "plugin_session.h"

namespace zelt::cli {

/// The cameras `options` ask for (all when none is named), each configured through its
/// channel: the frame setting (--setting, else the camera's selected one) and the
/// subsampling (--subsampling). Returns one plan per camera, in the order named (ascending
/// ids for all). Throws CliError: kNoCamera, kUnknownChannel, kSettingNotOffered (listing the
/// offered settings), kUsage for a text that is no frame setting, kFailure when a camera
/// refuses a value.
std::vector<CameraPlan> planCameras(PluginSession& session, const RecordOptions& options);

/// How messages name a camera: "camera ID ('NAME')".
std::string cameraLabel(std::uint32_t id, const std::string& name);

}  // namespace zelt::cli
