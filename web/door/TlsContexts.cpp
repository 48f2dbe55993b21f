#include "web/door/TlsContexts.h"

#include <sys/stat.h>

#include <openssl/ssl.h>

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

void RequireOwnersAlone(const Path &key)
{
    struct stat status
    {
    };
    if (::stat(key.Text().c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw new Exception("cannot use key " + key.Text() +
                            ": it is open to others than its owner (chmod 600)");
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
    return made;
}

} // namespace

TlsContexts::TlsContexts(const TlsPair &files)
    : m_files(files), m_context(LoadContext(files)), m_stamp(ReadStamp()),
      m_looked(std::chrono::steady_clock::now())
{
    _CallEntry call("TlsContexts::TlsContexts", __FILE__, __LINE__);
}

std::shared_ptr<context> TlsContexts::Current()
{
    _CallEntry call("TlsContexts::Current", __FILE__, __LINE__);

    const auto now = std::chrono::steady_clock::now();
    if (now < m_looked + k_LookEvery)
        return m_context;
    m_looked = now;
    const Stamp stamp = ReadStamp();
    if (stamp == m_stamp)
        return m_context;
    m_stamp = stamp;
    if (const auto reason = ostrel::Attempt([&] { m_context = LoadContext(m_files); }))
        ostrel::LogError(*reason + "; the one before is used on");
    return m_context;
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
