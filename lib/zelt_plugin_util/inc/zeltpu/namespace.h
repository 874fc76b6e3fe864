// The plug-in utility library's namespace and its short alias.
#pragma once

namespace zelt::plugin_util {}

/// Short name of zelt::plugin_util, used throughout the plug-ins.
namespace zeltpu = zelt::plugin_util;
