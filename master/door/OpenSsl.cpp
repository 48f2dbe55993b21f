#include "master/door/OpenSsl.h"

#include <openssl/err.h>
#include <openssl/pem.h>

namespace master
{

namespace
{

int NoPassphrase(char * /*room*/, int /*size*/, int /*writes*/, void * /*data*/)
{
    return 0;
}

SslMemory MemoryOf(const std::string &text)
{
    return SslMemory(BIO_new_mem_buf(text.data(), int(text.size())));
}

std::string TextOfMemory(BIO *memory)
{
    char *text = nullptr;
    const long size = BIO_get_mem_data(memory, &text);
    return {text, std::size_t(size)};
}

} // namespace

SslX509 ReadCertificate(const std::string &pem)
{
    SslX509 certificate(PEM_read_bio_X509(MemoryOf(pem).get(), nullptr, &NoPassphrase, nullptr));
    ERR_clear_error();
    return certificate;
}

SslKey ReadKey(const std::string &pem)
{
    SslKey key(PEM_read_bio_PrivateKey(MemoryOf(pem).get(), nullptr, &NoPassphrase, nullptr));
    ERR_clear_error();
    return key;
}

std::string CertificateText(const X509 *certificate)
{
    const SslMemory memory(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(memory.get(), certificate);
    return TextOfMemory(memory.get());
}

std::string KeyText(const EVP_PKEY *key)
{
    const SslMemory memory(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(memory.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
    return TextOfMemory(memory.get());
}

std::string SslReason()
{
    const unsigned long error = ERR_get_error();
    ERR_clear_error();
    const char *reason = error == 0 ? nullptr : ERR_reason_error_string(error);
    return reason ? reason : "";
}

} // namespace master
