#pragma once

#include <grpcpp/security/server_credentials.h>
#include <memory>
#include <mutex>

#include "ostrel/Path.h"

struct grpc_ssl_server_certificate_config;

namespace master
{

using ostrel::Path;
using ostrel::String;

/// The Master's certificate and key, which may be renewed while it runs: who connects from then on
/// gets the new ones, and who is connected notices nothing. Any thread.
class Certificates : public std::enable_shared_from_this<Certificates>
{
public:
    /// Reads both, in PEM form. Throws `ostrel::Exception *` with the reason: a key that others can
    /// read, one that is not the certificate's, a certificate that is over.
    static std::shared_ptr<Certificates> Load(const Path &certificate, const Path &key);

    /// Reads both anew. Throws as `Load`, and the old ones go on.
    void Renew();

    /// For a server; they hold the certificates, and follow what is renewed.
    std::shared_ptr<grpc::ServerCredentials> Credentials();

private:
    class Renewed;

    Certificates(Path certificate, Path key);

    /// Null where the last one that was given is still the one.
    grpc_ssl_server_certificate_config *TakeNews();

    const Path m_certificateFile;
    const Path m_keyFile;

    std::mutex m_mutex; // Guards all below.
    String m_certificate;
    String m_key;
    bool m_isNews = true;
};

} // namespace master
