#pragma once

#include <list>
#include <map>
#include <string>

namespace zo_sturdy {

// The result of a host query: the addresses of each host that has any, in server order, IPv4 before
// IPv6, which is in brackets.
using HostIPMap = std::map<std::string, std::list<std::string>>;

}  // namespace zo_sturdy
