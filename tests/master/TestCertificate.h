#pragma once

#include <string>

/// A certificate of "localhost" and 127.0.0.1 that signs itself, and its key, both made anew and in
/// PEM form.
struct TestCertificate
{
    /// Negative for one whose time is over.
    explicit TestCertificate(long validSeconds = 3600);

    std::string certificate;
    std::string key;
};
