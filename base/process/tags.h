#pragma once

namespace zo_base {

// Tags that scope process-wide objects (base/process/singleton.h, base/process/at_exit.h).

// This component.
struct SturdyObject {};
// The whole process.
struct ZOGlobalContext {};

}  // namespace zo_base
