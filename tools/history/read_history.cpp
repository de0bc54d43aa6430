#include "tools/history/read_history.h"

#include <utility>

#include "tools/history/asks.h"
#include "tools/history/client_lines.h"
#include "tools/history/host_lines.h"
#include "tools/history/line.h"
#include "tools/history/requests.h"

namespace history {

History ReadHistory(std::vector<log_reader::LogMessage> messages) {
  History history;
  history.messages = std::move(messages);
  const std::vector<Line> lines = FindLines(history);
  Asks asks(history);
  HostLines hosts(history);
  Requests requests(history, lines, asks, hosts);
  ClientLines client(history, requests);
  for (size_t place = 0; place < lines.size(); ++place) {
    asks.Take(lines[place]);
    hosts.Take(lines[place]);
    requests.Take(place);
    client.Take(lines[place]);
  }
  requests.TakeEnd();
  return history;
}

}  // namespace history
