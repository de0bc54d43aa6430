#include "lab/tls/tls_server.h"

namespace lab {

bool CanServeHttps() {
  return false;
}

std::unique_ptr<TlsServer> MakeTlsServer(const Server& server) {
  throw ScenarioError("scheme: \"" + server.name +
                      "\" can't serve https, since this build of the lab has no TLS.");
}

}  // namespace lab
