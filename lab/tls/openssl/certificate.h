#pragma once

#include <string>

#include "lab/scenario.h"

namespace lab {

struct CertificateFiles {
  std::string certificate_pem;
  std::string key_pem;
};

// Makes a key and a self-signed certificate for a server at this address.
// Errors: std::runtime_error if OpenSSL fails.
CertificateFiles MakeCertificate(Certificate kind, const std::string& address);

}  // namespace lab
