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

    /// Throws `ostrel::Exception *` for files that cannot be read, that do not fit each other, for
    /// a certificate whose time is over, and for a key that is open to others than its owner.
    explicit TlsContexts(const TlsPair &files, std::chrono::milliseconds lookEvery = k_LookEvery);

    /// For the next connection. Where the files have changed they are read anew, first; one that
    /// comes while one of the two is written may find the old ones still.
    std::shared_ptr<boost::asio::ssl::context> Current();

    /// Reads the files at once. What cannot be used is logged, and the old ones stay.
    void Renew();

private:
    struct Stamp
    {
        ostrel::Time certificate;
        ostrel::Time key;

        friend bool operator==(const Stamp &, const Stamp &) = default;
    };

    Stamp ReadStamp() const;
    void Load();

    const TlsPair m_files;
    const std::chrono::milliseconds m_lookEvery;
    Stamp m_stamp; // Before they were read: what is written meanwhile is seen by the next look.
    std::shared_ptr<boost::asio::ssl::context> m_context; // Shared with its connections.
    std::chrono::steady_clock::time_point m_looked;
    String m_trouble; // Why the files of the stamp are not used; empty where they are.
};

} // namespace web
