#pragma once

#include <list>
#include <map>
#include <string>

namespace zo_sturdy {

// The result of a host query: for each host that has any, its addresses in server order, those of
// IPv4 first and those of IPv6 in brackets.
using HostIPMap = std::map<std::string, std::list<std::string>>;

}  // namespace zo_sturdy
