#pragma once

#include <string>

#include "lab/scenario.h"

namespace lab {

struct CertificateFiles {
  std::string certificate_pem;
  std::string key_pem;
};

// Makes a key and a certificate signed with it, for a server at that address.
// Errors: std::runtime_error when OpenSSL can't.
CertificateFiles MakeCertificate(Certificate kind, const std::string& address);

}  // namespace lab
