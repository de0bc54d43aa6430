#pragma once

#include <nlohmann/json.hpp>

namespace lab {

using Json = nlohmann::ordered_json;  // members, such as header fields, keep their order

}  // namespace lab
