#include "lab/tls/openssl/certificate.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

namespace lab {
namespace {

constexpr long kDayS = 24L * 60 * 60;

template <auto kFree>
struct Freer {
  template <class T>
  void operator()(T* object) const {
    kFree(object);
  }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using CertPtr = std::unique_ptr<X509, Freer<X509_free>>;
using BioPtr = std::unique_ptr<BIO, Freer<BIO_free_all>>;
using ExtensionPtr = std::unique_ptr<X509_EXTENSION, Freer<X509_EXTENSION_free>>;

void Expect(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string("lab: cannot make a certificate: ") + what);
  }
}

void AddExtension(X509* certificate, int nid, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()));
  Expect(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, "extension");
}

template <class Write>
std::string ToPem(Write write) {
  const BioPtr bio(BIO_new(BIO_s_mem()));
  Expect(bio != nullptr && write(bio.get()) == 1, "PEM text");
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio.get(), &data);
  return {data, static_cast<size_t>(size)};
}

}  // namespace

CertificateFiles MakeCertificate(Certificate kind, const std::string& address) {
  const bool wrong_name = kind == Certificate::kWrongName;
  const bool expired = kind == Certificate::kExpired;
  // Make the key and an empty certificate.
  const KeyPtr key(EVP_EC_gen("P-256"));
  const CertPtr certificate(X509_new());
  Expect(key != nullptr && certificate != nullptr, "key");
  // Fill in its validity and its names.
  X509* x509 = certificate.get();
  X509_set_version(x509, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
  X509_gmtime_adj(X509_getm_notBefore(x509), -2 * kDayS);
  X509_gmtime_adj(X509_getm_notAfter(x509), expired ? -kDayS : 365 * kDayS);
  X509_set_pubkey(x509, key.get());
  const std::string name = wrong_name ? "wrong-name.example" : "localhost";
  X509_NAME* subject = X509_get_subject_name(x509);
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
  X509_set_issuer_name(x509, subject);
  AddExtension(x509, NID_basic_constraints, "critical,CA:TRUE");
  AddExtension(x509, NID_subject_alt_name,
               wrong_name ? "DNS:" + name : "DNS:localhost,IP:" + address);
  // Sign it and write both as text.
  Expect(X509_sign(x509, key.get(), EVP_sha256()) > 0, "signature");
  return {ToPem([&](BIO* bio) { return PEM_write_bio_X509(bio, x509); }), ToPem([&](BIO* bio) {
            return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
          })};
}

}  // namespace lab
