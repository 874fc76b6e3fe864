// The one exception type of the host runtime.
#pragma once

#include <stdexcept>

namespace zelt::host {

/// A failure of the host runtime itself: a plug-in library that cannot be loaded or lacks an
/// export, a creator that refuses the plug-in, a plug-in that does not come up, a channel id
/// that does not exist. The text says what failed and, where the system gave one, why
/// (dlerror, GError). Errors that the plug-in reports to the user do not become exceptions:
/// they go to the exception manager.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace zelt::host
