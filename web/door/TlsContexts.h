#pragma once

#include <boost/asio/ssl/context.hpp>
#include <chrono>
#include <memory>

#include "ostrel/Time.h"
#include "web/door/ServerSettings.h"

namespace web
{

/// The server's certificate and key, as TLS takes them. Loop thread.
class TlsContexts
{
public:
    static constexpr std::chrono::seconds k_LookEvery{10};

    /// Throws `ostrel::Exception *` for files that cannot be read, that do not fit each other, and
    /// for a key that is open to others than its owner.
    explicit TlsContexts(const TlsPair &files);

    /// For the next connection. Where the files have changed they are read anew; what cannot be
    /// used is logged, and the old one stays.
    std::shared_ptr<boost::asio::ssl::context> Current();

private:
    struct Stamp
    {
        ostrel::Time certificate;
        ostrel::Time key;

        friend bool operator==(const Stamp &, const Stamp &) = default;
    };

    Stamp ReadStamp() const;

    const TlsPair m_files;
    std::shared_ptr<boost::asio::ssl::context> m_context; // Shared with its connections.
    Stamp m_stamp;
    std::chrono::steady_clock::time_point m_looked;
};

} // namespace web
