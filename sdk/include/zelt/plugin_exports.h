// The two C functions every plug-in library exports, as the host resolves them with dlsym.
#pragma once

namespace plugin_api {
class IfPluginCreator;
}

namespace zelt {

/// `const char* ZELT_getPluginDllName()`: the kind of the library's plug-ins ("CAMERA").
inline constexpr const char* kGetPluginDllNameSymbol = "ZELT_getPluginDllName";
/// `plugin_api::IfPluginCreator* ZELT_getPluginFactory()`: the library's static creator.
inline constexpr const char* kGetPluginFactorySymbol = "ZELT_getPluginFactory";

using GetPluginDllNameFunction = const char* (*)();
using GetPluginFactoryFunction = plugin_api::IfPluginCreator* (*)();

}  // namespace zelt
