// The log statement:
//   ZO_LOG(LV_APP) << "[lbs] update, force: " << force;
// Ends the line itself. Any thread may log at any time; without an environment the line is dropped.
// Operands: std::string, const char*, bool, integers, floating types, Framed. The level is one of
// the names of LogLevel. The operands of a dropped line are not evaluated.
#pragma once

#include "base/log/source_location.h"
#include "base/log/tqlog.h"
#include "base/process/tags.h"

// The operands follow the macro, so no parentheses can enclose it.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define ZO_LOG(level)                                                                    \
  !::zo_base::IsLogged<::zo_base::SturdyObject>(::zo_base::level)                        \
      ? void()                                                                           \
      : ::zo_base::DiscardLogHelper() & ::zo_base::TQLogHelper<::zo_base::SturdyObject>( \
                                            ::zo_base::level, ZO_SOURCE_LOCATION())
// NOLINTEND(bugprone-macro-parentheses)
