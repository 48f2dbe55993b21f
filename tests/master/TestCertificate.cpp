#include "tests/master/TestCertificate.h"

#include <memory>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace
{

template <auto Free> struct Freed
{
    template <typename Object> void operator()(Object *object) const
    {
        Free(object);
    }
};

using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Freed<X509_EXTENSION_free>>;
using Memory = std::unique_ptr<BIO, Freed<BIO_free_all>>;

std::string TextOf(BIO *memory)
{
    char *text = nullptr;
    const long size = BIO_get_mem_data(memory, &text);
    return {text, std::size_t(size)};
}

Certificate MakeCertificate(EVP_PKEY *key, long validSeconds)
{
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validSeconds);
    X509_set_pubkey(certificate.get(), key);

    X509_NAME *name = X509_get_subject_name(certificate.get());
    const auto *host = reinterpret_cast<const unsigned char *>("localhost");
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, host, -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    const Extension names(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1"));
    X509_add_ext(certificate.get(), names.get(), -1);
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

} // namespace

TestCertificate::TestCertificate(long validSeconds)
{
    const Key made(EVP_EC_gen("P-256"));
    const Memory keyText(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(keyText.get(), made.get(), nullptr, nullptr, 0, nullptr, nullptr);
    key = TextOf(keyText.get());

    const Memory certificateText(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(certificateText.get(), MakeCertificate(made.get(), validSeconds).get());
    certificate = TextOf(certificateText.get());
}
