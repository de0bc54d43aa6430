#pragma once

namespace lab {

// The paths that clients request.
inline constexpr char kServiceTablePath[] = "/httpdns/v2/s";  // the endpoints of HTTP DNS
inline constexpr char kHostQueryPath[] = "/httpdns/v2/d";     // addresses of hosts, by HTTP DNS
inline constexpr char kReportPath[] = "/statics/report/im/api/error";  // POST of failure reports

}  // namespace lab
