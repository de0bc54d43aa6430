#pragma once

#include <memory>

namespace zo_sturdy {

class _EnvironmentConfig;

// The configuration of the started environment, for code without a getter.
// Threads: any. The lock inside is a leaf, held for the copy of one pointer.
// Owner:   EnvironmentManager owns the configuration; it is held weakly here.
// Errors:  none; empty while nothing is started.
std::shared_ptr<_EnvironmentConfig> CurrentConfig();
void SetCurrentConfig(const std::shared_ptr<_EnvironmentConfig>& config);

}  // namespace zo_sturdy
