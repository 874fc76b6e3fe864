// The camera plug-in's log: channel "zelt_plugin_camera".
#pragma once

#include "uni/log.h"

UNI_DEFINE_LOGGER(unilogger_zelt_plugin_camera, "zelt_plugin_camera")
