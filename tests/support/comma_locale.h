#pragma once

#include "lab/temp_folder.h"

// While it exists, the process writes decimals with a comma. If the system has no such locale and
// none can be made, `available` is false.
class CommaLocale {
 public:
  CommaLocale();
  ~CommaLocale();
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

  bool available = false;

 private:
  const lab::TempFolder folder_;
};
