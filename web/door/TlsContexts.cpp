#include "web/door/TlsContexts.h"

#include <sys/stat.h>

#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"

namespace web
{

using boost::asio::ssl::context;
using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

constexpr std::size_t k_most_pem_bytes = 1u << 20;
constexpr int k_warn_before_days = 30;

void RequireOwnersAlone(const Path &key)
{
    struct stat status
    {
    };
    if (::stat(key.Text().c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw new Exception("cannot use key " + key.Text() +
                            ": it is open to others than its owner (chmod 600)");
}

void RequireTimeLeft(const X509 *certificate, const Path &file)
{
    int days = 0;
    int seconds = 0;
    const bool isKnown = certificate && ASN1_TIME_diff(&days, &seconds, nullptr,
                                                       X509_get0_notAfter(certificate)) == 1;
    if (!isKnown || days < 0 || seconds < 0)
        throw new Exception("cannot use certificate " + file.Text() + ": its time is over");
    if (days < k_warn_before_days)
        ostrel::LogWarning("certificate " + file.Text() + " is over in " + std::to_string(days) +
                           " days");
}

std::shared_ptr<context> LoadContext(const TlsPair &files)
{
    RequireOwnersAlone(files.key);
    const String certificate = ostrel::File::ReadWhole(files.certificate, k_most_pem_bytes);
    const String key = ostrel::File::ReadWhole(files.key, k_most_pem_bytes);
    auto made = std::make_shared<context>(context::tls_server);
    // Nobody is there to be asked for a passphrase.
    made->set_password_callback([](std::size_t, context::password_purpose)
                                { return std::string(); });
    SSL_CTX_set_min_proto_version(made->native_handle(), TLS1_2_VERSION);
    const auto reason = ostrel::Attempt(
        [&]
        {
            made->use_certificate_chain(boost::asio::buffer(certificate));
            made->use_private_key(boost::asio::buffer(key), context::pem);
        });
    if (reason)
        throw new Exception("cannot use certificate " + files.certificate.Text() + " with key " +
                            files.key.Text() + ": " + *reason);
    RequireTimeLeft(SSL_CTX_get0_certificate(made->native_handle()), files.certificate);
    return made;
}

} // namespace

TlsContexts::TlsContexts(const TlsPair &files, std::chrono::milliseconds lookEvery)
    : m_files(files), m_lookEvery(lookEvery), m_stamp(ReadStamp()), m_context(LoadContext(files)),
      m_looked(std::chrono::steady_clock::now())
{
    _CallEntry call("TlsContexts::TlsContexts", __FILE__, __LINE__);
}

std::shared_ptr<context> TlsContexts::Current()
{
    _CallEntry call("TlsContexts::Current", __FILE__, __LINE__);

    const auto now = std::chrono::steady_clock::now();
    if (now < m_looked + m_lookEvery)
        return m_context;
    m_looked = now;
    // A mode that was put right changes no date.
    if (ReadStamp() != m_stamp || !m_trouble.empty())
        Load();
    return m_context;
}

void TlsContexts::Renew()
{
    _CallEntry call("TlsContexts::Renew", __FILE__, __LINE__);

    m_looked = std::chrono::steady_clock::now();
    m_trouble.clear(); // Who asks for it is told again.
    Load();
}

void TlsContexts::Load()
{
    _CallEntry call("TlsContexts::Load", __FILE__, __LINE__);

    m_stamp = ReadStamp();
    const auto reason = ostrel::Attempt([&] { m_context = LoadContext(m_files); });
    const String trouble = reason.value_or(String());
    if (!reason)
        ostrel::LogStatus("certificate " + m_files.certificate.Text() + " was read anew");
    else if (trouble != m_trouble)
        ostrel::LogError(trouble + "; the one before is used on");
    m_trouble = trouble;
}

TlsContexts::Stamp TlsContexts::ReadStamp() const
{
    _CallEntry call("TlsContexts::ReadStamp", __FILE__, __LINE__);

    ostrel::FileFinder certificate;
    ostrel::FileFinder key;
    Stamp stamp;
    if (certificate.Find(m_files.certificate))
        stamp.certificate = certificate.Modified();
    if (key.Find(m_files.key))
        stamp.key = key.Modified();
    return stamp;
}

} // namespace web
