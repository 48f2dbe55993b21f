#pragma once

#include <memory>
#include <string>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509v3.h>

namespace master
{

/// Owners of OpenSSL's objects.
template <auto Free> struct SslFree
{
    template <typename Object> void operator()(Object *object) const
    {
        Free(object);
    }
};

using SslKey = std::unique_ptr<EVP_PKEY, SslFree<EVP_PKEY_free>>;
using SslX509 = std::unique_ptr<X509, SslFree<X509_free>>;
using SslExtension = std::unique_ptr<X509_EXTENSION, SslFree<X509_EXTENSION_free>>;
using SslMemory = std::unique_ptr<BIO, SslFree<BIO_free_all>>;

/// The first certificate, the key, of a text in PEM form; null where there is none, and for a key
/// with a passphrase: nobody is there to be asked.
SslX509 ReadCertificate(const std::string &pem);
SslKey ReadKey(const std::string &pem);

std::string CertificateText(const X509 *certificate);
std::string KeyText(const EVP_PKEY *key);

/// OpenSSL's reason for the last failure of this thread; empty where there is none.
std::string SslReason();

} // namespace master
