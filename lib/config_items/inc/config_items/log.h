// The configuration items' log: channel "CONFIG_ITEMS".
#pragma once

#include "uni/log.h"

UNI_DEFINE_LOGGER(unilogger_CONFIG_ITEMS, "CONFIG_ITEMS")
