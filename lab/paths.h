#pragma once

namespace lab {

// Where clients look for what the lab plays.
inline constexpr char kServiceTablePath[] = "/httpdns/v2/s";  // HTTP DNS: its own endpoints
inline constexpr char kHostQueryPath[] = "/httpdns/v2/d";     // HTTP DNS: addresses of hosts
inline constexpr char kReportPath[] = "/statics/report/im/api/error";  // POST of failures

}  // namespace lab
