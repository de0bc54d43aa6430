#pragma once

#include "base/object/object.h"
#include "src/sturdy/config/environment_config_getter.h"

namespace zo_sturdy {

// Base of the services that an environment offers to its client: access to the configuration,
// weak closures and signals.
class IBusinessService : public EnvironmentConfigGetterBase, public virtual zo_base::ZOObjectIMPL {
 public:
  IBusinessService() = default;
  ~IBusinessService() override = default;
};

}  // namespace zo_sturdy
