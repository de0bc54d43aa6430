#pragma once

#include <string>
#include <vector>

#include "lab/placeholders.h"
#include "lab/scenario.h"

namespace lab {

// Throws ScenarioError, its key below `key`, unless all behaviours can be played and their
// placeholders name one of the endpoints.
void CheckBehaviours(const std::vector<Behaviour>& behaviours, const std::string& key,
                     const std::vector<Endpoint>& endpoints);

}  // namespace lab
