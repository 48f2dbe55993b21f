#include "master/door/Certificates.h"

#include <grpc/grpc.h>
#include <grpc/grpc_security.h>
#include <utility>

#include <openssl/pem.h>
#include <openssl/x509.h>

#include "master/door/OpenSsl.h"
#include "master/door/PrivateFile.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

constexpr std::size_t k_most_pem_bytes = 1u << 20;
constexpr int k_warn_before_days = 30;

// Days until a certificate is over; negative where it is.
int DaysLeft(const X509 *certificate)
{
    int days = 0;
    int seconds = 0;
    if (ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(certificate)) != 1)
        return -1;
    return days == 0 && seconds < 0 ? -1 : days;
}

void CheckPair(const Path &certificateFile, const String &certificateText, const Path &keyFile,
               const String &keyText)
{
    const SslX509 certificate = ReadCertificate(certificateText);
    if (!certificate)
        throw new Exception("cannot use certificate " + certificateFile.Text() +
                            ": it is no certificate in PEM form");
    const SslKey key = ReadKey(keyText);
    if (!key)
        throw new Exception("cannot use key " + keyFile.Text() + ": it is no key in PEM form");
    if (X509_check_private_key(certificate.get(), key.get()) != 1)
        throw new Exception("cannot use key " + keyFile.Text() + ": it is not the one of " +
                            certificateFile.Text());
    const int days = DaysLeft(certificate.get());
    if (days < 0)
        throw new Exception("cannot use certificate " + certificateFile.Text() +
                            ": its time is over");
    if (days < k_warn_before_days)
        ostrel::LogWarning("certificate " + certificateFile.Text() + " is over in " +
                           std::to_string(days) + " days");
}

} // namespace

/// What gRPC asks for a certificate with each connection. Its own credentials for C++ are made of
/// files that do not change.
class Certificates::Renewed : public grpc::ServerCredentials
{
public:
    explicit Renewed(std::shared_ptr<Certificates> certificates)
        : m_certificates(std::move(certificates)),
          m_credentials(grpc_ssl_server_credentials_create_with_options(
              grpc_ssl_server_credentials_create_options_using_config_fetcher(
                  GRPC_SSL_DONT_REQUEST_CLIENT_CERTIFICATE, &Fetch, m_certificates.get())))
    {
    }
    ~Renewed() override
    {
        grpc_server_credentials_release(m_credentials);
    }
    Renewed(const Renewed &) = delete;
    Renewed &operator=(const Renewed &) = delete;

    void SetAuthMetadataProcessor(
        const std::shared_ptr<grpc::AuthMetadataProcessor> & /*processor*/) override
    {
    }

private:
    int AddPortToServer(const std::string &address, grpc_server *server) override
    {
        return grpc_server_add_http2_port(server, address.c_str(), m_credentials);
    }

    static grpc_ssl_certificate_config_reload_status
    Fetch(void *certificates, grpc_ssl_server_certificate_config **config)
    {
        *config = static_cast<Certificates *>(certificates)->TakeNews();
        return *config ? GRPC_SSL_CERTIFICATE_CONFIG_RELOAD_NEW
                       : GRPC_SSL_CERTIFICATE_CONFIG_RELOAD_UNCHANGED;
    }

    const std::shared_ptr<Certificates> m_certificates; // Shared with the server of the settings.
    grpc_server_credentials *const m_credentials;
};

Certificates::Certificates(Path certificate, Path key)
    : m_certificateFile(std::move(certificate)), m_keyFile(std::move(key))
{
    _CallEntry call("Certificates::Certificates", __FILE__, __LINE__);
}

std::shared_ptr<Certificates> Certificates::Load(const Path &certificate, const Path &key)
{
    _CallEntry call("Certificates::Load", __FILE__, __LINE__);

    std::shared_ptr<Certificates> certificates(new Certificates(certificate, key));
    certificates->Renew();
    return certificates;
}

void Certificates::Renew()
{
    _CallEntry call("Certificates::Renew", __FILE__, __LINE__);

    RequirePrivate(m_keyFile, "key");
    String key = ostrel::File::ReadWhole(m_keyFile, k_most_pem_bytes);
    String certificate = ostrel::File::ReadWhole(m_certificateFile, k_most_pem_bytes);
    CheckPair(m_certificateFile, certificate, m_keyFile, key);

    const std::lock_guard lock(m_mutex);
    m_isNews = m_isNews || key != m_key || certificate != m_certificate;
    m_key = std::move(key);
    m_certificate = std::move(certificate);
}

std::shared_ptr<grpc::ServerCredentials> Certificates::Credentials()
{
    _CallEntry call("Certificates::Credentials", __FILE__, __LINE__);

    return std::make_shared<Renewed>(shared_from_this());
}

grpc_ssl_server_certificate_config *Certificates::TakeNews()
{
    _CallEntry call("Certificates::TakeNews", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    if (!std::exchange(m_isNews, false))
        return nullptr;
    const grpc_ssl_pem_key_cert_pair pair{m_key.c_str(), m_certificate.c_str()};
    // No client is asked for a certificate, and no authority of clients' is needed; gRPC asserts
    // all the same that there is one.
    return grpc_ssl_server_certificate_config_create(m_certificate.c_str(), &pair, 1);
}

} // namespace master
