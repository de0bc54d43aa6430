#pragma once

#include <string>
#include <vector>

#include "lab/placeholders.h"
#include "lab/scenario.h"

namespace lab {

// Checks that all behaviours can be played and that their placeholders name one of the endpoints.
// Errors: ScenarioError, which begins with a key below `key`.
void CheckBehaviours(const std::vector<Behaviour>& behaviours, const std::string& key,
                     const std::vector<Endpoint>& endpoints);

}  // namespace lab
