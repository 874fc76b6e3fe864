// The folder a recording goes to.
#pragma once

#include <string>

namespace zelt::cli {

/// Creates `folder` (and its parents) when missing and checks that a file can be created in
/// it; returns its absolute path. Throws CliError(kOutputNotWritable) saying why not.
std::string prepareOutputFolder(const std::string& folder);

}  // namespace zelt::cli
